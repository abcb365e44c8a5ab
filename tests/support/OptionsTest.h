// What the tests of the options and of the rooms above them share.
#pragma once

#include "AgentOptions.h"
#include "AgentTest.h"

namespace test
{

class OptionsTest : public AgentTest
{
protected:
    /// The record of a command line, and of a settings file when its text is not empty.
    static scankelv::AgentOptions Options(std::string_view commands, std::string_view settings = {})
    {
        const TemporaryFolder folder;
        const Wide file = folder.File("ScanKELV.ini");
        if (!settings.empty())
            WriteFileBytes(file, "[Settings]\r\n" + std::string(settings));
        return scankelv::AgentOptions::Build(file.c_str(), ToWide("agent " + std::string(commands)).c_str()).value();
    }

    const PrivateRegistry m_registry;
};

} // namespace test
