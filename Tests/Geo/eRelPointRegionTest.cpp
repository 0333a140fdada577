#include "Geo/eRelPointRegion.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

using Kest::ePoint2D;
using Kest::eRect2D;
using Kest::eRelPointRegion;

namespace {

__extension__ typedef __int128 Int128;

bool Within(const ePoint2D& p, const std::vector<ePoint2D>& ring, bool border = true)
{
    return eRelPointRegion::IsWithin(p, ring.data(), static_cast<int>(ring.size()), nullptr, border);
}

const std::vector<ePoint2D> kSquare = {{0, 0}, {10, 0}, {10, 10}, {0, 10}};
// A "U": the notch x in (4, 6), y in (4, 10] is outside.
const std::vector<ePoint2D> kU = {{0, 0}, {10, 0}, {10, 10}, {6, 10}, {6, 4}, {4, 4}, {4, 10}, {0, 10}};

} // namespace

TEST(eRelPointRegion, BoundaryPointsFollowTheBorderSetting)
{
    // Horizontal edges, vertical edges, vertices, the notch of a concave ring.
    const std::vector<ePoint2D> border = {{5, 0}, {5, 10}, {0, 5}, {10, 5}, {0, 0}, {10, 10}};
    for (const ePoint2D& p : border) {
        EXPECT_TRUE(Within(p, kSquare, true)) << p.x << "," << p.y;
        EXPECT_FALSE(Within(p, kSquare, false)) << p.x << "," << p.y;
    }
    for (const ePoint2D& p : std::vector<ePoint2D>{{5, 4}, {6, 7}, {4, 10}}) {
        EXPECT_TRUE(Within(p, kU, true)) << p.x << "," << p.y;
        EXPECT_FALSE(Within(p, kU, false)) << p.x << "," << p.y;
    }
    EXPECT_TRUE(Within({std::nextafter(10.0, 0.0), 5}, kSquare, false));
    EXPECT_FALSE(Within({std::nextafter(10.0, 20.0), 5}, kSquare, true));
    EXPECT_FALSE(Within({12, 0}, kSquare, true)); // on an edge's line, past its end
    EXPECT_TRUE(Within({2, 8}, kU));
    EXPECT_TRUE(Within({2, 4}, kU)); // the ray runs along the notch's bottom edge
    EXPECT_FALSE(Within({5, 8}, kU));
    EXPECT_FALSE(Within({5, 10}, kU)); // the notch's open top is no edge
}

TEST(eRelPointRegion, RepeatedPointsChangeNothing)
{
    std::vector<ePoint2D> closed = kU, doubled;
    closed.push_back(kU.front());
    for (const ePoint2D& p : kU)
        doubled.insert(doubled.end(), {p, p});
    for (double y = -1; y <= 11; y += 0.5)
        for (double x = -1; x <= 11; x += 0.5)
            for (bool border : {true, false}) {
                EXPECT_EQ(Within({x, y}, kU, border), Within({x, y}, closed, border)) << x << "," << y;
                EXPECT_EQ(Within({x, y}, kU, border), Within({x, y}, doubled, border)) << x << "," << y;
            }
}

TEST(eRelPointRegion, DegenerateInputAndTheRectangle)
{
    const ePoint2D origin(0, 0);
    EXPECT_FALSE(eRelPointRegion::IsWithin(origin, nullptr, 4, nullptr, true));
    for (int count : {2, 1, 0, -3})
        EXPECT_FALSE(eRelPointRegion::IsWithin(origin, kSquare.data(), count, nullptr, true)) << count;
    EXPECT_FALSE(Within({NAN, 5}, kSquare));
    EXPECT_FALSE(Within({5, INFINITY}, kSquare));
    // Collinear points enclose nothing, but their segments are border.
    EXPECT_FALSE(Within({5, 4}, {{0, 0}, {5, 5}, {10, 10}}));
    EXPECT_TRUE(Within({2, 2}, {{0, 0}, {5, 5}, {10, 10}}));

    const eRect2D small(0, 0, 4, 4);
    EXPECT_FALSE(eRelPointRegion::IsWithin({5, 5}, kSquare.data(), 4, &small, true));
    EXPECT_TRUE(eRelPointRegion::IsWithin({4, 4}, kSquare.data(), 4, &small, true));
}

TEST(eRelPointRegion, SlantedEdgesAreExactAtMapCoordinates)
{
    // (116.5, 40) is the exact midpoint of the right edge; the neighbouring
    // doubles lie on either side of it.
    const std::vector<ePoint2D> tri = {{116.25, 39.5}, {116.75, 40.5}, {115.0, 41.0}};
    EXPECT_TRUE(Within({116.5, 40.0}, tri, true));
    EXPECT_FALSE(Within({116.5, 40.0}, tri, false));
    EXPECT_TRUE(Within({std::nextafter(116.5, 0.0), 40.0}, tri, false));
    EXPECT_FALSE(Within({std::nextafter(116.5, 200.0), 40.0}, tri, true));
    EXPECT_TRUE(Within({116.5, std::nextafter(40.0, 50.0)}, tri, false));
    EXPECT_FALSE(Within({116.5, std::nextafter(40.0, 0.0)}, tri, true));
}

// Against exact integer arithmetic on dyadic coordinates (integers below 2^50
// scaled by 2^-30) chosen close to collinear, where the rounded determinant
// alone often gets the sign wrong.
TEST(eRelPointRegion, OrientationMatchesExactArithmetic)
{
    std::mt19937_64 random(20261121);
    const double scale = std::ldexp(1.0, -30);
    std::uniform_int_distribution<std::int64_t> coordinate(0, std::int64_t(1) << 50);
    std::uniform_int_distribution<std::int64_t> nudge(-2, 2);
    int collinear = 0, differsFromNaive = 0;
    for (int i = 0; i < 100000; ++i) {
        const int shift = static_cast<int>(random() % 8);
        const std::int64_t mask = ~((std::int64_t(1) << shift) - 1);
        const std::int64_t ax = coordinate(random) & mask, ay = coordinate(random) & mask;
        const std::int64_t bx = coordinate(random) & mask, by = coordinate(random) & mask;
        const auto t = static_cast<std::int64_t>(random() % (1u << shift));
        const std::int64_t cx = ax + ((bx - ax) >> shift) * t + nudge(random);
        const std::int64_t cy = ay + ((by - ay) >> shift) * t + nudge(random);
        const Int128 det = Int128(ax - cx) * (by - cy) - Int128(ay - cy) * (bx - cx);
        const int expected = det > 0 ? 1 : (det < 0 ? -1 : 0);
        const ePoint2D a(ax * scale, ay * scale), b(bx * scale, by * scale), c(cx * scale, cy * scale);
        ASSERT_EQ(expected, eRelPointRegion::Orientation(a, b, c)) << i;
        const double naive = (a.x - c.x) * (b.y - c.y) - (a.y - c.y) * (b.x - c.x);
        collinear += expected == 0;
        differsFromNaive += expected != (naive > 0 ? 1 : (naive < 0 ? -1 : 0));
    }
    EXPECT_GT(collinear, 1000); // the sample reaches the hard cases
    EXPECT_GT(differsFromNaive, 20);
}

// Against a plain exact oracle on small integer polygons, which are full of
// collinear edges, rays through vertices and points on the border.
TEST(eRelPointRegion, MatchesAnIntegerOracleOnRandomPolygons)
{
    struct P { std::int64_t x, y; };
    auto oracle = [](const P& p, const std::vector<P>& ring, bool border) {
        bool inside = false;
        for (std::size_t i = 0, j = ring.size() - 1; i < ring.size(); j = i++) {
            const P& a = ring[j];
            const P& b = ring[i];
            if ((b.x - a.x) * (p.y - a.y) == (b.y - a.y) * (p.x - a.x) && std::min(a.x, b.x) <= p.x &&
                p.x <= std::max(a.x, b.x) && std::min(a.y, b.y) <= p.y && p.y <= std::max(a.y, b.y))
                return border;
            // Crossing right of p: p.x < a.x + (p.y - a.y)(b.x - a.x)/(b.y - a.y).
            if ((a.y <= p.y) != (b.y <= p.y)) {
                const std::int64_t lhs = (p.x - a.x) * (b.y - a.y), rhs = (p.y - a.y) * (b.x - a.x);
                if (b.y > a.y ? lhs < rhs : lhs > rhs)
                    inside = !inside;
            }
        }
        return inside;
    };
    std::mt19937 random(7);
    std::uniform_int_distribution<int> coordinate(0, 8);
    for (int polygon = 0; polygon < 300; ++polygon) {
        std::vector<P> doubledRing; // the oracle works on doubled coordinates
        std::vector<ePoint2D> points;
        for (unsigned n = 3 + random() % 6; n > 0; --n) {
            const P p = {coordinate(random), coordinate(random)};
            doubledRing.push_back({2 * p.x, 2 * p.y});
            points.emplace_back(static_cast<double>(p.x), static_cast<double>(p.y));
        }
        for (int y = -1; y <= 17; ++y)
            for (int x = -1; x <= 17; ++x)
                for (bool border : {true, false})
                    ASSERT_EQ(oracle({x, y}, doubledRing, border), Within({x / 2.0, y / 2.0}, points, border))
                        << "polygon " << polygon << " point " << x / 2.0 << "," << y / 2.0;
    }
}
