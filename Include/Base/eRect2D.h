#pragma once

#include "Base/ePoint2D.h"
#include "Base/eSize2D.h"

namespace Kest {

// An axis-aligned rectangle in map coordinates. `left` <= `right` and
// `bottom` <= `top` for a normalized rectangle; edges count as inside.
struct eRect2D {
    double left = 0.0;
    double bottom = 0.0;
    double right = 0.0;
    double top = 0.0;

    eRect2D() = default;
    eRect2D(double l, double b, double r, double t) : left(l), bottom(b), right(r), top(t) {}

    double Width() const { return right - left; }
    double Height() const { return top - bottom; }
    eSize2D Size() const { return eSize2D(Width(), Height()); }
    ePoint2D Center() const { return ePoint2D((left + right) / 2, (bottom + top) / 2); }
    bool IsEmpty() const { return !(left < right && bottom < top); }

    bool Contains(const ePoint2D& p) const
    {
        return p.x >= left && p.x <= right && p.y >= bottom && p.y <= top;
    }
    bool Intersects(const eRect2D& o) const
    {
        return o.left <= right && o.right >= left && o.bottom <= top && o.top >= bottom;
    }
    // Grows the rectangle to take in `p`.
    void Extend(const ePoint2D& p)
    {
        if (p.x < left) left = p.x;
        if (p.x > right) right = p.x;
        if (p.y < bottom) bottom = p.y;
        if (p.y > top) top = p.y;
    }

    bool operator==(const eRect2D& o) const
    {
        return left == o.left && bottom == o.bottom && right == o.right && top == o.top;
    }
    bool operator!=(const eRect2D& o) const { return !(*this == o); }
};

} // namespace Kest
