// The sight and place-name searches on the bundled sample against a plain
// oracle: for each set (sights.csv, placenames.csv) and each form (initials,
// text), 500 random queries must give what straight loops over the source
// rows give: the hits, the hit count, the direct hits in record order, the
// next letters, and true. A name is indexed under each of its variants
// (NameInitials) and under every dictionary word at every position.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "Base/NdfFormat.h"
#include "Compiler/NameInitials.h"
#include "Support/TextOracle.h"

using namespace Kest;
using namespace KestTest;

namespace {

constexpr int kQueries = 500;

class SightDifferential : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override
    {
        eDictionary& dict = eDictionary::GetInstance();
        dict.UnLoad();
        ASSERT_TRUE(dict.Load((CompiledSample::Get().Root() + "/POI/Sight/CoreDict.dct").c_str(), false));
        for (const auto& f : CompiledSample::Csv(m_file)) {
            const std::string name = GbkCodec::Gbk(f[0]);
            m_rows.push_back(
                {name, "", "", NameInitials::Variants(name, NdfFormat::kInitialDefaultDepth), Postings(name)});
        }
        ASSERT_TRUE(m_sight ? m_rows.size() == 2500 : m_rows.size() > 4000) << m_rows.size();
    }
    void TearDown() override { eDictionary::GetInstance().UnLoad(); }

    const bool m_sight = GetParam();
    const std::string m_file = m_sight ? "sights.csv" : "placenames.csv";
    std::vector<NameRow> m_rows;
};

TEST_P(SightDifferential, InitialsMatchTheOracle)
{
    LoadedEngine engine;
    engine.SetPoiPath(CompiledSample::Get().Root().c_str());
    const Tally floors = {{"with hits", kQueries / 2}, {"paged", kQueries / 4}, {"next letters", kQueries / 4}};
    RunQueries(kQueries, m_sight ? 105 : 108, floors, [&](Draw& draw, Tally& tally, int) {
        const std::string typed = TypedInitials(draw, draw.Pick(draw.Pick(m_rows).keys), 5, "QVUI{ 9");
        SCOPED_TRACE(m_file + " '" + typed + "'");

        // A prefix lists at most 100 direct hits (initials equal to the typed
        // ones) in record order, 99 when more lie below it; the rest are
        // paged. A first batch of exactly 100 offers every letter.
        const PrefixAnswer want = ByPrefix(m_rows, Fold(typed), [](const NameRow&) { return true; });
        const bool deeper = !want.letters.empty();
        const std::size_t loaded = std::min<std::size_t>(want.direct.size(), deeper ? 99 : 100);
        const int count = static_cast<int>(deeper ? want.all.size() : loaded);
        char* letters = nullptr;
        int letterCount = -1;
        ASSERT_TRUE(m_sight ? engine.QuerySightByPY(typed.c_str(), letters, letterCount)
                              : engine.QueryPlaceNameByPY(typed.c_str(), letters, letterCount));
        ExpectInitials(engine, count, static_cast<int>(loaded),
                       loaded == 100 ? "abcdefghijklmnopqrstuvwxyz" : NextLetters(want.letters), letters,
                       letterCount, m_sight);
        const std::vector<std::string> names = HitNames(engine, false);
        ASSERT_EQ(names.size(), static_cast<std::size_t>(count));
        EXPECT_TRUE(std::equal(want.direct.begin(), want.direct.begin() + static_cast<long>(loaded), names.begin()));
        if (deeper || want.direct.size() <= 100) {
            ASSERT_EQ(std::multiset<std::string>(names.begin(), names.end()), want.all);
        }
        tally["with hits"] += !want.all.empty();
        tally["paged"] += count > static_cast<int>(loaded);
        tally["next letters"] += letterCount > 0 && loaded < 100;
    });
}

TEST_P(SightDifferential, TextMatchesTheOracle)
{
    LoadedEngine engine;
    engine.SetPoiPath(CompiledSample::Get().Root().c_str());
    const WordIndex index(m_rows);
    const Tally floors = {{"with hits", kQueries * 3 / 4}, {"loose", kQueries / 10}, {"capped", 0}};
    RunQueries(kQueries, m_sight ? 106 : 107, floors, [&](Draw& draw, Tally& tally, int) {
        // One to three words cut from a real name, as a phrase or spaced.
        const std::string typed = Phrase(draw, CutWords(draw.Pick(m_rows).name), true);
        SCOPED_TRACE(m_file + " '" + GbkCodec::Utf8(typed) + "'");

        // Every word must be in the set; in one piece each word right behind
        // the one before, across pieces anywhere.
        std::multiset<std::string> want;
        index.Find(typed, [](const NameRow&) { return true; }, want);
        ASSERT_TRUE(m_sight ? engine.QuerySightByText(typed.c_str()) : engine.QueryPlaceNameByText(typed.c_str()));
        ASSERT_EQ(engine.GetPOICount(0), static_cast<int>(std::min<std::size_t>(want.size(), 100)));
        tally["capped"] += ExpectCapped(HitSet(engine), want);
        tally["with hits"] += !want.empty();
        tally["loose"] += typed.find(' ') != std::string::npos;
    });
}

INSTANTIATE_TEST_SUITE_P(Sets, SightDifferential, ::testing::Bool(),
                         [](const auto& param) { return std::string(param.param ? "Sights" : "PlaceNames"); });

} // namespace
