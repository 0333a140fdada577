// The first-form initial index on small files: the quirks the differential
// tests over the sample cannot reach (the hundred-hit stop, district keys,
// paging by whole nodes) and broken records.

#include "POIEngine/eNdfIndexInitial.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "Compiler/FeatureBlockEncoder.h"
#include "Compiler/GbkCodec.h"
#include "Compiler/InitialIndexWriter.h"
#include "Support/EngineAnswers.h"

using namespace Kest;
using namespace KestTest;

namespace {

constexpr std::uint16_t kFile = 120;

std::string G(const char* utf8) { return GbkCodec::Gbk(utf8); }
ueglobal_addr_t Poi(int i) { return PoiAt(static_cast<std::size_t>(i)); }

struct Index {
    TempDir dir;
    eNdfPool pool;
    eNdfIndexInitial reader;

    void Open() { OpenIndex(reader, pool, DataDir(dir), kFile); }
    void Write(InitialIndexWriter& writer)
    {
        ASSERT_TRUE(writer.Write(NdfFile(dir, kFile))) << writer.GetError();
        Open();
    }
    KeyedAnswer Query(const std::vector<std::string>& keys) { return Ask(reader, keys); }
    std::vector<int> Next(int count) { return NextPois(reader, count); }
};

const std::string kAlphabet = "abcdefghijklmnopqrstuvwxyz";

} // namespace

TEST(eNdfIndexInitial, FoldsCaseCutsAtTheDepthAndOrdersLettersAsSignedBytes)
{
    Index index;
    InitialIndexWriter writer(kFile, 3);
    const std::string bj = G("北京市");
    EXPECT_TRUE(writer.AddPoi(bj, bj, G("中华书局"), Poi(0)));     // ZHSJ, cut to ZHS
    EXPECT_TRUE(writer.AddPoi(bj, bj, G("中华"), Poi(1)));         // ZH
    EXPECT_TRUE(writer.AddPoi(bj, bj, G("招商银行"), Poi(2)));     // ZSY
    EXPECT_TRUE(writer.AddPoi(bj, bj, G("中华书店"), Poi(3)));     // ZHSD, cut to ZHS
    EXPECT_TRUE(writer.AddPoi(bj, bj, "z{", Poi(4)));              // '{' folds to '[', above Z
    EXPECT_TRUE(writer.AddPoi(bj, bj, "z\xB1", Poi(5)));           // a lone high byte: below every letter
    EXPECT_FALSE(writer.AddPoi(bj, bj, G("（中华）"), Poi(6))) << "no initial for the first character";
    EXPECT_FALSE(writer.AddPoi(bj, bj, "", Poi(7)));
    index.Write(writer);

    const KeyedAnswer lower = index.Query({bj, bj, "zh"});
    EXPECT_EQ(std::vector<int>{1}, lower.pois);
    EXPECT_EQ("s", lower.letters);
    EXPECT_EQ(lower.pois, index.Query({bj, bj, "ZH"}).pois);
    EXPECT_EQ(3, index.reader.GetQueryedCount());
    EXPECT_EQ((std::vector<std::string>{"\xB1", "h", "s", "["}), index.Query({bj, bj, "z"}).names);
    EXPECT_EQ(std::vector<int>{4}, index.Query({bj, bj, "Z{"}).pois);
    EXPECT_EQ((std::vector<int>{0, 3}), index.Query({bj, bj, "zhsjxyz"}).pois) << "only the first 3 letters count";
    const KeyedAnswer gbk = index.Query({bj, bj, G("中")});
    EXPECT_TRUE(gbk.ok && gbk.pois.empty() && gbk.names.empty());
}

// A hundred results end the search and offer every letter, whatever follows.
TEST(eNdfIndexInitial, OneHundredResultsOfferEveryLetterAndEndTheSearch)
{
    for (bool deeperCounts : {true, false}) {
        SCOPED_TRACE(deeperCounts);
        Index index;
        InitialIndexWriter writer(kFile, 4, deeperCounts);
        const std::string p = G("河北省"), c1 = G("石家庄市"), c2 = G("唐山市");
        for (int i = 0; i < 120; ++i)
            ASSERT_TRUE(writer.AddPoi(p, c1, "ab", Poi(i)));
        ASSERT_TRUE(writer.AddPoi(p, c1, "b", Poi(500)));
        for (int i = 0; i < 50; ++i)
            ASSERT_TRUE(writer.AddPoi(p, c2, "ab", Poi(1000 + i)));
        index.Write(writer);

        // Direct hits stop at the hundredth; the second city is not searched.
        KeyedAnswer r = index.Query({"*", "*", "ab"});
        EXPECT_EQ(100u, r.pois.size());
        EXPECT_EQ(99, r.pois.back());
        EXPECT_EQ(kAlphabet, r.letters);
        EXPECT_EQ(100, index.reader.GetQueryedCount());

        // Below "a": counted by field 2, or collected up to the hundredth.
        r = index.Query({"*", "*", "a"});
        EXPECT_EQ(deeperCounts ? 0u : 100u, r.pois.size());
        EXPECT_EQ(deeperCounts ? 120 : 100, index.reader.GetQueryedCount());
        EXPECT_EQ(kAlphabet, r.letters);
        EXPECT_EQ("b", index.Query({p, c2, "a"}).letters) << "50 results are not 100";
    }
}

TEST(eNdfIndexInitial, DistrictKeysMatchWholeNamesAloneAndSubstringsInTwoLevels)
{
    Index index;
    InitialIndexWriter writer(kFile, 3);
    const std::string hb = G("河北省"), sx = G("山西省");
    ASSERT_TRUE(writer.AddPoi(hb, G("石家庄市"), "ab", Poi(1)));
    ASSERT_TRUE(writer.AddPoi(hb, G("唐山市"), "cd", Poi(2)));
    ASSERT_TRUE(writer.AddPoi(hb, G("唐山市"), "ef", Poi(3)));
    ASSERT_TRUE(writer.AddPoi(sx, G("太原市"), "g", Poi(4)));
    index.Write(writer);

    // One key: the province's node (its two city records), names empty.
    KeyedAnswer r = index.Query({hb});
    ASSERT_TRUE(r.ok);
    EXPECT_EQ(std::vector<unsigned int>{2}, r.nums);
    EXPECT_TRUE(r.names.empty());
    EXPECT_FALSE(index.Query({G("河北")}).ok) << "a single key must equal the whole name";
    EXPECT_EQ(std::vector<int>{2}, index.Query({G("北"), G("山"), "cd"}).pois) << "two levels match substrings";
    EXPECT_FALSE(index.Query({G("河北"), G("太原"), "cd"}).ok);
    EXPECT_EQ(2u, index.Query({""}).pois.size()) << "an empty key lists every province";
    // A single "*" lists every city of every province (the counts of their
    // letter nodes); with a second key, which it then ignores, too.
    EXPECT_EQ((std::vector<unsigned int>{1, 2, 1}), index.Query({"*"}).nums);
    EXPECT_EQ(std::vector<int>{1}, index.Query({"*", "nowhere", "ab"}).pois);
}

TEST(eNdfIndexInitial, GetNextResultFinishesWholeNodesAndClearCacheKeepsThem)
{
    Index index;
    InitialIndexWriter writer(kFile, 3);
    const std::string p = G("河北省"), c = G("唐山市");
    for (int i = 0; i < 20; ++i)
        ASSERT_TRUE(writer.AddPoi(p, c, i < 15 ? "ab" : "abc", Poi(i)));
    index.Write(writer);

    EXPECT_TRUE(index.Next(10).empty()) << "nothing pending before a query";
    ASSERT_TRUE(index.Query({p, c, "a"}).ok);
    EXPECT_EQ(15u, index.Next(10).size()) << "the node of B is finished";
    index.reader.ClearCache();
    EXPECT_EQ((std::vector<int>{15, 16, 17, 18, 19}), index.Next(10));
    EXPECT_TRUE(index.Next(10).empty());
}

namespace {

// Writes an index by hand: one letter node `letters`, one city record "C" and
// one province record "P" naming it, then the root. `edit` may break the
// city record (first argument) or the province record (second).
using Record = PageFileWriter::Record;
void WriteByHand(Index& index, const std::vector<Record>& letters,
                 const std::function<void(Record& city, Record& province)>& edit = [](Record&, Record&) {})
{
    PageFileWriter writer(kFile, 512);
    ASSERT_TRUE(writer.Open(NdfFile(index.dir, kFile)));
    ueglobal_addr_t node, city, province, root;
    ASSERT_TRUE(writer.AppendRun(letters, node));
    Record cityRecord, provinceRecord, scratch;
    cityRecord.SetText(0, "C").SetInt(1, static_cast<std::uint32_t>(letters.size())).SetAddr(2, node);
    edit(cityRecord, scratch);
    ASSERT_TRUE(writer.Append(cityRecord, city));
    provinceRecord.SetText(0, "P").SetInt(1, 1).SetAddr(2, city);
    edit(scratch, provinceRecord);
    ASSERT_TRUE(writer.Append(provinceRecord, province));
    const auto block = FeatureBlockEncoder::Encode(province, 1, ueglobal_addr_t{}, 0);
    ASSERT_TRUE(writer.AppendRun({Record().Set(1, block.data(), block.size())}, root, true));
    writer.SetIndexHeader(root, 3);
    ASSERT_TRUE(writer.Close());
    index.Open();
}

Record Letter(char letter, const ueglobal_addr_t& child, unsigned int childCount, int leaf, unsigned int leafCount)
{
    const auto block = FeatureBlockEncoder::Encode(child, childCount, leaf < 0 ? ueglobal_addr_t{} : Poi(leaf), leafCount);
    Record r;
    r.Set(0, &letter, 1).Set(1, block.data(), block.size());
    return r;
}

} // namespace

TEST(eNdfIndexInitial, MalformedDistrictFieldsFailTheQueryWithEmptyOutputs)
{
    const std::vector<Record> letters = {Letter('A', {}, 0, 1, 1)};
    const std::vector<std::function<void(Record&, Record&)>> breakages = {
        [](Record& city, Record&) { city.Set(1, "abc", 3); },
        [](Record& city, Record&) { city.Set(2, "abcdefg", 7); },
        [](Record&, Record& province) { province.Set(1, "abcde", 5); },
        [](Record&, Record& province) { province.Set(2, "", 0); },
    };
    for (std::size_t i = 0; i < breakages.size(); ++i) {
        SCOPED_TRACE(i);
        Index index;
        WriteByHand(index, letters, breakages[i]);
        for (const std::vector<std::string>& keys :
             {std::vector<std::string>{"P", "C", "a"}, {"*"}, {"*", "*", "a"}, {"", ""}, {"P"}}) {
            const KeyedAnswer r = index.Query(keys);
            // A single exact key reads only the province records.
            const bool reads = !(i < 2 && keys.size() == 1 && keys[0] == "P");
            EXPECT_EQ(!reads, r.ok) << keys.size();
            if (reads) {
                EXPECT_TRUE(r.pois.empty() && r.nums.empty() && r.names.empty());
            }
        }
    }
    Index sound;
    WriteByHand(sound, letters);
    EXPECT_EQ(std::vector<int>{1}, sound.Query({"P", "C", "a"}).pois);
}

TEST(eNdfIndexInitial, MalformedLetterRecordsStopTheStepWithoutACrash)
{
    const ueglobal_addr_t self = MakeGlobalAddr(kFile, 0, 0); // the letter node itself
    Record noLetter = Letter('A', {}, 0, 1, 1);
    noLetter.Set(0, "", 0);
    Record noBlock = Letter('A', {}, 0, 1, 1);
    noBlock.Set(1, "", 0);
    const struct {
        const char* what;
        std::vector<Record> letters;
        std::vector<int> hits;
    } cases[] = {
        {"no field 0", {noLetter}, {}},
        {"no field 1", {noBlock}, {}},
        {"a countdown past the node's end", {Letter('A', {}, 0, 1, 3), Letter('A', {}, 0, 2, 2)}, {1, 2}},
        {"a node below itself", {Letter('A', self, 1, -1, 0)}, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Index index;
        WriteByHand(index, c.letters);
        const KeyedAnswer r = index.Query({"P", "C", "a"});
        EXPECT_TRUE(r.ok) << "only the district step fails the query";
        EXPECT_EQ(c.hits, r.pois);
        EXPECT_TRUE(index.Next(10).empty());
        index.Query({"P", "C", "aa"});
        EXPECT_TRUE(index.Next(10).empty());
    }
    // No file at all: false, empty outputs, nothing counted.
    Index missing;
    missing.Open();
    const KeyedAnswer r = missing.Query({"P", "C", "a"});
    EXPECT_FALSE(r.ok);
    EXPECT_TRUE(r.pois.empty() && r.nums.empty() && r.names.empty());
    EXPECT_EQ(0, missing.reader.GetQueryedCount());
}
