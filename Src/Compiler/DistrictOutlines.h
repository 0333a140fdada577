#pragma once

#include <string>
#include <vector>

#include "Base/ePoint2D.h"

namespace Kest {

// The pieces of the counties' polygons that the district index stores,
// computed with GEOS: clipped to the cells of the index and cut so that no
// piece has a hole or too many points.
class DistrictOutlines {
public:
    using Ring = std::vector<ePoint2D>;
    // A polygon: its outer ring, then its holes. Rings need not be closed.
    using Polygon = std::vector<Ring>;

    // A rectangle, its sides on lines of the district grid.
    struct Box {
        double x0, y0, x1, y1;
    };

    // `polygon` as pieces without holes of at most `maxPoints` points each
    // (all rings counted), appended to `out`: cut in two on a line of the
    // district grid through a hole (which opens it), or across the longer
    // side of its box while a piece is too large, again and again. The
    // pieces together cover the polygon exactly, so the outer rings alone
    // tell what lies in it; a cut vertex lies on the cut line. A hole less
    // than a grid step across stays. A polygon small enough and without
    // holes is appended as it is. False, with `error`, when GEOS cannot cut
    // it.
    static bool Split(const Polygon& polygon, std::size_t maxPoints, std::vector<Polygon>& out, std::string& error);

    // The part of `polygons` (one area's) inside each of `cells`: out[i] gets
    // the pieces (as Split makes them) of their intersection with cells[i],
    // in the order of `polygons`. False, with `error`, when GEOS fails.
    static bool Clip(const std::vector<Polygon>& polygons, const std::vector<Box>& cells, std::size_t maxPoints,
                     std::vector<std::vector<Polygon>>& out, std::string& error);

    // The polygons ordered by the area of their outer rings, largest first
    // (stable): the order in which an area's polygons are written.
    static void LargestFirst(std::vector<Polygon>& polygons);

    // The area that the ring encloses (shoelace formula), never negative.
    static double RingArea(const Ring& ring);
};

} // namespace Kest
