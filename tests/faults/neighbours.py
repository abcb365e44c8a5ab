"""Others who write where the agent reads: device.xml, libraries in other places, values that try to leave theirs."""

import dataclasses
import os
import re
import shutil
import threading

from agent import (CONFIG_INI, DEVICE_XML, GENERIC_KEY, KINDS, NEW_DEVICE, STORAGES, Broken, Machine, drive_z, utf16)

MEMORY = 200 << 20  # bytes that a run may take, whatever lies about
STATED = ('<?xml version="1.0" encoding="UTF-16"?><devicelist version="1.0.2"><device><Address>192.0.2.9</Address>'
          "<Comment>{}</Comment></device></devicelist>")


def sparse(path):
    path.write_bytes(utf16(STATED.format("x")))
    os.truncate(path, 1 << 30)


def read_only(path):
    path.touch(0o444)


def sibling(path):
    return path.with_name(f".{path.name}.new")


# What lies in the place of device.xml, given its path and that of a file outside; and whether it stays there, because
# it cannot be replaced.
DEVICE_XMLS = {
    "link to a file outside": (lambda path, outside: path.symlink_to(outside), False),
    "link to nothing": (lambda path, outside: path.symlink_to(outside.with_name("made outside")), False),
    "link to itself": (lambda path, outside: path.symlink_to(path), True),
    "second name of a file outside": (lambda path, outside: os.link(outside, path), False),
    "fifo": (lambda path, outside: os.mkfifo(path), True),
    "folder": (lambda path, outside: path.mkdir(), True),
    "1 GB": (lambda path, outside: sparse(path), False),
    "endless": (lambda path, outside: path.symlink_to("/dev/zero"), False),
    "read-only": (lambda path, outside: read_only(path), True),
    "fifo in the sibling's place": (lambda path, outside: os.mkfifo(sibling(path)), False),
    "link in the sibling's place": (lambda path, outside: sibling(path).symlink_to(outside), False),
    "folder in the sibling's place": (lambda path, outside: sibling(path).mkdir(), True),
    "link in the place of Config.ini's sibling":
        (lambda path, outside: sibling(path.parents[4] / CONFIG_INI).symlink_to(outside), False),
}


def judge_stored(machine, result, *beside, key=GENERIC_KEY, device=NEW_DEVICE):
    if result.code != 0 or result.peak > MEMORY:
        raise Broken(f"exit code {result.code}, {result.peak >> 20} MB\n{result.console}")
    stored = machine.registry()
    for name in ("DeviceName", "Comment", "HostName"):
        if stored.get(rf"{key}\{name}") != device[name.lower()]:
            raise Broken(f"stored: {stored}")
    if written := {entry.name for entry in machine.root.parent.iterdir()} - {"machine", "machine-registry", *beside}:
        raise Broken(f"written outside: {written}")


def hostile_device_xml(installation, folder, table):
    title = "device.xml of hostile neighbours"
    for name, (place, stays) in DEVICE_XMLS.items():
        machine = Machine(folder / "hostile" / name / "machine")
        machine.make_empty()
        path = machine.file(DEVICE_XML)
        for made in (path, machine.file(CONFIG_INI)):
            made.parent.mkdir(parents=True)
        outside = machine.root.parent / "outside"
        outside.write_bytes(b"not yours")
        place(path, outside)
        try:
            result = installation.run(machine, KINDS[0])
            judge_stored(machine, result, "outside")
            if outside.read_bytes() != b"not yours":
                raise Broken("written outside")
            replaced = (not path.is_symlink() and path.is_file() and path.stat().st_size < 1 << 20 and
                        path.read_bytes().startswith(b"\xff\xfe"))
            if replaced == stays or stays != ("exportResult" in result.console):
                raise Broken(f"device.xml was to {'stay, with a report' if stays else 'be replaced'}\n{result.console}")
        except Broken as broken:
            table.found(title, f"{name}: {broken}")
    table.count(title, len(DEVICE_XMLS))


def replaced_device_xml(installation, folder, runs, table):
    """device.xml is another one all the time, by turns whole and cut, renamed over and written over."""
    title = "device.xml replaced while it is read"
    machine = Machine(folder / "replaced" / "machine")

    def replace(path, ended):
        other = path.with_name("other")
        turn = 0
        while not ended.is_set():
            turn += 1
            content = utf16(STATED.format("y" * (turn % 7 * 9000)))
            if turn % 3 == 0:
                path.write_bytes(content[:len(content) // 2])
            else:
                other.write_bytes(content)
                other.rename(path)

    for number in range(runs):
        machine.make_empty()
        machine.make(DEVICE_XML, b"")
        ended = threading.Event()
        neighbour = threading.Thread(target=replace, args=(machine.file(DEVICE_XML), ended))
        neighbour.start()
        try:
            judge_stored(machine, installation.run(machine, KINDS[0]))
        except Broken as broken:
            table.found(title, f"run {number}: {broken}")
        ended.set()
        neighbour.join()
    table.count(title, runs)


def planted_libraries(installation, folder, table):
    """Libraries of other names beside the program, of any name in the current folder: none of them is loaded."""
    title = "planted libraries"
    machine = Machine(folder / "planted")
    machine.make_empty()
    kind = dataclasses.replace(KINDS[0], name="planted")
    installation.prepare(kind)
    program, current = installation.program(kind), folder / "current folder"
    current.mkdir()
    library = program / "FindwellDlg.dll"
    names = ("Shell32.dll", "version.dll", "msxml3.dll", "FindwellDlg.dll.dll", "FindwellDlg", "libsqlite3.so.0")
    for place in (*(program / name for name in names), *(current / name for name in (*names, library.name))):
        shutil.copy(library, place)
    for wanted, code in (({str(library)}, 0), (set(), 1)):  # with and without the library that is meant
        result = installation.run(machine, kind, folder=current, LD_DEBUG="files")
        loaded = {path for path in re.findall(r"calling init: (.*)", result.console) if str(folder) in path}
        if (loaded, result.code) != (wanted, code):
            table.found(title, f"exit code {result.code}, loaded {loaded}")
        library.unlink(missing_ok=True)
    table.count(title, 2 * len(names) + 1)


HOSTILE_TEXTS = (r"..\..\..\x", "../../x", r"C:\x", "a]b=c;d", "[IO]", '"quoted"', "%s%n%ws", "tab\tand =", "ß]=[",
                 "line\r\nAddress=evil\r\n[IO]\r\nAddress=evil", "one\rtwo", "one\n\ntwo")


def values_of_a_device(installation, machine, text, name):
    """Stored as they are, with what follows, and read back as they are by the next run."""
    machine.make_empty()
    is_line = "\n" not in text and "\r" not in text
    is_product = is_line and '"' not in text and "/" not in text
    kind = dataclasses.replace(KINDS[0], name=name, arguments=("/M", text) if is_product else ())
    device = NEW_DEVICE | {"devicename": text, "comment": text}
    installation.prepare(kind, device)
    record = machine.root.parent / "record"
    for _ in range(2):
        result = installation.run(machine, kind, FINDWELL_RECORD=drive_z(record))
        judge_stored(machine, result, "record", key=STORAGES + text if is_product else GENERIC_KEY, device=device)
    wanted = {"Address": NEW_DEVICE["devicepath"], "DeviceName": re.sub("[\r\n]", " ", text),
              "HostName": NEW_DEVICE["hostname"]}
    if not {f"Config.ini {name}": value for name, value in wanted.items()}.items() <= machine.state().items():
        raise Broken(f"stored: {machine.state()}")
    asked = [line for line in record.read_text().split("\n") if line.startswith("  filterText")]
    if is_line and f"<comment>{text}</comment>" not in asked[1].replace("&quot;", '"'):
        raise Broken(f"the next run reads {asked[1]}")


def hostile_values(installation, folder, table):
    title = "values that try to leave their place"
    for number, text in enumerate(HOSTILE_TEXTS):
        name = f"values {number}"
        try:
            values_of_a_device(installation, Machine(folder / name / "machine"), text, name)
        except Broken as broken:
            table.found(title, f"{text!r}: {broken}")
    table.count(title, len(HOSTILE_TEXTS))
