#include "LetterCase.h"

#include <algorithm>
#include <cwctype>
#include <locale.h>
#include <new>

namespace hostwindows
{
namespace
{

constexpr char16_t firstBeyondAscii = 0x80;

/// The C library's letters of all alphabets. Its file is opened by the first letter beyond ASCII, which most runs never
/// meet.
::locale_t Letters()
{
    static const ::locale_t letters = [] {
        const ::locale_t made = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
        if (made == nullptr) // it comes with the library: memory ran out
            throw std::bad_alloc();
        return made;
    }();
    return letters;
}

} // namespace

char16_t Capital(char16_t unit)
{
    if (unit < firstBeyondAscii)
        return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - u'a' + u'A') : unit;
    const ::wint_t capital = ::towupper_l(unit, Letters());
    // Only pairs that lead both ways count: a final sigma, a long s or a dotless i is a letter of its own.
    return ::towlower_l(capital, Letters()) == unit ? static_cast<char16_t>(capital) : unit;
}

bool EqualWithoutCase(std::u16string_view left, std::u16string_view right)
{
    return std::ranges::equal(left, right, [](char16_t one, char16_t other) {
        // No pair has a letter on either side of the border of ASCII.
        return one == other ||
               ((one < firstBeyondAscii) == (other < firstBeyondAscii) && Capital(one) == Capital(other));
    });
}

} // namespace hostwindows
