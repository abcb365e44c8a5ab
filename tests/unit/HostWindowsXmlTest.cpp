// The stand-in's document model where it has a choice of its own, and under input that means harm.
#include "host/Linux.h"
#include "XmlTools.h"

#include <ctime>
#include <sys/stat.h>

namespace
{

using namespace std::string_view_literals;
using test::Bstr;
using test::Com;
using test::LinuxPath;
using test::Wide;

class HostWindowsXml : public testing::Test
{
protected:
    test::ComThread com;
    Com<IXMLDOMDocument> document = test::NewDocument();
    test::TemporaryFolder folder;

    HRESULT Save(const Wide& path) { return document->save(test::Variant(Bstr(path))); }
};

TEST_F(HostWindowsXml, NothingOutsideIsRead)
{
    const Wide secret = folder.File("secret");
    test::WriteFileBytes(secret, "<!ENTITY inner 'secret'>");
    const std::string url = "file://" + LinuxPath(secret);
    EXPECT_TRUE(test::Load(
        document, "<!DOCTYPE x SYSTEM '" + url + "' [<!ENTITY % p SYSTEM '" + url + "'>%p;<!ENTITY e SYSTEM '" + url +
                      "'>]><x>a&e;&inner;b</x>"));
    EXPECT_EQ("ab", test::TextOf(document));
}

TEST_F(HostWindowsXml, LoadedTextsComeOutAsTheyWere)
{
    test::ExpectAnswers("unit/data/XmlLoaded.txt", [this](const std::string& text) {
        EXPECT_TRUE(test::Load(document, text));
        return test::XmlOf(document);
    });
}

TEST_F(HostWindowsXml, BadNamesQueriesAndPlacesFail)
{
    const auto refused = [](HRESULT result) { return result == E_FAIL ? "refused\n" : "taken\n"; };
    test::ExpectAnswers("unit/data/XmlNames.txt", [&](const std::string& name) {
        Com<IXMLDOMElement> element;
        Com<IXMLDOMProcessingInstruction> instruction;
        const HRESULT result = document->createElement(Bstr(std::string_view(name)), element.Receive());
        EXPECT_EQ(result, test::NewInstruction(document, name, "d", instruction));
        const Com<IXMLDOMElement> owner = test::NewElement(document, "x");
        EXPECT_EQ(result, owner->setAttribute(Bstr(std::string_view(name)), test::Variant(Bstr("v"sv))));
        return refused(result);
    });
    ASSERT_TRUE(test::Load(document, "<x><y/></x>"));
    test::ExpectAnswers("unit/data/XmlQueries.txt", [&](const std::string& query) {
        Com<IXMLDOMNode> found;
        Com<IXMLDOMNodeList> list;
        EXPECT_EQ(E_FAIL, document->selectNodes(Bstr(std::string_view(query)), list.Receive()));
        return refused(test::Select(document, query, found));
    });
    Com<IXMLDOMProcessingInstruction> instruction;
    EXPECT_EQ(E_FAIL, test::NewInstruction(document, "p", "a?>b", instruction));

    ASSERT_TRUE(test::Load(document, "<x><y/></x>"));
    for (const std::string_view query :
         {"", " ", "/", "//", ".", "..", "x/", "//x[", "x[0]", "x|", "@", "@a/x", "1", "count(x)", "x y", "///x",
          "text()", "x//"})
    {
        SCOPED_TRACE(query);
        Com<IXMLDOMNode> found;
        Com<IXMLDOMNodeList> list;
        EXPECT_EQ(E_FAIL, test::Select(document, query, found));
        EXPECT_EQ(E_FAIL, document->selectNodes(Bstr(query), list.Receive()));
        EXPECT_TRUE(found == nullptr && list == nullptr);
    }

    Com<IXMLDOMNode> x, y;
    ASSERT_EQ(S_OK, test::Select(document, "/x", x));
    ASSERT_EQ(S_OK, test::Select(document, "//y", y));
    const Com<IXMLDOMText> text = test::NewText(document, OLESTR("t"sv));
    const Com<IXMLDOMElement> second = test::NewElement(document, "z");
    const std::pair<IXMLDOMNode*, IXMLDOMNode*> rows[] = {{y, x},           {y, y},        {document, second},
                                                          {document, text}, {y, document}, {text, second}};
    for (const auto& [parent, child] : rows)
        EXPECT_EQ(E_FAIL, parent->appendChild(child, nullptr));
    EXPECT_EQ("<x><y/></x>\r\n", test::XmlOf(document));
}

TEST_F(HostWindowsXml, SavedBytesAreTheSerialisedText)
{
    document = test::Built("version=\"1.0\" encoding=\"UTF-16\"", OLESTR("a\nb"sv));
    const std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-16\"?>\r\n<x>a\r\nb</x>\r\n";
    EXPECT_EQ(xml, test::XmlOf(document));
    ASSERT_EQ(S_OK, Save(folder.File("x.xml")));
    EXPECT_EQ("\xFF\xFE" + test::Utf16Bytes(test::ToWide(xml)), test::ReadFileBytes(folder.File("x.xml")));
}

TEST_F(HostWindowsXml, AFailedSaveSaysWhyAndKeepsTheFile)
{
    const Wide held = folder.File("held"), readOnly = folder.File("readonly"), other = folder.File("other");
    for (const Wide& path : {held, readOnly, other})
        test::WriteFileBytes(path, "old");
    test::SetReadOnly(readOnly, true);
    const HANDLE holder = ::CreateFileW(
        held.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, holder);
    const std::tuple<const char*, Wide, HRESULT> rows[] = {
        {"UTF-8", folder.File("none\\x.xml"), HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND)},
        {"UTF-8", folder.Path(), E_ACCESSDENIED},
        {"UTF-8", Wide(), E_INVALIDARG},
        {"UTF-8", readOnly, E_ACCESSDENIED},
        {"UTF-8", held, HRESULT_FROM_WIN32(ERROR_SHARING_VIOLATION)},
        {"windows-1252", other, E_FAIL}, // lacks the character
        {"nowhere-1", other, E_FAIL},
    };
    for (const auto& [encoding, path, result] : rows)
    {
        document = test::Built("version=\"1.0\" encoding=\"" + std::string(encoding) + "\"", OLESTR("\x0416"sv));
        EXPECT_EQ(result, Save(path)) << encoding << test::ToUtf8(path);
    }
    ::CloseHandle(holder);
    for (const Wide& path : {held, readOnly, other})
        EXPECT_EQ("old", test::ReadFileBytes(path));
}

TEST_F(HostWindowsXml, NoFileHoldsUpALoad)
{
    const Wide pipe = folder.File("pipe.xml");
    ASSERT_EQ(0, ::mkfifo(LinuxPath(pipe).c_str(), 0600));
    EXPECT_FALSE(test::LoadFile(document, pipe));

    const Wide huge = folder.File("huge.xml");
    test::WriteFileBytes(huge, "<x/>");
    ASSERT_EQ(0, ::truncate(LinuxPath(huge).c_str(), off_t{1} << 36));
    EXPECT_FALSE(test::LoadFile(document, huge));
    EXPECT_FALSE(test::LoadFile(document, OLESTR("Z:\\dev\\zero")));

    test::WriteFileBytes(folder.File("odd.xml"), "\xFF\xFE<");
    EXPECT_FALSE(test::LoadFile(document, folder.File("odd.xml")));
    test::WriteFileBytes(folder.File("mark.xml"), "\xFF\xFE");
    EXPECT_FALSE(test::LoadFile(document, folder.File("mark.xml")));
}

TEST_F(HostWindowsXml, EntitiesNeitherFillTheMemoryNorTakeForever)
{
    constexpr std::size_t depth = 100000; // takes no stack
    EXPECT_FALSE(test::Load(document, test::Repeated("<x>", depth) + test::Repeated("</x>", depth)));
    const std::clock_t start = std::clock();
    for (const std::string_view bottom : {"ha"sv, ""sv, "<y/>"sv, "<!---->"sv})
    {
        SCOPED_TRACE(bottom);
        std::string text = test::EntityPyramid(bottom, 12);
        EXPECT_FALSE(test::Load(document, text));
        text.replace(text.find("'A'") + 1, 1, "&e12;");
        EXPECT_FALSE(test::Load(document, text));
    }
    // One long entity, many times: linear in the text, and yet too much.
    EXPECT_FALSE(test::Load(
        document,
        "<!DOCTYPE x [<!ENTITY e '" + std::string(100000, 'a') + "'>]><x>" + test::Repeated("&e;", 20000) + "</x>"));
    EXPECT_LT((std::clock() - start) / CLOCKS_PER_SEC, 20);
}

} // namespace
