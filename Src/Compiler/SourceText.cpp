#include "Compiler/SourceText.h"

#include <cstdio>

namespace Kest {
namespace {

// Length of the valid UTF-8 sequence at `s[at]`, 0 when there is none.
std::size_t Utf8Length(std::string_view s, std::size_t at)
{
    const auto b0 = static_cast<unsigned char>(s[at]);
    std::size_t len = b0 < 0x80 ? 1 : (b0 >> 5) == 6 ? 2 : (b0 >> 4) == 14 ? 3 : (b0 >> 3) == 30 ? 4 : 0;
    if (len == 0 || at + len > s.size())
        return 0;
    unsigned code = len == 1 ? b0 : (b0 & (0x7Fu >> len));
    for (std::size_t i = 1; i < len; ++i) {
        const auto b = static_cast<unsigned char>(s[at + i]);
        if ((b & 0xC0) != 0x80)
            return 0;
        code = code << 6 | (b & 0x3F);
    }
    // Overlong forms, surrogates and values past U+10FFFF are not UTF-8.
    const unsigned minimum[5] = {0, 0, 0x80, 0x800, 0x10000};
    if (code < minimum[len] || (code >= 0xD800 && code <= 0xDFFF) || code > 0x10FFFF)
        return 0;
    return len;
}

} // namespace

std::string SourceText::Quote(std::string_view text)
{
    std::string out = "'";
    std::size_t shown = 0;
    for (std::size_t at = 0; at < text.size();) {
        if (shown == kMaxQuoted)
            return out + "'...";
        const std::size_t len = Utf8Length(text, at);
        const auto b = static_cast<unsigned char>(text[at]);
        if (len == 0 || b < 0x20 || b == 0x7F) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\x%02X", b);
            out += escaped;
            ++at;
        } else {
            out.append(text.substr(at, len));
            at += len;
        }
        ++shown;
    }
    return out + "'";
}

} // namespace Kest
