#!/usr/bin/env python3
"""Runs of the agent in which calls fail, the process ends or is killed, and others do their worst: nothing is lost.

A stored value is old or new, a file whole, an entry of the user's own unchanged, a failure told, all that was opened closed.
A round that fails prints how to repeat it alone, as in: run.py --kind generic --used --call 117 --lasting --error 112
"""
import argparse, functools, itertools, os, random, re, resource, shutil, statistics, subprocess, sys, threading, time
from pathlib import Path

HERE = Path(__file__).resolve().parents[2]
ONE_MODEL, GENERIC = "Run Driver", "Quellon Generic Scan Driver"  # drivers, and their keys
SETTINGS = f"[Settings]\nProductName={ONE_MODEL}\nModelName=Quellon Weir C40 Series\nPropertiesUI=1\n"
KINDS = {"dialog": ("/L en", ONE_MODEL), "generic": ("/L en", GENERIC), "hidden": ("/H text", ONE_MODEL),
         "properties": ("/PROP", ONE_MODEL), "several": (r"/More Software\QLScan\Records", ONE_MODEL),
         "devicelist": (r"/devicelist Software\QLScan\Records", ONE_MODEL), "online": ("/Q", GENERIC)}
RECORD = {"Address": "192.0.2.7", "DeviceID": "MFG:Q;", "MDL": "Model", "MFG": "Maker", "PID": "#26", "Default": "#1"}
OLD = {**{name: "old " + name for name in "Address Address2 Comment DeviceID DeviceName ExtDeviceID HostName Location"
          " MACAddress MDL MFG PortName ProductName Serial SystemDeviceName Own savedAt".split()},
       **dict.fromkeys("ConnectionType DeviceSelect PID VID UI_Mode Online Changed".split(), "#1")}
CONFIG, DEVICE = f"ProgramData/QLScan/{GENERIC}/Config.ini", "ProgramData/Quellon/ScanKELV/device.xml"
OWN = "[Own]\r\nNote=Büro 会議室\r\n"
OLD_CONFIG = "\ufeff[IO]\r\n" + "".join(f"{name}={OLD[name]}\r\n" for name in OLD if name != "UI_Mode") + OWN
OLD_DEVICE = "<devicelist><device><Address>old</Address></device></devicelist>"
STORES = re.compile(r"^write (?:Reg|WritePrivate|CopyFile|MoveFile|.*::save)", re.M)


class Machine:
    """A Wine prefix with the programs in C:\\faults, and the process in it that does what only Windows can."""

    def __init__(self, build, architecture, name, longest_file=resource.RLIM_INFINITY):
        prefix = HERE / f"build/wine/faults-{architecture}-{name}"
        environment = {**os.environ, "SCANKELV_WINE_PREFIX": str(prefix)}
        wine = [HERE / "scripts/run-under-wine", architecture]
        if subprocess.run([*wine, "cmd", "/c", "exit"], env=environment, stdout=subprocess.DEVNULL).returncode == 77:
            os._exit(77)  # there is no Wine for these programs
        self.drive, self.folder = prefix / "drive_c", prefix / "drive_c/faults"
        self.folder.mkdir(exist_ok=True)
        for file in "FindwellDlg.dll", "FindwellDlg.xml", "Hueward.exe":
            shutil.copy(build / "bin" / file, self.folder)
        shutil.copy(build / "tests/faults/faults_Agent.exe", self.folder / "ScanKELV.exe")
        self.scenario = (self.folder / "FindwellDlg.xml").read_text("utf-8")
        self.user = next(self.drive.glob("users/[!P]*/AppData/Local")) / "ScanKELV"
        self.user.mkdir(exist_ok=True)
        (self.user / "Debug.ini").write_text("[Modules]\nAgent=3\nKELVClient=3\nKELVFindwellLibrary=3\n")
        self.process = subprocess.Popen(
            [*wine, build / "tests/faults/faults_Machine.exe"], env=environment, stdin=subprocess.PIPE, encoding="utf-8",
            stdout=subprocess.PIPE, stderr=(self.folder / "errors").open("w"), cwd=self.folder,
            restore_signals=False,  # writing above the limit is an error, and no signal
            preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (longest_file, longest_file)))

    def ask(self, *words):
        print(*words, sep="\t", file=self.process.stdin, flush=True)
        return list(iter(lambda: self.process.stdout.readline().rstrip("\r\n"), "."))

    def write(self, name, content):
        (self.drive / name).parent.mkdir(parents=True, exist_ok=True)
        (self.drive / name).write_bytes(content if isinstance(content, bytes) else content.encode("utf-16-le"))

    def prepare(self, kind, used, calls=""):
        """A machine on which no agent ran, or one with an older device and entries of the user's own."""
        for folder in "ProgramData/QLScan", "ProgramData/Quellon":
            shutil.rmtree(self.drive / folder, ignore_errors=True)
        for file in self.user / "Log.txt", *map(self.folder.joinpath, ("FindwellDlg.log", "ScanKELV.ini", "go")):
            file.unlink(missing_ok=True)
        if KINDS[kind][1] == ONE_MODEL:
            self.write("faults/ScanKELV.ini", SETTINGS.encode())
        elements = (f"<findwell><user><choice>name Quellon Weir C40</choice></user><calls>{calls}<QueryDeviceAddress>"
                    "<delay>0</delay><thread/></QueryDeviceAddress></calls>")
        self.write("faults/FindwellDlg.xml", self.scenario.replace("<findwell>", elements).encode())
        values = {("HKLM", "Records\\Printer000"): RECORD, ("HKCU", KINDS[kind][1]): OLD if used else {}}
        for (hive, key), content in values.items():
            self.ask("clear", hive)
            for name, value in content.items():
                self.ask("store", hive, "Software\\QLScan\\" + key, name, value)
        if used:
            self.write(CONFIG, OLD_CONFIG)
            self.write(DEVICE, OLD_DEVICE)

    def start(self, arguments, logon="", size=1 << 20, **fault):
        (self.folder / ("report" + logon)).write_bytes(bytes(size))
        fault = {"report": r"C:\faults\report" + logon, "logon": logon, "at": 0, "action": "", "guard": 1, **fault}
        for name, value in fault.items():
            self.ask("set", "FAULT_" + name.upper(), value)
        self.ask("start", r'"C:\faults\ScanKELV.exe" ' + arguments)

    def report(self):
        return (self.folder / "report").read_bytes().rstrip(b"\0").decode("latin-1")

    def run(self, arguments, milliseconds=60000, **fault):
        """@return exit code or "killed", and what was called and told"""
        for _ in range(3):  # about one start in a thousand fails before the program begins
            self.start(arguments, **fault)
            code, = self.ask("finish", milliseconds, 0)
            if self.report() or code == "killed":
                break
        return code, self.report()

    def state(self):
        """Everything stored: name to content; the time of storing is any time."""
        lines = [line.partition("=") for hive in ("HKCU", "HKLM") for line in self.ask("values", hive)]
        files = [file for folder in ("QLScan", "Quellon") for file in (self.drive / "ProgramData" / folder).rglob("*.*")]
        return {**{name: "" if name.endswith("savedAt") else value for name, _, value in lines},
                **{str(file.relative_to(self.drive)): file.read_bytes() for file in files}}


def told(report):
    """Log lines and failure reports, without the numbers that differ between runs."""
    return {re.sub(r"\d+", "0", line) for line in re.findall(r"^told (.*)", report, re.M)}


def settled(state):
    """Without new files that an ended process, or a removal that failed, left over for the next run."""
    return {name: content for name, content in state.items() if ".ScanKELV-" not in name}


class Reference:
    """A run to which nothing happens, and what may be stored when something does."""

    def __init__(self, machine, kind, used):
        self.kind, self.used, (self.arguments, driver) = kind, used, KINDS[kind]
        machine.prepare(kind, used)
        self.before = machine.state()
        self.code, report = machine.run(self.arguments)
        self.after, self.told = machine.state(), told(report)
        self.calls, self.stores = re.findall(r"^(call|write) (.*)", report, re.M), len(STORES.findall(report))
        self.allowed = [self.before, self.after]
        for settings, arguments in [(0, self.arguments), (1, ""), (0, "")] if driver == ONE_MODEL else []:
            machine.prepare(kind, used)  # settings or arguments that could not be read: it has another task then
            if not settings:
                (machine.folder / "ScanKELV.ini").unlink()
            machine.run(arguments)
            self.allowed.append(machine.state())
        faults = [*self.losses(self.after), *re.findall(r"^(?:held|not held).*", report, re.M)]
        assert self.code == ("1" if kind == "several" else "0") and not faults, (kind, used, self.code, faults)

    def losses(self, state):
        for name in sorted({name for stored in (state, *self.allowed) for name in stored}):
            now, allowed = state.get(name), [stored.get(name) for stored in self.allowed]
            if now not in allowed and not (self.kind == "online" and (
                    now is None and name.endswith(("\\Online", "\\Changed"))  # unknown until the question is answered
                    or name == CONFIG and is_mixture(now, *allowed))):
                yield f"{name} is neither old nor new: {str(now)[:200]}"

    def judge(self, code, report, state):
        met, lines = re.search(r"^met (.*)", report, re.M)[1], "\n".join(told(report) - self.told)
        if code not in ("0", "1") and not (code == "3" and "\nends with 3" in report):
            yield "exit code " + code
        yield from re.findall(r"^(?:crash|abort).*" if code == "3" else r"^(?:held|not held|crash|abort).*", report, re.M)
        if met.startswith("RegQueryValue") and self.kind == "devicelist":
            return  # a value of the record that cannot be read counts as absent
        yield from self.losses(state)
        changed = [name for name in self.after if state.get(name) != self.after[name]]
        if code != "0" or not changed or state in self.allowed[2:] or met in ("LoadLibraryW", "GetProcAddress"):
            return  # the last two: an older shell has the folder elsewhere
        if not lines:
            yield f"nothing told of {changed}"
        if DEVICE in changed and "exportResult" not in lines:
            yield "nothing told of device.xml"
        if self.kind == "generic" and CONFIG in changed and "stays as it was" not in lines:
            yield "nothing told of Config.ini"

    def next_run(self, machine):
        """After a process that ended early nothing is lost, and the next run stores all and leaves nothing over."""
        yield from self.losses(settled(machine.state()))
        code, _ = machine.run(self.arguments)
        if code != self.code or machine.state() != self.after:
            yield f"the next run: exit code {code}, stored {sorted({*machine.state().items()} ^ {*self.after.items()})}"


def is_mixture(now, *allowed):
    """Each line is one that may be there, none is cut, the user's own are all there."""
    lines = [set((text or b"").decode("utf-16", "replace").splitlines()) for text in (now, *allowed)]
    return bool(now) and lines[0] <= set().union(*lines[1:]) and (
        not allowed[0] or now.endswith(OWN.encode("utf-16-le")))


class Sweep:
    """One round for each call, which fails there, until a round meets none."""

    def __init__(self, reference, calls=None, **fault):
        self.reference, self.fault, self.calls, self.is_over, self.survived = reference, fault, calls, False, []

    def __iter__(self):
        calls = itertools.count(1) if self.calls is None else self.calls
        return (functools.partial(self.round, call) for call in itertools.takewhile(lambda _: not self.is_over, calls))

    def round(self, call, machine):
        reference, action, error = self.reference, self.fault["action"], self.fault["error"]
        machine.prepare(reference.kind, reference.used)
        code, report = machine.run(reference.arguments, at=call, **self.fault)
        if "\nmet " not in report:
            self.is_over = True
            return
        if code == reference.code:
            self.survived.append(call)
        faults, state = [], machine.state()
        if action != "end":
            faults += reference.judge(code, report, settled(state))
        if action == "end" or state != settled(state):
            faults += reference.next_run(machine)
        for fault in faults:
            yield (f"--kind {reference.kind}{' --used' * reference.used} --call {call} --{action} --error {error}: "
                   f"{re.search('met (.*)', report)[1]}: {fault}")


def kills(reference, rounds, between):
    """Killed from outside at random moments, until enough were between the first and the last write of storing."""
    middle = 60  # milliseconds after the start

    def round(machine):
        nonlocal between, middle
        machine.prepare(reference.kind, reference.used)
        after = max(1, middle + random.randint(-20, 20))
        stored = len(STORES.findall(machine.run(reference.arguments, after)[1]))
        between -= 0 < stored < reference.stores
        middle += 1 if stored == 0 else -1 if stored == reference.stores else 0
        for fault in reference.next_run(machine):
            yield f"killed after {after} ms and {stored} writes: {fault}"

    for number in itertools.count():
        if number >= rounds and between <= 0:
            return
        yield round


def two_logons(generic, online, machine):
    """One agent stores while the other patches addresses; neither sees the other."""
    machine.prepare("generic", True)
    for logon, arguments in random.sample([("A", generic.arguments), ("B", online.arguments)], 2):
        machine.start(arguments, logon)
        time.sleep(random.random() * 0.05)
    codes, state = machine.ask("finish", 60000, 0), machine.state()
    allowed = [stored[CONFIG] for one in (generic, online) for stored in (one.before, one.after)]
    if (codes != ["0", "0"] or not is_mixture(state[CONFIG], *allowed) or state[DEVICE] != generic.after[DEVICE]
            or state.keys() - generic.after.keys() - online.after.keys()):
        yield f"two logons: exit codes {codes}, stored {state}"


def hundred(online, machine):
    """One agent is held in the library until ninety-nine others were refused."""
    machine.prepare("online", True, "<QueryDeviceAddress><until>go</until></QueryDeviceAddress>")
    machine.start("/Q")
    while "QueryDeviceAddress" not in machine.report():
        time.sleep(0.01)
    for _ in range(99):
        machine.ask("start", r'"C:\faults\ScanKELV.exe" /Q')
    refused = machine.ask("finish", 60000, 1)
    (machine.folder / "go").touch()
    codes, log = machine.ask("finish", 60000, 0) + refused, (machine.user / "Log.txt").read_text("latin-1")
    lines = log.count("other program instances running!\n")
    # One start in a thousand fails, and an agent may lose its line to another that wrote at the same moment.
    if codes[0] != "0" or codes.count("1") < 98 or not 95 <= lines <= 99 or [*online.losses(machine.state())]:
        yield f"of a hundred {lines} were refused, exit codes {codes}"


def in_a_row(reference, rounds, fresh, machine):
    """What is stored and its size stay as after the first run; at last a run takes as long as on a fresh machine."""
    machine.prepare(reference.kind, reference.used)
    times = {machine: [], fresh: []}
    for number in range(rounds):
        for one in [machine] if number < rounds - 40 else times:
            if one is fresh:
                fresh.prepare(reference.kind, reference.used)
            begin = time.monotonic()
            code, _ = one.run(reference.arguments)
            times[one].append(time.monotonic() - begin)
            if code != reference.code or one.state() != reference.after:
                yield f"run {number} in a row: exit code {code}, stored {one.state()}"
    ratio = statistics.median(times[machine][-40:]) / statistics.median(times[fresh])
    if ratio > 1.5:
        yield f"of {rounds} runs in a row the last ones take {ratio:.2f} times as long as the first"


X, LIST = b"x" * (1 << 20), OLD_DEVICE.encode()
ENTITIES = b"".join(b"<!ENTITY e%d '%s'>" % (i, b"&e%d;" % (i - 1) * 10) for i in range(1, 9))
CONTENTS = {  # of a file that anybody may have put there, and of the library's answer
    "0 bytes": b"", "zeros": bytes(4096), "16 MiB": X * 16, "a text of 1 MiB": LIST.replace(b"old", X[:-100]),
    "a list that is cut": LIST[:31], "8-bit": LIST.replace(b"old", b"\xe4\xff"), "depth 10,000": b"<a>" * 10000,
    "a wrong mark": b"\xfe\xff" + LIST, "odd UTF-16": b"\xff\xfe" + OLD_DEVICE.encode("utf-16-le")[:-1],
    "10,000 devices": b"<devicelist>" + b"<device><pid>1</pid></device>" * 10000 + b"</devicelist>",
    "an entity bomb": b"<!DOCTYPE a [<!ENTITY e0 'xxxxxxxxxx'>" + ENTITIES + b"]><a>&e8;</a>"}
NARROW = b"[IO]\r\nAddress=old\r\n[Own]\r\nNote="
CONFIGS = {
    "absent": None, "0 bytes": b"", "1 byte": b"[", "8-bit": NARROW + b"\xfc\r\n", "UTF-8": b"\xef\xbb\xbf" + NARROW + b"\r\n",
    "big endian": ("\ufeff" + OWN).encode("utf-16-be"), "no section IO": "\ufeff" + OWN, "16 MiB": b"[Own]\r\n; " + X * 16}


def hostile(references):
    """Others put anything in a file, or answer anything: a clear end within seconds, and what was stored is kept."""

    def round(name, reference, files, calls, codes, before, fault, machine):
        plain = lambda state: state.get(CONFIG, b"").replace(b"\0", b"")
        machine.prepare(reference.kind, True, calls)
        for path, content in files.items():
            (machine.drive / path).unlink(missing_ok=True)
            if content is not None:
                machine.write(path, content)
        before(machine)
        old = machine.state()
        code, report = machine.run(reference.arguments, 20000, **fault)
        machine.ask("hold", "")
        new, own = machine.state(), plain(old)[plain(old).find(b"[Own]") % (1 << 30):]
        is_as_asked = calls or CONFIG in files or new == reference.after
        if code not in codes or not told(report) or ("crash" in report and not fault):
            yield f"{name}: exit code {code}"
        if own not in plain(new) or not (is_as_asked if code == "0" else new == old):
            yield f"{name}: exit code {code}, stored {plain(new)[:300]} {new.get(DEVICE, b'')[:300]}"

    def case(name, reference, files={}, calls="", codes=("0",), before=lambda machine: None, **fault):
        return functools.partial(round, name, reference, files, calls, codes, before, fault)

    generic, online, properties, dialog = (references[kind, True] for kind in ("generic", "online", "properties", "dialog"))
    for name, content in CONTENTS.items():
        yield case("device.xml: " + name, generic, {DEVICE: content})
        yield case("settings: " + name, dialog, {"faults/ScanKELV.ini": content}, " ", ("0", "1", "3"))
        for call, reference in ("GetDeviceList_LCode", generic), ("ShowPropertiesUI", properties):
            answer = f"<{call}><answer><file>answer</file></answer></{call}>"
            yield case(f"{call} answers {name}", reference, {"faults/answer": content}, answer, ("0", "1"))
    query = "<QueryDeviceAddress>{}</QueryDeviceAddress>".format
    for reference in generic, online:
        for name, content in CONFIGS.items():
            yield case(f"Config.ini: {name}, {reference.kind}", reference, {CONFIG: content})
        yield case("Config.ini held open", reference, {CONFIG: OLD_CONFIG}, before=lambda machine: machine.ask(
            "hold", "C:\\" + CONFIG.replace("/", "\\")))
        yield case("Config.ini read-only", reference, {CONFIG: OLD_CONFIG}, before=lambda machine: (
            machine.drive / CONFIG).chmod(0o444))
    for text in "<null/>", "<repeat>65536 x</repeat>":
        yield case("address " + text, online, calls=query(f"<address>{text}</address><macaddress>{text}</macaddress>"))
    yield case("a late answer", online, calls=query("<thread>own</thread><delay>3000</delay>"))
    asked = [name for _, name in generic.calls].index("GetDeviceList_LCode") + 1
    yield case("a library that throws", generic, codes=("0", "1", "3", "77", "78"), at=asked, action="throw")


def full_disk(generic, machine):
    """No file may become longer than the limit of this machine's processes."""
    own = "\ufeff[Own]\r\nNote=" + "x" * random.randint(1000, 2000) + "\r\n"
    machine.prepare("generic", True)
    machine.write(CONFIG, own)
    code, report = machine.run(generic.arguments)
    state = machine.state()
    text = state[CONFIG].decode("utf-16-le", "replace")
    is_kept = text == own and "stays as it was" in report
    is_new = text.startswith(own) and text.endswith("\r\n") and "\r\nVID=" in text
    if code != "0" or not (is_kept or is_new) or state != settled(state) or (
            state[DEVICE] not in (OLD_DEVICE.encode("utf-16-le"), generic.after[DEVICE])):
        yield f"full disk: exit code {code}, {text[-100:]!r}, device.xml of {len(state[DEVICE])} bytes, {sorted(state)}"


def work(machines, title, rounds):
    """Each machine takes one round after the other. @return how many faults were seen"""
    begin, lock, rounds, count, faults = time.monotonic(), threading.Lock(), iter(rounds), itertools.count(), []

    def worker(machine):
        while True:
            with lock:
                round = next(rounds, None)
                if round is None:
                    return
                next(count)
            try:
                found = list(round(machine))
            except Exception as error:  # of this script: counts as a fault
                found = [f"{title}: {error!r}"]
            faults.extend(found)
            print(*found, sep="\n", end="\n" * bool(found), flush=True)

    threads = [threading.Thread(target=worker, args=[machine]) for machine in machines]
    for step in threading.Thread.start, threading.Thread.join:
        list(map(step, threads))
    print(f"{title}: {next(count)} rounds, {len(faults)} faults, {time.monotonic() - begin:.0f} s", flush=True)
    return len(faults)


def in_contexts(references, every):
    """(reference, calls): each call with the two before it once, or one of so many."""
    seen = set()
    for reference in references:
        names, calls = ["", "", *(name for _, name in reference.calls)], []
        for call in range(1, len(names) - 1):
            if (context := tuple(names[call - 1:call + 2])) not in seen and len(seen) % every == 0:
                calls.append(call)
            seen.add(context)
        yield reference, calls


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--build", type=Path, default=HERE / "build/windows-x64-checked", help="folder of the build")
    parser.add_argument("--all", action="store_true", help="every call, kills, concurrent runs, hostile input")
    parser.add_argument("--every", type=int, default=1, help="without --all: one of so many calls")
    parser.add_argument("--kind", choices=KINDS, help="one round of this kind")
    parser.add_argument("--used", action="store_true", help="with an older device and entries of the user's own")
    parser.add_argument("--call", type=int, default=0)
    for action in "fail", "lasting", "end":
        parser.add_argument("--" + action, dest="action", action="store_const", const=action, default="fail")
    parser.add_argument("--error", type=int, default=5)
    options = parser.parse_args()
    architecture = re.search("WINDOWS_ARCHITECTURE:.*=(.*)", (options.build / "CMakeCache.txt").read_text())[1]
    machines = [Machine(options.build.resolve(), architecture, name) for name in (["1"] if options.kind else ["1", "2"])]
    if options.kind:
        sweep = Sweep(Reference(machines[0], options.kind, options.used), action=options.action, error=options.error)
        faults = list(sweep.round(options.call, machines[0]))
        print(machines[0].report(), (machines[0].folder / "errors").read_text("latin-1"), *faults, sep="\n")
        return bool(faults)
    references = {(kind, used): Reference(machines[0], kind, used) for used in (True, False) for kind in KINDS}
    generic, online, faults = references["generic", True], references["online", True], 0
    writes = {one: [call for call, (how, _) in enumerate(one.calls, 1) if how == "write"] for one in references.values()}
    if not options.all:
        chosen = list(in_contexts(references.values(), options.every))
        for title, action, error, step in ("each call in its context fails", "fail", 5, 1), (
                "every second one and all behind it fail", "lasting", 112, 2):
            faults += work(machines, title, itertools.chain.from_iterable(
                Sweep(reference, calls[::step], action=action, error=error) for reference, calls in chosen))
        faults += work(machines, "the process ends before every second write", itertools.chain.from_iterable(
            Sweep(one, writes[one][::2 * options.every], action="end", error=0) for one in (generic, online)))
        return faults != 0
    for (kind, used), one in references.items():
        alone = Sweep(one, action="fail", error=5)
        others = (alone.survived, "lasting", 112), (writes[one], "fail", 112), (writes[one], "lasting", 5), (writes[one], "end", 0)
        for sweep in alone, *(Sweep(one, calls, action=action, error=error) for calls, action, error in others):
            faults += work(machines, f"{kind}{', used' * used}: {sweep.fault}", sweep)
    again = lambda number, round, *arguments: [functools.partial(round, *arguments)] * number
    faults += work(machines, "killed at random moments", kills(generic, 500, 200))
    faults += work(machines, "two logons", again(200, two_logons, generic, online))
    faults += work(machines, "one of a hundred", again(50, hundred, online))
    faults += work(machines[:1], "300 in a row", again(1, in_a_row, generic, 300, machines[1]))
    faults += work(machines, "hostile input", hostile(references))
    faults += work([Machine(options.build.resolve(), architecture, "limited", 4096)], "full disk", again(60, full_disk, generic))
    return faults != 0


if __name__ == "__main__":
    sys.exit(main())
