// COM for a thread, the creation and life of objects, texts with a length.
#include "XmlTools.h"

#include <functional>
#include <ole2.h>
#include <thread>

namespace
{

using test::Bstr;
using test::Com;

constexpr CLSID noClass = {0x12345678, 0x1234, 0x1234, {1, 2, 3, 4, 5, 6, 7, 8}};

HRESULT Create(REFCLSID classId, DWORD context, REFIID interfaceId, IUnknown* outer = nullptr)
{
    void* object = &object;
    const HRESULT result = ::CoCreateInstance(classId, outer, context, interfaceId, &object);
    EXPECT_EQ(SUCCEEDED(result), object != nullptr);
    if (SUCCEEDED(result))
        static_cast<IUnknown*>(object)->Release();
    return result;
}

HRESULT CreateDocument()
{
    return Create(CLSID_DOMDocument, CLSCTX_INPROC_SERVER, IID_IXMLDOMDocument);
}

TEST(ComContract, EachThreadIsInitialisedForItself)
{
    enum class Call
    {
        initialise,
        apartment,
        multithreaded,
        uninitialise,
        create,
    };
    struct Step
    {
        Call call;
        HRESULT result;
    };
    const std::vector<Step> threads[] = {
        {{Call::create, CO_E_NOTINITIALIZED},
         {Call::initialise, S_OK},
         {Call::create, S_OK},
         {Call::initialise, S_FALSE},
         {Call::apartment, S_FALSE},
         {Call::multithreaded, RPC_E_CHANGED_MODE},
         {Call::uninitialise, S_OK},
         {Call::uninitialise, S_OK},
         {Call::create, S_OK},
         {Call::uninitialise, S_OK},
         {Call::create, CO_E_NOTINITIALIZED},
         {Call::uninitialise, S_OK}, // one too many
         {Call::apartment, S_OK},
         {Call::create, S_OK},
         {Call::uninitialise, S_OK}},
        {{Call::create, CO_E_NOTINITIALIZED},
         {Call::multithreaded, S_OK},
         {Call::create, S_OK},
         {Call::multithreaded, S_FALSE},
         {Call::initialise, RPC_E_CHANGED_MODE},
         {Call::uninitialise, S_OK},
         {Call::uninitialise, S_OK}},
    };
    for (const std::vector<Step>& steps : threads)
        std::thread([&steps] {
            int number = 0;
            for (const Step& step : steps)
            {
                SCOPED_TRACE(number++);
                const std::function<HRESULT()> calls[] = {
                    [] { return ::CoInitialize(nullptr); },
                    [] { return ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); },
                    [] { return ::CoInitializeEx(nullptr, COINIT_MULTITHREADED); },
                    [] { return ::CoUninitialize(), S_OK; },
                    CreateDocument,
                };
                EXPECT_EQ(step.result, calls[static_cast<int>(step.call)]());
            }
        }).join();
}

TEST(ComContract, CreationIsRefusedWithItsReason)
{
    const test::ComThread com;
    const Com<IXMLDOMDocument> document = test::NewDocument();
    const struct
    {
        const char* name;
        const CLSID& classId;
        DWORD context;
        const IID& interfaceId;
        IUnknown* outer;
        HRESULT result;
    } rows[] = {
        {"base interface", CLSID_DOMDocument, CLSCTX_INPROC_SERVER, IID_IUnknown, nullptr, S_OK},
        {"either server", CLSID_DOMDocument, CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER, IID_IXMLDOMNode, nullptr,
         S_OK},
        {"unknown class", noClass, CLSCTX_INPROC_SERVER, IID_IUnknown, nullptr, REGDB_E_CLASSNOTREG},
        {"local server", CLSID_DOMDocument, CLSCTX_LOCAL_SERVER, IID_IXMLDOMDocument, nullptr, REGDB_E_CLASSNOTREG},
        {"unknown interface", CLSID_DOMDocument, CLSCTX_INPROC_SERVER, noClass, nullptr, E_NOINTERFACE},
        {"a node's interface", CLSID_DOMDocument, CLSCTX_INPROC_SERVER, IID_IXMLDOMElement, nullptr, E_NOINTERFACE},
        {"outer object", CLSID_DOMDocument, CLSCTX_INPROC_SERVER, IID_IUnknown, document, CLASS_E_NOAGGREGATION},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.result, Create(row.classId, row.context, row.interfaceId, row.outer));
    }
    EXPECT_EQ(E_POINTER, ::CoCreateInstance(CLSID_DOMDocument, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, nullptr));
    EXPECT_EQ(S_OK, ::OleRun(document));
}

TEST(ComContract, NodesAnswerForTheirInterfaces)
{
    const test::ComThread com;
    const Com<IXMLDOMDocument> document = test::NewDocument();
    ASSERT_TRUE(test::Load(document, "<a k='v'>t<![CDATA[c]]><!--n--><?p d?></a>"));
    const Com<IXMLDOMText> text = test::NewText(document, OLESTR("t"));
    Com<IXMLDOMProcessingInstruction> instruction;
    ASSERT_EQ(S_OK, test::NewInstruction(document, "p", "d", instruction));
    Com<IXMLDOMNode> element;
    Com<IXMLDOMNode> attribute;
    ASSERT_EQ(S_OK, test::Select(document, "/a", element));
    ASSERT_EQ(S_OK, test::Select(document, "/a/@k", attribute));
    const struct
    {
        const char* name;
        IXMLDOMNode* node;
        const IID* own;
    } rows[] = {
        {"document", document, &IID_IXMLDOMDocument},
        {"element", element, &IID_IXMLDOMElement},
        {"text", text, &IID_IXMLDOMText},
        {"instruction", instruction, &IID_IXMLDOMProcessingInstruction},
        {"attribute", attribute, &IID_IXMLDOMNode}};
    const IID* const ids[] = {
        &IID_IXMLDOMDocument, &IID_IXMLDOMElement, &IID_IXMLDOMText, &IID_IXMLDOMProcessingInstruction,
        &IID_IXMLDOMNodeList};
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        Com<IUnknown> viewed;
        EXPECT_EQ(S_OK, row.node->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(viewed.Receive())));
        EXPECT_EQ(S_OK, row.node->QueryInterface(IID_IXMLDOMNode, reinterpret_cast<void**>(viewed.Receive())));
        for (const IID* id : ids)
        {
            const HRESULT expected = id == row.own ? S_OK : E_NOINTERFACE;
            EXPECT_EQ(expected, row.node->QueryInterface(*id, reinterpret_cast<void**>(viewed.Receive())));
        }
    }
}

TEST(ComContract, TextsKnowTheirLength)
{
    const WCHAR inner[] = OLESTR("ab\0cd");
    const struct
    {
        const char* name;
        BSTR text;
        UINT length;
        WCHAR last;
    } rows[] = {
        {"to the terminator", ::SysAllocString(inner), 2, 'b'},
        {"as long as told", ::SysAllocStringLen(inner, 5), 5, 'd'},
        {"cut", ::SysAllocStringLen(inner, 1), 1, 'a'},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        ASSERT_NE(nullptr, row.text);
        EXPECT_EQ(row.length, ::SysStringLen(row.text));
        EXPECT_EQ(row.last, row.text[row.length - 1]);
        EXPECT_EQ(0, row.text[row.length]);
        ::SysFreeString(row.text);
    }
    EXPECT_EQ(nullptr, ::SysAllocString(nullptr));
    EXPECT_EQ(0U, ::SysStringLen(nullptr));
    ::SysFreeString(nullptr);

    VARIANT variant;
    ::VariantInit(&variant);
    EXPECT_EQ(VT_EMPTY, variant.vt);
    variant.vt = VT_BSTR;
    variant.bstrVal = ::SysAllocStringLen(nullptr, 3);
    EXPECT_EQ(0, variant.bstrVal[3]);
    EXPECT_EQ(S_OK, ::VariantClear(&variant));
    EXPECT_EQ(VT_EMPTY, variant.vt);
}

} // namespace
