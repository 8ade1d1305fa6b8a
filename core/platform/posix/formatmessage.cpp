#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string_view>

#include "platform/platform.h"

namespace
{
struct SMessage
{
    DWORD number;
    std::wstring_view text; // without the line break at the end
};

// Ordered by number.
constexpr SMessage c_Messages[] = {
    {0, L"The operation completed successfully."},
    {1, L"Incorrect function."},
    {2, L"The system cannot find the file specified."},
    {3, L"The system cannot find the path specified."},
    {4, L"The system cannot open the file."},
    {5, L"Access is denied."},
    {6, L"The handle is invalid."},
    {7, L"The storage control blocks were destroyed."},
    {8, L"Not enough memory resources are available to process this command."},
    {9, L"The storage control block address is invalid."},
    {10, L"The environment is incorrect."},
    {11, L"An attempt was made to load a program with an incorrect format."},
    {12, L"The access code is invalid."},
    {13, L"The data is invalid."},
    {14, L"Not enough memory resources are available to complete this operation."},
    {15, L"The system cannot find the drive specified."},
    {16, L"The directory cannot be removed."},
    {17, L"The system cannot move the file to a different disk drive."},
    {18, L"There are no more files."},
    {19, L"The media is write protected."},
    {20, L"The system cannot find the device specified."},
    {21, L"The device is not ready."},
    {22, L"The device does not recognize the command."},
    {23, L"Data error (cyclic redundancy check)."},
    {24, L"The program issued a command but the command length is incorrect."},
    {25, L"The drive cannot locate a specific area or track on the disk."},
    {26, L"The specified disk or diskette cannot be accessed."},
    {27, L"The drive cannot find the sector requested."},
    {28, L"The printer is out of paper."},
    {29, L"The system cannot write to the specified device."},
    {30, L"The system cannot read from the specified device."},
    {31, L"A device attached to the system is not functioning."},
    {32, L"The process cannot access the file because it is being used by another process."},
    {33, L"The process cannot access the file because another process has locked a portion of the file."},
    {34, L"The wrong diskette is in the drive.\r\nInsert %2 (Volume Serial Number: %3) into drive %1."},
    {36, L"Too many files opened for sharing."},
    {38, L"Reached the end of the file."},
    {39, L"The disk is full."},
    {50, L"The request is not supported."},
    {53, L"The network path was not found."},
    {55, L"The specified network resource or device is no longer available."},
    {65, L"Network access is denied."},
    {80, L"The file exists."},
    {82, L"The directory or file cannot be created."},
    {87, L"The parameter is incorrect."},
    {100, L"Cannot create another system semaphore."},
    {101, L"The exclusive semaphore is owned by another process."},
    {103, L"The semaphore cannot be set again."},
    {105, L"The previous ownership of this semaphore has ended."},
    {109, L"The pipe has been ended."},
    {110, L"The system cannot open the device or file specified."},
    {111, L"The file name is too long."},
    {112, L"There is not enough space on the disk."},
    {120, L"This function is not supported on this system."},
    {121, L"The semaphore timeout period has expired."},
    {122, L"The data area passed to a system call is too small."},
    {123, L"The filename, directory name, or volume label syntax is incorrect."},
    {124, L"The system call level is not correct."},
    {126, L"The specified module could not be found."},
    {127, L"The specified procedure could not be found."},
    {128, L"There are no child processes to wait for."},
    {129, L"The %1 application cannot be run in Win32 mode."},
    {131, L"An attempt was made to move the file pointer before the beginning of the file."},
    {145, L"The directory is not empty."},
    {156, L"The recipient process has refused the signal."},
    {158, L"The segment is already unlocked."},
    {161, L"The specified path is invalid."},
    {164, L"No more threads can be created in the system."},
    {167, L"Unable to lock a region of a file."},
    {170, L"The requested resource is in use."},
    {183, L"Cannot create a file when that file already exists."},
    {187, L"The specified system semaphore name was not found."},
    {193, L"%1 is not a valid Win32 application."},
    {203, L"The system could not find the environment option that was entered."},
    {206, L"The filename or extension is too long."},
    {232, L"The pipe is being closed."},
    {234, L"More data is available."},
    {258, L"The wait operation timed out."},
    {259, L"No more data is available."},
    {267, L"The directory name is invalid."},
    {288, L"Attempt to release mutex not owned by caller."},
    {298, L"Too many posts were made to a semaphore."},
    {317, L"The system cannot find message text for message number 0x%1 in the message file for %2."},
    {487, L"Attempt to access invalid address."},
    {534, L"Arithmetic result exceeded 32 bits."},
    {995, L"The I/O operation has been aborted because of either a thread exit or an application request."},
    {996, L"Overlapped I/O event is not in a signaled state."},
    {997, L"Overlapped I/O operation is in progress."},
    {998, L"Invalid access to memory location."},
    {999, L"Error performing inpage operation."},
    {1001, L"Recursion too deep; the stack overflowed."},
    {1004, L"Invalid flags."},
    {1005, L"The volume does not contain a recognized file system.\r\nPlease make sure that all required file system "
           L"drivers are loaded and that the volume is not corrupted."},
    {1006, L"The volume for a file has been externally altered so that the opened file is no longer valid."},
    {1008, L"An attempt was made to reference a token that does not exist."},
    {1113, L"No mapping for the Unicode character exists in the target multi-byte code page."},
    {1114, L"A dynamic link library (DLL) initialization routine failed."},
    {1117, L"The request could not be performed because of an I/O device error."},
    {1168, L"Element not found."},
    {1450, L"Insufficient system resources exist to complete the requested service."},
    {1453, L"Insufficient quota to complete the requested service."},
    {1455, L"The paging file is too small for this operation to complete."},
    {1460, L"This operation returned because the timeout period expired."},
    {1784, L"The supplied user buffer is not valid for the requested operation."},
    {1812, L"The specified image file did not contain a resource section."},
    {1813, L"The specified resource type cannot be found in the image file."},
    {1814, L"The specified resource name cannot be found in the image file."},
    {1815, L"The specified resource language ID cannot be found in the image file."},
};
static_assert(std::ranges::is_sorted(c_Messages, {}, &SMessage::number));

constexpr std::wstring_view c_LineBreak = L"\r\n";

constexpr DWORD c_SupportedFlags = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_ALLOCATE_BUFFER |
                                   FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK;
constexpr DWORD c_KnownFlags =
    c_SupportedFlags | FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ARGUMENT_ARRAY;
constexpr DWORD c_AnySource = FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_FROM_SYSTEM;

DWORD checkFlags(DWORD flags)
{
    if ((flags & ~c_KnownFlags) != 0 || (flags & c_AnySource) == 0)
    {
        return ERROR_INVALID_PARAMETER;
    }
    const DWORD width = flags & FORMAT_MESSAGE_MAX_WIDTH_MASK;
    const bool isWidthSupported = width == 0 || width == FORMAT_MESSAGE_MAX_WIDTH_MASK;
    return (flags & ~c_SupportedFlags) == 0 && isWidthSupported ? ERROR_SUCCESS : ERROR_NOT_SUPPORTED;
}

// 0x400 is the user's language and 0x409 English (United States).
bool isEnglish(DWORD language)
{
    return language == 0 || language == 0x400 || language == 0x409;
}

SMessage const* findMessage(DWORD number)
{
    const auto found = std::ranges::lower_bound(c_Messages, number, {}, &SMessage::number);
    return found != std::end(c_Messages) && found->number == number ? found : nullptr;
}

// One line break or blank in place of each line break, and one after the text. Without a target it only counts.
std::size_t renderMessage(std::wstring_view text, std::wstring_view lineBreak, wchar_t* target)
{
    std::size_t length = 0;
    const auto append = [&](std::wstring_view piece)
    {
        if (target != nullptr)
        {
            piece.copy(target + length, piece.size());
        }
        length += piece.size();
    };
    for (;;)
    {
        const std::size_t end = text.find(c_LineBreak);
        append(text.substr(0, end));
        append(lineBreak);
        if (end == std::wstring_view::npos)
        {
            return length;
        }
        text.remove_prefix(end + c_LineBreak.size());
    }
}

DWORD fail(DWORD error)
{
    SetLastError(error);
    return 0;
}
} // namespace

DWORD FormatMessageW(DWORD flags, void const*, DWORD message, DWORD language, LPWSTR buffer, DWORD size,
                     va_list* arguments) noexcept
{
    const bool isAllocating = (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) != 0;
    wchar_t** const block = isAllocating ? reinterpret_cast<wchar_t**>(buffer) : nullptr;
    if (buffer == nullptr)
    {
        return fail(ERROR_INVALID_PARAMETER);
    }
    if (block != nullptr)
    {
        *block = nullptr;
    }
    if (const DWORD error = checkFlags(flags); error != ERROR_SUCCESS)
    {
        return fail(error);
    }
    if (!isEnglish(language))
    {
        return fail(ERROR_RESOURCE_LANG_NOT_FOUND);
    }
    const SMessage* const found = findMessage(message);
    if (found == nullptr)
    {
        return fail(ERROR_MR_MID_NOT_FOUND);
    }
    // A percent sign stands in these texts for nothing but an insert.
    if ((flags & FORMAT_MESSAGE_IGNORE_INSERTS) == 0 && found->text.find(L'%') != std::wstring_view::npos)
    {
        return fail(arguments == nullptr ? ERROR_INVALID_PARAMETER : ERROR_NOT_SUPPORTED);
    }

    const std::wstring_view lineBreak =
        (flags & FORMAT_MESSAGE_MAX_WIDTH_MASK) != 0 ? std::wstring_view(L" ") : c_LineBreak;
    const std::size_t length = renderMessage(found->text, lineBreak, nullptr);
    wchar_t* target = buffer;
    if (block != nullptr)
    {
        const std::size_t room = std::max<std::size_t>(size, length + 1);
        target = static_cast<wchar_t*>(std::malloc(room * sizeof(wchar_t)));
        if (target == nullptr)
        {
            return fail(ERROR_NOT_ENOUGH_MEMORY);
        }
        *block = target;
    }
    else if (size <= length)
    {
        return fail(ERROR_INSUFFICIENT_BUFFER);
    }
    renderMessage(found->text, lineBreak, target);
    target[length] = L'\0';
    return static_cast<DWORD>(length);
}

HLOCAL LocalFree(HLOCAL block) noexcept
{
    std::free(block);
    return nullptr;
}
