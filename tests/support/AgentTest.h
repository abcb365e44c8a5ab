// What the tests of the agent's own functions share.
#pragma once

#include "AgentOptions.h"
#include "CaseName.h"
#include "Loggers.h"
#include "ResourceLocation.h"
#include "TestSupport.h"

#include <objbase.h>

namespace test
{

/// COM, the "Agent" logger on the debugger console, and a registry of its own.
struct AgentTest : testing::Test
{
    static void SetUpTestSuite()
    {
        ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
        // A logger reads Debug.ini once, when it is created.
        const std::filesystem::path settings = scankelv::WideFromNarrow(scankelv::DebugIniLocation().View());
        std::filesystem::create_directories(settings.parent_path());
        WriteFileBytes(settings.native(), "[Modules]\r\nAgent=1\r\n");
        scankelv::AgentLogger();
        scankelv::DebugConsoleLogger();
        ::DeleteFileW(settings.c_str());
    }
    static void TearDownTestSuite() { ::CoUninitialize(); }

    /// The record of a command line, and of a settings file when the lines of its section are given.
    static scankelv::AgentOptions Options(const std::wstring& commands, std::string_view settings = {})
    {
        const TemporaryFolder folder;
        const std::wstring file = folder.File(L"ScanKELV.ini");
        if (!settings.empty())
            WriteFileBytes(file, "[Settings]\r\n" + std::string(settings));
        return scankelv::AgentOptions::Build(file.c_str(), (L"agent " + commands).c_str()).value();
    }

    const PrivateRegistry m_registry;
};

} // namespace test
