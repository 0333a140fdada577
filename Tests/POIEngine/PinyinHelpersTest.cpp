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

std::string Fold(const eString& s)
{
    return std::string(s.Cstr(), static_cast<std::size_t>(s.GetLength()));
}

} // namespace

TEST(PinyinInitialTest, Level1EndsAndSymbols)
{
    EXPECT_EQ('A', GetPYInitial("\xB0\xA1")); // 啊, first level-1 character
    EXPECT_EQ('Z', GetPYInitial("\xD7\xF9")); // 座, last
    EXPECT_EQ(0, GetPYInitial("\xA3\xAC"));   // full-width comma
    EXPECT_EQ(0, Initial(0xD7FA));            // unassigned end of the last level-1 row
}

// 褓 (F1 D9, bao) is in the B list, but its bytes first turn up there at an odd
// position, straddling 亳 (D9 F1) and 禀 (D9 F7): B is skipped and the aligned
// occurrence further on is never looked at, so it has no initial.
// 钸 (EE DF, bu) straddles 揞 (DE EE) and 吖 (DF B9) in the A list: A is skipped
// and the search goes on to find it in B.
TEST(PinyinInitialTest, OddPositionSkipsTheLetter)
{
    const std::string a = kPinyinLevel2Lists[0];
    const std::string b = kPinyinLevel2Lists[1];
    ASSERT_EQ(13u, b.find("\xF1\xD9"));
    ASSERT_EQ(0u, b.find("\xF1\xD9", 14) % 2);
    ASSERT_EQ(13u, a.find("\xEE\xDF"));
    ASSERT_EQ(0u, b.find("\xEE\xDF") % 2);

    EXPECT_EQ(0, GetPYInitial("\xF1\xD9"));
    EXPECT_EQ('B', GetPYInitial("\xEE\xDF"));
    // Past the symbol rows, outside every list, but straddling in W.
    EXPECT_EQ(0, Initial(0xA9F6));
    ASSERT_NE(std::string::npos, std::string(kPinyinLevel2Lists[19]).find("\xA9\xF6"));
}

TEST(PinyinInitialTest, Level2TakesNoEmptyOrNullCharacter)
{
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
            const unsigned lead = static_cast<unsigned char>(ch[0]);
            const unsigned trail = static_cast<unsigned char>(ch[1]);
            ASSERT_TRUE(lead >= 0xD8 && lead <= 0xF7 && trail >= 0xA1 && trail <= 0xFE);
            ASSERT_TRUE(seen.insert(ch).second) << "in two lists: " << std::hex << lead << trail;
            bool straddled = false;
            for (std::size_t odd = 1; odd < at && !straddled; odd += 2)
                straddled = chars.compare(odd, 2, ch) == 0;
            hidden += straddled;
            EXPECT_EQ(straddled ? 0 : kPinyinLevel2Letters[list], GetPYInitial(ch.c_str()))
                << std::hex << lead << trail;
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
    int expectedMismatches = -1;
    int marked = 0;
    int mismatches = 0;
    int codes = 0;
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#')
            continue;
        std::istringstream fields(line);
        std::string first, letters, mark;
        fields >> first >> letters >> mark;
        if (first == "expected-mismatches") {
            expectedMismatches = std::stoi(letters);
            continue;
        }
        ++codes;
        const char got = Initial(static_cast<unsigned>(std::stoul(first, nullptr, 16)));
        const char oracle = letters == "-" ? 0 : letters[0];
        if (mark == "!") {
            // A character with several readings, sorted under a later one.
            ++marked;
            EXPECT_NE(std::string::npos, letters.find(got, 1)) << line;
        } else {
            EXPECT_EQ(oracle, got) << line;
        }
        mismatches += got != oracle;
    }
    EXPECT_EQ(0x28 * 94, codes); // rows 0xB0-0xD7
    EXPECT_EQ(expectedMismatches, marked);
    EXPECT_EQ(expectedMismatches, mismatches);
}

TEST(PinyinInitialsTest, FoldsEachCharacterToOneByte)
{
    EXPECT_EQ(std::string("ABBJ\0\0\0", 7), Initials("ab\xB1\xB1\xBE\xA9")); // ab北京
    EXPECT_EQ(std::string("1A-Z\0", 5), Initials("1a-Z"));
    EXPECT_EQ(std::string("\0", 1), Initials(""));
    EXPECT_EQ(std::string("\0", 1), Initials(nullptr));
}

TEST(PinyinInitialsTest, SymbolOrUnknownCharacterCutsTheString)
{
    // 北，京: the comma writes 0, so as a C string only "B" remains.
    const std::string commaCut = Initials("\xB1\xB1\xA3\xAC\xBE\xA9");
    EXPECT_EQ(std::string("B\0J\0\0\0\0", 7), commaCut);
    EXPECT_STREQ("B", commaCut.c_str());
    // 褓 has no initial either.
    EXPECT_EQ(std::string("A\0B\0\0", 5), Initials("a\xF1\xD9" "b"));
}

TEST(PinyinInitialsTest, UnpairedHighBytesStandAlone)
{
    // A lone lead byte at the end, in a buffer of exactly its length: read
    // past the terminating zero shows under AddressSanitizer.
    std::unique_ptr<char[]> text(new char[3]{'a', '\xB1', 0});
    EXPECT_EQ(std::string("A\xB1\0", 3), Initials(text.get()));
    // A high byte before an ASCII byte is not a character: both stand alone.
    EXPECT_EQ(std::string("\xB1" "AJ\0\0", 5), Initials("\xB1" "a\xBE\xA9"));
    // GBK characters whose trail byte is ASCII are two single bytes here.
    EXPECT_EQ(std::string("\x81@\0", 3), Initials("\x81@"));
}

TEST(FoldingTest, DigitsAndLetters)
{
    EXPECT_EQ("\xA3\xB0\xA3\xB1\xA3\xB2\xA3\xB3\xA3\xB4\xA3\xB5\xA3\xB6\xA3\xB7\xA3\xB8\xA3\xB9",
              Fold(ToFullWidthDigits("0123456789")));
    // 零一二三四五六七八九
    EXPECT_EQ("\xC1\xE3\xD2\xBB\xB6\xFE\xC8\xFD\xCB\xC4\xCE\xE5\xC1\xF9\xC6\xDF\xB0\xCB\xBE\xC5",
              Fold(ToChineseDigits("0123456789")));
    EXPECT_EQ("\xA3\xC1\xA3\xC2", Fold(ToFullWidthLetters("aB")));

    std::string full;
    for (int i = 0; i < 26; ++i)
        full += std::string("\xA3") + static_cast<char>(0xC1 + i);
    EXPECT_EQ(full + full, Fold(ToFullWidthLetters("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ")));
}

TEST(FoldingTest, KeywordFormsOf3a)
{
    // Letters first, then the two digit forms: ３Ａ and 三Ａ.
    const eString letters = ToFullWidthLetters("3a");
    EXPECT_EQ("\xA3\xB3\xA3\xC1", Fold(ToFullWidthDigits(letters.Cstr())));
    EXPECT_EQ("\xC8\xFD\xA3\xC1", Fold(ToChineseDigits(letters.Cstr())));
    EXPECT_EQ("\xA3\xB3" "a", Fold(ToFullWidthDigits("3a")));
    EXPECT_EQ("\xC8\xFD" "a", Fold(ToChineseDigits("3a")));
}

TEST(FoldingTest, LeavesOtherTextAlone)
{
    const char* text = "\xB1\xB1\xBE\xA9-\xA3\xC1"; // 北京-Ａ
    EXPECT_EQ(text, Fold(ToFullWidthDigits(text)));
    EXPECT_EQ(text, Fold(ToChineseDigits(text)));
    EXPECT_EQ(text, Fold(ToFullWidthLetters(text)));
    // The trail byte 0x41 of the GBK character 81 41 is not the letter A.
    EXPECT_EQ("\x81\x41\xA3\xC1", Fold(ToFullWidthLetters("\x81\x41" "a")));
    EXPECT_EQ("", Fold(ToFullWidthLetters(nullptr)));
}
