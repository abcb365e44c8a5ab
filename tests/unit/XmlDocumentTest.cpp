// XmlDocument.cpp and BstrText.cpp.
#include "XmlDocument.h"

#include "XmlTest.h"

#include <thread>

using namespace scankelv;
using namespace test;

TEST(BstrText, CopiesShareWhatWasTakenOver)
{
    const BSTR system = ::SysAllocString(L"K\x00F6ln \x4E2D");
    _bstr_t first = _bstr_t::Adopt(system);
    const _bstr_t null = _bstr_t::Adopt(nullptr), second = first;
    EXPECT_EQ(NarrowFromWide(L"K\x00F6ln \x4E2D"), second.Narrow());
    first = L"other";
    EXPECT_TRUE(first.View() == L"other" && second.Get() == system && null.IsNull() && null.Narrow() == nullptr);
    EXPECT_TRUE(null == _bstr_t(L"") && !_bstr_t(L"").IsNull() && !(null + null).IsNull());
}

TEST_F(XmlTest, BuildsWhatLoadsAgain)
{
    const XmlDocument document = XmlCreateDocumentInitialisingCom();
    XmlAddDeclaration(document);
    const XmlElement root = XmlCreateElement(document, L"list");
    XmlSetAttribute(root, L"of", L"1 & 2");
    XmlAddTextElement(document, root, L"text", L"a<b");
    XmlAddTextElement(document, root, L"bad", _bstr_t(std::wstring_view(L"\1-\xD83D-\xD83D\xDE00\0\xFFFE", 8)));
    XmlAddEmptyElement(document, root, L"none");
    XmlAppend(document.Get(), root.Get());
    EXPECT_EQ(
        Serialised(L"<?xml version=\"1.0\" encoding=\"UTF-16\"?><list of=\"1 &amp; 2\"><text>a&lt;b</text>"
                   L"<bad>\xFFFD-\xFFFD-\xD83D\xDE00\xFFFD\xFFFD</bad><none/></list>"),
        XmlSerialise(document).View());
    const TemporaryFolder folder;
    XmlSave(document, _bstr_t(folder.File(L"a.xml")));
    EXPECT_EQ(0U, ReadFileBytes(folder.File(L"a.xml")).find(Utf16File(L"<?xml version=\"1.0\" encoding=\"UTF-16\"?>")));
    EXPECT_TRUE(XmlLoadFile(m_document, _bstr_t(folder.File(L"a.xml"))) && XmlSelectFirst(m_document.Get(), L"/list"));
    EXPECT_FALSE(XmlLoadFile(m_document, _bstr_t(folder.File(L"b.xml"))) || XmlSelectFirst(m_document.Get(), L"/list"));
}

TEST_F(XmlTest, LoadsNothingFromOutside)
{
    VARIANT_BOOL resolves = VARIANT_TRUE, validates = VARIANT_TRUE; // as is Windows' default
    m_document->put_resolveExternals(resolves);
    m_document->put_validateOnParse(validates);
    EXPECT_TRUE(XmlForbidExternals(m_document));
    m_document->get_resolveExternals(&resolves);
    m_document->get_validateOnParse(&validates);
    EXPECT_TRUE(resolves == VARIANT_FALSE && validates == VARIANT_FALSE);
    XmlForbidDocumentType(m_document); // shown on Windows only: Wine takes the property and loads a document type
    EXPECT_TRUE(XmlLoadText(m_document, L"<a/>"));
}

TEST_F(XmlTest, Selects)
{
    EXPECT_FALSE(XmlLoadText(m_document, L"<a><a/>") || XmlLoadText(m_document, _bstr_t()));
    ASSERT_TRUE(XmlLoadText(m_document, L"<list of='9'/>"));
    const XmlNode list = XmlSelectFirst(m_document.Get(), L"list");
    EXPECT_FALSE(XmlSelectFirst(list.Get(), L"c"));
    EXPECT_TRUE(XmlChildText(list, L"c").View().empty() && !XmlChildText(list, L"c").IsNull());
}

TEST_F(XmlTest, FailuresNameCodeAndInterface)
{
    using testing::Property, testing::Throws;
    const auto hasCode = [](HRESULT code) { return Throws<XmlError>(Property(&XmlError::Code, code)); };
    EXPECT_THAT([&] { XmlCreateElement(m_document, _bstr_t()); }, hasCode(E_INVALIDARG));
    EXPECT_THAT([&] { XmlAppend(m_option.Get(), nullptr); }, hasCode(E_POINTER));
    EXPECT_THAT([] { XmlText(nullptr); }, Throws<XmlError>(Property(&XmlError::Interface, IID_IXMLDOMNode)));
}

TEST_F(XmlTest, CreatesByContextAndLoadsSynchronously)
{
    VARIANT_BOOL isAsynchronous = VARIANT_TRUE;
    XmlCreateDocumentInitialisingCom().Get()->get_async(&isAsynchronous);
    EXPECT_EQ(VARIANT_FALSE, isAsynchronous);
    EXPECT_EQ(S_OK, XmlCreateDocument(m_document, CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER)); // by IUnknown
    EXPECT_TRUE(XmlCreateDocument(m_document, CLSCTX_INPROC_HANDLER) == REGDB_E_CLASSNOTREG && !m_document);
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
