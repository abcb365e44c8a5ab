// Section, key and value (the first three lines) written to a profile file (what follows): it reads as it was written,
// and no other line changes.
#include "ProfileFile.h"

#include "Fuzz.h"

#include <algorithm>
#include <charconv>
#include <vector>

namespace
{

using namespace fuzz;

constexpr const char* fileName = "fuzz.ini";
constexpr const WCHAR* filePath = OLESTR("C:\\fuzz.ini");

/// The units of a file: bytes, or 16-bit units behind a byte-order mark.
std::vector<unsigned> UnitsOf(std::string_view bytes)
{
    const std::size_t width = bytes.starts_with("\xFF\xFE") ? 2 : 1;
    std::vector<unsigned> units;
    const auto at = [&](std::size_t i) { return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0U; };
    for (std::size_t i = 0; i < bytes.size(); i += width)
        units.push_back(at(i) | (width == 2 ? at(i + 1) << 8U : 0U));
    return units;
}

/// What differs between the two is within one line, and no more is new than was written.
void RequireOneLineChanged(std::string_view before, std::string_view after, std::size_t written)
{
    const std::vector<unsigned> old = UnitsOf(before);
    const std::vector<unsigned> now = UnitsOf(after);
    const auto [oldAt, nowAt] = std::ranges::mismatch(old, now);
    const auto alike =
        std::mismatch(old.rbegin(), std::make_reverse_iterator(oldAt), now.rbegin(), std::make_reverse_iterator(nowAt));
    const std::vector<unsigned> removed(oldAt, alike.first.base());
    const auto added = static_cast<std::size_t>(alike.second.base() - nowAt);
    Require(std::ranges::find(removed, '\n') == removed.end(), "other lines stay as they are", after);
    Require(std::ranges::find(removed, '\r') == removed.end(), "other lines stay as they are", after);
    Require(added <= written, "nothing else is written", after);
}

bool IsPlainName(WideView name)
{
    return !name.empty() && name.find_first_of(OLESTR("[]=;\r\n")) == name.npos &&
           std::ranges::all_of(name, [](WCHAR unit) { return unit > ' ' && unit < 0xD800; });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string_view input = TextOf(data, size);
    const WideText section = Widen(TakeLine(input)).c_str();
    const WideText key = Widen(TakeLine(input)).c_str();
    const WideText value = Widen(TakeLine(input)).c_str();
    WriteMachineFile(fileName, input);
    scankelv::ProfileFileWide file{scankelv::ResourceLocationWide(filePath)};

    if (!file.SetString(section.c_str(), key.c_str(), value.c_str()))
    {
        Require(ReadMachineFile(fileName) == input, "a refused write changes nothing");
        return 0;
    }
    const std::string after = ReadMachineFile(fileName);
    constexpr std::size_t widest = 3;  // bytes of a unit
    constexpr std::size_t around = 12; // "\r\n[]\r\n=\r\n"
    RequireOneLineChanged(input, after, (section.size() + key.size() + value.size()) * widest + around);
    if (!IsPlainName(section) || !IsPlainName(key))
        return 0;
    Require(
        file.SetString(section.c_str(), key.c_str(), value.c_str()) && ReadMachineFile(fileName) == after,
        "a second write of the same changes nothing", after);
    if (IsPlainName(value) && value.size() < 255 && value.find_first_of(OLESTR("\"'")) == value.npos)
    {
        scankelv::ResourceLocationWide read;
        Require(file.GetString(section.c_str(), key.c_str(), read) && read.View() == value, "a text reads as written");
    }
    DWORD number = 0;
    std::from_chars(input.data(), input.data() + input.size(), number, 16);
    DWORD readNumber = 1;
    Require(
        file.SetULong(section.c_str(), key.c_str(), number) &&
            file.GetULong(section.c_str(), key.c_str(), &readNumber) &&
            readNumber == (static_cast<std::int32_t>(number) < 0 ? 0 : number),
        "a number reads as written, a negative one as 0");
    return 0;
}
