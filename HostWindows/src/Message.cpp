// The system's message texts, of the codes that the functions here give.

#include "Handles.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <string_view>
#include <windows.h>

namespace
{

struct Message
{
    DWORD code;
    std::string_view text; // as documented, without the line break that each ends with
};

constexpr Message messages[] = {
    {0, "The operation completed successfully."},
    {1, "Incorrect function."},
    {2, "The system cannot find the file specified."},
    {3, "The system cannot find the path specified."},
    {4, "The system cannot open the file."},
    {5, "Access is denied."},
    {6, "The handle is invalid."},
    {8, "Not enough storage is available to process this command."},
    {13, "The data is invalid."},
    {14, "Not enough storage is available to complete this operation."},
    {19, "The media is write protected."},
    {31, "A device attached to the system is not functioning."},
    {32, "The process cannot access the file because it is being used by another process."},
    {80, "The file exists."},
    {87, "The parameter is incorrect."},
    {112, "There is not enough space on the disk."},
    {122, "The data area passed to a system call is too small."},
    {123, "The filename, directory name, or volume label syntax is incorrect."},
    {126, "The specified module could not be found."},
    {127, "The specified procedure could not be found."},
    {131, "An attempt was made to move the file pointer before the beginning of the file."},
    {161, "The specified path is invalid."},
    {170, "The requested resource is in use."},
    {183, "Cannot create a file when that file already exists."},
    {193, "%1 is not a valid Win32 application."},
    {203, "The system could not find the environment option that was entered."},
    {206, "The filename or extension is too long."},
    {234, "More data is available."},
    {258, "The wait operation timed out."},
    {259, "No more data is available."},
    {317, "The system cannot find message text for message number 0x%1 in the message file for %2."},
    {487, "Attempt to access invalid address."},
    {998, "Invalid access to memory location."},
    {1015, "The registry is corrupted. The structure of one of the files containing registry data is corrupted, or the "
           "system's memory image of the file is corrupted, or the file could not be recovered because the alternate "
           "copy or log was absent or corrupted."},
    {1016, "An I/O operation initiated by the registry failed unrecoverably. The registry could not read in, or write "
           "out, or flush, one of the files that contain the system's image of the registry."},
    {1018, "Illegal operation attempted on a registry key that has been marked for deletion."},
    {1021, "Cannot create a stable subkey under a volatile parent key."},
    {1132, "The base address or the file offset specified does not have the proper alignment."},
    {1155, "No application is associated with the specified file for this operation."},
    {1305, "The revision level is unknown."},
    {1337, "The security ID structure is invalid."},
    {1812, "The specified image file did not contain a resource section."},
    {1813, "The specified resource type cannot be found in the image file."},
    {1815, "The specified resource language ID cannot be found in the image file."},
    {0x80004002, "No such interface supported"},
    {0x80004003, "Invalid pointer"},
    {0x80004005, "Unspecified error"},
    {0x80010106, "Cannot change thread mode after it is set."},
    {0x80040154, "Class not registered"},
    {0x800401F0, "CoInitialize has not been called."},
};
static_assert(std::ranges::is_sorted(messages, std::ranges::less_equal{}, &Message::code));

constexpr std::string_view lineBreak = "\r\n";

const Message* Find(DWORD code)
{
    // An HRESULT that wraps a system error code has that code's text.
    constexpr DWORD wrapped = 0x80070000;
    if ((code & 0xFFFF0000) == wrapped)
        code &= 0xFFFF;
    const Message* found = std::ranges::lower_bound(messages, code, {}, &Message::code);
    return found != std::end(messages) && found->code == code ? found : nullptr;
}

/// There is only the language that Windows calls neutral or the user's default, and U.S. English is both.
bool IsLanguageKnown(DWORD language)
{
    constexpr DWORD neutral = 0;
    constexpr DWORD userDefault = 0x400;
    constexpr DWORD english = 0x409;
    return language == neutral || language == userDefault || language == english;
}

} // namespace

DWORD FormatMessageA(DWORD flags, LPCVOID, DWORD code, DWORD language, LPSTR buffer, DWORD size, va_list*)
{
    using hostwindows::Refused;
    if (flags != (FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS) || buffer == nullptr)
        return Refused<DWORD>(ERROR_INVALID_PARAMETER);
    if (!IsLanguageKnown(language))
        return Refused<DWORD>(ERROR_RESOURCE_LANG_NOT_FOUND);
    const Message* message = Find(code);
    if (message == nullptr)
        return Refused<DWORD>(ERROR_MR_MID_NOT_FOUND);
    const std::size_t length = message->text.size() + lineBreak.size();
    if (length >= size)
        return Refused<DWORD>(ERROR_INSUFFICIENT_BUFFER);
    message->text.copy(buffer, message->text.size());
    lineBreak.copy(buffer + message->text.size(), lineBreak.size());
    buffer[length] = '\0';
    return static_cast<DWORD>(length);
}
