#include "Base/eString.h"

#include <gtest/gtest.h>

#include <climits>

using Kest::eString;

// GBK bytes used below.
#define BEI "\xB1\xB1"        // 北
#define JING "\xBE\xA9"       // 京
#define WIDE_SPACE "\xA1\xA1" // full-width space
#define TRAIL_A "\x81\x41"    // a two-byte character whose trail byte is 'A'

TEST(eString, ConstructionAndConcatenation)
{
    EXPECT_TRUE(eString(static_cast<const char*>(nullptr)).IsEmpty());
    EXPECT_EQ(3, eString("abcdef", 3).GetLength());
    EXPECT_EQ("xxx", eString('x', 3));
    eString s = "a";
    s += eString("b");
    s += "c";
    s += 'd';
    EXPECT_EQ("abcd", s);
    EXPECT_EQ("abcdef", s + "e" + eString("f"));
    EXPECT_EQ("zabcd", "z" + s);
    EXPECT_EQ('c', s.GetAt(2));
    EXPECT_EQ(0, s.GetAt(9));
    s.Format("%s%d.ndf", "/data/POI/", 110);
    EXPECT_EQ("/data/POI/110.ndf", s);
}

TEST(eString, FindIsAPlainByteSearch)
{
    const eString s("ab" BEI JING "b");
    EXPECT_EQ(2, s.Find(BEI));
    EXPECT_EQ(4, s.Find(JING));
    EXPECT_EQ(1, s.Find('b'));
    EXPECT_EQ(6, s.Find('b', 2));
    EXPECT_EQ(-1, s.Find("zz"));
    EXPECT_EQ(-1, s.Find('a', 50));
    EXPECT_EQ(6, s.ReverseFind('b'));
    EXPECT_EQ(-1, s.ReverseFind('q'));
    // A match that straddles two characters is still reported: callers test
    // the position themselves.
    EXPECT_EQ(3, s.Find("\xB1\xBE"));
}

TEST(eString, ReplaceSkipsMatchesOnTrailBytes)
{
    eString s("aA" TRAIL_A "A");
    EXPECT_EQ(2, s.Replace("A", "\xA3\xC1"));
    EXPECT_EQ(eString("a\xA3\xC1" TRAIL_A "\xA3\xC1"), s);

    eString digits("2024");
    EXPECT_EQ(2, digits.Replace("2", "\xB6\xFE")); // 二
    EXPECT_EQ(eString("\xB6\xFE" "0" "\xB6\xFE" "4"), digits);
    EXPECT_EQ(0, digits.Replace("9", "x"));
    EXPECT_EQ(0, digits.Replace("", "x"));

    eString chars("a.b.c");
    EXPECT_EQ(2, chars.Replace('.', '/'));
    EXPECT_EQ("a/b/c", chars);
}

TEST(eString, SubstringsClamp)
{
    const eString s("abcdef");
    EXPECT_EQ("ab", s.Left(2));
    EXPECT_EQ("", s.Left(-1));
    EXPECT_EQ("abcdef", s.Left(99));
    EXPECT_EQ("cdef", s.Mid(2));
    EXPECT_EQ("cd", s.Mid(2, 2));
    EXPECT_EQ("abc", s.Mid(-3, 3));
    EXPECT_EQ("", s.Mid(9));
    EXPECT_EQ("ef", s.Right(2));
    EXPECT_EQ("abcdef", s.Right(10));

    eString d("abcdef");
    EXPECT_EQ(4, d.Delete(1, 2));
    EXPECT_EQ("adef", d);
    EXPECT_EQ(2, d.Delete(2, 10));
    EXPECT_EQ(2, d.Delete(5));
    EXPECT_EQ("ad", d);
}

TEST(eString, TrimmingWorksOnWholeCharacters)
{
    eString s("  \t" BEI "  ");
    EXPECT_EQ(BEI, s.TrimLeft().TrimRight());

    eString stars("**" BEI "*" JING "***");
    EXPECT_EQ(BEI "*" JING, stars.TrimLeft('*').TrimRight("*"));

    // The full-width space trims as a unit, never as single bytes.
    eString wide(WIDE_SPACE WIDE_SPACE BEI WIDE_SPACE);
    EXPECT_EQ(BEI, wide.TrimLeft(WIDE_SPACE).TrimRight(WIDE_SPACE));
    eString lone("\xA1" BEI); // a lone 0xA1 is not the full-width space
    EXPECT_EQ(3, lone.TrimLeft(WIDE_SPACE).GetLength());
    // A character ending in 0xA1 at the end is not a space either: 0xB0 0xA1.
    eString tail("\xB0\xA1");
    EXPECT_EQ(2, tail.TrimRight("\xA1").GetLength());
}

TEST(eString, CaseFoldingLeavesTwoByteCharactersAlone)
{
    eString s("abC" TRAIL_A "z" BEI);
    s.MakeUpper();
    EXPECT_EQ(eString("ABC" TRAIL_A "Z" BEI), s);
    s.MakeLower();
    EXPECT_EQ(eString("abc" TRAIL_A "z" BEI), s);
}

TEST(eString, Comparison)
{
    EXPECT_EQ(0, eString("abc").Compare("abc"));
    EXPECT_LT(eString("abc").Compare("abd"), 0);
    EXPECT_GT(eString(BEI).Compare("z"), 0); // unsigned bytes
    EXPECT_EQ(0, eString("Shopping").CompareNoCase("SHOPPING"));
    EXPECT_NE(0, eString(TRAIL_A).CompareNoCase("\x81\x61"));
    EXPECT_TRUE(eString("x") == "x");
    EXPECT_TRUE(eString("") == static_cast<const char*>(nullptr));
}

TEST(eString, ToIntIsStrtolInBase10)
{
    EXPECT_EQ(2040, eString("2040").ToInt());
    EXPECT_EQ(-12, eString("  -12abc").ToInt());
    EXPECT_EQ(0, eString("abc").ToInt());
    EXPECT_EQ(0, eString("").ToInt());
    EXPECT_EQ(INT_MAX, eString("99999999999999").ToInt());
    EXPECT_EQ(255, eString("ff").ToInt(16));
}
