#pragma once

#include "Base/ePoint2D.h"
#include "Base/eRect2D.h"

namespace Kest {

// Where a point lies relative to a polygon.
class eRelPointRegion {
public:
    // True when `point` lies in the polygon of `count` points at `points`.
    // The ring is closed implicitly (the edge from the last point back to the
    // first is always tested), so a repeated closing point changes nothing.
    // `bBorderInside` says what a point exactly on an edge or a vertex is:
    // inside when true (the district lookup passes true), outside when false.
    // When `rect` is given, a point outside it (edges count as inside) is
    // rejected before the polygon is looked at. Null `points`, fewer than
    // three points or a point with a non-finite coordinate give false.
    //
    // The answer is exact for finite coordinates: it uses the even-odd rule
    // with a half-open vertex rule and decides every "which side of this edge"
    // question with Orientation, so boundary points are found exactly on
    // horizontal, vertical and slanted edges alike.
    static bool IsWithin(const ePoint2D& point, const ePoint2D* points, int count,
                         const eRect2D* rect, bool bBorderInside);

    // The exact sign of the turn a -> b -> c: +1 when c lies left of the
    // directed line a -> b, -1 when right, 0 when the three are collinear.
    // Exact for finite coordinates as long as their differences' products
    // neither overflow nor underflow (any map coordinate qualifies).
    static int Orientation(const ePoint2D& a, const ePoint2D& b, const ePoint2D& c);
};

} // namespace Kest
