#!/usr/bin/env python3
"""Runs of the agent in which calls fail, the process ends or is killed: whatever happens, nothing that was stored is lost.

A stored value must be old or new, each file whole, entries of the user's own unchanged, a failure told, everything given back.
A round that fails prints the arguments that repeat it alone, with its report:
    run.py --build FOLDER --kind generic --call 117 --lasting
"""
import argparse, itertools, os, random, re, resource, shutil, statistics, subprocess, sys, threading, time
from pathlib import Path

HERE = Path(__file__).resolve().parents[2]
ONE_MODEL, GENERIC = "Run Driver", "Quellon Generic Scan Driver"
SETTINGS = f"[Settings]\nProductName={ONE_MODEL}\nModelName=Quellon Weir C40 Series\nPropertiesUI=1\n"
KINDS = {"dialog": ("/L en", ONE_MODEL), "generic": ("/L en", GENERIC), "hidden": ("/H text", ONE_MODEL),
         "properties": ("/PROP", ONE_MODEL), "several": (r"/More Software\QLScan\Records", ONE_MODEL),
         "devicelist": (r"/devicelist Software\QLScan\Records", ONE_MODEL), "online": ("/Q", GENERIC)}
RECORD = {"Address": "192.0.2.7", "ConnectionType": 1, "DeviceID": "MFG:Q;", "MDL": "Model", "MFG": "Maker", "PID": 26,
          "VID": 3869, "Default": 1}
OLD = {**{name: "old " + name for name in "Address Address2 Comment DeviceID DeviceName ExtDeviceID HostName Location"
          " MACAddress MDL MFG PortName ProductName Serial SystemDeviceName Own".split()}, "savedAt": "2001/01/01",
       **dict.fromkeys("ConnectionType DeviceSelect PID VID UI_Mode Online Changed".split(), 1)}
CONFIG, DEVICE = f"ProgramData/QLScan/{GENERIC}/Config.ini", "ProgramData/Quellon/ScanKELV/device.xml"
OWN = "[Own]\r\nNote=Büro 会議室\r\n"
OLD_CONFIG = "".join(["\ufeff[IO]\r\n", *(f"{name}={value}\r\n" for name, value in OLD.items() if name != "UI_Mode"), OWN])
OLD_DEVICE = "<devicelist><device><Address>old</Address></device></devicelist>"
STORING = re.compile(r"^write (Reg|WritePrivate|CopyFile|MoveFile|.*::save)", re.M)


class Machine:
    """A Wine prefix with the programs in C:\\faults, and the process in it that does what only Windows can."""

    def __init__(self, build, architecture, name, file_limit=resource.RLIM_INFINITY):
        prefix = HERE / f"build/wine/faults-{architecture}-{name}"
        self.drive, self.folder, self.build = prefix / "drive_c", prefix / "drive_c/faults", build
        environment = {**os.environ, "SCANKELV_WINE_PREFIX": str(prefix)}
        wine = [HERE / "scripts/run-under-wine", architecture]
        if subprocess.run([*wine, "cmd", "/c", "exit"], env=environment, stdout=subprocess.DEVNULL).returncode == 77:
            os._exit(77)
        self.folder.mkdir(exist_ok=True)
        for file in "FindwellDlg.dll", "Hueward.exe", "FindwellDlg.xml":
            shutil.copy(build / "bin" / file, self.folder)
        shutil.copy(build / "tests/faults/faults_Agent.exe", self.folder / "ScanKELV.exe")
        self.scenario = (self.folder / "FindwellDlg.xml").read_text("utf-8")
        self.user = next(self.drive.glob("users/[!P]*/AppData/Local")) / "ScanKELV"
        self.user.mkdir(exist_ok=True)
        (self.user / "Debug.ini").write_text("[Modules]\nAgent=3\nKELVClient=3\nKELVFindwellLibrary=3\n")
        self.process = subprocess.Popen(
            [*wine, build / "tests/faults/faults_Machine.exe"], env=environment, stdin=subprocess.PIPE,
            stdout=subprocess.PIPE, encoding="utf-8", restore_signals=False, # a file above the limit gives an error only
            preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (file_limit, file_limit)))

    def ask(self, *words):
        print("\t".join(map(str, words)), file=self.process.stdin, flush=True)
        return list(iter(lambda: self.process.stdout.readline().rstrip("\r\n"), "."))

    def write(self, name, content):
        (self.drive / name).parent.mkdir(parents=True, exist_ok=True)
        (self.drive / name).write_bytes(content if isinstance(content, bytes) else content.encode("utf-16-le"))

    def prepare(self, kind, used, elements=""):
        """A machine on which no agent ran, or one with an older device and entries of the user's own."""
        product = KINDS[kind][1]
        shutil.rmtree(self.drive / "ProgramData/QLScan", ignore_errors=True)
        shutil.rmtree(self.drive / "ProgramData/Quellon", ignore_errors=True)
        for file in self.user / "Log.txt", self.folder / "FindwellDlg.log", self.folder / "ScanKELV.ini":
            file.unlink(missing_ok=True)
        if product == ONE_MODEL:
            (self.folder / "ScanKELV.ini").write_text(SETTINGS)
        elements += "<user><choice>name Quellon Weir C40</choice></user><calls><QueryDeviceAddress><delay>0</delay><thread/>"
        elements += "</QueryDeviceAddress></calls>"
        (self.folder / "FindwellDlg.xml").write_text(self.scenario.replace("<findwell>", "<findwell>" + elements), "utf-8")
        for hive in "HKCU", "HKLM":
            self.ask("clear", hive)
        self.store("HKLM", r"Records\Printer000", RECORD)
        if used:
            self.store("HKCU", product, OLD)
            self.write(CONFIG, OLD_CONFIG)
            self.write(DEVICE, OLD_DEVICE)

    def store(self, hive, key, values):
        for name, value in values.items():
            self.ask("number" if isinstance(value, int) else "text", hive, "Software\\QLScan\\" + key, name, value)

    def start(self, kind, logon="", call=0, action="", error=5, arguments=None):
        (self.folder / ("report" + logon)).write_bytes(bytes(1 << 20))
        for name, value in {"REPORT": r"C:\faults\report" + logon, "LOGON": logon, "AT": call, "ACTION": action, "ERROR": error}.items():
            self.ask("set", "FAULT_" + name, value)
        self.ask("start", r'"C:\faults\ScanKELV.exe" ' + (KINDS[kind][0] if arguments is None else arguments))

    def report(self, logon=""):
        return (self.folder / ("report" + logon)).read_bytes().rstrip(b"\0").decode("latin-1")

    def run(self, kind, milliseconds=60000, **fault):
        """@return (exit code or "killed", what was called and told)"""
        for _ in range(3):  # about one start in a thousand fails before the program begins
            self.start(kind, **fault)
            code, = self.ask("finish", milliseconds, 0)
            if self.report() or code == "killed":
                break
        return code, self.report()

    def state(self):
        """Everything stored: name to content. The time of storing is any time."""
        found = {}
        for line in self.ask("values"):
            name, _, value = line.partition("=")
            found[name] = value[:0] if name.endswith("savedAt") else value
        for folder in "ProgramData/QLScan", "ProgramData/Quellon":
            for file in (self.drive / folder).rglob("*"):
                if file.is_file():
                    found[str(file.relative_to(self.drive))] = file.read_bytes()
        return found


def told(report):
    """Log lines and failure reports, without the numbers that differ between runs."""
    return {re.sub(r"\d+", "0", line) for line in re.findall(r"^told (.*)", report, re.M)}


class Reference:
    """A run to which nothing happens, and what its stored state may be when something does."""

    def __init__(self, machine, kind, used):
        self.kind, self.used = kind, used
        machine.prepare(kind, used)
        self.before = machine.state()
        self.code, report = machine.run(kind)
        self.after, self.told = machine.state(), told(report)
        self.calls = re.findall(r"^(call|write) (.*)", report, re.M)
        self.storing = len(STORING.findall(report))
        self.allowed = [self.before, self.after]
        if KINDS[kind][1] == ONE_MODEL:  # settings or arguments that cannot be read leave the agent another task
            for settings, arguments in (False, KINDS[kind][0]), (True, ""), (False, ""):
                machine.prepare(kind, used)
                if not settings:
                    (machine.folder / "ScanKELV.ini").unlink()
                machine.run(kind, arguments=arguments)
                self.allowed.append(machine.state())
        faults = [*self.losses(self.after), *re.findall(r"^(?:held|not held).*", report, re.M)]
        assert self.code == ("1" if kind == "several" else "0") and not faults, (kind, used, self.code, faults)

    def losses(self, state):
        for name in sorted({name for stored in (state, *self.allowed) for name in stored}):
            now, allowed = state.get(name), [stored.get(name) for stored in self.allowed]
            if now in allowed or self.kind == "online" and (
                    now is None and name.endswith(("\\Online", "\\Changed"))  # removed before the question is answered
                    or name == CONFIG and self.is_mixture(now, *allowed)):
                continue
            yield f"{name} is neither old nor new: {str(now)[:80]}"

    @staticmethod
    def is_mixture(now, old, new):
        """Online testing writes only the addresses that it knows: each line is old or new, none is cut, ours all there."""
        lines = [set((text or b"").decode("utf-16", "replace").splitlines()) for text in (now, old, new)]
        return bool(now) and lines[0] <= lines[1] | lines[2] and (old is None or now.endswith(OWN.encode("utf-16-le")))

    def judge(self, code, report, state):
        met, lines = re.search(r"^met (.*)", report, re.M)[1], "\n".join(told(report) - self.told)
        if code not in ("0", "1") and not (code == "3" and "\nends with 3" in report):
            yield "exit code " + code
        yield from re.findall(r"^(?:crash|abort).*" if code == "3" else r"^(?:held|not held|crash|abort).*", report, re.M)
        if met.startswith("RegQueryValue") and self.kind == "devicelist":
            return  # a value of the record that cannot be read is none
        yield from self.losses(state)
        changed = [name for name in self.after if state.get(name) != self.after[name]]
        if code != "0" or not changed or state in self.allowed[2:] or met in ("LoadLibraryW", "GetProcAddress"):
            return  # the last: of an older shell, which has the folder elsewhere
        if not lines:
            yield f"nothing told of {changed}"
        if DEVICE in changed and "exportResult" not in lines:
            yield "nothing told of device.xml"
        if self.kind == "generic" and CONFIG in changed and "stays as it was" not in lines:
            yield "nothing told of Config.ini"


def next_run(machine, reference):
    """After a process that ended early: nothing is lost, and the next run stores all and leaves nothing over."""
    yield from reference.losses({name: value for name, value in machine.state().items() if ".ScanKELV-" not in name})
    code, report = machine.run(reference.kind)
    if code != reference.code or machine.state() != reference.after:
        yield f"the next run ends with {code}, and stores {set(machine.state().items()) ^ set(reference.after.items())}"


class Sweep:
    """Rounds of one kind with a fault at one call after the other, until a round meets none."""

    def __init__(self, reference, action, error, calls=None):
        self.reference, self.fault, self.rounds, self.isOver = reference, {"action": action, "error": error}, 0, False
        self.calls = itertools.count(1) if calls is None else calls

    def __iter__(self):
        for call in self.calls:
            if self.isOver:
                return
            yield lambda machine, call=call: self.round(machine, call)

    def round(self, machine, call):
        kind = self.reference.kind
        machine.prepare(kind, self.reference.used)
        code, report = machine.run(kind, call=call, **self.fault)
        self.isOver = self.isOver or "\nmet " not in report
        if "\nmet " not in report:
            return
        self.rounds += 1
        if self.fault["action"] == "end":
            faults = next_run(machine, self.reference)
        else:
            state = machine.state()
            whole = {name: value for name, value in state.items() if ".ScanKELV-" not in name}
            faults = list(self.reference.judge(code, report, whole))
            if whole != state:  # its removal failed too
                faults += next_run(machine, self.reference)
        for fault in faults:
            yield (f"--kind {kind}{' --used' * self.reference.used} --call {call} --{self.fault['action']} --error"
                   f" {self.fault['error']}: {re.search('met (.*)', report)[1]}: {fault}")


class Kills:
    """Killed from outside at random moments, until enough were between the first and the last write of storing."""

    def __init__(self, reference, rounds, between):
        self.reference, self.rounds, self.wanted = reference, 0, (rounds, between)
        self.between, self.middle = 0, 60  # milliseconds after the start

    def __iter__(self):
        while self.rounds < self.wanted[0] or self.between < self.wanted[1]:
            self.rounds += 1
            yield self.round

    def round(self, machine):
        machine.prepare(self.reference.kind, self.reference.used)
        after = max(1, self.middle + random.randint(-20, 20))
        _, report = machine.run(self.reference.kind, after)
        stored = len(STORING.findall(report))
        self.between += 0 < stored < self.reference.storing
        self.middle += 1 if stored == 0 else -1 if stored >= self.reference.storing else 0
        for fault in next_run(machine, self.reference):
            yield f"--kind {self.reference.kind} --used, killed after {after} ms, {stored} writes: {fault}"


def two_logons(machine, generic, online):
    """One agent stores while the other patches addresses; neither sees the other."""
    machine.prepare("generic", True)
    for kind, logon in random.sample([("generic", "A"), ("online", "B")], 2):
        machine.start(kind, logon)
        time.sleep(random.random() * 0.05)
    codes, state = machine.ask("finish", 60000, 0), machine.state()
    config = state.get(CONFIG, b"")
    lines = {line for stored in (generic, online) for text in (stored.before, stored.after)
             for line in text[CONFIG].decode("utf-16").splitlines()}
    if codes != ["0", "0"] or not set(config.decode("utf-16", "replace").splitlines()) <= lines or \
            not config.endswith(OWN.encode("utf-16-le")) or state[DEVICE] != generic.after[DEVICE] or \
            state.keys() - {*generic.after, *online.after}:
        yield f"two logons: {codes} {state}"


def crowd(machine, online):
    """One agent is held in the library until ninety-nine others were refused."""
    go = machine.folder / "go"
    go.unlink(missing_ok=True)
    machine.prepare("online", True, "<calls><QueryDeviceAddress><until>go</until></QueryDeviceAddress></calls>")
    machine.start("online", "")
    while "QueryDeviceAddress" not in machine.report():
        time.sleep(0.01)
    for _ in range(99):
        machine.ask("start", r'"C:\faults\ScanKELV.exe" /Q')
    refused = machine.ask("finish", 60000, 1)
    go.touch()
    first = machine.ask("finish", 60000, 0)
    text = (machine.user / "Log.txt").read_text("latin-1").count("due to other program instances running!\n")
    if refused != ["1"] * 99 or first != ["0"] or text != 99 or [*online.losses(machine.state())]:
        yield f"crowd: {first} {refused} {text}"


def in_a_row(machine, reference, rounds):
    """Whatever is stored and its size stay as after the first run, and so does the time of a run."""
    machine.prepare(reference.kind, reference.used)
    times = []
    for number in range(rounds):
        begin = time.monotonic()
        code, _ = machine.run(reference.kind)
        times.append(time.monotonic() - begin)
        if code != reference.code or machine.state() != reference.after:
            yield f"{reference.kind}: run {number} of a row ends with {code}, stored {machine.state()}"
    first, last = statistics.median(times[:rounds // 3]), statistics.median(times[-rounds // 3:])
    if last > 1.5 * first:
        yield f"{reference.kind}: of {rounds} runs in a row the last take {last / first:.2f} times as long as the first"


MIB = b"x" * (1 << 20)
DEVICE_LIST = b"<devicelist><device>%s</device></devicelist>"
BOMB = b"<!DOCTYPE a [<!ENTITY e0 'xxxxxxxxxx'>" + b"".join(
    b"<!ENTITY e%d '%s'>" % (i, b"&e%d;" % (i - 1) * 10) for i in range(1, 9)) + b"]><a>&e8;</a>"
CONTENTS = {  # as a file that anybody may have put there, and as the library's answer
    "empty": b"", "zeros": bytes(4096), "16 MiB": MIB * 16, "text of 1 MiB": DEVICE_LIST % (b"<Comment>%s</Comment>" % MIB[:-100]),
    "cut": OLD_DEVICE.encode()[:31], "8-bit": OLD_DEVICE.encode().replace(b"old", b"\xe4\xff"), "depth 10,000": b"<a>" * 10000,
    "wrong mark": b"\xfe\xff" + OLD_DEVICE.encode(), "odd UTF-16": b"\xff\xfe" + OLD_DEVICE.encode("utf-16-le")[:-1],
    "10,000 devices": b"<devicelist>" + b"<device><pid>1</pid></device>" * 10000 + b"</devicelist>", "entity bomb": BOMB}
CONFIGS = {"absent": None, "of 0 bytes": b"", "of 1 byte": b"[", "8-bit": b"[IO]\r\nAddress=old\r\n[Own]\r\nNote=\xfc\r\n",
           "UTF-8": "\ufeff[IO]\r\n[Own]\r\nNote=ü\r\n".encode(), "big endian": ("\ufeff" + OWN).encode("utf-16-be"),
           "without IO": ("\ufeff" + OWN).encode("utf-16-le"), "16 MiB": b"; " + MIB * 16, "zeros": bytes(4096)}


def hostile(references):
    """Rounds (machine): whatever others put there or answer, a clear end within seconds, and what was stored is kept."""
    generic, online = references["generic", True], references["online", True]

    def round(name, kind="generic", files={}, elements="", codes=("0",), stored=None, library=None, milliseconds=20000):
        def run(machine):
            machine.prepare(kind, True, elements)
            for path, content in files.items():
                (machine.drive / path).unlink(missing_ok=True)
                if content is not None:
                    machine.write(path, content)
            if library:
                shutil.copy(machine.build / "tests/faults" / library, machine.folder / "FindwellDlg.dll")
            before = machine.state()
            code, report = machine.run(kind, milliseconds)
            shutil.copy(machine.build / "bin/FindwellDlg.dll", machine.folder)
            state = machine.state()
            if code not in codes or "crash" in report or (code == "1" and not told(report)):
                yield f"hostile, {name}: exit code {code}"
            if code == "0" and not (stored or (lambda state: state == generic.after))(state):
                yield f"hostile, {name}: stored {state.get(CONFIG, b'')[:300]} {state.get(DEVICE, b'')[:300]}"
            if code != "0" and state != before:
                yield f"hostile, {name}: something of the old is lost"
        return run

    def answer(name, call, kind, content):
        elements = f"<calls><{call}><answer><file>answer</file></answer></{call}></calls>"
        return round(f"{call} answers {name}", kind, {"faults/answer": content}, elements, ("0", "1"), lambda state: True)

    for name, content in CONTENTS.items():
        yield round("device.xml " + name, files={DEVICE: content})
        yield answer(name, "GetDeviceList_LCode", "generic", content)
        yield answer(name, "ShowPropertiesUI", "properties", content)
        yield round("settings " + name, "dialog", {"faults/ScanKELV.ini": content}, codes=("0", "1", "3"), stored=lambda state: True)
    own = lambda content: (content or b"").split(b"[Own]")[-1].replace(b"\0", b"") if content and b"Own" in content else b""
    for name, content in CONFIGS.items():
        yield round("Config.ini " + name, files={CONFIG: content}, stored=lambda state, content=content:
                    own(content) in state[CONFIG].replace(b"\0", b"") and b"192.0.2.41" in state[CONFIG].replace(b"\0", b""))
        yield round("online, Config.ini " + name, "online", {CONFIG: content}, stored=lambda state, content=content:
                    own(content) in state[CONFIG].replace(b"\0", b""))
    for text in "<null/>", "<repeat>65536 x</repeat>":
        yield round(f"addresses {text}", "online", elements="<calls><QueryDeviceAddress>" + "".join(
            f"<{name}>{text}</{name}>" for name in ("address", "macaddress")) + "</QueryDeviceAddress></calls>",
            stored=lambda state: state[CONFIG].endswith(OWN.encode("utf-16-le")))
    yield round("a late answer", "online", elements="<calls><QueryDeviceAddress><thread>own</thread><delay>3000</delay>"
                "</QueryDeviceAddress></calls>", stored=lambda state: state == online.after)
    yield round("a library without functions", library="faults_Empty.dll", codes=("1",))
    yield round("a library that throws", library="faults_Throwing.dll", codes=("0", "1", "3", "77", "78"))


def full_disk(machine, generic):
    """No file may become longer than the limit of this machine's processes."""
    own = "[Own]\r\nNote=" + "x" * random.randint(1000, 3000) + "\r\n"
    machine.prepare("generic", True)
    machine.write(CONFIG, "\ufeff" + own)
    machine.write(DEVICE, OLD_DEVICE)
    code, report = machine.run("generic")
    state = machine.state()
    text = state[CONFIG].decode("utf-16", "replace")
    whole = text == "\ufeff" + own or (text.startswith(own) and text.endswith("\r\n") and "VID=" in text)
    new_device = state[DEVICE] in (OLD_DEVICE.encode("utf-16-le"), generic.after[DEVICE])
    if code != "0" or not whole or not new_device or any(".ScanKELV-" in name for name in state):
        yield f"full disk: exit code {code}, {text[-100:]!r}, device.xml of {len(state[DEVICE])} bytes, {sorted(state)}"


def work(machines, title, rounds):
    """Each machine takes one round after the other. @return whether none showed a fault"""
    begin, lock, rounds, counts = time.monotonic(), threading.Lock(), iter(rounds), [0, 0]

    def worker(machine):
        while True:
            with lock:
                round = next(rounds, None)
            if round is None:
                return
            counts[0] += 1
            try:
                faults = list(round(machine))
            except Exception as error:  # of this script: it counts as a fault too
                faults = [f"{title}: {error!r}"]
            for fault in faults:
                counts[1] += 1
                print(fault, flush=True)

    threads = [threading.Thread(target=worker, args=[machine]) for machine in machines]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    print(f"{title}: {counts[0]} rounds, {counts[1]} faults, {time.monotonic() - begin:.0f} s", flush=True)
    return counts[1] == 0


def contexts(references, keep=lambda number: True):
    """(reference, calls): each call with the two before it, once in a kind of run."""
    seen = set()
    for reference in references:
        names, calls = [name for _, name in reference.calls], []
        for i in range(len(names)):
            context = (reference.kind, *names[max(i - 2, 0):i + 1])
            if context not in seen and keep(len(seen)):
                calls.append(i + 1)
            seen.add(context)
        yield reference, calls


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", type=Path, default=HERE / "build/windows-x64-checked", help="folder of the build")
    parser.add_argument("--all", action="store_true", help="all calls, kills, concurrent runs, hostile input")
    parser.add_argument("--every", type=int, default=1, help="only each n-th call in its context")
    parser.add_argument("--kind", choices=KINDS, help="one round of this kind")
    parser.add_argument("--used", action="store_true", help="with an older device and entries of the user's own")
    parser.add_argument("--call", type=int, default=0)
    for action in "fail", "lasting", "end":
        parser.add_argument("--" + action, dest="action", action="store_const", const=action, default="fail")
    parser.add_argument("--error", type=int, default=5)
    options = parser.parse_args()
    build = options.build.resolve()
    architecture = re.search("WINDOWS_ARCHITECTURE:.*=(.*)", (build / "CMakeCache.txt").read_text())[1]
    machines = [Machine(build, architecture, name) for name in ("1", "2")[:1 if options.kind else 2]]
    if options.kind:
        reference = Reference(machines[0], options.kind, options.used)
        sweep = Sweep(reference, options.action, options.error)
        faults = list(sweep.round(machines[0], options.call))
        print(machines[0].report(), *faults, sep="\n")
        return bool(faults)
    references = {(kind, used): Reference(machines[0], kind, used) for kind in KINDS for used in (True, False)}
    generic, online = references["generic", True], references["online", True]
    passed = True
    if not options.all:
        chosen = list(contexts(references.values(), lambda number: number % options.every == 0))
        print(sum(len(calls) for _, calls in chosen))
        passed &= work(machines, "each call in its context fails", (
            round for reference, calls in chosen for round in Sweep(reference, "fail", 5, calls)))
        passed &= work(machines, "from it on all fail", (
            round for reference, calls in chosen for round in Sweep(reference, "lasting", 112, calls[::3])))
        passed &= work(machines, "the process ends before it", (
            round for reference, calls in chosen[2:4] for round in Sweep(reference, "end", 0, [
                call for call in calls if reference.calls[call - 1][0] == "write"])))
        return not passed
    for (kind, used), reference in references.items():
        for action, error in ("fail", 5), ("fail", 112), ("lasting", 5), ("lasting", 112):
            passed &= work(machines, f"{kind} {action} {error}", Sweep(reference, action, error))
        passed &= work(machines, f"{kind}, end", Sweep(reference, "end", 0, (
            number for number, (how, _) in enumerate(reference.calls, 1) if how == "write")))
    passed &= work(machines, "killed", Kills(generic, 500, 200))
    passed &= work(machines, "two logons", [lambda machine: two_logons(machine, generic, online)] * 200)
    passed &= work(machines, "one of a hundred runs", [lambda machine: crowd(machine, online)] * 50)
    passed &= work(machines[:1], "in a row", [lambda machine: in_a_row(machine, generic, 300)])
    passed &= work(machines, "hostile input", hostile(references))
    limited = [Machine(build, architecture, "limited", 4096)]
    passed &= work(limited, "full disk", [lambda machine: full_disk(machine, generic)] * 60)
    return not passed


sys.exit(main())
