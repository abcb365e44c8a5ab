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

TEST(BstrText, KnowsItsLengthAndReadsAsEmptyWhenNull)
{
    const _bstr_t null(static_cast<const WCHAR*>(nullptr)), empty(OLESTR(""));
    EXPECT_TRUE(null.IsNull() && _bstr_t::Adopt(nullptr).IsNull() && null.View().empty() && null.length() == 0);
    EXPECT_TRUE(null.Get() == nullptr && null.Narrow() == nullptr && null == empty);
    EXPECT_FALSE(empty.IsNull() || (null + null).IsNull());
    const WideText inner = WideText(OLESTR("a")) + WCHAR() + OLESTR("\x00E4");
    const _bstr_t text(inner);
    EXPECT_TRUE((text + text).length() == 6 && _bstr_t(inner.c_str()).length() == 1);
    EXPECT_FALSE(text == _bstr_t(OLESTR("a")));
    EXPECT_STREQ(NarrowFromWide(OLESTR("\x00E4")).c_str(), _bstr_t(OLESTR("\x00E4")).Narrow());
}

TEST(BstrText, CopiesShareOneBlockAcrossThreads)
{
    const BSTR system = ::SysAllocStringLen(OLESTR("taken"), 5);
    _bstr_t first = _bstr_t::Adopt(system);
    EXPECT_EQ(system, first.Get()); // without a copy
    const _bstr_t second = first;
    EXPECT_STREQ("taken", second.Narrow());
    EXPECT_EQ(second.Narrow(), first.Narrow()); // made once, for all
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([second] {
            for (int round = 0; round < 10000; ++round)
                EXPECT_EQ(5U, _bstr_t(second).length());
        });
    for (std::thread& thread : threads)
        thread.join();
    first = first + OLESTR("!");
    EXPECT_EQ(OLESTR("taken"), second.View());
    const _bstr_t moved = std::move(first);
    EXPECT_EQ(OLESTR("taken!"), moved.View());
    EXPECT_EQ(0, moved.Get()[moved.length()]);
}

TEST(ComHandleTest, EachHandleHoldsOneReference)
{
    struct Counted
    {
        int references = 0;
        void AddRef() { ++references; }
        void Release() { --references; }
    } object;
    {
        ComHandle<Counted> first;
        *first.Receive() = &object;
        object.AddRef(); // as a function that hands out does
        ComHandle<Counted> second = first;
        EXPECT_EQ(2, object.references);
        const ComHandle<Counted> third = std::move(first);
        second = third;
        EXPECT_EQ(2, object.references);
        second.Receive();
        EXPECT_EQ(1, object.references);
        EXPECT_FALSE(second);
    }
    EXPECT_EQ(0, object.references);
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
        EXPECT_EQ(REGDB_E_CLASSNOTREG, XmlCreateDocument(document, CLSCTX_LOCAL_SERVER));
        EXPECT_FALSE(document); // nor what it held before
        ::CoUninitialize();
    }).join();
    EXPECT_EQ("createInstanceResult ", ReportedExpressions(console));
    EXPECT_NE(std::string::npos, console.Text().find("XmlDocumentTest.cpp(")) << console.Text();
}

} // namespace
