#pragma once

#include <vector>

#include "Base/ePoint2D.h"
#include "Base/eSize2D.h"
#include "Geo/eGeoRegion.h"

namespace Kest {

// The boundary of an area as stored in a field of a record: a region blob
// (format in docs/format.md, "Region blobs"; constants in Base/NdfFormat.h),
// expanded on demand into an eGeoRegion.
//
// Coordinates are stored on a grid whose origin and step the reader supplies:
// a grid value g on the x axis is the coordinate origin.x + g * step.x with
// step.x = scale.cx / (units * kRegionSubdivision), and likewise for y. The
// district index gives the area's least bounding-box corner, the scale
// (1.0, 2/3) and 4000 units, a step of about 0.11 m by 0.07 m.
class eNdfRegion {
public:
    // Memory mode 1 borrows the bytes given to SetBuffer (the caller keeps
    // them alive and unchanged while the region is used); any other mode
    // copies them.
    explicit eNdfRegion(int nMemoryMode = 1) : m_nMemoryMode(nMemoryMode) {}
    eNdfRegion(const eNdfRegion&) = delete;
    eNdfRegion& operator=(const eNdfRegion&) = delete;

    void SetBuffer(const unsigned char* bytes, int length);

    // Decodes the blob into `region` (emptied first). False, with `region`
    // empty, when there is no blob, the blob is truncated or malformed, or
    // origin, scale or units cannot define a grid (non-finite values, a scale
    // that is not positive, units below 1).
    bool GetGeometry(const ePoint2D& origin, const eSize2D& scale, int units,
                     eGeoRegion& region) const;

    // The grid step of `scale` and `units`, as reader and writer share it.
    // False when they cannot define a grid.
    static bool GridStep(const eSize2D& scale, int units, eSize2D& step);

private:
    int m_nMemoryMode;
    const unsigned char* m_pBytes = nullptr;
    int m_nLength = 0;
    std::vector<unsigned char> m_arCopy; // the bytes, in a copying memory mode
};

} // namespace Kest
