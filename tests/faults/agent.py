"""Machine folders, the kinds of runs, and what a run may leave behind whatever happened to it."""

import dataclasses
import os
import pathlib
import pwd
import re
import resource
import shutil
import sqlite3
import subprocess
import threading

USER_DATA = f"drive_c/Users/{pwd.getpwuid(os.getuid()).pw_name}/AppData/Local/ScanKELV"
DEVICE_XML = "drive_c/ProgramData/Quellon/ScanKELV/device.xml"
CONFIG_INI = "drive_c/ProgramData/QLScan/Quellon Generic Scan Driver/Config.ini"
GENERIC_KEY = r"HKEY_CURRENT_USER\Software\QLScan\Quellon Generic Scan Driver"
DRIVER_KEY = r"HKEY_CURRENT_USER\Software\QLScan\Run Driver"
RECORD_KEY = r"HKEY_LOCAL_MACHINE\Software\ScanKELVRuns\Printer000"
REFUSALS = ("ScanKELV cannot run due to other program instances running!", "ScanKELV cannot run due to uninstall!")
TIMEOUT = 60  # seconds until a run counts as hanging

TEXTS = ("Address", "Comment", "DeviceID", "DeviceName", "ExtDeviceID", "HostName", "Location", "MACAddress", "MDL",
         "MFG", "PortName", "ProductName", "Serial", "SystemDeviceName")
NUMBERS = ("ConnectionType", "DeviceSelect", "PID", "UI_Mode", "VID")
STATES = ("Online", "Changed")  # removed before they are written again

NEW_DEVICE = {
    "iotype": "Network", "comment": "front desk", "devicepath": "192.0.2.41",
    "deviceid": "MFG:Quellon;MDL:Weir C40 Series;CMD:PCL,PDF;MODE:PRN,SCN;", "devicename": "Weir", "ext": "WC40",
    "hostname": "qlweir", "location": "Büro 3 – 会議室 🖨", "userlocation": "Empfang",
    "macaddress": "00-00-5E-00-53-41", "modelname": "Weir C40 Series", "vendor": "Quellon", "pid": "0x1c40",
    "port": "IP_41", "productname": "Quellon Weir C40 Series", "serialnumber": "WC40-77",
    "systemdevicename": r"\\?\ROOT#1", "vid": "0xf1d"}


@dataclasses.dataclass(frozen=True)
class Kind:
    """A kind of run."""
    name: str
    arguments: tuple
    settings: str = ""  # lines of ScanKELV.ini; none: no file, and the generic driver
    calls: str = ""  # what the search library's calls give
    stores_what_it_reads: bool = False  # from the registry


def device_xml(device):
    escaped = {name: text.replace("&", "&amp;").replace("<", "&lt;").replace("\r", "&#13;").replace("\n", "&#10;")
               for name, text in device.items()}
    return "<device>" + "".join(f"<{name}>{text}</{name}>" for name, text in escaped.items()) + "</device>"


DRIVER = "ProductName=Run Driver\r\nModelName=Weir C40 Series"
KINDS = (
    Kind("dialog of the generic driver", ("/L", "en")),
    Kind("dialog of a single model", ("/L", "en"), DRIVER),
    Kind("hidden UI", ("/H", "192.0.2.41")),
    Kind("properties", ("/PROP",), DRIVER + "\r\nPropertiesUI=1",
         f"<ShowPropertiesUI><answer><![CDATA[<devicelist>{device_xml(NEW_DEVICE)}</devicelist>]]></answer>"
         "</ShowPropertiesUI>"),
    Kind("device list mode", ("/devicelist", r"Software\ScanKELVRuns"), DRIVER, stores_what_it_reads=True),
    Kind("online testing", ("/Q",), "",
         "<QueryDeviceAddress><change>1</change><address>192.0.2.77</address><macaddress>M2</macaddress>"
         "</QueryDeviceAddress>", stores_what_it_reads=True),
)


class Broken(Exception):
    """Something that must not be."""


@dataclasses.dataclass
class Result:
    """The end of a run; a negative code is a signal's number."""
    code: int
    console: str
    peak: int = 0  # bytes of memory


def utf16(text):
    return b"\xff\xfe" + text.encode("utf-16-le")


class Machine:
    """A machine folder."""

    def __init__(self, root):
        self.root = pathlib.Path(root)

    def file(self, path):
        return self.root / path

    def make(self, path, content):
        self.file(path).parent.mkdir(parents=True, exist_ok=True)
        self.file(path).write_bytes(content)

    def make_empty(self):
        """No trace but the loggers' settings."""
        shutil.rmtree(self.root, ignore_errors=True)
        self.make(USER_DATA + "/Debug.ini", b"[Modules]\r\nAgent=1\r\nKELVClient=1\r\nKELVFindwellLibrary=1\r\n")

    def replace_by(self, template):
        shutil.rmtree(self.root, ignore_errors=True)
        shutil.copytree(template.root, self.root, symlinks=True, dirs_exist_ok=True)

    def files(self):
        return {str(path.relative_to(self.root)): path.stat().st_size
                for path in self.root.rglob("*") if not path.is_dir()}

    def registry(self):
        """All values by (key, name): a text or a number. A copy is read, so that what a killed process left is left to
        the next run."""
        if not self.file("registry").exists():
            return {}
        copy = self.root.with_name(self.root.name + "-registry")
        shutil.rmtree(copy, ignore_errors=True)
        copy.mkdir()
        for name in ("registry", "registry-wal"):
            if self.file(name).exists():
                shutil.copy(self.file(name), copy)
        try:
            database = sqlite3.connect(copy / "registry")
            try:
                if (check := database.execute("PRAGMA integrity_check").fetchall()) != [("ok",)]:
                    raise Broken(f"registry: {check}")
                rows = database.execute(
                    "WITH RECURSIVE path(id, text) AS (SELECT id, folded FROM key WHERE parent=0 UNION ALL SELECT "
                    "key.id, CAST(path.text || x'5C00' AS BLOB) || key.name FROM key JOIN path ON parent=path.id) "
                    "SELECT CAST(path.text AS BLOB), value.name, type, data FROM value JOIN path ON path.id=key"
                ).fetchall()
            finally:
                database.close()
        except sqlite3.Error as error:
            raise Broken(f"registry: {error}") from error
        return dict(self.whole_value(*row) for row in rows)

    def value_numbers(self):
        database = sqlite3.connect(self.file("registry"))
        numbers = [row[0] for row in database.execute("SELECT id FROM value")]
        database.close()
        return numbers

    @staticmethod
    def whole_value(path, name, kind, data):
        hive = re.match(rb"[A-Z_]+", path).group()
        try:
            key = hive.decode() + path[len(hive):].decode("utf-16-le")
            name = name.decode("utf-16-le")
            if kind == 4 and len(data) == 4:
                return (key, name), int.from_bytes(data, "little")
            if kind == 1 and data.endswith(b"\0\0") and len(data) % 2 == 0:
                return (key, name), data.decode("utf-16-le")[:-1]
        except UnicodeDecodeError:
            pass
        raise Broken(f"registry: {path!r} {name!r} holds no whole value: {kind} {data!r}")

    def state(self):
        """Everything that is stored, part by part: registry values, lines of Config.ini, device.xml."""
        state = {f"{key}\\{name}": value for (key, name), value in self.registry().items()}
        for key, value in state.items():
            if key.endswith(r"\savedAt") and value != "old" and not re.fullmatch(
                    r"\d{4}/\d\d/\d\d \d\d:\d\d:\d\d\.\d{3}", value):
                raise Broken(f"{key} is {value!r}")
            if key.endswith(r"\savedAt") and value != "old":
                state[key] = "new"
        if self.file(CONFIG_INI).exists():
            content = self.file(CONFIG_INI).read_bytes()
            if not content.startswith(b"\xff\xfe") or len(content) % 2 != 0:
                raise Broken(f"Config.ini begins with {content[:8]!r} and has {len(content)} bytes")
            lines = content[2:].decode("utf-16-le").split("\r\n")
            if lines[0] != "[IO]" or lines[-1] != "" or not all("=" in line for line in lines[1:-1]):
                raise Broken(f"Config.ini: {lines}")
            values = [line.split("=", 1) for line in lines[1:-1]]
            if len(dict(values)) != len(values):
                raise Broken(f"Config.ini holds a key twice: {lines}")
            state.update({f"Config.ini {key}": value for key, value in values})
        if self.file(DEVICE_XML).exists():
            state["device.xml"] = self.file(DEVICE_XML).read_bytes()
        return state


class Installation:
    """The built programs, copied: one folder for each kind of run."""

    def __init__(self, build, folder, sanitizer=False):
        self.build = pathlib.Path(build)
        self.folder = pathlib.Path(folder)
        self.sanitizer = sanitizer
        self.hostreg = self.build / "bin/hostreg"
        self.faults = self.build / "tests/Faults.so"
        for kind in KINDS:
            self.prepare(kind)

    def program(self, kind):
        return self.folder / kind.name

    def prepare(self, kind, device=None):
        program = self.program(kind)
        program.mkdir(parents=True, exist_ok=True)
        for name in ("ScanKELV", "FindwellDlg.dll", "Hueward.exe"):
            if not (program / name).exists():
                shutil.copy(self.build / "bin" / name, program)
        if kind.settings:
            (program / "ScanKELV.ini").write_text(f"[Settings]\n{kind.settings}\n", newline="\r\n")
        (program / "FindwellDlg.xml").write_text(
            f"<findwell><user><choice>accepted</choice></user><calls>{kind.calls}</calls>"
            f"<devices>{device_xml(device or NEW_DEVICE)}</devices></findwell>")

    def environment(self, machine, **more):
        environment = {name: value for name, value in os.environ.items()
                       if name not in ("HOSTWINDOWS_DEBUG_CONSOLE", "XDG_DATA_HOME")}
        # The library's and the updater's records are not part of what is tested: no file can be made there.
        environment.update(HOSTWINDOWS_ROOT=str(machine.root), FINDWELL_RECORD=r"Z:\dev\null",
                           HUEWARD_RECORD=r"Z:\dev\null")
        if self.sanitizer:
            environment["ASAN_OPTIONS"] = ("detect_leaks=1:exitcode=99:verify_asan_link_order=0:"
                                           "alloc_dealloc_mismatch=0:allocator_may_return_null=1")
            environment["UBSAN_OPTIONS"] = "exitcode=98:print_stacktrace=1"
        environment.update(more)
        return environment

    def start(self, machine, kind, folder=None, limit=None, **more):
        def limited():
            resource.setrlimit(resource.RLIMIT_AS, (limit, limit))
        return subprocess.Popen(
            [self.program(kind) / "ScanKELV", *kind.arguments], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.PIPE, cwd=folder, env=self.environment(machine, **more),
            preexec_fn=limited if limit else None)

    def run(self, machine, kind, **options):
        process = self.start(machine, kind, **options)
        clock = threading.Timer(TIMEOUT, process.kill)
        clock.start()
        console = process.stderr.read().decode(errors="replace")
        process.stderr.close()
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        if not clock.is_alive():
            raise Broken(f"hangs, killed after {TIMEOUT} s")
        clock.cancel()
        return Result(process.returncode, console.replace("\r", ""), usage.ru_maxrss * 1024)

    def reg(self, machine, *arguments):
        """Runs hostreg. @return exit code and output"""
        done = subprocess.run([self.hostreg, *arguments], env=self.environment(machine), stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=TIMEOUT, check=False)
        return done.returncode, done.stdout.decode()

    def make_old(self, machine, kind):
        """An old device in every place, each of its values unlike the new one's."""
        machine.make_empty()
        texts = {name: f"old {name}" for name in (*TEXTS, "Address2")} | {"savedAt": "old"}
        numbers = {name: 70 + i for i, name in enumerate((*NUMBERS, *STATES))}
        if kind.name == "online testing":
            numbers["ConnectionType"] = 1
        record = {"Address": "192.0.2.41", "HostName": "qlweir", "MDL": "Weir C40", "MFG": "Quellon"}
        text = "Windows Registry Editor Version 5.00\r\n"
        for key, held, counts in ((DRIVER_KEY if kind.settings else GENERIC_KEY, texts, numbers),
                                  (RECORD_KEY, record, {"ConnectionType": 1, "PID": 26, "Default": 1, "IPv6": 0})):
            text += f"\r\n[{key}]\r\n" + "".join(f'"{name}"="{value}"\r\n' for name, value in held.items())
            text += "".join(f'"{name}"=dword:{value:08x}\r\n' for name, value in counts.items())
        machine.make("old.reg", utf16(text))
        code, output = self.reg(machine, "import", "Z:" + str(machine.file("old.reg")).replace("/", "\\"))
        machine.file("old.reg").unlink()
        if code != 0:
            raise Broken(f"hostreg import: {output}")
        if not kind.settings:
            keys = sorted((*TEXTS, "Address2", "ConnectionType", "DeviceSelect", "PID", "VID"), key=str.lower)
            machine.make(CONFIG_INI, utf16("[IO]\r\n" + "".join(f"{key}=old {key}\r\n" for key in keys)))
        machine.make(DEVICE_XML, utf16('<?xml version="1.0" encoding="UTF-16"?><devicelist version="1.0.2"><device>'
                                       "<Address>old</Address></device></devicelist>"))


class Bench:
    """A kind of run with its states before and after, and workers that each have a machine of their own."""

    def __init__(self, installation, kind, folder):
        self.installation, self.kind = installation, kind
        self.folder = pathlib.Path(folder)
        self.template = Machine(self.folder / "old" / kind.name)
        installation.make_old(self.template, kind)
        self.old = self.template.state()
        self.local = threading.local()
        machine = self.machine()
        result = installation.run(machine, kind)
        self.new = machine.state()
        self.left = set(machine.files())
        changed = {name for name in self.new if self.old.get(name) != self.new[name]}
        places = [rf"{key}\{name}" for key in ([DRIVER_KEY] if kind.settings else [GENERIC_KEY])
                  for name in ((*STATES, "Address", "Address2", "MACAddress") if kind.arguments == ("/Q",)
                               else (*TEXTS, *NUMBERS, "savedAt"))]
        if result.code != 0 or not changed.issuperset(places):
            raise Broken(f"{kind.name}: exit code {result.code}, unchanged: {set(places) - changed}\n{result.console}")
        self.judge_reports(result)
        # A stored value that cannot be read counts as absent, and so may all of them.
        self.instead = []
        if kind.stores_what_it_reads:
            for absent in (*(f"id={number}" for number in self.template.value_numbers()), "TRUE"):
                machine = self.machine()
                with sqlite3.connect(machine.file("registry")) as database:
                    database.execute(f"DELETE FROM value WHERE {absent}")
                database.close()
                installation.run(machine, kind)
                self.instead.append(machine.state())
        # A command that there is no memory for is skipped.
        machine, skipped = self.machine(), dataclasses.replace(kind, arguments=())
        installation.run(machine, skipped)
        self.without_command = machine.state()
        # A settings file that cannot be found is no settings file: the run is then one of the generic driver.
        self.without_settings, self.left_without_settings = {}, set()
        if kind.settings:
            machine, other = self.machine(), dataclasses.replace(kind, name=kind.name + " without settings", settings="")
            installation.prepare(other)
            installation.run(machine, other)
            self.without_settings, self.left_without_settings = machine.state(), set(machine.files())

    def machine(self):
        """This thread's machine, as it was before."""
        if not hasattr(self.local, "machine"):
            self.local.machine = Machine(self.folder / "machines" / f"{self.kind.name} {threading.get_ident()}")
        self.local.machine.replace_by(self.template)
        return self.local.machine

    def judge_stored(self, machine, result, memory_failed=False):
        """Each part is old or new, whole; what is removed before it is written may be missing."""
        state = machine.state()
        found_no_settings = "ScanKELV.ini not found." in result.console
        for name in self.old | self.new | state:
            allowed = [self.old.get(name), self.new.get(name)]
            if name.endswith(STATES):
                allowed.append(None)
            allowed += [state.get(name) for state in self.instead if name in state]
            if memory_failed:
                allowed.append(self.without_command.get(name))
            if found_no_settings:
                allowed.append(self.without_settings.get(name))
            if state.get(name) not in allowed:
                raise Broken(f"{name} is {state.get(name)!r}, neither old nor new of {allowed}")
        return state

    def judge_reports(self, result):
        """The exit code is a documented one, and the log, where there is one, tells the same and why."""
        if result.code not in (0, 1, 3):
            raise Broken(f"exit code {result.code}")
        lines = result.console.split("\n")
        if "ScanKELV version" not in result.console or "KELV process Id" not in result.console:
            told = None if not any(refusal in result.console for refusal in REFUSALS) else 1
        elif "ScanKELV cannot run, memory ran out!" in lines:
            told = 1
        elif any(line.startswith("FATAL:") for line in lines):
            told = 3
        elif result.code == 3 and "Module Agent does not log" in result.console:
            told = None
        else:
            told = 0 if "KELV port configuration done." in lines else 1
            if ("KELV port configuration not done." in lines) != (told == 1):
                raise Broken("the log does not tell how the run ended")
            if told == 1 and "Module Agent logs" in result.console and not re.search(r"fail|not (parsed|stored|match|linked)|empty|cancel", result.console):
                raise Broken("the log does not tell why the run failed")
        if told not in (None, result.code):
            raise Broken(f"exit code {result.code}, but the log tells {told}")

    def judge_next(self, machine):
        """The next run succeeds, stores all of the new and leaves nothing else behind."""
        result = self.installation.run(machine, self.kind)
        if result.code != 0:
            raise Broken(f"the next run ends with {result.code}:\n{result.console}")
        if (state := machine.state()) != self.new:
            different = {name: state.get(name) for name in state | self.new if state.get(name) != self.new.get(name)}
            raise Broken(f"the next run stores {different}")
        if set(machine.files()) != self.left:
            raise Broken(f"left behind: {set(machine.files()) ^ self.left}")
