"""Machine folders, the kinds of runs, and what every run must keep."""

import contextlib
import dataclasses
import os
import pathlib
import pwd
import re
import resource
import shutil
import sqlite3
import subprocess
import tempfile
import typing
from xml.etree import ElementTree

USER_DATA = f"drive_c/Users/{pwd.getpwuid(os.getuid()).pw_name}/AppData/Local/ScanKELV"
DEVICE_XML = "drive_c/ProgramData/Quellon/ScanKELV/device.xml"
CONFIG_INI = "drive_c/ProgramData/QLScan/Quellon Generic Scan Driver/Config.ini"
STORAGES = "HKEY_CURRENT_USER\\Software\\QLScan\\"
REFUSALS = ("ScanKELV cannot run due to other program instances running!", "ScanKELV cannot run due to uninstall!")
# What a log says of a run's end, and the exit code; the first one counts.
ENDS = {"ScanKELV cannot run, memory ran out!": 1, "FATAL:": 3, "KELV port configuration done.": 0,
        "KELV port configuration not done.": 1} | dict.fromkeys(REFUSALS, 1)
TIMEOUT = 60  # seconds until a run counts as hanging
MEMORY = 200 << 20  # bytes that a run may take, whatever lies about

HERE = pathlib.Path(__file__).parent
NEW_DEVICE = {element.tag: element.text for element in ElementTree.parse(HERE / "device.xml").getroot()}


def device_xml(device):
    escapes = str.maketrans({"&": "&amp;", "<": "&lt;", "\r": "&#13;", "\n": "&#10;"})
    return f"<device>{''.join(f'<{name}>{text.translate(escapes)}</{name}>' for name, text in device.items())}</device>"


@dataclasses.dataclass(frozen=True)
class Kind:
    """A kind of run."""
    name: str
    arguments: tuple
    settings: str = ""  # lines of ScanKELV.ini; none: no file, and the generic driver
    calls: str = ""  # what the search library's calls give
    stores_what_it_reads: bool = False  # from the registry

    @property
    def key(self):
        return STORAGES + ("Run Driver" if self.settings else "Quellon Generic Scan Driver")


TESTING = "online testing"
DRIVER = "ProductName=Run Driver\r\nModelName=Weir C40 Series"
KINDS = (
    Kind("dialog of the generic driver", ("/L", "en")),
    Kind("dialog of a single model", ("/L", "en"), DRIVER),
    Kind("hidden UI", ("/H", "192.0.2.41")),
    Kind("properties", ("/PROP",), DRIVER + "\r\nPropertiesUI=1",
         f"<ShowPropertiesUI><answer><![CDATA[<devicelist>{device_xml(NEW_DEVICE)}</devicelist>]]></answer>"
         "</ShowPropertiesUI>"),
    Kind("device list mode", ("/devicelist", r"Software\ScanKELVRuns"), DRIVER, stores_what_it_reads=True),
    Kind(TESTING, ("/Q",), "",
         "<QueryDeviceAddress><change>1</change><address>192.0.2.77</address><macaddress>M2</macaddress>"
         "</QueryDeviceAddress>", stores_what_it_reads=True),
)


class Broken(Exception):
    """Something that must not be."""


class Result(typing.NamedTuple):
    """The end of a run; a negative code is a signal's number."""
    code: int
    console: str

    @property
    def is_refusal(self):
        return self.code == 1 and any(refusal in self.console for refusal in REFUSALS)

    def judge(self):
        """The exit code is a documented one, and the log, where there is one, tells the same and why."""
        told = next((code for text, code in ENDS.items() if text in self.console), None)
        is_logged = all(text in self.console for text in ("ScanKELV version", "KELV process Id"))
        is_silent = not is_logged or (self.code == 3 and "Module Agent does not log" in self.console)
        is_told = told == self.code and self.console.count("KELV port configuration ") < 2
        if self.code not in (0, 1, 3) or not (is_told or (told is None and is_silent)):
            raise Broken(f"exit code {self.code}, but the log tells {told}\n{self.console}")
        if told == 1 and "Module Agent logs" in self.console and not re.search(
                r"fail|not (parsed|stored|match|linked)|empty|cancel|cannot run", self.console):
            raise Broken(f"the log does not tell why the run failed\n{self.console}")


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

    def make_empty(self, level=1):
        """No trace but the loggers' settings."""
        shutil.rmtree(self.root, ignore_errors=True)
        modules = "".join(f"{name}={level}\r\n" for name in ("Agent", "KELVClient", "KELVFindwellLibrary"))
        self.make(USER_DATA + "/Debug.ini", b"[Modules]\r\n" + modules.encode())

    def files(self):
        return {str(path.relative_to(self.root)): path.stat().st_size
                for path in self.root.rglob("*") if not path.is_dir()}

    def registry(self):
        """All values by their paths. A copy is read: what a killed process left is the next run's."""
        if not self.file("registry").exists():
            return {}
        with tempfile.TemporaryDirectory() as copy:
            for file in self.root.glob("registry*"):
                shutil.copy(file, copy)
            try:
                with contextlib.closing(sqlite3.connect(f"{copy}/registry")) as database:
                    check = database.execute("PRAGMA integrity_check").fetchall()
                    values = database.execute(
                        "WITH RECURSIVE path(id, hive, text) AS (SELECT id, folded, x'' FROM key WHERE parent=0 "
                        "UNION ALL SELECT key.id, hive, CAST(text || x'5C00' || name AS BLOB) FROM key JOIN path ON "
                        "parent=path.id) SELECT hive, CAST(text || x'5C00' || value.name AS BLOB), type, data "
                        "FROM value JOIN path ON path.id=key").fetchall()
            except sqlite3.Error as error:
                raise Broken(f"registry: {error}") from error
        if check != [("ok",)]:
            raise Broken(f"registry: {check}")
        return {hive + path.decode("utf-16-le"): data[:-2].decode("utf-16-le", "replace")
                if kind == 1 and data.endswith(b"\0\0") else (kind, data) for hive, path, kind, data in values}

    def state(self):
        """Everything that is stored, part by part: registry values, lines of Config.ini, device.xml."""
        state = self.registry()
        for key, value in state.items():
            if key.endswith(r"\savedAt") and re.fullmatch(r"\d{4}/\d\d/\d\d \d\d:\d\d:\d\d\.\d{3}", value):
                state[key] = "new"
        if self.file(CONFIG_INI).exists():
            text = self.file(CONFIG_INI).read_bytes().decode("utf-16", "replace")
            if not re.fullmatch(r"\[IO\]\r\n([^\r\n=]+=[^\r\n]*\r\n)*", text):
                raise Broken(f"Config.ini: {text!r}")
            state |= {f"Config.ini {key}": value for key, value in re.findall("(?m)^([^=\r\n]+)=(.*)\r$", text)}
        if self.file(DEVICE_XML).exists():
            state["device.xml"] = self.file(DEVICE_XML).read_bytes()
        return state

    def judge_stored(self, result, *beside, key=KINDS[0].key, device=NEW_DEVICE):
        """A run that nothing may disturb: it succeeds, stores the device, and nothing outside of the machine."""
        result.judge()
        memory = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss * 1024
        if result.code != 0 or memory > MEMORY:
            raise Broken(f"exit code {result.code}, {memory >> 20} MB\n{result.console}")
        stored = self.registry()
        if any(stored.get(rf"{key}\{name}") != device[name.lower()] for name in ("DeviceName", "Comment", "HostName")):
            raise Broken(f"stored: {stored}")
        if written := {entry.name for entry in self.root.parent.iterdir()} - {self.root.name, *beside}:
            raise Broken(f"written outside: {written}")


class Installation:
    """The built programs, copied: one folder for each kind of run."""

    def __init__(self, build, folder, sanitizer=False):
        self.build, self.folder, self.sanitizer = pathlib.Path(build), pathlib.Path(folder), sanitizer
        self.faults = self.build / "tests/Faults.so"
        for kind in KINDS:
            self.prepare(kind)

    def prepare(self, kind, device=NEW_DEVICE):
        """@return the folder of the kind's program"""
        program = self.folder / kind.name
        if not program.exists():
            program.mkdir(parents=True)
            for name in ("ScanKELV", "FindwellDlg.dll", "Hueward.exe"):
                shutil.copy(self.build / "bin" / name, program)
        if kind.settings:
            (program / "ScanKELV.ini").write_text(f"[Settings]\n{kind.settings}\n", newline="\r\n")
        (program / "FindwellDlg.xml").write_text(
            f"<findwell><user><choice>accepted</choice></user><calls>{kind.calls}</calls>"
            f"<devices>{device_xml(device)}</devices></findwell>")
        return program

    def start(self, machine, program, *arguments, folder=None, **more):
        # The library's and the updater's records are not part of what is tested: no file can be made there.
        environment = os.environ | {"HOSTWINDOWS_ROOT": str(machine.root), "FINDWELL_RECORD": r"Z:\dev\null",
                                    "HUEWARD_RECORD": r"Z:\dev\null"} | more
        environment.pop("HOSTWINDOWS_DEBUG_CONSOLE", None)
        if self.sanitizer:
            environment["ASAN_OPTIONS"] = ("detect_leaks=1:exitcode=99:verify_asan_link_order=0:"
                                           "alloc_dealloc_mismatch=0:allocator_may_return_null=1")
            environment["UBSAN_OPTIONS"] = "exitcode=98:print_stacktrace=1"
        try:
            return subprocess.run([program, *arguments], cwd=folder, env=environment, timeout=TIMEOUT, check=False,
                                  stdin=subprocess.DEVNULL, capture_output=True, encoding="utf-8", errors="replace")
        except subprocess.TimeoutExpired as late:
            console = (late.stderr or b"").decode(errors="replace")
            raise Broken(f"hangs, killed after {TIMEOUT} s\n{console}") from late

    def run(self, machine, kind, **options):
        done = self.start(machine, self.folder / kind.name / "ScanKELV", *kind.arguments, **options)
        return Result(done.returncode, done.stderr)

    def reg(self, machine, *arguments):
        """Runs hostreg. @return exit code and output"""
        done = self.start(machine, self.build / "bin/hostreg", *arguments)
        return done.returncode, done.stdout + done.stderr

    def make_old(self, machine, kind, level=1):
        """An old device in every place, each of its values unlike the new one's."""
        machine.make_empty(level)
        text = (HERE / "old/stored.reg").read_text().format(key=kind.key, connection=1 if kind.name == TESTING else 70)
        file = self.folder / "old.reg"
        file.write_bytes(utf16(text))
        code, output = self.reg(machine, "import", drive_z(file))
        if code != 0:
            raise Broken(f"hostreg import: {output}")
        for path in (DEVICE_XML,) if kind.settings else (DEVICE_XML, CONFIG_INI):
            old = HERE / "old" / pathlib.Path(path).name
            machine.make(path, utf16(old.read_text().replace("\n", "\r\n")))
