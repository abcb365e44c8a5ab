"""The machine of a benchmark: an installation and a machine folder, and runs of programs on it."""
import contextlib
import fcntl
import getpass
import os
import re
import shutil
import struct

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
DEBUG_INI = "[Modules]\r\nAgent=2\r\nKELVClient=2\r\nKELVFindwellLibrary=2\r\n[Format]\r\nShowTime=1\r\nShowModule=1\r\n"
SINGLE = "[Settings]\r\nProductName=Quellon Weir C40\r\nVendorName=Quellon\r\nModelName=Weir C40 Series\r\nMode=0\r\n"
DIALOG = ["/L", "en"]
TEXT_END = (r'(?<=Module )|(?= logs to )|(?<=file ")|(?="\. For)|(?=\. (?:For settings|Logging))|(?<=see: )|(?<=}: )'
            r'|(?<!exist[.!])(?=\r\n)|(?<=\n)(?!\Z)')
# The settings, the run before, the run itself, and whether another agent is there to refuse it.
KINDS = {
    "single": (SINGLE, DIALOG, DIALOG, False),
    "generic": ("", DIALOG, DIALOG, False),
    "refused": ("", DIALOG, DIALOG, True),
    "online": ("", DIALOG, ["/Q"], False),
    "stored-ui": ("", DIALOG, ["/U"], False),
}


def write(path, text):
    with open(path, "w", encoding="latin-1", newline="") as file:
        file.write(text)


def read(path):
    """The bytes of a file as a text, whatever their code page."""
    with open(path, encoding="latin-1", newline="") as file:
        return file.read()


class Machine:
    """Both sides run in one environment that holds nothing else: what a process is given costs time and calls too."""

    awaits_all = True  # what a run started and did not wait for ends before the next one

    def __init__(self, folder, programs, updater, settings=""):
        self.prepare(folder)
        shutil.copytree(programs, self.program)
        shutil.copy(updater, self.program + "/Hueward.exe")
        library = self.program + "/FindwellDlg.xml"
        write(library, re.sub("<thread>own</thread>|<delay>500</delay>", "", read(library)))  # it answers at once
        os.makedirs(self.data, exist_ok=True)
        write(self.data + "/Debug.ini", DEBUG_INI)
        if settings:
            write(self.program + "/ScanKELV.ini", settings)

    def prepare(self, folder):
        self.folder, self.program, self.drive_c = folder, folder + "/program", folder + "/machine/drive_c"
        self.data = self.drive_c + "/Users/bench/AppData/Local/ScanKELV"
        self.environment = {
            "HOSTWINDOWS_ROOT": folder + "/machine", "HOSTWINDOWS_DEBUG_CONSOLE": folder + "/console.txt",
            "FINDWELL_RECORD": folder + "/library.txt", "LOGNAME": "bench", "HOME": folder, "TZ": "UTC"}

    def agent(self, arguments):
        return [self.program + "/ScanKELV", *arguments]

    def run(self, command, code=0, **more):
        """One run, from empty logs. Returns the processor's time in seconds."""
        for file in (self.data + "/Log.txt", self.folder + "/console.txt", self.folder + "/library.txt"):
            write(file, "")
        return run(command, {**self.environment, **more}, code, self.awaits_all)

    def record(self, arguments, code=0):
        """Runs the agent and keeps what it left, for the bare program to leave the same."""
        self.run(self.agent(arguments), code)
        os.makedirs(self.folder + "/recorded", exist_ok=True)
        data = self.drive_c + "/ProgramData/"
        for file in (self.data + "/Log.txt", self.folder + "/console.txt", self.folder + "/library.txt", data + "Quellon/ScanKELV/device.xml",
                     data + "QLScan/Quellon Generic Scan Driver/Config.ini"):
            if os.path.exists(file):
                shutil.copy(file, self.folder + "/recorded")
        console = self.folder + "/recorded/console.txt"
        if os.path.exists(console):  # where one text ends that a logger hands over, and the next begins
            write(console, re.sub(TEXT_END, "\0", read(console)))
        log = read(self.folder + "/recorded/Log.txt")
        filter_text = re.search(r"contentFilterOption.*?(<\?xml.*?</option>)", log, re.DOTALL)
        if filter_text:
            write(self.folder + "/recorded/Filter.xml", filter_text[1] + "\r\n")


class WineMachine(Machine):
    """The same in a Wine prefix that stays warm until the end."""

    awaits_all = False  # as Wine's own processes stay
    wine, server = "/usr/lib/wine/wine64", "/usr/lib/wine/wineserver64"

    def prepare(self, folder):
        prefix = ROOT + "/build/wine/benchmarks"
        self.folder, self.program, self.drive_c = folder, folder + "/program", prefix + "/drive_c"
        self.environment = {
            "WINEPREFIX": prefix, "WINEDEBUG": "-all", "WINEDLLOVERRIDES": "mscoree,mshtml=", "LC_ALL": "C.UTF-8",
            "FINDWELL_RECORD": self.windows_path("library.txt"), "HOME": folder, "TZ": "UTC"}
        os.makedirs(prefix, exist_ok=True)
        self.server_process = os.posix_spawn(self.server, [self.server, "-f", "-p"], self.environment)
        run([self.wine, "wineboot", "-u"], self.environment, awaits_all=False)
        self.data = f"{self.drive_c}/users/{getpass.getuser()}/AppData/Local/ScanKELV"

    def windows_path(self, name):
        return "Z:" + (self.folder + "/" + name).replace("/", "\\")

    def agent(self, arguments):
        return [self.wine, self.program + "/ScanKELV.exe", *arguments]

    def run(self, *command, **more):
        before = self.served()
        return super().run(*command, **more) + self.served() - before

    def served(self):
        """The processor's time that the server has taken, which does its part of the work."""
        return int(read(f"/proc/{self.server_process}/schedstat").split()[0]) * 1e-9

    def end(self):
        run([self.server, "-k"], self.environment, awaits_all=False)


def run(command, environment, code=0, awaits_all=True):
    quiet = [(os.POSIX_SPAWN_OPEN, output, "/dev/null", os.O_WRONLY, 0) for output in (1, 2)]
    process = os.posix_spawn(command[0], command, environment, file_actions=quiet)
    # On a machine that others use too, a clock would tell how long one stood in the queue.
    os.waitid(os.P_PID, process, os.WEXITED | os.WNOWAIT)
    own_time = int(read(f"/proc/{process}/schedstat").split()[0]) * 1e-9
    _, status, usage = os.wait4(process, 0)
    with contextlib.suppress(ChildProcessError):
        while awaits_all:
            os.wait()
    if os.waitstatus_to_exitcode(status) != code:
        raise RuntimeError(f"{' '.join(command)} ended with {os.waitstatus_to_exitcode(status)}, not {code}")
    # The usage holds an updater that ended soon enough to be waited for: by chance, and half as long as the run itself.
    # A Windows program has more threads than one.
    return own_time if awaits_all else usage.ru_utime + usage.ru_stime


class OtherAgent:
    """While it lasts, a running agent as other ones see it: a word in a file that is locked."""

    def __init__(self, machine):
        objects = machine.folder + "/machine/objects"
        self.path = objects + "/local-{7A41C0D3-9E25-4B68-B1F4-53D2E6A0C917}"
        os.makedirs(objects, exist_ok=True)

    def __enter__(self):
        self.file = os.open(self.path, os.O_RDWR | os.O_CREAT, 0o600)
        os.write(self.file, struct.pack("i", os.getpid()))
        fcntl.flock(self.file, fcntl.LOCK_SH)

    def __exit__(self, *_):
        os.unlink(self.path)
        os.close(self.file)
