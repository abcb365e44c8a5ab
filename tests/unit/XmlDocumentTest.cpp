#include "XmlDocument.h"
#include "AgentTest.h"

#include <thread>

using namespace scankelv;
using namespace test;

namespace
{

using XmlDocumentTest = AgentTest;

TEST(BstrText, ReadsAsEmptyWhenNullAndSharesItsBlock)
{
    const _bstr_t null(static_cast<const WCHAR*>(nullptr)), empty(OLESTR(""));
    EXPECT_TRUE(null.IsNull() && null.View().empty() && null.length() == 0 && null.Narrow() == nullptr);
    EXPECT_TRUE(null == empty && !empty.IsNull() && !(null + null).IsNull() && _bstr_t::Adopt(nullptr).IsNull());
    const WideText inner = WideText(OLESTR("a")) + WCHAR() + OLESTR("b");
    EXPECT_EQ(inner + inner, (_bstr_t(inner) + _bstr_t(inner)).View());

    const BSTR system = ::SysAllocStringLen(OLESTR("taken over whole"), 16);
    _bstr_t first = _bstr_t::Adopt(system);
    EXPECT_EQ(system, first.Get()); // without a copy
    const _bstr_t second = first;
    EXPECT_EQ(second.Narrow(), first.Narrow()); // made once, for all
    first = first + OLESTR("!");
    const _bstr_t moved = std::move(first);
    EXPECT_EQ("taken over whole taken over whole!", std::string(second.Narrow()) + " " + moved.Narrow());
}

TEST_F(XmlDocumentTest, BuildsWhatLoadsAgain)
{
    const TemporaryFolder folder;
    XmlDocument document;
    ASSERT_TRUE(XmlOpenDocument(document));
    const XmlElement root = XmlCreateElement(document, OLESTR("list"));
    XmlSetAttribute(root, OLESTR("of"), OLESTR("1 & 2"));
    XmlAddTextElement(document, root, OLESTR("null"), _bstr_t());
    XmlAddTextElement(
        document, root, OLESTR("bad"), OLESTR("a\1\t\xD83D-\xD83D\xDE00\xFFFE\xE000")); // would not load again
    XmlAppend(document.Get(), root.Get());
    const _bstr_t serialised = XmlSerialise(document);
    std::string whole = ToUtf8(serialised.View());
    ReplaceAll(whole, "\r\n", "");
    ReplaceAll(whole, "\t<", "<"); // the line ends and indents are the platform's choice
    EXPECT_EQ(0U, whole.find("<list of=\"1 &amp; 2\"><null></null><bad>a�\t�-😀�\xEE\x80\x80</bad></list>")) << whole;
    EXPECT_TRUE(XmlLoadText(document, serialised));
    EXPECT_FALSE(XmlChildText(XmlFirstOf(document.Get(), OLESTR("/list")), OLESTR("none")).IsNull());
    EXPECT_THROW(XmlSave(document, _bstr_t(folder.File("no\\list.xml"))), XmlError);
}

TEST_F(XmlDocumentTest, FailuresNameTheInterface)
{
    XmlDocument document;
    ASSERT_TRUE(XmlOpenDocument(document));
    const std::tuple<void (*)(const XmlDocument& document), HRESULT, IID> rows[] = {
        {[](auto& whole) { XmlCreateElement(whole, _bstr_t()); }, E_INVALIDARG, IID_IXMLDOMDocument},
        {[](auto& whole) { XmlSelectFirst(whole.Get(), _bstr_t()); }, E_INVALIDARG, IID_IXMLDOMNode},
        {[](auto& whole) { XmlAppend(whole.Get(), nullptr); }, E_POINTER, IID_IXMLDOMNode},
        {[](auto&) { XmlLoadText(XmlDocument(), OLESTR("<a/>")); }, E_POINTER, IID_IXMLDOMDocument},
        {[](auto&) { XmlSetAttribute(XmlElement(), OLESTR("a"), OLESTR("b")); }, E_POINTER, IID_IXMLDOMElement}};
    for (const auto& [call, code, interfaceId] : rows)
        try
        {
            call(document);
            ADD_FAILURE() << "no error " << code;
        }
        catch (const XmlError& error)
        {
            EXPECT_TRUE(error.Code() == code && error.Interface() == interfaceId) << code;
        }
}

TEST_F(XmlDocumentTest, OnAThreadWithoutCom)
{
    const DebugConsoleCapture console;
    std::thread([] {
        XmlDocument document;
        EXPECT_FALSE(XmlOpenDocument(document) || document);
        document = XmlCreateDocumentInitialisingCom();
        EXPECT_TRUE(document);
        EXPECT_EQ(REGDB_E_CLASSNOTREG, XmlCreateDocument(document, CLSCTX_INPROC_HANDLER));
        EXPECT_FALSE(document); // nor what it held before
        ::CoUninitialize();
    }).join();
    EXPECT_EQ("createInstanceResult ", ReportedExpressions(console));
    EXPECT_NE(std::string::npos, console.Text().find("XmlDocumentTest.cpp(")) << console.Text();
}

} // namespace
