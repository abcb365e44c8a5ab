// What the tests of generated XML texts share.
#pragma once

#include "AgentTest.h"
#include "XmlDocument.h"

namespace test
{

/// What Wine's document model makes of a document without white space between its tags: each child is on a line of its
/// own after tabs. Windows' is documented to put nothing there.
inline std::wstring Serialised(std::wstring_view tags)
{
    std::wstring text;
    bool opened = false; // the latest tag opened an element
    for (std::size_t at = 0, end = 0, depth = 0; at < tags.size(); at = end)
    {
        end = std::min(tags.find(L'<', at + 1), tags.size());
        const std::wstring_view piece = tags.substr(at, end - at); // a tag, and the text up to the next
        const bool closes = piece.starts_with(L"</");
        depth -= closes ? 1 : 0;
        if (text.ends_with(L'>') && !(opened && closes))
            text += L"\r\n" + std::wstring(depth, L'\t');
        text += piece;
        opened = !closes && piece[1] != L'?' && piece.find(L"/>") == piece.npos;
        depth += opened ? 1 : 0;
    }
    return text + L"\r\n";
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
