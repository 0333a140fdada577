#include "Geo/eRelPointRegion.h"

#include <cmath>

namespace Kest {
namespace {

// Error-free transformations: each returns the rounded result and stores the
// rounding error, so that hi + lo equals the exact value.
inline double TwoSum(double a, double b, double& lo)
{
    const double x = a + b;
    const double bv = x - a;
    const double av = x - bv;
    lo = (a - av) + (b - bv);
    return x;
}

inline double TwoDiff(double a, double b, double& lo)
{
    const double x = a - b;
    const double bv = a - x;
    const double av = x + bv;
    lo = (a - av) + (bv - b);
    return x;
}

inline double TwoProduct(double a, double b, double& lo)
{
    const double x = a * b;
    lo = std::fma(a, b, -x);
    return x;
}

// Exact sign of (ax-cx)(by-cy) - (ay-cy)(bx-cx). The differences are split
// into value and error, the products into 16 exact terms, and the terms summed
// into a non-overlapping expansion (growing it one term at a time, dropping
// zeros), whose largest component carries the sign of the whole sum.
int ExactOrientation(const ePoint2D& a, const ePoint2D& b, const ePoint2D& c)
{
    double acxLo, acyLo, bcxLo, bcyLo;
    const double acx = TwoDiff(a.x, c.x, acxLo);
    const double acy = TwoDiff(a.y, c.y, acyLo);
    const double bcx = TwoDiff(b.x, c.x, bcxLo);
    const double bcy = TwoDiff(b.y, c.y, bcyLo);

    const double left[2][2] = {{acx, acxLo}, {bcy, bcyLo}};
    const double right[2][2] = {{acy, acyLo}, {bcx, bcxLo}};
    double terms[16];
    int t = 0;
    for (int i = 0; i < 2; ++i) {
        for (int j = 0; j < 2; ++j) {
            double lo;
            const double hi = TwoProduct(left[0][i], left[1][j], lo);
            terms[t++] = hi;
            terms[t++] = lo;
            const double hi2 = TwoProduct(right[0][i], right[1][j], lo);
            terms[t++] = -hi2;
            terms[t++] = -lo;
        }
    }

    double expansion[17];
    int size = 0;
    for (double term : terms) {
        double q = term;
        int kept = 0;
        for (int i = 0; i < size; ++i) {
            double lo;
            q = TwoSum(q, expansion[i], lo);
            if (lo != 0.0)
                expansion[kept++] = lo;
        }
        if (q != 0.0)
            expansion[kept++] = q;
        size = kept;
    }
    if (size == 0)
        return 0;
    return expansion[size - 1] > 0.0 ? 1 : -1;
}

} // namespace

int eRelPointRegion::Orientation(const ePoint2D& a, const ePoint2D& b, const ePoint2D& c)
{
    // Fast path with a forward error bound; only near-collinear triples (whose
    // rounded determinant could have the wrong sign) take the exact path.
    constexpr double kEpsilon = 1.1102230246251565e-16; // 2^-53
    constexpr double kErrorBound = (3.0 + 16.0 * kEpsilon) * kEpsilon;
    const double detLeft = (a.x - c.x) * (b.y - c.y);
    const double detRight = (a.y - c.y) * (b.x - c.x);
    const double det = detLeft - detRight;
    double detSum;
    if (detLeft > 0.0) {
        if (detRight <= 0.0)
            return det > 0.0 ? 1 : (det < 0.0 ? -1 : 0);
        detSum = detLeft + detRight;
    } else if (detLeft < 0.0) {
        if (detRight >= 0.0)
            return det > 0.0 ? 1 : (det < 0.0 ? -1 : 0);
        detSum = -detLeft - detRight;
    } else {
        // A rounded difference is zero only when the operands are equal, and a
        // nonzero one keeps its sign, so det's sign is exact here.
        return det > 0.0 ? 1 : (det < 0.0 ? -1 : 0);
    }
    const double bound = kErrorBound * detSum;
    if (det >= bound && det != 0.0)
        return 1;
    if (-det >= bound && det != 0.0)
        return -1;
    return ExactOrientation(a, b, c);
}

bool eRelPointRegion::IsWithin(const ePoint2D& point, const ePoint2D* points, int count,
                               const eRect2D* rect, bool bBorderInside)
{
    if (!points || count < 3)
        return false;
    if (!std::isfinite(point.x) || !std::isfinite(point.y))
        return false;
    if (rect && !rect->Contains(point))
        return false;

    // Even-odd rule over a ray towards +x. An edge counts as crossing the ray
    // when exactly one of its ends lies strictly above the point, so a ray
    // through a vertex is counted once and horizontal edges never count.
    bool inside = false;
    const ePoint2D* a = &points[count - 1];
    for (int i = 0; i < count; ++i) {
        const ePoint2D& b = points[i];
        if (b == point)
            return bBorderInside; // a vertex (each vertex ends exactly one edge)
        const bool aAbove = a->y > point.y;
        const bool bAbove = b.y > point.y;
        if (aAbove != bAbove) {
            const int side = Orientation(*a, b, point);
            if (side == 0)
                return bBorderInside; // on the edge, inside its y range
            // Upward edge with the point on its left, or downward edge with
            // the point on its right: the edge passes right of the point.
            if ((side > 0) == bAbove)
                inside = !inside;
        } else if (a->y == point.y && b.y == point.y &&
                   point.x >= std::fmin(a->x, b.x) && point.x <= std::fmax(a->x, b.x)) {
            return bBorderInside; // on a horizontal edge
        }
        a = &b;
    }
    return inside;
}

} // namespace Kest
