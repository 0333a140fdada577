#include "POIEngine/eNdfIndexInitial.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "Compiler/FeatureBlockEncoder.h"
#include "Compiler/GbkCodec.h"
#include "Compiler/InitialIndexWriter.h"
#include "Support/NdfFiles.h"

using namespace Kest;
using namespace KestTest;

namespace {

constexpr std::uint16_t kFile = 120;

std::string G(const char* utf8) { return GbkCodec::Gbk(utf8); }

// POI number i as a record address, and back.
ueglobal_addr_t Poi(int i) { return MakeGlobalAddr(1, static_cast<std::uint32_t>(i / 1000), static_cast<std::uint16_t>(i % 1000)); }
int PoiNumber(const ueglobal_addr_t& a) { return static_cast<int>(a.page.nPage) * 1000 + a.nElement; }

struct Result {
    bool ok = false;
    std::vector<ueglobal_addr_t> gids;
    std::vector<int> pois; // the gids as POI numbers
    std::vector<unsigned int> nums;
    std::vector<std::string> names;
};

// A reader over file kFile of a temporary directory, opened as the engine
// opens it: root address and depth from the file's first 12 bytes.
struct Index {
    TempDir dir;
    eNdfPool pool;
    eNdfIndexInitial reader;

    bool Write(InitialIndexWriter& writer) { return writer.Write(NdfFile(dir, kFile)); }
    void Open()
    {
        const std::vector<unsigned char> bytes = TempDir::Read(NdfFile(dir, kFile));
        ueglobal_addr_t root = MakeGlobalAddr(kFile, 0, 0);
        std::int32_t depth = 3;
        if (bytes.size() >= 12) {
            std::memcpy(&root, bytes.data(), 8);
            std::memcpy(&depth, bytes.data() + 8, 4);
        }
        pool.SetDataPath(DataDir(dir).c_str());
        reader.SetGID(root);
        reader.SetDepth(depth);
        reader.SetDataPath(DataDir(dir).c_str());
        reader.SetPool(&pool);
    }
    Result Query(const std::vector<std::string>& keys)
    {
        eArray<eString> k;
        for (const std::string& key : keys)
            k.Add(eString(key.data(), static_cast<int>(key.size())));
        eArray<ueglobal_addr_t> gids;
        eArray<unsigned int> nums;
        eArray<eString> names;
        Result r;
        r.ok = reader.Query(k, gids, nums, names) != 0;
        EXPECT_EQ(gids.GetSize(), nums.GetSize());
        for (int i = 0; i < gids.GetSize() && i < nums.GetSize(); ++i) {
            r.gids.push_back(gids[i]);
            r.pois.push_back(PoiNumber(gids[i]));
            r.nums.push_back(nums[i]);
        }
        for (int i = 0; i < names.GetSize(); ++i)
            r.names.emplace_back(names[i].Cstr());
        return r;
    }
    // GetNextResult as POI numbers; it must return how many it appended, each with count 1.
    std::vector<int> Next(int count)
    {
        eArray<ueglobal_addr_t> gids;
        eArray<unsigned int> nums;
        const int returned = reader.GetNextResult(count, gids, nums);
        std::vector<int> pois;
        for (int i = 0; i < gids.GetSize(); ++i)
            pois.push_back(PoiNumber(gids[i]));
        EXPECT_EQ(returned, static_cast<int>(pois.size()));
        EXPECT_EQ(std::vector<unsigned int>(pois.size(), 1u), std::vector<unsigned int>(nums.GetData(), nums.GetData() + nums.GetSize()));
        return pois;
    }
};

std::vector<std::string> Alphabet()
{
    std::vector<std::string> letters;
    for (char c = 'a'; c <= 'z'; ++c)
        letters.emplace_back(1, c);
    return letters;
}

// ---- The plain model: rows of names per district and a query's answer ----

// The folded initials of the test's ASCII names: letters upper-cased, '{'
// folded to '[', a lone byte 0xB1 kept; cut at the depth.
std::string ModelInitials(const std::string& name, int depth)
{
    std::string out;
    for (std::size_t i = 0; i < name.size() && static_cast<int>(i) < depth; ++i)
        out += name[i] >= 'a' && name[i] <= 'z' ? static_cast<char>(name[i] - 32) : name[i] == '{' ? '[' : name[i];
    return out;
}

bool SignedLess(const std::string& a, const std::string& b)
{
    return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                        [](char x, char y) { return static_cast<signed char>(x) < static_cast<signed char>(y); });
}

struct ModelAnswer {
    std::vector<int> direct;
    // The POIs below the reached nodes: as a query collects them (district
    // by district, each breadth-first) and as paging delivers them (one
    // breadth-first walk over the nodes of all districts).
    std::vector<int> collected, paged;
    std::vector<std::string> names;
};

// `rows[i]` is (district number, name); `districts` are searched in order.
ModelAnswer Model(const std::vector<std::pair<int, std::string>>& rows, const std::vector<int>& districts,
                  const std::string& query, int depth)
{
    const std::string q = ModelInitials(query, depth);
    ModelAnswer a;
    struct Deep { std::size_t length, district; std::string initials; int row; };
    std::vector<Deep> deep;
    for (std::size_t d = 0; d < districts.size(); ++d) {
        std::vector<std::string> next;
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const std::string in = ModelInitials(rows[i].second, depth);
            if (rows[i].first != districts[d] || in.compare(0, q.size(), q) != 0 || in.size() < q.size())
                continue;
            if (in == q) {
                a.direct.push_back(static_cast<int>(i));
                continue;
            }
            deep.push_back({in.size(), d, in, static_cast<int>(i)});
            next.push_back(in.substr(q.size(), 1));
        }
        std::sort(next.begin(), next.end(), SignedLess);
        for (std::string n : next) {
            n[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(n[0])));
            if (std::find(a.names.begin(), a.names.end(), n) == a.names.end())
                a.names.push_back(n);
        }
    }
    for (bool levelFirst : {false, true}) {
        std::stable_sort(deep.begin(), deep.end(), [levelFirst](const Deep& x, const Deep& y) {
            if (levelFirst && x.length != y.length)
                return x.length < y.length;
            if (x.district != y.district)
                return x.district < y.district;
            return x.length != y.length ? x.length < y.length : SignedLess(x.initials, y.initials);
        });
        for (const Deep& d : deep)
            (levelFirst ? a.paged : a.collected).push_back(d.row);
    }
    return a;
}

} // namespace

// Writer and reader against the model: every query of up to 4 characters
// (the depth is 3) over two provinces of two cities, one city at a time and
// several at once, with and without deeper counts, over small and ordinary
// pages. The letters include '{' (folded to '[', above 'Z') and a lone high
// byte (negative as signed 8-bit, so below every letter).
TEST(eNdfIndexInitial, MatchesAPlainModelForEveryShortQuery)
{
    const std::vector<std::string> provinces = {G("河北省"), G("山西省")};
    const std::vector<std::string> cities = {G("石家庄市"), G("唐山市"), G("太原市"), G("大同市")};
    const std::string alphabet = "abc{";
    std::mt19937 rng(7);
    std::vector<std::pair<int, std::string>> rows;
    for (int i = 0; i < 90; ++i) {
        std::string name;
        for (int n = 1 + static_cast<int>(rng() % 5); n > 0; --n)
            name += alphabet[rng() % alphabet.size()];
        if (rng() % 8 == 0)
            name += '\xB1';
        if (rng() % 3 == 0)
            name[0] = static_cast<char>(std::toupper(name[0]));
        // The first four rows fix the order of the districts.
        rows.emplace_back(i < 4 ? i : static_cast<int>(rng() % 4), name);
    }
    std::vector<std::string> queries = {"AB", "d"};
    for (std::string q : {"a", "b", "c", "{", "\xB1"}) {
        queries.push_back(q);
        for (char x : std::string("ab{\xB1")) {
            queries.push_back(q + x);
            for (char y : std::string("abC")) {
                queries.push_back(q + x + y);
                queries.push_back(q + x + y + 'c');
            }
        }
    }
    const std::vector<std::pair<std::vector<std::string>, std::vector<int>>> selections = {
        {{G("河北"), G("唐山")}, {1}}, {{G("西"), G("原")}, {2}}, {{"*", "*"}, {0, 1, 2, 3}}, {{G("山西省"), "*"}, {2, 3}}};

    for (bool deeperCounts : {true, false}) {
        for (std::uint32_t target : {200u, 8192u}) {
            SCOPED_TRACE(testing::Message() << "deeperCounts " << deeperCounts << " target " << target);
            Index index;
            InitialIndexWriter writer(kFile, 3, deeperCounts, target);
            for (std::size_t i = 0; i < rows.size(); ++i)
                ASSERT_TRUE(writer.AddPoi(provinces[rows[i].first / 2], cities[rows[i].first], rows[i].second,
                                          Poi(static_cast<int>(i))));
            ASSERT_TRUE(index.Write(writer)) << writer.GetError();
            index.Open();
            for (const auto& [districtKeys, districts] : selections) {
                for (const std::string& q : queries) {
                    SCOPED_TRACE(q);
                    std::vector<std::string> keys = districtKeys;
                    keys.push_back(q);
                    const Result r = index.Query(keys);
                    const ModelAnswer m = Model(rows, districts, q, 3);
                    ASSERT_TRUE(r.ok);
                    std::vector<int> expected = m.direct;
                    if (!deeperCounts)
                        expected.insert(expected.end(), m.collected.begin(), m.collected.end());
                    EXPECT_EQ(expected, r.pois);
                    EXPECT_EQ(std::vector<unsigned int>(expected.size(), 1u), r.nums);
                    EXPECT_EQ(m.names, r.names);
                    EXPECT_EQ(static_cast<int>(m.direct.size() + m.paged.size()), index.reader.GetQueryedCount());
                    // Paging delivers everything below the reached nodes, then nothing.
                    EXPECT_EQ(m.paged, index.Next(1000));
                    EXPECT_TRUE(index.Next(1000).empty());
                }
            }
        }
    }
}

TEST(eNdfIndexInitial, FoldsTheCaseOfQueriesCutsThemAtTheDepthAndNeverMatchesAGbkByte)
{
    Index index;
    InitialIndexWriter writer(kFile, 3);
    const std::string bj = G("北京市");
    EXPECT_TRUE(writer.AddPoi(bj, bj, G("中华书局"), Poi(0)));     // ZHSJ, cut to ZHS
    EXPECT_TRUE(writer.AddPoi(bj, bj, G("中华"), Poi(1)));         // ZH
    EXPECT_TRUE(writer.AddPoi(bj, bj, G("招商银行"), Poi(2)));     // ZSY
    EXPECT_TRUE(writer.AddPoi(bj, bj, G("中华书店"), Poi(3)));     // ZHSD, cut to ZHS
    EXPECT_FALSE(writer.AddPoi(bj, bj, G("（中华）"), Poi(4))) << "no initial for the first character";
    EXPECT_FALSE(writer.AddPoi(bj, bj, "", Poi(5)));
    ASSERT_TRUE(index.Write(writer));
    index.Open();

    const Result lower = index.Query({bj, bj, "zh"});
    EXPECT_EQ(std::vector<int>{1}, lower.pois);
    EXPECT_EQ(std::vector<std::string>{"s"}, lower.names);
    EXPECT_EQ(lower.pois, index.Query({bj, bj, "ZH"}).pois);
    EXPECT_EQ(3, index.reader.GetQueryedCount());

    EXPECT_EQ((std::vector<int>{0, 3}), index.Query({bj, bj, "zhsjxyz"}).pois) << "only the first 3 letters count";
    const Result gbk = index.Query({bj, bj, G("中")});
    EXPECT_TRUE(gbk.ok && gbk.pois.empty() && gbk.names.empty());
}

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
        ASSERT_TRUE(index.Write(writer));
        index.Open();

        // Direct hits stop at the hundredth; the second city is not searched.
        Result r = index.Query({"*", "*", "ab"});
        EXPECT_EQ(100u, r.pois.size());
        EXPECT_EQ(99, r.pois.back());
        EXPECT_EQ(Alphabet(), r.names) << "whatever really follows";
        EXPECT_EQ(100, index.reader.GetQueryedCount());

        // Below "a": counted by field 2, or collected up to the hundredth.
        r = index.Query({"*", "*", "a"});
        EXPECT_EQ(deeperCounts ? 0u : 100u, r.pois.size());
        EXPECT_EQ(deeperCounts ? 120 : 100, index.reader.GetQueryedCount());
        EXPECT_EQ(Alphabet(), r.names);

        r = index.Query({p, c2, "a"});
        EXPECT_EQ(std::vector<std::string>{"b"}, r.names) << "50 results are not 100";
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
    ASSERT_TRUE(index.Write(writer));
    index.Open();

    // One key: the province's node (its two city records), names empty.
    Result r = index.Query({hb});
    ASSERT_TRUE(r.ok);
    EXPECT_EQ(std::vector<unsigned int>{2}, r.nums);
    EXPECT_TRUE(r.names.empty());
    EXPECT_FALSE(index.Query({G("河北")}).ok) << "a single key must equal the whole name";
    r = index.Query({G("河北"), G("唐山"), "cd"});
    EXPECT_TRUE(r.ok) << "two levels match substrings";
    EXPECT_EQ(std::vector<int>{2}, r.pois);
    EXPECT_FALSE(index.Query({G("河北"), G("太原"), "cd"}).ok);
    EXPECT_EQ(2u, index.Query({""}).gids.size()) << "an empty key lists every province";

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
    for (int i = 0; i < 15; ++i)
        ASSERT_TRUE(writer.AddPoi(p, c, "ab", Poi(i)));
    for (int i = 15; i < 20; ++i)
        ASSERT_TRUE(writer.AddPoi(p, c, "abc", Poi(i)));
    ASSERT_TRUE(index.Write(writer));
    index.Open();

    EXPECT_TRUE(index.Next(10).empty()) << "nothing pending before a query";
    ASSERT_TRUE(index.Query({p, c, "a"}).ok);
    EXPECT_EQ(15u, index.Next(10).size()) << "the node of B is finished";
    index.reader.ClearCache();
    EXPECT_EQ((std::vector<int>{15, 16, 17, 18, 19}), index.Next(10));
    EXPECT_TRUE(index.Next(10).empty());
}

namespace {

// Writes an index by hand: one letter node `letters` at element 0 of page 0,
// then one city record "C" and one province record "P" naming it, then the
// root record. `edit` may break the city record (its first argument) and the
// province record (its second); it is called once for each, before that
// record is written, with a scratch record in the other place.
using Record = PageFileWriter::Record;
void WriteByHand(Index& index, const std::vector<Record>& letters,
                 const std::function<void(Record& city, Record& province)>& edit = {})
{
    PageFileWriter writer(kFile, 512);
    ASSERT_TRUE(writer.Open(NdfFile(index.dir, kFile)));
    ueglobal_addr_t node, city, province, root;
    ASSERT_TRUE(writer.AppendRun(letters, node));
    Record cityRecord, provinceRecord, scratch;
    cityRecord.SetText(0, "C").SetInt(1, static_cast<std::uint32_t>(letters.size())).SetAddr(2, node);
    if (edit)
        edit(cityRecord, scratch);
    ASSERT_TRUE(writer.Append(cityRecord, city));
    provinceRecord.SetText(0, "P").SetInt(1, 1).SetAddr(2, city);
    if (edit)
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
        const bool cityBroken = i < 2;
        for (const std::vector<std::string>& keys :
             {std::vector<std::string>{"P", "C", "a"}, {"*"}, {"*", "*", "a"}, {"", ""}, {"P"}}) {
            const Result r = index.Query(keys);
            // A single exact key reads only the province records.
            const bool reads = !(cityBroken && keys.size() == 1 && keys[0] == "P");
            EXPECT_EQ(!reads, r.ok) << keys.size();
            if (reads) {
                EXPECT_TRUE(r.gids.empty() && r.nums.empty() && r.names.empty());
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
    const ueglobal_addr_t none{};
    Record noLetter = Letter('A', none, 0, 1, 1);
    noLetter.Set(0, "", 0);
    Record noBlock = Letter('A', none, 0, 1, 1);
    noBlock.Set(1, "", 0);
    struct Case {
        const char* what;
        std::vector<Record> letters;
        std::vector<int> hits;
    };
    const std::vector<Case> cases = {
        {"no field 0", {noLetter}, {}},
        {"no field 1", {noBlock}, {}},
        {"a countdown past the node's end", {Letter('A', none, 0, 1, 3), Letter('A', none, 0, 2, 2)}, {1, 2}},
        {"a node below itself", {Letter('A', self, 1, -1, 0)}, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Index index;
        WriteByHand(index, c.letters);
        const Result r = index.Query({"P", "C", "a"});
        EXPECT_TRUE(r.ok) << "only the district step fails the query";
        EXPECT_EQ(c.hits, r.pois);
        EXPECT_TRUE(index.Next(10).empty());
        index.Query({"P", "C", "aa"});
        EXPECT_TRUE(index.Next(10).empty());
    }
}

TEST(eNdfIndexInitial, AMissingFileFailsTheQueryWithEmptyOutputs)
{
    Index index;
    index.Open(); // no file written
    EXPECT_EQ(eNdfIndex::NDF_INDEX_INITIAL, index.reader.GetType());
    const Result r = index.Query({"P", "C", "a"});
    EXPECT_FALSE(r.ok);
    EXPECT_TRUE(r.gids.empty() && r.nums.empty() && r.names.empty());
    EXPECT_EQ(0, index.reader.GetQueryedCount());
}
