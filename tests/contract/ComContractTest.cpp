// COM for a thread, the creation of objects and their interfaces, texts with a length.
#include "XmlTools.h"

#include <ole2.h>
#include <sstream>
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
    test::ExpectAnswers("contract/data/ComThreads.txt", [](const std::string& given) {
        std::ostringstream results;
        results << std::hex;
        std::thread([&] {
            std::istringstream words(given);
            for (std::string word; words >> word;)
            {
                const DWORD model = word == "apartment" ? COINIT_APARTMENTTHREADED : COINIT_MULTITHREADED;
                if (word == "end")
                    ::CoUninitialize();
                else if (word == "create")
                    results << Create(CLSID_DOMDocument, CLSCTX_INPROC_SERVER, IID_IXMLDOMDocument) << '\n';
                else
                    results << ::CoInitializeEx(nullptr, model) << '\n';
            }
        }).join();
        return results.str();
    });
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
        // Not as a program of its own: for that, 32-bit Wine starts a host process, which stays.
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
    Com<IXMLDOMNode> element, attribute;
    ASSERT_EQ(S_OK, test::Select(document, "/a", element));
    ASSERT_EQ(S_OK, test::Select(document, "/a/@k", attribute));
    const std::pair<IXMLDOMNode*, const IID*> rows[] = {
        {document, &IID_IXMLDOMDocument}, {element, &IID_IXMLDOMElement}, {attribute, &IID_IXMLDOMNode}};
    for (const auto& [node, own] : rows)
        for (const IID* id : {&IID_IUnknown, &IID_IXMLDOMNode, &IID_IXMLDOMDocument, &IID_IXMLDOMElement, &noClass})
        {
            Com<IUnknown> viewed;
            const bool known = id == own || id == &IID_IUnknown || id == &IID_IXMLDOMNode;
            EXPECT_EQ(
                known ? S_OK : E_NOINTERFACE, node->QueryInterface(*id, reinterpret_cast<void**>(viewed.Receive())));
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
