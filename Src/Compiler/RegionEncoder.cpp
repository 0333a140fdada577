#include "Compiler/RegionEncoder.h"

#include <cmath>
#include <cstdint>

#include "Base/NdfFormat.h"
#include "Base/eCrc32.h"
#include "Ndf/eNdfRegion.h"

namespace Kest {
namespace {

void PutVarint(std::vector<unsigned char>& out, std::uint64_t value)
{
    while (value >= 0x80) {
        out.push_back(static_cast<unsigned char>(value | 0x80));
        value >>= 7;
    }
    out.push_back(static_cast<unsigned char>(value));
}

void PutZigzag(std::vector<unsigned char>& out, std::int64_t value)
{
    PutVarint(out, (static_cast<std::uint64_t>(value) << 1) ^ static_cast<std::uint64_t>(value >> 63));
}

bool Fail(std::string* error, const std::string& message)
{
    if (error)
        *error = message;
    return false;
}

} // namespace

RegionEncoder::RegionEncoder(const ePoint2D& origin, const eSize2D& scale, int units)
    : m_origin(origin)
{
    m_valid = eNdfRegion::GridStep(scale, units, m_step) && std::isfinite(origin.x) &&
              std::isfinite(origin.y);
}

bool RegionEncoder::Encode(const eGeoRegion& region, std::vector<unsigned char>& blob,
                           std::string* error) const
{
    std::vector<std::vector<ePoint2D>> parts(static_cast<std::size_t>(region.GetPartCount()));
    for (int i = 0; i < region.GetPartCount(); ++i) {
        const ePoint2D* points = region.GetPoints(i);
        if (points)
            parts[static_cast<std::size_t>(i)].assign(points, points + region.GetSubPntCount(i));
    }
    return Encode(parts, blob, error);
}

bool RegionEncoder::Encode(const std::vector<std::vector<ePoint2D>>& parts,
                           std::vector<unsigned char>& blob, std::string* error) const
{
    blob.clear();
    if (!m_valid)
        return Fail(error, "region grid: the origin must be finite, the scale positive and units at least 1");
    if (parts.size() > NdfFormat::kRegionMaxParts)
        return Fail(error, "region has " + std::to_string(parts.size()) + " parts; at most " +
                               std::to_string(NdfFormat::kRegionMaxParts) + " are allowed");
    blob.assign(NdfFormat::kRegionHeaderSize, 0);
    blob[0] = NdfFormat::kRegionTag;
    blob[1] = NdfFormat::kRegionVersion;
    PutVarint(blob, parts.size());
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (!EncodePart(parts[i].data(), static_cast<int>(parts[i].size()), static_cast<int>(i), blob,
                        error)) {
            blob.clear();
            return false;
        }
    }
    const std::uint32_t sum = eCrc32::Compute(blob.data() + NdfFormat::kRegionHeaderSize,
                                              blob.size() - NdfFormat::kRegionHeaderSize);
    for (int i = 0; i < 4; ++i)
        blob[static_cast<std::size_t>(NdfFormat::kRegionChecksumOffset + i)] =
            static_cast<unsigned char>(sum >> (8 * i));
    return true;
}

bool RegionEncoder::EncodePart(const ePoint2D* points, int count, int part,
                               std::vector<unsigned char>& blob, std::string* error) const
{
    PutVarint(blob, static_cast<std::uint64_t>(count));
    std::int64_t previousX = 0, previousY = 0;
    for (int i = 0; i < count; ++i) {
        const double gx = std::nearbyint((points[i].x - m_origin.x) / m_step.cx);
        const double gy = std::nearbyint((points[i].y - m_origin.y) / m_step.cy);
        const double limit = static_cast<double>(NdfFormat::kRegionMaxGrid);
        // Written so that NaN fails too.
        if (!(std::fabs(gx) <= limit) || !(std::fabs(gy) <= limit))
            return Fail(error, "region part " + std::to_string(part) + ", point " + std::to_string(i) +
                                   ": coordinate is not finite or too far from the origin");
        const auto x = static_cast<std::int64_t>(gx);
        const auto y = static_cast<std::int64_t>(gy);
        PutZigzag(blob, x - previousX);
        PutZigzag(blob, y - previousY);
        previousX = x;
        previousY = y;
    }
    return true;
}

} // namespace Kest
