#!/usr/bin/env python3
"""calls.py BUILD   counts the calls of a run of each kind, on a machine with a device stored: none makes more than it did.

A change that makes fewer lowers the numbers here; benchmarks/calls.py shows them by function.
"""
import re, sys
from collections import Counter
from pathlib import Path

import run

GROUPS = {"registry": "Reg[A-Z]", "profile files": ".*PrivateProfile", "document model": "IXML|QueryInterface|CoCreate|Ole",
          "memory": "operator|calloc|LocalAlloc|SysAlloc", "shell": "SH|Shell", "library": "LoadLibraryA|Get.*LCode|"
          "GetDevice|Merge|Show|QueryDevice", "files": ".*File|CreateDir", "other": ""}
MOST = {"dialog": (41, 24, 371, 446, 21, 2, 171, 101), "generic": (41, 34, 371, 460, 25, 2, 183, 106),
        "hidden": (41, 24, 317, 396, 21, 2, 171, 93), "properties": (41, 24, 307, 389, 21, 2, 171, 89),
        "several": (18, 24, 138, 183, 16, 2, 104, 65), "devicelist": (39, 24, 226, 266, 19, 2, 167, 86),
        "online": (12, 18, 0, 54, 20, 2, 75, 44)}


def count(machine, kind, **how):
    machine.prepare(kind, True)
    machine.run(run.KINDS[kind][0])
    report = machine.run(run.KINDS[kind][0], **how)[1]
    return Counter(re.findall(r"^(?:call|write) (.*)", report, re.M)), report


def grouped(calls):
    totals = dict.fromkeys(GROUPS, 0)
    for name, number in calls.items():
        totals[next(group for group, names in GROUPS.items() if re.match(names, name))] += number
    return totals


if __name__ == "__main__":
    machine, faults = run.Machine(Path(sys.argv[1]).resolve(), "x86_64", "1"), 0
    for kind, most in MOST.items():
        for (group, number), allowed in zip(grouped(count(machine, kind)[0]).items(), most):
            faults += number > allowed
            if number != allowed:
                print(f"{kind}, {group}: {number} calls, known are {allowed}", flush=True)
    sys.exit(faults != 0)
