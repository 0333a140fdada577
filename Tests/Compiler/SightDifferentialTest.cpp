// The sight and place-name searches on the bundled sample against a plain
// oracle: for each set (sights.csv, placenames.csv) and each form (initials,
// text), 500 random queries must give what straight loops over the source
// rows give: the hits, the hit count, the direct hits in record order, the
// next letters, and true. A name is indexed under each of its variants
// (NameInitials) and under every dictionary word at every position.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "Base/NdfFormat.h"
#include "Compiler/GbkCodec.h"
#include "Compiler/NameInitials.h"
#include "Ndf/eNdfRecordsetTabular.h"
#include "POIEngine/eDictionary.h"
#include "POIEngine/eMMWordSeg.h"
#include "POIEngine/eNdfIndexInitial.h"
#include "POIEngine/ePOIEngineManager.h"
#include "Support/CompiledSample.h"
#include "Support/TextOracle.h"

using namespace Kest;
using namespace KestTest;

namespace {

constexpr int kQueries = 500;

using Engine = KestTest::LoadedEngine;

struct Row {
    std::string name;
    std::vector<std::string> keys; // the variants
    std::vector<Word> words;
};

struct Set {
    const char* file;
    bool sight;
    std::vector<Row> rows;
    std::map<int, std::vector<std::pair<const Row*, int>>> postings; // key -> (row, position), in store order
};

using KestTest::Fold;

class SightDifferential : public ::testing::TestWithParam<bool> {
protected:
    static void SetUpTestSuite()
    {
        const auto& sample = KestTest::CompiledSample::Get();
        eDictionary& dict = eDictionary::GetInstance();
        dict.UnLoad();
        ASSERT_TRUE(dict.Load((sample.Root() + "/POI/Sight/CoreDict.dct").c_str(), false));
        for (Set* set : {&s_sights, &s_places}) {
            for (const std::string& name : KestTest::CompiledSample::Names(set->file))
                set->rows.push_back(Row{name, NameInitials::Variants(name, NdfFormat::kInitialDefaultDepth),
                                        Postings(name)});
            for (const Row& r : set->rows)
                for (const Word& w : r.words)
                    set->postings[w.key].emplace_back(&r, w.position);
        }
        dict.UnLoad();
        ASSERT_EQ(s_sights.rows.size(), 2500u);
        ASSERT_GT(s_places.rows.size(), 4000u);
    }

    static Set& Current() { return GetParam() ? s_sights : s_places; }

    static Set s_sights, s_places;
};

Set SightDifferential::s_sights{"sights.csv", true, {}, {}};
Set SightDifferential::s_places{"placenames.csv", false, {}, {}};

TEST_P(SightDifferential, InitialsMatchTheOracle)
{
    const Set& set = Current();
    Engine engine;
    engine.SetPoiPath(KestTest::CompiledSample::Get().Root().c_str());
    std::mt19937 rng(set.sight ? 105 : 108);
    int withHits = 0, paged = 0, nextSeen = 0;
    for (int q = 0; q < kQueries; ++q) {
        std::string typed;
        if (rng() % 8 == 0) {
            for (int n = 1 + static_cast<int>(rng() % 4); n > 0; --n)
                typed.push_back("QVUI{ 9"[rng() % 7]);
        } else {
            const Row& r = set.rows[rng() % set.rows.size()];
            const std::string& key = r.keys[rng() % r.keys.size()];
            typed = key.substr(0, 1 + rng() % std::min<std::size_t>(5, key.size()));
            for (char& c : typed)
                if (rng() % 3 == 0 && c >= 'A' && c <= 'Z')
                    c = static_cast<char>(c + 32);
        }

        // The oracle: the direct hits (initials equal to the typed ones) in
        // record order, and the others below them with their next letters.
        const std::string prefix = Fold(typed);
        std::vector<std::string> direct;
        std::multiset<std::string> all;
        std::set<char> letters;
        for (const Row& r : set.rows)
            for (const std::string& key : r.keys)
                if (key.compare(0, prefix.size(), prefix) == 0) {
                    all.insert(r.name);
                    if (key.size() == prefix.size())
                        direct.push_back(r.name);
                    else
                        letters.insert(key[prefix.size()]);
                }
        const bool deeper = !letters.empty();
        // A prefix lists at most 100 direct hits, 99 when more lie below it;
        // the rest are paged. A first batch of exactly 100 offers every letter.
        const std::size_t loaded = std::min<std::size_t>(direct.size(), deeper ? 99 : 100);
        const int count = deeper ? static_cast<int>(all.size()) : static_cast<int>(loaded);
        std::string next = KestTest::NextLetters(letters);
        if (loaded == 100)
            next = "abcdefghijklmnopqrstuvwxyz";

        char* buffer = nullptr;
        int nextCount = -1;
        const std::string context = std::string(set.file) + " query " + std::to_string(q) + " '" + typed + "'";
        ASSERT_TRUE(set.sight ? engine.QuerySightByPY(typed.c_str(), buffer, nextCount)
                              : engine.QueryPlaceNameByPY(typed.c_str(), buffer, nextCount))
            << context;
        ASSERT_EQ(engine.GetPOICount(0), count) << context;
        ASSERT_EQ(engine.Loaded(), static_cast<int>(loaded)) << context;
        ASSERT_EQ(std::string(buffer, static_cast<std::size_t>(nextCount)), next) << context;
        if (set.sight) {
            EXPECT_EQ(std::strlen(buffer), static_cast<std::size_t>(nextCount)) << context;
        }
        const std::vector<std::string> names = KestTest::HitNames(engine, false);
        ASSERT_EQ(names.size(), static_cast<std::size_t>(count)) << context;
        EXPECT_TRUE(std::equal(direct.begin(), direct.begin() + static_cast<long>(loaded), names.begin())) << context;
        const std::multiset<std::string> got(names.begin(), names.end());
        if (deeper || direct.size() <= 100) {
            ASSERT_EQ(got, all) << context;
        }
        withHits += !all.empty();
        paged += count > static_cast<int>(loaded);
        nextSeen += nextCount > 0 && loaded < 100;
    }
    EXPECT_GT(withHits, kQueries / 2);
    EXPECT_GT(paged, kQueries / 4);
    EXPECT_GT(nextSeen, kQueries / 4);
}

TEST_P(SightDifferential, TextMatchesTheOracle)
{
    const Set& set = Current();
    const auto& sample = KestTest::CompiledSample::Get();
    eDictionary& dict = eDictionary::GetInstance();
    dict.UnLoad();
    ASSERT_TRUE(dict.Load((sample.Root() + "/POI/Sight/CoreDict.dct").c_str(), false));
    Engine engine;
    engine.SetPoiPath(sample.Root().c_str());
    std::mt19937 rng(set.sight ? 106 : 107);
    int withHits = 0, loose = 0, capped = 0;
    for (int q = 0; q < kQueries; ++q) {
        // One to three words cut from a real name, as a phrase or spaced.
        const Row& source = set.rows[rng() % set.rows.size()];
        eMMWordSeg seg;
        seg.SetDict(dict);
        eString parts = seg.SegmentHzStrMM(eString(source.name.c_str()));
        eArray<eString> words;
        seg.GetAdressSeg(parts, words);
        const int n = std::min(words.GetSize(), 1 + static_cast<int>(rng() % 3));
        const int start = static_cast<int>(rng() % static_cast<unsigned>(words.GetSize() - n + 1));
        const bool spaced = n > 1 && rng() % 3 == 0;
        std::string typed;
        for (int i = start; i < start + n; ++i)
            typed += std::string(i > start && spaced ? " " : "") + words[i].Cstr();

        // The oracle: every word must be in the set; in one piece each word
        // right behind the one before, across pieces anywhere.
        std::multiset<std::string> want;
        std::vector<Word> query;
        bool pieces = false;
        QueryWords(typed, query, pieces);
        const bool present = std::all_of(query.begin(), query.end(),
                                          [&](const Word& w) { return set.postings.count(w.key) != 0; });
        if (!query.empty() && present)
            for (const auto& [r, position] : set.postings.at(query[0].key))
                if (Holds(r->words, query, position, pieces))
                    want.insert(r->name);

        const std::string context = std::string(set.file) + " text " + std::to_string(q) + " '" +
                                    GbkCodec::Utf8(typed) + "'";
        ASSERT_TRUE(set.sight ? engine.QuerySightByText(typed.c_str()) : engine.QueryPlaceNameByText(typed.c_str()))
            << context;
        const int count = engine.GetPOICount(0);
        ASSERT_EQ(count, static_cast<int>(std::min<std::size_t>(want.size(), 100))) << context;
        const std::multiset<std::string> got = KestTest::HitSet(engine);
        capped += KestTest::ExpectCapped(got, want, context);
        withHits += !want.empty();
        loose += spaced;
    }
    dict.UnLoad();
    EXPECT_GT(withHits, kQueries * 3 / 4);
    EXPECT_GT(loose, kQueries / 10);
    EXPECT_GT(capped, 0);
}

INSTANTIATE_TEST_SUITE_P(Sets, SightDifferential, ::testing::Bool(),
                         [](const auto& param) { return std::string(param.param ? "Sights" : "PlaceNames"); });

} // namespace
