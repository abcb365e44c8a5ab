"""The built programs and packages: ProductTest.py BUILD PROCESSOR COMPILER OBJDUMP VERSION CLASS[.test_NAME]."""
import os, re, shutil, struct, subprocess, sys, unittest, zlib
from pathlib import Path

HERE, BUILD = Path(__file__).resolve().parents[2], Path(sys.argv[1])
PROCESSOR, COMPILER, OBJDUMP, VERSION, CLASS = sys.argv[2:]
WORK, WINE = BUILD / "product-test" / CLASS, (HERE / "scripts/run-under-wine", PROCESSOR)
SYSTEM_LIBRARIES = set("advapi32 kernel32 msvcrt ole32 oleaut32 shell32 version".split())
DIALOG_LIBRARIES = {"comctl32", "gdi32", "user32"}
FORMAT, PROTECTIONS = {"i686": ("pei-i386", ["DYNAMIC_BASE", "NX_COMPAT", "NO_SEH"]),
                       "x86_64": ("pei-x86-64", ["HIGH_ENTROPY_VA", "DYNAMIC_BASE", "NX_COMPAT"])}[PROCESSOR]


class ProductTest(unittest.TestCase):
    def output_of(self, *command, exit_code=0, folder=HERE):
        with open(WORK / "output", "wb") as output:  # no pipe: the processes of Wine would keep it open
            command = "env", "LC_ALL=C.UTF-8", "TZ=UTC", *command
            found = subprocess.run(command, stdout=output, stderr=output, cwd=folder).returncode
        if found == 77:
            os._exit(found)  # there is no Wine
        text = (WORK / "output").read_text(encoding="utf-8", errors="replace")
        self.assertEqual(exit_code, found, f"{' '.join(map(str, command))}: {text}")
        return text

    def check_version(self, resource, version, **texts):
        major, minor, patch, tweak = map(int, version.split("."))
        self.assertIn(struct.pack("<2I8H", 0xFEEF04BD, 0x10000, *[minor, major, tweak, patch] * 2), resource)
        for name, text in {"FileVersion": version, "ProductVersion": version, **texts}.items():
            name, value = (re.escape((part + "\0").encode("utf-16-le")) for part in (name, text))
            self.assertRegex(resource, name + rb"(\0\0)?" + value, text)


class Programs(ProductTest):
    def test_headers(self):
        for name, subsystem in ("ScanKELV.exe", "GUI"), ("FindwellDlg.dll", "CUI"), ("Hueward.exe", "GUI"):
            with self.subTest(name):
                text = self.output_of(OBJDUMP, "-phtWk", BUILD / "bin" / name)
                text = re.sub(r"\n(\treloc|\t[0-9a-f]+\t|Virtual|.*Warning:) .*", "", text)  # thousands of lines
                debug = BUILD / f"symbols/{name}.debug"
                for line in (f"file format {FORMAT}\n", rf"\nSubsystem.*\(Windows {subsystem}\)", "\nno symbols",
                             "\nTime/Date\t+Thu Jan  1 00:00:00 1970", r"\nEntry 5 \w+ 0*[1-9a-f]\w+ Base Relocation",
                             rf"debug info file: {name}.debug\n +CRC value: {zlib.crc32(debug.read_bytes()):#x}\n"):
                    self.assertRegex(text, line)
                self.assertEqual(PROTECTIONS, re.search(r"\nDllCharacteristics.*\n((?:\t+.*\n)*)", text)[1].split())
                libraries = SYSTEM_LIBRARIES | (DIALOG_LIBRARIES if name == "FindwellDlg.dll" else set())
                self.assertLessEqual(set(re.findall("dll name: (.*).dll", text.lower())), libraries)
                self.assertIn(" .debug_info", self.output_of(OBJDUMP, "-h", debug))

    def test_resources(self):
        program = (BUILD / "bin/ScanKELV.exe").read_bytes()
        self.check_version(program, VERSION, FileDescription="ScanKELV device-list agent", CompanyName="Quellon",
                           InternalName="ScanKELV", OriginalFilename="ScanKELV.exe")
        self.assertRegex(program, rb'(?s)"asInvoker".*Common-Controls" version="6\.0\.0\.0".*>true</longPathAware>')


class Packages(ProductTest):
    CONTENTS = {"ScanKELV": "ScanKELV.exe docs/Formats.md docs/Integration.md docs/SearchLibrary.md"
                            " include/FindwellDlg.h samples/Debug.ini samples/ScanKELV.ini",
                "ScanKELV-simulator": "FindwellDlg.dll FindwellDlg.xml Hueward.exe"}
    ALWAYS = "SHA256SUMS licences/ScanKELV.txt licences/gcc-runtime.txt licences/mingw-w64-runtime.txt".split()
    LINKED = ["g++-mingw-w64-PROCESSOR-posix", "gcc-mingw-w64-PROCESSOR-posix", "mingw-w64-PROCESSOR-dev"]

    def test_contents_and_run(self):
        first, second, moved = WORK / "first", WORK / "second", WORK / "Büro Müller"
        for folder in first, second:
            self.output_of("scripts/package", "--uncommitted", "--output", folder, BUILD)
            self.output_of("sha256sum", "-c", "SHA256SUMS", folder=folder)
        self.assertEqual((first / "SHA256SUMS").read_bytes(), (second / "SHA256SUMS").read_bytes())
        for name, files in self.CONTENTS.items():
            (archive,) = first.glob(f"{name}-[0-9]*.zip")
            shutil.unpack_archive(archive, first)
            folder, bill = archive.with_suffix(""), files.split()[0] + ".cdx.json"
            found = sorted(str(path.relative_to(folder)) for path in folder.rglob("*") if path.is_file())
            self.assertEqual(sorted([bill, *files.split(), *self.ALWAYS]), found)
            linked = (folder / bill).read_text().replace(PROCESSOR.replace("_", "-"), "PROCESSOR")
            self.assertEqual(len(found) - 1, self.output_of("sha256sum", "-c", "SHA256SUMS", folder=folder).count("OK"))
            self.assertEqual(self.LINKED, sorted(re.findall('"library",\n *"name": "(.*)"', linked)))
            shutil.copytree(folder, moved, dirs_exist_ok=True)
        value = r"HKCU\Software\QLScan\Quellon Generic Scan Driver", "/v", "Address"
        self.output_of(*WINE, "reg", "add", *value, "/d", "none", "/f")
        self.output_of(*WINE, moved / "ScanKELV.exe", "/L", "en")
        self.assertRegex(self.output_of(*WINE, "reg", "query", *value), r"REG_SZ +192\.0\.2\.")


class Compilation(ProductTest):
    def test_formats_that_do_not_fit(self):
        file, call = WORK / "format.cpp", "void f(scankelv::LoggerTypeAbstract& log) {{ log.WriteLine({}); }}\n"
        for arguments, bad in ('"%d %ws %%", 7, L"wide"', 0), ('"%s", 7', 1):
            file.write_text('#include "LoggerTypeAbstract.h"\n' + call.format(arguments))
            text = self.output_of(COMPILER, "-fsyntax-only", "-std=c++20", f"-I{HERE}/diagnostics", file, exit_code=bad)
            self.assertEqual(bad, len(re.findall("error: call to .*FormatDoesNotFitItsArguments", text)), text)


class SecondVendor(ProductTest):
    FOLDER = HERE / "build/second-vendor"
    VALUES = {  # of vendor.cmake; the simulated library finds a device of the maker Brindle Optics
        "VERSION": "2.30.4.5", "COMPANY": 'Müller "& Söhne" \\ Co', "PRODUCT": 'a\\b "c"', "DESCRIPTION": "Brindle Agent",
        "COPYRIGHT": '"', "PROGRAM": "BrindleAgent", "LIBRARY": "BrindleSearch", "UPDATER": "BrindleColour",
        "SHORT_NAME": "BRN", "INSTALLATION_FOLDER": "Brindle Files", "UPGRADE_CODE": "{D5}", "DRIVER_STORE": "BrindleStore",
        "DEFAULT_PRODUCT": "Brindle Driver", "DATA_FOLDER": r"Brindle Data\Agent", "LOG_FOLDER": "Brindle Log",
        "INSTANCE_GUARD": "{8E92}"}
    CONSTANTS = {"Quellon": "Brindle Optics", "LANTERN": "CANDLE", "KELV.cjstyles": "BRN.cjstyles"}  # of Vendor.h
    OTHERS = rb"(?i)quellon|qlscan|lantern|kelv|findwelldlg|hueward|7a41c0d3"
    # Texts that stay: modules of Debug.ini, source files, signatures and types of C++.
    STAYING = rb"KELVClient|KELVFindwellLibrary|.*[.](cpp|h)|.*(\bscankelv::|8scankelv).*"

    def test_names_and_run(self):
        header = (HERE / "vendor/Vendor.h").read_text()
        for old, new in self.CONSTANTS.items():
            header = header.replace(f'L"{old}"', f'L"{new}"')
        (WORK / "Vendor.h").write_text(header)
        (WORK / "vendor.cmake").write_text("".join(map("set(VENDOR_{0[0]} [[{0[1]}]])\n".format, self.VALUES.items())))
        shutil.rmtree(self.FOLDER / "bin", ignore_errors=True)
        self.output_of("cmake", "--preset", BUILD.name, "-B", self.FOLDER, f"-DSCANKELV_VENDOR={WORK}")
        self.output_of("ninja", "-C", self.FOLDER, "ScanKELV", "FindwellDlg", "Hueward")
        program = (self.FOLDER / "bin/BrindleAgent.exe").read_bytes()
        self.check_version(program, "2.30.4.5", CompanyName=self.VALUES["COMPANY"], ProductName=self.VALUES["PRODUCT"],
                           FileDescription="Brindle Agent", LegalCopyright='"', OriginalFilename="BrindleAgent.exe")
        wide = [text[::2] for text in re.findall(rb"(?:[ -~]\0){4,}", program)]
        texts = [text for text in re.findall(rb"[ -~]{4,}", program) if not re.fullmatch(self.STAYING, text)] + wide
        self.assertEqual([], [text for text in texts if re.search(self.OTHERS, text)])
        self.output_of("scripts/package", "--uncommitted", "--output", WORK, self.FOLDER)
        self.assertEqual(2, len(list(WORK.glob("BrindleAgent*-2.30.4.5*.zip"))))

        wine, disk = ("env", f"SCANKELV_WINE_PREFIX={WORK}/prefix", *WINE), WORK / "prefix/drive_c"
        self.output_of(*wine, "cmd", "/c", "exit")
        (log,) = (user / "Brindle Log" for user in disk.glob("users/*/AppData/Local"))
        log.mkdir()
        (log / "Debug.ini").write_text("[Modules]\nAgent=2\nKELVClient=2\n")
        self.output_of(*wine, self.FOLDER / "bin/BrindleAgent.exe", "/L", "en")
        data = disk / "ProgramData"
        self.assertEqual({log / "Debug.ini", log / "Log.txt", data / "Brindle Data/Agent/device.xml",
                          data / "BrindleStore/Brindle Driver/Config.ini"},
                         {*data.rglob("*.*"), *log.parent.rglob("*.*")})
        for part in ("BrindleAgent version 2.30.04", "BRN process Id", "<vendor>Brindle Optics<", "CANDLE", "BRN.cjstyles",
                     "BrindleAgent.ini not found", "<xmldevicepath>BrindleAgent-", "BrindleColour finished normally"):
            self.assertIn(part, (log / "Log.txt").read_text(encoding="cp1252"))
        key = r"HKCU\Software\BrindleStore\Brindle Driver"
        self.assertIn("Brindle Flat 80", self.output_of(*wine, "reg", "query", key, "/v", "DeviceName"))


class Messages(ProductTest):
    """Each narrow text literal of the agent's sources is a text that it can write, but for these. A text is compared by
    the pieces between what varies, as some are written piece by piece; a piece has two letters at least."""
    NOT_WRITTEN = set("Changed|Config.ini|Debug.ini|DllGetVersion|FATAL|FindwellDlg.dll|Format|Log.txt|Modules|Online|"
                      "QLScan|Quellon Generic Scan Driver|ScanKELV|ShowModule|ShowThread|ShowTime|Software\\\\|UI_Mode|"
                      "[ScanKELV-EndOfFile] end=1|an argument is a number, an 8-bit or a wide text|diuxX|diuxXcsS|"
                      "savedAt".split("|"))
    LITERAL = re.compile(r"""//.*|#.*|'(?:\\.|[^'\\\n])+'|L"(?:\\.|[^"\\])*"(?:\s*L?"(?:\\.|[^"\\])*")*"""
                         r"""|((?:"(?:\\.|[^"\\])*"\s*)+)""")

    def pieces(self, text):
        found = {" ".join(piece.split()).strip(" :") for piece in text.split("…")}
        return {piece for piece in found if re.search("[A-Za-z]{2}", piece)}

    def test_every_text_has_an_entry_and_every_entry_a_text(self):
        written, entries = set(), set()
        settings = "".join(map(Path.read_text, HERE.glob("vendor/*.cmake")))
        names = dict(re.findall(r'set\((VENDOR_\w+) ["[]*(.*?)["\])]', settings))
        for folder in "diagnostics", "PlatformIsolation", "PlatformWindows":
            for file in (HERE / folder).rglob("*.[ch]*"):
                source = re.sub(r"\bVENDOR_\w+", lambda macro: f'"{names.get(macro[0])}"', file.read_text())
                for macro, value in re.findall(r'#define (\w+) (".*")', source):
                    source = re.sub(rf"\b{macro}\b", lambda _: value, source)
                for literal in self.LITERAL.findall(source):
                    text = "".join(re.findall(r'"((?:\\.|[^"\\])*)"', literal))
                    text = re.sub(r"\\x\w\w|\\[nr]", " ", text).replace('\\"', '"')
                    written |= self.pieces(re.sub(r"%[\d.-]*l?(ws|[a-zA-Z])", "…", text))
        for row in re.findall(r"^\|(.*?)\|", (HERE / "docs/Messages.md").read_text(), re.M):
            for text in re.findall("`(.*?)`", row):
                entries |= self.pieces(text)
        self.assertEqual(set(), written - entries - self.NOT_WRITTEN, "no entry in docs/Messages.md")
        self.assertEqual(set(), entries - written, "no such text in the sources")


class PlantedErrors(ProductTest):
    PROGRAM = BUILD / "tests/product/product_PlantedErrors.exe"

    def test_reports(self):
        for report, exit_code, names in (
                ("^$", 0, "NoError"), ("read of 4 bytes at .*PlantedErrors.exe[+]0x", 99, "GlobalRead StackAfterScope"),
                ("write of 4 bytes", 99, "StackWrite UseAfterDelete"), ("write of 9 byte", 99, "StackCopy"),
                ("read of 1 byte", 99, "HeapRead"), ("second release", 99, "SecondDelete"),
                ("__n < this->size", 3, "VectorIndex"), ("undefined behaviour", 99, "SignedOverflow")):
            for name in names.split():
                with self.subTest(name):
                    self.assertRegex(self.output_of(*WINE, self.PROGRAM, name, exit_code=exit_code), report)


shutil.rmtree(WORK, ignore_errors=True)
WORK.mkdir(parents=True)
unittest.main(argv=[sys.argv[0], CLASS])
