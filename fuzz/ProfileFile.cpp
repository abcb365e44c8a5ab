// Section, key and value (the first three lines) written to a profile file (what follows): it reads as it was written,
// and no other line changes.
#include "ProfileFile.h"

#include "Fuzz.h"

#include <algorithm>
#include <charconv>
#include <cstring>

using namespace fuzz;

namespace
{

/// The units of a file: bytes, or 16-bit units behind a byte-order mark.
WideText UnitsOf(std::string_view bytes)
{
    if (!bytes.starts_with("\xFF\xFE"))
        return {bytes.begin(), bytes.end()};
    WideText units((bytes.size() + 1) / 2, 0);
    std::memcpy(units.data(), bytes.data(), bytes.size());
    return units;
}

bool IsPlain(WideView text)
{
    return !text.empty() && text.find_first_of(OLESTR("[]=;\"'")) == text.npos &&
           std::ranges::all_of(text, [](WCHAR unit) { return unit > ' ' && unit < 0xD800; });
}

} // namespace

void fuzz::Try(std::string_view input)
{
    const std::string path = OnDrive("fuzz.ini");
    const WideText section = Widen(TakeLine(input)).c_str();
    const WideText key = Widen(TakeLine(input)).c_str();
    const WideText value = Widen(TakeLine(input)).c_str();
    WriteFile(path, input);
    ProfileFileWide file{ResourceLocationWide(OLESTR("C:\\fuzz.ini"))};
    const auto write = [&] { return file.SetString(section.c_str(), key.c_str(), value.c_str()); };
    const bool isWritten = write();
    const std::string after = BytesOf(path);
    Require(isWritten || after == input, "a refused write changes nothing");

    const WideText before = UnitsOf(input);
    const WideText now = UnitsOf(after);
    const auto [from, nowFrom] = std::ranges::mismatch(before, now);
    const auto [end, nowEnd] = std::mismatch(
        before.rbegin(), std::make_reverse_iterator(from), now.rbegin(), std::make_reverse_iterator(nowFrom));
    const WideView removed(from, end.base());
    const auto most = 3 * std::ssize(section + key + value) + std::ssize("[]=\r\n\r\n\r\n"); // 3: bytes of a unit
    Require(removed.find_first_of(OLESTR("\r\n")) == removed.npos, "other lines stay as they are", after);
    Require(nowEnd.base() - nowFrom <= most, "nothing else is written", after);
    if (!isWritten || !IsPlain(section) || !IsPlain(key))
        return;

    Require(write() && BytesOf(path) == after, "a second write of the same changes nothing", after);
    ResourceLocationWide text;
    if (IsPlain(value) && value.size() < 255)
        Require(file.GetString(section.c_str(), key.c_str(), text) && text.View() == value, "a text reads as written");
    DWORD number = 0;
    std::from_chars(input.data(), input.data() + input.size(), number, 16);
    DWORD read = 1;
    const DWORD expected = number >> 31 != 0 ? 0 : number;
    Require(file.SetULong(section.c_str(), key.c_str(), number), "a number can be written");
    Require(file.GetULong(section.c_str(), key.c_str(), &read) && read == expected, "it reads, a negative one as 0");
}
