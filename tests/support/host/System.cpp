#include "System.h"

#include "host/Linux.h"
#include <cstdlib>

namespace test
{
namespace
{

namespace fs = std::filesystem;

const char* const consoleVariable = "HOSTWINDOWS_DEBUG_CONSOLE";
const char* const machineVariable = "HOSTWINDOWS_ROOT";
std::string consoleFile;
std::vector<std::string> consoleCalls; ///< of this process; the file does not tell them apart
int tones = 0;

std::string NewFolder()
{
    std::string pattern = (fs::temp_directory_path() / "scankelv-XXXXXX").string();
    EXPECT_NE(nullptr, ::mkdtemp(pattern.data()));
    return pattern;
}

} // namespace

int OnOwnMachine(const std::function<int()>& tests)
{
    const std::string machine = NewFolder();
    consoleFile = machine + "/console";
    ::setenv(machineVariable, machine.c_str(), 1);
    const int result = tests();
    std::error_code ignored;
    fs::remove_all(machine, ignored);
    return result;
}

TemporaryFolder::TemporaryFolder() : m_path(ToWide("Z:" + NewFolder()))
{
    std::replace(m_path.begin(), m_path.end(), OLESTR('/'), OLESTR('\\'));
}

TemporaryFolder::~TemporaryFolder()
{
    const std::string path = LinuxPath(m_path);
    std::error_code ignored;
    for (const auto& entry : fs::recursive_directory_iterator(path, ignored))
        if (!entry.is_symlink())
            fs::permissions(entry, fs::perms::owner_all, fs::perm_options::add, ignored);
    fs::remove_all(path, ignored);
}

// The linker puts these before the stand-in's own.
extern "C" void __real_OutputDebugStringA(LPCSTR text);
extern "C" void __wrap_OutputDebugStringA(LPCSTR text)
{
    consoleCalls.emplace_back(text);
    __real_OutputDebugStringA(text);
}
extern "C" BOOL __wrap_Beep(DWORD /*hertz*/, DWORD /*milliseconds*/)
{
    ++tones;
    ::SetLastError(ERROR_INVALID_FUNCTION); // as on a machine that cannot
    return FALSE;
}

void CopyFileTo(const Wide& from, const Wide& to)
{
    std::error_code error;
    fs::copy_file(LinuxPath(from), LinuxPath(to), fs::copy_options::overwrite_existing, error);
    EXPECT_FALSE(error) << ToUtf8(from) << ": " << error.message();
}

void SetReadOnly(const Wide& path, bool readOnly)
{
    constexpr fs::perms everybody = fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
    std::error_code ignored;
    if (readOnly)
        fs::permissions(LinuxPath(path), everybody, fs::perm_options::remove, ignored);
    else
        fs::permissions(LinuxPath(path), fs::perms::owner_write, fs::perm_options::add, ignored);
}

DebugConsoleCapture::DebugConsoleCapture()
{
    Clear();
    ::setenv(consoleVariable, consoleFile.c_str(), 1);
}

DebugConsoleCapture::~DebugConsoleCapture()
{
    ::unsetenv(consoleVariable);
}

void DebugConsoleCapture::Clear()
{
    consoleCalls.clear();
    tones = 0;
    std::ofstream(consoleFile, std::ios::trunc); // and not removed: who writes it keeps it open
}

std::vector<std::string> DebugConsoleCapture::Calls() const
{
    return consoleCalls;
}

int DebugConsoleCapture::Tones() const
{
    return tones;
}

const DWORD startFlags = 0;

std::string ConsoleUntilTheEnd(const PROCESS_INFORMATION& process)
{
    if (::WaitForSingleObject(process.hProcess, patience) != WAIT_OBJECT_0)
        Abandon(process);
    return FileText(consoleFile);
}

} // namespace test
