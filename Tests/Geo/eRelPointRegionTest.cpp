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

TEST(eRelPointRegion, SquareInteriorExteriorAndEveryKindOfBoundary)
{
    EXPECT_TRUE(Within({5, 5}, kSquare));
    EXPECT_FALSE(Within({-1, 5}, kSquare));
    EXPECT_FALSE(Within({11, 5}, kSquare));
    EXPECT_FALSE(Within({5, 10.000001}, kSquare));
    // Horizontal edges, vertical edges, vertices: inside with the border,
    // outside without it.
    for (const ePoint2D& p : std::vector<ePoint2D>{{5, 0}, {5, 10}, {0, 5}, {10, 5}, {0, 0}, {10, 0}, {10, 10}, {0, 10}}) {
        EXPECT_TRUE(Within(p, kSquare, true)) << p.x << "," << p.y;
        EXPECT_FALSE(Within(p, kSquare, false)) << p.x << "," << p.y;
    }
    // Just off the edges: the border setting changes nothing.
    EXPECT_TRUE(Within({std::nextafter(10.0, 0.0), 5}, kSquare, false));
    EXPECT_FALSE(Within({std::nextafter(10.0, 20.0), 5}, kSquare, true));
    EXPECT_FALSE(Within({5, std::nextafter(0.0, -1.0)}, kSquare, true));
    // On the line of an edge but beyond its end.
    EXPECT_FALSE(Within({12, 0}, kSquare, true));
    EXPECT_FALSE(Within({-2, 10}, kSquare, true));
}

TEST(eRelPointRegion, RayThroughVerticesIsCountedOnce)
{
    const std::vector<ePoint2D> diamond = {{0, -5}, {5, 0}, {0, 5}, {-5, 0}};
    EXPECT_TRUE(Within({-3, 0}, diamond));  // ray leaves through the vertex (5,0)
    EXPECT_TRUE(Within({4.5, 0}, diamond));
    EXPECT_FALSE(Within({-6, 0}, diamond)); // ray passes both side vertices
    EXPECT_FALSE(Within({6, 0}, diamond));
    EXPECT_FALSE(Within({1, 5}, diamond));  // level with the top vertex
    EXPECT_FALSE(Within({-1, -5}, diamond));
    // Ray along a horizontal edge of the U's notch bottom and its top edges.
    EXPECT_FALSE(Within({-1, 4}, kU));
    EXPECT_FALSE(Within({-1, 10}, kU));
    EXPECT_TRUE(Within({2, 4}, kU));
    EXPECT_TRUE(Within({8, 4}, kU));
}

TEST(eRelPointRegion, ConcavePolygon)
{
    EXPECT_TRUE(Within({2, 8}, kU));
    EXPECT_TRUE(Within({8, 8}, kU));
    EXPECT_TRUE(Within({5, 2}, kU));
    EXPECT_FALSE(Within({5, 8}, kU));  // in the notch
    EXPECT_FALSE(Within({5, 10}, kU)); // the notch's open top is not an edge
    EXPECT_TRUE(Within({5, 4}, kU));   // the notch's bottom edge
    EXPECT_FALSE(Within({5, 4}, kU, false));
    EXPECT_TRUE(Within({6, 7}, kU));   // the notch's side edge
    EXPECT_TRUE(Within({4, 10}, kU));  // a vertex of the notch
}

TEST(eRelPointRegion, RepeatedClosingPointAndDuplicatesChangeNothing)
{
    std::vector<ePoint2D> closed = kU;
    closed.push_back(kU.front());
    std::vector<ePoint2D> doubled;
    for (const ePoint2D& p : kU) {
        doubled.push_back(p);
        doubled.push_back(p);
    }
    for (double y = -1; y <= 11; y += 0.5)
        for (double x = -1; x <= 11; x += 0.5)
            for (bool border : {true, false}) {
                const bool expected = Within({x, y}, kU, border);
                EXPECT_EQ(expected, Within({x, y}, closed, border)) << x << "," << y;
                EXPECT_EQ(expected, Within({x, y}, doubled, border)) << x << "," << y;
            }
}

TEST(eRelPointRegion, DegenerateInputIsOutside)
{
    const ePoint2D p(0, 0);
    EXPECT_FALSE(eRelPointRegion::IsWithin(p, nullptr, 4, nullptr, true));
    EXPECT_FALSE(eRelPointRegion::IsWithin(p, kSquare.data(), 2, nullptr, true));
    EXPECT_FALSE(eRelPointRegion::IsWithin(p, kSquare.data(), 1, nullptr, true));
    EXPECT_FALSE(eRelPointRegion::IsWithin(p, kSquare.data(), 0, nullptr, true));
    EXPECT_FALSE(eRelPointRegion::IsWithin(p, kSquare.data(), -3, nullptr, true));
    EXPECT_FALSE(Within({NAN, 5}, kSquare));
    EXPECT_FALSE(Within({5, INFINITY}, kSquare));
    // Three collinear points enclose nothing, but their segments are border.
    const std::vector<ePoint2D> line = {{0, 0}, {5, 5}, {10, 10}};
    EXPECT_FALSE(Within({5, 4}, line));
    EXPECT_TRUE(Within({2, 2}, line));
}

TEST(eRelPointRegion, RectangleRejectsFirstAndCountsItsEdges)
{
    const eRect2D box(0, 0, 10, 10);
    const eRect2D small(0, 0, 4, 4);
    EXPECT_TRUE(eRelPointRegion::IsWithin({5, 5}, kSquare.data(), 4, &box, true));
    EXPECT_FALSE(eRelPointRegion::IsWithin({5, 5}, kSquare.data(), 4, &small, true));
    EXPECT_TRUE(eRelPointRegion::IsWithin({4, 4}, kSquare.data(), 4, &small, true));
    EXPECT_TRUE(eRelPointRegion::IsWithin({10, 10}, kSquare.data(), 4, &box, true));
}

TEST(eRelPointRegion, SlantedEdgesAreExactAtMapCoordinates)
{
    // A triangle around Beijing; (116.5, 40) is the exact midpoint of its
    // right edge, and the neighbouring doubles lie on either side of it.
    const std::vector<ePoint2D> tri = {{116.25, 39.5}, {116.75, 40.5}, {115.0, 41.0}};
    EXPECT_TRUE(Within({116.5, 40.0}, tri, true));
    EXPECT_FALSE(Within({116.5, 40.0}, tri, false));
    EXPECT_TRUE(Within({std::nextafter(116.5, 0.0), 40.0}, tri, false));
    EXPECT_FALSE(Within({std::nextafter(116.5, 200.0), 40.0}, tri, true));
    EXPECT_TRUE(Within({116.5, std::nextafter(40.0, 50.0)}, tri, false));
    EXPECT_FALSE(Within({116.5, std::nextafter(40.0, 0.0)}, tri, true));
}

// Orientation against exact integer arithmetic on dyadic coordinates
// (integers below 2^52 scaled by 2^-30), chosen close to collinear so that
// the rounded determinant alone would often get the sign wrong.
TEST(eRelPointRegion, OrientationMatchesExactArithmetic)
{
    std::mt19937_64 random(20261121);
    const double scale = std::ldexp(1.0, -30);
    std::uniform_int_distribution<std::int64_t> coordinate(0, (std::int64_t(1) << 50));
    std::uniform_int_distribution<std::int64_t> nudge(-2, 2);
    int collinear = 0, differsFromNaive = 0;
    for (int i = 0; i < 100000; ++i) {
        std::int64_t ax = coordinate(random), ay = coordinate(random);
        std::int64_t bx = coordinate(random), by = coordinate(random);
        // c on the line through a and b at a dyadic fraction, then nudged.
        const int shift = static_cast<int>(random() % 8);
        const std::int64_t t = static_cast<std::int64_t>(random() % (1u << shift));
        ax &= ~((std::int64_t(1) << shift) - 1);
        ay &= ~((std::int64_t(1) << shift) - 1);
        bx &= ~((std::int64_t(1) << shift) - 1);
        by &= ~((std::int64_t(1) << shift) - 1);
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
    // The sample must exercise both the collinear case and the exact path.
    EXPECT_GT(collinear, 1000);
    EXPECT_GT(differsFromNaive, 20);
}

// IsWithin against a plain exact oracle on small integer polygons, which
// are full of collinear edges, vertices on rays and points on the border.
TEST(eRelPointRegion, MatchesAnIntegerOracleOnRandomPolygons)
{
    struct P { std::int64_t x, y; };
    auto oracle = [](const P& p, const std::vector<P>& ring, bool border) {
        const std::size_t n = ring.size();
        bool inside = false;
        for (std::size_t i = 0, j = n - 1; i < n; j = i++) {
            const P& a = ring[j];
            const P& b = ring[i];
            const std::int64_t cross = (b.x - a.x) * (p.y - a.y) - (b.y - a.y) * (p.x - a.x);
            if (cross == 0 && std::min(a.x, b.x) <= p.x && p.x <= std::max(a.x, b.x) &&
                std::min(a.y, b.y) <= p.y && p.y <= std::max(a.y, b.y))
                return border;
            // Half-open rule on y; the crossing lies right of p when
            // p.x < a.x + (p.y - a.y)(b.x - a.x)/(b.y - a.y), compared in integers.
            if ((a.y <= p.y) != (b.y <= p.y)) {
                const std::int64_t lhs = (p.x - a.x) * (b.y - a.y);
                const std::int64_t rhs = (p.y - a.y) * (b.x - a.x);
                if ((b.y - a.y > 0) ? lhs < rhs : lhs > rhs)
                    inside = !inside;
            }
        }
        return inside;
    };
    std::mt19937 random(7);
    std::uniform_int_distribution<int> coordinate(0, 8);
    for (int polygon = 0; polygon < 300; ++polygon) {
        std::vector<P> ring(3 + random() % 6);
        for (P& p : ring)
            p = {coordinate(random), coordinate(random)};
        std::vector<ePoint2D> points;
        for (const P& p : ring)
            points.emplace_back(static_cast<double>(p.x), static_cast<double>(p.y));
        // Half-unit steps: doubled coordinates for the oracle.
        std::vector<P> ring2;
        for (const P& p : ring)
            ring2.push_back({p.x * 2, p.y * 2});
        for (int y = -1; y <= 17; ++y)
            for (int x = -1; x <= 17; ++x)
                for (bool border : {true, false})
                    ASSERT_EQ(oracle({x, y}, ring2, border), Within({x / 2.0, y / 2.0}, points, border))
                        << "polygon " << polygon << " point " << x / 2.0 << "," << y / 2.0;
    }
}
