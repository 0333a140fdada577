#include "Base/eString.h"

#include <gtest/gtest.h>

using Kest::eString;

// GBK bytes used below.
#define BEI "\xB1\xB1"        // 北
#define JING "\xBE\xA9"       // 京
#define WIDE_SPACE "\xA1\xA1" // full-width space
#define TRAIL_A "\x81\x41"    // a two-byte character whose trail byte is 'A'

// Find is a plain byte search (a match straddling two characters is
// reported; callers test the position); substrings clamp to the text.
TEST(eString, FindIsAPlainByteSearchAndSubstringsClamp)
{
    const eString s("ab" BEI JING "b");
    EXPECT_EQ(4, s.Find(JING));
    EXPECT_EQ(6, s.Find('b', 2));
    EXPECT_EQ(-1, s.Find('a', 50));
    EXPECT_EQ(6, s.ReverseFind('b'));
    EXPECT_EQ(3, s.Find("\xB1\xBE"));
    EXPECT_EQ("", s.Left(-1));
    EXPECT_EQ("ab", s.Mid(-3, 2));
    EXPECT_EQ("", s.Mid(9));
    EXPECT_EQ(s, s.Right(10));
    eString d("abcdef");
    EXPECT_EQ(4, d.Delete(1, 2));
    EXPECT_EQ(2, d.Delete(2, 10));
    EXPECT_EQ("ad", d);
}

// Replace, trimming and case folding work on whole characters: a trail
// byte is never matched, trimmed or folded; 0x7F trails no lead byte.
TEST(eString, ReplaceTrimAndCaseWorkOnWholeCharacters)
{
    eString s("aA" TRAIL_A "A");
    EXPECT_EQ(2, s.Replace("A", "\xA3\xC1"));
    EXPECT_EQ(eString("a\xA3\xC1" TRAIL_A "\xA3\xC1"), s);
    EXPECT_EQ(0, s.Replace("", "x"));
    eString lone("\x81\x7F");
    EXPECT_EQ(1, lone.Replace("\x7F", "x"));
    EXPECT_EQ(eString("\x81x"), lone);

    eString stars("**" BEI "*" JING "***");
    EXPECT_EQ(BEI "*" JING, stars.TrimLeft('*').TrimRight("*"));
    eString wide(" \t" WIDE_SPACE WIDE_SPACE BEI WIDE_SPACE "  ");
    EXPECT_EQ(BEI, wide.TrimLeft().TrimRight().TrimLeft(WIDE_SPACE).TrimRight(WIDE_SPACE));
    eString half("\xA1" BEI);
    EXPECT_EQ(3, half.TrimLeft(WIDE_SPACE).GetLength());
    eString tail("\xB0\xA1"); // ends in 0xA1 but is one character
    EXPECT_EQ(2, tail.TrimRight("\xA1").GetLength());

    eString mixed("abC" TRAIL_A "z" BEI);
    EXPECT_EQ(eString("ABC" TRAIL_A "Z" BEI), mixed.MakeUpper());
    EXPECT_EQ(eString("abc" TRAIL_A "z" BEI), mixed.MakeLower());
    EXPECT_EQ(0, eString("Shopping").CompareNoCase("SHOPPING"));
    EXPECT_NE(0, eString(TRAIL_A).CompareNoCase("\x81\x61"));
    EXPECT_GT(eString(BEI).Compare("z"), 0); // unsigned bytes
}
