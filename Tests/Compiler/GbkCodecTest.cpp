#include "Compiler/GbkCodec.h"

#include <gtest/gtest.h>

using Kest::GbkCodec;

TEST(GbkCodec, ConvertsBothWaysAndNamesTheFirstByteItCannot)
{
    const struct {
        bool toGbk;
        std::string in, out, error; // error empty: converted to `out`
    } cases[] = {
        {true, "北京a３", "\xB1\xB1\xBE\xA9" "a" "\xA3\xB3", ""},
        {false, "\xB1\xB1\xBE\xA9" "a" "\xA3\xB3", "北京a３", ""},
        {true, "北京😀x", "", "U+1F600 '😀' at byte 7 (character 3) cannot be encoded in GBK"},
        {true, "ab\xFFz", "", "invalid UTF-8 byte 0xFF at byte 3 (character 3)"},
        {true, "a\xE5\x8C", "", "invalid UTF-8 byte 0xE5 at byte 2 (character 2)"}, // cut in the middle
        {false, "\xB1\xB1\xB1", "", "invalid GBK byte 0xB1 at byte 3"},
    };
    for (const auto& c : cases) {
        std::string out, error;
        EXPECT_EQ(c.error.empty(), c.toGbk ? GbkCodec::ToGbk(c.in, out, &error) : GbkCodec::ToUtf8(c.in, out, &error))
            << c.in;
        EXPECT_EQ(c.error, error) << c.in;
        if (c.error.empty()) {
            EXPECT_EQ(c.out, out) << c.in;
        }
    }
    // The lenient forms put '?' for what they cannot convert.
    EXPECT_EQ("\xB1\xB1?x", GbkCodec::Gbk("北😀x"));
    EXPECT_EQ("北?", GbkCodec::Utf8("\xB1\xB1\xFF"));
}
