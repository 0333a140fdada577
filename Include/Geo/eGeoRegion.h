#pragma once

#include <vector>

#include "Base/ePoint2D.h"
#include "Base/eRect2D.h"

namespace Kest {

// A region made of one or more polygon parts: the outer boundary first, then
// its islands or holes, each part a ring of points in map coordinates. A ring
// may or may not repeat its first point at the end; readers close it anyway.
class eGeoRegion {
public:
    eGeoRegion() = default;

    int GetPartCount() const { return static_cast<int>(m_partStart.size()); }
    // Points of all parts together.
    int GetPointCount() const { return static_cast<int>(m_points.size()); }

    // Number of points of part `part`; 0 for a part that does not exist.
    int GetSubPntCount(int part) const;
    // The points of part `part`, GetSubPntCount(part) of them; null for a part
    // that does not exist or has no points. Valid until the region changes.
    const ePoint2D* GetPoints(int part) const;

    // Appends a part made of `count` points copied from `points` (a part with
    // no points when `count` <= 0 or `points` is null); returns its number.
    int AddPart(const ePoint2D* points, int count);
    int AddPart(const std::vector<ePoint2D>& points);
    // Appends one point to the last part (a first part is opened if needed).
    void AddPoint(const ePoint2D& point);

    // The smallest rectangle holding every point; all zero without points.
    eRect2D GetBound() const;

    void RemoveAll();

private:
    std::vector<ePoint2D> m_points;  // every part's points, one after the other
    std::vector<int> m_partStart;    // index in m_points of each part's first point
};

} // namespace Kest
