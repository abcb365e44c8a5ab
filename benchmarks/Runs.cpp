// Whole runs: the agent as a process on a machine that has seen it before, and the bare program on the same machine.
#include "Files.h"
#include "Works.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/wait.h>

extern char** environ;

namespace benchmarks
{
namespace
{

namespace fs = std::filesystem;
using Command = std::vector<std::string>;
using Environment = std::map<std::string, std::string>;

std::vector<char*> Pointers(std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

/// Runs a program and waits for its end. @return seconds
double RunTime(Command command, const Environment& additional, int exitCode)
{
    std::vector<std::string> environment;
    for (char** variable = environ; *variable != nullptr; ++variable)
        if (const std::string_view text = *variable; !additional.contains(std::string(text.substr(0, text.find('=')))))
            environment.emplace_back(text);
    for (const auto& [name, value] : additional)
        environment.push_back(name + "=" + value);
    const std::vector<char*> arguments = Pointers(command);
    const std::vector<char*> variables = Pointers(environment);

    ::posix_spawn_file_actions_t quiet;
    ::posix_spawn_file_actions_init(&quiet);
    ::posix_spawn_file_actions_addopen(&quiet, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    const auto begin = std::chrono::steady_clock::now();
    ::pid_t child = 0;
    int status = ::posix_spawnp(&child, arguments[0], &quiet, nullptr, arguments.data(), variables.data());
    if (status == 0 && ::waitpid(child, &status, 0) != child)
        status = errno;
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
    ::posix_spawn_file_actions_destroy(&quiet);
    while (::waitpid(-1, nullptr, 0) > 0) // what the run started ends before the next one
        continue;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != exitCode)
        throw std::runtime_error(command[0] + " " + command[1] + " ended with status " + std::to_string(status));
    return time.count();
}

/// A machine folder with an installation; the agent has run on it once, and what it left is kept beside it.
class Machine
{
public:
    Machine(const std::string& name, std::string_view settings, std::string_view log)
        : m_folder(WorkFolder() + "/" + name)
    {
        ::prctl(PR_SET_CHILD_SUBREAPER, 1);
        fs::create_directories(UserData());
        fs::create_directories(m_folder + "/recorded");
        fs::copy(INSTALLATION, Program(), fs::copy_options::recursive);
        fs::copy_file(BENCHMARK_PROGRAMS "/Nothing", Program() + "/Hueward.exe", fs::copy_options::overwrite_existing);
        WriteWhole(UserData() + "/Debug.ini", log);
        if (!settings.empty())
            WriteWhole(Program() + "/ScanKELV.ini", settings);
        // The library answers at once.
        std::string library = ReadWhole(Program() + "/FindwellDlg.xml");
        for (const char* element : {"<thread>own</thread>", "<delay>500</delay>"})
            if (const std::size_t at = library.find(element); at != std::string::npos)
                library.erase(at, std::string(element).size());
        WriteWhole(Program() + "/FindwellDlg.xml", library);
    }

    Command Agent(const Command& arguments) const { return With(Program() + "/ScanKELV", arguments); }
    Command Bare(const std::string& mode) const
    {
        return {BENCHMARK_PROGRAMS "/Run", mode, m_folder + "/recorded", Program()};
    }
    Command Hostreg(const Command& arguments) const { return With(Program() + "/hostreg", arguments); }

    double Run(const Command& command, int exitCode = 0, const Environment& additional = {}) const
    {
        for (const std::string& file : {LogFile(), m_folder + "/console.txt", m_folder + "/library.txt"})
            WriteWhole(file, "");
        Environment environment = {
            {"HOSTWINDOWS_ROOT", m_folder + "/machine"},
            {"HOSTWINDOWS_DEBUG_CONSOLE", m_folder + "/console.txt"},
            {"FINDWELL_RECORD", m_folder + "/library.txt"}};
        environment.insert(additional.begin(), additional.end());
        return RunTime(command, environment, exitCode);
    }
    /// Runs the agent once more and keeps what it left.
    void Record(const Command& command, int exitCode = 0) const
    {
        Run(command, exitCode);
        const std::string data = m_folder + "/machine/drive_c/ProgramData/";
        for (const std::string& file :
             {LogFile(), data + "Quellon/ScanKELV/device.xml", data + "QLScan/Quellon Generic Scan Driver/Config.ini"})
            if (fs::exists(file))
                fs::copy_file(
                    file, m_folder + "/recorded/" + fs::path(file).filename().string(),
                    fs::copy_options::overwrite_existing);
    }
    std::string Objects() const { return m_folder + "/machine/objects"; }
    std::string File(const char* name) const { return m_folder + "/" + name; }

private:
    static Command With(const std::string& program, const Command& arguments)
    {
        Command command = {program};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return command;
    }
    std::string Program() const { return m_folder + "/program"; }
    std::string UserData() const { return m_folder + "/machine/drive_c/Users/bench/AppData/Local/ScanKELV"; }
    std::string LogFile() const { return UserData() + "/Log.txt"; }

    std::string m_folder;
};

const char* const logToFile =
    "[Modules]\r\nAgent=2\r\nKELVClient=2\r\nKELVFindwellLibrary=2\r\n[Format]\r\nShowTime=1\r\nShowModule=1\r\n";
const char* const singleMode =
    "[Settings]\r\nProductName=Quellon Weir C40\r\nVendorName=Quellon\r\nModelName=Weir C40 Series\r\nMode=0\r\n";

/// A running agent, as another one sees it.
class RunningAgent
{
public:
    explicit RunningAgent(const Machine& machine)
        : m_path(machine.Objects() + "/local-{7A41C0D3-9E25-4B68-B1F4-53D2E6A0C917}"),
          m_file(::open(m_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600))
    {
        const int word = ::getpid();
        struct ::flock whole
        {
        };
        whole.l_type = F_RDLCK;
        if (::write(m_file, &word, sizeof(word)) != sizeof(word) || ::fcntl(m_file, F_OFD_SETLK, &whole) != 0)
            throw std::runtime_error("cannot hold " + m_path);
    }
    ~RunningAgent()
    {
        ::unlink(m_path.c_str());
        ::close(m_file);
    }
    RunningAgent(const RunningAgent&) = delete;
    RunningAgent& operator=(const RunningAgent&) = delete;

private:
    std::string m_path;
    int m_file;
};

using MachineOwner = std::shared_ptr<Machine>;

/// The machine is made when the work first runs.
class LazyMachine
{
public:
    explicit LazyMachine(std::function<MachineOwner()> make) : m_make(std::move(make)) {}
    const Machine& operator*()
    {
        if (!m_machine)
            m_machine = m_make();
        return *m_machine;
    }

private:
    std::function<MachineOwner()> m_make;
    MachineOwner m_machine;
};

Side Timed(std::function<double()> run)
{
    return [run = std::move(run)](benchmark::State& state) {
        for (auto _ : state)
            state.SetIterationTime(run());
    };
}

struct RunKind
{
    const char* name;
    const char* title;
    double goal;
    const char* mode; ///< of the bare program
    const char* settings;
    Command prepare; ///< arguments of the run before
    Command arguments;
    bool refused = false;
};

Work RunWork(const RunKind& kind)
{
    const auto machine = std::make_shared<LazyMachine>([kind] {
        auto made = std::make_shared<Machine>(kind.name, kind.settings, logToFile);
        made->Run(made->Agent(kind.prepare));
        std::unique_ptr<RunningAgent> other;
        if (kind.refused)
            other = std::make_unique<RunningAgent>(*made);
        made->Record(made->Agent(kind.arguments), kind.refused ? 1 : 0);
        return made;
    });
    const auto side = [kind, machine](auto command) {
        return Timed([kind, machine, command] {
            const Machine& on = **machine;
            std::unique_ptr<RunningAgent> other;
            if (kind.refused)
                other = std::make_unique<RunningAgent>(on);
            return on.Run(command(on), kind.refused ? 1 : 0);
        });
    };
    Work work{
        kind.name, kind.title, kind.goal, side([kind](const Machine& on) { return on.Agent(kind.arguments); }),
        side([kind](const Machine& on) { return on.Bare(kind.mode); })};
    work.processes = true;
    return work;
}

std::string Records(int count)
{
    std::string text = "Windows Registry Editor Version 5.00\r\n";
    for (int i = 0; i < count; ++i)
    {
        char number[8];
        std::snprintf(number, sizeof(number), "%03d", i);
        text += std::string("\r\n[HKEY_LOCAL_MACHINE\\Software\\Records\\Printer") + number + "]\r\n";
        for (const char* name :
             {"Address", "DeviceID", "DeviceName", "HostName", "Location", "MACAddress", "MDL", "MFG", "PortName"})
            text += std::string("\"") + name + "\"=\"192.0.2.41 Weir C40\"\r\n";
        text += "\"ConnectionType\"=dword:00000001\r\n\"PID\"=dword:00001c40\r\n\"VID\"=dword:00000f1d\r\n";
    }
    return text;
}

Work MultiSelectWork(const char* name, const char* title, int records)
{
    constexpr int few = 10;
    const auto side = [name = std::string(name)](const char* suffix, int count) {
        const auto machine = std::make_shared<LazyMachine>([=] {
            auto made = std::make_shared<Machine>(name + suffix, "", logToFile);
            WriteWhole(made->File("records.reg"), Records(count));
            made->Run(made->Hostreg({"import", made->File("records.reg")}));
            return made;
        });
        return Timed([machine] {
            const Machine& on = **machine;
            return on.Run(on.Agent({"/devicelist", "Software\\Records"}));
        });
    };
    Work work{name, title, 1.05, side("-many", records), side("-few", few)};
    work.projectUnits = records;
    work.floorUnits = few;
    work.processes = true;
    return work;
}

Work StartWork()
{
    const auto start = [](const std::string& program) {
        return Timed([program] {
            return RunTime({program, ""}, {{"LD_PRELOAD", BENCHMARK_PROGRAMS "/libToMain.so"}}, 0);
        });
    };
    Work work{
        "start", "start of the program, to main; an empty one of the same libraries", 1.1,
        start(INSTALLATION "/ScanKELV"), start(BENCHMARK_PROGRAMS "/Nothing")};
    work.processes = true;
    return work;
}

} // namespace

std::vector<Work> RunWorks()
{
    const Command dialog = {"/L", "en"};
    const RunKind kinds[] = {
        {"run-single", "whole dialog run, single-model mode; the bare program", 1.1, "dialog", singleMode, dialog,
         dialog},
        {"run-generic", "whole dialog run, generic mode, Config.ini written once", 1.25, "generic", "", dialog, dialog},
        {"run-refused", "run refused because another agent runs", 1.1, "refused", "", dialog, dialog, true},
        {"run-online", "online testing run", 1.1, "online", "", dialog, {"/Q"}},
        {"run-stored-ui", "run that the stored UI mode ends", 1.1, "stored", "", dialog, {"/U"}},
    };
    std::vector<Work> works;
    for (const RunKind& kind : kinds)
        works.push_back(RunWork(kind));
    works.push_back(MultiSelectWork("records-100", "multi-select run, for each of 100 records; of 10", 100));
    works.push_back(MultiSelectWork("records-1000", "for each of 1,000 records; of 10", 1000));
    works.push_back(StartWork());
    return works;
}

} // namespace benchmarks
