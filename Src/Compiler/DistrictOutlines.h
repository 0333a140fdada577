#pragma once

#include <string>
#include <vector>

#include "Base/ePoint2D.h"

namespace Kest {

// Outlines of areas made of smaller ones (a city of its counties, a province
// of its cities), computed with GEOS: the union of the given polygons, as
// polygons, largest first.
class DistrictOutlines {
public:
    using Ring = std::vector<ePoint2D>;
    // A polygon: its outer ring, then its holes. Rings need not be closed.
    using Polygon = std::vector<Ring>;

    // The union of `polygons` into `out` (rings without a closing point),
    // ordered by area, largest first; equal areas keep the order GEOS gives,
    // which depends only on the input. Polygons that are not valid (a ring
    // that crosses itself, for one) are first made valid. False, with
    // `error`, when GEOS cannot form the union.
    static bool Union(const std::vector<Polygon>& polygons, std::vector<Polygon>& out, std::string& error);

    // `polygon` as pieces of at most `maxPoints` points each (all rings
    // counted), appended to `out`: cut in two across the longer side of its
    // box, on a line of the district grid, again and again while a piece is
    // larger. The pieces together cover the polygon exactly; a cut vertex lies
    // on the cut line. A polygon small enough is appended as it is. False,
    // with `error`, when GEOS cannot cut it.
    static bool Split(const Polygon& polygon, std::size_t maxPoints, std::vector<Polygon>& out, std::string& error);

    // The polygons ordered by the area of their outer rings, largest first
    // (stable): the order in which an area's polygons are written.
    static void LargestFirst(std::vector<Polygon>& polygons);

    // The area that the ring encloses (shoelace formula), never negative.
    static double RingArea(const Ring& ring);
};

} // namespace Kest
