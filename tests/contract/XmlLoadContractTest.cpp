// Loading XML texts and files: what is taken, what is refused, and what a document holds then.
#include "XmlTools.h"

#include <utility>

namespace
{

using namespace std::string_view_literals;
using test::Com;
using test::Wide;

class XmlLoadContract : public testing::Test
{
protected:
    /// Loaded with this content, or, null, refused: nothing is left then, and the document loads again.
    static void ExpectHolds(IXMLDOMDocument* document, const char* content, bool errorTold = true)
    {
        Com<IXMLDOMParseError> error;
        LONG code = 77;
        EXPECT_EQ(S_OK, document->get_parseError(error.Receive()));
        error->get_errorCode(&code);
        EXPECT_EQ(content != nullptr || !errorTold, code == 0);
        EXPECT_EQ(content == nullptr ? "" : content, test::TextOf(document));
        Com<IXMLDOMElement> root;
        EXPECT_EQ(content == nullptr ? S_FALSE : S_OK, document->get_documentElement(root.Receive()));
        EXPECT_EQ(content == nullptr, root == nullptr);
        EXPECT_EQ(content == nullptr, test::XmlOf(document).empty());
    }

    test::ComThread com;
    Com<IXMLDOMDocument> document = test::NewDocument();
};

TEST_F(XmlLoadContract, TextsAreTakenOrRefused)
{
    // "\xED\xA0\xBD" and "\xED\xB8\x80" become the two halves of a surrogate pair, each alone.
    for (const std::string_view text :
         {""sv,
          " \r\n"sv,
          "<x/><y/>"sv,
          "<x/>a"sv,
          "<x></y>"sv,
          "<x a=1/>"sv,
          "<1x/>"sv,
          "<x>&u;</x>"sv,
          "<x>a & b</x>"sv,
          "<x a='<'/>"sv,
          "<x>]]></x>"sv,
          "<x><!-- -- --></x>"sv,
          "<x>\x01</x>"sv,
          "<x>&#1;</x>"sv,
          "<x>\xEF\xBF\xBE</x>"sv,
          "<x>&#xFFFE;</x>"sv,
          "<x>\xED\xA0\xBD</x>"sv,
          "<x>\xED\xB8\x80</x>"sv,
          "<x>&#xD83D;</x>"sv,
          "<x>a\0b</x>"sv,
          "<!DOCTYPE x [<!ENTITY e '&e;'>]><x>&e;</x>"sv,
          "<?xml version='1.0' encoding='nowhere-1'?><x/>"sv})
    {
        SCOPED_TRACE(text);
        ASSERT_TRUE(test::Load(document, "<before/>"));
        EXPECT_FALSE(test::Load(document, text));
        ExpectHolds(document, nullptr);
    }
    const std::pair<const WCHAR*, const char*> taken[] = {
        {OLESTR("\xFEFF<x>a</x>"), "a"},
        {OLESTR(" \n<x>a</x>"), "a"},
        {OLESTR("<x>\x00E4\x20AC\xD83D\xDE00</x>"), "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"},
        {OLESTR("<!--c--><?p d?><x>a</x><!--c--><?p d?>"), "a"},
        {OLESTR("<?xml version='1.0' encoding='UTF-16'?><x>\x00E4</x>"), "\xC3\xA4"},
        {OLESTR("<?xml version='1.0' encoding='utf-8'?><x>\x00E4</x>"), "\xC3\xA4"},
        {OLESTR("<?xml version='1.0' encoding='windows-1252'?><x>\x20AC</x>"), "\xE2\x82\xAC"},
        {OLESTR("<!DOCTYPE x [<!ENTITY e '<y>1</y>'>]><x>a&e;b</x>"), "a1b"},
        {OLESTR("<!DOCTYPE x SYSTEM 'http://localhost/no.dtd'><x>a</x>"), "a"},
        {OLESTR("<!DOCTYPE x [<!ENTITY e SYSTEM 'file:///etc/passwd'>]><x>a&e;b</x>"), "ab"},
    };
    for (const auto& [text, content] : taken)
    {
        SCOPED_TRACE(test::ToUtf8(text));
        EXPECT_TRUE(test::Load(document, text));
        ExpectHolds(document, content);
    }
    VARIANT_BOOL success = 77;
    EXPECT_EQ(S_FALSE, document->loadXML(nullptr, &success));
    EXPECT_EQ(VARIANT_FALSE, success);
    ExpectHolds(document, nullptr, false);

    // A new document is empty and asynchronous.
    Com<IXMLDOMDocument> fresh;
    ASSERT_EQ(
        S_OK, ::CoCreateInstance(
                  CLSID_DOMDocument, nullptr, CLSCTX_INPROC_SERVER, IID_IXMLDOMDocument,
                  reinterpret_cast<void**>(fresh.Receive())));
    VARIANT_BOOL async = 77, preserving = 77;
    EXPECT_EQ(S_OK, fresh->get_async(&async));
    EXPECT_EQ(S_OK, fresh->get_preserveWhiteSpace(&preserving));
    EXPECT_TRUE(async == VARIANT_TRUE && preserving == VARIANT_FALSE);
    ExpectHolds(fresh, nullptr, false);
}

TEST_F(XmlLoadContract, NestingAndEntitiesAreBounded)
{
    const auto nested = [](int depth) {
        std::string text;
        for (int i = 0; i < depth; ++i)
            text += "<x>";
        for (int i = 0; i < depth; ++i)
            text += "</x>";
        return text;
    };
    EXPECT_TRUE(test::Load(document, nested(250)));
    EXPECT_FALSE(test::Load(document, nested(300)));
    std::string laughs = "<!DOCTYPE x [<!ENTITY e0 'ha'>";
    for (const std::string level : {"1", "2", "3", "4", "5"})
    {
        const std::string below = "&e" + std::string(1, static_cast<char>(level[0] - 1)) + ";";
        const std::string twice = below + below + below + below + below;
        laughs += "<!ENTITY e" + level + " '" + twice + twice + "'>";
    }
    EXPECT_FALSE(test::Load(document, laughs + "]><x>&e5;</x>"));
}

TEST_F(XmlLoadContract, FilesAreReadByTheirEncoding)
{
    const test::TemporaryFolder folder;
    const char* const inside = "\xC3\xA4\xE2\x82\xAC";
    const std::string body = "<x>" + std::string(inside) + "</x>";
    const auto utf16 = [](const std::string& text) { return "\xFF\xFE" + test::Utf16Bytes(test::ToWide(text)); };
    const std::pair<std::string, const char*> rows[] = {
        {utf16(body), inside},
        {utf16("<?xml version='1.0' encoding='UTF-16'?>" + body), inside},
        {body, inside},
        {"\xEF\xBB\xBF" + body, inside},
        {"<?xml version='1.0' encoding='UTF-8'?>" + body, inside},
        {"<?xml version='1.0' encoding='windows-1252'?><x>\xE4\x80</x>", inside},
        {"<x>\xE4</x>", nullptr},
        {"<?xml version='1.0' encoding='UTF-16'?><x>a</x>", nullptr},
        {"<?xml version='1.0' encoding='nowhere-1'?><x>a</x>", nullptr},
        {"<x>a</", nullptr},
        {"", nullptr},
        {std::string("<x>a\0</x>", 9), nullptr},
    };
    const Wide path = folder.File("x.xml");
    for (const auto& [bytes, content] : rows)
    {
        SCOPED_TRACE(bytes);
        test::WriteFileBytes(path, bytes);
        ASSERT_TRUE(test::Load(document, "<before/>"));
        EXPECT_EQ(content != nullptr, test::LoadFile(document, path));
        ExpectHolds(document, content);
    }
    for (const Wide& none : {folder.File("none.xml"), folder.File("none\\x.xml"), folder.Path(), Wide()})
    {
        SCOPED_TRACE(test::ToUtf8(none));
        ASSERT_TRUE(test::Load(document, "<before/>"));
        EXPECT_FALSE(test::LoadFile(document, none));
        ExpectHolds(document, nullptr);
    }
    VARIANT_BOOL success = 77;
    EXPECT_EQ(S_FALSE, document->load(VARIANT{}, &success));
    EXPECT_EQ(VARIANT_FALSE, success);
}

} // namespace
