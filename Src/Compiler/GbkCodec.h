#pragma once

#include <string>
#include <string_view>

namespace Kest {

// UTF-8 <-> GBK for the tools, through the C library's iconv. The engine
// itself works in GBK only and never uses this.
class GbkCodec {
public:
    // Converts UTF-8 text to GBK. On failure returns false and, when `error`
    // is given, says what stopped it: the first character that GBK cannot
    // encode (or the first invalid UTF-8 byte) and where it is, e.g.
    // "U+1F600 '😀' at byte 6 (character 3) cannot be encoded in GBK".
    static bool ToGbk(std::string_view utf8, std::string& gbk, std::string* error = nullptr);

    // Converts GBK text to UTF-8; on failure names the first invalid byte.
    static bool ToUtf8(std::string_view gbk, std::string& utf8, std::string* error = nullptr);

    // Conversions for text known to be valid (literals, engine output): an
    // unconvertible part is replaced by '?'.
    static std::string Gbk(std::string_view utf8);
    static std::string Utf8(std::string_view gbk);
};

} // namespace Kest
