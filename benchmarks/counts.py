#!/usr/bin/env python3
"""counts.py print|check|update INSTALLATION HELPERS: what a whole run asks of the system, counted.

The agent runs on a fresh machine and twice more; the last run is counted: its system calls by kind, its allocations.
`check` fails when a number is above that in counts.txt; `update` writes counts.txt. Peak memory is only printed.
"""
import collections
import ctypes
import os
import re
import shutil
import subprocess
import sys
import tempfile

TABLE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "counts.txt")
KINDS = {
    "files opened": "open openat creat",
    "files closed": "close",
    "looks at files": "stat lstat fstat newfstatat statx access faccessat readlink",
    "folders read": "getdents64",
    "locks": "flock fcntl",
    "reads": "read pread64 readv",
    "writes": "write pwrite64 writev ftruncate fallocate",
    "moves in a file": "lseek",
    "names changed": "rename link unlink mkdir rmdir chmod fchmod chown fchown",
    "syncs": "fsync fdatasync sync sync_file_range",
    "memory": "mmap munmap mprotect brk mremap",
}
KIND_OF = {call: kind for kind, calls in KINDS.items() for call in calls.split()}
ROWS = [*KINDS, "other calls", "allocations"]
DEBUG_INI = "[Modules]\nAgent=2\nKELVClient=2\nKELVFindwellLibrary=2\n[Format]\nShowTime=1\nShowModule=1\n"
SINGLE = "[Settings]\nProductName=Quellon Weir C40\nVendorName=Quellon\nModelName=Weir C40 Series\nMode=0\n"
RUNS = {"single": (SINGLE, ["/L", "en"]), "generic": ("", ["/L", "en"]), "stored-ui": ("", ["/L", "en"])}


def count(settings, arguments, last, installation, helpers):
    with tempfile.TemporaryDirectory(prefix="counts-", dir="/tmp") as folder:
        program = shutil.copytree(installation, folder + "/program")
        shutil.copy(helpers + "/Nothing", program + "/Hueward.exe")
        shutil.copy(helpers + "/libAllocations.so", folder)
        data = folder + "/machine/drive_c/Users/bench/AppData/Local/ScanKELV"
        os.makedirs(data)
        with open(data + "/Debug.ini", "w") as file:
            file.write(DEBUG_INI)
        if settings:
            with open(program + "/ScanKELV.ini", "w") as file:
                file.write(settings)
        environment = {
            "HOSTWINDOWS_ROOT": folder + "/machine", "HOSTWINDOWS_DEBUG_CONSOLE": folder + "/console.txt",
            "FINDWELL_RECORD": folder + "/library.txt", "ALLOCATIONS": folder + "/allocations",
            "LOGNAME": "bench", "HOME": folder, "TZ": "UTC"}  # and no other: what is read and kept of it is counted too
        agent = [program + "/ScanKELV"]

        def run(command, **more):
            process = subprocess.Popen(command, env={**environment, **more})
            _, status, usage = os.wait4(process.pid, 0)
            process.returncode = os.waitstatus_to_exitcode(status)
            if process.returncode != 0:
                sys.exit(f"{command[0]} ended with {process.returncode}")
            try:
                while True:
                    os.wait()  # the updater, which the run does not wait for
            except ChildProcessError:
                return process.pid, usage.ru_maxrss

        run(agent + arguments)
        run(agent + arguments)
        run([shutil.which("strace") or sys.exit("strace is not installed"), "-qq", "-o", folder + "/trace", *agent, *last])
        process, memory = run(agent + last, LD_PRELOAD=folder + "/libAllocations.so")
        counts = collections.Counter()
        with open(folder + "/trace", errors="replace") as trace:
            for call in re.findall(r"^(\w+)\(", trace.read(), re.MULTILINE):
                if call not in ("futex", "wait4"):  # chance: whether a thread waits, whether the updater has ended
                    counts[KIND_OF.get(call, "other calls")] += 1
        with open(f"{folder}/allocations.{process}") as file:
            counts["allocations"] = int(file.read())
        return counts, memory


def main():
    ctypes.CDLL(None).prctl(36, 1, 0, 0, 0)  # PR_SET_CHILD_SUBREAPER: what a run leaves behind comes to us
    what, installation, helpers = sys.argv[1], *map(os.path.abspath, sys.argv[2:])
    results = {
        name: count(settings, arguments, arguments if name != "stored-ui" else ["/U"], installation, helpers)
        for name, (settings, arguments) in RUNS.items()}
    lines = ["{:<18}".format("") + "".join(f"{name:>12}" for name in RUNS)]
    lines += [f"{row:<18}" + "".join(f"{results[name][0][row]:>12}" for name in RUNS) for row in ROWS]
    table = "\n".join(lines) + "\n"
    if what == "update":
        with open(TABLE, "w") as file:
            file.write(table)
    grown = []
    if what == "check":
        with open(TABLE) as file:
            committed = {line[:18].rstrip(): line[18:].split() for line in file}
        for row in ROWS:
            for name, number in zip(RUNS, committed[row], strict=True):
                slack = 5 if row == "allocations" else 0  # one or two depend on addresses
                if results[name][0][row] > int(number) + slack:
                    grown.append(f"{row} of the {name} run: {results[name][0][row]}, in counts.txt {number}")
    print(table, end="")
    print("{:<18}".format("peak memory, kB") + "".join(f"{results[name][1]:>12}" for name in RUNS))
    if grown:
        sys.exit("A count has grown:\n" + "\n".join(grown))


main()
