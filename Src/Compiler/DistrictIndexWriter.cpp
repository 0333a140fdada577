#include "Compiler/DistrictIndexWriter.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "Base/eSize2D.h"
#include "Compiler/PageFileWriter.h"
#include "Compiler/RegionEncoder.h"
#include "Geo/eGeoRegion.h"
#include "Ndf/eNdfRegion.h"

namespace Kest {

DistrictIndexWriter::DistrictIndexWriter(std::uint16_t fileId, std::uint32_t targetPageSize)
    : m_nFileId(fileId), m_nTarget(targetPageSize)
{
}

int DistrictIndexWriter::AddRange(int level, Range range)
{
    std::vector<Range>& ranges = m_levels[level - 1];
    ranges.push_back(std::move(range));
    return static_cast<int>(ranges.size()) - 1;
}

bool DistrictIndexWriter::Fail(const std::string& message)
{
    if (m_error.empty())
        m_error = message;
    return false;
}

bool DistrictIndexWriter::Encode(const std::vector<Part>& parts, Encoded& out, std::string& error)
{
    using namespace NdfFormat;
    const eSize2D scale(kDistrictScaleX, kDistrictScaleY);
    eSize2D step;
    eNdfRegion::GridStep(scale, kDistrictUnits, step);
    double minX = std::numeric_limits<double>::infinity(), minY = minX;
    for (const Part& part : parts)
        for (const ePoint2D& p : part) {
            minX = std::min(minX, p.x);
            minY = std::min(minY, p.y);
        }
    if (!std::isfinite(minX) || !std::isfinite(minY)) {
        error = "an area has no boundary";
        return false;
    }
    // The origin: the least corner, moved down to a whole number of steps.
    const ePoint2D origin(std::floor(minX / step.cx) * step.cx, std::floor(minY / step.cy) * step.cy);
    RegionEncoder encoder(origin, scale, kDistrictUnits);
    if (!encoder.Encode(parts, out.blob, &error))
        return false;
    // The box is the origin and the decoded region's greatest corner, so
    // that the box test never cuts off a piece of what the region holds.
    eNdfRegion region(1);
    region.SetBuffer(out.blob.data(), static_cast<int>(out.blob.size()));
    eGeoRegion decoded;
    if (!region.GetGeometry(origin, scale, kDistrictUnits, decoded)) {
        error = "a region does not read back";
        return false;
    }
    const eRect2D bound = decoded.GetBound();
    out.minX = origin.x;
    out.minY = origin.y;
    out.maxX = std::max(origin.x, bound.right);
    out.maxY = std::max(origin.y, bound.top);
    return true;
}

bool DistrictIndexWriter::Write(const std::string& path)
{
    using namespace NdfFormat;
    m_error.clear();
    if (m_levels[0].empty())
        return Fail("the index has no top-level range");
    PageFileWriter file(m_nFileId, m_nTarget);
    if (!file.Open(path))
        return Fail(file.GetError());
    // The lowest level first, so that every child range's address is known
    // when its parents are written.
    std::vector<ueglobal_addr_t> below;
    for (int level = kDistrictLevels; level >= 1; --level) {
        const std::vector<Range>& ranges = m_levels[level - 1];
        std::vector<ueglobal_addr_t> firsts(ranges.size());
        for (std::size_t r = 0; r < ranges.size(); ++r) {
            std::vector<PageFileWriter::Record> run;
            for (const Area& area : ranges[r]) {
                Encoded encoded;
                std::string error;
                if (!Encode(area.parts, encoded, error))
                    return Fail("level " + std::to_string(level) + ", range " + std::to_string(r) + ": " + error);
                PageFileWriter::Record record;
                record.Set(kDistrictFieldRegion, encoded.blob.data(), encoded.blob.size());
                record.Set(kDistrictFieldMinX, &encoded.minX, sizeof(double));
                record.Set(kDistrictFieldMaxX, &encoded.maxX, sizeof(double));
                record.Set(kDistrictFieldMaxY, &encoded.maxY, sizeof(double));
                record.Set(kDistrictFieldMinY, &encoded.minY, sizeof(double));
                if (level == kDistrictLevels) {
                    record.SetInt(kDistrictFieldCode, area.code);
                } else {
                    if (area.children < 0 || static_cast<std::size_t>(area.children) >= below.size())
                        return Fail("level " + std::to_string(level) + ", range " + std::to_string(r) +
                                    ": an area names a range that does not exist");
                    const auto children = static_cast<std::size_t>(area.children);
                    record.SetAddr(kDistrictFieldChild, below[children]);
                    record.SetInt(kDistrictFieldChildCount,
                                  static_cast<std::uint32_t>(m_levels[level][children].size()));
                }
                if (record.EncodedSize() > PageFileWriter::MaxRecordSize())
                    return Fail("level " + std::to_string(level) + ", range " + std::to_string(r) +
                                ": a region of " + std::to_string(area.parts[0].size()) +
                                " points does not fit in a page");
                run.push_back(std::move(record));
            }
            if (!file.AppendRun(run, firsts[r]))
                return Fail(file.GetError());
        }
        below = std::move(firsts);
    }
    file.SetIndexHeader(below[0], static_cast<std::int32_t>(m_levels[0][0].size()));
    if (!file.Close())
        return Fail(file.GetError());
    return true;
}

} // namespace Kest
