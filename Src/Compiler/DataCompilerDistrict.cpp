// The district index of a data directory: "POI/101.ndf" from the counties of
// districts.geojson (docs/format.md, "District index").

#include <algorithm>
#include <cmath>

#include "Base/NdfFormat.h"
#include "Base/eSize2D.h"
#include "Compiler/DataCompiler.h"
#include "Compiler/DistrictIndexWriter.h"
#include "Compiler/DistrictOutlines.h"
#include "Ndf/eNdfRegion.h"

namespace Kest {

namespace {

using Polygon = DistrictOutlines::Polygon;

// The most points a record's region holds: a larger piece is cut again
// (DistrictOutlines). A lookup decodes the whole region of every record
// whose box holds the point, so small pieces keep it quick, and a page
// (131072 bytes) holds any region of this size.
constexpr std::size_t kMaxRegionPoints = 256;
// The most cells on either axis of the tiling (see MakeTiling).
constexpr int kMaxCellsPerAxis = 1024;
// Cells on each side of an average county box.
constexpr double kCellsPerCounty = 2.0;
// Pages of about this size: a lookup reads one range of each level, so a
// page that misses the pool costs a read of this size.
constexpr std::uint32_t kDistrictPageSize = 4096;

// A county's polygons (outer ring, then holes), largest first.
std::vector<Polygon> CountyPolygons(const Gazetteer::County& county)
{
    std::vector<Polygon> polygons;
    const int parts = county.boundary.GetPartCount();
    for (std::size_t i = 0; i < county.polygons.size(); ++i) {
        const int end = i + 1 < county.polygons.size() ? county.polygons[i + 1] : parts;
        Polygon polygon;
        for (int part = county.polygons[i]; part < end; ++part) {
            const ePoint2D* points = county.boundary.GetPoints(part);
            polygon.emplace_back(points, points + county.boundary.GetSubPntCount(part));
        }
        polygons.push_back(std::move(polygon));
    }
    DistrictOutlines::LargestFirst(polygons);
    return polygons;
}

using Box = DistrictOutlines::Box;

// An area whose region is the rectangle `box`.
DistrictIndexWriter::Area BoxArea(const Box& box, int children)
{
    DistrictIndexWriter::Area area;
    area.parts.push_back({{box.x0, box.y0}, {box.x1, box.y0}, {box.x1, box.y1}, {box.x0, box.y1}});
    area.children = children;
    return area;
}

// The tiling of the counties' extent: `blocks` x `blocks` blocks of `cells`
// x `cells` cells on each axis, every side on a line of the district grid.
struct Tiling {
    double x0 = 0, y0 = 0;        // least corner
    double cellW = 0, cellH = 0;  // one cell
    int blocksX = 1, blocksY = 1; // blocks on each axis
    int cellsX = 1, cellsY = 1;   // cells of a block on each axis

    int ColumnsTotal() const { return blocksX * cellsX; }
    int RowsTotal() const { return blocksY * cellsY; }
    Box Cell(int column, int row) const { return Span(column, column + 1, row, row + 1); }
    Box Span(int column0, int column1, int row0, int row1) const
    {
        return {x0 + column0 * cellW, y0 + row0 * cellH, x0 + column1 * cellW, y0 + row1 * cellH};
    }
};

// Cells about half a county's box on each side, so that a county lies in a
// few cells and a cell holds a few counties' pieces; blocks of about the
// square root of the cells on each axis, so that both upper levels scan a
// short range.
Tiling MakeTiling(const std::vector<std::vector<Polygon>>& counties)
{
    double x0 = 0, y0 = 0, x1 = 0, y1 = 0, width = 0, height = 0;
    bool first = true;
    std::size_t boxes = 0;
    for (const auto& polygons : counties) {
        double cx0 = 0, cy0 = 0, cx1 = 0, cy1 = 0;
        bool any = false;
        for (const Polygon& polygon : polygons)
            for (const ePoint2D& p : polygon.empty() ? DistrictOutlines::Ring() : polygon[0]) {
                cx0 = any ? std::min(cx0, p.x) : p.x;
                cx1 = any ? std::max(cx1, p.x) : p.x;
                cy0 = any ? std::min(cy0, p.y) : p.y;
                cy1 = any ? std::max(cy1, p.y) : p.y;
                any = true;
            }
        if (!any)
            continue;
        x0 = first ? cx0 : std::min(x0, cx0);
        y0 = first ? cy0 : std::min(y0, cy0);
        x1 = first ? cx1 : std::max(x1, cx1);
        y1 = first ? cy1 : std::max(y1, cy1);
        width += cx1 - cx0;
        height += cy1 - cy0;
        ++boxes;
        first = false;
    }
    eSize2D step;
    eNdfRegion::GridStep(eSize2D(NdfFormat::kDistrictScaleX, NdfFormat::kDistrictScaleY), NdfFormat::kDistrictUnits,
                         step);
    Tiling t;
    t.x0 = std::floor(x0 / step.cx) * step.cx;
    t.y0 = std::floor(y0 / step.cy) * step.cy;
    auto axis = [](double extent, double countySide, double unit, double& cell, int& blocks, int& cells) {
        const double steps = std::max(1.0, std::ceil(countySide / kCellsPerCounty / unit));
        const double total = std::max(1.0, std::ceil(extent / unit / steps));
        // At most kMaxCellsPerAxis cells on an axis: a few very large counties
        // make the cells larger, not the index.
        const double capped = std::min(total, static_cast<double>(kMaxCellsPerAxis));
        const double cellSteps = std::ceil(extent / unit / capped);
        cell = std::max(1.0, cellSteps) * unit;
        const int n = static_cast<int>(std::ceil(extent / cell)) + 1;
        blocks = std::max(1, static_cast<int>(std::ceil(std::sqrt(static_cast<double>(n)))));
        cells = std::max(1, (n + blocks - 1) / blocks);
    };
    const double n = std::max<std::size_t>(boxes, 1);
    axis(x1 - t.x0, width / n, step.cx, t.cellW, t.blocksX, t.cellsX);
    axis(y1 - t.y0, height / n, step.cy, t.cellH, t.blocksY, t.cellsY);
    return t;
}

} // namespace

// Three levels, all the compiler's choice of tiling (the reader takes the
// first record of a range whose box and outer ring hold the point, and
// never goes back): blocks, rectangles over the counties' extent; cells,
// rectangles tiling a block; and the counties' pieces in each cell, their
// polygons clipped to the cell and cut so that no piece has a hole, in
// gazetteer order (a county's polygons largest first). A point lies in a
// block and a cell of it, so the lookup never takes a wrong turn above the
// counties, and it decodes only the small pieces of one cell. Blocks and
// cells without any county are left out.
bool DataCompiler::WriteDistrict(const std::string& dir)
{
    const auto& counties = m_gazetteer.Counties();
    if (!Phase("writing the district index (" + std::to_string(counties.size()) + " counties)"))
        return false;
    std::vector<std::vector<Polygon>> polygons;
    polygons.reserve(counties.size());
    for (const Gazetteer::County& county : counties)
        polygons.push_back(CountyPolygons(county));
    const Tiling t = MakeTiling(polygons);
    const int columns = t.ColumnsTotal(), rows = t.RowsTotal();

    // Each cell's pieces, county after county.
    std::vector<DistrictIndexWriter::Range> cells(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows));
    std::string error;
    for (std::size_t k = 0; k < counties.size(); ++k) {
        if (Cancelled())
            return Fail("interrupted");
        double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
        bool any = false;
        for (const Polygon& polygon : polygons[k])
            for (const ePoint2D& p : polygon.empty() ? DistrictOutlines::Ring() : polygon[0]) {
                x0 = any ? std::min(x0, p.x) : p.x;
                x1 = any ? std::max(x1, p.x) : p.x;
                y0 = any ? std::min(y0, p.y) : p.y;
                y1 = any ? std::max(y1, p.y) : p.y;
                any = true;
            }
        if (!any)
            continue;
        auto index = [](double v, double origin, double size, int count) {
            return std::clamp(static_cast<int>(std::floor((v - origin) / size)), 0, count - 1);
        };
        const int c0 = index(x0, t.x0, t.cellW, columns), c1 = index(x1, t.x0, t.cellW, columns);
        const int r0 = index(y0, t.y0, t.cellH, rows), r1 = index(y1, t.y0, t.cellH, rows);
        std::vector<Box> boxes;
        std::vector<std::size_t> at;
        for (int r = r0; r <= r1; ++r)
            for (int c = c0; c <= c1; ++c) {
                boxes.push_back(t.Cell(c, r));
                at.push_back(static_cast<std::size_t>(r) * static_cast<std::size_t>(columns) +
                             static_cast<std::size_t>(c));
            }
        std::vector<std::vector<Polygon>> pieces;
        if (!DistrictOutlines::Clip(polygons[k], boxes, kMaxRegionPoints, pieces, error))
            return Fail("districts.geojson: county " + counties[k].name + ": " + error);
        for (std::size_t i = 0; i < boxes.size(); ++i)
            for (Polygon& piece : pieces[i]) {
                DistrictIndexWriter::Area area;
                area.parts = std::move(piece);
                area.code = counties[k].number;
                cells[at[i]].push_back(std::move(area));
            }
    }

    // Blocks, and the cells of a block, go busiest first (most pieces, then
    // row order): a lookup scans its range up to the first rectangle that
    // holds the point, and busy places are where the points are. The
    // rectangles do not overlap but at their sides, so the order changes
    // an answer only for a point on a side shared with a county border.
    DistrictIndexWriter writer(NdfFormat::kDistrictFileId, kDistrictPageSize);
    struct Busy {
        DistrictIndexWriter::Area area;
        std::size_t pieces;
    };
    auto busiestFirst = [](std::vector<Busy>& list) {
        std::stable_sort(list.begin(), list.end(), [](const Busy& a, const Busy& b) { return a.pieces > b.pieces; });
        DistrictIndexWriter::Range range;
        for (Busy& b : list)
            range.push_back(std::move(b.area));
        return range;
    };
    std::vector<Busy> blocks;
    for (int br = 0; br < t.blocksY; ++br)
        for (int bc = 0; bc < t.blocksX; ++bc) {
            std::vector<Busy> blockCells;
            std::size_t blockPieces = 0;
            for (int r = br * t.cellsY; r < (br + 1) * t.cellsY; ++r)
                for (int c = bc * t.cellsX; c < (bc + 1) * t.cellsX; ++c) {
                    auto& pieces = cells[static_cast<std::size_t>(r) * static_cast<std::size_t>(columns) +
                                         static_cast<std::size_t>(c)];
                    if (pieces.empty())
                        continue;
                    const std::size_t n = pieces.size();
                    blockPieces += n;
                    blockCells.push_back({BoxArea(t.Cell(c, r), writer.AddRange(3, std::move(pieces))), n});
                }
            if (!blockCells.empty())
                blocks.push_back(
                    {BoxArea(t.Span(bc * t.cellsX, (bc + 1) * t.cellsX, br * t.cellsY, (br + 1) * t.cellsY),
                             writer.AddRange(2, busiestFirst(blockCells))),
                     blockPieces});
        }
    DistrictIndexWriter::Range top = busiestFirst(blocks);
    writer.AddRange(1, std::move(top));
    const std::string path = dir + std::to_string(NdfFormat::kDistrictFileId) + ".ndf";
    if (!writer.Write(path))
        return Fail(path + ": " + writer.GetError());
    return true;
}

} // namespace Kest
