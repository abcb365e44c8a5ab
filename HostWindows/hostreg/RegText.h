// The text format of .reg files, version 5.00 (and the older REGEDIT4, which is read only).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace hostreg
{

/// One line of meaning. Values belong to the last key that was made or opened before them.
struct RegChange
{
    enum class Kind
    {
        openKey,     ///< `name` is the key's full path
        deleteKey,   ///< likewise
        setValue,    ///< `name` is empty for the default value
        deleteValue, ///< likewise
    };

    Kind kind = Kind::openKey;
    std::u16string name;
    std::uint32_t type = 0;
    std::string data; ///< as it is stored: texts as UTF-16LE with their terminator
    std::size_t line = 0;

    bool operator==(const RegChange&) const = default;
};

struct RegTextError
{
    std::size_t line = 0; ///< counted from 1
    std::string message;
};

/// Reads a whole file: UTF-16 with its byte-order mark (either order) or little-endian without, else UTF-8. Takes time
/// linear in the size, and no stack.
/// @return false when a line is no .reg text; then `changes` is unspecified
bool ReadRegText(std::string_view bytes, std::vector<RegChange>& changes, RegTextError& error);

/// Writes a file as UTF-16LE with its mark. Only setValue and openKey are written.
class RegTextWriter
{
public:
    RegTextWriter();

    /// A name with a line end in it has no form in this format. @return false then, with nothing written
    bool Key(std::u16string_view path);
    void Value(std::u16string_view name, std::uint32_t type, std::string_view data);
    /// The file's bytes.
    std::string Finish();

private:
    std::u16string m_text;
};

} // namespace hostreg
