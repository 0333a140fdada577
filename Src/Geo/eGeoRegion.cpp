#include "Geo/eGeoRegion.h"

namespace Kest {

int eGeoRegion::GetSubPntCount(int part) const
{
    if (part < 0 || part >= GetPartCount())
        return 0;
    const int end = part + 1 < GetPartCount() ? m_partStart[part + 1] : GetPointCount();
    return end - m_partStart[part];
}

const ePoint2D* eGeoRegion::GetPoints(int part) const
{
    if (GetSubPntCount(part) == 0)
        return nullptr;
    return m_points.data() + m_partStart[part];
}

int eGeoRegion::AddPart(const ePoint2D* points, int count)
{
    m_partStart.push_back(GetPointCount());
    if (points && count > 0)
        m_points.insert(m_points.end(), points, points + count);
    return GetPartCount() - 1;
}

int eGeoRegion::AddPart(const std::vector<ePoint2D>& points)
{
    return AddPart(points.data(), static_cast<int>(points.size()));
}

void eGeoRegion::AddPoint(const ePoint2D& point)
{
    if (m_partStart.empty())
        m_partStart.push_back(0);
    m_points.push_back(point);
}

eRect2D eGeoRegion::GetBound() const
{
    if (m_points.empty())
        return eRect2D();
    eRect2D bound(m_points[0].x, m_points[0].y, m_points[0].x, m_points[0].y);
    for (const ePoint2D& p : m_points)
        bound.Extend(p);
    return bound;
}

void eGeoRegion::RemoveAll()
{
    m_points.clear();
    m_partStart.clear();
}

} // namespace Kest
