#!/usr/bin/env python3
"""calls.py BUILD   counts the calls of a second run of each kind: none may make more than it is known to need."""
import re, sys
from collections import Counter
from pathlib import Path

import run

GROUPS = {"registry": "Reg[A-Z]", "profile files": ".*PrivateProfile", "document model": "IXML|Query|CoCreate|Ole",
          "memory": "operator|calloc|LocalAlloc|SysAlloc", "shell": "SH|Shell", "library": "LoadLibraryA|Get.*LCode|"
          "GetDevice|Merge|Show", "files": ".*File|CreateDir", "other": ""}
KNOWN = {}


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
