// COM for a thread, the creation of objects and their interfaces, texts with a length.
#include "XmlTools.h"

#include <ole2.h>
#include <thread>
#include <tuple>

namespace
{

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

TEST(ComContract, EachThreadIsInitialisedForItself)
{
    using Call = HRESULT (*)();
    const Call apartment = [] { return ::CoInitialize(nullptr); };
    const Call multithreaded = [] { return ::CoInitializeEx(nullptr, COINIT_MULTITHREADED); };
    const Call end = [] { return ::CoUninitialize(), S_OK; };
    const Call create = [] { return Create(CLSID_DOMDocument, CLSCTX_INPROC_SERVER, IID_IXMLDOMDocument); };
    const std::vector<std::pair<Call, HRESULT>> threads[] = {
        {{create, CO_E_NOTINITIALIZED},
         {apartment, S_OK},
         {[] { return ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }, S_FALSE},
         {multithreaded, RPC_E_CHANGED_MODE},
         {end, S_OK},
         {create, S_OK},
         {end, S_OK},
         {create, CO_E_NOTINITIALIZED},
         {end, S_OK}, // one too many
         {apartment, S_OK},
         {create, S_OK},
         {end, S_OK}},
        {{multithreaded, S_OK}, {create, S_OK}, {multithreaded, S_FALSE}, {apartment, RPC_E_CHANGED_MODE}, {end, S_OK}},
    };
    for (const auto& steps : threads)
        std::thread([&steps] {
            for (std::size_t i = 0; i < steps.size(); ++i)
                EXPECT_EQ(steps[i].second, steps[i].first()) << "step " << i;
        }).join();
}

TEST(ComContract, CreationIsRefusedWithItsReason)
{
    const test::ComThread com;
    const Com<IXMLDOMDocument> document = test::NewDocument();
    const struct
    {
        const CLSID& classId;
        DWORD context;
        const IID& interfaceId;
        IUnknown* outer;
        HRESULT result;
    } rows[] = {
        {CLSID_DOMDocument, CLSCTX_INPROC_SERVER, IID_IUnknown, nullptr, S_OK},
        {CLSID_DOMDocument, CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER, IID_IXMLDOMNode, nullptr, S_OK},
        {noClass, CLSCTX_INPROC_SERVER, IID_IUnknown, nullptr, REGDB_E_CLASSNOTREG},
        {CLSID_DOMDocument, CLSCTX_LOCAL_SERVER, IID_IXMLDOMDocument, nullptr, REGDB_E_CLASSNOTREG},
        {CLSID_DOMDocument, CLSCTX_INPROC_SERVER, noClass, nullptr, E_NOINTERFACE},
        {CLSID_DOMDocument, CLSCTX_INPROC_SERVER, IID_IXMLDOMElement, nullptr, E_NOINTERFACE},
        {CLSID_DOMDocument, CLSCTX_INPROC_SERVER, IID_IUnknown, document, CLASS_E_NOAGGREGATION},
    };
    for (const auto& row : rows)
    {
        if (row.context == CLSCTX_LOCAL_SERVER && test::OnWine32())
            continue;
        EXPECT_EQ(row.result, Create(row.classId, row.context, row.interfaceId, row.outer)) << &row - rows;
    }
    EXPECT_EQ(E_POINTER, ::CoCreateInstance(CLSID_DOMDocument, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, nullptr));
    EXPECT_EQ(S_OK, ::OleRun(document));
}

TEST(ComContract, NodesAnswerForTheirInterfaces)
{
    const test::ComThread com;
    const Com<IXMLDOMDocument> document = test::NewDocument();
    ASSERT_TRUE(test::Load(document, "<a k='v'/>"));
    const Com<IXMLDOMText> text = test::NewText(document, OLESTR("t"));
    Com<IXMLDOMProcessingInstruction> instruction;
    ASSERT_EQ(S_OK, test::NewInstruction(document, "p", "d", instruction));
    Com<IXMLDOMNode> element, attribute;
    ASSERT_EQ(S_OK, test::Select(document, "/a", element));
    ASSERT_EQ(S_OK, test::Select(document, "/a/@k", attribute));
    const std::tuple<IXMLDOMNode*, const IID*> rows[] = {
        {document, &IID_IXMLDOMDocument},
        {element, &IID_IXMLDOMElement},
        {text, &IID_IXMLDOMText},
        {instruction, &IID_IXMLDOMProcessingInstruction},
        {attribute, nullptr}};
    const IID* const special[] = {
        &IID_IXMLDOMDocument, &IID_IXMLDOMElement, &IID_IXMLDOMText, &IID_IXMLDOMProcessingInstruction,
        &IID_IXMLDOMNodeList};
    for (const auto& [node, own] : rows)
    {
        SCOPED_TRACE(&own - &std::get<1>(rows[0]));
        Com<IUnknown> viewed;
        for (const IID* id : {&IID_IUnknown, &IID_IXMLDOMNode})
            EXPECT_EQ(S_OK, node->QueryInterface(*id, reinterpret_cast<void**>(viewed.Receive())));
        for (const IID* id : special)
            EXPECT_EQ(
                id == own ? S_OK : E_NOINTERFACE,
                node->QueryInterface(*id, reinterpret_cast<void**>(viewed.Receive())));
    }
}

TEST(ComContract, TextsKnowTheirLength)
{
    const WCHAR inner[] = OLESTR("ab\0cd");
    const std::tuple<BSTR, UINT, WCHAR> rows[] = {
        {::SysAllocString(inner), 2, OLESTR('b')},
        {::SysAllocStringLen(inner, 5), 5, OLESTR('d')},
        {::SysAllocStringLen(inner, 1), 1, OLESTR('a')}};
    for (const auto& [text, length, last] : rows)
    {
        ASSERT_EQ(length, ::SysStringLen(text));
        EXPECT_TRUE(text[length - 1] == last && text[length] == 0) << length;
        ::SysFreeString(text);
    }
    EXPECT_EQ(nullptr, ::SysAllocString(nullptr));
    EXPECT_EQ(0U, ::SysStringLen(nullptr));
    ::SysFreeString(nullptr);
}

} // namespace
