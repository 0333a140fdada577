#include "POIEngine/eMMWordSeg.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Build/CoreDictWriter.h"
#include "Support/DictFiles.h"

using Kest::CoreDictWriter;
using Kest::eArray;
using Kest::eDictionary;
using Kest::eMMWordSeg;
using Kest::eString;
using Kest::GbkCodec;
using namespace KestTest;

namespace {

// Loads a dictionary of POI words into the process-wide instance.
class MMWordSeg : public ::testing::Test {
protected:
    void SetUp() override
    {
        CoreDictWriter writer;
        for (const char* w : {"北京", "北京大学", "大学", "海淀", "中关村", "银行", "中国", "中国银行", "医院",
                              "人民", "人民医院", "第一", "分行", "加油站"})
            writer.Add(G(w), 50);
        TempFile file(writer.Build());
        d().UnLoad();
        ASSERT_TRUE(d().Load(file.path(), false));
        seg.SetDict(d());
    }
    void TearDown() override { d().UnLoad(); }
    static eDictionary& d() { return eDictionary::GetInstance(); }

    // UTF-8 in and out, with "*" between words.
    std::string MM(const std::string& gbk) { return seg.SegmentSentenceMM(eString(gbk.c_str())).Cstr(); }
    std::string MMU(const char* utf8) { return GbkCodec::Utf8(MM(G(utf8))); }

    eMMWordSeg seg;
};

TEST_F(MMWordSeg, TakesTheLongestWordFirstAndUnknownHanziAlone)
{
    EXPECT_EQ("北京大学*人民医院", MMU("北京大学人民医院"));
    EXPECT_EQ("北京大学*生", MMU("北京大学生"));
    EXPECT_EQ("中国银行*北京*分行", MMU("中国银行北京分行"));
    EXPECT_EQ("海淀*中关村*加油站", MMU("海淀中关村加油站"));
    EXPECT_EQ("北京*饭*店", MMU("北京饭店"));
    EXPECT_EQ("中国银行*中国", MMU("中国银行中国"));
    // The hanzi-run function alone keeps its trailing "*".
    EXPECT_EQ(G("北京*饭*"), seg.SegmentHzStrMM(eString(G("北京饭").c_str())).Cstr());
    EXPECT_EQ(std::string(), seg.SegmentHzStrMM(eString()).Cstr());
}

TEST_F(MMWordSeg, TestsTheFullCandidateByExistenceAndShorterOnesByFrequency)
{
    d().UnLoad();
    TempFile file(DictBytes({{HanziSlot(G("北")), {{0, G("京")}}}})); // 北京 with frequency 0
    ASSERT_TRUE(d().Load(file.path(), false));
    EXPECT_EQ("北京", MMU("北京"));
    EXPECT_EQ("北*京*市", MMU("北京市"));
}

TEST_F(MMWordSeg, CutsTextIntoRunsByKind)
{
    EXPECT_EQ("", MM(""));
    EXPECT_EQ("", MM("   "));
    EXPECT_EQ("ABC*北京", MMU("ABC 北京")); // the space is dropped, the last "*" trimmed
    EXPECT_EQ("a*b", MM("a b"));
    EXPECT_EQ("a*b", MM(" a   b "));
    EXPECT_EQ("北京*\nabc", MMU("北京\nabc")); // a line break run has no "*"
    EXPECT_EQ("北京*\r\n", MMU("北京\r\n"));
    EXPECT_EQ("（*北京*）", MMU("（北京）"));
    EXPECT_EQ("ＡＢＣ*北京", MMU("ＡＢＣ北京"));
    EXPECT_EQ("Ａ　Ｂ", MMU("Ａ　Ｂ")); // a full-width space inside a symbol run stays
    EXPECT_EQ("北京*海淀", MMU("北京　海淀")); // a run starting with one is dropped
    EXPECT_EQ("，*，", MMU("，，"));
    EXPECT_EQ("Ｇ６*北京*ｘ", MMU("Ｇ６北京ｘ"));
}

TEST_F(MMWordSeg, LoneLeadBytesAtTheEndAreWordsOfTheirOwn)
{
    EXPECT_EQ(G("北京*") + "\xB1", MM(G("北京") + "\xB1"));
    EXPECT_EQ(G("北京*") + "\xA3", MM(G("北京") + "\xA3"));
    EXPECT_EQ("\x81", MM("\x81"));
    EXPECT_EQ("ab*\xB1", MM("ab\xB1"));
}

TEST_F(MMWordSeg, GetAdressSegSplitsAtStars)
{
    auto split = [this](const std::string& text, eArray<eString>& words) {
        eString s(text.c_str());
        EXPECT_TRUE(seg.GetAdressSeg(s, words));
        std::vector<std::string> out;
        for (int i = 0; i < words.GetSize(); ++i)
            out.push_back(words[i].Cstr());
        return out;
    };
    using V = std::vector<std::string>;
    eArray<eString> words;
    for (int i = 0; i < 5; ++i)
        words.Add("old");
    EXPECT_EQ((V{G("北京"), G("海淀")}), split(G("*北京*海淀*"), words)); // earlier contents replaced
    EXPECT_EQ((V{G("北京")}), split(G("北京"), words));
    EXPECT_EQ((V{""}), split("***", words));
    EXPECT_EQ((V{"a", "", "b", "c"}), split("a**b*c", words));
    EXPECT_EQ((V{G("北京"), G("海淀")}), split(MM(G("北京 海淀")), words));
}

TEST_F(MMWordSeg, WithoutADictionaryEveryHanziIsAWord)
{
    eMMWordSeg bare;
    EXPECT_EQ("北*京*AB", GbkCodec::Utf8(bare.SegmentSentenceMM(eString(G("北京AB").c_str())).Cstr()));
    eMMWordSeg copy(seg);
    EXPECT_EQ("北京", GbkCodec::Utf8(copy.SegmentSentenceMM(eString(G("北京").c_str())).Cstr()));
}

} // namespace
