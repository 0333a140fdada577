#include "Ndf/eNdfRegion.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "Base/NdfFormat.h"
#include "Base/eCrc32.h"

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
    Bytes blob(body.size() + 6, 0);
    blob[0] = Kest::NdfFormat::kRegionTag;
    blob[1] = Kest::NdfFormat::kRegionVersion;
    for (std::size_t i = 0; i < body.size(); ++i)
        blob[6 + i] = body[i];
    const std::uint32_t sum = Kest::eCrc32::Compute(body.data(), body.size());
    for (int i = 0; i < 4; ++i)
        blob[static_cast<std::size_t>(2 + i)] = static_cast<unsigned char>(sum >> (8 * i));
    return blob;
}

bool Decode(const Bytes& blob, eGeoRegion& region, const ePoint2D& origin = kOrigin,
            const eSize2D& scale = kScale, int units = kUnits)
{
    eNdfRegion reader(1);
    reader.SetBuffer(blob.data(), static_cast<int>(blob.size()));
    return reader.GetGeometry(origin, scale, units, region);
}

// Two parts: three points (grid (0,0), (3,-1), (203,2)), then an empty part.
const Bytes kBody = {0x02, 0x03, 0x00, 0x00, 0x06, 0x01, 0x90, 0x03, 0x06, 0x00};

} // namespace

TEST(eNdfRegion, DecodesTheDocumentedLayout)
{
    eGeoRegion region;
    ASSERT_TRUE(Decode(Blob(kBody), region));
    const double sx = 1.0 / (4000.0 * 256), sy = 0.6666666666666666 / (4000.0 * 256);
    ASSERT_EQ(2, region.GetPartCount());
    ASSERT_EQ(3, region.GetSubPntCount(0));
    const ePoint2D* p = region.GetPoints(0);
    EXPECT_EQ(ePoint2D(116.0, 39.0), p[0]);
    EXPECT_EQ(ePoint2D(116.0 + 3 * sx, 39.0 - 1 * sy), p[1]);
    EXPECT_EQ(ePoint2D(116.0 + 203 * sx, 39.0 + 2 * sy), p[2]);
    EXPECT_EQ(0, region.GetSubPntCount(1));
    EXPECT_EQ(nullptr, region.GetPoints(1));

    eSize2D step;
    ASSERT_TRUE(eNdfRegion::GridStep(kScale, kUnits, step));
    EXPECT_EQ(eSize2D(sx, sy), step);
    // About 0.11 m by 0.07 m: well under the metre a boundary needs.
    EXPECT_LT(step.cx * 111320.0, 0.11);
    EXPECT_LT(step.cy * 110574.0, 0.073);

    ASSERT_TRUE(Decode(Blob({0x00}), region)); // no parts at all
    EXPECT_EQ(0, region.GetPartCount());
}

TEST(eNdfRegion, RejectsGridsThatCannotExist)
{
    const Bytes blob = Blob(kBody);
    eGeoRegion region;
    EXPECT_FALSE(Decode(blob, region, kOrigin, kScale, 0));
    EXPECT_FALSE(Decode(blob, region, kOrigin, kScale, -4000));
    EXPECT_FALSE(Decode(blob, region, kOrigin, eSize2D(0.0, 1.0)));
    EXPECT_FALSE(Decode(blob, region, kOrigin, eSize2D(1.0, -1.0)));
    EXPECT_FALSE(Decode(blob, region, kOrigin, eSize2D(NAN, 1.0)));
    EXPECT_FALSE(Decode(blob, region, kOrigin, eSize2D(1.0, INFINITY)));
    EXPECT_FALSE(Decode(blob, region, ePoint2D(NAN, 0.0)));
    EXPECT_FALSE(Decode(blob, region, ePoint2D(0.0, -INFINITY)));
    // A grid so coarse that a point overflows to infinity.
    EXPECT_FALSE(Decode(Blob({0x01, 0x01, 0xFE, 0xFF, 0xFF, 0xFF, 0x0F, 0x00}), region, kOrigin,
                        eSize2D(1e306, 1.0), 1));
    EXPECT_EQ(0, region.GetPartCount());
}

TEST(eNdfRegion, WithoutBytesThereIsNoGeometry)
{
    eNdfRegion reader(1);
    eGeoRegion region;
    region.AddPart(std::vector<ePoint2D>{{1, 1}});
    EXPECT_FALSE(reader.GetGeometry(kOrigin, kScale, kUnits, region));
    EXPECT_EQ(0, region.GetPartCount()); // emptied on failure
    const Bytes blob = Blob(kBody);
    reader.SetBuffer(blob.data(), static_cast<int>(blob.size()));
    reader.SetBuffer(nullptr, 10);
    EXPECT_FALSE(reader.GetGeometry(kOrigin, kScale, kUnits, region));
    reader.SetBuffer(blob.data(), 0);
    EXPECT_FALSE(reader.GetGeometry(kOrigin, kScale, kUnits, region));
}

TEST(eNdfRegion, MemoryModeOneBorrowsOtherModesCopy)
{
    Bytes blob = Blob(kBody);
    eNdfRegion borrowing(1), copying(0);
    borrowing.SetBuffer(blob.data(), static_cast<int>(blob.size()));
    copying.SetBuffer(blob.data(), static_cast<int>(blob.size()));
    blob[0] = 0; // the borrowed bytes change under the reader
    eGeoRegion region;
    EXPECT_FALSE(borrowing.GetGeometry(kOrigin, kScale, kUnits, region));
    EXPECT_TRUE(copying.GetGeometry(kOrigin, kScale, kUnits, region));
    EXPECT_EQ(3, region.GetSubPntCount(0));
}

TEST(eNdfRegion, EveryTruncationAndEveryFlippedBitFails)
{
    // A blob of some size: two rings of 40 points with multi-byte deltas.
    Bytes body = {0x02};
    for (int part = 0; part < 2; ++part) {
        body.push_back(40);
        for (int i = 0; i < 40; ++i) {
            body.insert(body.end(), {static_cast<unsigned char>(0x80 | i), 0x02, static_cast<unsigned char>(i * 3)});
        }
    }
    const Bytes blob = Blob(body);
    eGeoRegion region;
    ASSERT_TRUE(Decode(blob, region));
    ASSERT_EQ(40, region.GetSubPntCount(1));
    for (std::size_t length = 0; length < blob.size(); ++length) {
        // Copy the prefix alone, so that reading past it is caught by ASan.
        const Bytes cut(blob.begin(), blob.begin() + static_cast<long>(length));
        region.AddPart(std::vector<ePoint2D>{{1, 1}});
        EXPECT_FALSE(Decode(cut, region)) << length;
        EXPECT_EQ(0, region.GetPartCount());
    }
    for (std::size_t at = 0; at < blob.size(); ++at)
        for (unsigned char bit : {0x01, 0x10, 0x80}) {
            Bytes flipped = blob;
            flipped[at] ^= bit;
            EXPECT_FALSE(Decode(flipped, region)) << "byte " << at << " bit " << int(bit);
        }
    Bytes longer = blob;
    longer.push_back(0);
    EXPECT_FALSE(Decode(longer, region));
}

// Blobs whose checksum is right but whose structure is not, as a buggy or
// hostile writer could make them.
TEST(eNdfRegion, RejectsMalformedBodiesWithValidChecksums)
{
    eGeoRegion region;
    Bytes wrongTag = Blob(kBody);
    wrongTag[0] = 'Q';
    EXPECT_FALSE(Decode(wrongTag, region));
    Bytes wrongVersion = Blob(kBody);
    wrongVersion[1] = 2;
    EXPECT_FALSE(Decode(wrongVersion, region));

    EXPECT_FALSE(Decode(Blob({}), region));                              // no part count
    EXPECT_FALSE(Decode(Blob({0x02, 0x00}), region));                    // a part missing
    EXPECT_FALSE(Decode(Blob({0x01, 0x00, 0x00}), region));              // a byte left over
    EXPECT_FALSE(Decode(Blob({0xFF, 0xFF, 0x03}), region));              // 65535+ parts, 3 bytes
    EXPECT_FALSE(Decode(Blob({0xFF, 0xFF, 0xFF, 0xFF, 0x0F}), region)); // 2^32-1 parts
    EXPECT_FALSE(Decode(Blob({0x01, 0x02, 0x00, 0x00}), region));        // 2 points, room for 1
    EXPECT_FALSE(Decode(Blob({0x01, 0xFF, 0xFF, 0xFF, 0xFF, 0x0F, 0x00, 0x00}), region));
    EXPECT_FALSE(Decode(Blob({0x01, 0x01, 0x80, 0x80, 0x80, 0x80, 0x80, 0x00, 0x00}), region)); // 6-byte varint
    EXPECT_FALSE(Decode(Blob({0x01, 0x01, 0x00, 0x80}), region));        // varint cut at the end
    // The largest grid value passes; one step further fails, on either axis
    // and whether reached at once or by accumulating deltas.
    EXPECT_TRUE(Decode(Blob({0x01, 0x01, 0xFE, 0xFF, 0xFF, 0xFF, 0x0F, 0x00}), region));
    EXPECT_FALSE(Decode(Blob({0x01, 0x01, 0x80, 0x80, 0x80, 0x80, 0x10, 0x00}), region));
    EXPECT_FALSE(Decode(Blob({0x01, 0x02, 0x00, 0xFE, 0xFF, 0xFF, 0xFF, 0x0F, 0x00, 0x02}), region));
    EXPECT_FALSE(Decode(Blob({0x01, 0x02, 0x00, 0xFD, 0xFF, 0xFF, 0xFF, 0x0F, 0x00, 0x03}), region));
    EXPECT_EQ(0, region.GetPartCount());
}
