"""Others who may write where the agent reads: device.xml, libraries in other places, and values that try to leave theirs."""

import dataclasses
import os
import pathlib
import re
import shutil
import threading

from agent import (CONFIG_INI, DEVICE_XML, DRIVER_KEY, GENERIC_KEY, KINDS, NEW_DEVICE, Broken, Machine, device_xml,
                   utf16)

MEMORY = 200 << 20  # bytes that a run may take, whatever lies about
STATED = ("<?xml version=\"1.0\" encoding=\"UTF-16\"?><devicelist version=\"1.0.2\"><device><Address>192.0.2.9</Address>"
          "<Comment>{}</Comment></device></devicelist>")


def sparse(path):
    with open(path, "wb") as file:
        file.write(utf16(STATED.format("x")))
        file.truncate(1 << 30)


def endless(path):
    """Text without end, for as long as it is read."""
    path.symlink_to("/dev/zero")


class Replaced:
    """device.xml is another one all the time, by turns whole and cut, renamed over and written over."""

    def __init__(self, path):
        self.path, self.end = path, threading.Event()
        self.thread = threading.Thread(target=self.run)

    def run(self):
        other = self.path.with_name("other")
        turn = 0
        while not self.end.is_set():
            turn += 1
            content = utf16(STATED.format("y" * (turn % 7 * 9000)))
            if turn % 3 == 0:
                self.path.write_bytes(content[:len(content) // 2])
            else:
                other.write_bytes(content)
                other.rename(self.path)
        other.unlink(missing_ok=True)

    def __enter__(self):
        self.thread.start()

    def __exit__(self, *_):
        self.end.set()
        self.thread.join()


def hold(path):
    path.write_bytes(b"")
    path.chmod(0o444)


# What lies in the place of device.xml, given its path and that of a file outside.
DEVICE_XMLS = {
    "link to a file outside": lambda path, outside: path.symlink_to(outside),
    "link to nothing": lambda path, outside: path.symlink_to(outside.with_name("made outside")),
    "link to itself": lambda path, outside: path.symlink_to(path),
    "second name of a file outside": lambda path, outside: os.link(outside, path),
    "fifo": lambda path, outside: os.mkfifo(path),
    "folder": lambda path, outside: path.mkdir(),
    "1 GB": lambda path, outside: sparse(path),
    "endless": lambda path, outside: endless(path),
    "read-only": lambda path, outside: hold(path),
    "fifo in the sibling's place": lambda path, outside: os.mkfifo(path.with_name(".device.xml.new")),
    "link in the sibling's place": lambda path, outside: path.with_name(".device.xml.new").symlink_to(outside),
    "folder in the sibling's place": lambda path, outside: path.with_name(".device.xml.new").mkdir(),
    "link in the place of Config.ini's sibling":
        lambda path, outside: path.parents[4].joinpath(CONFIG_INI).with_name(".Config.ini.new").symlink_to(outside),
}
# What cannot be replaced; everything else gives way to the new file.
STAYS = ("fifo", "folder", "read-only", "link to itself", "folder in the sibling's place")


def hostile_device_xml(installation, folder, table):
    title = "device.xml of hostile neighbours"
    kind = KINDS[0]
    for name, place in DEVICE_XMLS.items():
        machine = Machine(folder / "hostile" / name / "machine")
        machine.make_empty()
        path = machine.file(DEVICE_XML)
        path.parent.mkdir(parents=True)
        machine.file(CONFIG_INI).parent.mkdir(parents=True)
        outside = machine.root.parent / "outside"
        outside.write_bytes(b"not yours")
        place(path, outside)
        try:
            result = installation.run(machine, kind)
            if result.code != 0 or result.peak > MEMORY:
                raise Broken(f"exit code {result.code}, {result.peak >> 20} MB\n{result.console}")
            if outside.read_bytes() != b"not yours" or {entry.name for entry in machine.root.parent.iterdir()} - {
                    "machine", "machine-registry", "outside"}:
                raise Broken("written outside")
            if machine.registry().get((GENERIC_KEY, "DeviceName")) != "Weir":
                raise Broken("the registry's values are not stored")
            if (not path.is_symlink() and path.is_file() and path.read_bytes().startswith(b"\xff\xfe")
                    and path.stat().st_size < 1 << 20) == (name in STAYS):
                raise Broken("device.xml was to be replaced" if name not in STAYS else "device.xml was to stay")
            if name in STAYS and "exportResult" not in result.console:
                raise Broken(f"no report of a device.xml that cannot be written\n{result.console}")
        except Broken as broken:
            table.found(title, f"{name}: {broken}")
    table.count(title, len(DEVICE_XMLS))


def replaced_device_xml(installation, folder, runs, table):
    title = "device.xml replaced while it is read"
    machine = Machine(folder / "replaced")
    for number in range(runs):
        machine.make_empty()
        machine.make(DEVICE_XML, utf16(STATED.format("")))
        with Replaced(machine.file(DEVICE_XML)):
            result = installation.run(machine, KINDS[0])
        if result.code != 0 or machine.registry().get((GENERIC_KEY, "DeviceName")) != "Weir":
            table.found(title, f"run {number}: {result.code}\n{result.console}")
    table.count(title, runs)


def planted_libraries(installation, folder, table):
    """Libraries of other names beside the program, of any name in the current folder: none of them is loaded."""
    title = "planted libraries"
    machine = Machine(folder / "planted")
    machine.make_empty()
    kind = dataclasses.replace(KINDS[0], name="planted")
    installation.prepare(kind)
    program = installation.program(kind)
    current = folder / "current folder"
    current.mkdir()
    names = ("Shell32.dll", "version.dll", "msxml3.dll", "FindwellDlg.dll.dll", "FindwellDlg", "libsqlite3.so.0")
    for name in names:
        shutil.copy(program / "FindwellDlg.dll", program / name)
    for name in (*names, "FindwellDlg.dll"):
        shutil.copy(program / "FindwellDlg.dll", current / name)
    for beside in (True, False):  # with and without the library that is meant
        if not beside:
            (program / "FindwellDlg.dll").unlink()
        result = installation.run(machine, kind, folder=current, LD_DEBUG="files")
        loaded = set(re.findall(r"calling init: (.*)", result.console))
        planted = {path for path in loaded if str(folder) in path} - {str(program / "FindwellDlg.dll")}
        if planted or result.code != (0 if beside else 1):
            table.found(title, f"exit code {result.code}, loaded {planted}")
        if beside and str(program / "FindwellDlg.dll") not in loaded:
            table.found(title, "the loader does not tell what it loads")
    table.count(title, 2 * len(names) + 1)


HOSTILE_TEXTS = (r"..\..\..\x", "../../x", r"C:\x", "a]b=c;d", "[IO]", '"quoted"', "%s%n%ws", "tab\tand =", "ß]=[",
                 "line\r\nAddress=evil\r\n[IO]\r\nAddress=evil", "one\rtwo", "one\n\ntwo")


def hostile_values(installation, folder, table):
    """A device's texts, and product names: stored as they are, read back as they are, and nothing else is touched."""
    title = "values that try to leave their place"
    for number, text in enumerate(HOSTILE_TEXTS):
        machine = Machine(folder / "values" / str(number) / "machine")
        machine.make_empty()
        is_line = "\n" not in text and "\r" not in text
        product = text if is_line and '"' not in text and "/" not in text else None
        kind = dataclasses.replace(KINDS[0], name=f"values {number}",
                                   arguments=("/M", product) if product else ())
        installation.prepare(kind, NEW_DEVICE | {"devicename": text, "comment": text, "hostname": "after"})
        key = GENERIC_KEY if product is None else rf"HKEY_CURRENT_USER\Software\QLScan\{product}"
        try:
            record = machine.root.parent / "record"
            for _ in range(2):
                result = installation.run(machine, kind,
                                          FINDWELL_RECORD="Z:" + str(record).replace("/", "\\"))
                if result.code != 0:
                    raise Broken(f"exit code {result.code}\n{result.console}")
            stored = {name: value for (path, name), value in machine.registry().items() if path == key}
            if (stored.get("DeviceName"), stored.get("Comment"), stored.get("HostName")) != (text, text, "after"):
                raise Broken(f"stored: {stored}")
            lines = machine.file(CONFIG_INI).read_bytes()[2:].decode("utf-16-le").split("\r\n")
            first = {}
            for line in lines[1:lines.index("[IO]", 1) if "[IO]" in lines[1:] else None]:
                first.setdefault(*line.partition("=")[::2])
            wanted = {"Address": "192.0.2.41", "HostName": "after"} | ({"DeviceName": text} if is_line else {})
            if lines[0] != "[IO]" or any(first.get(name) != value for name, value in wanted.items()):
                raise Broken(f"Config.ini: {lines}")
            asked = [line for line in record.read_text().split("\n") if line.startswith("  filterText")]
            escaped = re.escape(re.sub(r"<(.*)>", r"\1", device_xml({"x": text})))
            if is_line and f"<comment>{text}</comment>" not in asked[1].replace("&quot;", '"'):
                raise Broken(f"the next run reads {asked[1]} for {escaped}")
            if {entry.name for entry in machine.root.parent.iterdir()} - {"machine", "machine-registry", "record"}:
                raise Broken("written outside")
        except Broken as broken:
            table.found(title, f"{text!r}: {broken}")
    for text in HOSTILE_TEXTS:
        machine = Machine(folder / "names")
        machine.make_empty()
        exported = str(folder / "exported.reg").replace("/", "\\")
        added = installation.reg(machine, "add", DRIVER_KEY, "/v", text, "/d", text, "/f")
        left = installation.reg(machine, "export", DRIVER_KEY, "Z:" + exported, "/y")
        before = machine.registry()
        machine.make_empty()
        taken = installation.reg(machine, "import", "Z:" + exported)
        if before != {(DRIVER_KEY, text): text} or machine.registry() != before:
            table.found(title, f"name {text!r}: {added} {left} {taken} {before} {machine.registry()}")
    table.count(title, 2 * len(HOSTILE_TEXTS))
