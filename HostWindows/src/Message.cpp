// The system's message texts.

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
    {7, "The storage control blocks were destroyed."},
    {8, "Not enough storage is available to process this command."},
    {9, "The storage control block address is invalid."},
    {10, "The environment is incorrect."},
    {11, "An attempt was made to load a program with an incorrect format."},
    {12, "The access code is invalid."},
    {13, "The data is invalid."},
    {14, "Not enough storage is available to complete this operation."},
    {15, "The system cannot find the drive specified."},
    {16, "The directory cannot be removed."},
    {17, "The system cannot move the file to a different disk drive."},
    {18, "There are no more files."},
    {19, "The media is write protected."},
    {20, "The system cannot find the device specified."},
    {21, "The device is not ready."},
    {22, "The device does not recognize the command."},
    {23, "Data error (cyclic redundancy check)."},
    {24, "The program issued a command but the command length is incorrect."},
    {25, "The drive cannot locate a specific area or track on the disk."},
    {26, "The specified disk or diskette cannot be accessed."},
    {27, "The drive cannot find the sector requested."},
    {28, "The printer is out of paper."},
    {29, "The system cannot write to the specified device."},
    {30, "The system cannot read from the specified device."},
    {31, "A device attached to the system is not functioning."},
    {32, "The process cannot access the file because it is being used by another process."},
    {33, "The process cannot access the file because another process has locked a portion of the file."},
    {36, "Too many files opened for sharing."},
    {38, "Reached the end of the file."},
    {39, "The disk is full."},
    {50, "The request is not supported."},
    {52, "You were not connected because a duplicate name exists on the network. If joining a domain, go to System in "
         "Control Panel to change the computer name and try again. If joining a workgroup, choose another workgroup "
         "name."},
    {53, "The network path was not found."},
    {54, "The network is busy."},
    {55, "The specified network resource or device is no longer available."},
    {59, "An unexpected network error occurred."},
    {64, "The specified network name is no longer available."},
    {65, "Network access is denied."},
    {67, "The network name cannot be found."},
    {80, "The file exists."},
    {82, "The directory or file cannot be created."},
    {83, "Fail on INT 24."},
    {84, "Storage to process this request is not available."},
    {85, "The local device name is already in use."},
    {86, "The specified network password is not correct."},
    {87, "The parameter is incorrect."},
    {88, "A write fault occurred on the network."},
    {89, "The system cannot start another process at this time."},
    {108, "The disk is in use or locked by another process."},
    {109, "The pipe has been ended."},
    {110, "The system cannot open the device or file specified."},
    {111, "The file name is too long."},
    {112, "There is not enough space on the disk."},
    {120, "This function is not supported on this system."},
    {121, "The semaphore timeout period has expired."},
    {122, "The data area passed to a system call is too small."},
    {123, "The filename, directory name, or volume label syntax is incorrect."},
    {124, "The system call level is not correct."},
    {126, "The specified module could not be found."},
    {127, "The specified procedure could not be found."},
    {128, "There are no child processes to wait for."},
    {131, "An attempt was made to move the file pointer before the beginning of the file."},
    {132, "The file pointer cannot be set on the specified device or file."},
    {145, "The directory is not empty."},
    {148, "The path specified cannot be used at this time."},
    {158, "The segment is already unlocked."},
    {160, "One or more arguments are not correct."},
    {161, "The specified path is invalid."},
    {167, "Unable to lock a region of a file."},
    {170, "The requested resource is in use."},
    {183, "Cannot create a file when that file already exists."},
    {186, "The flag passed is not correct."},
    {187, "The specified system semaphore name was not found."},
    {193, "%1 is not a valid Win32 application."},
    {196, "The operating system cannot run this application program."},
    {203, "The system could not find the environment option that was entered."},
    {205, "No process in the command subtree has a signal handler."},
    {206, "The filename or extension is too long."},
    {212, "The segment is locked and cannot be reallocated."},
    {216,
     "This version of %1 is not compatible with the version of Windows you're running. Check your computer's system "
     "information and then contact the software publisher."},
    {230, "The pipe state is invalid."},
    {231, "All pipe instances are busy."},
    {232, "The pipe is being closed."},
    {233, "No process is on the other end of the pipe."},
    {234, "More data is available."},
    {254, "The specified extended attribute name was invalid."},
    {255, "The extended attributes are inconsistent."},
    {258, "The wait operation timed out."},
    {259, "No more data is available."},
    {267, "The directory name is invalid."},
    {276, "The extended attribute file on the mounted file system is corrupt."},
    {288, "Attempt to release mutex not owned by caller."},
    {298, "Too many posts were made to a semaphore."},
    {299, "Only part of a ReadProcessMemory or WriteProcessMemory request was completed."},
    {317, "The system cannot find message text for message number 0x%1 in the message file for %2."},
    {487, "Attempt to access invalid address."},
    {534, "Arithmetic result exceeded 32 bits."},
    {535, "There is a process on other end of the pipe."},
    {536, "Waiting for a process to open the other end of the pipe."},
    {994, "Access to the extended attribute was denied."},
    {995, "The I/O operation has been aborted because of either a thread exit or an application request."},
    {996, "Overlapped I/O event is not in a signaled state."},
    {997, "Overlapped I/O operation is in progress."},
    {998, "Invalid access to memory location."},
    {999, "Error performing inpage operation."},
    {1001, "Recursion too deep; the stack overflowed."},
    {1003, "Cannot complete this function."},
    {1004, "Invalid flags."},
    {1005,
     "The volume does not contain a recognized file system. Please make sure that all required file system drivers "
     "are loaded and that the volume is not corrupted."},
    {1006, "The volume for a file has been externally altered so that the opened file is no longer valid."},
    {1008, "An attempt was made to reference a token that does not exist."},
    {1009, "The configuration registry database is corrupt."},
    {1010, "The configuration registry key is invalid."},
    {1011, "The configuration registry key could not be opened."},
    {1012, "The configuration registry key could not be read."},
    {1013, "The configuration registry key could not be written."},
    {1014, "One of the files in the registry database had to be recovered by use of a log or alternate copy. The "
           "recovery was successful."},
    {1015, "The registry is corrupted. The structure of one of the files containing registry data is corrupted, or the "
           "system's memory image of the file is corrupted, or the file could not be recovered because the alternate "
           "copy or log was absent or corrupted."},
    {1016, "An I/O operation initiated by the registry failed unrecoverably. The registry could not read in, or write "
           "out, or flush, one of the files that contain the system's image of the registry."},
    {1017, "The system has attempted to load or restore a file into the registry, but the specified file is not in a "
           "registry file format."},
    {1018, "Illegal operation attempted on a registry key that has been marked for deletion."},
    {1019, "System could not allocate the required space in a registry log."},
    {1020, "Cannot create a symbolic link in a registry key that already has subkeys or values."},
    {1021, "Cannot create a stable subkey under a volatile parent key."},
    {1053, "The service did not respond to the start or control request in a timely fashion."},
    {1058, "The service cannot be started, either because it is disabled or because it has no enabled devices "
           "associated with it."},
    {1060, "The specified service does not exist as an installed service."},
    {1100, "The physical end of the tape has been reached."},
    {1113, "No mapping for the Unicode character exists in the target multi-byte code page."},
    {1114, "A dynamic link library (DLL) initialization routine failed."},
    {1115, "A system shutdown is in progress."},
    {1117, "The request could not be performed because of an I/O device error."},
    {1126, "While accessing the hard disk, a disk operation failed even after retries."},
    {1130, "Not enough server storage is available to process this command."},
    {1131, "A potential deadlock condition has been detected."},
    {1132, "The base address or the file offset specified does not have the proper alignment."},
    {1150, "The specified program requires a newer version of Windows."},
    {1152, "Cannot start more than one instance of the specified program."},
    {1154, "One of the library files needed to run this application is damaged."},
    {1155, "No application is associated with the specified file for this operation."},
    {1156, "An error occurred in sending the command to the application."},
    {1157, "One of the library files needed to run this application cannot be found."},
    {1158, "The current process has used all of its system allowance of handles for Window Manager objects."},
    {1159, "The message can be used only with synchronous operations."},
    {1167, "The device is not connected."},
    {1168, "Element not found."},
    {1200, "The specified device name is invalid."},
    {1223, "The operation was canceled by the user."},
    {1225, "The remote computer refused the network connection."},
    {1231, "The network location cannot be reached. For information about network troubleshooting, see Windows Help."},
    {1235, "The request was aborted."},
    {1240, "The account is not authorized to log in from this station."},
    {1260, "This program is blocked by group policy. For more information, contact your system administrator."},
    {1300, "Not all privileges or groups referenced are assigned to the caller."},
    {1305, "The revision level is unknown."},
    {1307, "This security ID may not be assigned as the owner of this object."},
    {1314, "A required privilege is not held by the client."},
    {1332, "No mapping between account names and security IDs was done."},
    {1336, "The access control list (ACL) structure is invalid."},
    {1337, "The security ID structure is invalid."},
    {1338, "The security descriptor structure is invalid."},
    {1392, "The file or directory is corrupted and unreadable."},
    {1400, "Invalid window handle."},
    {1450, "Insufficient system resources exist to complete the requested service."},
    {1460, "This operation returned because the timeout period expired."},
    {1784, "The supplied user buffer is not valid for the requested operation."},
    {1812, "The specified image file did not contain a resource section."},
    {1813, "The specified resource type cannot be found in the image file."},
    {1814, "The specified resource name cannot be found in the image file."},
    {1815, "The specified resource language ID cannot be found in the image file."},
    {0x80004001, "Not implemented"},
    {0x80004002, "No such interface supported"},
    {0x80004003, "Invalid pointer"},
    {0x80004005, "Unspecified error"},
    {0x8000FFFF, "Catastrophic failure"},
    {0x80010106, "Cannot change thread mode after it is set."},
    {0x80040110, "Class does not support aggregation (or class object is remote)"},
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
    const auto refused = [](DWORD error) {
        ::SetLastError(error);
        return DWORD{0};
    };
    if (flags != (FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS) || buffer == nullptr)
        return refused(ERROR_INVALID_PARAMETER);
    if (!IsLanguageKnown(language))
        return refused(ERROR_RESOURCE_LANG_NOT_FOUND);
    const Message* message = Find(code);
    if (message == nullptr)
        return refused(ERROR_MR_MID_NOT_FOUND);
    const std::size_t length = message->text.size() + lineBreak.size();
    if (length >= size)
        return refused(ERROR_INSUFFICIENT_BUFFER);
    message->text.copy(buffer, message->text.size());
    lineBreak.copy(buffer + message->text.size(), lineBreak.size());
    buffer[length] = '\0';
    return static_cast<DWORD>(length);
}
