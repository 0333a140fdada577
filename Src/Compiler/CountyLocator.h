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
// A point on an edge may fall on either side.
class CountyLocator {
public:
    explicit CountyLocator(const Gazetteer& gazetteer);

    // The county index (into Gazetteer::Counties()) holding the point in
    // degrees, or -1 when no county does.
    int Locate(double lon, double lat) const;

private:
    const Gazetteer& m_gazetteer;
    std::vector<eRect2D> m_bounds; // by county
};

} // namespace Kest
