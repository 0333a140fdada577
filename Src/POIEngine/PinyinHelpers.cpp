#include "POIEngine/PinyinHelpers.h"

#include <array>
#include <cctype>
#include <cstring>

#include "POIEngine/PinyinLevel2Table.h"

namespace Kest {

namespace {

struct InitialRange {
    unsigned first;
    unsigned last;
    char letter;
};

// Tested in this order, first match wins, bounds inclusive. The symbol rows
// come first and give no initial; then GB2312's level-1 characters, which are
// ordered by pinyin, so each letter is one range. No syllable begins with I, U
// or V.
constexpr InitialRange kLevel1Ranges[] = {
    {0xA1A0, 0xA9F5, 0},   {0xB0A1, 0xB0C4, 'A'}, {0xB0C5, 0xB2C0, 'B'}, {0xB2C1, 0xB4ED, 'C'},
    {0xB4EE, 0xB6E9, 'D'}, {0xB6EA, 0xB7A1, 'E'}, {0xB7A2, 0xB8C0, 'F'}, {0xB8C1, 0xB9FD, 'G'},
    {0xB9FE, 0xBBF6, 'H'}, {0xBBF7, 0xBFA5, 'J'}, {0xBFA6, 0xC0AB, 'K'}, {0xC0AC, 0xC2E7, 'L'},
    {0xC2E8, 0xC4C2, 'M'}, {0xC4C3, 0xC5B5, 'N'}, {0xC5B6, 0xC5BD, 'O'}, {0xC5BE, 0xC6D9, 'P'},
    {0xC6DA, 0xC8BA, 'Q'}, {0xC8BB, 0xC8F5, 'R'}, {0xC8F6, 0xCBF9, 'S'}, {0xCBFA, 0xCDD9, 'T'},
    {0xCDDA, 0xCEF3, 'W'}, {0xCEF4, 0xD1B8, 'X'}, {0xD1B9, 0xD4D0, 'Y'}, {0xD4D1, 0xD7F9, 'Z'},
};

// The letter lists as eStrings, built once; their order is the order of the letters.
const std::array<eString, kPinyinLevel2ListCount>& Level2Lists()
{
    static const std::array<eString, kPinyinLevel2ListCount> lists = [] {
        std::array<eString, kPinyinLevel2ListCount> built;
        for (int i = 0; i < kPinyinLevel2ListCount; ++i)
            built[static_cast<std::size_t>(i)] = kPinyinLevel2Lists[i];
        return built;
    }();
    return lists;
}

bool IsHigh(char byte)
{
    return static_cast<unsigned char>(byte) >= 0x80;
}

// Replaces each one-byte text in `from` by the text at the same index in `to`, in order.
template <std::size_t N>
eString ReplaceEach(const char* text, const char* const (&from)[N], const char* const (&to)[N])
{
    eString result(text);
    for (std::size_t i = 0; i < N; ++i)
        result.Replace(from[i], to[i]);
    return result;
}

constexpr const char* kDigits[] = {"0", "1", "2", "3", "4", "5", "6", "7", "8", "9"};

} // namespace

char GetPYInitial(const char* ch)
{
    const unsigned code = static_cast<unsigned>(static_cast<unsigned char>(ch[0])) << 8 |
                          static_cast<unsigned char>(ch[1]);
    for (const InitialRange& range : kLevel1Ranges) {
        if (code >= range.first && code <= range.last)
            return range.letter;
    }
    const char one[3] = {ch[0], ch[1], 0};
    const char* p = one;
    return GetPYInitialLevel2(&p);
}

char GetPYInitialLevel2(const char** ch)
{
    if (!ch || !*ch || !**ch)
        return 0;
    const auto& lists = Level2Lists();
    for (int i = 0; i < kPinyinLevel2ListCount; ++i) {
        // Only the first occurrence counts: one that straddles two characters
        // of the list hides a later, aligned one.
        const int at = lists[static_cast<std::size_t>(i)].Find(*ch, 0);
        if (at >= 0 && at % 2 == 0)
            return kPinyinLevel2Letters[i];
    }
    return 0;
}

char* GetPYInitials(const char* text)
{
    if (!text)
        text = "";
    const std::size_t length = std::strlen(text);
    char* initials = new char[length + 1]();
    std::size_t out = 0;
    for (std::size_t i = 0; i < length;) {
        // The last byte is tested before the one after it, so a lone lead byte
        // at the end never makes us read past the terminating zero.
        if (!IsHigh(text[i]) || i + 1 == length || !IsHigh(text[i + 1])) {
            initials[out++] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[i])));
            ++i;
        } else {
            initials[out++] = GetPYInitial(text + i);
            i += 2;
        }
    }
    return initials;
}

eString ToFullWidthDigits(const char* text)
{
    static constexpr const char* kFullWidth[] = {"\xA3\xB0", "\xA3\xB1", "\xA3\xB2", "\xA3\xB3",
                                                 "\xA3\xB4", "\xA3\xB5", "\xA3\xB6", "\xA3\xB7",
                                                 "\xA3\xB8", "\xA3\xB9"};
    return ReplaceEach(text, kDigits, kFullWidth);
}

eString ToChineseDigits(const char* text)
{
    // 零 一 二 三 四 五 六 七 八 九
    static constexpr const char* kChinese[] = {"\xC1\xE3", "\xD2\xBB", "\xB6\xFE", "\xC8\xFD",
                                               "\xCB\xC4", "\xCE\xE5", "\xC1\xF9", "\xC6\xDF",
                                               "\xB0\xCB", "\xBE\xC5"};
    return ReplaceEach(text, kDigits, kChinese);
}

eString ToFullWidthLetters(const char* text)
{
    // Lower case first, then upper case; both become full-width upper case.
    eString result(text);
    for (int pass = 0; pass < 2; ++pass) {
        for (int i = 0; i < 26; ++i) {
            const char from[2] = {static_cast<char>((pass == 0 ? 'a' : 'A') + i), 0};
            const char to[3] = {'\xA3', static_cast<char>(0xC1 + i), 0};
            result.Replace(from, to);
        }
    }
    return result;
}

} // namespace Kest
