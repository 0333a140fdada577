#include "Compiler/CountyLocator.h"

#include <algorithm>
#include <cmath>

namespace Kest {

namespace {
constexpr int kMaxCells = 256; // per side
}

CountyLocator::CountyLocator(const Gazetteer& gazetteer) : m_gazetteer(gazetteer)
{
    for (const Gazetteer::County& county : gazetteer.Counties()) {
        m_bounds.push_back(county.boundary.GetBound());
        const eRect2D& b = m_bounds.back();
        if (m_bounds.size() == 1)
            m_all = b;
        m_all = eRect2D(std::min(m_all.left, b.left), std::min(m_all.bottom, b.bottom), std::max(m_all.right, b.right),
                        std::max(m_all.top, b.top));
    }
    if (m_bounds.empty())
        return;
    m_columns = std::max(1, std::min(kMaxCells, static_cast<int>(std::ceil(m_all.Width() / 0.1))));
    m_rows = std::max(1, std::min(kMaxCells, static_cast<int>(std::ceil(m_all.Height() / 0.1))));
    m_cellWidth = m_all.Width() > 0 ? m_all.Width() / m_columns : 1;
    m_cellHeight = m_all.Height() > 0 ? m_all.Height() / m_rows : 1;
    m_cells.resize(static_cast<std::size_t>(m_columns) * static_cast<std::size_t>(m_rows));
    const auto cell = [](double v, double origin, double size, int count) {
        return std::clamp(static_cast<int>((v - origin) / size), 0, count - 1);
    };
    for (std::size_t c = 0; c < m_bounds.size(); ++c) {
        const eRect2D& b = m_bounds[c];
        for (int y = cell(b.bottom, m_all.bottom, m_cellHeight, m_rows); y <= cell(b.top, m_all.bottom, m_cellHeight, m_rows); ++y)
            for (int x = cell(b.left, m_all.left, m_cellWidth, m_columns);
                 x <= cell(b.right, m_all.left, m_cellWidth, m_columns); ++x)
                m_cells[static_cast<std::size_t>(y) * static_cast<std::size_t>(m_columns) + static_cast<std::size_t>(x)]
                    .push_back(static_cast<int>(c));
    }
}

bool CountyLocator::InBox(std::size_t county, double lon, double lat) const
{
    const eRect2D& box = m_bounds[county];
    return lon >= box.left && lon <= box.right && lat >= box.bottom && lat <= box.top;
}

bool CountyLocator::InRings(std::size_t county, double lon, double lat) const
{
    const eGeoRegion& region = m_gazetteer.Counties()[county].boundary;
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
    return inside;
}

int CountyLocator::Locate(double lon, double lat) const
{
    if (m_cells.empty() || !(lon >= m_all.left && lon <= m_all.right && lat >= m_all.bottom && lat <= m_all.top))
        return -1;
    const int x = std::min(m_columns - 1, static_cast<int>((lon - m_all.left) / m_cellWidth));
    const int y = std::min(m_rows - 1, static_cast<int>((lat - m_all.bottom) / m_cellHeight));
    for (int c : m_cells[static_cast<std::size_t>(y) * static_cast<std::size_t>(m_columns) + static_cast<std::size_t>(x)])
        if (InBox(static_cast<std::size_t>(c), lon, lat) && InRings(static_cast<std::size_t>(c), lon, lat))
            return c;
    return -1;
}

} // namespace Kest
