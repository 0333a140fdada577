#include "POIEngine/PinyinHelpers.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <string>

#include "POIEngine/PinyinLevel2Table.h"

using namespace Kest;

namespace {

char Initial(unsigned code)
{
    const char ch[2] = {static_cast<char>(code >> 8), static_cast<char>(code & 0xFF)};
    return GetPYInitial(ch);
}

// The whole buffer GetPYInitials returns, strlen(text) + 1 bytes.
std::string Initials(const char* text)
{
    std::unique_ptr<char[]> out(GetPYInitials(text));
    return std::string(out.get(), std::strlen(text ? text : "") + 1);
}

std::string Fold(const eString& s) { return std::string(s.Cstr(), static_cast<std::size_t>(s.GetLength())); }

} // namespace

TEST(PinyinInitialTest, EdgeCharacters)
{
    // The full-width comma; A9 F6, in no list, straddles in W. (Level 1 and
    // the level-2 lists are checked whole below.)
    EXPECT_EQ(0, Initial(0xA3AC));
    EXPECT_EQ(0, Initial(0xA9F6));
    const char* empty = "";
    const char* none = nullptr;
    EXPECT_EQ(0, GetPYInitialLevel2(&empty));
    EXPECT_EQ(0, GetPYInitialLevel2(&none));
    EXPECT_EQ(0, GetPYInitialLevel2(nullptr));
}

// Every level-2 character gets the letter of the list it stands in, unless its
// bytes occur at an odd position of that list before its own place.
TEST(PinyinInitialTest, EveryLevel2CharacterGetsItsListLetter)
{
    std::set<std::string> seen;
    int hidden = 0;
    for (int list = 0; list < kPinyinLevel2ListCount; ++list) {
        const std::string chars = kPinyinLevel2Lists[list];
        ASSERT_EQ(0u, chars.size() % 2) << kPinyinLevel2Letters[list];
        for (std::size_t at = 0; at < chars.size(); at += 2) {
            const std::string ch = chars.substr(at, 2);
            const unsigned lead = static_cast<unsigned char>(ch[0]), trail = static_cast<unsigned char>(ch[1]);
            ASSERT_TRUE(lead >= 0xD8 && lead <= 0xF7 && trail >= 0xA1 && trail <= 0xFE);
            ASSERT_TRUE(seen.insert(ch).second) << "in two lists: " << std::hex << lead << trail;
            bool straddled = false;
            for (std::size_t odd = 1; odd < at && !straddled; odd += 2)
                straddled = chars.compare(odd, 2, ch) == 0;
            hidden += straddled;
            EXPECT_EQ(straddled ? 0 : kPinyinLevel2Letters[list], GetPYInitial(ch.c_str())) << std::hex << lead << trail;
        }
    }
    EXPECT_EQ(3008u, seen.size());
    EXPECT_GT(hidden, 0);
}

// GetPYInitial over the level-1 rows against pinyin-pro's readings
// (Tests/Data/level1-initials.txt, made by Scripts/gen-level1-initials.py).
TEST(PinyinInitialTest, Level1AgreesWithPinyinPro)
{
    std::ifstream in(KEST_TEST_DATA "/level1-initials.txt");
    ASSERT_TRUE(in) << "missing " KEST_TEST_DATA "/level1-initials.txt";
    int expectedMismatches = -1, marked = 0, mismatches = 0, codes = 0;
    for (std::string line; std::getline(in, line);) {
        std::istringstream fields(line);
        std::string first, letters, mark;
        fields >> first >> letters >> mark;
        if (first.empty() || first[0] == '#') {
            continue;
        } else if (first == "expected-mismatches") {
            expectedMismatches = std::stoi(letters);
            continue;
        }
        ++codes;
        const char got = Initial(static_cast<unsigned>(std::stoul(first, nullptr, 16)));
        const char oracle = letters == "-" ? 0 : letters[0];
        mismatches += got != oracle;
        marked += mark == "!";
        if (mark == "!") // a character with several readings, sorted under a later one
            EXPECT_NE(std::string::npos, letters.find(got, 1)) << line;
        else
            EXPECT_EQ(oracle, got) << line;
    }
    EXPECT_EQ(0x28 * 94, codes); // rows 0xB0-0xD7
    EXPECT_EQ(expectedMismatches, marked);
    EXPECT_EQ(expectedMismatches, mismatches);
}

TEST(PinyinInitialsTest, OneByteForEachCharacter)
{
    const std::pair<const char*, std::string> cases[] = {
        {"ab\xB1\xB1\xBE\xA9", std::string("ABBJ\0\0\0", 7)},       // ab北京: zero-filled after
        {"1a-Z", std::string("1A-Z\0", 5)},
        {"", std::string(1, '\0')},
        {nullptr, std::string(1, '\0')},
        {"\xB1\xB1\xA3\xAC\xBE\xA9", std::string("B\0J\0\0\0\0", 7)}, // 北，京: the comma cuts
        {"a\xF1\xD9" "b", std::string("A\0B\0\0", 5)},                // 褓 has no initial
        {"\xB1" "a\xBE\xA9", std::string("\xB1" "AJ\0\0", 5)},       // a high byte before ASCII
        {"\x81@", std::string("\x81@\0", 3)},                         // GBK with an ASCII trail byte
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(expected, Initials(text)) << (text ? text : "(null)");
    // A lone lead byte at the end, in a buffer of exactly its length: read
    // past the terminating zero shows under AddressSanitizer.
    std::unique_ptr<char[]> text(new char[3]{'a', '\xB1', 0});
    EXPECT_EQ(std::string("A\xB1\0", 3), Initials(text.get()));
}

TEST(PinyinFoldingTest, DigitsAndLetters)
{
    std::string full; // Ａ..Ｚ
    for (int i = 0; i < 26; ++i)
        full += std::string("\xA3") + static_cast<char>(0xC1 + i);
    const char* other = "\xB1\xB1\xBE\xA9-\xA3\xC1"; // 北京-Ａ, left alone
    const std::pair<eString, std::string> cases[] = {
        {ToFullWidthDigits("0123456789"), "\xA3\xB0\xA3\xB1\xA3\xB2\xA3\xB3\xA3\xB4\xA3\xB5\xA3\xB6\xA3\xB7\xA3\xB8\xA3\xB9"},
        {ToChineseDigits("0123456789"), // 零一二三四五六七八九
         "\xC1\xE3\xD2\xBB\xB6\xFE\xC8\xFD\xCB\xC4\xCE\xE5\xC1\xF9\xC6\xDF\xB0\xCB\xBE\xC5"},
        {ToFullWidthLetters("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"), full + full},
        // (The keyword forms of 3a, letters widened first: FullTextTest.)
        {ToFullWidthDigits("3a"), "\xA3\xB3" "a"},
        {ToChineseDigits("3a"), "\xC8\xFD" "a"},
        {ToFullWidthDigits(other), other},
        {ToChineseDigits(other), other},
        {ToFullWidthLetters(other), other},
        {ToFullWidthLetters("\x81\x41" "a"), "\x81\x41\xA3\xC1"}, // 0x41 here is a trail byte, not A
        {ToFullWidthLetters(nullptr), ""},
    };
    for (const auto& [folded, expected] : cases)
        EXPECT_EQ(expected, Fold(folded)) << expected;
}
