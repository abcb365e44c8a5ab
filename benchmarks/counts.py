#!/usr/bin/env python3
"""counts.py print|check|update INSTALLATION NOTHING: what a run asks of the system, and how large the programs are.

A run on a machine that has seen two before is counted: its system calls beyond those of NOTHING, the empty program of
the same libraries, its allocations, its memory. `check` fails when a number is above that in counts.txt; `update` writes
counts.txt.
"""
import collections
import contextlib
import ctypes
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

import machine

TABLE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "counts.txt")
CALLS = {
    "files opened": "open openat creat",
    "looks at files": "stat lstat fstat newfstatat statx access faccessat readlink",
    "folders read": "getdents64",
    "locks": "flock fcntl",
    "reads": "read pread64 readv",
    "writes": "write pwrite64 writev ftruncate fallocate",
    "moves in a file": "lseek",
    "names changed": "rename link unlink mkdir rmdir chmod fchmod chown fchown",
    "syncs": "fsync fdatasync sync sync_file_range",
}
RUN_ROWS = [*CALLS, "allocations", "peak of heap, stack, kB"]
ROW_OF = {call: row for row, calls in CALLS.items() for call in calls.split()}
# Not ours alone: other compilers, libraries and addresses give a little more or less.
SLACK = {"allocations": 1.02, "peak of heap, stack, kB": 1.05, "size": 1.05}
SECTIONS = ".text .rodata .rdata .data .data.rel.ro .bss .eh_frame .rela.dyn .reloc .idata .rsrc .pdata .xdata".split()
BUILDS = {"host": "ScanKELV", "windows-x64": "ScanKELV.exe", "windows-x86": "ScanKELV.exe"}


def traced(on, command, code=0):
    strace = shutil.which("strace") or sys.exit("counts: strace is not installed")
    on.run([strace, "-qq", "-o", on.folder + "/trace", *command], code)
    called = re.findall(r"^(\w+)\(", machine.read(on.folder + "/trace"), re.MULTILINE)
    return collections.Counter(ROW_OF[call] for call in called if call in ROW_OF)


def counts(on, kind):
    _, _, arguments, refused = machine.KINDS[kind]
    with machine.OtherAgent(on) if refused else contextlib.nullcontext():
        numbers = traced(on, on.agent(arguments), int(refused))
        usage = on.folder + "/usage"
        on.run(["/bin/sh", "-c", 'exec "$@" 2>"$0"', usage, *on.agent(arguments)], int(refused),
               LD_PRELOAD="libmemusage.so", MEMUSAGE_PROG_NAME="ScanKELV")
    numbers.subtract(traced(on, [on.program + "/Hueward.exe"]))
    report = re.sub(r"\x1b\[[0-9;]*m", "", machine.read(usage))
    numbers["allocations"] = sum(int(n) for n in re.findall(r"(?:malloc|calloc|realloc)\|\s*(\d+)", report))
    peaks = re.search(r"heap peak: (\d+), stack peak: (\d+)", report)
    numbers["peak of heap, stack, kB"] = (int(peaks[1]) + int(peaks[2])) // 1024
    return {row: numbers[row] for row in RUN_ROWS}


def sizes(build):
    program = f"{machine.ROOT}/build/{build}/bin/{BUILDS[build]}"
    if not os.path.exists(program):
        return None
    listed = subprocess.run(["size", "-A", "-d", program], capture_output=True, text=True, check=True).stdout
    return {section: int(size) for section, size in re.findall(r"^(\.\S+) +(\d+) ", listed, re.M) if section in SECTIONS}


def format_table(title, columns, rows):
    """Columns of numbers by row, as text; what is not there is a dash."""
    lines = [f"{title:<24}" + "".join(f"{name:>13}" for name in columns)]
    lines += [f"{row:<24}" + "".join(f"{column.get(row, '-') if column else '-':>13}" for column in columns.values())
              for row in rows]
    return "\n".join(lines) + "\n"


def read_table(text):
    """The numbers of printed tables, by row and column."""
    numbers = {}
    for block in text.split("\n\n"):
        head, *lines = block.splitlines()
        numbers.update({(line[:24].rstrip(), name): int(number) for line in lines
                        for name, number in zip(head[24:].split(), line[24:].split(), strict=True) if number != "-"})
    return numbers


def main():
    what, installation, nothing = sys.argv[1], *map(os.path.abspath, sys.argv[2:])
    ctypes.CDLL(None).prctl(36, 1, 0, 0, 0)  # PR_SET_CHILD_SUBREAPER: what a run leaves behind comes to us
    with tempfile.TemporaryDirectory(prefix="counts-", dir="/tmp") as folder:
        machines = {}
        for kind, (settings, before, arguments, _) in machine.KINDS.items():
            machines[kind] = machine.Machine(f"{folder}/{kind}", installation, nothing, settings)
            for usual in (before, arguments):
                machines[kind].run(machines[kind].agent(usual))
        time.sleep(2.1)  # a profile file that was just written is read each time
        runs = {kind: counts(on, kind) for kind, on in machines.items()}
    present = {build: sizes(build) for build in BUILDS}
    table = format_table("one run", runs, RUN_ROWS) + "\n" + format_table("bytes of a section", present, SECTIONS)
    print(table, end="")
    if what == "update":
        machine.write(TABLE, table)
    if what == "check":
        committed = read_table(machine.read(TABLE))
        grown = [f"{row} of {name}: {number}, in counts.txt {committed.get((row, name), 'nothing')}"
                 for (row, name), number in read_table(table).items()
                 if number > committed.get((row, name), 0) * SLACK.get("size" if row in SECTIONS else row, 1)]
        if grown:
            sys.exit("A count has grown:\n" + "\n".join(grown))


main()
