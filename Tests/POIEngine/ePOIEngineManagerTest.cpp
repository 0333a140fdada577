// The engine manager on a small data directory written with the real
// writers: the quirks of the search by initials that the differential test
// over the sample does not reach (the header read once, the first batch of
// 99, a list of exactly 100, untouched fields, bad calls), and the user
// stores' paths.

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

#include "Support/EngineAnswers.h"
#include "Support/InitialData.h"

using namespace Kest;
using namespace KestTest;

namespace {


// QueryByInitial with three keys: the next letters, or "<false>".
std::string Initial(ePOIEngineManager& engine, int city, const char* initials)
{
    char* next = nullptr;
    int count = -1;
    if (!engine.QueryByInitial(3, city, "*", "*", initials, next, count))
        return "<false>";
    EXPECT_EQ(std::strlen(next), static_cast<std::size_t>(count));
    return next;
}

std::string NameOf(const ePoiInfo& info)
{
    return GbkCodec::Utf8(std::string(info.szName, strnlen(info.szName, sizeof info.szName)));
}

class ManagerTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        // Data set 10: 100 "M", 51 "MA", 99 "MAC"; 100 "N", 5 "NA", 10 "NAB";
        // Chinese names under J; two cities, X only in the second.
        std::vector<PoiRow> rows = Repeat("m", 100);
        AppendRows(rows, Repeat("ma", 51));
        AppendRows(rows, Repeat("mac", 99));
        AppendRows(rows, Repeat("n", 100));
        AppendRows(rows, Repeat("na", 5));
        AppendRows(rows, Repeat("nab", 10));
        AppendRows(rows, Rows({"北京大学", "北京站", "白家庄", "宝鸡", "交通大学"}));
        AppendRows(rows, Rows({"金星饭店", "嘉兴"}, "上海市", "上海市"));
        rows.push_back(PoiRow{"机场", "北京市", "北京市", 116397428, 39909230, 2010, 3});
        data.Write({{10, rows}, {11, Rows({"jx", "jy"})}}, {{3, "北京市北京市东城区"}});
        engine.SetPoiPath(data.Root().c_str());
    }

    TempDir dir;
    InitialData data{dir};
    ProbedEngine engine;
};

TEST_F(ManagerTest, HeaderIsReadOncePerFile)
{
    ASSERT_NE(Initial(engine, 10, "J"), "<false>");
    const auto first = HitNames(engine);
    // Spoil the header: a query of the same data set does not read it again,
    // another data set does, and coming back reads the spoiled one.
    std::FILE* fp = std::fopen((data.PoiDir() + "110.ndf").c_str(), "r+b");
    ASSERT_NE(fp, nullptr);
    const unsigned char junk[8] = {0xEE, 0xEE, 0xEE, 0xEE, 0x6E, 0, 0, 0};
    std::fwrite(junk, 1, sizeof junk, fp);
    std::fclose(fp);
    ASSERT_NE(Initial(engine, 10, "J"), "<false>");
    EXPECT_EQ(HitNames(engine), first);
    ASSERT_NE(Initial(engine, 11, "J"), "<false>");
    EXPECT_EQ(HitNames(engine), (std::multiset<std::string>{"jx", "jy"}));
    EXPECT_EQ(Initial(engine, 10, "J"), "<false>");
}

TEST_F(ManagerTest, FirstBatchAndPaging)
{
    // 100 POIs end at M: the index lists 99 and hangs the last below M, so
    // the first batch is not taken for a cut one and the letters are true.
    // (Whole hit sets and ordinary letters: InitialDifferentialTest.)
    EXPECT_EQ(Initial(engine, 10, "M"), "a");
    EXPECT_EQ(engine.GetPOICount(0), 250);
    EXPECT_EQ(engine.Loaded(), 99);
    ePoiInfo info{};
    ASSERT_TRUE(engine.GetPOIInfo(0, 150, info));
    EXPECT_EQ(engine.Loaded(), 151);
    EXPECT_EQ(NameOf(info), "m"); // the 100th, after the 51 of MA
    EXPECT_FALSE(engine.GetPOIInfo(0, 250, info));

    // Past the first batch by one: at least five more are fetched.
    ASSERT_NE(Initial(engine, 10, "N"), "<false>");
    EXPECT_EQ(engine.GetPOICount(0), 115);
    ASSERT_TRUE(engine.GetPOIInfo(0, 99, info));
    EXPECT_EQ(engine.Loaded(), 104);


    // A list of exactly 100 hits is taken to be cut: every letter is offered.
    for (int size : {99, 100, 101}) {
        eArray<ueglobal_addr_t> hits;
        eArray<unsigned int> counts;
        eArray<eString> keys;
        hits.SetSize(size);
        counts.Append(1u, size);
        keys.Add("b");
        ASSERT_TRUE(engine.CreateRecordsetTabular(hits, counts, nullptr, keys));
        EXPECT_EQ(engine.KeyCount(), size == 100 ? 26 : 1) << size;
    }
}

TEST_F(ManagerTest, RecordFieldsBecomePoiInfo)
{
    ASSERT_NE(Initial(engine, 10, "JC"), "<false>");
    // The name is copied without a terminator and nUserData is not written.
    ePoiInfo info;
    std::memset(&info, 0x55, sizeof info);
    std::memset(info.szName, 0, sizeof info.szName);
    ASSERT_TRUE(engine.GetPOIInfo(0, 0, info));
    EXPECT_EQ(NameOf(info), "机场");
    EXPECT_EQ(GbkCodec::Utf8(info.szAddress), "北京市北京市东城区");
    EXPECT_EQ(info.nCode, 2010);
    EXPECT_EQ(info.nUserData, 0x55555555); // left as it was
    // An area code the index does not know gives an empty area name.
    ASSERT_NE(Initial(engine, 10, "BJDX"), "<false>");
    ASSERT_TRUE(engine.GetPOIInfo(0, 0, info));
    EXPECT_STREQ(info.szAddress, "");
    EXPECT_EQ(info.nCode, 1050);
}

TEST_F(ManagerTest, BadCallsMissingFilesAndKeyCounts)
{
    ASSERT_NE(Initial(engine, 10, "JC"), "<false>");
    char* next = nullptr;
    int count = -1;
    EXPECT_FALSE(engine.QueryByInitial(4, 10, "*", "*", "J", next, count));
    EXPECT_EQ(engine.Loaded(), 1); // untouched
    EXPECT_EQ(Initial(engine, 12, "J"), "<false>"); // no file 112.ndf
    TempDir::Write(data.PoiDir() + "113.ndf", {1, 2, 3, 4, 5}); // shorter than its header
    EXPECT_EQ(Initial(engine, 13, "J"), "<false>");

    engine.ReleaseQueryMem();
    engine.ReleaseQueryMem();
    EXPECT_FALSE(engine.QueryFromPreByInitial("J"));
    EXPECT_EQ(engine.GetPOICount(0), -1);
    ASSERT_NE(Initial(engine, 10, "JC"), "<false>");
    EXPECT_EQ(engine.GetPOICount(0), 1);
    // The refinement: empty fails; a Chinese character is compared as bytes
    // and never matches.
    EXPECT_FALSE(engine.QueryFromPreByInitial(""));
    ASSERT_TRUE(engine.QueryFromPreByInitial(GbkCodec::Gbk("北").c_str()));
    EXPECT_EQ(engine.Loaded(), 0);
    // No keys: the district-tree root, counted by its provinces.
    ASSERT_TRUE(engine.QueryByInitial(0, 10, nullptr, nullptr, nullptr, next, count));
    EXPECT_EQ(engine.GetPOICount(0), 2);
    EXPECT_EQ(count, 0);
    // Two keys work as three: the third is the initials.
    ASSERT_TRUE(engine.QueryByInitial(2, 10, "*", "*", "JC", next, count));
    EXPECT_EQ(engine.Loaded(), 1);
}

TEST(ManagerPaths, UserStoreAndAreaPathsHaveNoSeparatorAdded)
{
    TempDir dir;
    ePOIEngineManager engine;
    engine.SetPoiPath(dir.Path("map").c_str());
    ePoiInfo info{};
    std::strcpy(info.szName, "A");
    EXPECT_EQ(engine.AddPOI(1, info), 0);
    EXPECT_EQ(engine.AddPOI(2, info), 0);
    EXPECT_EQ(engine.AddPOI(3, info), -2);
    EXPECT_TRUE(std::filesystem::exists(dir.Path("mapFavorite.poi")));
    EXPECT_TRUE(std::filesystem::exists(dir.Path("mapHistory.poi")));
    // The stores never touch search hits, and the reverse.
    EXPECT_EQ(engine.GetPOICount(1), 1);
    EXPECT_EQ(engine.GetPOICount(0), -1);
    EXPECT_TRUE(engine.GetPOIInfo(2, 0, info));
    EXPECT_FALSE(engine.GetPOIInfo(0, 0, info));
}

} // namespace
