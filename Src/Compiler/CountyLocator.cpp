#include "Compiler/CountyLocator.h"

namespace Kest {

CountyLocator::CountyLocator(const Gazetteer& gazetteer) : m_gazetteer(gazetteer)
{
    for (const Gazetteer::County& county : gazetteer.Counties())
        m_bounds.push_back(county.boundary.GetBound());
}

int CountyLocator::Locate(double lon, double lat) const
{
    const auto& counties = m_gazetteer.Counties();
    for (std::size_t c = 0; c < counties.size(); ++c) {
        const eRect2D& box = m_bounds[c];
        if (lon < box.left || lon > box.right || lat < box.bottom || lat > box.top)
            continue;
        const eGeoRegion& region = counties[c].boundary;
        bool inside = false;
        for (int part = 0; part < region.GetPartCount(); ++part) {
            const ePoint2D* p = region.GetPoints(part);
            const int n = region.GetSubPntCount(part);
            // Crossing count of a ray to the east; the ring is closed from its
            // last point back to its first whether or not it repeats it.
            for (int i = 0, j = n - 1; i < n; j = i++) {
                if ((p[i].y > lat) != (p[j].y > lat) &&
                    lon < (p[j].x - p[i].x) * (lat - p[i].y) / (p[j].y - p[i].y) + p[i].x)
                    inside = !inside;
            }
        }
        if (inside)
            return static_cast<int>(c);
    }
    return -1;
}

} // namespace Kest
