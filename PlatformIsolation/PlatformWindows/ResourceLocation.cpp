#include "ResourceLocation.h"

#include "CheckedExpression.h"
#include "CodePage.h"
#include "FolderOperations.h"
#include "ResourceLocationShell.h"
#include "VendorNames.h"

namespace scankelv
{
namespace
{

HMODULE programModule = nullptr;

ResourceLocation LogFolderFile(const char* name)
{
    const ResourceLocation root = UserDataRootLocation();
    return root.IsEmpty() ? ResourceLocation() : ComposeLocation(root.Text(), nullptr, VENDOR_LOG_FOLDER, name, false);
}

} // namespace

void RecordModuleHandle(HMODULE module)
{
    programModule = module;
}

ResourceLocation InCodePage(ResourceLocation location, std::wstring_view path)
{
    if (WideFromNarrow(location.View()) == path)
        return location;
    const std::wstring whole(path);
    std::wstring shortName(::GetShortPathNameW(whole.c_str(), nullptr, 0), L'\0'); // terminator counted, or 0
    shortName.resize(::GetShortPathNameW(whole.c_str(), shortName.data(), static_cast<DWORD>(shortName.size())));
    const std::string narrow = NarrowFromWide(shortName);
    const bool fitsCodePage = !shortName.empty() && WideFromNarrow(narrow) == shortName;
    if (!Checked(DebugConsoleLogger, CheckBoolean, fitsCodePage, "fitsCodePage", 0))
        return {};
    return ResourceLocation(narrow);
}

template <class CharType>
BasicResourceLocation<CharType> ModuleFileLocation()
{
    // No path in the system is longer than this.
    constexpr DWORD longestPath = 0x8000;
    for (DWORD size = 512; size <= longestPath; size *= 2)
    {
        BasicResourceLocation<CharType> location;
        if (!location.Create(size))
            return {};
        const DWORD length =
            Form<CharType>(::GetModuleFileNameA, ::GetModuleFileNameW)(programModule, location.Elements(), size);
        if (length == 0)
            return {};
        if (length < size)
        {
            if constexpr (std::is_same_v<CharType, char>)
                return InCodePage(std::move(location), ModuleFileLocation<wchar_t>().View());
            else
                return location;
        }
    }
    return {};
}

template <class CharType>
BasicResourceLocation<CharType> ModuleFolderLocation()
{
    const BasicResourceLocation<CharType> file = ModuleFileLocation<CharType>();
    const std::basic_string_view<CharType> path = file.View();
    const std::size_t separator = path.rfind(CharType('\\'));
    if (separator == path.npos)
        return {};
    return BasicResourceLocation<CharType>(path.substr(0, separator));
}

template <class CharType>
BasicResourceLocation<CharType> LocationOfModuleFile(const CharType* name)
{
    const BasicResourceLocation<CharType> folder = ModuleFolderLocation<CharType>();
    if (folder.View().empty() || name == nullptr || *name == CharType())
        return {};
    const std::basic_string_view<CharType> file = name;
    BasicResourceLocation<CharType> location;
    if (!location.Create(folder.View().size() + 1 + file.size() + 1))
        return {};
    CharType* end = std::copy(folder.View().begin(), folder.View().end(), location.Elements());
    *end++ = '\\';
    std::copy(file.begin(), file.end(), end);
    return location;
}

template ResourceLocation ModuleFileLocation<char>();
template ResourceLocationWide ModuleFileLocation<wchar_t>();
template ResourceLocation ModuleFolderLocation<char>();
template ResourceLocationWide ModuleFolderLocation<wchar_t>();
template ResourceLocation LocationOfModuleFile<char>(const char*);
template ResourceLocationWide LocationOfModuleFile<wchar_t>(const wchar_t*);

ResourceLocation ComposeLocation(const char* root, const char* part1, const char* part2, const char* part3, bool create)
{
    const struct
    {
        const char* text;
        bool isFolder;
    } parts[] = {{part1, true}, {part2, true}, {part3, false}};

    const std::string_view start = root == nullptr ? "" : root;
    std::size_t size = start.size() + 1;
    for (const auto& part : parts)
        size += part.text == nullptr ? 0 : 1 + std::string_view(part.text).size();
    ResourceLocation location;
    if (!location.Create(size))
        return {};
    char* end = std::copy(start.begin(), start.end(), location.Elements());
    if (create)
        FolderCreateIfAbsent(location.Text());
    for (const auto& part : parts)
    {
        if (part.text != nullptr)
        {
            const std::string_view text = part.text;
            *end++ = '\\';
            end = std::copy(text.begin(), text.end(), end);
        }
        if (create && part.isFolder)
            FolderCreateIfAbsent(location.Text());
    }
    return location;
}

ResourceLocation DebugIniLocation()
{
    return LogFolderFile("Debug.ini");
}

ResourceLocation LogFileLocation()
{
    return LogFolderFile("Log.txt");
}

ResourceLocation WiaConfigLocation()
{
    const ResourceLocation root = CommonDataRootLocation();
    return root.IsEmpty()
               ? ResourceLocation()
               : ComposeLocation(root.Text(), VENDOR_DRIVER_STORE, VENDOR_DEFAULT_PRODUCT, "Config.ini", true);
}

} // namespace scankelv
