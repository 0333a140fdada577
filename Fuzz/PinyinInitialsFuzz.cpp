// Fuzzes the pinyin-initial and folding helpers on arbitrary bytes, taken as
// a zero-terminated string (the copy ends at the first zero byte).
#include <memory>

#include "FuzzSupport.h"
#include "POIEngine/PinyinHelpers.h"

using namespace Kest;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // An exact-size heap copy, so that a read past the terminator is caught.
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const std::size_t length = std::strlen(bytes.c_str());
    std::unique_ptr<char[]> text(new char[length + 1]);
    std::memcpy(text.get(), bytes.c_str(), length + 1);

    std::unique_ptr<char[]> initials(GetPYInitials(text.get()));
    // One output byte per character; a two-byte character gives a letter or 0.
    std::size_t out = 0;
    for (std::size_t i = 0; i < length; ++out) {
        const bool pair = static_cast<unsigned char>(text[i]) >= 0x80 && i + 1 < length &&
                          static_cast<unsigned char>(text[i + 1]) >= 0x80;
        if (pair && initials[out] != 0 && std::strchr("ABCDEFGHJKLMNOPQRSTWXYZ", initials[out]) == nullptr)
            std::abort();
        i += pair ? 2 : 1;
    }
    if (std::any_of(&initials[out], &initials[length + 1], [](char c) { return c != 0; }))
        std::abort();

    // Each replacement turns one byte into two.
    const eString digits = ToFullWidthDigits(text.get());
    const eString chinese = ToChineseDigits(text.get());
    const eString letters = ToFullWidthLetters(text.get());
    if (digits.GetLength() != chinese.GetLength() || letters.GetLength() < static_cast<int>(length) ||
        letters.GetLength() > 2 * static_cast<int>(length))
        std::abort();
    return 0;
}
