// What the tests of generated XML texts share.
#pragma once

#include "AgentTest.h"
#include "XmlDocument.h"

namespace test
{

/// What the document model makes of a built document; `tags` is the document without any white space between its tags.
/// Wine's puts each child on a line of its own behind tabs. Windows' is documented to put nothing there, and to leave
/// out the declared encoding.
inline std::wstring Serialised(std::wstring_view tags)
{
    static const bool isWine = ::GetProcAddress(::GetModuleHandleW(L"ntdll"), "wine_get_version") != nullptr;
    constexpr std::wstring_view encoding = L" encoding=\"UTF-16\"";
    std::wstring text;
    std::size_t depth = 0;
    bool isOpen = false; // the latest tag opened an element
    for (std::size_t at = 0; at < tags.size(); text += tags[at++])
    {
        const bool closes = tags.substr(at).starts_with(L"</");
        depth -= closes || tags.substr(at).starts_with(L"/>") ? 1U : 0U;
        if (!isWine && tags.substr(at).starts_with(encoding))
            at += encoding.size();
        if (tags[at] != L'<')
            continue;
        if (at != 0 && tags[at - 1] == L'>' && !(isOpen && closes) && (isWine || (depth == 0 && !closes)))
            text += L"\r\n" + std::wstring(depth, L'\t');
        isOpen = !closes && tags[at + 1] != L'?' && tags[tags.find(L'>', at) - 1] != L'/';
        depth += closes || tags[at + 1] == L'?' ? 0U : 1U;
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
