"""Many at once: a hundred agents, writers and readers of one registry, and two thousand runs one after another."""

import collections
import concurrent.futures
import dataclasses
import hashlib
import random
import re
import threading
import time

from agent import GENERIC_KEY, KINDS, NEW_DEVICE, REFUSALS, USER_DATA, Broken, Machine

AGENTS = 100
EACH = 10  # agents, writers and readers at one registry
TEXT = re.compile(r"    Shared    REG_SZ    (\d+ \d+) (x*) ([0-9a-f]{32})\r?\n")
MARKED = {"Address": "devicepath", "HostName": "hostname", "Comment": "comment"}


def is_refusal(result):
    return result[0] == 1 and any(refusal in result[1] for refusal in REFUSALS)


def hundred_agents(installation, folder, rounds, table):
    """Exactly one runs, 99 refuse. Every second round finds no machine, and all of them make it at once."""
    title = f"{AGENTS} agents at once"
    kind = dataclasses.replace(KINDS[-1], name="slow online testing")
    machine = Machine(folder / "crowd")
    delay = 2000  # milliseconds for which the first one is kept busy
    number = 0
    while number < rounds:
        slow = KINDS[-1].calls.replace("<address>", f"<delay>{delay}</delay><address>")
        installation.prepare(dataclasses.replace(kind, calls=slow))
        machine.make_empty()
        if number % 2 == 0:
            installation.make_old(machine, kind)
        begin = time.monotonic()
        agents = [installation.start(machine, kind) for _ in range(AGENTS)]
        ended = [(agent.wait(), console.decode(errors="replace"), time.monotonic() - begin)
                 for agent in agents for _, console in [agent.communicate()]]
        refused = [end for end in ended if is_refusal(end)]
        done = [end for end in ended if end[0] == 0]
        if len(done) + len(refused) == AGENTS and len(done) > 1 and max(end[2] for end in ended) * 1000 > delay:
            delay *= 2  # the first one was through before the last one had started: too slow a machine for this delay
            continue
        if len(done) != 1 or len(refused) != AGENTS - 1:
            others = [end for end in ended if end not in done and end not in refused]
            table.found(title, f"round {number}: {len(done)} ran, {len(refused)} refused, others: {others[:3]}")
        if stray := [name for name in machine.files() if name.startswith("objects/")]:
            table.found(title, f"round {number}: left behind: {stray}")
        number += 1
    table.count(title, rounds, f"delay {delay} ms")


def one_registry(installation, folder, seconds, table):
    """Agents, writers and readers side by side. Whatever is read is a value that somebody wrote, whole."""
    title = "writers and readers of one registry"
    machine = Machine(folder / "registry crowd")
    machine.make_empty()
    kinds = [dataclasses.replace(KINDS[0], name=f"agent {number}") for number in range(EACH)]
    for number, kind in enumerate(kinds):
        marked = {element: f"{name} of agent {number} {'y' * 30 * number}." for name, element in MARKED.items()}
        installation.prepare(kind, NEW_DEVICE | marked)
    written = [0] * EACH
    is_written = threading.Event()
    end = time.monotonic() + seconds

    def agent(number):
        result = installation.run(machine, kinds[number])
        if is_refusal(result):
            return "refusals"
        if result.code != 0 or re.search(r"in use|busy|locked|SetStringValueNoExpand|SetDWORDValue", result.console):
            raise Broken(f"agent: exit code {result.code}\n{result.console}")
        return "agent runs"

    def writer(number):
        written[number] += 1
        text = f"{number} {written[number]} " + "x" * random.Random(written[number]).randrange(3000)
        text += " " + hashlib.md5(text.encode()).hexdigest()
        code, output = installation.reg(machine, "add", GENERIC_KEY, "/v", "Shared", "/d", text, "/f")
        if code != 0:
            raise Broken(f"hostreg add: {output}")
        is_written.set()
        return "writes"

    def reader(_):
        is_there = is_written.is_set()
        code, output = installation.reg(machine, "query", GENERIC_KEY)
        if code != 0 and "unable to find" in output and not is_there:
            return "reads of nothing"
        texts = TEXT.findall(output)
        whole = all(hashlib.md5(f"{head} {filling}".encode()).hexdigest() == sign and
                    int(head.split()[1]) <= written[int(head.split()[0])] for head, filling, sign in texts)
        if code != 0 or (len(texts) != 1 and "Shared" in output) or not whole:
            raise Broken(f"hostreg query: {code} {output}")
        for name in MARKED:
            for text in re.findall(rf"    {name}    REG_SZ    (.*?)\r?\n", output):
                match = re.fullmatch(rf"{name} of agent (\d) (y*)\.\r?", text)
                if not match or len(match[2]) != 30 * int(match[1]):
                    raise Broken(f"{name} is {text!r}")
        return "reads"

    def repeat(work, number):
        done = collections.Counter()
        try:
            while time.monotonic() < end:
                done[work(number)] += 1
        except Broken as broken:
            table.found(title, str(broken))
        return done

    with concurrent.futures.ThreadPoolExecutor(3 * EACH) as pool:
        works = [work for work in (agent, writer, reader) for _ in range(EACH)]
        totals = sum(pool.map(repeat, works, 3 * list(range(EACH))), collections.Counter())
    machine.registry()
    if not all(totals[what] for what in ("agent runs", "writes", "reads")):
        table.found(title, f"not everybody got on: {totals}")
    table.count(title, totals.total(), ", ".join(f"{number / seconds:.0f} {what}/s" for what, number in totals.items()))


def one_after_another(installation, folder, runs, table):
    """Nothing but the log grows, and no name is left."""
    title = "runs one after another"
    machine = Machine(folder / "long life")
    installation.make_old(machine, KINDS[0])
    machine.make(USER_DATA + "/Debug.ini", b"[Modules]\r\nAgent=2\r\nKELVClient=2\r\nKELVFindwellLibrary=2\r\n")
    for number in range(1, runs + 1):
        kind = KINDS[number % len(KINDS)]
        result = installation.run(machine, kind)
        if result.code != 0:
            table.found(title, f"run {number}, {kind.name}: exit code {result.code}\n{result.console}")
        if number == 4 * len(KINDS):
            before = machine.files()
    changed = dict(before.items() ^ machine.files().items())
    if set(changed) != {USER_DATA + "/Log.txt"}:
        table.found(title, f"other sizes than before: {changed}")
    table.count(title, runs)
