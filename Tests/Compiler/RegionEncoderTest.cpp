#include "Compiler/RegionEncoder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "Ndf/eNdfRegion.h"

using namespace Kest;
using Bytes = std::vector<unsigned char>;
using Parts = std::vector<std::vector<ePoint2D>>;

namespace {

const eSize2D kScale(1.0, 0.6666666666666666);
constexpr int kUnits = 4000;

// A county-like closed ring: a wobbly outline around `center` of about
// `radius` degrees, with vertices some tens of metres apart.
std::vector<ePoint2D> Ring(std::mt19937& random, const ePoint2D& center, double radius, int count)
{
    std::uniform_real_distribution<double> wobble(-0.02, 0.02);
    std::vector<ePoint2D> ring;
    double r = radius;
    for (int i = 0; i < count; ++i) {
        r = std::fmax(radius * 0.5, std::fmin(radius * 1.5, r + radius * wobble(random)));
        ring.emplace_back(center.x + r * std::cos(2 * M_PI * i / count), center.y + r * 0.8 * std::sin(2 * M_PI * i / count));
    }
    ring.push_back(ring.front());
    return ring;
}

bool Decode(const Bytes& blob, const ePoint2D& origin, eGeoRegion& region)
{
    eNdfRegion reader(1);
    reader.SetBuffer(blob.data(), static_cast<int>(blob.size()));
    return reader.GetGeometry(origin, kScale, kUnits, region);
}

} // namespace

// A county of 6,000 boundary points with an island, a hole and an empty part
// comes back within half a grid step of every original point, in a few bytes
// per point; encoding the decoded region again gives the same bytes.
TEST(RegionEncoder, RoundTripsRealLookingCountiesWithinHalfAGridStep)
{
    std::mt19937 random(2026);
    eGeoRegion county;
    county.AddPart(Ring(random, {116.40, 39.90}, 0.30, 6000)); // outer boundary
    county.AddPart(Ring(random, {116.95, 39.95}, 0.05, 800));  // an island beyond it
    county.AddPart(Ring(random, {116.35, 39.85}, 0.04, 400));  // a hole inside it
    county.AddPart(nullptr, 0);                                 // and an empty part
    // The origin in the middle, so that grid values of both signs occur.
    const ePoint2D origin((county.GetBound().left + county.GetBound().right) / 2, (county.GetBound().bottom + county.GetBound().top) / 2);
    RegionEncoder encoder(origin, kScale, kUnits);
    Bytes blob, again;
    std::string error;
    ASSERT_TRUE(encoder.Encode(county, blob, &error)) << error;
    EXPECT_LT(blob.size(), static_cast<std::size_t>(county.GetPointCount()) * 6);

    eGeoRegion decoded;
    ASSERT_TRUE(Decode(blob, origin, decoded));
    ASSERT_EQ(4, decoded.GetPartCount());
    const double limitX = encoder.Step().cx / 2 * (1 + 1e-9), limitY = encoder.Step().cy / 2 * (1 + 1e-9);
    for (int part = 0; part < county.GetPartCount(); ++part) {
        ASSERT_EQ(county.GetSubPntCount(part), decoded.GetSubPntCount(part));
        for (int i = 0; i < county.GetSubPntCount(part); ++i) {
            ASSERT_LE(std::fabs(county.GetPoints(part)[i].x - decoded.GetPoints(part)[i].x), limitX) << part << ":" << i;
            ASSERT_LE(std::fabs(county.GetPoints(part)[i].y - decoded.GetPoints(part)[i].y), limitY) << part << ":" << i;
        }
    }
    ASSERT_TRUE(encoder.Encode(decoded, again, &error)) << error;
    EXPECT_EQ(blob, again);
}

TEST(RegionEncoder, RefusesWhatTheGridCannotHold)
{
    std::string error;
    Bytes blob = {1, 2, 3};
    EXPECT_FALSE(RegionEncoder(ePoint2D(0, 0), kScale, 0).Encode(Parts{{{0, 0}}}, blob, &error));
    EXPECT_NE(std::string::npos, error.find("units")) << error;
    EXPECT_TRUE(blob.empty());
    EXPECT_FALSE(RegionEncoder(ePoint2D(NAN, 0), kScale, kUnits).IsValid());
    EXPECT_FALSE(RegionEncoder(ePoint2D(0, 0), eSize2D(-1, 1), kUnits).IsValid());

    RegionEncoder encoder(ePoint2D(116, 39), kScale, kUnits);
    EXPECT_FALSE(encoder.Encode(Parts{{{116, 39}}, {{116, NAN}}}, blob, &error));
    EXPECT_EQ("region part 1, point 0: coordinate is not finite or too far from the origin", error);
    EXPECT_TRUE(blob.empty());
    // The grid reaches about 2,097 degrees of longitude from its origin.
    EXPECT_TRUE(encoder.Encode(Parts{{{116 + 2000, 39}}}, blob, &error));
    EXPECT_FALSE(encoder.Encode(Parts{{{116 - 2200, 39}}}, blob, &error));
    EXPECT_FALSE(encoder.Encode(Parts(65536), blob, &error));
    EXPECT_EQ("region has 65536 parts; at most 65535 are allowed", error);
    EXPECT_TRUE(encoder.Encode(Parts(65535), blob, &error));
}
