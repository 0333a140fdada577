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
#include <fstream>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include <nlohmann/json.hpp>

#include "Base/NdfFormat.h"
#include "Base/ePoint2D.h"
#include "Ndf/eNdfPool.h"
#include "POIEngine/eNdfIndexDistrict.h"
#include "Support/Differential.h"
#include "Support/IndexOpen.h"

using namespace Kest;
using namespace KestTest;

namespace {

constexpr double kRounding = 1e-6;

using Ring = std::vector<ePoint2D>;

struct County {
    unsigned int number = 0;
    std::tuple<int, int, unsigned int> order; // first appearance of province, city, county
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

// Counties keyed by province, city (the municipality for "市辖区" and "县")
// and name, numbered in order of first appearance; ordered by the first
// appearance of their province, then of their city.
std::vector<County> ReadCounties()
{
    std::ifstream in(std::string(KEST_TEST_DATA) + "/../../Data/Sample/districts.geojson");
    std::map<std::string, int> firstSeen;
    std::map<std::string, County> counties;
    const nlohmann::json doc = nlohmann::json::parse(in);
    for (const auto& f : doc["features"]) {
        const auto& props = f["properties"];
        const std::string p = props["province"], cRaw = props["city"], k = props["county"];
        const std::string c = cRaw == "市辖区" || cRaw == "县" ? p : cRaw;
        for (const std::string& seen : {p, p + "/" + c})
            firstSeen.emplace(seen, static_cast<int>(firstSeen.size()));
        County& county = counties[p + "/" + c + "/" + k];
        if (county.number == 0) {
            county.number = static_cast<unsigned int>(counties.size());
            county.order = {firstSeen[p], firstSeen[p + "/" + c], county.number};
        }
        const auto& g = f["geometry"];
        for (const auto& poly : g["type"] == "Polygon" ? nlohmann::json::array({g["coordinates"]}) : g["coordinates"]) {
            Ring& ring = county.outers.emplace_back();
            for (const auto& pos : poly[0])
                ring.emplace_back(pos[0].get<double>(), pos[1].get<double>());
        }
    }
    std::vector<County> out;
    for (auto& [key, county] : counties) {
        std::stable_sort(county.outers.begin(), county.outers.end(),
                         [](const Ring& a, const Ring& b) { return Area(a) > Area(b); });
        out.push_back(county);
    }
    std::sort(out.begin(), out.end(), [](const County& a, const County& b) { return a.order < b.order; });
    return out;
}

// The oracle: the first county in file order one of whose outer rings holds
// the point; 0 for none.
unsigned int Oracle(const std::vector<County>& counties, const ePoint2D& p)
{
    for (const County& c : counties)
        for (const Ring& r : c.outers)
            if (Inside(p, r))
                return c.number;
    return 0;
}

double BoundaryDistance(const std::vector<County>& counties, const ePoint2D& p, unsigned int number)
{
    double d = INFINITY;
    for (const County& c : counties)
        for (const Ring& r : c.outers)
            for (std::size_t i = 0, j = r.size() - 1; i < r.size() && c.number == number; j = i++)
                d = std::min(d, SegmentDistance(p, r[i], r[j]));
    return d;
}

TEST(DistrictDifferential, RandomPointsMatchTheOracle)
{
    const std::vector<County> counties = ReadCounties();
    ASSERT_EQ(counties.size(), 32u);
    eNdfPool pool;
    eNdfIndexDistrict index;
    OpenIndex(index, pool, CompiledSample::Get().Root() + "/POI/", NdfFormat::kDistrictFileId);
    const County& shanghai = counties.back();
    RunQueries(2000, 20261125, {{"inside", 1000}, {"outside", 400}}, [&](Draw& draw, Tally& tally, int q) {
        const County& c = draw.Pick(counties);
        const Ring& ring = draw.Pick(c.outers);
        const ePoint2D& v = draw.Pick(ring);
        const ePoint2D& w = ring[(&v - ring.data() + 1) % ring.size()];
        ePoint2D p;
        if (q < 1000) { // in and around a county's box
            const auto byX = [](const ePoint2D& a, const ePoint2D& b) { return a.x < b.x; };
            const auto byY = [](const ePoint2D& a, const ePoint2D& b) { return a.y < b.y; };
            const auto [x0, x1] = std::minmax_element(ring.begin(), ring.end(), byX);
            const auto [y0, y1] = std::minmax_element(ring.begin(), ring.end(), byY);
            const double dx = 0.05 * (x1->x - x0->x), dy = 0.05 * (y1->y - y0->y);
            p = {draw.Uniform(x0->x - dx, x1->x + dx), draw.Uniform(y0->y - dy, y1->y + dy)};
        } else if (q < 1500) { // on a border: a vertex or a point of an edge
            const double t = draw.OneIn(3) ? 0.0 : draw.Uniform(0, 1);
            p = {v.x + t * (w.x - v.x), v.y + t * (w.y - v.y)};
        } else if (q < 1700) { // near the coast and the Shanghai islands
            const ePoint2D& u = draw.Pick(draw.Pick(shanghai.outers));
            p = {u.x + draw.Uniform(-1e-3, 1e-3), u.y + draw.Uniform(-1e-3, 1e-3)};
        } else { // anywhere in China, mostly outside every county
            p = {draw.Uniform(73, 135), draw.Uniform(18, 53)};
        }
        SCOPED_TRACE(testing::Message() << "point (" << p.x << ", " << p.y << ")");
        const unsigned int want = Oracle(counties, p);
        unsigned int got = 77;
        const bool found = index.Query(p.x, p.y, got) != 0;
        EXPECT_EQ(found, got != 0);
        tally[want ? "inside" : "outside"] += 1;
        if (got == want)
            return;
        // Rounding changed whether one of the two holds the point.
        tally["differ by rounding"] += 1;
        EXPECT_LE(std::min(BoundaryDistance(counties, p, want), BoundaryDistance(counties, p, got)), kRounding)
            << "engine " << got << ", oracle " << want;
    });
}

} // namespace
