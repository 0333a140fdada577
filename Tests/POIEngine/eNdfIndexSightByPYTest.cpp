// The sight and place-name readers by initials (one shared Query) over
// letter tries without district levels: the limits the differential test
// over the sample does not reach (a hundred results, direct hits past a
// query, an empty trie).

#include "POIEngine/eNdfIndexSightByPY.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Compiler/InitialIndexWriter.h"
#include "POIEngine/eNdfIndexPlaceNameByPY.h"
#include "Support/IndexOpen.h"
#include "Support/NdfFiles.h"

using namespace Kest;
using namespace KestTest;

namespace {

constexpr std::uint16_t kFile = 105;

ueglobal_addr_t Poi(int i) { return MakeGlobalAddr(1, static_cast<std::uint32_t>(i / 1000), static_cast<std::uint16_t>(i % 1000)); }
int PoiNumber(const ueglobal_addr_t& a) { return static_cast<int>(a.page.nPage) * 1000 + a.nElement; }

struct Result {
    bool ok = false;
    std::vector<int> pois;
    std::string names; // one letter each
    int count = 0;     // GetQueryedCount
};

// A trie of ASCII names (initials = the names upper-cased, depth 4) read by
// either reader, opened as the engine opens it.
class SightByPY : public ::testing::TestWithParam<bool> {
protected:
    void Build(const std::vector<std::string>& names)
    {
        InitialIndexWriter writer(kFile, 4);
        writer.SetLettersOnly(true);
        for (std::size_t i = 0; i < names.size(); ++i)
            ASSERT_TRUE(writer.AddPoi("ignored", "ignored", names[i], Poi(static_cast<int>(i))));
        ASSERT_TRUE(writer.Write(NdfFile(dir, kFile))) << writer.GetError();
        if (GetParam())
            reader = std::make_unique<eNdfIndexSightByPY>();
        else
            reader = std::make_unique<eNdfIndexPlaceNameByPY>();
        pool = std::make_unique<eNdfPool>(); // a fresh cache for the new file
        OpenIndex(*reader, *pool, DataDir(dir), kFile);
    }
    Result Query(const std::vector<std::string>& keys)
    {
        const eArray<eString> k = KeyArray(keys);
        eArray<ueglobal_addr_t> gids;
        eArray<unsigned int> nums;
        eArray<eString> names;
        Result r;
        r.ok = reader->Query(k, gids, nums, names) != 0;
        EXPECT_EQ(gids.GetSize(), nums.GetSize());
        for (int i = 0; i < gids.GetSize(); ++i)
            r.pois.push_back(PoiNumber(gids[i]));
        for (int i = 0; i < names.GetSize(); ++i)
            r.names += names[i].Cstr();
        r.count = reader->GetQueryedCount();
        return r;
    }
    std::vector<int> Next(int count)
    {
        eArray<ueglobal_addr_t> gids;
        eArray<unsigned int> nums;
        reader->GetNextResult(count, gids, nums);
        std::vector<int> pois;
        for (int i = 0; i < gids.GetSize(); ++i)
            pois.push_back(PoiNumber(gids[i]));
        return pois;
    }
    static std::vector<int> Range(int from, int to)
    {
        std::vector<int> out;
        for (int i = from; i < to; ++i)
            out.push_back(i);
        return out;
    }

    TempDir dir;
    std::unique_ptr<eNdfPool> pool;
    std::unique_ptr<eNdfIndexInitial> reader;
};

// Keys before the last are ignored; paging goes on below the reached node
// after ClearCache.
TEST_P(SightByPY, TheLastKeyIsTheInitials)
{
    Build({"ab", "abc", "abd", "b", "AB"});
    EXPECT_EQ(3, reader->GetType());
    const Result r = Query({"zz", "*", "ab"});
    EXPECT_TRUE(r.ok);
    EXPECT_EQ((std::vector<int>{0, 4}), r.pois);
    EXPECT_EQ("cd", r.names);
    EXPECT_EQ(4, r.count);
    Query({"a"});
    reader->ClearCache();
    EXPECT_EQ((std::vector<int>{0, 4, 1, 2}), Next(100));
    EXPECT_TRUE(Next(100).empty());
}

TEST_P(SightByPY, AHundredResultsKeepTheLettersThatReallyFollow)
{
    Build({});
    EXPECT_TRUE(Query({"a"}).ok && Query({"a"}).pois.empty()) << "an empty trie: true, nothing";
    std::vector<std::string> names(150, "abc");
    names.push_back("abd");
    Build(names);
    const Result r = Query({"a"});
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(151, r.count);
    EXPECT_EQ("b", r.names); // not the whole alphabet
    std::vector<int> paged = Next(1000);
    std::sort(paged.begin(), paged.end());
    EXPECT_EQ(Range(0, 151), paged);
}

// A prefix at which more POIs end than a query delivers: the query gets the
// first of them in the order added, and paging every other one, once.
TEST_P(SightByPY, DirectHitsBeyondAQueryArePaged)
{
    struct Case {
        int ending, deeper;
        int loaded;        // direct hits of the query
        std::string names; // its next letters
    };
    for (const Case& c : std::vector<Case>{{250, 0, 100, ""}, {250, 7, 99, "c"}, {100, 3, 99, "c"}, {99, 1, 99, "c"}}) {
        SCOPED_TRACE(testing::Message() << c.ending << " ending, " << c.deeper << " deeper");
        std::vector<std::string> names(static_cast<std::size_t>(c.ending), "ab");
        names.insert(names.end(), static_cast<std::size_t>(c.deeper), "abc");
        Build(names);
        const Result r = Query({"ab"});
        EXPECT_TRUE(r.ok);
        EXPECT_EQ(Range(0, c.loaded), r.pois);
        EXPECT_EQ(c.names, r.names);
        EXPECT_EQ(c.deeper > 0 ? c.ending + c.deeper : c.loaded, r.count);
        std::vector<int> all = r.pois;
        for (int p : Next(1000))
            all.push_back(p);
        std::sort(all.begin(), all.end());
        EXPECT_EQ(Range(0, c.ending + c.deeper), all);
        // The walk past the prefix is not misled by the extra records.
        const Result below = Query({"abc"});
        EXPECT_EQ(Range(c.ending, c.ending + c.deeper), below.pois);
        EXPECT_TRUE(Query({"abd"}).pois.empty());
    }
}

INSTANTIATE_TEST_SUITE_P(Readers, SightByPY, ::testing::Bool(),
                         [](const auto& param) { return std::string(param.param ? "Sight" : "PlaceName"); });

} // namespace
