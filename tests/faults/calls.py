"""Every call fails once, and every call that writes is the process's last one."""

import concurrent.futures
import contextlib
import dataclasses
import errno
import os
import re
import shutil
import sqlite3
import threading
import typing

from agent import TESTING, Broken, Machine

# The classes of calls. Besides the usual error of a call, those that are likely to be taken for something
# else: the file is there, the call was interrupted, no more descriptors; of the database: busy, damaged, full, no
# memory. (A file that opens as if it were not there is made anew, and should be.)
OTHER_ERRORS = {
    "open": (errno.EMFILE, errno.EIO), "write": (errno.EIO, errno.EINTR), "rename": (errno.ENOENT, errno.EEXIST),
    "lock": (errno.EAGAIN, errno.EINTR), "registry": (5, 11, 13, 7), "allocation": (), "module": (), "document": (),
    "process": (errno.ENOENT, errno.ENOEXEC)}
STATES = ("Online", "Changed")  # removed before they are written again
TESTED = {rf"\{name}" for name in (*STATES, "Address2")}  # what online testing alone stores
KILLED = -9


class Fault(typing.NamedTuple):
    """One setting of the preloaded library."""
    classes: str
    action: str
    error: int
    at: int


class Bench:
    """A kind of run with its states before and after, and workers that each have a machine of their own."""

    def __init__(self, installation, kind, folder):
        self.installation, self.kind, self.folder = installation, kind, folder
        self.local = threading.local()
        self.template = Machine(folder / "old" / kind.name)
        installation.make_old(self.template, kind)
        self.old = self.template.state()
        result, self.new, self.left = self.tried(kind)
        kept = {path.removeprefix(kind.key) for path in self.old if self.old[path] == self.new.get(path)}
        same = ({path for path in kept if path[0] == "\\"} - TESTED if kind.name != TESTING else
                kept & (TESTED | {r"\Address", r"\MACAddress"}))
        result.judge()
        if result.code != 0 or same:
            raise Broken(f"{kind.name}: exit code {result.code}, unchanged: {same}\n{result.console}")
        # A stored value that cannot be read counts as absent, and so may all of them; a command that there is no memory
        # for is skipped; a settings file that cannot be found is none, and the run one of the generic driver.
        self.instead = []
        if kind.stores_what_it_reads:
            with contextlib.closing(sqlite3.connect(self.template.file("registry"))) as database:
                absent = [f"id={number}" for number, in database.execute("SELECT id FROM value")] + ["TRUE"]
            self.instead = [self.tried(kind, condition)[1] for condition in absent]
        self.without_command = self.tried(dataclasses.replace(kind, arguments=()))[1]
        other = dataclasses.replace(kind, name=kind.name + " without settings", settings="")
        installation.prepare(other)
        _, self.without_settings, self.left_without_settings = self.tried(other)

    def machine(self):
        """This thread's machine, as it was before."""
        machine = Machine(self.folder / "machines" / f"{self.kind.name} {threading.get_ident()}")
        shutil.rmtree(machine.root, ignore_errors=True)
        shutil.copytree(self.template.root, machine.root, symlinks=True)
        return machine

    def tried(self, kind, absent="FALSE"):
        """A run without faults, on a registry without some values. @return its result, the state and the files"""
        machine = self.machine()
        with contextlib.closing(sqlite3.connect(machine.file("registry"))) as database, database:
            database.execute(f"DELETE FROM value WHERE {absent}")
        result = self.installation.run(machine, kind)
        return result, machine.state(), set(machine.files())

    def run(self, machine, fault):
        """@return the run's result, the call at which the fault was met or None, and how many calls were counted"""
        report = machine.root.with_name(machine.root.name + "-report")
        result = self.installation.run(
            machine, self.kind, LD_PRELOAD=str(self.installation.faults), FAULT_CLASS=fault.classes,
            FAULT_ACTION=fault.action, FAULT_ERROR=str(fault.error or ""), FAULT_AT=str(fault.at), FAULT_REPORT=str(report))
        told = dict(re.findall(r"(?m)^(\w+) (.*)$", report.read_text()))
        if "open" in told:
            raise Broken(f"left open: {told}\n{result.console}")
        return result, told.get("met"), int(told.get("calls", 0))

    def judge_stored(self, machine, result, memory_failed):
        """Each part is old or new, whole; what is removed before it is written may be missing."""
        state = machine.state()
        instead = self.instead + [self.without_command] * memory_failed
        instead += [self.without_settings] * ("ScanKELV.ini not found." in result.console)
        for name in self.old | self.new | state:
            allowed = [self.old.get(name), self.new.get(name)] + [one[name] for one in instead if name in one]
            if state.get(name) not in allowed and not (name.endswith(STATES) and name not in state):
                raise Broken(f"{name} is {state.get(name)!r}, neither old nor new of {allowed}")

    def judge(self, fault):
        """A run with the fault. @return the call at which it was met, None when there was none"""
        machine = self.machine()
        result, met, _ = self.run(machine, fault)
        try:
            is_killed = fault.action == "kill" and met
            if not is_killed:
                result.judge()
            elif result.code != KILLED:
                raise Broken(f"killed, but exit code {result.code}")
            self.judge_stored(machine, result, fault.classes == "allocation")
            stray = set(machine.files()) - self.left - self.left_without_settings - set(self.template.files())
            if stray and not met:
                raise Broken(f"left behind: {stray}")
            if stray or is_killed:  # the next run stores all of the new, and what could not be removed goes with it
                after = self.installation.run(machine, self.kind)
                different = dict(machine.state().items() ^ self.new.items())
                left = set(machine.files()) ^ self.left
                if after.code != 0 or different or left:
                    raise Broken(f"next run: {after.code}, stored {different}, left {left}\n{after.console}")
        except Broken as broken:
            raise Broken(f"{broken} (call: {met})\n{result.console}") from broken
        return met


def points(total, wanted):
    """`wanted` numbers spread over 1 to total, the last and the one behind it included; all of them when 0."""
    step = total / wanted if wanted and wanted < total else 1
    return sorted({1 + int(i * step) for i in range(round(total / step))} | {max(total, 1), total + 1})


def loop(benches, classes, rows, table, title):
    """Runs the faults of all benches side by side: for each row of action, error and how many places, and on behind the
    last place, whose number differs from run to run."""
    def judge(bench, fault, is_last):
        try:
            if bench.judge(fault):
                return 1 + (judge(bench, fault._replace(at=fault.at + 1), True) if is_last else 0)
        except Broken as broken:
            table.found(title, f"{bench.kind.name}: {fault}: {broken}")
        return 0

    with concurrent.futures.ThreadPoolExecutor(2 * os.cpu_count()) as pool:
        totals = [bench.run(bench.machine(), Fault(classes, "fail", 0, 1 << 60))[2] for bench in benches]
        faults = [(bench, Fault(classes, action, error, at), at > total) for bench, total in zip(benches, totals)
                  for action, error, wanted in rows for at in points(total, wanted)]
        met = sum(pool.map(judge, *zip(*faults)))
    if met == 0:
        table.found(title, "no fault was met")
    table.count(title, met)


def failures(benches, table, each, allocations, variants):
    """How many calls of each class fail once (0: all of them), and in how many places all from there on, or with other
    errors."""
    for kind, errors in OTHER_ERRORS.items():
        rows = [("fail", 0, allocations if kind == "allocation" else each)]
        if variants:
            # Where locks stay out of reach a run waits its patience out: no more than a few of these.
            rows += [("failon", 0, 1 if kind == "lock" else variants), *(("fail", error, variants) for error in errors)]
        loop(benches, kind, rows, table, f"{kind} call fails")


def kills(benches, table, each):
    loop(benches, "open,write,rename", [("kill", 0, each)], table, "killed at a writing call")
