// The crossroad searches on the bundled sample against a plain oracle: random
// queries by initials (of either road first, partial, past the index depth,
// nothing matching) and by road text (either road, a part of one, both in
// either order, with a space, nothing matching) must give what straight loops
// over the rows of crossroads.csv give: 700 queries by initials and 500 by
// text. Each crossroad counts once per index entry (CrossroadName: both orders
// of its roads).

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Base/NdfFormat.h"
#include "Compiler/CrossroadName.h"
#include "Compiler/SegFullTextIndexWriter.h"
#include "Support/TextOracle.h"

using namespace Kest;
using namespace KestTest;

namespace {

class CrossDifferential : public ::testing::Test {
protected:
    void SetUp() override
    {
        for (const auto& [number, province] : CompiledSample::Get().DataSets())
            m_sets[province] = number;
        eDictionary& dict = eDictionary::GetInstance();
        dict.UnLoad();
        ASSERT_TRUE(dict.Load((Root() + "/POI/CrossRoad/CoreDict.dct").c_str(), false));
        for (const auto& f : CompiledSample::Csv("crossroads.csv")) {
            const CrossroadName name(GbkCodec::Gbk(f[0]));
            m_rows.push_back({GbkCodec::Gbk(f[0]), GbkCodec::Gbk(f[3]), GbkCodec::Gbk(f[4]),
                              name.InitialKeys(NdfFormat::kInitialDefaultDepth), {}});
            for (const std::string& form : name.TextForms())
                for (const Word& w : Postings(SegFullTextIndexWriter::Widen(form)))
                    m_rows.back().words.push_back(w);
        }
        ASSERT_EQ(m_rows.size(), 2441u);
    }
    void TearDown() override { eDictionary::GetInstance().UnLoad(); }

    static std::string Root() { return CompiledSample::Get().Root(); }

    // A crossroad's data set and districts, with one query in six for every
    // district; whether the search knows the province.
    bool DrawPlace(Draw& draw, const NameRow*& source, Districts& districts)
    {
        source = &draw.Pick(m_rows);
        districts = draw.OneIn(6) ? Districts{"*", "*"} : DrawDistricts(draw, source->province);
        return Named(source->province, districts.first);
    }

    std::map<std::string, int> m_sets; // GBK province -> data set
    std::vector<NameRow> m_rows;
};

TEST_F(CrossDifferential, InitialsMatchTheOracle)
{
    LoadedEngine engine;
    engine.SetPoiPath(Root().c_str());
    const int modes[] = {2, 3, -1, -7};
    const Tally floors = {{"with hits", 400}, {"paged", 280}, {"failed", 25}};
    RunQueries(700, 20261125, floors, [&](Draw& draw, Tally& tally, int) {
        const NameRow* source = nullptr;
        Districts districts;
        const bool known = DrawPlace(draw, source, districts);
        // Either road first; a prefix, or now and then the whole key and one
        // letter more (past the depth it is not looked at).
        const std::string& key = draw.Pick(source->keys);
        const std::string typed = draw.OneIn(9) ? key + "X" : TypedInitials(draw, key, 7, "QVXZI{ ");
        SCOPED_TRACE("'" + typed + "' in " + GbkCodec::Utf8(districts.first) + "/" + GbkCodec::Utf8(districts.second));

        const PrefixAnswer want = ByPrefix(m_rows, Fold(typed).substr(0, NdfFormat::kInitialDefaultDepth),
                                           [&](const NameRow& r) {
                                               return r.province == source->province && InDistricts(r, districts);
                                           });
        const int direct = static_cast<int>(want.direct.size());
        // The direct hits stop at 100; nothing deeper is counted then.
        const int count = direct >= 100 ? 100 : static_cast<int>(want.all.size());
        char* letters = nullptr;
        int letterCount = -1;
        ASSERT_EQ(engine.QueryCrossRoadByPY(draw.Pick(modes), m_sets.at(source->province), districts.first.c_str(),
                                            districts.second.c_str(), typed.c_str(), letters, letterCount),
                  known);
        tally["failed"] += !known;
        if (!known)
            return;
        ExpectInitials(engine, count, std::min(direct, 100),
                       count >= 100 ? "abcdefghijklmnopqrstuvwxyz" : NextLetters(want.letters), letters, letterCount);
        if (direct >= 100)
            return;
        ASSERT_EQ(HitSet(engine), want.all);
        tally["with hits"] += !want.all.empty();
        tally["paged"] += count > direct;
    });
}

TEST_F(CrossDifferential, TextMatchesTheOracle)
{
    ePOIEngineManager engine;
    engine.SetPoiPath(Root().c_str());
    const WordIndex index(m_rows);
    const Tally floors = {{"with hits", 250}, {"capped", 5}, {"swapped", 50}};
    RunQueries(500, 1125, floors, [&](Draw& draw, Tally& tally, int) {
        const NameRow* source = nullptr;
        Districts districts;
        const bool known = DrawPlace(draw, source, districts);
        const CrossroadName name(source->name);
        std::string typed;
        switch (draw.Below(7)) {
        case 0: typed = name.First(); break;
        case 1: typed = name.Second(); break;
        case 2: typed = name.Second() + name.Joiner() + name.First(); tally["swapped"] += 1; break;
        case 3: typed = name.Second() + " " + name.First(); break;
        case 4: typed = GbkCodec::Gbk(draw.OneIn(2) ? "火星路" : "长安街与火星路"); break;
        default: typed = Phrase(draw, CutWords(draw.OneIn(2) ? name.First() : name.Second()), false);
        }
        SCOPED_TRACE("'" + GbkCodec::Utf8(typed) + "'");

        // One keyword: its pieces' words, a phrase within a piece, anywhere
        // across pieces; a word the districts do not hold ends the search.
        std::multiset<std::string> want;
        index.Find(typed, [&](const NameRow& r) { return r.province == source->province && InDistricts(r, districts); },
                   want);
        ASSERT_EQ(engine.QueryCrossRoadByText(3, m_sets.at(source->province), districts.first.c_str(),
                                              districts.second.c_str(), typed.c_str()),
                  known);
        if (!known)
            return;
        tally["capped"] += ExpectCapped(HitSet(engine), want);
        tally["with hits"] += !want.empty();
    });
}

} // namespace
