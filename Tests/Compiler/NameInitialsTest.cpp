// What the pinyin-initial indexes hold for a name: the variants of
// NameInitials (the differential tests find the sample's names by them).

#include "Compiler/NameInitials.h"

#include <gtest/gtest.h>

#include <set>

#include "Compiler/GbkCodec.h"

using Kest::GbkCodec;
using Kest::NameInitials;

namespace {

TEST(NameInitials, VariantsOfAName)
{
    const struct {
        const char* name;
        int depth;
        std::vector<std::string> variants;
    } cases[] = {
        {"ＡＢＣ超市", 10, {"ABCCS"}},
        {"１号店", 10, {"1HD"}},
        {"郪江", 10, {"QJ"}},                      // outside the engine's tables
        {"重庆", 10, {"CQ", "ZQ"}},                 // the phrase first, then the engine's reading
        {"中国银行", 10, {"ZGYH"}},                 // ZGYX shares the first letter: one of them only
        {"长春", 10, {"CC", "ZC"}},
        {"厦门", 10, {"XM", "SM"}},
        {"肯德基（王府井店）", 10, {"KDJWFJD"}},    // symbols are skipped, not the end
        {"KFC (Wang) 7店", 10, {"KFCWANG7D"}},
        {"·北京", 10, {"BJ"}},
        {"北京乥饭店", 10, {"BJ"}},                 // a character without any reading ends the key
        {"（）", 10, {}},
        {"重庆饭店", 3, {"CQF", "ZQF"}},            // cut at the depth
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.variants, NameInitials::Variants(GbkCodec::Gbk(c.name), c.depth)) << c.name;
}

TEST(NameInitials, AtMostFourVariantsWithDistinctFirstLetters)
{
    // Every GBK character as the first of a name.
    for (int lead = 0x81; lead <= 0xFE; ++lead)
        for (int trail = 0x40; trail <= 0xFE; ++trail) {
            const char name[] = {static_cast<char>(lead), static_cast<char>(trail), 'A', 0};
            const auto variants = NameInitials::Variants(name, 10);
            ASSERT_LE(variants.size(), NameInitials::kMaxVariants);
            std::set<char> first;
            for (const auto& v : variants)
                first.insert(v[0]);
            ASSERT_EQ(first.size(), variants.size()) << std::hex << lead << trail;
        }
}

} // namespace
