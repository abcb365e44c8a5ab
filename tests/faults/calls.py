"""Every call fails once, and every call that writes is the process's last one."""

import concurrent.futures
import dataclasses
import errno
import os
import re

from agent import Broken

CLASSES = ("open", "write", "rename", "lock", "registry", "allocation", "module", "document", "process")
# Besides the usual error of a call, those that are likely to be taken for something else: the file is there, the call
# was interrupted, no more descriptors; of the database: busy, damaged, full, no memory. (A file that opens as if it
# were not there is made anew, and should be.)
OTHER_ERRORS = {
    "open": (errno.EMFILE, errno.EIO), "write": (errno.EIO, errno.EINTR), "rename": (errno.ENOENT, errno.EEXIST),
    "lock": (errno.EAGAIN, errno.EINTR), "registry": (5, 11, 13, 7), "process": (errno.ENOENT, errno.ENOEXEC)}
WRITING = "open,write,rename"
KILLED = -9


@dataclasses.dataclass(frozen=True)
class Fault:
    """One setting of the preloaded library."""
    classes: str
    action: str
    at: int
    error: int = 0


def run(bench, machine, fault):
    """@return the run's result, the call at which the fault was met or None, and how many calls were counted"""
    report = machine.root.with_name(machine.root.name + "-report")
    report.unlink(missing_ok=True)
    settings = {"FAULT_CLASS": fault.classes, "FAULT_ACTION": fault.action, "FAULT_AT": str(fault.at),
                "FAULT_ERROR": str(fault.error or ""), "FAULT_REPORT": str(report)}
    result = bench.installation.run(machine, bench.kind, LD_PRELOAD=str(bench.installation.faults), **settings)
    told = dict(re.findall(r"^(\w+) (.*)$", report.read_text() if report.exists() else "", re.M))
    if "open" in told:
        raise Broken(f"left open: {told}\n{result.console}")
    return result, told.get("met"), int(told.get("calls", 0))


def failed_run(bench, fault):
    """@return the call that failed, None when there was none"""
    machine = bench.machine()
    result, met, _ = run(bench, machine, fault)
    try:
        bench.judge_reports(result)
        bench.judge_stored(machine, result, fault.classes == "allocation")
        if stray := set(machine.files()) - bench.left - bench.left_without_settings - set(bench.template.files()):
            if not met:
                raise Broken(f"left behind: {stray}")
            bench.judge_next(machine)  # what could not be removed then goes with the next run
    except Broken as broken:
        raise Broken(f"{broken} (call: {met})\n{result.console}") from broken
    return met


def killed_run(bench, fault):
    machine = bench.machine()
    result, met, _ = run(bench, machine, fault)
    if met and result.code != KILLED:
        raise Broken(f"killed, but exit code {result.code}")
    bench.judge_stored(machine, result)
    bench.judge_next(machine)
    return met


def points(total, wanted):
    """`wanted` numbers spread over 1 to total, the last and the one behind it included; all of them when 0."""
    step = total / wanted if wanted and wanted < total else 1
    return sorted({1 + int(i * step) for i in range(round(total / step))} | {max(total, 1), total + 1})


def loop(benches, classes, rows, check, table, title):
    """Runs the faults of all benches side by side: for each row of action, error and how many places, and on behind the
    last place, whose number differs from run to run."""
    met_calls = 0
    with concurrent.futures.ThreadPoolExecutor(2 * os.cpu_count()) as pool:
        pending = {}
        for bench in benches:
            _, _, total = run(bench, bench.machine(), Fault(classes, "fail", 1 << 60))
            pending |= {pool.submit(check, bench, fault): (bench, fault, at > total) for action, error, wanted in rows
                        for at in points(total, wanted) for fault in [Fault(classes, action, at, error)]}
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
        rows = [("fail", 0, allocations if kind == "allocation" else each)]
        if variants:
            # Where locks stay out of reach a run waits its patience out: no more than a few of these.
            rows += [("failon", 0, 1 if kind == "lock" else variants)]
            rows += [("fail", error, variants) for error in OTHER_ERRORS.get(kind, ())]
        loop(benches, kind, rows, failed_run, table, f"{kind} call fails")


def kills(benches, table, each):
    loop(benches, WRITING, [("kill", 0, each)], killed_run, table, "killed at a writing call")
