// What the tests of generated XML texts share.
#pragma once

#include "AgentTest.h"
#include "XmlDocument.h"

namespace test
{

/// A document without line ends and tabs: Wine's model puts each tag on a line of its own, Windows' is documented not
/// to.
inline std::wstring WithoutLines(std::wstring_view document)
{
    std::wstring text(document);
    std::erase_if(text, [](wchar_t c) { return c == L'\r' || c == L'\n' || c == L'\t'; });
    return text;
}

class XmlTest : public AgentTest
{
protected:
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
