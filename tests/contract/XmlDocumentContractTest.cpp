// Documents in use: text content, selection, building, serialising, saving.
#include "XmlTools.h"

#include <algorithm>
#include <tuple>

namespace
{

using namespace std::string_view_literals;
using test::Bstr;
using test::Com;
using test::Wide;

/// White space between tags and an encoding in the declaration may differ.
std::string Plain(std::string xml)
{
    for (std::size_t at = xml.find('>'); at != std::string::npos; at = xml.find('>', at + 1))
    {
        const std::size_t next = std::min(xml.find_first_not_of(" \t\r\n", at + 1), xml.size());
        if (next == xml.size() || xml[next] == '<')
            xml.erase(at + 1, next - at - 1);
    }
    constexpr std::string_view encoding = " encoding=\"UTF-16\"";
    const std::size_t at = xml.find(encoding);
    return at == std::string::npos ? xml : xml.erase(at, encoding.size());
}

class XmlDocumentContract : public testing::Test
{
protected:
    HRESULT Save(const Wide& path) { return document->save(test::Variant(Bstr(path))); }

    test::ComThread com;
    Com<IXMLDOMDocument> document = test::NewDocument();
    test::TemporaryFolder folder;
};

TEST_F(XmlDocumentContract, TextContentIsTrimmedAndJoined)
{
    test::ExpectAnswers("contract/data/XmlTexts.txt", [this](const std::string& given) {
        const std::vector<std::string> parts = test::Parts(given); // of which node, in which document
        EXPECT_TRUE(test::Load(document, parts[1]));
        Com<IXMLDOMNode> found;
        EXPECT_EQ(S_OK, test::Select(document, parts[0], found));
        return "[" + test::TextOf(found) + "]\n";
    });
}

TEST_F(XmlDocumentContract, SelectionFollowsThePathAsWritten)
{
    ASSERT_TRUE(test::Load(
        document, "<r xmlns:n='u'><x>1</x><a><b k='v' x='w'>2</b><x>3</x></a><n:q>4</n:q><c xmlns='d'><x>5</x>"
                  "<a><a><b>6</b></a></a></c><b>7</b></r>"));
    Com<IXMLDOMNode> from, item;
    test::ExpectAnswers("contract/data/XmlQueries.txt", [&](const std::string& given) {
        const std::size_t colon = given.find(": "); // the node to start from, the query
        const std::string query = given.substr(colon + 2);
        EXPECT_EQ(S_OK, test::Select(document, given.substr(0, colon), from));
        Com<IXMLDOMNodeList> list;
        EXPECT_EQ(S_OK, from->selectNodes(Bstr(std::string_view(query)), list.Receive()));
        std::string all;
        LONG count = 0, length = -1;
        for (; list->get_item(count, item.Receive()) == S_OK; ++count)
            all += test::TextOf(item) + "\n";
        EXPECT_TRUE(item == nullptr && list->get_length(&length) == S_OK && length == count);
        EXPECT_TRUE(list->get_item(-1, item.Receive()) == S_FALSE && item == nullptr);
        EXPECT_EQ(count == 0 ? S_FALSE : S_OK, test::Select(from, query, item));
        EXPECT_TRUE(all.starts_with(item == nullptr ? "" : test::TextOf(item) + "\n"));
        return all;
    });
    EXPECT_EQ(E_INVALIDARG, document->selectSingleNode(nullptr, item.Receive()));
    EXPECT_EQ(E_INVALIDARG, document->selectSingleNode(Bstr("x"sv), nullptr));
    EXPECT_EQ(E_INVALIDARG, document->selectNodes(Bstr("x"sv), nullptr));
}

TEST_F(XmlDocumentContract, BuiltContentIsEscaped)
{
    test::ExpectAnswers("contract/data/XmlContents.txt", [this](const std::string& given) {
        const Wide content = test::ToWide(given);
        const Com<IXMLDOMElement> element = test::NewElement(document, "x");
        EXPECT_EQ(S_OK, element->appendChild(test::NewText(document, content), nullptr));
        for (const Bstr& value : {Bstr("old"sv), Bstr(content)})
            EXPECT_EQ(S_OK, element->setAttribute(Bstr("k"sv), test::Variant(value)));
        return test::XmlOf(element) + "\n";
    });
    const Com<IXMLDOMElement> element = test::NewElement(document, "x");
    EXPECT_EQ("<x/>", test::XmlOf(element));
    Com<IXMLDOMText> empty;
    ASSERT_EQ(S_OK, document->createTextNode(nullptr, empty.Receive()));
    ASSERT_EQ(S_OK, element->appendChild(empty, nullptr));
    VARIANT number{};
    number.vt = VT_I4;
    number.lVal = -5;
    EXPECT_EQ(S_OK, element->setAttribute(Bstr("n"sv), number));
    EXPECT_EQ(S_OK, element->setAttribute(Bstr("e"sv), VARIANT{}));
    EXPECT_EQ("<x n=\"-5\" e=\"\"></x>", test::XmlOf(element));
    EXPECT_EQ("a\xEF\xBF\xBD", test::TextOf(test::NewText(document, OLESTR(" a\xD83D\n"))));
}

TEST_F(XmlDocumentContract, CreationReportsItsArguments)
{
    Com<IXMLDOMElement> element;
    EXPECT_EQ(E_FAIL, document->createElement(Bstr(""sv), element.Receive()));
    EXPECT_EQ(E_INVALIDARG, document->createElement(nullptr, element.Receive()));
    EXPECT_EQ(nullptr, element);
    EXPECT_EQ(E_INVALIDARG, document->createElement(Bstr("x"sv), nullptr));
    EXPECT_EQ(E_INVALIDARG, document->createTextNode(Bstr("x"sv), nullptr));
    EXPECT_EQ(E_INVALIDARG, document->createProcessingInstruction(Bstr("x"sv), Bstr("y"sv), nullptr));
    Com<IXMLDOMProcessingInstruction> instruction;
    EXPECT_EQ(E_FAIL, test::NewInstruction(document, "", "d", instruction));
    EXPECT_EQ(static_cast<HRESULT>(0xC00CE56C), test::NewInstruction(document, "xml", "rubbish", instruction));
    EXPECT_EQ(nullptr, instruction);
    EXPECT_EQ(S_OK, test::NewInstruction(document, "p", "d e", instruction));
    EXPECT_EQ("<?p d e?>", test::XmlOf(instruction));
    EXPECT_EQ(E_INVALIDARG, document->appendChild(nullptr, nullptr));
    EXPECT_EQ(E_INVALIDARG, document->get_xml(nullptr));
    EXPECT_EQ(E_INVALIDARG, document->get_text(nullptr));
}

TEST_F(XmlDocumentContract, AppendingMovesANode)
{
    ASSERT_TRUE(test::Load(document, "<r><a><b>1</b></a><c/></r>"));
    const Com<IXMLDOMDocument> other = test::NewDocument();
    ASSERT_TRUE(test::Load(other, "<o><p k='v'>2<q/></p></o>"));
    Com<IXMLDOMNode> from, to, attached;
    ASSERT_EQ(S_OK, test::Select(document, "//c", to));
    const std::tuple<IXMLDOMDocument*, const char*, const char*> rows[] = {
        {document, "//b", "<r><a/><c><b>1</b></c></r>"},
        {document, "//b", "<r><a/><c><b>1</b></c></r>"}, // the second time changes nothing
        {other, "//p", "<r><a/><c><b>1</b><p k=\"v\">2<q/></p></c></r>"}};
    for (const auto& [owner, node, after] : rows)
    {
        ASSERT_EQ(S_OK, test::Select(owner, node, from));
        ASSERT_EQ(S_OK, to->appendChild(from, attached.Receive()));
        EXPECT_EQ(test::XmlOf(from), test::XmlOf(attached));
        EXPECT_EQ(after, Plain(test::XmlOf(document)));
    }
    EXPECT_EQ("<o/>", Plain(test::XmlOf(other)));
    document = Com<IXMLDOMDocument>(); // its nodes keep it
    EXPECT_EQ(S_OK, test::Select(to, "//p/q", from));
    EXPECT_EQ("<q/>", test::XmlOf(from));
}

TEST_F(XmlDocumentContract, TheDeclarationStandsWhereItWasAppended)
{
    document = test::Built("version=\"1.0\" encoding=\"UTF-16\"", OLESTR("a\nb"sv));
    const std::string xml = test::XmlOf(document);
    EXPECT_EQ("<?xml version=\"1.0\"?><x>a\r\nb</x>", Plain(xml));
    EXPECT_NE(std::string::npos, xml.find("?>\r\n<x>"));
    EXPECT_TRUE(xml.ends_with("</x>\r\n"));
    document = test::Built("", OLESTR("a"sv));
    test::AppendDeclaration(document, "version=\"1.0\"");
    EXPECT_EQ("<x>a</x><?xml version=\"1.0\"?>", Plain(test::XmlOf(document)));
}

TEST_F(XmlDocumentContract, ASavedDocumentLoadsAgain)
{
    const std::string euro = " \xC3\xA4\xE2\x82\xAC <&>\n\xC2\xA0", face = "\xF0\x9F\x98\x80";
    const std::string utf16 = "<?xml version=\"1.0\" encoding=\"UTF-16\"?>";
    const std::tuple<const char*, std::string, std::string> rows[] = {
        // declaration, content, the file's beginning
        {"", euro + face, "<x>"},
        {"version=\"1.0\" encoding=\"UTF-8\"", euro, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"},
        {"version=\"1.0\" encoding=\"UTF-16\"", euro + face, "\xFF\xFE" + test::Utf16Bytes(test::ToWide(utf16))},
        {"version=\"1.0\" encoding=\"windows-1252\"", euro, "<?xml version=\"1.0\" encoding=\"windows-1252\"?>"},
    };
    const Wide path = folder.File("saved.xml");
    for (const auto& [declaration, content, beginning] : rows)
    {
        SCOPED_TRACE(beginning);
        test::WriteFileBytes(path, std::string(5000, 'z'));
        document = test::Built(declaration, test::ToWide(content));
        const std::string text = test::TextOf(document);
        ASSERT_EQ(S_OK, Save(path));
        const std::string bytes = test::ReadFileBytes(path);
        EXPECT_EQ(beginning, bytes.substr(0, beginning.size()));
        EXPECT_EQ(std::string::npos, bytes.find('z'));
        ASSERT_TRUE(test::LoadFile(document, path));
        EXPECT_EQ(text, test::TextOf(document));
    }
    for (const Wide& place : {folder.File("none\\x.xml"), folder.Path(), Wide()})
        EXPECT_TRUE(FAILED(Save(place))) << test::ToUtf8(place);
    EXPECT_FALSE(test::FileExists(folder.File("none")));
    EXPECT_EQ(S_FALSE, document->save(VARIANT{}));
    document = test::NewDocument();
    EXPECT_EQ(S_OK, Save(path));
    EXPECT_EQ("", test::ReadFileBytes(path));
}

} // namespace
