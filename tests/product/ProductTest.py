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

    def test_version_and_texts_of_a_vendor(self):
        texts = {"CompanyName": 'Müller "& Söhne" \\ Co', "ProductName": 'a\\b "c"', "LegalCopyright": '"'}
        options = map("-DVERSION_{}={}".format, ("COMPANY_NAME", "PRODUCT_NAME", "COPYRIGHT"), texts.values())
        self.output_of("cmake", "--preset", BUILD.name, "-B", WORK / "vendor", "-DSCANKELV_VERSION=2.30.4.5", *options)
        resource = "PlatformWindows/Agent/CMakeFiles/ScanKELV.dir/ScanKELV.rc.res"
        self.output_of("ninja", "-C", WORK / "vendor", resource)
        self.check_version((WORK / "vendor" / resource).read_bytes(), "2.30.4.5", **texts)


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
