// Processes FOLDER   whole runs of the agent in the folder, beside the cheapest programs with the same results.
#include "Ratio.h"
#include "TestSupport.h"

namespace
{

void Run(const std::wstring& program, const wchar_t* arguments)
{
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process{};
    std::wstring line = L"\"" + program + L"\" " + arguments;
    DWORD exitCode = 1;
    if (::CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process) != 0)
    {
        ::WaitForSingleObject(process.hProcess, INFINITE);
        ::GetExitCodeProcess(process.hProcess, &exitCode);
        ::CloseHandle(process.hThread);
        ::CloseHandle(process.hProcess);
    }
    if (exitCode != 0)
    {
        std::printf("%ls ended with %lu: nothing was measured.\n", line.c_str(), exitCode);
        std::exit(1);
    }
}

/// What a run leaves; the time of storing is any time.
std::string Left()
{
    std::string left = test::StoredValues(HKEY_CURRENT_USER, L"Software\\QLScan\\Quellon Generic Scan Driver");
    left = left.substr(0, left.find("savedAt=")) +
           left.substr(std::min(left.find("\n", left.find("savedAt=")), left.size()));
    for (const wchar_t* const file :
         {L"QLScan\\Quellon Generic Scan Driver\\Config.ini", L"Quellon\\ScanKELV\\device.xml"})
        left += test::ReadFileBytes(std::wstring(L"C:\\ProgramData\\") + file);
    return left;
}

/// Either side is first in every other round. @param pause  milliseconds behind each, in which the updater ends
benchmark::Answer Compare(int rounds, DWORD pause, const benchmark::Side& ours, const benchmark::Side& theirs)
{
    benchmark::Answer answer;
    for (int round = 0; round < rounds; ++round)
    {
        const bool isOursFirst = round % 2 == 0;
        const double first = benchmark::Microseconds(isOursFirst ? ours : theirs);
        ::Sleep(pause);
        const double second = benchmark::Microseconds(isOursFirst ? theirs : ours);
        ::Sleep(pause);
        answer.ours.push_back(isOursFirst ? first : second);
        answer.ratios.push_back(isOursFirst ? first / second : second / first);
    }
    return answer;
}

} // namespace

int wmain(int, wchar_t** arguments)
{
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    const std::wstring folder = arguments[1], agent = folder + L"\\ScanKELV.exe", cheapest = folder + L"\\Cheapest.exe";
    Run(agent, L"/L en"); // from now on a device is stored
    Run(agent, L"/L en");
    const std::string left = Left();
    Run(cheapest, L"");
    if (const std::string other = Left(); other != left)
    {
        std::printf("Not the same results: nothing was measured.\n%s\n%s\n", left.c_str(), other.c_str());
        return 1;
    }
    benchmark::Print(
        "generic run, the cheapest program with its results", 1.05,
        Compare(
            31, 150, [&] { Run(agent, L"/L en"); }, [&] { Run(cheapest, L""); }));
    benchmark::Print(
        "start to the first call of the library, the least before it", 1.05,
        Compare(
            61, 0, [&] { Run(agent, L"/L en /first"); }, [&] { Run(cheapest, L"/first"); }));
    return 0;
}
