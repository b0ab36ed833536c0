#!/usr/bin/python3
"""Checks 'mxt stats --prometheus' output with the Prometheus client's parser.

    prometheus_check.py PROM              the text parses and follows the conventions
    prometheus_check.py PROM STATS_JSON   and carries every counter of 'mxt --json
                                          stats' (same options, same hardware) with
                                          the same value

Conventions checked: every family has HELP and TYPE; counters are named
qorl_..._total, gauges are not; every port sample has the labels adapter and
port and the port's WWN or MAC. Exits 1 naming every problem.
"""
import json
import re
import sys

from prometheus_client.parser import text_string_to_metric_families

NAME = re.compile(r"^qorl_[a-z0-9_]+$")


def families(text):
    """name -> family, from the parser; also the HELP and TYPE lines seen."""
    fams = {f.name: f for f in text_string_to_metric_families(text)}
    helps = set(re.findall(r"^# HELP (\S+) ", text, re.M))
    types = set(re.findall(r"^# TYPE (\S+) ", text, re.M))
    return fams, helps, types


def conventions(fams, helps, types, problems):
    for name, fam in fams.items():
        declared = name + "_total" if fam.type == "counter" else name
        if declared not in helps or declared not in types:
            problems.append(f"{declared}: no HELP or TYPE line")
        if fam.type not in ("counter", "gauge"):
            problems.append(f"{name}: type {fam.type}")
        for s in fam.samples:
            if not NAME.match(s.name):
                problems.append(f"{s.name}: not a qorl_ snake_case name")
            if fam.type == "counter" and not s.name.endswith("_total"):
                problems.append(f"{s.name}: a counter without _total")
            if fam.type == "gauge" and s.name.endswith("_total"):
                problems.append(f"{s.name}: a gauge named like a counter")
            if s.name == "qorl_stats_read_errors":
                continue
            if "adapter" not in s.labels or "port" not in s.labels:
                problems.append(f"{s.name}{s.labels}: no adapter or port label")
            if "port_wwn" not in s.labels and "mac" not in s.labels:
                problems.append(f"{s.name}{s.labels}: neither port_wwn nor mac")


def expected(stats):
    """(sample name, labels as a sorted tuple) -> value, from the JSON form."""
    want = {}
    for p in stats:
        labels = {"adapter": str(p["adapter"]), "port": str(p["port_num"])}
        if p["pwwn"] is not None:
            labels["port_wwn"] = p["pwwn"]
        if p["mac"] is not None:
            labels["mac"] = p["mac"]
        groups = [(g, c, labels) for g, c in p["counters"].items()]
        for r in p["rports"] or []:
            groups.append(("fc_rport", r["counters"], dict(labels, rport_wwn=r["pwwn"])))
        for group, counters, lab in groups:
            for key, value in counters.items():
                if key.startswith("seconds_since"):
                    name = f"qorl_{group}_since_reset_seconds"
                else:
                    name = f"qorl_{group}_{key}_total"
                want[(name, tuple(sorted(lab.items())))] = value
    return want


def main(argv):
    if len(argv) not in (2, 3):
        raise SystemExit(__doc__)
    with open(argv[1], encoding="utf-8") as f:
        text = f.read()
    problems = []
    try:
        fams, helps, types = families(text)
    except Exception as e:  # the parser's own refusal
        print(f"{argv[1]}: does not parse: {e}")
        return 1
    conventions(fams, helps, types, problems)
    samples = {(s.name, tuple(sorted(s.labels.items()))): s.value for f in fams.values() for s in f.samples}
    if len(argv) == 3:
        with open(argv[2], encoding="utf-8") as f:
            stats = json.load(f)
        want = expected(stats)
        for key, value in want.items():
            if key not in samples:
                problems.append(f"{key[0]}{dict(key[1])}: missing")
            elif samples[key] != float(value):
                problems.append(f"{key[0]}{dict(key[1])}: {samples[key]} where the library read {value}")
        print(f"{len(want)} counters compared")
    print(f"{len(fams)} families, {len(samples)} samples parsed")
    for p in problems:
        print(p)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
