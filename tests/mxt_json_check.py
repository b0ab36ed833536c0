#!/usr/bin/python3
"""Checks mxt's JSON output against the schemas in docs/mxt-json.md.

    mxt_json_check.py DOC                 the schemas are valid and well named
    mxt_json_check.py DOC CASES           and every case matches its schema

DOC holds one ```json <command path> block per command (plus "definitions",
whose $defs every schema may use, and "error"). CASES is a JSON array of
{"schema": <command path or "error">, "what": <description>, "output": <the
parsed output>}. Exits 1 naming every mismatch.
"""
import json
import re
import sys

import jsonschema

KEY = re.compile(r"^[a-z][a-z0-9]*(_[a-z0-9]+)*$")
BLOCK = re.compile(r"^```json ([^\n]+)\n(.*?)^```", re.S | re.M)


def schemas(doc_path):
    with open(doc_path, encoding="utf-8") as f:
        text = f.read()
    found = {}
    for tag, body in BLOCK.findall(text):
        tag = tag.strip()
        if tag in found:
            raise SystemExit(f"{doc_path}: two schemas for '{tag}'")
        try:
            found[tag] = json.loads(body)
        except json.JSONDecodeError as e:
            raise SystemExit(f"{doc_path}: schema '{tag}' is not JSON: {e}")
    defs = found.pop("definitions", {}).get("$defs", {})
    return {tag: dict(s, **{"$defs": defs}) if isinstance(s, dict) else s for tag, s in found.items()}


def property_names(node, where, bad):
    """Every key a schema declares is snake_case."""
    if isinstance(node, dict):
        for k, v in node.get("properties", {}).items():
            if not KEY.match(k):
                bad.append(f"{where}: property '{k}' is not snake_case")
        for k, v in node.items():
            property_names(v, where, bad)
    elif isinstance(node, list):
        for v in node:
            property_names(v, where, bad)


def main(argv):
    if len(argv) not in (2, 3):
        raise SystemExit(__doc__)
    table = schemas(argv[1])
    problems = []
    for tag, schema in table.items():
        try:
            jsonschema.Draft202012Validator.check_schema(schema)
        except jsonschema.SchemaError as e:
            problems.append(f"schema '{tag}' is not a valid schema: {e.message}")
        property_names(schema, f"schema '{tag}'", problems)
    if len(argv) == 3:
        with open(argv[2], encoding="utf-8") as f:
            cases = json.load(f)
        for case in cases:
            tag = case["schema"]
            if tag not in table:
                problems.append(f"{case['what']}: no schema for '{tag}' in {argv[1]}")
                continue
            validator = jsonschema.Draft202012Validator(table[tag])
            for e in sorted(validator.iter_errors(case["output"]), key=lambda e: list(e.path)):
                at = "/".join(str(p) for p in e.absolute_path) or "(top)"
                problems.append(f"{case['what']}: at {at}: {e.message}")
        print(f"{len(cases)} outputs checked against {len(table)} schemas")
    for p in problems:
        print(p)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
