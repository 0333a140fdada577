#pragma once

#include <string>
#include <vector>

#include "Base/ePoint2D.h"
#include "Base/eSize2D.h"
#include "Geo/eGeoRegion.h"

namespace Kest {

// Writes region blobs that eNdfRegion::GetGeometry reads back with the same
// origin, scale and units. Each coordinate is rounded to the nearest grid
// value, so a decoded point lies within half a grid step of the original on
// each axis (see eNdfRegion for the grid; docs/format.md, "Region blobs").
class RegionEncoder {
public:
    RegionEncoder(const ePoint2D& origin, const eSize2D& scale, int units);

    // False when origin, scale and units cannot define a grid.
    bool IsValid() const { return m_valid; }
    // The grid step on each axis, in coordinate units.
    const eSize2D& Step() const { return m_step; }

    // Encodes every part in order. False, with `error` saying why and `blob`
    // left empty, for an invalid grid, too many parts, or a coordinate that is
    // not finite or lies beyond the grid's range around the origin.
    bool Encode(const eGeoRegion& region, std::vector<unsigned char>& blob,
                std::string* error = nullptr) const;
    bool Encode(const std::vector<std::vector<ePoint2D>>& parts, std::vector<unsigned char>& blob,
                std::string* error = nullptr) const;

private:
    bool EncodePart(const ePoint2D* points, int count, int part, std::vector<unsigned char>& blob,
                    std::string* error) const;

    ePoint2D m_origin;
    eSize2D m_step;
    bool m_valid = false;
};

} // namespace Kest
