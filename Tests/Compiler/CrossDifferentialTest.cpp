// The crossroad searches on the bundled sample against a plain oracle: the
// sample is compiled with the real data compiler, and random queries by
// initials (of either road first, partial, past the index depth, nothing
// matching) and by road text (either road, a part of one, both in either
// order, with a space, nothing matching) must give what straight loops over
// the rows of crossroads.csv give: 700 queries by initials and 500 by text.
// Each crossroad counts once per index entry
// (CrossroadName: both orders of its roads).

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "Base/NdfFormat.h"
#include "Compiler/CrossroadName.h"
#include "Compiler/GbkCodec.h"
#include "Compiler/SegFullTextIndexWriter.h"
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

using Engine = KestTest::LoadedEngine;

struct Crossroad {
    std::string name, province, city; // GBK
    std::vector<std::string> keys;    // initials, each order
    std::vector<Word> words;          // postings of every text form
};

// crossroads.csv of the sample.
std::vector<Crossroad> ReadCrossroads()
{
    std::ifstream csv(std::string(KEST_TEST_DATA) + "/../../Data/Sample/crossroads.csv");
    std::string line;
    std::getline(csv, line);
    std::vector<Crossroad> rows;
    while (std::getline(csv, line)) {
        const std::vector<std::string> f = KestTest::CompiledSample::SplitCsv(line);
        if (f.size() == 6)
            rows.push_back({GbkCodec::Gbk(f[0]), GbkCodec::Gbk(f[3]), GbkCodec::Gbk(f[4]), {}, {}});
    }
    return rows;
}

using KestTest::Fold;

// What a typed text finds among `rows`: the names, once per match. One
// keyword: its pieces' words, a phrase within a piece, anywhere across pieces.
std::multiset<std::string> TextOracle(const std::vector<const Crossroad*>& rows, const std::string& typed)
{
    std::multiset<std::string> found;
    std::vector<Word> query;
    bool loose = false;
    if (!QueryWords(typed, query, loose) || query.empty())
        return found;
    for (const Word& q : query) {
        bool held = false;
        for (const Crossroad* r : rows)
            for (const Word& w : r->words)
                held = held || w.key == q.key;
        if (!held)
            return found; // a word the district does not hold ends the search
    }
    for (const Crossroad* r : rows)
        for (const Word& first : r->words)
            if (first.key == query[0].key && Holds(r->words, query, first.position, loose))
                found.insert(r->name);
    return found;
}

class CrossDifferential : public ::testing::Test {
protected:
    void SetUp() override
    {
        const auto& sample = KestTest::CompiledSample::Get();
        m_root = sample.Root();
        for (const auto& [number, province] : sample.DataSets())
            m_sets[province] = number;
        m_rows = ReadCrossroads();
        ASSERT_EQ(m_rows.size(), 2441u);
        eDictionary& dict = eDictionary::GetInstance();
        dict.UnLoad();
        ASSERT_TRUE(dict.Load((m_root + "/POI/CrossRoad/CoreDict.dct").c_str(), false));
        for (Crossroad& r : m_rows) {
            const CrossroadName name(r.name);
            r.keys = name.InitialKeys(NdfFormat::kInitialDefaultDepth);
            for (const std::string& form : name.TextForms())
                Post(SegFullTextIndexWriter::Widen(form), r.words);
        }
    }
    void TearDown() override { eDictionary::GetInstance().UnLoad(); }

    std::string m_root;
    std::map<std::string, int> m_sets; // GBK province -> data set
    std::vector<Crossroad> m_rows;
};

// District keys: every district, the province or city named whole or by a
// part, or a place that is not there (the search fails).
std::pair<std::string, std::string> Districts(std::mt19937& rng, const std::string& province)
{
    const std::string part = province.substr(0, 4);
    const std::vector<std::pair<std::string, std::string>> choices = {
        {"*", "*"}, {"*", "*"}, {part, "*"}, {"*", province}, {province, part}, {GbkCodec::Gbk("天津"), "*"}};
    return choices[rng() % choices.size()];
}

bool InDistricts(const Crossroad& r, const std::pair<std::string, std::string>& d)
{
    return (d.first == "*" || r.province.find(d.first) != std::string::npos) &&
           (d.second == "*" || r.city.find(d.second) != std::string::npos);
}

TEST_F(CrossDifferential, InitialsMatchTheOracle)
{
    Engine engine;
    engine.SetPoiPath(m_root.c_str());
    std::mt19937 rng(20261125);
    const int modes[] = {2, 3, -1, -7};
    int withHits = 0, paged = 0, failed = 0;
    for (int q = 0; q < 700; ++q) {
        const Crossroad& source = m_rows[rng() % m_rows.size()];
        const auto districts = Districts(rng, source.province);
        std::string typed;
        const unsigned pick = rng() % 10;
        if (pick == 0) {
            for (int n = 1 + static_cast<int>(rng() % 6); n > 0; --n)
                typed.push_back("QVXZI{ "[rng() % 7]);
        } else {
            // Either road first; a prefix, or now and then the whole key and
            // one letter more (past the depth it is not looked at).
            const std::string& key = source.keys[rng() % source.keys.size()];
            typed = pick == 1 ? key + "X" : key.substr(0, 1 + rng() % std::min<std::size_t>(7, key.size()));
            for (char& c : typed)
                if (rng() % 3 == 0 && c >= 'A' && c <= 'Z')
                    c = static_cast<char>(c + 32);
        }

        // The oracle.
        const bool known = districts.first == "*" || source.province.find(districts.first) != std::string::npos;
        const std::string prefix = Fold(typed).substr(0, NdfFormat::kInitialDefaultDepth);
        std::multiset<std::string> want;
        std::set<char> nextSet;
        int direct = 0;
        for (const Crossroad& r : m_rows) {
            if (r.province != source.province || !InDistricts(r, districts))
                continue;
            for (const std::string& key : r.keys) {
                if (key.compare(0, prefix.size(), prefix) != 0)
                    continue;
                want.insert(r.name);
                if (key.size() == prefix.size())
                    ++direct;
                else
                    nextSet.insert(key[prefix.size()]);
            }
        }
        std::string next = KestTest::NextLetters(nextSet);
        int count = static_cast<int>(want.size());
        if (direct >= 100)
            count = 100; // the direct hits stop at 100; nothing deeper is counted
        if (count >= 100)
            next = "abcdefghijklmnopqrstuvwxyz";

        // The engine.
        char* buffer = nullptr;
        int letterCount = -1;
        const std::string context = "query " + std::to_string(q) + " '" + typed + "' in " +
                                    GbkCodec::Utf8(districts.first) + "/" + GbkCodec::Utf8(districts.second);
        const bool ok = engine.QueryCrossRoadByPY(modes[rng() % 4], m_sets.at(source.province), districts.first.c_str(),
                                                  districts.second.c_str(), typed.c_str(), buffer, letterCount);
        ASSERT_EQ(ok, known) << context;
        if (!known) {
            ++failed;
            continue;
        }
        ASSERT_EQ(engine.GetPOICount(0), count) << context;
        EXPECT_EQ(engine.Loaded(), std::min(direct, 100)) << context;
        EXPECT_EQ(std::string(buffer), next) << context;
        EXPECT_EQ(letterCount, static_cast<int>(next.size())) << context;
        if (direct >= 100)
            continue;
        const std::multiset<std::string> got = KestTest::HitSet(engine);
        ASSERT_EQ(got, want) << context;
        withHits += !want.empty();
        paged += count > direct;
    }
    EXPECT_GT(withHits, 400);
    EXPECT_GT(paged, 280);
    EXPECT_GT(failed, 25);
}

TEST_F(CrossDifferential, TextMatchesTheOracle)
{
    ePOIEngineManager engine;
    engine.SetPoiPath(m_root.c_str());
    std::mt19937 rng(1125);
    eMMWordSeg seg;
    seg.SetDict(eDictionary::GetInstance());
    int withHits = 0, capped = 0, swapped = 0;
    for (int q = 0; q < 500; ++q) {
        const Crossroad& source = m_rows[rng() % m_rows.size()];
        const auto districts = Districts(rng, source.province);
        const CrossroadName name(source.name);
        std::string typed;
        switch (rng() % 7) {
        case 0: typed = name.First(); break;
        case 1: typed = name.Second(); break;
        case 2: typed = name.Second() + name.Joiner() + name.First(); ++swapped; break;
        case 3: typed = name.Second() + " " + name.First(); break;
        case 4: typed = GbkCodec::Gbk(rng() % 2 ? "火星路" : "长安街与火星路"); break;
        default: {
            // One to three words of a road, as the search cuts it.
            eArray<eString> words;
            eString parts = seg.SegmentHzStrMM(eString((rng() % 2 ? name.First() : name.Second()).c_str()));
            seg.GetAdressSeg(parts, words);
            const int n = std::min(words.GetSize(), 1 + static_cast<int>(rng() % 3));
            const int start = static_cast<int>(rng() % static_cast<unsigned>(words.GetSize() - n + 1));
            for (int i = start; i < start + n; ++i)
                typed += words[i].Cstr();
        }
        }

        const bool known = districts.first == "*" || source.province.find(districts.first) != std::string::npos;
        std::vector<const Crossroad*> rows;
        for (const Crossroad& r : m_rows)
            if (r.province == source.province && InDistricts(r, districts))
                rows.push_back(&r);
        const std::multiset<std::string> want = TextOracle(rows, typed);
        const std::string context = "query " + std::to_string(q) + " '" + GbkCodec::Utf8(typed) + "'";
        ASSERT_EQ(engine.QueryCrossRoadByText(3, m_sets.at(source.province), districts.first.c_str(),
                                              districts.second.c_str(), typed.c_str()),
                  known)
            << context;
        if (!known)
            continue;
        const std::multiset<std::string> got = KestTest::HitSet(engine);
        capped += KestTest::ExpectCapped(got, want, context);
        withHits += !want.empty();
    }
    EXPECT_GT(withHits, 250);
    EXPECT_GT(capped, 5);
    EXPECT_GT(swapped, 50);
}

} // namespace
