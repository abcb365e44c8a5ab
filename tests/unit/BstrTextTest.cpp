#include "BstrText.h"

#include "TestSupport.h"

using namespace scankelv;

TEST(BstrText, NullIsNoTextAndZeroesAreKept)
{
    const _bstr_t null(static_cast<const wchar_t*>(nullptr)), empty(L"");
    EXPECT_TRUE(null.IsNull() && _bstr_t::Adopt(nullptr).IsNull() && null.Get() == nullptr && null.Narrow() == nullptr);
    EXPECT_FALSE(empty.IsNull() || (null + null).IsNull() || empty.Get() == nullptr || empty.Narrow() == nullptr);
    EXPECT_TRUE(null == empty && null.View().empty() && !(null == _bstr_t(L"a")));
    const std::wstring inner(L"a\0b", 3);
    const _bstr_t whole(inner), joined = whole + whole;
    EXPECT_TRUE(joined.View() == inner + inner && joined.Get()[6] == 0 && _bstr_t(inner.c_str()).View() == L"a");
}

TEST(BstrText, CopiesShareWhatWasTakenOver)
{
    const BSTR system = ::SysAllocString(L"K\x00F6ln \x4E2D");
    _bstr_t first = _bstr_t::Adopt(system);
    const _bstr_t second = first;
    EXPECT_TRUE(first.Get() == system && second.Get() == system);
    EXPECT_EQ(NarrowFromWide(L"K\x00F6ln \x4E2D"), second.Narrow());
    EXPECT_EQ(second.Narrow(), first.Narrow()); // made once, for both
    const _bstr_t moved = std::move(first);
    EXPECT_TRUE(first.IsNull() && moved.Get() == system); // NOLINT(bugprone-use-after-move)
    first = second;
    first = L"other";
    EXPECT_TRUE(first.View() == L"other" && second.Get() == system && second == moved);
}
