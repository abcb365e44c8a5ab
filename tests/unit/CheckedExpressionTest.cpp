#include "CheckedExpression.h"

#include "TestSupport.h"

using namespace scankelv;
using namespace test;

namespace
{

TEST(CheckedExpression, Placeholder)
{
    const PrivateRegistry registry;
    Store(HKEY_CURRENT_USER, L"A\\B", L"n", DWORD(7));
    Store(HKEY_CURRENT_USER, L"A\\B", L"t", L"text");
    StoreBytes(HKEY_CURRENT_USER, L"A\\B", L"b", REG_BINARY, "\x0A\xFF");
    EXPECT_EQ("#7", Stored(HKEY_CURRENT_USER, L"A\\B", L"n"));
    EXPECT_EQ("text", Stored(HKEY_CURRENT_USER, L"A\\B", L"t"));
    EXPECT_EQ("type 3: 0A FF", Stored(HKEY_CURRENT_USER, L"A\\B", L"b"));
    EXPECT_THAT(StoredNames(HKEY_CURRENT_USER, L"A\\B"), testing::UnorderedElementsAre("n", "t", "b"));
}

} // namespace
