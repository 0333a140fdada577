// The sight and place-name readers by initials (one shared Query) over
// letter tries without district levels: the limits the differential test
// over the sample does not reach (a hundred results, direct hits past a
// query, an empty trie).

#include "POIEngine/eNdfIndexSightByPY.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "Compiler/InitialIndexWriter.h"
#include "Support/EngineAnswers.h"

using namespace Kest;
using namespace KestTest;

namespace {

constexpr std::uint16_t kFile = 105;

std::vector<int> Range(int from, int to)
{
    std::vector<int> out(static_cast<std::size_t>(to - from));
    std::iota(out.begin(), out.end(), from);
    return out;
}

// A trie of ASCII names (initials = the names upper-cased, depth 4), opened
// as the engine opens it. The place-name reader runs the same Query; the
// differential test over the sample runs both through the engine.
class SightByPY : public ::testing::Test {
protected:
    void Build(const std::vector<std::string>& names)
    {
        InitialIndexWriter writer(kFile, 4);
        writer.SetLettersOnly(true);
        for (std::size_t i = 0; i < names.size(); ++i)
            ASSERT_TRUE(writer.AddPoi("ignored", "ignored", names[i], PoiAt(i)));
        ASSERT_TRUE(writer.Write(NdfFile(dir, kFile))) << writer.GetError();
        reader = std::make_unique<eNdfIndexSightByPY>();
        pool = std::make_unique<eNdfPool>(); // a fresh cache for the new file
        OpenIndex(*reader, *pool, DataDir(dir), kFile);
    }
    KeyedAnswer Query(const std::vector<std::string>& keys) { return Ask(*reader, keys); }
    std::vector<int> Next(int count) { return NextPois(*reader, count); }

    TempDir dir;
    std::unique_ptr<eNdfPool> pool;
    std::unique_ptr<eNdfIndexSightByPY> reader;
};

// Keys before the last are ignored; paging goes on below the reached node
// after ClearCache.
TEST_F(SightByPY, TheLastKeyIsTheInitials)
{
    Build({"ab", "abc", "abd", "b", "AB"});
    const KeyedAnswer r = Query({"zz", "*", "ab"});
    EXPECT_TRUE(r.ok);
    EXPECT_EQ((std::vector<int>{0, 4}), r.pois);
    EXPECT_EQ("cd", r.letters);
    EXPECT_EQ(4, reader->GetQueryedCount());
    Query({"a"});
    reader->ClearCache();
    EXPECT_EQ((std::vector<int>{0, 4, 1, 2}), Next(100));
    EXPECT_TRUE(Next(100).empty());
}

TEST_F(SightByPY, AHundredResultsKeepTheLettersThatReallyFollow)
{
    Build({});
    EXPECT_TRUE(Query({"a"}).ok && Query({"a"}).pois.empty()) << "an empty trie: true, nothing";
    std::vector<std::string> names(150, "abc");
    names.push_back("abd");
    Build(names);
    const KeyedAnswer r = Query({"a"});
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(151, reader->GetQueryedCount());
    EXPECT_EQ("b", r.letters); // not the whole alphabet
    std::vector<int> paged = Next(1000);
    std::sort(paged.begin(), paged.end());
    EXPECT_EQ(Range(0, 151), paged);
}

// A prefix at which more POIs end than a query delivers: the query gets the
// first of them in the order added, and paging every other one, once.
TEST_F(SightByPY, DirectHitsBeyondAQueryArePaged)
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
        const KeyedAnswer r = Query({"ab"});
        EXPECT_TRUE(r.ok);
        EXPECT_EQ(Range(0, c.loaded), r.pois);
        EXPECT_EQ(c.names, r.letters);
        EXPECT_EQ(c.deeper > 0 ? c.ending + c.deeper : c.loaded, reader->GetQueryedCount());
        std::vector<int> all = r.pois, paged = Next(1000);
        all.insert(all.end(), paged.begin(), paged.end());
        std::sort(all.begin(), all.end());
        EXPECT_EQ(Range(0, c.ending + c.deeper), all);
        // The walk past the prefix is not misled by the extra records.
        EXPECT_EQ(Range(c.ending, c.ending + c.deeper), Query({"abc"}).pois);
        EXPECT_TRUE(Query({"abd"}).pois.empty());
    }
}


} // namespace
