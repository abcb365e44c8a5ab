"""Many at once: a hundred agents, writers and readers of one registry, and two thousand runs one after another."""

import collections
import concurrent.futures
import dataclasses
import re
import time

from agent import KINDS, NEW_DEVICE, USER_DATA, Broken, Machine

AGENTS = 100
EACH = 10  # agents, writers and readers at one registry
MARKED = {"Address": "devicepath", "HostName": "hostname", "Comment": "comment"}


def hundred_agents(installation, folder, rounds, table):
    """Exactly one runs, 99 refuse. Every second round finds no machine, and all of them make it at once."""
    title = f"{AGENTS} agents at once"
    kind = dataclasses.replace(KINDS[-1], name="slow online testing")
    machine = Machine(folder / "crowd")
    delay = 2000  # milliseconds for which the first one is kept busy
    number = 0
    with concurrent.futures.ThreadPoolExecutor(AGENTS) as pool:
        while number < rounds:
            slow = KINDS[-1].calls.replace("<address>", f"<delay>{delay}</delay><address>")
            installation.prepare(dataclasses.replace(kind, calls=slow))
            machine.make_empty()
            if number % 2 == 0:
                installation.make_old(machine, KINDS[-1])
            begin = time.monotonic()
            ended = list(pool.map(lambda _: installation.run(machine, kind), range(AGENTS)))
            done = [result for result in ended if result.code == 0]
            others = [result for result in ended if result.code != 0 and not result.is_refusal]
            if not others and len(done) > 1 and (time.monotonic() - begin) * 1000 > delay:
                delay *= 2  # the first one was through before the last one had started: a machine too slow for it
                continue
            stray = [name for name in machine.files() if name.startswith("objects/")]
            if len(done) != 1 or others or stray:
                table.found(title, f"round {number}: {len(done)} ran, left behind: {stray}, others: {others[:3]}")
            number += 1
    table.count(title, rounds, f"delay {delay} ms")


def marked(name, owner, count):
    """A text that tells of itself whether it is whole."""
    return f"{name} {owner} {count} {'x' * (29 * count % 3000)}."


def one_registry(installation, folder, seconds, table):
    """Agents, writers and readers side by side. Whatever is read is a value that somebody wrote, whole."""
    title = "writers and readers of one registry"
    machine = Machine(folder / "registry crowd")
    machine.make_empty()
    kinds = [dataclasses.replace(KINDS[0], name=f"agent {number}") for number in range(EACH)]
    for number, kind in enumerate(kinds):
        texts = {element: marked(name, number, number) for name, element in MARKED.items()}
        installation.prepare(kind, NEW_DEVICE | texts)
    written = collections.Counter()
    end = time.monotonic() + seconds

    def agent(number):
        result = installation.run(machine, kinds[number])
        if result.is_refusal:
            return "refusals"
        if result.code != 0 or re.search(r"in use|busy|locked|SetStringValueNoExpand|SetDWORDValue", result.console):
            raise Broken(f"agent: exit code {result.code}\n{result.console}")
        return "agent runs"

    def writer(number):
        written[number] += 1
        text = marked("Shared", number, written[number])
        code, output = installation.reg(machine, "add", KINDS[0].key, "/v", "Shared", "/d", text, "/f")
        if code != 0:
            raise Broken(f"hostreg add: {output}")
        written["done"] += 1
        return "writes"

    def reader(_):
        is_there = written["done"]
        code, output = installation.reg(machine, "query", KINDS[0].key)
        if code != 0 and "unable to find" in output and not is_there:
            return "reads of nothing"
        values = re.findall(rf"(?m)^    (Shared|{'|'.join(MARKED)})    REG_SZ    (.*)$", output)
        for name, text in values:
            match = re.match(r"\w+ (\d+) (\d+) ", text)
            owner, count = map(int, match.groups() if match else (0, 0))
            if text != marked(name, owner, count) or (name == "Shared" and not 0 < count <= written[owner]):
                raise Broken(f"{name} is {text!r}")
        if code != 0 or output.count("Shared") != 2 * [name for name, _ in values].count("Shared"):
            raise Broken(f"hostreg query: {code} {output}")
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
    installation.make_old(machine, KINDS[0], level=2)
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
