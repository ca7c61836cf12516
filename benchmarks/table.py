#!/usr/bin/env python3
"""Prints what the program "stages" measured as a table: each stage beside its references.

Usage: table.py FILE, the JSON output of "stages".
"""

import json
import sys
from collections import defaultdict

rows = defaultdict(dict)
for entry in json.load(open(sys.argv[1]))["benchmarks"]:
    if entry.get("run_type", "iteration") == "aggregate" and entry.get("aggregate_name") != "median":
        continue
    name, samples, poles = entry["run_name"].split("/")[:3]
    stage, _, reference = name.partition(":")
    rows[stage, int(samples), int(poles)][reference] = entry

for (stage, samples, poles), entries in rows.items():
    ours = entries[""]
    unit = ours["label"]
    milliseconds = ours["cpu_time"]
    line = f"{stage:14}{samples:9}{poles:5} poles{milliseconds:11.3f} ms"
    if "rate" in ours:
        line += f"{ours['rate']:9.3f} {unit}"
    for reference, entry in entries.items():
        if reference:
            speed = f"{entry['rate']:.3f}" if "rate" in entry else f"{entry['cpu_time']:.3f} ms"
            line += f"   {reference} {speed}, time ratio {milliseconds / entry['cpu_time']:.2f}"
    print(line)
