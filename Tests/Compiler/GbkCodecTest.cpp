#include "Compiler/GbkCodec.h"

#include <gtest/gtest.h>

using Kest::GbkCodec;

TEST(GbkCodec, RoundTripsChineseText)
{
    std::string gbk, utf8, error;
    ASSERT_TRUE(GbkCodec::ToGbk("北京a３", gbk, &error)) << error;
    EXPECT_EQ("\xB1\xB1\xBE\xA9" "a" "\xA3\xB3", gbk);
    ASSERT_TRUE(GbkCodec::ToUtf8(gbk, utf8, &error)) << error;
    EXPECT_EQ("北京a３", utf8);
}

TEST(GbkCodec, NamesTheFirstCharacterThatCannotBeEncoded)
{
    std::string gbk, error;
    EXPECT_FALSE(GbkCodec::ToGbk("北京😀x", gbk, &error));
    EXPECT_EQ("U+1F600 '😀' at byte 7 (character 3) cannot be encoded in GBK", error);
    EXPECT_FALSE(GbkCodec::ToGbk("ab\xFFz", gbk, &error));
    EXPECT_EQ("invalid UTF-8 byte 0xFF at byte 3 (character 3)", error);
    EXPECT_FALSE(GbkCodec::ToGbk("a\xE5\x8C", gbk, &error)); // cut in the middle
    EXPECT_EQ("invalid UTF-8 byte 0xE5 at byte 2 (character 2)", error);
    EXPECT_EQ("\xB1\xB1?x", GbkCodec::Gbk("北😀x"));
}

TEST(GbkCodec, ReportsInvalidGbk)
{
    std::string utf8, error;
    EXPECT_FALSE(GbkCodec::ToUtf8("\xB1\xB1\xB1", utf8, &error));
    EXPECT_EQ("invalid GBK byte 0xB1 at byte 3", error);
    EXPECT_EQ("北?", GbkCodec::Utf8("\xB1\xB1\xFF"));
}
