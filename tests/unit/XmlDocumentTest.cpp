#include "XmlDocument.h"

#include "XmlTest.h"

#include <thread>

using namespace scankelv;
using namespace test;

TEST_F(XmlTest, HoldsNoCharacterThatWouldMakeItUnreadable)
{
    const std::wstring_view characters(
        L"\0\x08\t\n\v\r\x1F \xD7FF\xDBFF\xDFFF\xD800\xDC00\xE000\xFFFD\xFFFE\xFFFF\xDC00\xD800", 19);
    XmlAddTextElement(m_document, m_option, L"bad", _bstr_t(characters));
    EXPECT_EQ(
        L"<option><bad>\xFFFD\xFFFD\xFFFD\xFFFD "
        L"\xD7FF\xDBFF\xDFFF\xD800\xDC00\xE000\xFFFD\xFFFD\xFFFD\xFFFD\xFFFD</bad></option>",
        WithoutLines(XmlSerialise(m_document).View()));
}

TEST_F(XmlTest, LoadsNothingFromOutside) // that a document type is refused shows on Windows only
{
    VARIANT_BOOL resolves = VARIANT_TRUE, validates = VARIANT_TRUE; // as is Windows' default
    m_document->put_resolveExternals(resolves);
    m_document->put_validateOnParse(validates);
    EXPECT_TRUE(XmlForbidExternals(m_document));
    m_document->get_resolveExternals(&resolves);
    m_document->get_validateOnParse(&validates);
    EXPECT_TRUE(resolves == VARIANT_FALSE && validates == VARIANT_FALSE);
}

TEST_F(XmlTest, FailureNamesItsCode)
{
    using testing::Property, testing::Throws;
    EXPECT_THAT([&] { XmlCreateElement(m_document, {}); }, Throws<XmlError>(Property(&XmlError::Code, E_INVALIDARG)));
}

TEST_F(XmlTest, CreatesOnAnyThreadAndLoadsSynchronously)
{
    std::thread([] {
        XmlDocument document;
        EXPECT_FALSE(XmlOpenDocument(document) || document); // this thread has no COM
        VARIANT_BOOL isAsynchronous = VARIANT_TRUE;
        XmlCreateDocumentInitialisingCom()->get_async(&isAsynchronous);
        EXPECT_TRUE(isAsynchronous == VARIANT_FALSE && XmlOpenDocument(document)); // and keeps it from here on
        document.Reset();
        ::CoUninitialize();
    }).join();
    EXPECT_THAT(m_console.Text(), testing::HasSubstr("Expression  createInstanceResult  failed!"));
    EXPECT_THAT(m_console.Text(), testing::HasSubstr("XmlDocumentTest.cpp(")); // the caller's place
}
