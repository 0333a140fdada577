// The search by telephone number on the bundled sample against a plain
// oracle: 1000 prefixes of real numbers (1 digit to the whole number, some
// with a non-digit, some longer than the depth, some matching nothing) must
// give the answer, the hits in order, their number and the next digits that
// straight loops over pois.csv give.

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "Base/ePoiInfo.h"
#include "Compiler/PhoneNumbers.h"
#include "Compiler/SourceFileReader.h"
#include "Support/Differential.h"

using namespace Kest;
using namespace KestTest;

namespace {

using Hit = std::tuple<std::string, double, double>; // GBK name, lon and lat as the engine gives them

struct Entry {
    std::string number;
    Hit hit;
};

struct Expected {
    bool ok = false;
    std::vector<const Entry*> hits;
    std::string next;
};

// Straight loops: the typed text cut at the depth; false for a non-digit in
// it or when no number begins with it; the exact number first, then shorter
// numbers before longer, numbers of one length ascending.
Expected Oracle(const std::vector<const Entry*>& rows, const std::string& prefix)
{
    Expected e;
    if (prefix.find_first_not_of("0123456789") != std::string::npos)
        return e;
    std::set<char> next;
    for (const Entry* entry : rows)
        if (entry->number.compare(0, prefix.size(), prefix) == 0) {
            e.hits.push_back(entry);
            if (entry->number.size() > prefix.size())
                next.insert(entry->number[prefix.size()]);
        }
    e.ok = prefix.empty() || !e.hits.empty();
    std::stable_sort(e.hits.begin(), e.hits.end(), [](const Entry* a, const Entry* b) {
        return a->number.size() != b->number.size() ? a->number.size() < b->number.size() : a->number < b->number;
    });
    e.next.assign(next.begin(), next.end());
    return e;
}

TEST(TelDifferential, RandomPrefixesMatchTheOracle)
{
    std::vector<Entry> entries;
    std::size_t depth = 0; // the longest number
    for (const auto& row : CompiledSample::Get().Rows()) {
        const std::vector<std::string>& f = row.fields;
        std::int64_t lon = 0, lat = 0;
        ASSERT_TRUE(SourceFileReader::ParseDegrees(f[1], lon) && SourceFileReader::ParseDegrees(f[2], lat));
        std::vector<std::string> rejected;
        for (const std::string& n : PhoneNumbers::Split(f[4], rejected)) {
            entries.push_back({n, Hit{row.name, PoiCoordinateFromMicroDegrees(static_cast<std::uint32_t>(lon)),
                                      PoiCoordinateFromMicroDegrees(static_cast<std::uint32_t>(lat))}});
            depth = std::max(depth, n.size());
        }
        EXPECT_TRUE(rejected.empty()) << f[4];
    }
    ASSERT_EQ(entries.size(), 50000u);
    // Under "" all entries, and for a prefix of at least 4 digits those whose
    // number begins with its first 4, which spares the oracle the rest.
    std::map<std::string, std::vector<const Entry*>> byHead;
    for (const Entry& e : entries)
        for (const std::string& head : {std::string(), e.number.substr(0, 4)})
            byHead[head].push_back(&e);
    ePOIEngineManager engine;
    engine.SetPoiPath(CompiledSample::Get().Root().c_str());

    RunQueries(1000, 20261125, {{"true", 500}, {"false", 100}}, [&](Draw& draw, Tally& tally, int q) {
        std::string typed = draw.Pick(entries).number;
        // Short prefixes are few: most numbers are typed well into them.
        const std::size_t length = 1 + std::min<std::size_t>(draw.Below(14), typed.size() - 1);
        typed.resize(q % 7 == 0 ? typed.size() : length);
        switch (q % 10) {
        case 1: typed.insert(draw.Below(typed.size() + 1), 1, "a -+#("[draw.Below(6)]); break; // a non-digit
        case 2: typed += std::to_string(draw.Below(1000)) + "x"; break;                       // past the depth
        case 3: typed.back() = static_cast<char>('0' + draw.Below(10)); break;                 // often nothing
        case 4: typed = std::to_string(draw.Below(100000)); break;                             // random digits
        default: break;
        }
        if (q == 0)
            typed.clear();
        SCOPED_TRACE("typed '" + typed + "'");
        const std::string cut = typed.substr(0, depth);
        const bool head = cut.size() >= 4 && cut.find_first_not_of("0123456789") == std::string::npos;
        const Expected want = Oracle(byHead[head ? cut.substr(0, 4) : ""], cut);

        char* next = nullptr;
        int count = -1;
        ASSERT_EQ(engine.QueryByTelephone(typed.c_str(), next, count), want.ok);
        tally[want.ok ? "true" : "false"] += 1;
        if (!want.ok)
            return;
        ASSERT_EQ(std::string(next, static_cast<std::size_t>(count)), want.next);
        const int hits = static_cast<int>(want.hits.size());
        ASSERT_EQ(engine.GetPOICount(0), hits);

        // The hits, read as the caller reads them (the first 100 of a long
        // list); POIs of one number compare as sets, in groups.
        const int shown = std::min(hits, 100);
        const std::vector<ePoiInfo> infos = HitInfos(engine, shown);
        ASSERT_EQ(static_cast<int>(infos.size()), shown);
        for (int lo = 0, hi = 0; lo < shown; lo = hi) {
            std::vector<Hit> got, wanted;
            for (hi = lo; hi < hits && want.hits[hi]->number == want.hits[lo]->number; ++hi)
                wanted.push_back(want.hits[hi]->hit);
            if (hi > shown)
                break;
            for (int i = lo; i < hi; ++i)
                got.emplace_back(NameOf(infos[i]), infos[i].dX, infos[i].dY);
            std::sort(got.begin(), got.end());
            std::sort(wanted.begin(), wanted.end());
            ASSERT_EQ(got, wanted) << "hits " << lo << ".." << hi - 1;
        }
    });
}

} // namespace
