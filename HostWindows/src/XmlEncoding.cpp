#include "XmlEncoding.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <iconv.h>

namespace hostwindows
{
namespace
{

class Converter
{
public:
    Converter(const std::string& from, const std::string& to) : m_handle(::iconv_open(to.c_str(), from.c_str())) {}
    ~Converter()
    {
        if (IsOpen())
            ::iconv_close(m_handle);
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    bool IsOpen() const { return reinterpret_cast<std::intptr_t>(m_handle) != -1; }

    bool Run(std::string_view text, std::string& converted)
    {
        constexpr std::size_t piece = 4096;
        char* in = const_cast<char*>(text.data()); // iconv's old signature: it is not written to
        std::size_t left = text.size();
        std::size_t filled = 0;
        for (bool flushing = false;; flushing = left == 0)
        {
            converted.resize(filled + piece + left);
            char* out = converted.data() + filled;
            std::size_t room = converted.size() - filled;
            const std::size_t result =
                ::iconv(m_handle, flushing ? nullptr : &in, flushing ? nullptr : &left, &out, &room);
            const bool failed = result == static_cast<std::size_t>(-1);
            filled = converted.size() - room;
            // A number above zero counts characters that were replaced.
            if ((failed && errno != E2BIG) || (!failed && result != 0))
                return false;
            if (flushing && !failed)
                break;
        }
        converted.resize(filled);
        return true;
    }

private:
    ::iconv_t m_handle;
};

} // namespace

Encoding EncodingNamed(std::string_view name)
{
    std::string upper(name);
    std::transform(name.begin(), name.end(), upper.begin(), [](char c) {
        return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    });
    if (upper.empty() || upper == "UTF-8")
        return Encoding::utf8;
    if (upper == "UTF-16")
        return Encoding::utf16;
    return Converter(upper, "UTF-8").IsOpen() ? Encoding::other : Encoding::unknown;
}

bool Convert(std::string_view text, const std::string& from, const std::string& to, std::string& converted)
{
    Converter converter(from, to);
    return converter.IsOpen() && converter.Run(text, converted);
}

} // namespace hostwindows
