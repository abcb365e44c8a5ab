#!/usr/bin/env python3
"""What a vendor expects of a Windows program, held against what objdump and windres tell about each installed file.

usage: ProgramHeaders.py x86|x64 VERSION INSTALLATION-FOLDER SYMBOLS-FOLDER OBJDUMP WINDRES
"""

import os
import re
import subprocess
import sys
import zlib

LARGEST_32_BIT_PROGRAM = 1 << 20  # bytes
SYSTEM_LIBRARIES = {"advapi32.dll", "msvcrt.dll", "ole32.dll", "oleaut32.dll", "shell32.dll", "version.dll"}  # and kernel32
# The toolchain can neither check indirect calls nor list handlers: GUARD_CF and a load configuration would be untrue.
KINDS = {
    "x86": ("pei-i386", "32 bit words", ["DYNAMIC_BASE", "NX_COMPAT", "NO_SEH"]),
    "x64": ("pei-x86-64", "large address aware", ["HIGH_ENTROPY_VA", "DYNAMIC_BASE", "NX_COMPAT"]),
}


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True, env={**os.environ, "TZ": "UTC"}).stdout


def header_facts(name, kind, headers, debug_file):
    """(what, as it is, as it is expected) of any file"""
    file_format, words, protections = kind
    is_library = name.endswith(".dll")

    def told(pattern):
        return re.findall(pattern, headers, re.M)

    def listed(title):
        return told(rf"^{title}.*\n((?:\t+.*\n)*)")[0].strip().replace("\t", "").split("\n")

    sections = told(r"^ +\d+ (\S+) .*\n +(.*)$")
    yield "format", told("file format (.*)"), [file_format]
    yield "kind", listed("Characteristics"), [
        "executable", "line numbers stripped", "symbols stripped", words, *["DLL"] * is_library]
    yield "subsystem", told(r"^Subsystem.*\((.*)\)"), ["Windows CUI" if is_library else "Windows GUI"]
    yield "protections", listed("DllCharacteristics"), protections
    yield "load configuration", told("^Entry a 0+ 0+ (Load)"), ["Load"]
    yield "relocations", len(told(r"^Entry 5 \w+ 0*[1-9a-f]\w+ Base")), 1
    yield "imports", {library.lower() for library in told("DLL Name: (.*)")} - SYSTEM_LIBRARIES, {"kernel32.dll"}
    yield "code, read-only", [(section, "READONLY" in flags) for section, flags in sections if "CODE" in flags], [(".text", True)]
    yield "time stamp", told("^Time/Date\t+(.*)"), ["Thu Jan  1 00:00:00 1970"]
    yield "symbols", told("^no symbols"), ["no symbols"]
    yield "debug sections", [section for section, _ in sections if section.startswith(".debug")], []
    yield "debug file", told(r"debug info file: (.*)\n +CRC value: (.*)"), [(name + ".debug", hex(zlib.crc32(debug_file)))]


def resource_facts(name, version, resources):
    """The same of the agent's resources."""
    numbers = version.replace(".", ", ")
    values = dict(re.findall(r'VALUE "(\w+)", "(.+)"', resources))
    yield "version", re.findall(r"^ (?:FILE|PRODUCT)VERSION (.*)", resources, re.M), [numbers, numbers]
    for key, value in (("FileVersion", version), ("ProductVersion", version), ("OriginalFilename", name)):
        yield key, values.get(key), value
    yield "texts", {"CompanyName", "FileDescription", "InternalName", "LegalCopyright", "ProductName"} - values.keys(), set()
    for part, count in (
        ('requestedExecutionLevel level=""asInvoker""', 1),
        ('name=""Microsoft.Windows.Common-Controls"" version=""6.0.0.0""', 1),
        (">true</longPathAware>", 1),
        ("<supportedOS Id=", 4),
    ):
        yield "manifest, " + part, resources.count(part), count


def main():
    architecture, version, folder, symbols, objdump, windres = sys.argv[1:]
    status = 0
    for name in ("ScanKELV.exe", "FindwellDlg.dll", "Hueward.exe"):
        path = os.path.join(folder, name)
        with open(os.path.join(symbols, name + ".debug"), "rb") as file:
            debug_file = file.read()
        facts = list(header_facts(name, KINDS[architecture], output_of(objdump, "-p", "-h", "-t", "-Wk", path), debug_file))
        if name == "ScanKELV.exe":
            facts += resource_facts(name, version, output_of(windres, "-J", "coff", "-O", "rc", path))
            facts.append(("not too large", os.path.getsize(path) <= LARGEST_32_BIT_PROGRAM or architecture != "x86", True))
        for what, found, expected in facts:
            if found != expected:
                print(f"{name}: {what}: {found}, expected: {expected}")
                status = 1
    return status


if __name__ == "__main__":
    sys.exit(main())
