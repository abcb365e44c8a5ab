// COM for a thread, the creation of objects and their interfaces, texts with a length.
#include "XmlTools.h"

#include <ole2.h>
#include <thread>
#include <utility>

namespace
{

using test::Com;
using test::Wide;

constexpr CLSID noClass = {0x12345678, 0x1234, 0x1234, {1, 2, 3, 4, 5, 6, 7, 8}};

HRESULT Create(REFCLSID classId, DWORD context, REFIID interfaceId)
{
    void* object = &object;
    const HRESULT result = ::CoCreateInstance(classId, nullptr, context, interfaceId, &object);
    EXPECT_EQ(SUCCEEDED(result), object != nullptr);
    if (SUCCEEDED(result))
        static_cast<IUnknown*>(object)->Release();
    return result;
}

TEST(ComContract, EachThreadIsInitialisedForItself)
{
    using Call = HRESULT (*)();
    const Call apartment = [] { return ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); };
    const Call multithreaded = [] { return ::CoInitializeEx(nullptr, COINIT_MULTITHREADED); };
    const Call end = [] { return ::CoUninitialize(), S_OK; };
    const Call create = [] { return Create(CLSID_DOMDocument, CLSCTX_INPROC_SERVER, IID_IXMLDOMDocument); };
    const std::vector<std::pair<Call, HRESULT>> threads[] = {
        {{create, CO_E_NOTINITIALIZED},
         {apartment, S_OK},
         {apartment, S_FALSE},
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
    const struct
    {
        const CLSID& classId;
        DWORD context;
        const IID& interfaceId;
        HRESULT result;
    } rows[] = {
        {CLSID_DOMDocument, CLSCTX_INPROC_SERVER, IID_IUnknown, S_OK},
        {CLSID_DOMDocument, CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER, IID_IXMLDOMNode, S_OK},
        {noClass, CLSCTX_INPROC_SERVER, IID_IUnknown, REGDB_E_CLASSNOTREG},
        {CLSID_DOMDocument, CLSCTX_INPROC_HANDLER, IID_IXMLDOMDocument, REGDB_E_CLASSNOTREG},
        {CLSID_DOMDocument, CLSCTX_INPROC_SERVER, noClass, E_NOINTERFACE},
        {CLSID_DOMDocument, CLSCTX_INPROC_SERVER, IID_IXMLDOMElement, E_NOINTERFACE},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.result, Create(row.classId, row.context, row.interfaceId)) << &row - rows;
    EXPECT_EQ(S_OK, ::OleRun(test::NewDocument()));
}

TEST(ComContract, NodesAnswerForTheirInterfaces)
{
    const test::ComThread com;
    const Com<IXMLDOMDocument> document = test::NewDocument();
    ASSERT_TRUE(test::Load(document, "<a k='v'/>"));
    const Com<IXMLDOMText> text = test::NewText(document, OLESTR("t"));
    Com<IXMLDOMProcessingInstruction> instruction;
    Com<IXMLDOMNode> element, attribute;
    ASSERT_EQ(S_OK, test::NewInstruction(document, "p", "d", instruction));
    ASSERT_EQ(S_OK, test::Select(document, "/a", element));
    ASSERT_EQ(S_OK, test::Select(document, "/a/@k", attribute));
    const IID special[] = {
        IID_IXMLDOMDocument, IID_IXMLDOMElement, IID_IXMLDOMText, IID_IXMLDOMProcessingInstruction,
        IID_IXMLDOMNodeList};
    IXMLDOMNode* const nodes[] = {document, element, text, instruction, attribute}; // in the order of their interfaces
    for (std::size_t i = 0; i < 5; ++i)
    {
        Com<IUnknown> viewed;
        for (const IID& id : {IID_IUnknown, IID_IXMLDOMNode})
            EXPECT_EQ(S_OK, nodes[i]->QueryInterface(id, reinterpret_cast<void**>(viewed.Receive()))) << i;
        for (std::size_t j = 0; j < 5; ++j)
            EXPECT_EQ(
                i == j && i < 4 ? S_OK : E_NOINTERFACE,
                nodes[i]->QueryInterface(special[j], reinterpret_cast<void**>(viewed.Receive())))
                << i << ' ' << j;
    }
}

TEST(ComContract, TextsKnowTheirLength)
{
    const WCHAR inner[] = OLESTR("ab\0cd");
    for (const auto& [text, expected] :
         {std::pair(::SysAllocStringLen(inner, 5), Wide(inner, 5)), {::SysAllocStringLen(inner, 1), Wide(OLESTR("a"))}})
    {
        ASSERT_EQ(expected.size(), ::SysStringLen(text));
        EXPECT_EQ(expected + WCHAR(), Wide(text, expected.size() + 1));
        ::SysFreeString(text);
    }
    EXPECT_EQ(0U, ::SysStringLen(nullptr));
    ::SysFreeString(nullptr);
}

} // namespace
