"""table.py [NAME ...]: measures the works, all without a name, and prints each one's ratio to its floor.

Both sides of a work run in turn. The ratio is the median of the rounds' ratios; beside it are those that a quarter and
three quarters of the rounds stay below, and the median times.
"""
import contextlib
import ctypes
import json
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

import machine
from machine import ROOT

HELPERS = ROOT + "/build/host/benchmarks"
PROGRAMS = ROOT + "/build/host/bin"
UPDATER = HELPERS + "/Nothing"  # takes no time
WINDOWS = ROOT + "/build/windows-x64"
# Where runs have their machines: after many deletions, as here one each few milliseconds, ext4 searches long for a free
# inode.
MEMORY = "/dev/shm" if os.path.isdir("/dev/shm") else "/tmp"
RECORDS = {"records-100": 100, "records-1000": 1000}
FEW_RECORDS = 10
# Name, work and floor, goal.
WORKS = [
    ("run-single", "whole dialog run, single-model mode; the bare program", 1.10),
    ("run-generic", "the same in generic mode; the bare program, Config.ini written once", 1.25),
    ("run-refused", "run refused as another agent runs; the bare program", 1.10),
    ("run-online", "online testing; the bare program", 1.10),
    ("run-stored-ui", "run that the stored UI mode ends; the bare program", 1.10),
    ("run-wine", "whole dialog run under a warm Wine; an empty program and the calls it must make", 1.15),
    ("records-100", "multi-select run, for each of 100 records; for each of 10", 1.05),
    ("records-1000", "for each of 1,000 records; for each of 10", 1.05),
    ("filter-text", "filter text; the same tree with libxml2", 1.20),
    ("list-1", "list of 1 device parsed; the same look-ups with libxml2", 1.20),
    ("list-10", "list of 10 devices", 1.20),
    ("list-1000", "list of 1,000 devices", 1.20),
    ("match", "device match; the text parsed with libxml2", 1.15),
    ("match-table", "device match by the legacy table", 1.15),
    ("identifier", "three identifier readers; a pass of memchr for each field looked at", 3.00),
    ("log-file", "log line to a file; the C library and one write", 1.50),
    ("log-silent", "log line of a silent logger; a call through a pointer: nanoseconds more", 2.00),
    ("registry-read", "registry value read; the prepared statement", 1.30),
    ("registry-write", "registry value written; the prepared statement", 1.30),
    ("profile-read-1k", "profile value read from 1 kB; the file read and scanned", 1.50),
    ("profile-read-1m", "profile value read from 1 MB", 1.50),
    ("profile-write", "19 profile keys written; 19 files replaced whole", 1.50),
    ("start", "start of the program, to main; an empty program of the same libraries", 1.10),
]


def in_process(name):
    """Times by side and round, measured by google-benchmark."""
    command = [HELPERS + "/benchmarks", f"--benchmark_filter=^{name}/", "--benchmark_repetitions=21",
               "--benchmark_min_time=0.02", "--benchmark_enable_random_interleaving=true", "--benchmark_format=json"]
    times = {"project": {}, "floor": {}}
    for run in json.loads(subprocess.run(command, stdout=subprocess.PIPE, check=True).stdout)["benchmarks"]:
        if "error_message" in run:
            raise RuntimeError(run["error_message"])
        if run["run_type"] == "iteration":
            times[run["run_name"].split("/")[1]][run["repetition_index"]] = run["cpu_time"] * 1e-9
    return [times[side][repetition] for side in times for repetition in sorted(times[side])]


def in_turn(rounds, *sides):
    """Runs each side once in each round, after one that does not count."""
    times = [[side() for side in sides] for _ in range(rounds + 1)][1:]
    return [time for side in zip(*times) for time in side]


def whole_run(folder, kind):
    settings, before, arguments, refused = machine.KINDS[kind]
    on = machine.Machine(folder, PROGRAMS, UPDATER, settings)
    for usual in (before, arguments):  # the first run of a kind leaves what the next ones find
        on.run(on.agent(usual))
    time.sleep(2.1)  # a profile file that was just written is read each time
    with machine.OtherAgent(on) if refused else contextlib.nullcontext():
        on.record(arguments, int(refused))
        bare = [HELPERS + "/Run", kind, folder + "/recorded", on.program]
        return in_turn(51, lambda: on.run(on.agent(arguments), int(refused)), lambda: on.run(bare, int(refused)))


def records(folder, count):
    values = "".join(f'"{name}"="192.0.2.41 Weir C40"\r\n' for name in
                     "Address DeviceID DeviceName HostName Location MACAddress MDL MFG PortName".split())
    values += '"ConnectionType"=dword:00000001\r\n"PID"=dword:00001c40\r\n"VID"=dword:00000f1d\r\n'
    sides = []
    for number in (count, FEW_RECORDS):
        on = machine.Machine(f"{folder}/{number}", PROGRAMS, UPDATER)
        keys = "".join(f"\r\n[HKEY_LOCAL_MACHINE\\Software\\Records\\Printer{i:03}]\r\n{values}" for i in range(number))
        machine.write(folder + "/records.reg", "Windows Registry Editor Version 5.00\r\n" + keys)
        on.run([on.program + "/hostreg", "import", folder + "/records.reg"])
        sides.append(lambda on=on, number=number: on.run(on.agent(["/devicelist", "Software\\Records"])) / number)
    return in_turn(11, *sides)


def start(folder):
    preload = {"LD_PRELOAD": HELPERS + "/libToMain.so"}
    return in_turn(51, *[lambda program=program: machine.run([program], preload)
                         for program in (PROGRAMS + "/ScanKELV", HELPERS + "/Nothing")])


def under_wine(folder):
    bare = WINDOWS + "/benchmarks/WindowsRun.exe"
    for needed in (machine.WineMachine.wine, WINDOWS + "/bin/ScanKELV.exe", bare):
        if not os.path.exists(needed):
            raise RuntimeError(f"there is no {needed}")
    host = machine.Machine(folder + "/host", PROGRAMS, UPDATER, machine.SINGLE)
    host.record(machine.DIALOG)  # for the console's texts, which Wine shows nobody
    on = machine.WineMachine(folder, WINDOWS + "/bin", WINDOWS + "/bin/Hueward.exe", machine.SINGLE)
    try:
        on.record(machine.DIALOG)
        shutil.copy(host.folder + "/recorded/console.txt", folder + "/recorded")
        bare = [on.wine, bare, on.windows_path("recorded"), on.windows_path("program")]
        return in_turn(21, lambda: on.run(on.agent(machine.DIALOG)), lambda: on.run(bare))
    finally:
        on.end()


def measure(name, folder):
    if name.startswith("run-"):
        return under_wine(folder) if name == "run-wine" else whole_run(folder, name.removeprefix("run-"))
    if name in RECORDS:
        return records(folder, RECORDS[name])
    return start(folder) if name == "start" else in_process(name)


def duration(seconds):
    return f"{seconds * 1e9:.1f} ns" if seconds < 1e-5 else f"{seconds * 1e6:.0f} us"


def main():
    names = sys.argv[1:] or [name for name, _, _ in WORKS]
    for unknown in set(names) - {name for name, _, _ in WORKS}:
        sys.exit(f"benchmarks: unknown name {unknown}; known: {' '.join(name for name, _, _ in WORKS)}")
    ctypes.CDLL(None).prctl(36, 1, 0, 0, 0)  # PR_SET_CHILD_SUBREAPER: what a run leaves behind comes to us
    print(f"{'name':<16}{'work; floor':<80}{'ratio':>6}{'middle half':>13}{'goal':>6}{'project':>12}{'floor':>12}")
    failed = False
    for name, title, goal in WORKS:
        if name not in names:
            continue
        try:
            with tempfile.TemporaryDirectory(prefix="benchmarks-", dir=MEMORY) as folder:
                times = measure(name, folder)
        except (RuntimeError, OSError, subprocess.CalledProcessError) as error:
            print(f"{name}: not measured: {error}", flush=True)
            failed = True
            continue
        project, floor = times[:len(times) // 2], times[len(times) // 2:]
        compared = [(ours - theirs) * 1e9 if name == "log-silent" else ours / theirs
                    for ours, theirs in zip(project, floor, strict=True)]
        low, ratio, high = statistics.quantiles(compared, n=4)
        print(f"{name:<16}{title:<80}{ratio:>6.2f}{f'{low:.2f}-{high:.2f}':>13}{goal:>6.2f}"
              f"{duration(statistics.median(project)):>12}{duration(statistics.median(floor)):>12}"
              f"{'  above the goal' if ratio > goal else ''}", flush=True)
    sys.exit(failed)


main()
