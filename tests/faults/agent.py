"""Machine folders, the kinds of runs, and what a run may leave behind whatever happened to it."""

import contextlib
import dataclasses
import os
import pathlib
import pwd
import re
import shutil
import sqlite3
import subprocess
import threading
import typing

USER_DATA = f"drive_c/Users/{pwd.getpwuid(os.getuid()).pw_name}/AppData/Local/ScanKELV"
DEVICE_XML = "drive_c/ProgramData/Quellon/ScanKELV/device.xml"
CONFIG_INI = "drive_c/ProgramData/QLScan/Quellon Generic Scan Driver/Config.ini"
STORAGES = "HKEY_CURRENT_USER\\Software\\QLScan\\"
GENERIC_KEY = STORAGES + "Quellon Generic Scan Driver"
DRIVER_KEY = STORAGES + "Run Driver"
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
    escapes = str.maketrans({"&": "&amp;", "<": "&lt;", "\r": "&#13;", "\n": "&#10;"})
    return f"<device>{''.join(f'<{name}>{text.translate(escapes)}</{name}>' for name, text in device.items())}</device>"


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


class Result(typing.NamedTuple):
    """The end of a run; a negative code is a signal's number."""
    code: int
    console: str
    peak: int  # bytes of memory


def utf16(text):
    return b"\xff\xfe" + text.encode("utf-16-le")


def drive_z(path):
    return "Z:" + str(path).replace("/", "\\")


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
        shutil.copytree(template.root, self.root, symlinks=True)

    def files(self):
        return {str(path.relative_to(self.root)): path.stat().st_size
                for path in self.root.rglob("*") if not path.is_dir()}

    def registry(self):
        """All values by their paths. A copy is read: what a killed process left is the next run's."""
        copy = self.root.with_name(self.root.name + "-registry")
        shutil.rmtree(copy, ignore_errors=True)
        copy.mkdir()
        for name in ("registry", "registry-wal"):
            if self.file(name).exists():
                shutil.copy(self.file(name), copy)
        if not (copy / "registry").exists():
            return {}
        try:
            with contextlib.closing(sqlite3.connect(copy / "registry")) as database:
                if (check := database.execute("PRAGMA integrity_check").fetchall()) != [("ok",)]:
                    raise Broken(f"registry: {check}")
                rows = database.execute(
                    "WITH RECURSIVE path(id, hive, text) AS (SELECT id, folded, x'' FROM key WHERE parent=0 UNION ALL "
                    "SELECT key.id, hive, CAST(text || x'5C00' || name AS BLOB) FROM key JOIN path ON parent=path.id) "
                    "SELECT hive, text, value.name, type, data FROM value JOIN path ON path.id=key").fetchall()
        except sqlite3.Error as error:
            raise Broken(f"registry: {error}") from error
        values = {}
        for hive, key, name, kind, data in rows:
            text = data.decode("utf-16-le", "replace")
            if (kind, len(data)) != (4, 4) and not (kind == 1 and text.endswith("\0") and "\ufffd" not in text):
                raise Broken(f"registry: {key!r} {name!r} holds no whole value: {kind} {data!r}")
            path = f"{hive}{key.decode('utf-16-le')}\\{name.decode('utf-16-le')}"
            values[path] = text[:-1] if kind == 1 else int.from_bytes(data, "little")
        return values

    def state(self):
        """Everything that is stored, part by part: registry values, lines of Config.ini, device.xml."""
        state = self.registry()
        for key, value in state.items():
            if key.endswith(r"\savedAt") and re.fullmatch(r"\d{4}/\d\d/\d\d \d\d:\d\d:\d\d\.\d{3}", value):
                state[key] = "new"
        if self.file(CONFIG_INI).exists():
            content = self.file(CONFIG_INI).read_bytes()
            lines = content.decode("utf-16", "replace").split("\r\n")
            values = dict(line.split("=", 1) for line in lines[1:-1] if "=" in line)
            if content[:2] != b"\xff\xfe" or lines[0] != "[IO]" or lines[-1] != "" or len(values) != len(lines) - 2:
                raise Broken(f"Config.ini: {content[:2]} {lines}")
            state.update({f"Config.ini {key}": value for key, value in values.items()})
        if self.file(DEVICE_XML).exists():
            state["device.xml"] = self.file(DEVICE_XML).read_bytes()
        return state


class Installation:
    """The built programs, copied: one folder for each kind of run."""

    def __init__(self, build, folder, sanitizer=False):
        self.build, self.folder, self.sanitizer = pathlib.Path(build), pathlib.Path(folder), sanitizer
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
        # The library's and the updater's records are not part of what is tested: no file can be made there.
        environment = os.environ | {"HOSTWINDOWS_ROOT": str(machine.root), "FINDWELL_RECORD": r"Z:\dev\null",
                                    "HUEWARD_RECORD": r"Z:\dev\null"} | more
        environment.pop("HOSTWINDOWS_DEBUG_CONSOLE", None)
        if self.sanitizer:
            environment["ASAN_OPTIONS"] = ("detect_leaks=1:exitcode=99:verify_asan_link_order=0:"
                                           "alloc_dealloc_mismatch=0:allocator_may_return_null=1")
            environment["UBSAN_OPTIONS"] = "exitcode=98:print_stacktrace=1"
        return environment

    def start(self, machine, kind, folder=None, **more):
        return subprocess.Popen(
            [self.program(kind) / "ScanKELV", *kind.arguments], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.PIPE, cwd=folder, env=self.environment(machine, **more))

    def run(self, machine, kind, **options):
        process = self.start(machine, kind, **options)
        clock = threading.Timer(TIMEOUT, process.kill)
        clock.start()
        with process.stderr:
            console = process.stderr.read().decode(errors="replace")
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        if not clock.is_alive():
            raise Broken(f"hangs, killed after {TIMEOUT} s")
        clock.cancel()
        return Result(process.returncode, console.replace("\r", ""), usage.ru_maxrss * 1024)

    def reg(self, machine, *arguments):
        """Runs hostreg. @return exit code and output"""
        done = subprocess.run([self.build / "bin/hostreg", *arguments], env=self.environment(machine), timeout=TIMEOUT,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
        return done.returncode, done.stdout.decode()

    def make_old(self, machine, kind):
        """An old device in every place, each of its values unlike the new one's."""
        machine.make_empty()
        texts = {name: f"old {name}" for name in (*TEXTS, "Address2")} | {"savedAt": "old"}
        numbers = {name: 70 + i for i, name in enumerate((*NUMBERS, *STATES))}
        if kind.arguments == ("/Q",):
            numbers["ConnectionType"] = 1
        record = {"Address": "192.0.2.41", "HostName": "qlweir", "MDL": "Weir C40", "MFG": "Quellon",
                  "ConnectionType": 1, "PID": 26, "Default": 1, "IPv6": 0}
        text = "Windows Registry Editor Version 5.00\r\n"
        for key, values in ((DRIVER_KEY if kind.settings else GENERIC_KEY, texts | numbers), (RECORD_KEY, record)):
            text += f"\r\n[{key}]\r\n" + "".join(
                f'"{name}"=' + (f'"{value}"\r\n' if isinstance(value, str) else f"dword:{value:08x}\r\n")
                for name, value in values.items())
        machine.make("old.reg", utf16(text))
        code, output = self.reg(machine, "import", drive_z(machine.file("old.reg")))
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
        self.installation, self.kind, self.folder = installation, kind, pathlib.Path(folder)
        self.local = threading.local()
        self.template = Machine(self.folder / "old" / kind.name)
        installation.make_old(self.template, kind)
        self.old = self.template.state()
        result, self.new, self.left = self.tried(kind)
        names = (*STATES, "Address", "Address2", "MACAddress") if kind.arguments == ("/Q",) else (
            *TEXTS, *NUMBERS, "savedAt")
        key = DRIVER_KEY if kind.settings else GENERIC_KEY
        same = {name for name in names if self.old.get(rf"{key}\{name}") == self.new.get(rf"{key}\{name}")}
        if result.code != 0 or same:
            raise Broken(f"{kind.name}: exit code {result.code}, unchanged: {same}\n{result.console}")
        self.judge_reports(result)
        # A stored value that cannot be read counts as absent, and so may all of them; a command that there is no memory
        # for is skipped; a settings file that cannot be found is none, and the run one of the generic driver.
        self.instead = []
        if kind.stores_what_it_reads:
            with contextlib.closing(sqlite3.connect(self.template.file("registry"))) as database:
                numbers = [row[0] for row in database.execute("SELECT id FROM value")]
            self.instead = [self.tried(kind, f"id={number}")[1] for number in numbers] + [self.tried(kind, "TRUE")[1]]
        _, self.without_command, _ = self.tried(dataclasses.replace(kind, arguments=()))
        other = dataclasses.replace(kind, name=kind.name + " without settings", settings="")
        installation.prepare(other)
        _, self.without_settings, self.left_without_settings = self.tried(other)

    def machine(self):
        """This thread's machine, as it was before."""
        if not hasattr(self.local, "machine"):
            self.local.machine = Machine(self.folder / "machines" / f"{self.kind.name} {threading.get_ident()}")
        self.local.machine.replace_by(self.template)
        return self.local.machine

    def tried(self, kind, absent=None):
        """A run without faults, on a registry without some values. @return its result, the state and the files"""
        machine = self.machine()
        if absent:
            with contextlib.closing(sqlite3.connect(machine.file("registry"))) as database, database:
                database.execute(f"DELETE FROM value WHERE {absent}")
        result = self.installation.run(machine, kind)
        return result, machine.state(), set(machine.files())

    def judge_stored(self, machine, result, memory_failed=False):
        """Each part is old or new, whole; what is removed before it is written may be missing."""
        state = machine.state()
        states = [self.old, self.new, *self.instead]
        states += [self.without_command] if memory_failed else []
        states += [self.without_settings] if "ScanKELV.ini not found." in result.console else []
        for name in self.old | self.new | state:
            allowed = [one.get(name) for one in states if one in states[:2] or name in one]
            if state.get(name) not in allowed and not (name.endswith(STATES) and name not in state):
                raise Broken(f"{name} is {state.get(name)!r}, neither old nor new of {allowed}")

    @staticmethod
    def judge_reports(result):
        """The exit code is a documented one, and the log, where there is one, tells the same and why."""
        if result.code not in (0, 1, 3):
            raise Broken(f"exit code {result.code}")
        lines = result.console.split("\n")
        if "ScanKELV version" not in result.console or "KELV process Id" not in result.console:
            told = 1 if any(refusal in result.console for refusal in REFUSALS) else None
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
            if told == 1 and "Module Agent logs" in result.console and not re.search(
                    r"fail|not (parsed|stored|match|linked)|empty|cancel", result.console):
                raise Broken("the log does not tell why the run failed")
        if told not in (None, result.code):
            raise Broken(f"exit code {result.code}, but the log tells {told}")

    def judge_next(self, machine):
        """The next run succeeds, stores all of the new and leaves nothing else behind."""
        result = self.installation.run(machine, self.kind)
        if result.code != 0:
            raise Broken(f"the next run ends with {result.code}:\n{result.console}")
        if different := dict(machine.state().items() ^ self.new.items()):
            raise Broken(f"the next run stores {different}")
        if set(machine.files()) != self.left:
            raise Broken(f"left behind: {set(machine.files()) ^ self.left}")
