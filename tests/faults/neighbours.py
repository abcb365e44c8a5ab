"""Others who write where the agent reads: device.xml, libraries in other places, values that try to leave theirs."""

import concurrent.futures
import dataclasses
import itertools
import os
import re
import shutil

from agent import CONFIG_INI, DEVICE_XML, KINDS, NEW_DEVICE, STORAGES, Broken, Machine, drive_z, utf16

STATED = ('<?xml version="1.0" encoding="UTF-16"?><devicelist version="1.0.2"><device><Address>192.0.2.9</Address>'
          "<Comment>{}</Comment></device></devicelist>")


def sparse(path):
    path.write_bytes(utf16(STATED.format("x")))
    os.truncate(path, 1 << 30)


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
    "read-only": (lambda path, outside: path.touch(0o444), True),
    "fifo in the sibling's place": (lambda path, outside: os.mkfifo(sibling(path)), False),
    "link in the sibling's place": (lambda path, outside: sibling(path).symlink_to(outside), False),
    "folder in the sibling's place": (lambda path, outside: sibling(path).mkdir(), True),
    "link in the place of Config.ini's sibling":
        (lambda path, outside: sibling(path.parents[4] / CONFIG_INI).symlink_to(outside), False),
}


def hostile_device_xml(installation, folder, table):
    def judge(name, place, stays):
        machine = Machine(folder / "hostile" / name / "machine")
        machine.make_empty()
        for made in (DEVICE_XML, CONFIG_INI):
            machine.file(made).parent.mkdir(parents=True)
        path = machine.file(DEVICE_XML)
        outside = machine.root.parent / "outside"
        outside.write_bytes(b"not yours")
        place(path, outside)
        result = installation.run(machine, KINDS[0])
        machine.judge_stored(result, "outside")
        if outside.read_bytes() != b"not yours":
            raise Broken("written outside")
        replaced = (not path.is_symlink() and path.is_file() and path.stat().st_size < 1 << 20 and
                    path.read_bytes().startswith(b"\xff\xfe"))
        if replaced == stays or stays != ("exportResult" in result.console):
            raise Broken(f"device.xml was to {'stay, with a report' if stays else 'be replaced'}\n{result.console}")

    table.each("device.xml of hostile neighbours", judge, [(name, *row) for name, row in DEVICE_XMLS.items()])


def replace_until(path, is_done):
    """The file is another one all the time, by turns whole and cut, renamed over and written over."""
    other = path.with_name("other")
    for turn in itertools.takewhile(lambda _: not is_done(), itertools.count(1)):
        content = utf16(STATED.format("y" * (turn % 7 * 9000)))
        if turn % 3 == 0:
            path.write_bytes(content[:len(content) // 2])
        else:
            other.write_bytes(content)
            other.rename(path)


def replaced_device_xml(installation, folder, runs, table):
    def judge(_):
        machine.make_empty()
        machine.make(DEVICE_XML, b"")
        run = pool.submit(installation.run, machine, KINDS[0])
        replace_until(machine.file(DEVICE_XML), run.done)
        machine.judge_stored(run.result())

    machine = Machine(folder / "replaced" / "machine")
    with concurrent.futures.ThreadPoolExecutor() as pool:
        table.each("device.xml replaced while it is read", judge, zip(range(runs)))


def planted_libraries(installation, folder, table):
    """Libraries of other names beside the program, of any name in the current folder: none of them is loaded."""
    title = "planted libraries"
    machine = Machine(folder / "planted")
    machine.make_empty()
    kind = dataclasses.replace(KINDS[0], name="planted")
    program, current = installation.prepare(kind), folder / "current folder"
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


def hostile_values(installation, folder, table):
    """Stored as they are, with what follows, and read back as they are by the next run."""
    def judge(text):
        name = f"values {HOSTILE_TEXTS.index(text)}"
        machine = Machine(folder / name / "machine")
        machine.make_empty()
        is_line = "\n" not in text and "\r" not in text
        is_product = is_line and '"' not in text and "/" not in text
        kind = dataclasses.replace(KINDS[0], name=name, arguments=("/M", text) if is_product else ())
        device = NEW_DEVICE | {"devicename": text, "comment": text}
        installation.prepare(kind, device)
        record = machine.root.parent / "record"
        for _ in range(2):
            result = installation.run(machine, kind, FINDWELL_RECORD=drive_z(record))
            machine.judge_stored(result, "record", key=STORAGES + text if is_product else kind.key, device=device)
        wanted = {"Address": device["devicepath"], "DeviceName": re.sub("[\r\n]", " ", text),
                  "HostName": device["hostname"]}
        if not {f"Config.ini {name}": value for name, value in wanted.items()}.items() <= machine.state().items():
            raise Broken(f"stored: {machine.state()}")
        asked = [line for line in record.read_text().split("\n") if line.startswith("  filterText")]
        if is_line and f"<comment>{text}</comment>" not in asked[1].replace("&quot;", '"'):
            raise Broken(f"the next run reads {asked[1]}")

    table.each("values that try to leave their place", judge, zip(HOSTILE_TEXTS))
