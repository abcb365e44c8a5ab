"""Every call fails once, and every call that writes is the process's last one."""

import concurrent.futures
import dataclasses
import errno
import os
import pathlib
import re

from agent import Broken

CLASSES = ("open", "write", "rename", "lock", "registry", "allocation", "module", "document", "process")
# Besides the usual error of a call, those that are likely to be taken for something else: the file is there, the call
# was interrupted, no more descriptors; of the database: busy, damaged, full, no memory. (A file that opens as if it were
# not there is made anew, and should be.)
OTHER_ERRORS = {
    "open": (errno.EMFILE, errno.EIO), "write": (errno.EIO, errno.EINTR),
    "rename": (errno.ENOENT, errno.EEXIST), "lock": (errno.EAGAIN, errno.EINTR),
    "registry": (5, 11, 13, 7), "process": (errno.ENOENT, errno.ENOEXEC)}
WRITING = "open,write,rename"


@dataclasses.dataclass(frozen=True)
class Fault:
    """One setting of the preloaded library."""
    classes: str
    action: str
    at: int
    error: int = 0

    def variables(self, report):
        chosen = {"FAULT_ERROR": str(self.error)} if self.error else {}
        return {"FAULT_CLASS": self.classes, "FAULT_ACTION": self.action, "FAULT_AT": str(self.at),
                "FAULT_REPORT": str(report)} | chosen


def run(bench, machine, fault):
    """@return the run's result, the call at which the fault was met or None, and how many calls were counted"""
    report = machine.root.with_name(machine.root.name + "-report")
    report.unlink(missing_ok=True)
    result = bench.installation.run(machine, bench.kind, LD_PRELOAD=str(bench.installation.faults),
                                    **fault.variables(report))
    text = report.read_text() if report.exists() else ""
    met = re.search(r"^met (.*)$", text, re.M)
    counted = re.search(r"^calls (\d+)$", text, re.M)
    if left_open := re.findall(r"^open (.*)$", text, re.M):
        raise Broken(f"left open: {left_open}")
    return result, met and met.group(1), int(counted.group(1)) if counted else 0


def count(bench, classes):
    """How many calls a run without faults makes."""
    _, _, counted = run(bench, bench.machine(), Fault(classes, "fail", 1 << 60))
    return counted


def failed_run(bench, fault):
    """@return the call that failed, None when there was none"""
    machine = bench.machine()
    result, met, _ = run(bench, machine, fault)
    try:
        bench.judge_reports(result)
        bench.judge_stored(machine, result, fault.classes == "allocation")
        if stray := set(machine.files()) - bench.left - bench.left_without_settings - set(bench.template.files()):
            if met:  # what could not be removed then goes with the next run
                bench.judge_next(machine)
            else:
                raise Broken(f"left behind: {stray}")
    except Broken as broken:
        raise Broken(f"{broken} (call: {met})\n{result.console}") from broken
    return met


def killed_run(bench, fault):
    machine = bench.machine()
    result, met, _ = run(bench, machine, fault)
    if met and result.code != -9:
        raise Broken(f"killed, but exit code {result.code}")
    bench.judge_stored(machine, result)
    bench.judge_next(machine)
    return met


def points(total, wanted):
    """`wanted` numbers spread over 1 to total, the last and the one behind it included; all of them when 0."""
    every = range(1, total + 2)
    if not wanted or wanted >= total:
        return list(every)
    return sorted({1 + i * total // wanted for i in range(wanted)} | {total, total + 1})


def loop(benches, faults_of, check, table, title):
    """Runs all faults of all benches side by side, and on behind the last call, whose number differs from run to run."""
    met_calls = 0
    with concurrent.futures.ThreadPoolExecutor(2 * os.cpu_count()) as pool:
        pending = {pool.submit(check, bench, fault): (bench, fault, is_last)
                   for bench in benches for fault, is_last in faults_of(bench)}
        for future in concurrent.futures.as_completed(pending):
            bench, fault, is_last = pending[future]
            try:
                met = future.result()
                met_calls += bool(met)
                while is_last and met:
                    fault = dataclasses.replace(fault, at=fault.at + 1)
                    met = check(bench, fault)
                    met_calls += bool(met)
            except Broken as broken:
                table.found(title, f"{bench.kind.name}: {fault}: {broken}")
    if met_calls == 0:
        table.found(title, "no fault was met")
    table.count(title, met_calls)


def failures(benches, table, each, allocations, variants):
    """How many calls of each class fail once (0: all of them), and in how many places all from there on, or with other
    errors."""
    for kind in CLASSES:
        def faults_of(bench, kind=kind):
            total = count(bench, kind)
            rows = [("fail", 0, allocations if kind == "allocation" else each)]
            if variants:
                # Where locks stay out of reach a run waits its patience out: no more than a few of these.
                rows.append(("failon", 0, 1 if kind == "lock" else variants))
                rows += [("fail", error, variants) for error in OTHER_ERRORS.get(kind, ())]
            for action, error, wanted in rows:
                for at in points(total, wanted):
                    yield Fault(kind, action, at, error), at > total
        loop(benches, faults_of, failed_run, table, f"{kind} call fails")


def kills(benches, table, each):
    def faults_of(bench):
        total = count(bench, WRITING)
        for action in ("kill", "killafter"):
            for at in points(total, each):
                yield Fault(WRITING, action, at), at > total
    loop(benches, faults_of, killed_run, table, "killed at a writing call")
