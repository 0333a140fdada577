#pragma once

namespace Kest {

// A width and a height in map coordinates.
struct eSize2D {
    double cx = 0.0;
    double cy = 0.0;

    eSize2D() = default;
    eSize2D(double w, double h) : cx(w), cy(h) {}

    bool operator==(const eSize2D& o) const { return cx == o.cx && cy == o.cy; }
    bool operator!=(const eSize2D& o) const { return !(*this == o); }
};

} // namespace Kest
