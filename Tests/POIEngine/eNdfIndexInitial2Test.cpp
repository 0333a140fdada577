// The second-form initial index on small files: the path cache, the paging
// rule, district keys, counts past 16 bits and broken records. Ordinary
// answers are compared with a plain oracle over the sample by
// InitialDifferentialTest.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Compiler/FeatureBlockEncoder.h"
#include "Compiler/Initial2IndexWriter.h"
#include "POIEngine/eNdfIndexInitial2.h"
#include "Support/EngineAnswers.h"

using namespace Kest;
using namespace KestTest;

namespace {

constexpr std::uint16_t kFile = 110;

class Reader : public eNdfIndexInitial2 {
public:
    int WalkReads() const { return m_nWalkNodeReads; }
};

struct Row {
    std::string name; // GBK or ASCII
    std::uint16_t code;
};

// A query, with every hit after draining GetNextResult.
struct Result {
    bool ok = false;
    std::size_t hits = 0;
    int direct = 0;
    int counted = 0;
    std::string next;
};

class Initial2Test : public ::testing::Test {
protected:
    // Writes the rows; codes 1..n are the cities "c<code>" of province
    // "p<(code+1)/2>".
    void Write(const std::vector<Row>& rows, int depth = 10, std::uint16_t cities = 4)
    {
        Initial2IndexWriter writer(kFile, depth, 512);
        for (std::uint16_t c = 1; c <= cities; ++c)
            writer.AddDistrict("p" + std::to_string((c + 1) / 2), "c" + std::to_string(c), c);
        for (std::size_t i = 0; i < rows.size(); ++i)
            writer.AddPoi(rows[i].name, rows[i].code, PoiAt(i));
        ASSERT_TRUE(writer.Write(NdfFile(dir, kFile))) << writer.GetError();
        Open(reader);
    }

    void Open(eNdfIndexInitial2& index, const TempDir& from) { OpenIndex(index, pool, DataDir(from), kFile); }
    void Open(eNdfIndexInitial2& index) { Open(index, dir); }

    Result Ask(const std::vector<std::string>& keys)
    {
        KeyedAnswer a = KestTest::Ask(reader, keys);
        Result r{a.ok, 0, static_cast<int>(a.pois.size()), reader.GetQueryedCount(), a.letters};
        eArray<unsigned int> nums;
        nums.SetSize(a.gids.GetSize());
        while (reader.GetNextResult(1 + a.gids.GetSize(), a.gids, nums) > 0) {
        }
        r.hits = static_cast<std::size_t>(a.gids.GetSize());
        return r;
    }

    TempDir dir;
    eNdfPool pool;
    Reader reader;
};

// The path cache: a longer query reads only its new levels, a shorter one
// none; an unknown letter cuts the cache. (Answers after cached walks are
// compared with the oracle by InitialDifferentialTest.)
TEST_F(Initial2Test, PathCacheReadsOnlyNewLevels)
{
    Write({{"bja", 1}, {"bjb", 1}, {"bx", 1}, {"c", 1}});
    for (const auto& [typed, reads] : std::vector<std::pair<const char*, int>>{
             {"B", 1}, {"BJ", 2}, {"BX", 3}, {"B", 3}, {"BQ", 4}, {"BJ", 5}}) {
        Ask({"*", "*", typed});
        EXPECT_EQ(reader.WalkReads(), reads) << typed;
    }
}

TEST_F(Initial2Test, NextResultCountsWhatTheCallerLeftInTheList)
{
    std::vector<Row> rows(15, Row{"ab", 1});
    rows.push_back({"abc", 1});
    Write(rows);
    const eArray<eString> keys = KeyArray({"*", "*", "A"});
    eArray<ueglobal_addr_t> gids;
    eArray<unsigned int> nums;
    eArray<eString> names;
    ASSERT_TRUE(reader.Query(keys, gids, nums, names));
    EXPECT_EQ(gids.GetSize(), 0);
    EXPECT_EQ(reader.GetQueryedCount(), 16);
    // Three entries left in the list count towards the ten asked for; the
    // whole node of B is delivered and the final length returned.
    gids.SetSize(3);
    nums.SetSize(3);
    EXPECT_EQ(reader.GetNextResult(10, gids, nums), 18);
    EXPECT_EQ(reader.GetNextResult(10, gids, nums), 19);
    EXPECT_EQ(reader.GetNextResult(10, gids, nums), 0); // drained
    EXPECT_EQ(gids.GetSize(), 19);
}

TEST_F(Initial2Test, DistrictKeys)
{
    Write({{"a", 1}, {"a", 2}, {"a", 3}, {"ab", 4}});
    // No keys: the district root, counted by its provinces.
    Result r = Ask({});
    EXPECT_EQ(r.direct, 1);
    EXPECT_EQ(r.counted, 2);
    // One key names provinces by substring: their city nodes.
    EXPECT_EQ(Ask({"p"}).direct, 2);
    EXPECT_EQ(Ask({"2"}).direct, 1);
    // Substring and "*" per level; all matching cities are kept. (A place
    // that is not there: InitialDifferentialTest.)
    EXPECT_EQ(Ask({"p", "c", "A"}).counted, 4);
    EXPECT_EQ(Ask({"p2", "*", "A"}).counted, 2);
    EXPECT_EQ(Ask({"p2", "c4", "A"}).next, "b");
}

TEST_F(Initial2Test, LargeDistrictCountsStayExact)
{
    // More POIs below one letter than a result record can count.
    std::vector<Row> rows(70000, Row{"ab", 1});
    rows.push_back({"a", 2});
    Write(rows, 3);
    const Result r = Ask({"*", "*", "A"});
    EXPECT_EQ(r.counted, 70001);
    EXPECT_EQ(r.hits, 70001u);
    EXPECT_EQ(Ask({"*", "c1", "A"}).counted, 70000);
}

// A file written by hand: one province with one city, letters A and B.
// `city` gives the city record, `results` the result records of A.
void WriteByHand(const TempDir& dir, const PageFileWriter::Record& city,
                 const std::vector<PageFileWriter::Record>& results)
{
    PageFileWriter w(kFile, 512);
    ASSERT_TRUE(w.Open(NdfFile(dir, kFile)));
    ueglobal_addr_t resA{}, cityAddr{}, letters{}, prov{}, root{};
    ASSERT_TRUE(w.AppendRun(results, resA));
    ASSERT_TRUE(w.AppendRun({city}, cityAddr));
    PageFileWriter::Record a, b;
    auto blockA = FeatureBlockEncoder::Encode({}, 0, resA, static_cast<unsigned int>(results.size()));
    a.SetText(0, "A").Set(1, blockA.data(), blockA.size());
    b.SetText(0, "B"); // no pointer block
    ASSERT_TRUE(w.AppendRun({a, b}, letters));
    PageFileWriter::Record p;
    auto blockP = FeatureBlockEncoder::Encode(cityAddr, 1, {}, 0);
    p.SetText(0, "p1").Set(2, blockP.data(), blockP.size());
    ASSERT_TRUE(w.AppendRun({p}, prov));
    PageFileWriter::Record r;
    auto blockR = FeatureBlockEncoder::Encode(letters, 2, prov, 1);
    r.Set(1, blockR.data(), blockR.size());
    ASSERT_TRUE(w.AppendRun({r}, root, true));
    w.SetIndexHeader(root, 5);
    ASSERT_TRUE(w.Close());
}

PageFileWriter::Record ResultRecord(std::uint16_t code, std::uint16_t further, std::size_t addrs, std::size_t extra = 0)
{
    PageFileWriter::Record r;
    const unsigned char head[4] = {static_cast<unsigned char>(code), 0, static_cast<unsigned char>(further), 0};
    r.Set(0, head, 4);
    std::string list;
    for (std::size_t i = 0; i < addrs; ++i) {
        const ueglobal_addr_t a = PoiAt(i);
        list.append(reinterpret_cast<const char*>(&a), sizeof a);
    }
    list.append(extra, 'x');
    if (!list.empty())
        r.Set(1, list.data(), list.size());
    return r;
}

TEST_F(Initial2Test, BrokenRecordsFailWithoutCrashing)
{
    PageFileWriter::Record city;
    city.SetText(0, "c1").SetShort(1, 1);
    // A cut address list is refused; the good record still counts.
    WriteByHand(dir, city, {ResultRecord(1, 0, 2, 3), ResultRecord(1, 4, 1)});
    Open(reader);
    Result r = Ask({"*", "c", "A"});
    ASSERT_TRUE(r.ok);
    EXPECT_EQ(r.counted, 5);
    EXPECT_EQ(r.direct, 1);
    // A letter record without its pointer block ends the walk.
    EXPECT_TRUE(Ask({"*", "c", "B"}).hits == 0);

    // A city code of the wrong length fails the district step.
    PageFileWriter::Record badCity;
    badCity.SetText(0, "c1").SetInt(1, 1);
    TempDir other;
    WriteByHand(other, badCity, {ResultRecord(1, 0, 1)});
    Reader second;
    Open(second, other);
    EXPECT_FALSE(KestTest::Ask(second, {"*", "c", "A"}).ok);
    // A root page that cannot be read: false, outputs untouched.
    Reader third;
    third.SetGID(MakeGlobalAddr(kFile, 999, 0));
    third.SetPool(&pool);
    eArray<ueglobal_addr_t> gids;
    eArray<unsigned int> nums;
    eArray<eString> names;
    gids.Add(MakeGlobalAddr(1, 0, 0));
    EXPECT_FALSE(third.Query(KeyArray({"*", "c", "A"}), gids, nums, names));
    EXPECT_EQ(gids.GetSize(), 1);
}

} // namespace
