#include "XmlDocument.h"
#include "FilterTest.h"

#include <thread>

namespace scankelv
{
namespace
{

using test::Plain;
using test::ToUtf8;

class XmlDocumentTest : public test::AgentTest
{
protected:
    static XmlDocument Opened()
    {
        XmlDocument document;
        EXPECT_TRUE(XmlOpenDocument(document));
        return document;
    }
    static XmlDocument Loaded(const WCHAR* text)
    {
        const XmlDocument document = Opened();
        EXPECT_TRUE(XmlLoadText(document, text));
        return document;
    }
};

TEST(BstrText, NullTextReadsAsEmpty)
{
    const _bstr_t null(static_cast<const WCHAR*>(nullptr));
    EXPECT_TRUE(null.IsNull());
    EXPECT_EQ(nullptr, null.Get());
    EXPECT_EQ(nullptr, null.Narrow());
    EXPECT_EQ(0U, null.length());
    EXPECT_TRUE(null.View().empty());
    EXPECT_TRUE(null == _bstr_t(OLESTR("")));
    EXPECT_FALSE(_bstr_t(OLESTR("")).IsNull());
    EXPECT_FALSE((null + null).IsNull());
    EXPECT_TRUE(_bstr_t::Adopt(nullptr).IsNull());
}

TEST(BstrText, CopiesShareOneBlock)
{
    const BSTR system = ::SysAllocString(OLESTR("taken"));
    _bstr_t first = _bstr_t::Adopt(system);
    EXPECT_EQ(system, first.Get()); // without a copy
    const _bstr_t second = first;
    const char* const narrow = second.Narrow();
    EXPECT_STREQ("taken", narrow);
    EXPECT_EQ(narrow, first.Narrow()); // made once, for all
    first = first + OLESTR("!");
    EXPECT_EQ(OLESTR("taken!"), first.View());
    EXPECT_EQ(OLESTR("taken"), second.View());
    const _bstr_t moved = std::move(first);
    EXPECT_EQ(OLESTR("taken!"), moved.View());
    EXPECT_EQ(0, moved.Get()[moved.length()]);
}

TEST(BstrText, KnowsItsLength)
{
    const WideText inner = WideText(OLESTR("a")) + WCHAR() + OLESTR("b");
    const _bstr_t text(inner);
    EXPECT_EQ(3U, text.length());
    EXPECT_EQ(1U, _bstr_t(inner.c_str()).length());
    EXPECT_EQ(6U, (text + text).length());
    EXPECT_FALSE(text == _bstr_t(OLESTR("a")));
    EXPECT_STREQ(NarrowFromWide(OLESTR("\x00E4")).c_str(), _bstr_t(OLESTR("\x00E4")).Narrow());
}

TEST(BstrText, SharedBetweenThreads)
{
    const _bstr_t shared(OLESTR("shared"));
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([shared] {
            for (int round = 0; round < 10000; ++round)
                EXPECT_EQ(6U, _bstr_t(shared).length());
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(OLESTR("shared"), shared.View());
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
        EXPECT_EQ(2, object.references);
        second = third;
        EXPECT_EQ(2, object.references);
        second.Receive();
        EXPECT_EQ(1, object.references);
        EXPECT_FALSE(second);
    }
    EXPECT_EQ(0, object.references);
}

TEST_F(XmlDocumentTest, BuildsInTheOrderOfTheCalls)
{
    const XmlDocument document = Opened();
    XmlAddDeclaration(document);
    const XmlElement root = XmlCreateElement(document, OLESTR("root"));
    XmlSetAttribute(root, OLESTR("version"), OLESTR("1 & 2"));
    XmlAddTextElement(document, root, OLESTR("a"), OLESTR("x < y"));
    XmlAddTextElement(document, root, OLESTR("b"), OLESTR(""));
    XmlAddTextElement(document, root, OLESTR("b"), _bstr_t());
    XmlAddEmptyElement(document, root, OLESTR("c"));
    XmlAppend(document.Get(), root.Get());
    EXPECT_EQ(
        "<?xml version=\"1.0\" encoding=\"UTF-16\"?><root version=\"1 &amp; 2\"><a>x &lt; "
        "y</a><b></b><b></b><c/></root>",
        Plain(XmlSerialise(document)));
}

TEST_F(XmlDocumentTest, Loading)
{
    const struct
    {
        const WCHAR* text;
        bool loads;
    } rows[] = {
        {OLESTR("<a><x> 1 </x></a>"), true},
        {OLESTR("<a>"), false},
        {OLESTR(""), false},
        {nullptr, false},
        {OLESTR("<?xml version=\"1.0\" encoding=\"UTF-16\"?><a><x>1</x><x>2</x></a>"), true},
    };
    const XmlDocument document = Opened();
    for (const auto& [text, loads] : rows)
    {
        EXPECT_EQ(loads, XmlLoadText(document, text));
        // What does not load leaves an empty document behind, in which nothing is found.
        EXPECT_EQ(loads, static_cast<bool>(XmlFirstOf(document.Get(), OLESTR("/a/x"))));
    }
}

TEST_F(XmlDocumentTest, Selecting)
{
    const XmlDocument document = Loaded(
        OLESTR("<list><device id=\"7\"><n>first</n><n>second</n><e/></device><device><m>third</m></device></list>"));
    const XmlNode device = XmlFirstOf(document.Get(), OLESTR("/list/device"));
    EXPECT_EQ(OLESTR("first"), XmlChildText(device, OLESTR("n")).View());
    EXPECT_EQ(OLESTR(""), XmlChildText(device, OLESTR("e")).View());
    const _bstr_t none = XmlChildText(device, OLESTR("N"));
    EXPECT_TRUE(!none.IsNull() && none.View().empty());
    EXPECT_FALSE(XmlFirstOf(document.Get(), OLESTR("/device")));
    EXPECT_FALSE(XmlSelectFirst(device.Get(), OLESTR("x/y")));
    EXPECT_EQ(OLESTR("third"), XmlText(XmlSelectElement(document.Get(), OLESTR("//m")).Get()).View());
    EXPECT_TRUE(XmlSelectFirst(device.Get(), OLESTR("@id")));
    EXPECT_FALSE(XmlSelectElement(device.Get(), OLESTR("@id"))); // found, but no element
}

TEST_F(XmlDocumentTest, FailuresNameTheInterface)
{
    const XmlDocument document = Opened();
    const XmlElement element = XmlCreateElement(document, OLESTR("e"));
    const struct
    {
        const char* name;
        void (*call)(const XmlDocument& document, const XmlElement& element);
        HRESULT code;
        IID interfaceId;
    } rows[] = {
        {"element without a name", [](auto& d, auto&) { XmlCreateElement(d, _bstr_t()); }, E_INVALIDARG,
         IID_IXMLDOMDocument},
        {"element of an empty name", [](auto& d, auto& e) { XmlAddEmptyElement(d, e, OLESTR("")); }, E_FAIL,
         IID_IXMLDOMDocument},
        {"query without a text", [](auto& d, auto&) { XmlSelectFirst(d.Get(), _bstr_t()); }, E_INVALIDARG,
         IID_IXMLDOMNode},
        {"create in no document", [](auto&, auto&) { XmlCreateElement(XmlDocument(), OLESTR("a")); }, E_POINTER,
         IID_IXMLDOMDocument},
        {"load without document", [](auto&, auto&) { XmlLoadText(XmlDocument(), OLESTR("<a/>")); }, E_POINTER,
         IID_IXMLDOMDocument},
        {"load a file without document", [](auto&, auto&) { XmlLoadFile(XmlDocument(), OLESTR("a")); }, E_POINTER,
         IID_IXMLDOMDocument},
        {"declare in no document", [](auto&, auto&) { XmlAddDeclaration(XmlDocument()); }, E_POINTER,
         IID_IXMLDOMDocument},
        {"save no document", [](auto&, auto&) { XmlSave(XmlDocument(), OLESTR("a")); }, E_POINTER, IID_IXMLDOMDocument},
        {"attribute of no element", [](auto&, auto&) { XmlSetAttribute(XmlElement(), OLESTR("a"), OLESTR("b")); },
         E_POINTER, IID_IXMLDOMElement},
        {"text of no node", [](auto&, auto&) { XmlText(nullptr); }, E_POINTER, IID_IXMLDOMNode},
        {"child of no node", [](auto&, auto&) { XmlChildText(XmlNode(), OLESTR("a")); }, E_POINTER, IID_IXMLDOMNode},
        {"all of no node", [](auto&, auto&) { XmlFirstOf(nullptr, OLESTR("a")); }, E_POINTER, IID_IXMLDOMNode},
        {"serialise no document", [](auto&, auto&) { XmlSerialise(XmlDocument()); }, E_POINTER, IID_IXMLDOMNode},
        {"append to nothing", [](auto&, auto& e) { XmlAppend(nullptr, e.Get()); }, E_POINTER, IID_IXMLDOMNode},
        {"append nothing", [](auto& d, auto&) { XmlAppend(d.Get(), nullptr); }, E_POINTER, IID_IXMLDOMNode},
        {"add below nothing", [](auto& d, auto&) { XmlAddTextElement(d, XmlElement(), OLESTR("a"), OLESTR("b")); },
         E_POINTER, IID_IXMLDOMNode},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        try
        {
            row.call(document, element);
            ADD_FAILURE() << "no error";
        }
        catch (const XmlError& error)
        {
            EXPECT_EQ(row.code, error.Code());
            EXPECT_TRUE(row.interfaceId == error.Interface());
        }
    }
}

TEST_F(XmlDocumentTest, SavingAndLoadingFiles)
{
    const test::TemporaryFolder folder;
    const _bstr_t path(folder.File("list.xml"));
    const XmlDocument document = Opened();
    XmlAddDeclaration(document);
    const XmlElement root = XmlCreateElement(document, OLESTR("list"));
    XmlAddTextElement(document, root, OLESTR("x"), OLESTR("\x00E4\x20AC"));
    XmlAppend(document.Get(), root.Get());
    XmlSave(document, path);
    EXPECT_TRUE(test::ReadFileBytes(folder.File("list.xml")).starts_with("\xFF\xFE<"));
    const XmlDocument again = Opened();
    EXPECT_TRUE(XmlLoadFile(again, path));
    EXPECT_EQ(OLESTR("\x00E4\x20AC"), XmlText(XmlFirstOf(again.Get(), OLESTR("/list/x")).Get()).View());
    EXPECT_FALSE(XmlLoadFile(again, _bstr_t(folder.Path())));
    EXPECT_FALSE(XmlLoadFile(again, OLESTR("")));
    EXPECT_THROW(XmlSave(document, _bstr_t(folder.File("no\\list.xml"))), XmlError);
}

TEST_F(XmlDocumentTest, CreationByContext)
{
    XmlDocument document;
    EXPECT_EQ(S_OK, XmlCreateDocument(document, CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER));
    EXPECT_TRUE(document && XmlLoadText(document, OLESTR("<a/>")));
    EXPECT_EQ(static_cast<HRESULT>(0x80040154), XmlCreateDocument(document, CLSCTX_LOCAL_SERVER));
    EXPECT_FALSE(document); // nor what it held before
}

TEST_F(XmlDocumentTest, OnAThreadWithoutCom)
{
    const test::DebugConsoleCapture console;
    bool opened = true;
    bool createdLater = false;
    std::thread([&] {
        XmlDocument document;
        opened = XmlOpenDocument(document);
        createdLater = !document && XmlCreateDocumentInitialisingCom();
        ::CoUninitialize();
    }).join();
    EXPECT_FALSE(opened);
    EXPECT_TRUE(createdLater);
    EXPECT_EQ("createInstanceResult ", ReportedExpressions(console));
    EXPECT_NE(std::string::npos, console.Text().find("XmlDocumentTest.cpp(")) << console.Text();
}

} // namespace
} // namespace scankelv
