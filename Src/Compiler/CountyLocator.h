#pragma once

#include <vector>

#include "Base/eRect2D.h"
#include "Compiler/Gazetteer.h"

namespace Kest {

// Finds the county of a coordinate among the county boundaries of the
// gazetteer (districts.geojson), for sources that give a coordinate but no
// area: OpenStreetMap objects and CSV rows with empty province, city and
// county. A point lies in a county when it lies inside an odd number of its
// rings (outer rings and holes alike), tested against each county whose box
// holds it; where boundaries overlap, the first county in file order wins.
// A point on an edge may fall on either side. The boxes are bucketed in a
// grid of at most 256 x 256 cells over all counties, so that a point is
// tested against the few counties whose box meets its cell.
class CountyLocator {
public:
    explicit CountyLocator(const Gazetteer& gazetteer);

    // The county index (into Gazetteer::Counties()) holding the point in
    // degrees, or -1 when no county does.
    int Locate(double lon, double lat) const;

private:
    bool InBox(std::size_t county, double lon, double lat) const;
    bool InRings(std::size_t county, double lon, double lat) const;

    const Gazetteer& m_gazetteer;
    std::vector<eRect2D> m_bounds; // by county
    eRect2D m_all;                 // the box of every county
    int m_columns = 0, m_rows = 0;
    double m_cellWidth = 1, m_cellHeight = 1;
    std::vector<std::vector<int>> m_cells; // row-major: the counties whose box meets the cell, ascending
};

} // namespace Kest
