// PlatformIsolation/PlatformWindows: the platform layer. Registry keys and storages, profile files, locations of files
// and folders, the shell, and the loggers that Debug.ini configures. It knows nothing of devices.
#pragma once

#include "CodePage.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <utility>

namespace scankelv
{

/// Memory for the arrays below, from the C runtime's heap.
class MemoryPoolMalloc
{
public:
    virtual ~MemoryPoolMalloc() = default;

protected:
    static void* Allocate(std::size_t bytes) { return std::calloc(1, bytes); }
    static void Release(void* memory) { std::free(memory); }
};

/// An owned array of zero-filled elements. A copy is a new allocation; a failed one leaves an empty array.
template <class Pool, class Element>
class MemoryArray : public Pool
{
public:
    MemoryArray() = default;
    MemoryArray(const MemoryArray& other) : Pool()
    {
        if (!other.IsEmpty() && Create(other.m_count))
            std::copy_n(other.m_elements, m_count, m_elements);
    }
    MemoryArray(MemoryArray&& other) noexcept
        : m_elements(std::exchange(other.m_elements, nullptr)),
          m_count(std::exchange(other.m_count, 0))
    {
    }
    MemoryArray& operator=(MemoryArray other) noexcept
    {
        std::swap(m_elements, other.m_elements);
        std::swap(m_count, other.m_count);
        return *this;
    }
    ~MemoryArray() override { Release(); }

    /// Replaces the elements by `count` zero-filled ones. @return false, the array empty, when memory runs out
    bool Create(std::size_t count)
    {
        Release();
        if (count > std::numeric_limits<std::size_t>::max() / sizeof(Element))
            return false;
        m_elements = static_cast<Element*>(Pool::Allocate(count * sizeof(Element)));
        m_count = m_elements == nullptr ? 0 : count;
        return m_elements != nullptr;
    }
    void Release()
    {
        Pool::Release(m_elements);
        m_elements = nullptr;
        m_count = 0;
    }

    Element* Elements() { return m_elements; }
    const Element* Elements() const { return m_elements; }
    std::size_t Count() const { return m_count; }
    bool IsEmpty() const { return m_elements == nullptr || m_count == 0; }

private:
    Element* m_elements = nullptr;
    std::size_t m_count = 0;
};

/// A zero-terminated path; its count includes the terminator and possibly further zeros. Empty: not found.
template <class CharType>
class BasicResourceLocation : public MemoryArray<MemoryPoolMalloc, CharType>
{
public:
    BasicResourceLocation() = default;
    /// A terminated copy of the text; empty when memory runs out.
    explicit BasicResourceLocation(std::basic_string_view<CharType> text)
    {
        if (this->Create(text.size() + 1))
            std::copy(text.begin(), text.end(), this->Elements());
    }

    /// The path, terminated; an empty text for an empty location. Never null.
    const CharType* Text() const
    {
        static constexpr CharType none[1]{};
        return this->IsEmpty() ? none : this->Elements();
    }
    std::basic_string_view<CharType> View() const { return Text(); }
};
using ResourceLocation = BasicResourceLocation<char>;
using ResourceLocationWide = BasicResourceLocation<wchar_t>;

/// The location if the code page can hold its path, that is, if it gives the same path when it is converted back.
/// Otherwise the path's short name, if it has one, or an empty location after the report "fitsCodePage" to the "ODS"
/// logger. @param path  the wide path of the same file or folder
ResourceLocation InCodePage(ResourceLocation location, std::wstring_view path);

/// Records the program's own module; called once, at the start of the process. Null stands for the process image.
void RecordModuleHandle(HMODULE module);

/// The whole path of the program's own file, of any length; empty on failure. CharType: char or wchar_t.
template <class CharType>
BasicResourceLocation<CharType> ModuleFileLocation();
/// The folder of the program's own file, without the trailing backslash; empty when it is not known.
template <class CharType>
BasicResourceLocation<CharType> ModuleFolderLocation();
/// The path of a file beside the program's own; empty when the name is null or empty, or the folder is not known.
template <class CharType>
BasicResourceLocation<CharType> LocationOfModuleFile(const CharType* name);

/// Joins root and parts by backslashes; any of them may be null. part3 is a file name. With `create`, the root and the
/// folders that part1 and part2 name are created when absent; a folder that cannot be created is reported to the "ODS"
/// logger, and the location is returned all the same.
ResourceLocation
ComposeLocation(const char* root, const char* part1, const char* part2, const char* part3, bool create);

ResourceLocation DebugIniLocation();  ///< Debug.ini in the vendor's folder of the user's data; creates nothing
ResourceLocation LogFileLocation();   ///< Log.txt beside it; creates nothing
ResourceLocation WiaConfigLocation(); ///< Config.ini of the WIA storage; creates its folders

} // namespace scankelv
