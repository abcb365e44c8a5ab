// Loading XML texts and files: what is taken, what is refused, and what a document holds then.
#include "XmlTools.h"

namespace
{

using namespace std::string_view_literals;
using test::Com;
using test::Wide;

// What a failed load leaves: nothing, and a document that loads again.
void ExpectEmpty(IXMLDOMDocument* document)
{
    EXPECT_EQ("", test::XmlOf(document));
    EXPECT_EQ("", test::TextOf(document));
    Com<IXMLDOMElement> root;
    EXPECT_EQ(S_FALSE, document->get_documentElement(root.Receive()));
    EXPECT_EQ(nullptr, root);
}

LONG ErrorCode(IXMLDOMDocument* document)
{
    Com<IXMLDOMParseError> error;
    EXPECT_EQ(S_OK, document->get_parseError(error.Receive()));
    LONG code = 77;
    error->get_errorCode(&code);
    return code;
}

class XmlLoadContract : public testing::Test
{
protected:
    test::ComThread com;
    Com<IXMLDOMDocument> document = test::NewDocument();
};

TEST_F(XmlLoadContract, ANewDocumentIsEmptyAndAsynchronous)
{
    Com<IXMLDOMDocument> fresh;
    ASSERT_EQ(
        S_OK, ::CoCreateInstance(
                  CLSID_DOMDocument, nullptr, CLSCTX_INPROC_SERVER, IID_IXMLDOMDocument,
                  reinterpret_cast<void**>(fresh.Receive())));
    VARIANT_BOOL async = 77;
    VARIANT_BOOL preserving = 77;
    EXPECT_EQ(S_OK, fresh->get_async(&async));
    EXPECT_EQ(S_OK, fresh->get_preserveWhiteSpace(&preserving));
    EXPECT_EQ(VARIANT_TRUE, async);
    EXPECT_EQ(VARIANT_FALSE, preserving);
    EXPECT_EQ(0, ErrorCode(fresh));
    ExpectEmpty(fresh);
}

TEST_F(XmlLoadContract, TextsAreTakenOrRefused)
{
    const struct
    {
        const char* name;
        std::basic_string_view<WCHAR> text;
        const char* content; // null: refused
    } rows[] = {
        {"plain", OLESTR("<x>a</x>"sv), "a"},
        {"empty", {}, nullptr},
        {"blank", OLESTR(" \r\n"sv), nullptr},
        {"two roots", OLESTR("<x/><y/>"sv), nullptr},
        {"no root", OLESTR("<!-- x -->"sv), nullptr},
        {"text before the root", OLESTR("a<x/>"sv), nullptr},
        {"text behind the root", OLESTR("<x/>a"sv), nullptr},
        {"root not closed", OLESTR("<x>"sv), nullptr},
        {"wrong end", OLESTR("<x></y>"sv), nullptr},
        {"attribute without quotes", OLESTR("<x a=1/>"sv), nullptr},
        {"attribute twice", OLESTR("<x a='1' a='2'/>"sv), nullptr},
        {"bad name", OLESTR("<1x/>"sv), nullptr},
        {"undeclared entity", OLESTR("<x>&u;</x>"sv), nullptr},
        {"bare ampersand", OLESTR("<x>a & b</x>"sv), nullptr},
        {"bare less-than", OLESTR("<x a='<'/>"sv), nullptr},
        {"section end in a text", OLESTR("<x>]]></x>"sv), nullptr},
        {"hyphens in a comment", OLESTR("<x><!-- -- --></x>"sv), nullptr},
        {"character 1", OLESTR("<x>\x01</x>"sv), nullptr},
        {"character 1 as a reference", OLESTR("<x>&#1;</x>"sv), nullptr},
        {"U+FFFE", OLESTR("<x>\xFFFE</x>"sv), nullptr},
        {"U+FFFE as a reference", OLESTR("<x>&#xFFFE;</x>"sv), nullptr},
        {"lone high surrogate", OLESTR("<x>\xD83D</x>"sv), nullptr},
        {"lone low surrogate", OLESTR("<x>\xDE00</x>"sv), nullptr},
        {"surrogate as a reference", OLESTR("<x>&#xD83D;</x>"sv), nullptr},
        {"inner zero", OLESTR("<x>a\0b</x>"sv), nullptr},
        {"mark in front", OLESTR("\xFEFF<x>a</x>"sv), "a"},
        {"blanks in front", OLESTR(" \n<x>a</x>"sv), "a"},
        {"surrogate pair", OLESTR("<x>\xD83D\xDE00</x>"sv), "\xF0\x9F\x98\x80"},
        {"two and three bytes", OLESTR("<x>\x00E4\x20AC</x>"sv), "\xC3\xA4\xE2\x82\xAC"},
        {"comments and instructions around", OLESTR("<!--c--><?p d?><x>a</x><!--c--><?p d?>"sv), "a"},
        {"declared UTF-16", OLESTR("<?xml version='1.0' encoding='UTF-16'?><x>\x00E4</x>"sv), "\xC3\xA4"},
        {"declared UTF-8", OLESTR("<?xml version='1.0' encoding='utf-8'?><x>\x00E4</x>"sv), "\xC3\xA4"},
        {"declared 8-bit", OLESTR("<?xml version='1.0' encoding='windows-1252'?><x>\x20AC</x>"sv), "\xE2\x82\xAC"},
        {"declared unknown", OLESTR("<?xml version='1.0' encoding='nowhere-1'?><x/>"sv), nullptr},
        {"internal entity", OLESTR("<!DOCTYPE x [<!ENTITY e 'hi'>]><x>a&e;b</x>"sv), "ahib"},
        {"entity with an element", OLESTR("<!DOCTYPE x [<!ENTITY e '<y>1</y>'>]><x>a&e;b</x>"sv), "a1b"},
        {"external type", OLESTR("<!DOCTYPE x SYSTEM 'http://localhost/no.dtd'><x>a</x>"sv), "a"},
        {"external entity", OLESTR("<!DOCTYPE x [<!ENTITY e SYSTEM 'file:///etc/passwd'>]><x>a&e;b</x>"sv), "ab"},
        {"entity in itself", OLESTR("<!DOCTYPE x [<!ENTITY e '&e;'>]><x>&e;</x>"sv), nullptr},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        ASSERT_TRUE(test::Load(document, "<before/>"));
        EXPECT_EQ(row.content != nullptr, test::Load(document, row.text));
        if (row.content != nullptr)
        {
            EXPECT_EQ(row.content, test::TextOf(document));
            EXPECT_EQ(0, ErrorCode(document));
            continue;
        }
        EXPECT_NE(0, ErrorCode(document));
        ExpectEmpty(document);
    }
    VARIANT_BOOL success = 77;
    EXPECT_EQ(S_FALSE, document->loadXML(nullptr, &success));
    EXPECT_EQ(VARIANT_FALSE, success);
    ExpectEmpty(document);
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
    for (int i = 1; i < 10; ++i)
    {
        laughs += "<!ENTITY e" + std::to_string(i) + " '";
        for (int j = 0; j < 10; ++j)
            laughs += "&e" + std::to_string(i - 1) + ";";
        laughs += "'>";
    }
    EXPECT_FALSE(test::Load(document, laughs + "]><x>&e9;</x>"));
    EXPECT_TRUE(test::Load(document, "<x/>"));
}

TEST_F(XmlLoadContract, FilesAreReadByTheirEncoding)
{
    const test::TemporaryFolder folder;
    const std::string eightBit = "<?xml version='1.0' encoding='windows-1252'?><x>\xE4\x80</x>";
    const std::string inside = "\xC3\xA4\xE2\x82\xAC";
    const struct
    {
        const char* name;
        std::string bytes;
        const char* content; // null: refused
    } rows[] = {
        {"UTF-16 with a mark", "\xFF\xFE" + test::Utf16Bytes(test::ToWide("<x>" + inside + "</x>")), inside.c_str()},
        {"UTF-16 declared too",
         "\xFF\xFE" + test::Utf16Bytes(test::ToWide("<?xml version='1.0' encoding='UTF-16'?><x>" + inside + "</x>")),
         inside.c_str()},
        {"UTF-8", "<x>" + inside + "</x>", inside.c_str()},
        {"UTF-8 with a mark", "\xEF\xBB\xBF<x>" + inside + "</x>", inside.c_str()},
        {"UTF-8 declared", "<?xml version='1.0' encoding='UTF-8'?><x>" + inside + "</x>", inside.c_str()},
        {"8-bit declared", eightBit, inside.c_str()},
        {"8-bit undeclared", "<x>\xE4</x>", nullptr},
        {"8-bit declared UTF-16", "<?xml version='1.0' encoding='UTF-16'?><x>a</x>", nullptr},
        {"unknown encoding", "<?xml version='1.0' encoding='nowhere-1'?><x>a</x>", nullptr},
        {"cut", "<x>a</", nullptr},
        {"empty", "", nullptr},
        {"zero bytes", std::string("<x>a\0</x>", 9), nullptr},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        test::WriteFileBytes(folder.File("x.xml"), row.bytes);
        ASSERT_TRUE(test::Load(document, "<before/>"));
        EXPECT_EQ(row.content != nullptr, test::LoadFile(document, folder.File("x.xml")));
        if (row.content != nullptr)
            EXPECT_EQ(row.content, test::TextOf(document));
        else
            ExpectEmpty(document);
    }

    const Wide noFiles[] = {folder.File("none.xml"), folder.File("none\\x.xml"), folder.Path(), Wide()};
    for (const Wide& path : noFiles)
    {
        SCOPED_TRACE(test::ToUtf8(path));
        ASSERT_TRUE(test::Load(document, "<before/>"));
        EXPECT_FALSE(test::LoadFile(document, path));
        ExpectEmpty(document);
    }
    VARIANT_BOOL success = 77;
    EXPECT_EQ(S_FALSE, document->load(VARIANT{}, &success));
    EXPECT_EQ(VARIANT_FALSE, success);
}

} // namespace
