#include "XmlDocument.h"

#include "XmlTest.h"

#include <thread>

using namespace scankelv;
using namespace test;

TEST_F(XmlTest, BuildsWhatLoadsAgain)
{
    XmlDocument document = XmlCreateDocumentInitialisingCom();
    XmlAddDeclaration(document);
    const XmlElement root = XmlCreateElement(document, L"list");
    XmlSetAttribute(root, L"of", L"1 & 2");
    XmlAddTextElement(document, root, L"text", L"a<b");
    XmlAddTextElement(document, root, L"null", _bstr_t());
    XmlAddTextElement(document, root, L"bad", _bstr_t(std::wstring_view(L"\1-\xD83D-\xD83D\xDE00\0\xFFFE", 8)));
    XmlAddEmptyElement(document, root, L"none");
    XmlAppend(document.Get(), root.Get());
    const _bstr_t text = XmlSerialise(document);
    EXPECT_EQ(
        Serialised(L"<?xml version=\"1.0\" encoding=\"UTF-16\"?><list of=\"1 &amp; 2\"><text>a&lt;b</text><null></null>"
                   L"<bad>\xFFFD-\xFFFD-\xD83D\xDE00\xFFFD\xFFFD</bad><none/></list>"),
        text.View());
    EXPECT_TRUE(XmlLoadText(m_document, text) && XmlChildText(m_document, L"list/text").View() == L"a<b");
    const TemporaryFolder folder;
    XmlSave(document, _bstr_t(folder.File(L"a.xml")));
    EXPECT_EQ(0U, ReadFileBytes(folder.File(L"a.xml")).find(Utf16File(L"<?xml version=\"1.0\" encoding=\"UTF-16\"?>")));
    EXPECT_TRUE(XmlLoadFile(m_document, _bstr_t(folder.File(L"a.xml"))) && XmlFirstOf(m_document.Get(), L"/list"));
    EXPECT_FALSE(XmlLoadFile(m_document, _bstr_t(folder.File(L"b.xml"))) || XmlFirstOf(m_document.Get(), L"/list"));
    EXPECT_FALSE(XmlLoadText(m_document, L"<a><a/>") || XmlLoadText(m_document, _bstr_t()));
    EXPECT_THROW(XmlSave(document, _bstr_t(folder.File(L"no\\a.xml"))), XmlError);
}

TEST_F(XmlTest, Selects)
{
    ASSERT_TRUE(XmlLoadText(m_document, L"<list of='9'><a> 1 </a><b><a>2</a>3</b><a>4</a></list>"));
    const XmlElement list = XmlSelectElement(m_document.Get(), L"list");
    ASSERT_TRUE(list);
    EXPECT_EQ(L"1", XmlText(XmlSelectFirst(list.Get(), L"a").Get()).View());
    EXPECT_EQ(L"1", XmlText(XmlFirstOf(list.Get(), L"//a").Get()).View());
    EXPECT_EQ(L"23", XmlText(XmlFirstOf(list.Get(), L"b").Get()).View());
    EXPECT_TRUE(XmlSelectFirst(list.Get(), L"@of") && !XmlSelectElement(list.Get(), L"@of")); // no element
    EXPECT_FALSE(XmlSelectElement(list.Get(), L"c") || XmlFirstOf(list.Get(), L"c"));
    EXPECT_TRUE(XmlChildText(list, L"c").View().empty() && !XmlChildText(list, L"c").IsNull());
}

TEST_F(XmlTest, FailuresNameCodeAndInterface)
{
    const std::tuple<const char*, std::function<void()>, HRESULT, IID> rows[] = {
        {"name", [&] { XmlCreateElement(m_document, _bstr_t()); }, E_INVALIDARG, IID_IXMLDOMDocument},
        {"query", [&] { XmlSelectFirst(m_option.Get(), _bstr_t()); }, E_INVALIDARG, IID_IXMLDOMNode},
        {"document", [] { XmlLoadText(nullptr, L"<a/>"); }, E_POINTER, IID_IXMLDOMDocument},
        {"element", [] { XmlSetAttribute(nullptr, L"a", L"b"); }, E_POINTER, IID_IXMLDOMElement},
        {"child", [&] { XmlAppend(m_option.Get(), nullptr); }, E_POINTER, IID_IXMLDOMNode},
        {"length", [] { _bstr_t(std::wstring_view(L"", 0x80000000)); }, E_OUTOFMEMORY, IID{}}, // refused unread
    };
    using testing::AllOf, testing::Property, testing::Throws;
    for (const auto& [name, call, code, id] : rows)
        EXPECT_THAT(call, Throws<XmlError>(AllOf(Property(&XmlError::Code, code), Property(&XmlError::Interface, id))))
            << name;
}

TEST_F(XmlTest, CreatesByContextAndLoadsSynchronously)
{
    VARIANT_BOOL opened = VARIANT_TRUE, created = VARIANT_TRUE;
    m_document.Get()->get_async(&opened);
    XmlCreateDocumentInitialisingCom().Get()->get_async(&created);
    EXPECT_TRUE(opened == VARIANT_FALSE && created == VARIANT_FALSE);
    EXPECT_EQ(S_OK, XmlCreateDocument(m_document, CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER)); // by IUnknown
    EXPECT_TRUE(XmlLoadText(m_document, L"<a/>"));
    EXPECT_EQ(REGDB_E_CLASSNOTREG, XmlCreateDocument(m_document, CLSCTX_INPROC_HANDLER));
    EXPECT_FALSE(m_document); // nor what it held before
    std::thread([] {
        XmlDocument document;
        EXPECT_FALSE(XmlOpenDocument(document) || document);                          // this thread has no COM
        EXPECT_TRUE(XmlCreateDocumentInitialisingCom() && XmlOpenDocument(document)); // and keeps it from here on
        document.Reset();
        ::CoUninitialize();
    }).join();
    EXPECT_EQ(std::vector<std::string>{"createInstanceResult"}, m_console.Reports());
    EXPECT_THAT(m_console.Text(), testing::HasSubstr("XmlDocumentTest.cpp(")); // the caller's place
}
