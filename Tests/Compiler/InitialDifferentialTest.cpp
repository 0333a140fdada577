// The search by initials on the bundled sample against a plain oracle: the
// sample is compiled with the real data compiler, and 1200 random queries
// (random data set, districts and initials taken from real names, plus
// initials that match nothing) must give the hits, counts, next letters and
// refinements that straight loops over the source rows give. A name is indexed
// under each of its variants (NameInitials); the refinement computes initials
// with the engine's tables.

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Base/NdfFormat.h"
#include "Compiler/GbkCodec.h"
#include "Compiler/NameInitials.h"
#include "Ndf/eNdfRecordsetTabular.h"
#include "POIEngine/PinyinHelpers.h"
#include "POIEngine/ePOIEngineManager.h"
#include "POIEngine/eNdfIndexInitial.h"
#include "Support/CompiledSample.h"

using namespace Kest;

namespace {

using Engine = KestTest::LoadedEngine;

struct Poi {
    std::string name; // GBK
    std::string province, city; // GBK
    std::vector<std::string> keys; // the variants, cut at the depth
};

using KestTest::Fold;

class InitialDifferential : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        const auto& sample = KestTest::CompiledSample::Get();
        s_root = sample.Root();
        s_sets = sample.DataSets();
        ASSERT_EQ(s_sets.size(), 2u);
        for (const auto& row : sample.Rows())
            s_pois.push_back(Poi{row.name, row.province, row.city,
                                 NameInitials::Variants(row.name, NdfFormat::kInitialDefaultDepth)});
        ASSERT_EQ(s_pois.size(), 50000u);
    }

    static std::string s_root;
    static std::map<int, std::string> s_sets;
    static std::vector<Poi> s_pois;
};

std::string InitialDifferential::s_root;
std::map<int, std::string> InitialDifferential::s_sets;
std::vector<Poi> InitialDifferential::s_pois;

TEST_F(InitialDifferential, RandomQueriesMatchTheOracle)
{
    Engine engine;
    engine.SetPoiPath(s_root.c_str());
    std::mt19937 rng(20261121);
    const std::vector<std::string> realNames = [] {
        std::vector<std::string> names;
        for (const auto& p : s_pois)
            for (const auto& key : p.keys)
                names.push_back(key);
        return names;
    }();

    int withHits = 0, paged = 0;
    for (int q = 0; q < 1200; ++q) {
        const auto set = std::next(s_sets.begin(), static_cast<long>(rng() % s_sets.size()));
        const std::string& province = set->second;
        // District keys: every district, the province or city named whole or
        // by a part, or a place that is not there.
        const std::string part = province.substr(0, 4); // the first two characters
        const std::vector<std::pair<std::string, std::string>> choices = {
            {"*", "*"}, {part, "*"}, {"*", province}, {province, part}, {GbkCodec::Gbk("天津"), "*"}};
        const auto& districts = choices[rng() % choices.size()];

        std::string typed;
        if (rng() % 8 == 0) {
            for (int n = 1 + static_cast<int>(rng() % 6); n > 0; --n)
                typed.push_back("QVXZI{ "[rng() % 7]);
        } else {
            const std::string& key = realNames[rng() % realNames.size()];
            typed = key.substr(0, 1 + rng() % std::min<std::size_t>(6, key.size()));
            for (char& c : typed)
                if (rng() % 3 == 0 && c >= 'A' && c <= 'Z')
                    c = static_cast<char>(c + 32); // typed in lower case
        }

        // The oracle.
        const std::string prefix = Fold(typed);
        const bool inProvince = districts.first == "*" || province.find(districts.first) != std::string::npos;
        std::multiset<std::string> want;
        std::set<char> nextSet;
        int direct = 0;
        for (const auto& p : s_pois) {
            // Variants differ in their first letter: one matches at most.
            const auto key = std::find_if(p.keys.begin(), p.keys.end(), [&](const std::string& k) {
                return k.compare(0, prefix.size(), prefix) == 0;
            });
            if (p.province != province || !inProvince || key == p.keys.end())
                continue;
            if (districts.second != "*" && p.city.find(districts.second) == std::string::npos)
                continue;
            want.insert(p.name);
            if (key->size() == prefix.size())
                ++direct;
            else
                nextSet.insert((*key)[prefix.size()]);
        }
        std::string next = KestTest::NextLetters(nextSet);
        if (direct >= 100)
            next = "abcdefghijklmnopqrstuvwxyz";

        // The engine.
        char* letterBuffer = nullptr;
        int letterCount = -1;
        ASSERT_TRUE(engine.QueryByInitial(3, set->first, districts.first.c_str(), districts.second.c_str(),
                                          typed.c_str(), letterBuffer, letterCount));
        const std::string context = "query " + std::to_string(q) + " '" + typed + "' in " +
                                    GbkCodec::Utf8(districts.first) + "/" + GbkCodec::Utf8(districts.second);
        ASSERT_EQ(engine.GetPOICount(0), static_cast<int>(want.size())) << context;
        EXPECT_EQ(engine.Loaded(), std::min(direct, 100)) << context;
        EXPECT_EQ(std::string(letterBuffer), next) << context;
        const std::multiset<std::string> got = KestTest::HitSet(engine);
        ASSERT_EQ(got, want) << context;
        withHits += !want.empty();
        paged += static_cast<int>(want.size()) > std::min(direct, 100);

        // Refining the loaded hits by one more typed letter keeps those whose
        // initials begin with it.
        if (!want.empty() && rng() % 2 == 0) {
            const std::string longer = typed + static_cast<char>("abjxz"[rng() % 5]);
            const std::string upper = Fold(longer);
            int kept = 0;
            for (const auto& name : got) {
                std::unique_ptr<char[]> raw(GetPYInitials(name.c_str()));
                kept += std::string(raw.get()).compare(0, upper.size(), upper) == 0;
            }
            ASSERT_TRUE(engine.QueryFromPreByInitial(longer.c_str()));
            EXPECT_EQ(engine.Loaded(), kept) << context << " refined by " << longer;
        }
    }
    // The queries reached both sides of the interesting cases.
    EXPECT_GT(withHits, 600);
    EXPECT_GT(paged, 300);
}

} // namespace
