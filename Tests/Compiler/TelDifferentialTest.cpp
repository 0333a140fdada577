// The search by telephone number on the bundled sample against a plain
// oracle: the sample is compiled with the real data compiler, and 1000
// prefixes of real numbers (1 digit to the whole number, some with a
// non-digit, some longer than the depth, some matching nothing) must give
// the answer, the hits in order, their number and the next digits that
// straight loops over pois.csv give.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "Base/NdfFormat.h"
#include "Base/ePoiInfo.h"
#include "Compiler/GbkCodec.h"
#include "Compiler/PhoneNumbers.h"
#include "Compiler/SourceFileReader.h"
#include "Ndf/NdfBytes.h"
#include "Ndf/eNdfPool.h"
#include "Ndf/eNdfRecordsetTabular.h"
#include "POIEngine/ePOIEngineManager.h"
#include "POIEngine/eNdfIndexTelTrie.h"
#include "Support/CompiledSample.h"

using namespace Kest;

namespace {

// A hit as the caller sees it.
using Hit = std::tuple<std::string, double, double>; // GBK name, lon and lat as the engine gives them

struct Entry {
    std::string number;
    Hit hit;
};

std::vector<Entry> ReadSample(std::size_t& longest)
{
    std::vector<Entry> entries;
    longest = 0;
    for (const auto& row : KestTest::CompiledSample::Get().Rows()) {
        const std::vector<std::string>& f = row.fields;
        std::int64_t lon = 0, lat = 0;
        EXPECT_TRUE(SourceFileReader::ParseDegrees(f[1], lon) && SourceFileReader::ParseDegrees(f[2], lat));
        std::vector<std::string> rejected;
        for (const std::string& n : PhoneNumbers::Split(f[4], rejected)) {
            entries.push_back(Entry{n, Hit{GbkCodec::Gbk(f[0]), PoiCoordinateFromMicroDegrees(static_cast<std::uint32_t>(lon)),
                                           PoiCoordinateFromMicroDegrees(static_cast<std::uint32_t>(lat))}});
            longest = std::max(longest, n.size());
        }
        EXPECT_TRUE(rejected.empty()) << f[4];
    }
    return entries;
}

struct Expected {
    bool ok = false;
    std::vector<const Entry*> hits;
    std::string next;
};

// Straight loops: the typed text cut at the depth; false for a non-digit in
// it or when no number begins with it; the exact number first, then shorter
// numbers before longer, numbers of one length ascending.
// `rows` holds every entry, or (for a prefix of at least 4 digits) those
// whose number begins with its first 4 digits, which spares the loop the
// rest without changing its answer.
Expected Oracle(const std::vector<const Entry*>& rows, const std::string& typed, std::size_t depth)
{
    Expected e;
    const std::string prefix = typed.substr(0, depth);
    for (char c : prefix)
        if (c < '0' || c > '9')
            return e;
    std::set<char> next;
    for (const Entry* entry : rows) {
        if (entry->number.compare(0, prefix.size(), prefix) != 0)
            continue;
        e.hits.push_back(entry);
        if (entry->number.size() > prefix.size())
            next.insert(entry->number[prefix.size()]);
    }
    e.ok = prefix.empty() || !e.hits.empty();
    std::stable_sort(e.hits.begin(), e.hits.end(), [](const Entry* a, const Entry* b) {
        if (a->number.size() != b->number.size())
            return a->number.size() < b->number.size();
        return a->number < b->number;
    });
    e.next.assign(next.begin(), next.end());
    return e;
}

TEST(TelDifferential, RandomPrefixesMatchTheOracle)
{
    const std::string root = KestTest::CompiledSample::Get().Root();
    std::size_t depth = 0;
    const std::vector<Entry> entries = ReadSample(depth);
    ASSERT_EQ(entries.size(), 50000u);
    std::vector<const Entry*> all;
    std::map<std::string, std::vector<const Entry*>> byHead; // by the first 4 digits
    for (const Entry& e : entries) {
        all.push_back(&e);
        byHead[e.number.substr(0, 4)].push_back(&e);
    }

    ePOIEngineManager engine;
    engine.SetPoiPath(root.c_str());
    std::mt19937 rng(20261125);
    int trueAnswers = 0;
    const int kQueries = 1000;
    for (int q = 0; q < kQueries; ++q) {
        std::string typed = entries[rng() % entries.size()].number;
        // Short prefixes are few: most numbers are typed well into them.
        const std::size_t length = 1 + std::min<std::size_t>(rng() % 14, typed.size() - 1);
        typed.resize(q % 7 == 0 ? typed.size() : length);
        switch (q % 10) {
        case 1: typed.insert(rng() % (typed.size() + 1), 1, "a -+#("[rng() % 6]); break; // a non-digit
        case 2: typed += std::to_string(rng() % 1000) + "x"; break;                     // past the depth
        case 3: typed.back() = static_cast<char>('0' + rng() % 10); break;               // often nothing
        case 4: typed = std::to_string(rng() % 100000); break;                           // random digits
        default: break;
        }
        if (q == 0)
            typed.clear();
        SCOPED_TRACE("typed '" + typed + "'");
        const std::string cut = typed.substr(0, depth);
        const bool head = cut.size() >= 4 && cut.find_first_not_of("0123456789") == std::string::npos;
        const Expected want = Oracle(head ? byHead[cut.substr(0, 4)] : all, typed, depth);

        char* next = nullptr;
        int count = -1;
        const bool ok = engine.QueryByTelephone(typed.c_str(), next, count);
        ASSERT_EQ(ok, want.ok);
        if (!ok)
            continue;
        ++trueAnswers;
        ASSERT_EQ(std::string(next, static_cast<std::size_t>(count)), want.next);
        const int hits = engine.GetPOICount(0);
        ASSERT_EQ(hits, static_cast<int>(want.hits.size()));

        // The hits, read as the caller reads them (the first 100 of a long
        // list); POIs of one number compare as sets, in groups.
        const int shown = std::min(hits, 100);
        std::vector<Hit> got;
        for (int i = 0; i < shown; ++i) {
            ePoiInfo info{};
            ASSERT_TRUE(engine.GetPOIInfo(0, i, info));
            got.emplace_back(std::string(info.szName, strnlen(info.szName, sizeof info.szName)), info.dX, info.dY);
        }
        for (int lo = 0; lo < shown;) {
            int hi = lo + 1;
            while (hi < hits && want.hits[static_cast<std::size_t>(hi)]->number == want.hits[static_cast<std::size_t>(lo)]->number)
                ++hi;
            if (hi > shown)
                break;
            std::vector<Hit> a(got.begin() + lo, got.begin() + hi), b;
            for (int i = lo; i < hi; ++i)
                b.push_back(want.hits[static_cast<std::size_t>(i)]->hit);
            std::sort(a.begin(), a.end());
            std::sort(b.begin(), b.end());
            ASSERT_EQ(a, b) << "hits " << lo << ".." << hi - 1;
            lo = hi;
        }

    }
    // The mix holds both answers in fair numbers.
    EXPECT_GT(trueAnswers, kQueries / 2);
    EXPECT_LT(trueAnswers, kQueries - 100);
}

} // namespace
