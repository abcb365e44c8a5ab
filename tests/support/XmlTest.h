// What the tests of generated XML texts share.
#pragma once

#include "AgentTest.h"
#include "XmlDocument.h"

namespace test
{

struct XmlTest : AgentTest
{
    XmlTest()
    {
        EXPECT_TRUE(scankelv::XmlOpenDocument(m_document));
        m_option = scankelv::XmlCreateElement(m_document, L"option");
        scankelv::XmlAppend(m_document.Get(), m_option.Get());
    }

    scankelv::XmlDocument m_document;
    scankelv::XmlElement m_option; ///< the document's root
    DebugConsoleCapture m_console;
};

} // namespace test
