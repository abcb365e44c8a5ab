#include "LetterCase.h"

#include <algorithm>
#include <clocale>
#include <cwctype>
#include <locale.h>

namespace hostwindows {

char16_t Capital(char16_t unit)
{
    constexpr char16_t firstBeyondAscii = 0x80;
    if (unit < firstBeyondAscii)
        return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - u'a' + u'A') : unit;
    // The process's own locale is "C", which knows ASCII only.
    static const ::locale_t unicode = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    if (unicode == nullptr)
        return unit;
    const std::wint_t capital = ::towupper_l(unit, unicode);
    return capital <= 0xFFFF ? static_cast<char16_t>(capital) : unit;
}

bool EqualWithoutCase(std::u16string_view left, std::u16string_view right)
{
    return std::ranges::equal(left, right, {}, Capital, Capital);
}

} // namespace hostwindows
