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
    /// The declaration, unless it is null, and <x>content</x>, in a new document.
    void BuildDocument(const char* declaration, std::string_view content)
    {
        document = test::NewDocument();
        if (declaration != nullptr)
            AppendDeclaration(declaration);
        const Com<IXMLDOMElement> root = test::NewElement(document, "x");
        ASSERT_EQ(S_OK, root->appendChild(test::NewText(document, test::ToWide(content)), nullptr));
        ASSERT_EQ(S_OK, document->appendChild(root, nullptr));
    }
    void AppendDeclaration(const char* data)
    {
        Com<IXMLDOMProcessingInstruction> instruction;
        ASSERT_EQ(S_OK, test::NewInstruction(document, "xml", data, instruction));
        ASSERT_EQ(S_OK, document->appendChild(instruction, nullptr));
    }
    HRESULT Save(const Wide& path) { return document->save(test::Variant(Bstr(path))); }

    test::ComThread com;
    Com<IXMLDOMDocument> document = test::NewDocument();
    test::TemporaryFolder folder;
};

TEST_F(XmlDocumentContract, TextContentIsTrimmedAndJoined)
{
    const struct
    {
        const char *xml, *text, *query = "/x";
    } rows[] = {
        {"<x>\r\n\ta \t</x>", "a"},
        {"<x>&#10;a&#32;</x>", "a"},
        {"<x>\xC2\xA0-\xE3\x80\x80</x>", "\xC2\xA0-\xE3\x80\x80"},
        {"<x>a  b\r\nc\rd&#13;e</x>", "a  b\nc\nd\re"},
        {"<x>  </x>", ""},
        {"<x/>", ""},
        {"<x>&lt;&amp;&gt;&quot;&apos;&#65;&#x42;</x>", "<&>\"'AB"},
        {"<x xml:space='preserve'> a </x>", " a "},
        {"<x xml:space='preserve'><y> a </y></x>", " a ", "//y"},
        {"<x xml:space='preserve'><y xml:space='default'> a </y></x>", "a", "//y"},
        {"<x><y xml:space='preserve'> a </y></x>", "a"},
        {"<x><y xml:space='preserve'>  </y></x>", "  ", "//y"},
        {"<x> <![CDATA[ a<b ]]> </x>", " a<b "},
        {"<x> b <![CDATA[ a ]]> c </x>", "b  a  c"},
        {"<x>a<!-- n -->b<?p d?>c</x>", "abc"},
        {"<x><y>1</y><y>2</y></x>", "12"},
        {"<x><y> 1 </y><y> 2 </y></x>", "1  2"},
        {"<x k='a&#10;&quot;\tb'/>", "a\n\" b", "/x/@k"},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.xml);
        ASSERT_TRUE(test::Load(document, row.xml));
        Com<IXMLDOMNode> found;
        ASSERT_EQ(S_OK, test::Select(document, row.query, found));
        EXPECT_EQ(row.text, test::TextOf(found));
    }
}

TEST_F(XmlDocumentContract, SelectionFollowsThePathAsWritten)
{
    ASSERT_TRUE(test::Load(
        document, "<r xmlns:n='u'><x>1</x><a><b k='v' x='w'>2</b><x>3</x></a><n:q>4</n:q><c xmlns='d'><x>5</x>"
                  "<a><a><b>6</b></a></a></c><b>7</b></r>"));
    const struct
    {
        const char *from, *query, *all; // their texts
    } rows[] = {
        {"/r", "x", "1"},           {"/r", "X", ""},
        {"/r", "a/b", "2"},         {"/r", "b/a", ""},
        {"/r", "./x", "1"},         {"/r", "/x", ""},
        {"/r", "/r/x", "1"},        {"/r/a", "/r/c/x", "5"},
        {"/r/a", "//x", "1|3|5"},   {"/r/a", ".//x", "3"},
        {"/r", "//a/b", "2|6"},     {"/r", "c//b", "6"},
        {"/r/c", ".//a/a/b", "6"},  {"/r", "//n:q", "4"},
        {"/r", "a/a/b", ""},        {"/r", "//q", ""},
        {"/r", "b | x | x", "1|7"}, {"/r/a", "x | //n:q", "3|4"},
        {"/r", "*", "1|23|4|56|7"}, {"/r", "a/*", "2|3"},
        {"/r/a/b", "@k", "v"},      {"/r", "a/b/@x", "w"},
        {"/r", "//@k", "v"},        {"/r", "@k", ""},
    };
    Com<IXMLDOMNode> from, item;
    for (const auto& row : rows)
    {
        SCOPED_TRACE(std::string(row.from) + ": " + row.query);
        ASSERT_EQ(S_OK, test::Select(document, row.from, from));
        Com<IXMLDOMNodeList> list;
        ASSERT_EQ(S_OK, from->selectNodes(Bstr(std::string_view(row.query)), list.Receive()));
        LONG length = -1;
        EXPECT_EQ(S_OK, list->get_length(&length));
        std::string all;
        for (LONG i = 0; i < length; ++i)
        {
            ASSERT_EQ(S_OK, list->get_item(i, item.Receive()));
            all += (i == 0 ? "" : "|") + test::TextOf(item);
        }
        EXPECT_EQ(row.all, all);
        for (const LONG outside : {length, LONG{-1}})
        {
            EXPECT_EQ(S_FALSE, list->get_item(outside, item.Receive()));
            EXPECT_EQ(nullptr, item);
        }
        EXPECT_EQ(length == 0 ? S_FALSE : S_OK, test::Select(from, row.query, item));
        EXPECT_EQ(all.substr(0, all.find('|')), item == nullptr ? "" : test::TextOf(item));
    }
    EXPECT_EQ(E_INVALIDARG, document->selectSingleNode(nullptr, item.Receive()));
    EXPECT_EQ(E_INVALIDARG, document->selectSingleNode(Bstr("x"sv), nullptr));
    EXPECT_EQ(E_INVALIDARG, document->selectNodes(Bstr("x"sv), nullptr));
}

TEST_F(XmlDocumentContract, BuiltContentIsEscaped)
{
    const struct
    {
        std::basic_string_view<WCHAR> content;
        const char *inText, *inAttribute;
    } rows[] = {
        {OLESTR("<a> & \"b'"sv), "&lt;a&gt; &amp; \"b'", "&lt;a&gt; &amp; &quot;b'"},
        {OLESTR("a\nb"sv), "a\r\nb", "a&#10;b"},
        {OLESTR("a\r\nb"sv), "a\r\nb", "a&#13;&#10;b"},
        {OLESTR(" a\tb "sv), " a\tb ", " a&#9;b "},
        {OLESTR("a\0b"sv), "a", "a"},
        {OLESTR(""sv), "", ""},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.inText);
        const Com<IXMLDOMElement> element = test::NewElement(document, "x");
        ASSERT_EQ(S_OK, element->appendChild(test::NewText(document, row.content), nullptr));
        for (const Bstr& value : {Bstr("old"sv), Bstr(row.content)})
            EXPECT_EQ(S_OK, element->setAttribute(Bstr("k"sv), test::Variant(value)));
        EXPECT_EQ(std::string("<x k=\"") + row.inAttribute + "\">" + row.inText + "</x>", test::XmlOf(element));
    }
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
    Com<IXMLDOMNode> from, to, attached;
    ASSERT_EQ(S_OK, test::Select(document, "//b", from));
    ASSERT_EQ(S_OK, test::Select(document, "//c", to));
    for (int i = 0; i < 2; ++i) // the second time changes nothing
    {
        ASSERT_EQ(S_OK, to->appendChild(from, attached.Receive()));
        EXPECT_EQ("<b>1</b>", test::XmlOf(attached));
        EXPECT_EQ("<r><a/><c><b>1</b></c></r>", Plain(test::XmlOf(document)));
    }
    Com<IXMLDOMDocument> other = test::NewDocument();
    ASSERT_TRUE(test::Load(other, "<o><p k='v'>2<q/></p></o>"));
    ASSERT_EQ(S_OK, test::Select(other, "//p", from));
    ASSERT_EQ(S_OK, to->appendChild(from, nullptr));
    EXPECT_EQ("<o/>", Plain(test::XmlOf(other)));
    other = Com<IXMLDOMDocument>();
    EXPECT_EQ("<r><a/><c><b>1</b><p k=\"v\">2<q/></p></c></r>", Plain(test::XmlOf(document)));
    document = Com<IXMLDOMDocument>(); // its nodes keep it
    EXPECT_EQ(S_OK, test::Select(to, "//p/q", from));
    EXPECT_EQ("<q/>", test::XmlOf(from));
}

TEST_F(XmlDocumentContract, TheDeclarationStandsWhereItWasAppended)
{
    BuildDocument("version=\"1.0\" encoding=\"UTF-16\"", "a\nb");
    const std::string xml = test::XmlOf(document);
    EXPECT_EQ("<?xml version=\"1.0\"?><x>a\r\nb</x>", Plain(xml));
    EXPECT_NE(std::string::npos, xml.find("?>\r\n<x>"));
    EXPECT_TRUE(xml.ends_with("</x>\r\n"));
    BuildDocument(nullptr, "a");
    AppendDeclaration("version=\"1.0\"");
    EXPECT_EQ("<x>a</x><?xml version=\"1.0\"?>", Plain(test::XmlOf(document)));
}

TEST_F(XmlDocumentContract, ASavedDocumentLoadsAgain)
{
    const std::string euro = " \xC3\xA4\xE2\x82\xAC <&>\n\xC2\xA0", face = "\xF0\x9F\x98\x80";
    const std::string utf16 = "<?xml version=\"1.0\" encoding=\"UTF-16\"?>";
    const std::tuple<const char*, std::string, std::string> rows[] = {
        // declaration, content, the file's beginning
        {nullptr, euro + face, "<x>"},
        {"version=\"1.0\" encoding=\"UTF-8\"", euro, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"},
        {"version=\"1.0\" encoding=\"UTF-16\"", euro + face, "\xFF\xFE" + test::Utf16Bytes(test::ToWide(utf16))},
        {"version=\"1.0\" encoding=\"windows-1252\"", euro, "<?xml version=\"1.0\" encoding=\"windows-1252\"?>"},
    };
    const Wide path = folder.File("saved.xml");
    for (const auto& [declaration, content, beginning] : rows)
    {
        SCOPED_TRACE(beginning);
        test::WriteFileBytes(path, std::string(5000, 'z'));
        BuildDocument(declaration, content);
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
