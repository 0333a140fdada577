#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Kest {

// Source text as messages quote it. A rejected row may hold anything (stray
// binary bytes, a whole file swallowed by an open quote), and the message
// must still be one readable line: bytes that are not valid UTF-8 and
// control characters are shown as \xNN, and long text is cut.
class SourceText {
public:
    static constexpr std::size_t kMaxQuoted = 80; // characters shown

    // The text in single quotes, made printable as above; "..." marks a cut.
    static std::string Quote(std::string_view text);
};

} // namespace Kest
