#include "Ndf/eNdfRegion.h"

#include <cmath>
#include <cstdint>

#include "Base/NdfFormat.h"
#include "Base/eCrc32.h"

namespace Kest {
namespace {

// Reads the blob front to back; every read is checked against the end.
class BlobReader {
public:
    BlobReader(const unsigned char* bytes, int length) : m_p(bytes), m_end(bytes + length) {}

    bool AtEnd() const { return m_p == m_end; }
    std::int64_t Remaining() const { return m_end - m_p; }

    // Unsigned LEB128 of at most kRegionMaxVarintBytes bytes.
    bool Varint(std::uint64_t& value)
    {
        value = 0;
        for (int i = 0; i < NdfFormat::kRegionMaxVarintBytes; ++i) {
            if (m_p == m_end)
                return false;
            const std::uint8_t b = *m_p++;
            value |= static_cast<std::uint64_t>(b & 0x7F) << (7 * i);
            if (!(b & 0x80))
                return true;
        }
        return false;
    }

    bool Zigzag(std::int64_t& value)
    {
        std::uint64_t raw;
        if (!Varint(raw))
            return false;
        value = static_cast<std::int64_t>(raw >> 1) ^ -static_cast<std::int64_t>(raw & 1);
        return true;
    }

private:
    const unsigned char* m_p;
    const unsigned char* m_end;
};

bool IsGridValue(std::int64_t g)
{
    return g >= -NdfFormat::kRegionMaxGrid && g <= NdfFormat::kRegionMaxGrid;
}

bool Decode(const unsigned char* bytes, int length, const ePoint2D& origin, const eSize2D& step,
            eGeoRegion& region)
{
    using namespace NdfFormat;
    if (length < kRegionHeaderSize || bytes[0] != kRegionTag || bytes[1] != kRegionVersion)
        return false;
    const unsigned char* sum = bytes + kRegionChecksumOffset;
    const std::uint32_t recorded = static_cast<std::uint32_t>(sum[0]) |
                                   (static_cast<std::uint32_t>(sum[1]) << 8) |
                                   (static_cast<std::uint32_t>(sum[2]) << 16) |
                                   (static_cast<std::uint32_t>(sum[3]) << 24);
    BlobReader in(bytes + kRegionHeaderSize, length - kRegionHeaderSize);
    if (recorded != eCrc32::Compute(bytes + kRegionHeaderSize,
                                    static_cast<std::size_t>(length - kRegionHeaderSize)))
        return false;
    std::uint64_t parts;
    // Every part takes at least its count byte.
    if (!in.Varint(parts) || parts > kRegionMaxParts ||
        parts > static_cast<std::uint64_t>(in.Remaining()))
        return false;
    for (std::uint64_t part = 0; part < parts; ++part) {
        std::uint64_t count;
        // Every point takes at least two bytes; a larger count is corrupt.
        if (!in.Varint(count) || count > static_cast<std::uint64_t>(in.Remaining() / 2))
            return false;
        region.AddPart(nullptr, 0);
        std::int64_t gx = 0, gy = 0;
        for (std::uint64_t i = 0; i < count; ++i) {
            std::int64_t dx, dy;
            if (!in.Zigzag(dx) || !in.Zigzag(dy))
                return false;
            gx += dx; // |gx|, |dx| < 2^35: no overflow before the range check
            gy += dy;
            if (!IsGridValue(gx) || !IsGridValue(gy))
                return false;
            const ePoint2D point(origin.x + static_cast<double>(gx) * step.cx,
                                 origin.y + static_cast<double>(gy) * step.cy);
            if (!std::isfinite(point.x) || !std::isfinite(point.y))
                return false; // a grid too coarse for its origin
            region.AddPoint(point);
        }
    }
    return in.AtEnd();
}

} // namespace

void eNdfRegion::SetBuffer(const unsigned char* bytes, int length)
{
    if (!bytes || length <= 0) {
        m_pBytes = nullptr;
        m_nLength = 0;
        m_arCopy.clear();
        return;
    }
    if (m_nMemoryMode == 1) {
        m_pBytes = bytes;
    } else {
        m_arCopy.assign(bytes, bytes + length);
        m_pBytes = m_arCopy.data();
    }
    m_nLength = length;
}

bool eNdfRegion::GridStep(const eSize2D& scale, int units, eSize2D& step)
{
    if (units < 1 || !std::isfinite(scale.cx) || !std::isfinite(scale.cy) || !(scale.cx > 0.0) ||
        !(scale.cy > 0.0))
        return false;
    const double divisions = static_cast<double>(units) * NdfFormat::kRegionSubdivision;
    step = eSize2D(scale.cx / divisions, scale.cy / divisions);
    return step.cx > 0.0 && step.cy > 0.0;
}

bool eNdfRegion::GetGeometry(const ePoint2D& origin, const eSize2D& scale, int units,
                             eGeoRegion& region) const
{
    region.RemoveAll();
    eSize2D step;
    if (!m_pBytes || !GridStep(scale, units, step) || !std::isfinite(origin.x) ||
        !std::isfinite(origin.y))
        return false;
    if (!Decode(m_pBytes, m_nLength, origin, step, region)) {
        region.RemoveAll();
        return false;
    }
    return true;
}

} // namespace Kest
