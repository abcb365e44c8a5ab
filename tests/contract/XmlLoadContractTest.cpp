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
    /// What the document holds after a load. A refused one leaves nothing behind.
    std::string Held(bool loaded)
    {
        Com<IXMLDOMParseError> error;
        LONG code = 77;
        EXPECT_EQ(S_OK, document->get_parseError(error.Receive()));
        EXPECT_EQ(loaded ? S_FALSE : S_OK, error->get_errorCode(&code));
        EXPECT_EQ(loaded, code == 0);
        Com<IXMLDOMElement> root;
        EXPECT_EQ(loaded ? S_OK : S_FALSE, document->get_documentElement(root.Receive()));
        EXPECT_EQ(loaded, root != nullptr);
        EXPECT_EQ(loaded, !test::XmlOf(document).empty());
        return (loaded ? "holds [" : "refused [") + test::TextOf(document) + "]\n";
    }

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
    VARIANT_BOOL async = 77, preserving = 77;
    Com<IXMLDOMParseError> error;
    Com<IXMLDOMElement> root;
    LONG code = 77;
    EXPECT_EQ(S_OK, fresh->get_async(&async));
    EXPECT_EQ(S_OK, fresh->get_preserveWhiteSpace(&preserving));
    EXPECT_TRUE(async == VARIANT_TRUE && preserving == VARIANT_FALSE);
    EXPECT_EQ(S_FALSE, fresh->get_documentElement(root.Receive()));
    EXPECT_EQ(S_OK, fresh->get_parseError(error.Receive()));
    error->get_errorCode(&code);
    EXPECT_EQ(0, code);
    EXPECT_EQ("", test::TextOf(fresh) + test::XmlOf(fresh));
}

TEST_F(XmlLoadContract, TextsAreTakenOrRefused)
{
    for (const WCHAR* const halfOfAPair : {OLESTR("<x>\xD83D</x>"), OLESTR("<x>\xDE00</x>")})
        EXPECT_FALSE(test::Load(document, halfOfAPair));
    test::ExpectAnswers("contract/data/XmlLoads.txt", [this](const std::string& text) {
        EXPECT_TRUE(test::Load(document, "<before/>"));
        return Held(test::Load(document, text));
    });
    VARIANT_BOOL success = 77;
    EXPECT_EQ(S_FALSE, document->loadXML(nullptr, &success));
    EXPECT_EQ(VARIANT_FALSE, success);
    EXPECT_EQ("", test::TextOf(document) + test::XmlOf(document));
}

TEST_F(XmlLoadContract, NestingAndEntitiesAreBounded)
{
    for (const std::size_t depth : {250U, 300U})
        EXPECT_EQ(depth == 250, test::Load(document, test::Repeated("<x>", depth) + test::Repeated("</x>", depth)));
    EXPECT_TRUE(test::Load(document, test::EntityPyramid("ha", 1)));
    EXPECT_FALSE(test::Load(document, test::EntityPyramid("ha", 5)));
}

TEST_F(XmlLoadContract, FilesAreReadByTheirEncoding)
{
    const test::TemporaryFolder folder;
    const Wide path = folder.File("x.xml");
    const auto held = [&](const Wide& file) {
        EXPECT_TRUE(test::Load(document, "<before/>"));
        return Held(test::LoadFile(document, file));
    };
    test::ExpectAnswers("contract/data/XmlFiles.txt", [&](const std::string& given) {
        const std::string text = given.substr(given.find('|') + 1); // behind the encoding, if it is UTF-16
        test::WriteFileBytes(
            path, given.starts_with("UTF-16|") ? "\xFF\xFE" + test::Utf16Bytes(test::ToWide(text)) : text);
        return held(path);
    });
    for (const Wide& none : {folder.File("none.xml"), folder.File("none\\x.xml"), folder.Path(), Wide()})
        EXPECT_EQ("refused []\n", held(none)) << test::ToUtf8(none);
    VARIANT_BOOL success = 77;
    EXPECT_EQ(S_FALSE, document->load(VARIANT{}, &success));
    EXPECT_EQ(VARIANT_FALSE, success);
}

} // namespace
