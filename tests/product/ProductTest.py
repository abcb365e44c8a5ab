"""The built programs and packages: ProductTest.py BUILD PROCESSOR COMPILER OBJDUMP VERSION CLASS[.test_NAME]."""
import os, re, shutil, struct, subprocess, sys, threading, time, unittest, zlib
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
        for name, subsystem in {"ScanKELV.exe": "GUI", "ScanKELVGuard.exe": "CUI", "FindwellDlg.dll": "CUI",
                                "Hueward.exe": "GUI"}.items():
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
        self.assertLess((BUILD / "bin/ScanKELV.exe").stat().st_size, 350_000)

    def test_resources(self):
        program = (BUILD / "bin/ScanKELV.exe").read_bytes()
        self.check_version(program, VERSION, FileDescription="ScanKELV device-list agent", CompanyName="Quellon",
                           InternalName="ScanKELV", OriginalFilename="ScanKELV.exe")
        self.assertRegex(program, rb'(?s)"asInvoker".*Common-Controls" version="6\.0\.0\.0".*>true</longPathAware>')

    def test_words_of_the_guard(self):
        for words, exit_code, text in (("", 2, "usage:"), ("/wait", 2, "usage:"), ("/wait 1x cmd", 2, "usage:"),
                                       ("no.exe /x", 2, "cannot start no.exe /x (error 2)"), ("cmd /c exit 7", 7, "")):
            guard = *WINE, BUILD / "bin/ScanKELVGuard.exe", *words.split()
            self.assertIn(text, self.output_of(*guard, exit_code=exit_code), words)


class Packages(ProductTest):
    TESTS = [f"tests/{path.name}" for path in BUILD.glob("tests/*_*.exe")]
    HAS = {"ScanKELV": ["symbols/ScanKELV.exe.debug", "symbols/ScanKELVGuard.exe.debug", "samples/ScanKELV.ini"],
           "ScanKELV-tests": [*TESTS, "licences/googletest.txt", "run-tests.cmd", "docs/OnWindows.md"],
           "ScanKELV-library-kit": ["docs/SearchLibrary.md", "licences/gcc-runtime.txt", "licences/ScanKELV.txt"]}
    LINKED = {"g++-mingw-w64-PROCESSOR-posix", "gcc-mingw-w64-PROCESSOR-posix", "mingw-w64-PROCESSOR-dev"}

    def test_contents_and_run(self):
        first, second, moved = WORK / "first", WORK / "second", WORK / "Büro Müller"
        for folder in first, second:
            self.output_of("scripts/package", "--uncommitted", "--output", folder, BUILD)
            self.output_of("sha256sum", "-c", "SHA256SUMS", folder=folder)
        self.assertEqual((first / "SHA256SUMS").read_bytes(), (second / "SHA256SUMS").read_bytes())
        for name, files in self.HAS.items():
            (archive,) = first.glob(f"{name}-[0-9]*.zip")
            shutil.unpack_archive(archive, first)
            folder = archive.with_suffix("")
            found = {str(path.relative_to(folder)) for path in folder.rglob("*") if path.is_file()}
            bills = {file + ".cdx.json" for file in found if re.match("(?!tests).*(exe|dll)$", file)}
            self.assertLessEqual({*bills, *files}, found)
            self.assertEqual(len(found) - 1, self.output_of("sha256sum", "-c", "SHA256SUMS", folder=folder).count("OK"))
            for bill in bills:
                linked = (folder / bill).read_text().replace(PROCESSOR.replace("_", "-"), "PROCESSOR")
                self.assertEqual(self.LINKED, set(re.findall('"library",\n *"name": "(.*)"', linked)))
        folder.rename(moved)
        (recipe,) = re.findall("```sh\n(.*?)```", (moved / "docs/SearchLibrary.md").read_text(), re.S)
        value = r"HKCU\Software\QLScan\Quellon Generic Scan Driver", "/v", "Address"
        for address in "192.0.2.41", "192.0.2.7":  # of the simulator, of the smallest library
            self.output_of(*WINE, "reg", "add", *value, "/d", "none", "/f")
            self.output_of(*WINE, moved / "simulator/ScanKELV.exe", "/L", "en")
            self.assertRegex(self.output_of(*WINE, "reg", "query", *value), f"REG_SZ +{address}\\b")
            self.output_of("sh", "-ec", recipe.replace("x86_64", PROCESSOR), folder=moved)


class Installers(ProductTest):
    """Made and signed as the page says, and tried by its recipes, in a machine of their own."""
    PAGE, WORD = (HERE / "docs/Integration.md").read_text(), {"i686": "x86", "x86_64": "x64"}[PROCESSOR]
    RECIPES = re.findall("^(?:ScanKELVGuard.* /|copy ).*$", PAGE, re.M)
    PRODUCT = "Quellon Generic Scan Driver"
    SETTINGS = f"[Settings]\nProductName={PRODUCT}\nVendorName=Quellon\nProductId=0\nMode=1\n"

    def shell(self, folder, name, *replaced):
        """Runs the page's recipe that mentions the name."""
        (recipe,) = (block for block in re.findall("```sh\n(.*?)```", self.PAGE, re.S) if name in block)
        for old, new in replaced:
            recipe = recipe.replace(old, new)
        self.output_of("sh", "-ec", recipe, folder=folder)

    def recipe(self, media, lines, **arguments):
        text = "\r\n".join(["@echo off", *lines, "exit /b %ERRORLEVEL%", ""])
        (WORK / media / "step.cmd").write_text(text.replace(r"C:\Program Files\ScanKELV", "%FOLDER%"))
        return self.output_of(*WINE, "cmd", "/c", "step.cmd", folder=WORK / media, **arguments)

    def installed(self):
        return {path.name: zlib.crc32(path.read_bytes()) for path in self.place.glob("[!U]*")}

    def verify(self, files):
        for file in files:
            self.output_of("osslsigncode", "verify", "-CAfile", "certificate.pem", "-in", file, folder=WORK)

    def make(self, name, patch):
        """Installers of an agent of another version."""
        program = bytearray((self.package / "ScanKELV.exe").read_bytes())
        struct.pack_into("<H", program, program.index(b"\xbd\x04\xef\xfe") + 14, patch)
        (self.package / "ScanKELV.exe").write_bytes(program)
        self.shell(self.package, "make-msi", (" x64 ", f" {self.WORD} "), ("=x64", f"={self.WORD}"))
        shutil.copytree(WORK / "old", WORK / name)
        for installer in self.package.glob("ScanKELV[.-][ms]*"):
            shutil.copy(installer, WORK / name)
        return {path.name: zlib.crc32(path.read_bytes()) for path in self.package.glob("programs/*.[ed][xl][el]")}

    def while_an_agent_runs(self, media, lines, unguarded=()):
        (WORK / "record").write_text("")
        agent = subprocess.Popen((*WINE, os.environ["FOLDER"] + r"\ScanKELV.exe", "/Q"))
        while "QueryDeviceAddress" not in (WORK / "record").read_text():
            self.assertIsNone(agent.poll())
            time.sleep(0.1)
        before = self.installed()
        for line in unguarded:
            self.recipe(media, [line], exit_code=2)
        refusal = self.recipe(media, [line.replace("/wait 60", "/wait 0") for line in lines], exit_code=1)
        self.assertRegex(refusal, r"process \d+ still runs: .*\\ScanKELV.exe")
        self.assertEqual(before, self.installed())
        timer = threading.Timer(1, (self.place / "go").touch)  # until then the agent runs
        timer.start()
        self.recipe(media, lines)
        self.assertEqual((True, 0), (timer.finished.is_set(), agent.wait(60)))
        (self.place / "go").unlink()

    def try_out(self, folder, install, repair, remove, refused, failing=(), unguarded=()):
        """To fail: installations of media in failing, and without the guard while an agent runs."""
        os.environ["FOLDER"], self.place = folder, WORK / "prefix/drive_c" / folder[3:].replace("\\", "/")
        self.output_of(*WINE, "reg", "add", rf"HKLM\Software\QLScan\{self.PRODUCT}", "/f")
        self.recipe("old", install)
        self.assertEqual(self.SETTINGS, (self.place / "ScanKELV.ini").read_text())
        self.verify(self.place.glob("*.exe"))
        self.recipe("old", [agent := '"%FOLDER%\\ScanKELV.exe" /L en'])
        (self.place / "ScanKELV.ini").write_text(self.SETTINGS + "; the administrator's")
        old = self.installed()
        for media in failing:
            self.recipe(media, install, exit_code=refused)
            self.assertEqual(old, self.installed(), media)
        self.while_an_agent_runs("new", install, unguarded)
        new = self.installed()
        self.assertEqual({**self.new, "ScanKELV.ini": old["ScanKELV.ini"]}, new)
        (self.place / "Hueward.exe").unlink()
        self.recipe("new", repair)
        self.assertEqual(new, self.installed())
        self.assertEqual("", self.recipe("new", ["ScanKELVGuard.exe " + agent], exit_code=1))  # refused by the agent
        self.while_an_agent_runs("new", remove)
        self.assertIn("Address", self.output_of(*WINE, "reg", "query", rf"HKCU\Software\QLScan\{self.PRODUCT}"))
        stored = WORK / f"prefix/drive_c/ProgramData/QLScan/{self.PRODUCT}/Config.ini"
        for name in "..", self.PRODUCT:
            self.assertTrue(stored.exists())
            self.recipe("new", install)
            devices = f'REMOVEDEVICES="{name}"'
            self.recipe("new", [line.replace("/qn", "/qn " + devices).replace("/S", "/S /" + devices) for line in remove])
        for root in "HKCU", "HKLM":
            self.output_of(*WINE, "reg", "query", rf"{root}\Software\QLScan\{self.PRODUCT}", exit_code=1)
        self.assertFalse(self.place.exists())
        left = [str(path) for path in (WORK / "prefix/drive_c/ProgramData").rglob("*")]
        left.append(self.output_of(*WINE, "reg", "query", r"HKLM\Software", "/s"))
        self.assertEqual([], re.findall(".*(?:ScanKELV|Quellon|/QLScan).*", "\n".join(left)))

    def test_life(self):
        self.output_of(*"openssl req -x509 -newkey rsa:2048 -nodes -keyout key.pem -out certificate.pem".split(),
                       *"-days 2 -subj /CN=Test -addext extendedKeyUsage=codeSigning".split(), folder=WORK)
        packing = f"{HERE}/scripts/package --uncommitted --output packages --sign ./sign {BUILD}"
        self.shell(WORK, "osslsigncode", ("scripts/package --sign ./sign", packing))
        for archive in WORK.glob("packages/*.zip"):
            shutil.unpack_archive(archive, WORK)
        (self.package,), (kit,), (tests,) = (WORK.glob(f"ScanKELV-{name}*") for name in ("[0-9]", "library", "tests"))
        (msi,), (setup,) = WORK.glob("packages/*.msi"), WORK.glob("packages/*.exe")
        self.verify([msi, *WORK.glob("*/*.exe"), *kit.glob("*/*.exe"), *kit.glob("*/*.dll")])
        os.environ["SCANKELV_WINE_PREFIX"] = f"{WORK}/prefix"
        run = *WINE, "cmd", "/c", "run-tests.cmd", "/y"
        self.assertEqual(len(Packages.TESTS), self.output_of(*run, folder=tests).count(", 0 failed, exit code 0"))
        for make, place in (("reg add {} /f", r"HKCU\Software\QLScan"), ("cmd /c mkdir {}", r"C:\ProgramData\Quellon"),
                            ("reg add {} /f /reg:32", r"HKLM\Software\QLScan")):
            self.output_of(*WINE, *make.format(place).split())
            self.assertEqual([place], re.findall(r"(\S+) exists", self.output_of(*run, exit_code=2, folder=tests)))
            self.output_of(*WINE, *make.replace("add", "delete").replace("mk", "rm").format(place).split())
        settings = (kit / "simulator/FindwellDlg.xml").read_text()
        (WORK / "settings").write_text(settings.replace("<delay>500</delay>", "<until>go</until>"))
        for name in "FINDWELL_SETTINGS", "FINDWELL_RECORD", "HUEWARD_RECORD":
            os.environ[name] = f"Z:{WORK}/" + name.split("_")[1].lower()
        shutil.copytree(kit / "simulator", self.package / "programs", ignore=shutil.ignore_patterns("ScanKELV*"))
        (WORK / "old").mkdir()
        (WORK / "old/ScanKELV.ini").write_text(self.SETTINGS)
        for file, name in (msi, ".msi"), (setup, "-setup.exe"), (self.package / "ScanKELVGuard.exe", "Guard.exe"):
            shutil.copy(file, WORK / f"old/ScanKELV{name}")
        patch = int(VERSION.split(".")[2])
        self.make("older", patch - 1)
        self.new = self.make("new", patch + 1)
        files = self.output_of("msiinfo", "export", WORK / "new/ScanKELV.msi", "File")  # Wine needs no versions
        self.assertRegex(files, rf"ScanKELV.exe\t\d+\t1\.1\.{patch + 1}\.0\t1033")
        shutil.copytree(WORK / "new", WORK / "broken")
        for insert in ("CustomAction (Action, Type, Source, Target) VALUES ('Fail', 19, '', 'no')",
                       "InstallExecuteSequence (Action, Condition, Sequence) VALUES ('Fail', 'NOT Installed', 1450)"):
            self.output_of("msibuild", WORK / "broken/ScanKELV.msi", "-q", "INSERT INTO " + insert)
        msi_install, msi_repair, msi_remove, setup_install, *setup_remove = self.RECIPES
        with self.subTest("msi"):
            refused = 1603 % 256  # what arrives of an exit code
            self.try_out(r"C:\Büro Müller", [msi_install], [msi_repair], [msi_remove], refused, ["older", "broken"])
        with self.subTest("nsis"):
            unguarded = setup_install.removeprefix("ScanKELVGuard.exe /wait 60 ")
            repair = install = [setup_install]
            self.try_out(r"C:\Program Files\ScanKELV", install, repair, setup_remove, 2, ["older"], [unguarded])


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
        "SHORT_NAME": "BRN", "INSTALLATION_FOLDER": "Brindle Files", "DRIVER_STORE": "BrindleStore",
        "UPGRADE_CODE": "{D5A0C8B1-58E5-4C1E-8A55-0E6B0D2E8F11}", "DEFAULT_PRODUCT": "Brindle Driver", "DATA_FOLDER": r"Brindle Data\Agent", "LOG_FOLDER": "Brindle Log",
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
        self.output_of("ninja", "-C", self.FOLDER, "ScanKELV", "Guard", "FindwellDlg", "Hueward")
        program = (self.FOLDER / "bin/BrindleAgent.exe").read_bytes()
        self.check_version(program, "2.30.4.5", CompanyName=self.VALUES["COMPANY"], ProductName=self.VALUES["PRODUCT"],
                           FileDescription="Brindle Agent", LegalCopyright='"', OriginalFilename="BrindleAgent.exe")
        wide = [text[::2] for text in re.findall(rb"(?:[ -~]\0){4,}", program)]
        texts = [text for text in re.findall(rb"[ -~]{4,}", program) if not re.fullmatch(self.STAYING, text)] + wide
        self.assertEqual([], [text for text in texts if re.search(self.OTHERS, text)])
        self.output_of("scripts/package", "--uncommitted", "--output", WORK, self.FOLDER)
        self.assertEqual(4, len(list(WORK.glob("BrindleAgent*-2.30.4.5*.*"))))
        shutil.unpack_archive(next(WORK.glob("BrindleAgent-[0-9]*.zip")), WORK)
        sources = "".join(file.read_text() for file in WORK.glob("*/installers/*"))
        self.assertEqual([], re.findall(self.OTHERS.decode(), sources))

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


if (WORK / "prefix").exists():  # of an earlier run: its server must not serve the next prefix
    subprocess.run(["wineserver", "-k"], env={**os.environ, "WINEPREFIX": WORK / "prefix"}, stderr=subprocess.DEVNULL)
shutil.rmtree(WORK, ignore_errors=True)
WORK.mkdir(parents=True)
unittest.main(argv=[sys.argv[0], CLASS])
