#include "Compiler/GbkCodec.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iconv.h>

namespace Kest {
namespace {

// Decodes the UTF-8 character at `s[at]`; returns its byte length, or 0 when
// the bytes there are not valid UTF-8.
int DecodeUtf8(std::string_view s, std::size_t at, unsigned& code)
{
    const unsigned char b0 = static_cast<unsigned char>(s[at]);
    int len = b0 < 0x80 ? 1 : (b0 >> 5) == 6 ? 2 : (b0 >> 4) == 14 ? 3 : (b0 >> 3) == 30 ? 4 : 0;
    if (len == 0 || at + static_cast<std::size_t>(len) > s.size())
        return 0;
    code = len == 1 ? b0 : (b0 & (0x7F >> len));
    for (int i = 1; i < len; ++i) {
        const unsigned char b = static_cast<unsigned char>(s[at + static_cast<std::size_t>(i)]);
        if ((b & 0xC0) != 0x80)
            return 0;
        code = code << 6 | (b & 0x3F);
    }
    return len;
}

std::size_t CountUtf8Chars(std::string_view s, std::size_t upTo)
{
    std::size_t n = 0;
    for (std::size_t i = 0; i < upTo && i < s.size(); ++i)
        if ((static_cast<unsigned char>(s[i]) & 0xC0) != 0x80)
            ++n;
    return n;
}

// Runs iconv over the whole input. Returns the offset of the input byte where
// conversion stopped, or npos when everything was converted.
std::size_t Convert(const char* to, const char* from, std::string_view in, std::string& out)
{
    out.clear();
    iconv_t cd = iconv_open(to, from);
    if (cd == reinterpret_cast<iconv_t>(-1))
        return 0;
    char* inPtr = const_cast<char*>(in.data());
    std::size_t inLeft = in.size();
    std::size_t stopped = std::string_view::npos;
    char buffer[4096];
    while (inLeft > 0) {
        char* outPtr = buffer;
        std::size_t outLeft = sizeof buffer;
        const std::size_t r = iconv(cd, &inPtr, &inLeft, &outPtr, &outLeft);
        out.append(buffer, static_cast<std::size_t>(outPtr - buffer));
        if (r == static_cast<std::size_t>(-1) && errno != E2BIG) {
            stopped = static_cast<std::size_t>(inPtr - in.data());
            break;
        }
    }
    iconv_close(cd);
    return stopped;
}

} // namespace

bool GbkCodec::ToGbk(std::string_view utf8, std::string& gbk, std::string* error)
{
    const std::size_t at = Convert("GBK", "UTF-8", utf8, gbk);
    if (at == std::string_view::npos)
        return true;
    if (error) {
        char text[160];
        unsigned code = 0;
        const int len = at < utf8.size() ? DecodeUtf8(utf8, at, code) : 0;
        const std::size_t charNo = CountUtf8Chars(utf8, at) + 1;
        if (len == 0) {
            std::snprintf(text, sizeof text, "invalid UTF-8 byte 0x%02X at byte %zu (character %zu)",
                          at < utf8.size() ? static_cast<unsigned char>(utf8[at]) : 0u, at + 1, charNo);
        } else {
            std::snprintf(text, sizeof text, "U+%04X '%.*s' at byte %zu (character %zu) cannot be encoded in GBK",
                          code, len, utf8.data() + at, at + 1, charNo);
        }
        *error = text;
    }
    return false;
}

bool GbkCodec::ToUtf8(std::string_view gbk, std::string& utf8, std::string* error)
{
    const std::size_t at = Convert("UTF-8", "GBK", gbk, utf8);
    if (at == std::string_view::npos)
        return true;
    if (error) {
        char text[96];
        std::snprintf(text, sizeof text, "invalid GBK byte 0x%02X at byte %zu",
                      at < gbk.size() ? static_cast<unsigned char>(gbk[at]) : 0u, at + 1);
        *error = text;
    }
    return false;
}

std::string GbkCodec::Gbk(std::string_view utf8)
{
    // Keeps what converts, puts '?' for each character that does not.
    std::string result;
    std::string part;
    for (;;) {
        const std::size_t done = Convert("GBK", "UTF-8", utf8, part);
        result += part;
        if (done == std::string_view::npos)
            return result;
        unsigned code;
        const int len = done < utf8.size() ? DecodeUtf8(utf8, done, code) : 0;
        result += '?';
        utf8.remove_prefix(std::min(utf8.size(), done + static_cast<std::size_t>(len > 0 ? len : 1)));
    }
}

std::string GbkCodec::Utf8(std::string_view gbk)
{
    std::string result;
    std::string part;
    for (;;) {
        const std::size_t done = Convert("UTF-8", "GBK", gbk, part);
        result += part;
        if (done == std::string_view::npos)
            return result;
        // Skips the bad character: two bytes when it starts with a lead byte.
        const bool lead = done + 1 < gbk.size() && static_cast<unsigned char>(gbk[done]) >= 0x81;
        result += '?';
        gbk.remove_prefix(std::min(gbk.size(), done + (lead ? 2 : 1)));
    }
}

} // namespace Kest
