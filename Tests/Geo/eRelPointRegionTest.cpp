#include "Geo/eRelPointRegion.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <tuple>
#include <vector>

using Kest::ePoint2D;
using Kest::eRelPointRegion;
using Ring = std::vector<ePoint2D>;

namespace {

bool Within(const ePoint2D& p, const Ring& ring, bool border = true)
{
    return eRelPointRegion::IsWithin(p, ring.data(), static_cast<int>(ring.size()), nullptr, border);
}

const Ring kSquare = {{0, 0}, {10, 0}, {10, 10}, {0, 10}};

} // namespace

// Border points at map coordinates, off the small integer grid that the
// oracle test below walks: inside exactly when the border counts; their
// neighbouring doubles give the same answer either way.
TEST(eRelPointRegion, BorderPointsAtMapCoordinatesAndTheirNeighbours)
{
    const Ring tri = {{116.25, 39.5}, {116.75, 40.5}, {115.0, 41.0}}; // (116.5, 40) halves the right edge
    EXPECT_TRUE(Within({116.5, 40.0}, tri, true));
    EXPECT_FALSE(Within({116.5, 40.0}, tri, false));
    const std::vector<std::tuple<ePoint2D, const Ring*, bool>> off = {
        {{std::nextafter(10.0, 0.0), 5}, &kSquare, true}, {{std::nextafter(10.0, 20.0), 5}, &kSquare, false},
        {{std::nextafter(116.5, 0.0), 40.0}, &tri, true}, {{std::nextafter(116.5, 200.0), 40.0}, &tri, false},
        {{116.5, std::nextafter(40.0, 50.0)}, &tri, true}, {{116.5, std::nextafter(40.0, 0.0)}, &tri, false}};
    for (const auto& [p, ring, inside] : off)
        for (bool border : {true, false})
            EXPECT_EQ(inside, Within(p, *ring, border)) << p.x << "," << p.y;
}

TEST(eRelPointRegion, DegenerateInputAndTheRectangle)
{
    const ePoint2D origin(0, 0);
    EXPECT_FALSE(eRelPointRegion::IsWithin(origin, nullptr, 4, nullptr, true));
    for (int count : {2, 1, 0, -3})
        EXPECT_FALSE(eRelPointRegion::IsWithin(origin, kSquare.data(), count, nullptr, true)) << count;
    EXPECT_FALSE(Within({NAN, 5}, kSquare));
    EXPECT_FALSE(Within({5, INFINITY}, kSquare));
    const Kest::eRect2D small(0, 0, 4, 4);
    EXPECT_FALSE(eRelPointRegion::IsWithin({5, 5}, kSquare.data(), 4, &small, true));
    EXPECT_TRUE(eRelPointRegion::IsWithin({4, 4}, kSquare.data(), 4, &small, true));
}

// Against exact integer arithmetic on dyadic coordinates (integers below 2^50
// scaled by 2^-30) chosen close to collinear, where the rounded determinant
// alone often gets the sign wrong.
TEST(eRelPointRegion, OrientationMatchesExactArithmetic)
{
    __extension__ typedef __int128 Int128;
    auto sign = [](auto v) { return v > 0 ? 1 : (v < 0 ? -1 : 0); };
    std::mt19937_64 random(20261121);
    std::uniform_int_distribution<std::int64_t> coordinate(0, std::int64_t(1) << 50), nudge(-2, 2);
    int collinear = 0, differsFromNaive = 0;
    for (int i = 0; i < 100000; ++i) {
        const int shift = static_cast<int>(random() % 8);
        const std::int64_t mask = ~((std::int64_t(1) << shift) - 1);
        const std::int64_t ax = coordinate(random) & mask, ay = coordinate(random) & mask;
        const std::int64_t bx = coordinate(random) & mask, by = coordinate(random) & mask;
        const auto t = static_cast<std::int64_t>(random() % (1u << shift));
        const std::int64_t cx = ax + ((bx - ax) >> shift) * t + nudge(random);
        const std::int64_t cy = ay + ((by - ay) >> shift) * t + nudge(random);
        const int expected = sign(Int128(ax - cx) * (by - cy) - Int128(ay - cy) * (bx - cx));
        const double s = std::ldexp(1.0, -30);
        const ePoint2D a(ax * s, ay * s), b(bx * s, by * s), c(cx * s, cy * s);
        ASSERT_EQ(expected, eRelPointRegion::Orientation(a, b, c)) << i;
        collinear += expected == 0;
        differsFromNaive += expected != sign((a.x - c.x) * (b.y - c.y) - (a.y - c.y) * (b.x - c.x));
    }
    EXPECT_GT(collinear, 1000); // the sample reaches the hard cases
    EXPECT_GT(differsFromNaive, 20);
}

// Against a plain exact oracle on small integer polygons, which are full of
// collinear edges, repeated points, rays through vertices and border points.
TEST(eRelPointRegion, MatchesAnIntegerOracleOnRandomPolygons)
{
    struct P { std::int64_t x, y; };
    auto oracle = [](const P& p, const std::vector<P>& ring, bool border) {
        bool inside = false;
        for (std::size_t i = 0, j = ring.size() - 1; i < ring.size(); j = i++) {
            const P &a = ring[j], &b = ring[i];
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
        Ring points;
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
