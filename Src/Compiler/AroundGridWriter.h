#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Base/ueglobal_addr_t.h"

namespace Kest {

// Collects POIs (coordinates, category code, the data address of their
// record in the POI store) and writes the around grid "POIAround.ndf" that
// eNdfQueryAround reads (docs/format.md, "Around grid"): 800 columns and at
// most 800 rows over the bounding box of the POIs, every POI in the cell the
// reader computes for its coordinates, each cell's POIs sorted by x. The
// bytes depend only on the POIs, not on the order they were added in.
class AroundGridWriter {
public:
    // The grid over a bounding box, in degrees.
    struct Geometry {
        double minX = 0, minY = 0, maxX = 0, maxY = 0;
        double cellWidth = 0, cellHeight = 0;
        int rows = 1;
        // The cell of a coordinate inside the box, as the reader numbers it.
        int Cell(std::uint32_t x, std::int32_t y) const;
    };

    struct Poi {
        std::uint32_t x = 0; // millionths of a degree
        std::int32_t y = 0;  // millionths of a degree
        std::int32_t code = 0;
        ueglobal_addr_t addr{};
    };

    void Add(std::uint32_t x, std::int32_t y, std::int32_t code, const ueglobal_addr_t& addr);

    // The grid over the box of the given millionths of a degree: cells of at
    // least NdfFormat::kAroundMinCellSize, the largest coordinates in column
    // and row 799 at most.
    static Geometry ChooseGeometry(std::uint32_t minX, std::int32_t minY, std::uint32_t maxX, std::int32_t maxY);
    // The grid over the POIs added (a one-row grid at 0, 0 without any).
    Geometry GetGeometry() const;

    // The whole file. False, with `error`, when it would pass the 4 GB its
    // 32-bit offsets reach.
    bool Bytes(std::string& out, std::string* error = nullptr) const;
    // Writes Bytes() to `path`. False, with `error`, when it cannot.
    bool WriteFile(const std::string& path, std::string* error = nullptr) const;

private:
    std::vector<Poi> m_pois;
};

} // namespace Kest
