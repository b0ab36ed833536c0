#!/usr/bin/python3
"""Writes the Debian symbols file of a library from its linker version map.

    map-symbols.py MAP SONAME PACKAGE DEV-PACKAGE > debian/PACKAGE.symbols

Every global name of a version node is listed with that node, and with the
upstream version the node first shipped in: node QORL_1 is 1.0.0, QORL_1.1
would be 1.1.0. The package build then checks the library's exports against
the file (dpkg-gensymbols -c4), so the map, the library and the symbols file
cannot drift apart.
"""
import re
import sys


def nodes(text):
    """[(node, [global names])] in the map's order."""
    text = re.sub(r"/\*.*?\*/", " ", text, flags=re.S)
    text = re.sub(r"#[^\n]*", " ", text)
    out = []
    for node, body in re.findall(r"([A-Za-z_][A-Za-z0-9_.]*)\s*\{(.*?)\}\s*[A-Za-z0-9_.]*\s*;", text, re.S):
        names = []
        scope = None
        for item in re.split(r";", body):
            item = item.strip()
            m = re.match(r"^(global|local)\s*:\s*(.*)$", item, re.S)
            if m:
                scope, item = m.group(1), m.group(2).strip()
            if item and scope == "global":
                if any(c in item for c in "*?["):
                    raise SystemExit(f"{node}: wildcard '{item}' cannot be listed in a symbols file")
                names.append(item)
        out.append((node, names))
    return out


def first_version(node):
    m = re.match(r"^[A-Z]+_([0-9]+(?:\.[0-9]+)*)$", node)
    if not m:
        raise SystemExit(f"version node '{node}' is not NAME_MAJOR[.MINOR]")
    parts = m.group(1).split(".")
    return ".".join((parts + ["0", "0"])[:3])


def main(argv):
    if len(argv) != 5:
        raise SystemExit(__doc__)
    with open(argv[1], encoding="utf-8") as f:
        table = nodes(f.read())
    if not table:
        raise SystemExit(f"{argv[1]}: no version node")
    print(f"{argv[2]} {argv[3]} #MINVER#")
    print(f"* Build-Depends-Package: {argv[4]}")
    for node, names in table:
        version = first_version(node)
        print(f" {node}@{node} {version}")
        for name in sorted(set(names)):
            print(f" {name}@{node} {version}")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
