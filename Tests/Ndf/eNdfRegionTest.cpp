#include "Ndf/eNdfRegion.h"

#include <gtest/gtest.h>

#include <cmath>
#include <tuple>
#include <vector>

#include "Base/NdfFormat.h"
#include "Base/eCrc32.h"
#include "Ndf/NdfBytes.h"

using Kest::eGeoRegion;
using Kest::eNdfRegion;
using Kest::ePoint2D;
using Kest::eSize2D;
using Bytes = std::vector<unsigned char>;

namespace {

// The district lookup's grid: origin at the area's least corner.
const ePoint2D kOrigin(116.0, 39.0);
const eSize2D kScale(1.0, 0.6666666666666666);
constexpr int kUnits = 4000;

// A blob with a valid header and checksum around `body`.
Bytes Blob(const Bytes& body)
{
    Bytes blob = {Kest::NdfFormat::kRegionTag, Kest::NdfFormat::kRegionVersion, 0, 0, 0, 0};
    Kest::NdfBytes::Put32(&blob[2], Kest::eCrc32::Compute(body.data(), body.size()));
    blob.insert(blob.end(), body.begin(), body.end());
    return blob;
}

bool Decode(const Bytes& blob, eGeoRegion& region, const ePoint2D& origin = kOrigin,
            const eSize2D& scale = kScale, int units = kUnits)
{
    eNdfRegion reader(1);
    reader.SetBuffer(blob.data(), static_cast<int>(blob.size()));
    return reader.GetGeometry(origin, scale, units, region);
}

// Two parts: grid points (0,0), (3,-1), (203,2), then a part without points.
const Bytes kBody = {0x02, 0x03, 0x00, 0x00, 0x06, 0x01, 0x90, 0x03, 0x06, 0x00};

} // namespace

TEST(eNdfRegion, DecodesTheDocumentedLayout)
{
    eGeoRegion region;
    ASSERT_TRUE(Decode(Blob(kBody), region));
    const double sx = 1.0 / (4000.0 * 256), sy = 0.6666666666666666 / (4000.0 * 256);
    ASSERT_EQ(2, region.GetPartCount());
    const std::vector<ePoint2D> expected = {{116.0, 39.0}, {116.0 + 3 * sx, 39.0 - sy}, {116.0 + 203 * sx, 39.0 + 2 * sy}};
    EXPECT_EQ(expected, std::vector<ePoint2D>(region.GetPoints(0), region.GetPoints(0) + region.GetSubPntCount(0)));
    EXPECT_EQ(nullptr, region.GetPoints(1));
    ASSERT_TRUE(Decode(Blob({0x00}), region)); // no parts at all
    EXPECT_EQ(0, region.GetPartCount());
}

TEST(eNdfRegion, NeedsBytesAndAGridAndHonoursTheMemoryMode)
{
    Bytes blob = Blob(kBody);
    eGeoRegion region;
    const std::vector<std::tuple<ePoint2D, eSize2D, int>> grids = {
        {kOrigin, kScale, 0}, {kOrigin, kScale, -4000}, {kOrigin, {0, 1}, kUnits}, {kOrigin, {1, -1}, kUnits},
        {kOrigin, {NAN, 1}, kUnits}, {kOrigin, {1, INFINITY}, kUnits}, {{NAN, 0}, kScale, kUnits}};
    for (const auto& [origin, scale, units] : grids)
        EXPECT_FALSE(Decode(blob, region, origin, scale, units)) << scale.cx << "," << scale.cy << "," << units;
    // A grid so coarse that the largest grid value overflows to infinity.
    EXPECT_FALSE(Decode(Blob({0x01, 0x01, 0xFE, 0xFF, 0xFF, 0xFF, 0x0F, 0x00}), region, kOrigin, {1e306, 1.0}, 1));

    eNdfRegion borrowing(1), copying(0), empty(1);
    region.AddPart(std::vector<ePoint2D>{{1, 1}});
    EXPECT_FALSE(empty.GetGeometry(kOrigin, kScale, kUnits, region));
    EXPECT_EQ(0, region.GetPartCount()); // emptied on failure
    empty.SetBuffer(nullptr, 10);
    EXPECT_FALSE(empty.GetGeometry(kOrigin, kScale, kUnits, region));
    borrowing.SetBuffer(blob.data(), static_cast<int>(blob.size()));
    copying.SetBuffer(blob.data(), static_cast<int>(blob.size()));
    blob[0] = 0; // the borrowed bytes change under the reader
    EXPECT_FALSE(borrowing.GetGeometry(kOrigin, kScale, kUnits, region));
    EXPECT_TRUE(copying.GetGeometry(kOrigin, kScale, kUnits, region));
}

// Every prefix and every flipped bit (tag, version and checksum included), and
// bodies with a right checksum but a wrong structure, as a faulty writer makes.
TEST(eNdfRegion, RejectsTruncatedCorruptAndMalformedBlobs)
{
    Bytes body = {0x02}; // two rings of 40 points with two-byte deltas
    for (int part = 0; part < 2; ++part) {
        body.push_back(40);
        for (int i = 0; i < 40; ++i)
            body.insert(body.end(), {static_cast<unsigned char>(0x80 | i), 0x02, static_cast<unsigned char>(i * 3)});
    }
    const Bytes blob = Blob(body);
    eGeoRegion region;
    ASSERT_TRUE(Decode(blob, region));
    for (std::size_t at = 0; at < blob.size(); ++at) {
        // The prefix alone, so that reading past it is caught by ASan.
        EXPECT_FALSE(Decode(Bytes(blob.begin(), blob.begin() + static_cast<long>(at)), region)) << at;
        EXPECT_EQ(0, region.GetPartCount());
        for (unsigned char bit : {0x01, 0x10, 0x80}) {
            Bytes flipped = blob;
            flipped[at] ^= bit;
            EXPECT_FALSE(Decode(flipped, region)) << "byte " << at << " bit " << int(bit);
        }
    }
    const std::vector<Bytes> malformed = {
        {},                                               // no part count
        {0x02, 0x00},                                     // a part missing
        {0x01, 0x00, 0x00},                               // a byte left over
        {0xFF, 0xFF, 0x03},                               // 65535+ parts in 3 bytes
        {0x01, 0x02, 0x00, 0x00},                         // 2 points, room for 1
        {0x01, 0xFF, 0xFF, 0xFF, 0xFF, 0x0F, 0x00, 0x00}, // 2^32-1 points
        {0x01, 0x01, 0x80, 0x80, 0x80, 0x80, 0x80, 0x00, 0x00}, // 6-byte varint
        {0x01, 0x01, 0x00, 0x80},                         // varint cut by the end
        {0x01, 0x01, 0x80, 0x80, 0x80, 0x80, 0x10, 0x00}, // grid value 2^31
        {0x01, 0x02, 0x00, 0xFE, 0xFF, 0xFF, 0xFF, 0x0F, 0x00, 0x02}, // 2^31-1, then +1 on y
    };
    for (const Bytes& bad : malformed)
        EXPECT_FALSE(Decode(Blob(bad), region) || region.GetPartCount() != 0) << bad.size();
    EXPECT_TRUE(Decode(Blob({0x01, 0x01, 0xFE, 0xFF, 0xFF, 0xFF, 0x0F, 0x00}), region)); // 2^31-1 is fine
}
