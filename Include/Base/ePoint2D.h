#pragma once

namespace Kest {

// A point in map coordinates (degrees: x longitude, y latitude).
struct ePoint2D {
    double x = 0.0;
    double y = 0.0;

    ePoint2D() = default;
    ePoint2D(double px, double py) : x(px), y(py) {}

    bool operator==(const ePoint2D& o) const { return x == o.x && y == o.y; }
    bool operator!=(const ePoint2D& o) const { return !(*this == o); }
};

} // namespace Kest
