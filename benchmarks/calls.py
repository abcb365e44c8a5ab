#!/usr/bin/env python3
"""calls.py   counts what a run calls: beside the shortest way to the same bytes and the same log, by group, with more input.

It fails when a call has no reason, or when calls grow faster than the input.
"""
import itertools, re, statistics, sys
from collections import Counter
from pathlib import Path

HERE = Path(__file__).resolve().parents[1]
sys.path.insert(0, str(HERE / "tests/faults"))
import run
from calls import count, grouped

# Calls of the shortest way (dialog, generic driver, online testing; a device is stored, the log is on), by the reason
# why the agent makes more of them.
SHORTEST = {
    "":
        "CopyFileW 0 1 1, CreateFileMappingW 1 1 1, FindFirstFileW 1 2 1, FlushFileBuffers 1 2 1, "
        "GetDeviceList_LCode 1 1 0, GetFileAttributesExW 2 4 2, GetFileSecurityW 1 2 1, GetFileSizeEx 1 1 0, "
        "GetFileType 1 1 0, GetFileVersionInfoSizeW 1 1 1, GetFileVersionInfoW 1 1 1, GetModuleFileNameA 1 1 1, "
        "GetPrivateProfileIntW 1 0 0, GetPrivateProfileStringW 9 0 0, IXMLDOMDocument::createElement 56 56 0, "
        "IXMLDOMDocument::createProcessingInstruction 2 2 0, IXMLDOMDocument::createTextNode 51 51 0, "
        "IXMLDOMDocument::load 1 1 0, IXMLDOMDocument::loadXML 8 8 0, IXMLDOMDocument::save 1 1 0, "
        "IXMLDOMElement::setAttribute 2 2 0, IXMLDOMNode::appendChild 109 109 0, IXMLDOMNode::get_text 46 46 0, "
        "IXMLDOMNode::get_xml 1 1 0, IXMLDOMNode::selectSingleNode 49 49 0, LoadLibraryA 1 1 1, "
        "MapViewOfFile 1 1 1, MoveFileExW 1 2 1, QueryDeviceAddress 0 0 1, ReadFile 1 3 2, "
        "RegDeleteValueA 0 0 2, RegOpenKeyExA 2 2 2, RegQueryValueExW 19 19 3, RegSetValueExA 1 1 2, "
        "RegSetValueExW 19 19 3, SetDllDirectoryW 1 1 1, SetEndOfFile 0 1 1, SetFileAttributesW 1 2 1, "
        "SetFileSecurityW 1 2 1, ShellExecuteExW 1 1 0, VerQueryValueW 1 1 1, WriteFile 69 64 21, "
        "WritePrivateProfileStringW 0 20 4",
    "the access list of the folder is set anew whenever the path of device.xml is asked for":
        "AllocateAndInitializeSid 1 1 0, GetFinalPathNameByHandleW 1 1 0, InitializeSecurityDescriptor 1 1 0, "
        "LocalAlloc 1 1 0, SHCreateDirectoryExW 1 1 0, SHGetFolderPathW 1 1 0, SetEntriesInAclW 1 1 0, "
        "SetKernelObjectSecurity 1 1 0, SetSecurityDescriptorDacl 1 1 0",
    "each text is read into a document of its own: nothing of the one before may be found in it":
        "CoCreateInstance 3 3 0, IXMLDOMDocument::put_async 3 3 0, IXMLDOMDocument::put_resolveExternals 1 1 0, "
        "IXMLDOMDocument::put_validateOnParse 1 1 0",
    "the library may ask about a device on a thread of its own, with COM or without":
        "CoInitializeEx 1 1 1",
    "each logger opens the log file and reads its settings itself; an absent number is read twice":
        "CreateFileA 1 4 4, GetPrivateProfileIntA 5 5 5",
    "the folder of device.xml, as above; a new Config.ini is held open, and read again by what writes its keys":
        "CreateFileW 7 11 4",
    "no location is kept: a folder, the shell's version for it, the program's own path are asked for at each use":
        "GetModuleFileNameW 1 1 1, GetProcAddress 11 11 11, LoadLibraryW 1 1 1, SHGetMalloc 1 2 2, "
        "SHGetPathFromIDListA 1 2 2, SHGetPathFromIDListW 1 2 2, SHGetSpecialFolderLocation 1 2 2",
    "a path in 8 bits is compared with the wide one: another folder may look like it in the code page":
        "MultiByteToWideChar 3 5 5",
    "a document that a local server may serve is created as an object, started, then asked for its interface":
        "OleRun 0 0 0, QueryInterface 1 1 0",
    "other agents append to the same log, so that each entry first seeks its end":
        "SetFilePointer 1 3 2",
    "a name that the document model is given is made for each use":
        "SysAllocStringLen 141 141 0",
    "a text of the log is measured before it gets memory; it is converted by pieces, into memory on the stack":
        "WideCharToMultiByte 43 45 12",
    "a path or a text has any length; the count of a shared text of the document model is in a block beside it":
        "calloc 0 0 0, operator_new 0 0 0",
    "a logger hands on its prefix, the text and the line end one by one, and so what it says of itself":
        "OutputDebugStringA 76 75 28",
}
RECORD = {**run.RECORD, "ConnectionType": "#1", "IPv6": "#0", "VID": "#3869", **dict.fromkeys(
    "DeviceName ExtDeviceID HostName Location MACAddress PortName SystemDeviceName".split(), "text")}


def beside_the_shortest(machine):
    """The first report: every function of three runs. @return how many calls have no reason"""
    rows = {}
    for why, functions in SHORTEST.items():
        for name, *numbers in map(str.split, functions.split(",")):
            rows[name.replace("_new", " new")] = [int(number) for number in numbers], why
    runs = []
    for kind in "dialog", "generic", "online":
        calls, report = count(machine, kind)
        runs.append({**calls, "OutputDebugStringA": report.count("told ")})
    faults = 0
    print(f"{'calls: the agent, the shortest way':43}{'dialog':>12}{'generic':>12}{'online':>12}")
    for name in sorted({*rows, *(name for one in runs for name in one)}):
        shortest, why = rows.get(name, ([0, 0, 0], ""))
        ours = [one.get(name, 0) for one in runs]
        is_fault = any(a < b for a, b in zip(ours, shortest)) or (ours != shortest and not why)
        faults += is_fault
        print(f"{name:43}", *(f"{a:5} {b:5}" for a, b in zip(ours, shortest)), " ", why, "NO REASON" * is_fault)
    return faults


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
        for record, (name, value) in itertools.product(range(number), RECORD.items()):
            machine.ask("store", "HKLM", f"Software\\QLScan\\Records\\Printer{record:03}", name, value)
        return machine.run(run.KINDS["several"][0], 600000, size=1 << 25, guard=0)

    for title, make, is_linear in (("records", recorded, True), ("devices in an answer", answered, False),
                                   ("fields of an identifier", lambda number: answered(1, number), False)):
        sizes, totals = (1, 10, 100, 1000), []
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
    times = {}
    for _ in range(11):
        taken, inside, last = Counter(), ["the agent itself, at most"], 0
        for ticks, name in re.findall(r"^(?:from|to) (\d+) ?(.*)", count(machine, "generic", guard=0)[1], re.M):
            # Until this line the innermost call, or the agent, took the time: of ticks of a ten millionth of a second.
            taken[inside[-1]] += (int(ticks) - last) / 10_000 if last else 0
            last = int(ticks)
            inside.append(name) if name else inside.pop()
        for name, one in taken.items():
            times.setdefault(name, []).append(one)
    dearest = sorted(times.items(), key=lambda item: -statistics.median(item[1]))
    rest = sum(statistics.median(all) for _, all in dearest[15:])
    print("\none generic run apart, milliseconds")
    for name, all in [*dearest[:15], (f"{len(dearest) - 15} other functions", [rest])]:
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
