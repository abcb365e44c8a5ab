#!/usr/bin/env python3
"""benchmarks/calls.py   counts what a run calls: beside the shortest way to the same bytes and the same log, by group, and
with more input. It fails when a call has no reason, or when calls grow faster than the input.
"""
import re, statistics, sys
from collections import Counter
from pathlib import Path

HERE = Path(__file__).resolve().parents[1]
sys.path.insert(0, str(HERE / "tests/faults"))
import run  # noqa: E402
from calls import count, grouped  # noqa: E402

# Why the agent makes more than the shortest way.
REASONS = {
    "list": "the access list of the folder is set anew whenever the path of device.xml is asked for",
    "doc": "each text is read into a document of its own: nothing of the one before may be found in it",
    "com": "the library may ask about a device on a thread of its own, with COM or without",
    "ole": "a document that a local server may serve is created as an object, started, then asked for its interface",
    "log": "each logger opens the log file and reads its settings itself; an absent number is read twice",
    "open": "the start of a new Config.ini is read by whoever writes the keys, in a new file or in place",
    "ask": "no location is kept: the folder, and the version of the shell for it, is asked for at each use",
    "path": "the program's own path is asked for at each use, as every location",
    "8bit": "a path in 8 bits is compared with the wide one: another folder may look like it in the code page",
    "end": "other agents append to the same log, so that each entry first seeks its end",
    "long": "a text of the log is measured before it gets memory; it is converted by pieces, into memory on the stack",
    "text": "a text of the document model may be shared: its count is in a block beside it; a name is made for each use",
    "heap": "a path or a text has any length: none is on the stack",
    "piece": "a logger hands on its prefix, the text and the line end one by one, and so what it says of itself",
}
# Calls of the shortest way: dialog, generic driver, online testing (of a machine with a device stored, log on).
SHORTEST = """
AllocateAndInitializeSid 1 1 0 list
CoCreateInstance 3 3 0 doc
CoInitializeEx 1 1 1 com
CopyFileW 0 1 1
CreateFileA 1 4 4 log
CreateFileMappingW 1 1 1
CreateFileW 7 11 4 list open
FindFirstFileW 1 2 1
FlushFileBuffers 1 2 1
GetDeviceList_LCode 1 1 0
GetFileAttributesExW 2 4 2
GetFileSecurityW 1 2 1
GetFileSizeEx 1 1 0
GetFileType 1 1 0
GetFileVersionInfoSizeW 1 1 1
GetFileVersionInfoW 1 1 1
GetFinalPathNameByHandleW 1 1 0 list
GetModuleFileNameA 1 1 1
GetModuleFileNameW 1 1 1 path
GetPrivateProfileIntA 5 5 5 log
GetPrivateProfileIntW 1 0 0
GetPrivateProfileStringW 9 0 0
GetProcAddress 11 11 11 ask
IXMLDOMDocument::createElement 56 56 0
IXMLDOMDocument::createProcessingInstruction 2 2 0
IXMLDOMDocument::createTextNode 51 51 0
IXMLDOMDocument::load 1 1 0
IXMLDOMDocument::loadXML 8 8 0
IXMLDOMDocument::put_async 3 3 0 doc
IXMLDOMDocument::put_resolveExternals 1 1 0 doc
IXMLDOMDocument::put_validateOnParse 1 1 0 doc
IXMLDOMDocument::save 1 1 0
IXMLDOMElement::setAttribute 2 2 0
IXMLDOMNode::appendChild 109 109 0
IXMLDOMNode::get_text 46 46 0
IXMLDOMNode::get_xml 1 1 0
IXMLDOMNode::selectSingleNode 49 49 0
InitializeSecurityDescriptor 1 1 0 list
LoadLibraryA 1 1 1
LoadLibraryW 1 1 1 ask
LocalAlloc 1 1 0 list
MapViewOfFile 1 1 1
MoveFileExW 1 2 1
MultiByteToWideChar 3 5 5 8bit
OleRun 0 0 0 ole
QueryDeviceAddress 0 0 1
QueryInterface 1 1 0 ole
ReadFile 1 3 2
RegDeleteValueA 0 0 2
RegOpenKeyExA 2 2 2
RegQueryValueExW 19 19 3
RegSetValueExA 1 1 2
RegSetValueExW 19 19 3
SHCreateDirectoryExW 1 1 0 list
SHGetFolderPathW 1 1 0 list
SHGetMalloc 1 2 2 ask
SHGetPathFromIDListA 1 2 2 ask
SHGetPathFromIDListW 1 2 2 ask
SHGetSpecialFolderLocation 1 2 2 ask
SetDllDirectoryW 1 1 1
SetEndOfFile 0 1 1
SetEntriesInAclW 1 1 0 list
SetFileAttributesW 1 2 1
SetFilePointer 1 3 2 end
SetFileSecurityW 1 2 1
SetKernelObjectSecurity 1 1 0 list
SetSecurityDescriptorDacl 1 1 0 list
ShellExecuteExW 1 1 0
SysAllocStringLen 141 141 0 text
VerQueryValueW 1 1 1
WideCharToMultiByte 43 45 12 long
WriteFile 69 64 21
WritePrivateProfileStringW 0 20 4
calloc 0 0 0 heap
operator_new 0 0 0 text heap
OutputDebugStringA 76 75 28 piece
"""
RECORDS = "Software\\QLScan\\Records\\Printer{:03}"


def beside_the_shortest(machine):
    """The first report: every function of three runs. @return how many calls have no reason"""
    rows = {name.replace("_new", " new"): ([int(number) for number in numbers[:3]], numbers[3:])
            for name, *numbers in map(str.split, SHORTEST.strip().splitlines())}
    runs = []
    for kind in "dialog", "generic", "online":
        calls, report = count(machine, kind)
        runs.append({**calls, "OutputDebugStringA": report.count("told ")})
    faults = 0
    print(f"{'calls: the agent, the shortest way':45}{'dialog':>12}{'generic':>12}{'online':>12}")
    for name in sorted({*rows, *(name for one in runs for name in one)}):
        shortest, reasons = rows.get(name, ([0, 0, 0], []))
        ours = [one.get(name, 0) for one in runs]
        is_fault = any(a < b for a, b in zip(ours, shortest)) or (ours != shortest and not reasons)
        faults += is_fault
        print(f"{name:45}", *(f"{a:5} {b:5}" for a, b in zip(ours, shortest)), " ", *reasons, "  NO REASON" * is_fault)
    print(*(f"  {name}: {why}" for name, why in REASONS.items()), sep="\n")
    return faults


def store_records(machine, number):
    machine.ask("clear", "HKLM")
    for record in range(number):
        for name, value in {**run.RECORD, **RECORD}.items():
            machine.ask("store", "HKLM", RECORDS.format(record), name, value)


RECORD = {**dict.fromkeys("DeviceName ExtDeviceID HostName Location MACAddress PortName SystemDeviceName".split(), "text"),
          "ConnectionType": "#1", "IPv6": "#0", "VID": "#3869"}


def growth(machine):
    """Linear in the records; flat in what the library answers, with the log off. @return what grows faster"""
    faults = 0
    devices = machine.scenario.partition("<devices>")[2].partition("</device>")[0].split("<device>")[1] + "</device>"

    def answered(number, fields=0):
        machine.prepare("hidden", True, "<GetDeviceInformation><answer><file>answer</file></answer></GetDeviceInformation>")
        device = re.sub("<deviceid>", "<deviceid>" + "X:1;" * fields + "MFG:Quellon;MDL:Weir C40;MODE:SCN;", devices, 1)
        machine.write("faults/answer", ("<devicelist>" + ("<device>" + device) * number + "</devicelist>").encode())
        return machine.run("/H text", size=1 << 24, guard=0)

    def recorded(number):
        machine.prepare("several", True)
        store_records(machine, number)
        return machine.run(run.KINDS["several"][0], 600000, size=1 << 24, guard=0)

    for title, sizes, make, is_linear in (
            ("records", (1, 10, 100, 1000), recorded, True), ("devices in an answer", (1, 10, 100, 1000), answered, False),
            ("fields of an identifier", (1, 10, 100, 1000), lambda number: answered(1, number), False)):
        totals = []
        for size in sizes:
            code, report = make(size)
            if code != ("1" if is_linear else "0"):
                sys.exit(f"{size} {title}: exit code {code}, nothing is counted")
            calls = Counter(re.findall(r"^(?:call|write) (.*)", report, re.M))
            totals.append([sum(calls.values()), grouped(calls)["memory"]])
        for what, numbers in zip(("calls", "allocations"), zip(*totals)):
            each = (numbers[1] - numbers[0]) / (sizes[1] - sizes[0])  # 0 where nothing grows
            expected = [numbers[0] + (size - 1) * each for size in sizes]
            is_fault = any(abs(now / then - 1) > 0.02 for now, then in zip(numbers, expected)) or (each > 0 and not is_linear)
            faults += is_fault
            print(f"{what} with {sizes} {title}: {numbers}, {each:.1f} for each", "GROWS FASTER" * is_fault)
    return faults


def apart(machine):
    """Where the time of a generic run goes; its own part has the counting in it, and the checks of this build."""
    rounds, times, own = 11, {}, []
    count(machine, "generic")
    for _ in range(rounds):
        report = machine.run(run.KINDS["generic"][0], size=1 << 22, times=1, guard=0)[1]
        taken = Counter()
        for ticks, name in re.findall(r"took (-?\d+) ([\w: ]+)$", report, re.M):
            taken[name] += int(ticks) / 10_000  # the counter ticks ten million times a second
        for name, one in taken.items():
            times.setdefault(name, []).append(one)
        own.append(int(re.search(r"ran (\d+)", report)[1]) / 10_000 - taken.total())
    dearest = sorted(times.items(), key=lambda item: -statistics.median(item[1]))
    rest = sum(statistics.median(all) for _, all in dearest[14:])
    print("\none generic run apart, milliseconds")
    for name, all in [*dearest[:14], (f"{len(dearest) - 14} other functions", [rest]), ("the agent itself, at most", own)]:
        print(f"  {name:42}{statistics.median(all):7.2f}  {min(all):6.2f} to {max(all):6.2f}")


def main():
    machine = run.Machine(HERE / "build/windows-x64-checked", "x86_64", "1")
    debug_ini, off = machine.user / "Debug.ini", "[Format]\nShowTime=1\n"
    on = debug_ini.read_text()
    faults = beside_the_shortest(machine)
    print("\ncalls by group")
    totals = {kind: grouped(count(machine, kind)[0]) for kind in run.KINDS}
    for group in totals["dialog"]:
        print(f"  {group:15}", *(f"{kind} {totals[kind][group]:<5}" for kind in totals))
    debug_ini.write_text(on + off)
    with_time = count(machine, "generic")[1].count("asked GetLocalTime")
    debug_ini.write_text(off)
    calls, report = count(machine, "generic")
    asked = report.count("asked GetLocalTime")
    # What is converted then: two key paths, the language code, and eight wide texts of the logger that is always on.
    is_fault = asked != 1 or calls["WriteFile"] != 0 or calls["WideCharToMultiByte"] > 11
    print(f"\nlog on: the time is asked for {with_time} times; off: {asked} (savedAt), {calls['WriteFile']} entries, "
          f"{calls['WideCharToMultiByte']} texts converted", "  NOT SILENT" * is_fault)
    faults += is_fault + growth(machine)
    apart(machine)
    debug_ini.write_text(on)
    return faults != 0


if __name__ == "__main__":
    sys.exit(main())
