#include "POIEngine/eMMWordSeg.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Support/DictFiles.h"
#include "Support/EngineAnswers.h"

using Kest::eArray;
using Kest::eMMWordSeg;
using Kest::eString;
using Kest::GbkCodec;
using namespace KestTest;

namespace {

class MMWordSeg : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::vector<std::pair<std::string, int>> words;
        for (const char* w : {"北京", "北京大学", "大学", "中关村", "银行", "中国", "中国银行", "医院", "人民",
                              "人民医院", "分行"})
            words.push_back({w, 50});
        LoadDict(WordBytes(words));
        seg.SetDict(Dict());
    }
    void TearDown() override { Dict().UnLoad(); }

    // GBK in and out, with "*" between words; MMU takes and gives UTF-8.
    std::string MM(const std::string& gbk) { return seg.SegmentSentenceMM(eString(gbk.c_str())).Cstr(); }
    std::string MMU(const char* utf8) { return GbkCodec::Utf8(MM(G(utf8))); }

    eMMWordSeg seg;
};

TEST_F(MMWordSeg, TakesTheLongestWordFirstAndCutsTextIntoRunsByKind)
{
    const std::pair<const char*, const char*> cases[] = {
        {"北京大学人民医院", "北京大学*人民医院"},
        {"北京大学生", "北京大学*生"},
        {"中国银行北京分行", "中国银行*北京*分行"},
        {"北京饭店", "北京*饭*店"},      // unknown hanzi alone
        {"", ""},
        {" a   b ", "a*b"},
        {"ABC 北京", "ABC*北京"},        // the space is dropped, the last "*" trimmed
        {"北京\nabc", "北京*\nabc"},     // a line break run has no "*"
        {"（北京）", "（*北京*）"},
        {"Ａ　Ｂ", "Ａ　Ｂ"},            // a full-width space inside a symbol run stays
        {"北京　中国", "北京*中国"},     // a run starting with one is dropped
        {"Ｇ６北京ｘ", "Ｇ６*北京*ｘ"},
    };
    for (const auto& [in, out] : cases)
        EXPECT_EQ(out, MMU(in)) << in;
    EXPECT_EQ(G("北京*") + "\xB1", MM(G("北京") + "\xB1")); // lone lead bytes at the end
    EXPECT_EQ(G("北京*") + "\xA3", MM(G("北京") + "\xA3"));
    // The hanzi-run function alone keeps its trailing "*".
    EXPECT_EQ(G("北京*饭*"), seg.SegmentHzStrMM(eString(G("北京饭").c_str())).Cstr());
    EXPECT_EQ(G("北*京*AB"), eMMWordSeg().SegmentSentenceMM(eString(G("北京AB").c_str())).Cstr()); // no dictionary
}

TEST_F(MMWordSeg, TestsTheFullCandidateByExistenceAndShorterOnesByFrequency)
{
    LoadDict(DictBytes({{110, {{0, G("京")}}}})); // 北京 with frequency 0
    EXPECT_EQ("北京", MMU("北京"));
    EXPECT_EQ("北*京*市", MMU("北京市"));
}

TEST_F(MMWordSeg, GetAdressSegSplitsAtStars)
{
    auto split = [this](const std::string& text) {
        eArray<eString> words;
        words.Add("old");
        words.Add("old");
        eString s(text.c_str());
        EXPECT_TRUE(seg.GetAdressSeg(s, words));
        return Texts(words);
    };
    using V = std::vector<std::string>;
    EXPECT_EQ((V{G("北京"), G("中国")}), split(G("*北京*中国*"))); // earlier contents replaced
    EXPECT_EQ((V{G("北京")}), split(G("北京")));
    EXPECT_EQ((V{"a", "", "b", "c"}), split("**a**b*c"));
    EXPECT_EQ((V{""}), split("***"));
}

} // namespace
