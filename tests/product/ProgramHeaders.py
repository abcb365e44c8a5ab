#!/usr/bin/env python3
"""What a vendor expects of a Windows program, read from the headers of each file of the installation folder.

usage: ProgramHeaders.py x86|x64 VERSION INSTALLATION-FOLDER SYMBOLS-FOLDER
"""

import os
import sys
import xml.etree.ElementTree as ElementTree
import zlib

from PortableExecutable import PortableExecutable, version_texts

LARGEST_32_BIT_PROGRAM = 1 << 20  # bytes
SYSTEM_LIBRARIES = {"advapi32.dll", "kernel32.dll", "msvcrt.dll", "ole32.dll", "oleaut32.dll", "shell32.dll", "version.dll"}
MACHINES = {"x86": 0x14C, "x64": 0x8664}
VERSION_RESOURCE = (16, 1)
MANIFEST_RESOURCE = (24, 1)

# Bits of the file header's and of the optional header's characteristics.
RELOCATIONS_STRIPPED, LARGE_ADDRESSES, IS_LIBRARY = 0x1, 0x20, 0x2000
HIGH_ENTROPY, DYNAMIC_BASE, NX_COMPATIBLE, NO_SEH, GUARD_CF = 0x20, 0x40, 0x100, 0x400, 0x4000
WRITE_AND_EXECUTE = 0xA0000000
GUI = 2


class Product:
    """One file, and what it is expected to be."""

    def __init__(self, name, data, architecture, version, symbols):
        self.name, self.data, self.architecture, self.version, self.symbols = name, data, architecture, version, symbols
        self.pe = PortableExecutable(data)
        self.is_library = name.endswith(".dll")
        self.has_version = name == "ScanKELV.exe"

    def debug_file_fits(self):
        link = self.pe.section(".gnu_debuglink")
        if link is None:
            return False
        name = link[: link.index(b"\0")].decode()
        at = (len(name) + 4) & ~3
        with open(os.path.join(self.symbols, name), "rb") as file:
            return name == self.name + ".debug" and zlib.crc32(file.read()) == int.from_bytes(link[at : at + 4], "little")

    def version_fits(self):
        numbers, texts = version_texts(self.pe.resources()[VERSION_RESOURCE])
        wanted = ("CompanyName", "FileDescription", "InternalName", "LegalCopyright", "ProductName")
        return (
            ".".join(map(str, numbers)) == self.version == texts["FileVersion"] == texts["ProductVersion"]
            and texts["OriginalFilename"] == self.name
            and all(texts.get(name) for name in wanted)
        )

    def manifest_fits(self):
        root = ElementTree.fromstring(self.pe.resources()[MANIFEST_RESOURCE])
        found = {}
        for element in root.iter():
            name = element.tag.split("}")[1]
            found.setdefault(name, []).append(element)
        identity = found["assemblyIdentity"][0].attrib
        return (
            found["requestedExecutionLevel"][0].get("level") == "asInvoker"
            and (identity["name"], identity["version"]) == ("Microsoft.Windows.Common-Controls", "6.0.0.0")
            and found["longPathAware"][0].text == "true"
            and len(found["supportedOS"]) == 4
        )


def bit(mask, wanted=True):
    return lambda product: bool(product.pe.dll_characteristics & mask) == wanted


# Name, whether the check is for this product, the check.
ALWAYS = lambda product: True
ON_X64 = lambda product: product.architecture == "x64"
ON_X86 = lambda product: product.architecture == "x86"
THE_AGENT = lambda product: product.has_version
CHECKS = [
    ("machine", ALWAYS, lambda p: p.pe.machine == MACHINES[p.architecture] and p.pe.is_64_bit == (p.architecture == "x64")),
    ("subsystem GUI", lambda p: not p.is_library, lambda p: p.pe.subsystem == GUI),
    ("library or program", ALWAYS, lambda p: bool(p.pe.characteristics & IS_LIBRARY) == p.is_library),
    ("system libraries only", ALWAYS, lambda p: {name.lower() for name in p.pe.imports()} <= SYSTEM_LIBRARIES),
    ("DYNAMIC_BASE", ALWAYS, bit(DYNAMIC_BASE)),
    ("NX_COMPAT", ALWAYS, bit(NX_COMPATIBLE)),
    ("HIGH_ENTROPY_VA", ON_X64, bit(HIGH_ENTROPY)),
    ("large addresses", ON_X64, lambda p: bool(p.pe.characteristics & LARGE_ADDRESSES)),
    ("NO_SEH", ON_X86, bit(NO_SEH)),
    # The toolchain can neither check indirect calls nor list handlers: the headers must not say so.
    ("no GUARD_CF claim", ALWAYS, bit(GUARD_CF, False)),
    ("no load configuration", ALWAYS, lambda p: p.pe.directory(10) == (0, 0)),
    ("relocations", ALWAYS, lambda p: p.pe.directory(5)[1] > 8 and not p.pe.characteristics & RELOCATIONS_STRIPPED),
    ("no writable code", ALWAYS, lambda p: all(s[5] & WRITE_AND_EXECUTE != WRITE_AND_EXECUTE for s in p.pe.sections)),
    ("no time stamp", ALWAYS, lambda p: p.pe.time_stamp == 0),
    ("no symbols", ALWAYS, lambda p: p.pe.symbol_count == 0 and not any(s[0].startswith(".debug") for s in p.pe.sections)),
    ("debug file", ALWAYS, Product.debug_file_fits),
    ("version resource", THE_AGENT, Product.version_fits),
    ("manifest", THE_AGENT, Product.manifest_fits),
    ("size", lambda p: THE_AGENT(p) and ON_X86(p), lambda p: len(p.data) <= LARGEST_32_BIT_PROGRAM),
]


def failures(product):
    return [name for name, concerns, holds in CHECKS if concerns(product) and not holds(product)]


def broken_copies(product):
    """(what a check must notice, the bytes of a program that has this fault)"""

    def changed(at, value):
        data = bytearray(product.data)
        data[at : at + len(value)] = value
        return bytes(data)

    pe = product.pe
    flags = pe.optional + 70

    def without(mask):
        return changed(flags, (pe.dll_characteristics ^ mask).to_bytes(2, "little"))

    yield "machine", changed(pe.file_header, b"\x64\xaa")
    yield "subsystem GUI", changed(pe.optional + 68, b"\x03\x00")
    yield "system libraries only", product.data.replace(b"KERNEL32.dll", b"KERNEL33.dll")
    yield "DYNAMIC_BASE", without(DYNAMIC_BASE)
    yield "NX_COMPAT", without(NX_COMPATIBLE)
    yield "HIGH_ENTROPY_VA", without(HIGH_ENTROPY)
    yield "NO_SEH", without(NO_SEH)
    yield "no GUARD_CF claim", without(GUARD_CF)
    yield "relocations", changed(pe.directories + 8 * 5, bytes(8))
    yield "no time stamp", changed(pe.file_header + 4, b"\x01")
    yield "debug file", product.data.replace(product.name.encode() + b".debug", product.name.encode() + b".bebug")
    yield "version resource", product.data.replace(*(t.encode("utf-16-le") for t in (product.version, "9" * len(product.version))))
    yield "manifest", product.data.replace(b'level="asInvoker"', b'level="asAnybody"')
    yield "size", product.data + bytes(LARGEST_32_BIT_PROGRAM)


def main():
    architecture, version, folder, symbols = sys.argv[1:]
    status = 0
    for name in ("ScanKELV.exe", "FindwellDlg.dll", "Hueward.exe"):
        with open(os.path.join(folder, name), "rb") as file:
            product = Product(name, file.read(), architecture, version, symbols)
        flags = [label for label, mask in
                 (("ASLR", DYNAMIC_BASE), ("DEP", NX_COMPATIBLE), ("high entropy", HIGH_ENTROPY), ("no SEH", NO_SEH), ("CFG", GUARD_CF))
                 if product.pe.dll_characteristics & mask]
        print(f"{name}: {len(product.data)} bytes; {', '.join(flags)}; imports {' '.join(product.pe.imports())}")
        for failure in failures(product):
            print(f"{name}: FAILED: {failure}")
            status = 1
        concerned = {check for check, concerns, _ in CHECKS if concerns(product)}
        for fault, data in broken_copies(product):
            if fault in concerned and fault not in failures_of_copy(product, data):
                print(f"{name}: FAILED: the check '{fault}' does not notice its fault")
                status = 1
    return status


def failures_of_copy(product, data):
    copy = Product(product.name, data, product.architecture, product.version, product.symbols)
    try:
        return failures(copy)
    except FileNotFoundError:
        return ["debug file"]


if __name__ == "__main__":
    sys.exit(main())
