// The search by Chinese text on a small dictionary, POI store and full-text
// index written with the real writers, through the engine manager: the
// quirks (widened digits and letters, the first batch, words at an odd byte
// refused by the refinement). Ordinary answers are compared with a plain
// oracle over the sample by TextDifferentialTest.

#include <gtest/gtest.h>

#include <filesystem>

#include "Compiler/CoreDictWriter.h"
#include "Compiler/PoiStoreWriter.h"
#include "Compiler/SegFullTextIndexWriter.h"
#include "POIEngine/eDictionary.h"
#include "Support/EngineAnswers.h"

using namespace Kest;
using namespace KestTest;

namespace {


std::string G(const char* utf8) { return GbkCodec::Gbk(utf8); }
using Names = std::multiset<std::string>;

class FullTextTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        eDictionary::GetInstance().UnLoad();
        const std::string poi = dir.Path("data/POI/");
        std::filesystem::create_directories(poi);
        CoreDictWriter dict;
        for (const char* w : {"北京", "大学", "北京大学", "饭店", "师范", "酒店", "大厦", "上海"})
            dict.Add(G(w), 100);
        ASSERT_TRUE(dict.Write(poi + "CoreDict.dct"));
        // The writer segments with the dictionary the engine will load.
        ASSERT_TRUE(eDictionary::GetInstance().Load((poi + "CoreDict.dct").c_str(), false));

        PoiStoreWriter store;
        ASSERT_TRUE(store.Open(poi + "1.ndf"));
        SegFullTextIndexWriter index(210);
        auto add = [&](const char* name, const char* city) {
            ueglobal_addr_t addr{};
            ASSERT_TRUE(store.Add(PoiStoreRecord{G(name), 116000000, 39000000, 1050, 1}, addr));
            index.AddPoi(G("北京市"), G(city), G(name), addr);
        };
        add("北京大学饭店", "海淀区");  // 北京大学, 北京 and 大学 are all indexed
        add("北京师范大学", "海淀区");
        add("大学北京", "海淀区");
        add("小店", "海淀区");
        add("三Ａ酒店", "朝阳区");
        add("３Ａ大厦", "朝阳区");
        add("3A大厦", "朝阳区");      // indexed in full width too
        add("A北京饭店", "朝阳区");   // 北京 at an odd byte position of the name
        for (int i = 0; i < 120; ++i)
            add("上海饭店", "朝阳区");
        ASSERT_TRUE(store.Close());
        ASSERT_TRUE(index.Write(poi + "210.ndf")) << index.GetError();
        eDictionary::GetInstance().UnLoad(); // the engine loads it itself
        engine.SetPoiPath(dir.Path("data").c_str());
    }
    void TearDown() override { eDictionary::GetInstance().UnLoad(); }

    // A "*" province lists every city and ignores the city key, so a city
    // is chosen under its province.
    bool Text(const char* text, const char* city = "*")
    {
        return engine.QueryByFullText(3, 10, G("北京").c_str(), G(city).c_str(), G(text).c_str());
    }

    TempDir dir;
    ProbedEngine engine;
};

TEST_F(FullTextTest, TypedDigitsAndLettersAreWidened)
{
    // 3a becomes ３Ａ and 三Ａ; the half-width form is not searched, but
    // names written with it were indexed in full width.
    ASSERT_TRUE(Text("3a"));
    EXPECT_EQ(HitNames(engine), (Names{"三Ａ酒店", "３Ａ大厦", "3A大厦"}));
    // With one key only the first is used, as typed: the whole province
    // name, whose city node (two city records) becomes the hit list.
    EXPECT_TRUE(engine.QueryByFullText(1, 10, G("北京市").c_str(), nullptr, nullptr));
    EXPECT_EQ(engine.GetPOICount(0), 2);
    EXPECT_FALSE(engine.QueryByFullText(1, 10, G("北京").c_str(), nullptr, nullptr));
    EXPECT_FALSE(engine.QueryByFullText(4, 10, "*", "*", "x"));
    EXPECT_FALSE(engine.QueryByFullText(3, 12, "*", "*", "x")); // no 212.ndf
}

TEST_F(FullTextTest, FirstBatchAndDistricts)
{
    ASSERT_TRUE(Text("上海饭店"));
    EXPECT_EQ(engine.GetPOICount(0), 100);
    ASSERT_TRUE(Text("饭店", "海淀"));
    EXPECT_EQ(HitNames(engine), (Names{"北京大学饭店"}));
    // A word the district does not hold, or a rejected character: nothing.
    ASSERT_TRUE(Text("酒店", "海淀"));
    EXPECT_EQ(engine.GetPOICount(0), 0);
    ASSERT_TRUE(Text("饭店(", "*"));
    EXPECT_EQ(engine.GetPOICount(0), 0);
}

TEST_F(FullTextTest, RefinementNeedsEveryWordAtAnEvenPosition)
{
    ASSERT_TRUE(Text("饭店"));
    EXPECT_EQ(engine.Loaded(), 100);
    // The index holds 北京 in Ａ北京饭店 (widened), but in the stored name
    // A北京饭店 it starts at byte 1: refused.
    ASSERT_TRUE(Text("北京 饭店"));
    ASSERT_EQ(HitNames(engine), (Names{"A北京饭店", "北京大学饭店"}));
    ASSERT_TRUE(engine.QueryFromPreByFullText(G("北京").c_str()));
    EXPECT_EQ(HitNames(engine), (Names{"北京大学饭店"}));
    // Words split at a full-width space; spaces around one word are trimmed.
    ASSERT_TRUE(Text("大学"));
    ASSERT_EQ(HitNames(engine), (Names{"北京大学饭店", "北京师范大学", "大学北京"}));
    ASSERT_TRUE(engine.QueryFromPreByFullText(G("北京　师范").c_str()));
    EXPECT_EQ(HitNames(engine), (Names{"北京师范大学"}));
    ASSERT_TRUE(engine.QueryFromPreByFullText(G("  大学  ").c_str()));
    EXPECT_EQ(engine.Loaded(), 1);
    // Keeping nothing still succeeds; an empty text does not.
    ASSERT_TRUE(engine.QueryFromPreByFullText(G("上海").c_str()));
    EXPECT_EQ(engine.Loaded(), 0);
    EXPECT_FALSE(engine.QueryFromPreByFullText("   "));
}

} // namespace
