// The district lookup on the bundled sample against a plain oracle: the
// sample is compiled with the real data compiler, and 2000 points (inside
// counties, exactly on their borders, near the coast, far outside) must get
// the county that straight loops over districts.geojson give: provinces,
// cities and counties in the order of the file, a county's polygons largest
// first, the first whose outer ring holds the point (border inside). The
// sample's counties have no holes (DataCompilerTest has a county with one).
//
// The index keeps boundaries on a grid of 1/1,024,000 degree by
// 1/1,536,000 degree, so a vertex moves by up to half a step on each axis
// (0.59e-6 degree in all). Where engine and oracle differ, the point must lie
// within kRounding of the boundary of one of the two counties they name. Most
// such points are those drawn exactly on a border: they fall on either side
// once the border is rounded.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "Base/NdfFormat.h"
#include "Base/ePoint2D.h"
#include "Ndf/eNdfPool.h"
#include "POIEngine/eNdfIndexDistrict.h"
#include "Support/CompiledSample.h"
#include "Support/TempDir.h"

using namespace Kest;

namespace {

constexpr double kRounding = 1e-6;

using Ring = std::vector<ePoint2D>;

struct County {
    unsigned int number = 0;
    std::vector<Ring> outers; // largest first
};

double Area(const Ring& r)
{
    double s = 0;
    for (std::size_t i = 0; i < r.size(); ++i)
        s += r[i].x * r[(i + 1) % r.size()].y - r[(i + 1) % r.size()].x * r[i].y;
    return std::fabs(s) / 2;
}

double SegmentDistance(const ePoint2D& p, const ePoint2D& a, const ePoint2D& b)
{
    const double dx = b.x - a.x, dy = b.y - a.y, len = dx * dx + dy * dy;
    double t = len > 0 ? ((p.x - a.x) * dx + (p.y - a.y) * dy) / len : 0;
    t = std::max(0.0, std::min(1.0, t));
    return std::hypot(p.x - (a.x + t * dx), p.y - (a.y + t * dy));
}

// Crossing number, with a point on an edge inside.
bool Inside(const ePoint2D& p, const Ring& r)
{
    bool in = false;
    for (std::size_t i = 0, j = r.size() - 1; i < r.size(); j = i++) {
        if (SegmentDistance(p, r[i], r[j]) == 0)
            return true;
        if ((r[i].y > p.y) != (r[j].y > p.y) &&
            p.x < (r[j].x - r[i].x) * (p.y - r[i].y) / (r[j].y - r[i].y) + r[i].x)
            in = !in;
    }
    return in;
}

double BoundaryDistance(const ePoint2D& p, const County& c)
{
    double d = INFINITY;
    for (const Ring& r : c.outers)
        for (std::size_t i = 0, j = r.size() - 1; i < r.size(); j = i++)
            d = std::min(d, SegmentDistance(p, r[i], r[j]));
    return d;
}

class DistrictDifferential : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        const auto& sample = KestTest::CompiledSample::Get();
        s_root = sample.Root();
        std::ifstream in(std::string(KEST_TEST_DATA) + "/../../Data/Sample/districts.geojson");
        // Counties keyed by province, city (the municipality for "市辖区" and
        // "县") and name, numbered in order of first appearance; ordered by
        // the first appearance of their province, then of their city.
        std::map<std::string, int> firstSeen;
        std::map<std::string, County> counties;
        std::map<std::string, std::string> rank; // county key -> sort key
        const nlohmann::json doc = nlohmann::json::parse(in);
        for (const auto& f : doc["features"]) {
            const auto& props = f["properties"];
            const std::string p = props["province"], cRaw = props["city"], k = props["county"];
            const std::string c = cRaw == "市辖区" || cRaw == "县" ? p : cRaw, key = p + "/" + c + "/" + k;
            for (const std::string& seen : {p, p + "/" + c})
                firstSeen.emplace(seen, static_cast<int>(firstSeen.size()));
            if (!counties.count(key)) {
                counties[key].number = static_cast<unsigned int>(counties.size() + 1);
                char order[32];
                std::snprintf(order, sizeof order, "%06d/%06d/%06u", firstSeen[p], firstSeen[p + "/" + c],
                              counties[key].number);
                rank[key] = order;
            }
            const auto& g = f["geometry"];
            for (const auto& poly : g["type"] == "Polygon" ? nlohmann::json::array({g["coordinates"]}) : g["coordinates"]) {
                Ring ring;
                for (const auto& pos : poly[0])
                    ring.emplace_back(pos[0].get<double>(), pos[1].get<double>());
                counties[key].outers.push_back(ring);
            }
        }
        std::map<std::string, County> ordered;
        for (auto& [key, county] : counties) {
            std::stable_sort(county.outers.begin(), county.outers.end(),
                             [](const Ring& a, const Ring& b) { return Area(a) > Area(b); });
            ordered[rank[key]] = county;
        }
        for (const auto& entry : ordered)
            s_counties.push_back(entry.second);
    }

    // The oracle: the first county in file order one of whose outer rings
    // holds the point; 0 for none.
    static unsigned int Oracle(const ePoint2D& p)
    {
        for (const County& c : s_counties)
            for (const Ring& r : c.outers)
                if (Inside(p, r))
                    return c.number;
        return 0;
    }

    static const County* ByNumber(unsigned int number)
    {
        for (const County& c : s_counties)
            if (c.number == number)
                return &c;
        return nullptr;
    }

    static std::string s_root;
    static std::vector<County> s_counties;
};

std::string DistrictDifferential::s_root;
std::vector<County> DistrictDifferential::s_counties;

TEST_F(DistrictDifferential, RandomPointsMatchTheOracle)
{
    ASSERT_EQ(s_counties.size(), 32u);
    const std::string dir = s_root + "/POI/";
    const std::vector<unsigned char> header =
        KestTest::TempDir::Read(dir + std::to_string(NdfFormat::kDistrictFileId) + ".ndf");
    ASSERT_GE(header.size(), 12u);
    ueglobal_addr_t root{};
    std::int32_t count = 0;
    std::memcpy(&root, header.data(), 8);
    std::memcpy(&count, header.data() + 8, 4);
    eNdfPool pool;
    pool.SetDataPath(dir.c_str());
    eNdfIndexDistrict index;
    index.SetGID(root);
    index.SetDepth(count);
    index.SetDataPath(dir.c_str());
    index.SetPool(&pool);

    std::mt19937 rng(20261125);
    auto uniform = [&](double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(rng); };
    const County* shanghai = &s_counties.back();
    int inside = 0, outside = 0, differ = 0;
    double worst = 0;
    for (int q = 0; q < 2000; ++q) {
        const County& c = s_counties[rng() % s_counties.size()];
        const Ring& ring = c.outers[rng() % c.outers.size()];
        const ePoint2D& v = ring[rng() % ring.size()];
        const ePoint2D& w = ring[(&v - ring.data() + 1) % ring.size()];
        ePoint2D p;
        if (q < 1000) { // in and around a county's box
            double x0 = INFINITY, x1 = -INFINITY, y0 = INFINITY, y1 = -INFINITY;
            for (const ePoint2D& pt : ring) {
                x0 = std::min(x0, pt.x), x1 = std::max(x1, pt.x);
                y0 = std::min(y0, pt.y), y1 = std::max(y1, pt.y);
            }
            p = {uniform(x0 - 0.05 * (x1 - x0), x1 + 0.05 * (x1 - x0)),
                 uniform(y0 - 0.05 * (y1 - y0), y1 + 0.05 * (y1 - y0))};
        } else if (q < 1500) { // on a border: a vertex or a point of an edge
            const double t = rng() % 3 == 0 ? 0.0 : uniform(0, 1);
            p = {v.x + t * (w.x - v.x), v.y + t * (w.y - v.y)};
        } else if (q < 1700) { // near the coast and the Shanghai islands
            const Ring& s = shanghai->outers[rng() % shanghai->outers.size()];
            const ePoint2D& u = s[rng() % s.size()];
            p = {u.x + uniform(-1e-3, 1e-3), u.y + uniform(-1e-3, 1e-3)};
        } else { // anywhere in China, mostly outside every county
            p = {uniform(73, 135), uniform(18, 53)};
        }
        const unsigned int want = Oracle(p);
        unsigned int got = 77;
        const bool found = index.Query(p.x, p.y, got);
        EXPECT_EQ(found, got != 0) << q;
        (want ? inside : outside) += 1;
        if (got == want)
            continue;
        ++differ;
        // Rounding changed whether one of the two holds the point.
        double d = INFINITY;
        for (unsigned int n : {want, got})
            if (const County* county = ByNumber(n))
                d = std::min(d, BoundaryDistance(p, *county));
        worst = std::max(worst, d);
        EXPECT_LE(d, kRounding) << "point " << q << " (" << p.x << ", " << p.y << "): engine " << got << ", oracle "
                                << want;
    }
    std::printf("district differential: %d inside, %d outside, %d differ by rounding (at most %.3g degree)\n",
                inside, outside, differ, worst);
    EXPECT_GT(inside, 1000);
    EXPECT_GT(outside, 400);
}

} // namespace
