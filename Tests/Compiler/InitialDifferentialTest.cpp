// The search by initials on the bundled sample against a plain oracle: 1200
// random queries (random data set, districts and initials taken from real
// names, plus initials that match nothing) must give the hits, counts, next
// letters and refinements that straight loops over the source rows give. A
// name is indexed under each of its variants (NameInitials); the refinement
// computes initials with the engine's tables.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "Base/NdfFormat.h"
#include "Compiler/NameInitials.h"
#include "POIEngine/PinyinHelpers.h"
#include "Support/Differential.h"

using namespace Kest;
using namespace KestTest;

namespace {

TEST(InitialDifferential, RandomQueriesMatchTheOracle)
{
    const auto& sample = CompiledSample::Get();
    ASSERT_EQ(sample.DataSets().size(), 2u);
    std::vector<NameRow> rows;
    std::vector<std::string> keys;
    for (const auto& r : sample.Rows()) {
        rows.push_back(
            {r.name, r.province, r.city, NameInitials::Variants(r.name, NdfFormat::kInitialDefaultDepth), {}});
        keys.insert(keys.end(), rows.back().keys.begin(), rows.back().keys.end());
    }
    ASSERT_EQ(rows.size(), 50000u);
    LoadedEngine engine;
    engine.SetPoiPath(sample.Root().c_str());

    const Tally floors = {{"with hits", 600}, {"paged", 300}, {"refined", 300}};
    RunQueries(1200, 20261121, floors, [&](Draw& draw, Tally& tally, int) {
        const auto& set = draw.Pick(sample.DataSets());
        const std::string& province = set.second;
        const Districts districts = DrawDistricts(draw, province);
        const std::string typed = TypedInitials(draw, draw.Pick(keys), 6, "QVXZI{ ");
        SCOPED_TRACE("'" + typed + "' in " + GbkCodec::Utf8(districts.first) + "/" + GbkCodec::Utf8(districts.second));

        // Variants differ in their first letter: one key of a name matches at most.
        const PrefixAnswer want = ByPrefix(rows, Fold(typed), [&](const NameRow& r) {
            return r.province == province && InDistricts(r, districts);
        });
        const int direct = static_cast<int>(want.direct.size());
        char* letters = nullptr;
        int letterCount = -1;
        ASSERT_TRUE(engine.QueryByInitial(3, set.first, districts.first.c_str(), districts.second.c_str(),
                                          typed.c_str(), letters, letterCount));
        ExpectInitials(engine, static_cast<int>(want.all.size()), std::min(direct, 100),
                       direct >= 100 ? "abcdefghijklmnopqrstuvwxyz" : NextLetters(want.letters), letters, letterCount);
        const std::multiset<std::string> got = HitSet(engine);
        ASSERT_EQ(got, want.all);
        tally["with hits"] += !want.all.empty();
        tally["paged"] += static_cast<int>(want.all.size()) > std::min(direct, 100);

        // Refining the loaded hits by one more typed letter keeps those whose
        // initials begin with it.
        if (want.all.empty() || draw.OneIn(2))
            return;
        const std::string longer = typed + "abjxz"[draw.Below(5)];
        const std::string upper = Fold(longer);
        int kept = 0;
        for (const auto& name : got) {
            std::unique_ptr<char[]> raw(GetPYInitials(name.c_str()));
            kept += std::string(raw.get()).compare(0, upper.size(), upper) == 0;
        }
        ASSERT_TRUE(engine.QueryFromPreByInitial(longer.c_str()));
        EXPECT_EQ(engine.Loaded(), kept) << "refined by " << longer;
        tally["refined"] += 1;
    });
}

} // namespace
