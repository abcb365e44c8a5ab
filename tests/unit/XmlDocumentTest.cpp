#include "XmlDocument.h"
#include "AgentTest.h"

#include <thread>
#include <tuple>

using namespace scankelv;
using namespace test;

namespace
{

using XmlDocumentTest = AgentTest;

XmlDocument Opened()
{
    XmlDocument document;
    EXPECT_TRUE(XmlOpenDocument(document));
    return document;
}

TEST(BstrText, ReadsAsEmptyWhenNullAndSharesItsBlock)
{
    const _bstr_t null(static_cast<const WCHAR*>(nullptr)), empty(OLESTR(""));
    EXPECT_TRUE(null.IsNull() && null.View().empty() && null.length() == 0 && null.Narrow() == nullptr);
    EXPECT_TRUE(null == empty && !empty.IsNull() && !(null + null).IsNull());
    const WideText inner = WideText(OLESTR("a")) + WCHAR() + OLESTR("b");
    EXPECT_EQ(6U, (_bstr_t(inner) + _bstr_t(inner)).length());
    EXPECT_FALSE(_bstr_t(inner) == _bstr_t(OLESTR("a")));

    const BSTR system = ::SysAllocStringLen(OLESTR("taken"), 5);
    _bstr_t first = _bstr_t::Adopt(system);
    EXPECT_EQ(system, first.Get()); // without a copy
    const _bstr_t second = first;
    EXPECT_STREQ("taken", second.Narrow());
    EXPECT_EQ(second.Narrow(), first.Narrow()); // made once, for all
    first = first + OLESTR("!");
    EXPECT_EQ(OLESTR("taken"), second.View());
    const _bstr_t moved = std::move(first);
    EXPECT_EQ(OLESTR("taken!"), moved.View());
}

TEST_F(XmlDocumentTest, SavingAndLoading)
{
    const TemporaryFolder folder;
    const _bstr_t path(folder.File("list.xml"));
    const XmlDocument document = Opened();
    XmlAddDeclaration(document);
    const XmlElement root = XmlCreateElement(document, OLESTR("list"));
    XmlSetAttribute(root, OLESTR("of"), OLESTR("1 & 2"));
    XmlAddTextElement(document, root, OLESTR("x"), OLESTR("\x00E4\x20AC < y"));
    XmlAddTextElement(document, root, OLESTR("null"), _bstr_t());
    XmlAddTextElement(document, root, OLESTR("bad"), OLESTR("a\1\xD83D-\xD83D\xDE00\xFFFE")); // would not load again
    XmlAppend(document.Get(), root.Get());
    XmlSave(document, path);
    EXPECT_THROW(XmlSave(document, _bstr_t(folder.File("no\\list.xml"))), XmlError);
    EXPECT_TRUE(ReadFileBytes(folder.File("list.xml")).starts_with("\xFF\xFE<"));
    const std::string serialised = ToUtf8(XmlSerialise(document).View());
    for (const char* const piece :
         {"<list of=\"1 &amp; 2\">", "<x>ä€ &lt; y</x>", "<null></null>", "<bad>a��-😀�</bad>"})
        EXPECT_NE(std::string::npos, serialised.find(piece)) << serialised;
    const XmlDocument again = Opened();
    EXPECT_TRUE(XmlLoadFile(again, path));
    EXPECT_EQ(OLESTR("\x00E4\x20AC < y"), XmlText(XmlFirstOf(again.Get(), OLESTR("/list/x")).Get()).View());
    EXPECT_FALSE(XmlLoadFile(again, _bstr_t(folder.Path())) || XmlLoadFile(again, OLESTR("")));
    // What does not load leaves an empty document behind, in which nothing is found.
    for (const WCHAR* const text : {OLESTR("<a>"), OLESTR(""), static_cast<const WCHAR*>(nullptr)})
    {
        EXPECT_TRUE(XmlLoadText(again, OLESTR("<?xml version=\"1.0\" encoding=\"UTF-16\"?><a><x>1</x></a>")));
        EXPECT_TRUE(XmlFirstOf(again.Get(), OLESTR("/a/x")));
        EXPECT_FALSE(XmlLoadText(again, text) || XmlFirstOf(again.Get(), OLESTR("/a")));
    }
}

TEST_F(XmlDocumentTest, SelectingAndFailuresThatNameTheInterface)
{
    const XmlDocument document = Opened();
    EXPECT_TRUE(XmlLoadText(document, OLESTR("<l><d id=\"7\"><n>first</n><n>second</n></d><d><m>third</m></d></l>")));
    const XmlNode device = XmlFirstOf(document.Get(), OLESTR("/l/d"));
    EXPECT_EQ(OLESTR("first"), XmlChildText(device, OLESTR("n")).View());
    EXPECT_FALSE(XmlChildText(device, OLESTR("N")).IsNull());
    EXPECT_EQ(OLESTR("third"), XmlText(XmlSelectElement(document.Get(), OLESTR("//m")).Get()).View());
    EXPECT_TRUE(XmlSelectFirst(device.Get(), OLESTR("@id")));
    EXPECT_FALSE(XmlSelectElement(device.Get(), OLESTR("@id"))); // found, but no element

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
