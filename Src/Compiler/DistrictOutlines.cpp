#include "Compiler/DistrictOutlines.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <memory>

#include <geos_c.h>

#include "Base/NdfFormat.h"
#include "Base/eSize2D.h"
#include "Ndf/eNdfRegion.h"

namespace Kest {
namespace {

// One GEOS context for one union, with its last message kept for the error.
class Context {
public:
    Context() : m_ctx(GEOS_init_r())
    {
        GEOSContext_setErrorMessageHandler_r(m_ctx, &Context::OnError, this);
        GEOSContext_setNoticeMessageHandler_r(m_ctx, &Context::OnNotice, this);
    }
    ~Context() { GEOS_finish_r(m_ctx); }
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    GEOSContextHandle_t Get() const { return m_ctx; }
    const std::string& Message() const { return m_message; }

private:
    static void OnError(const char* message, void* self)
    {
        static_cast<Context*>(self)->m_message = message ? message : "GEOS error";
    }
    static void OnNotice(const char*, void*) {}

    GEOSContextHandle_t m_ctx;
    std::string m_message;
};

struct GeomDeleter {
    GEOSContextHandle_t ctx;
    void operator()(GEOSGeometry* g) const
    {
        if (g)
            GEOSGeom_destroy_r(ctx, g);
    }
};
using Geom = std::unique_ptr<GEOSGeometry, GeomDeleter>;

GEOSGeometry* MakeRing(GEOSContextHandle_t ctx, const DistrictOutlines::Ring& ring)
{
    std::vector<double> xy;
    xy.reserve(2 * ring.size() + 2);
    for (const ePoint2D& p : ring) {
        xy.push_back(p.x);
        xy.push_back(p.y);
    }
    if (!ring.empty() && !(ring.front() == ring.back())) {
        xy.push_back(ring.front().x);
        xy.push_back(ring.front().y);
    }
    GEOSCoordSequence* seq =
        GEOSCoordSeq_copyFromBuffer_r(ctx, xy.data(), static_cast<unsigned int>(xy.size() / 2), 0, 0);
    return seq ? GEOSGeom_createLinearRing_r(ctx, seq) : nullptr;
}

GEOSGeometry* MakePolygon(GEOSContextHandle_t ctx, const DistrictOutlines::Polygon& polygon)
{
    if (polygon.empty() || polygon[0].size() < 3)
        return nullptr;
    GEOSGeometry* shell = MakeRing(ctx, polygon[0]);
    if (!shell)
        return nullptr;
    std::vector<GEOSGeometry*> holes;
    for (std::size_t i = 1; i < polygon.size(); ++i) {
        if (polygon[i].size() < 3)
            continue;
        if (GEOSGeometry* hole = MakeRing(ctx, polygon[i]))
            holes.push_back(hole);
    }
    return GEOSGeom_createPolygon_r(ctx, shell, holes.data(), static_cast<unsigned int>(holes.size()));
}

DistrictOutlines::Ring ReadRing(GEOSContextHandle_t ctx, const GEOSGeometry* ring)
{
    DistrictOutlines::Ring out;
    const GEOSCoordSequence* seq = GEOSGeom_getCoordSeq_r(ctx, ring);
    unsigned int size = 0;
    if (!seq || !GEOSCoordSeq_getSize_r(ctx, seq, &size))
        return out;
    for (unsigned int i = 0; i < size; ++i) {
        double x = 0, y = 0;
        GEOSCoordSeq_getXY_r(ctx, seq, i, &x, &y);
        out.emplace_back(x, y);
    }
    if (out.size() > 1 && out.front() == out.back())
        out.pop_back();
    return out;
}

// The polygons of a GEOS result (a polygon, a multipolygon or a collection).
void ReadPolygons(GEOSContextHandle_t ctx, const GEOSGeometry* geometry, std::vector<DistrictOutlines::Polygon>& out)
{
    const int type = GEOSGeomTypeId_r(ctx, geometry);
    if (type == GEOS_POLYGON) {
        DistrictOutlines::Polygon polygon;
        polygon.push_back(ReadRing(ctx, GEOSGetExteriorRing_r(ctx, geometry)));
        if (polygon[0].size() < 3)
            return;
        for (int h = 0; h < GEOSGetNumInteriorRings_r(ctx, geometry); ++h)
            polygon.push_back(ReadRing(ctx, GEOSGetInteriorRingN_r(ctx, geometry, h)));
        out.push_back(std::move(polygon));
    } else if (type == GEOS_MULTIPOLYGON || type == GEOS_GEOMETRYCOLLECTION) {
        for (int i = 0; i < GEOSGetNumGeometries_r(ctx, geometry); ++i)
            ReadPolygons(ctx, GEOSGetGeometryN_r(ctx, geometry, i), out);
    }
}

} // namespace

namespace {

int GeosPointCount(GEOSContextHandle_t ctx, const GEOSGeometry* g)
{
    const int n = GEOSGetNumCoordinates_r(ctx, g);
    return n < 0 ? 0 : n;
}

// A line of the district grid strictly between `low` and `high`, near their
// middle; false when they are less than a step apart.
bool GridCut(double low, double high, double unit, double& cut)
{
    cut = std::floor((low + high) / 2 / unit) * unit;
    return cut > low && cut < high;
}

// Cuts the polygons of `g` (valid) into pieces for `out`: a polygon with a
// hole is cut on a grid line through its first hole, which opens the hole
// into a notch of both halves, so that each piece's outer ring alone bounds
// it; a polygon of more than `maxPoints` points is cut across the longer
// side of its box. Again and again on the halves. A hole less than a grid
// step across cannot be cut open and stays a hole.
bool CutPieces(GEOSContextHandle_t ctx, const GEOSGeometry* g, std::size_t maxPoints,
               std::vector<DistrictOutlines::Polygon>& out)
{
    const int type = GEOSGeomTypeId_r(ctx, g);
    if (type == GEOS_MULTIPOLYGON || type == GEOS_GEOMETRYCOLLECTION) {
        for (int i = 0; i < GEOSGetNumGeometries_r(ctx, g); ++i)
            if (!CutPieces(ctx, GEOSGetGeometryN_r(ctx, g, i), maxPoints, out))
                return false;
        return true;
    }
    if (type != GEOS_POLYGON)
        return true; // lines and points left by a clip bound nothing
    eSize2D step;
    eNdfRegion::GridStep(eSize2D(NdfFormat::kDistrictScaleX, NdfFormat::kDistrictScaleY), NdfFormat::kDistrictUnits,
                         step);
    double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    if (!GEOSGeom_getXMin_r(ctx, g, &x0) || !GEOSGeom_getYMin_r(ctx, g, &y0) || !GEOSGeom_getXMax_r(ctx, g, &x1) ||
        !GEOSGeom_getYMax_r(ctx, g, &y1)) {
        ReadPolygons(ctx, g, out);
        return true;
    }
    bool alongX = false, found = false;
    double cut = 0;
    for (int h = 0; h < GEOSGetNumInteriorRings_r(ctx, g) && !found; ++h) {
        const GEOSGeometry* hole = GEOSGetInteriorRingN_r(ctx, g, h);
        double hx0 = 0, hy0 = 0, hx1 = 0, hy1 = 0;
        if (!GEOSGeom_getXMin_r(ctx, hole, &hx0) || !GEOSGeom_getYMin_r(ctx, hole, &hy0) ||
            !GEOSGeom_getXMax_r(ctx, hole, &hx1) || !GEOSGeom_getYMax_r(ctx, hole, &hy1))
            continue;
        // A line between a hole's least and greatest x crosses the hole.
        alongX = hx1 - hx0 >= hy1 - hy0;
        found = alongX ? GridCut(hx0, hx1, step.cx, cut) : GridCut(hy0, hy1, step.cy, cut);
        if (!found) {
            alongX = !alongX;
            found = alongX ? GridCut(hx0, hx1, step.cx, cut) : GridCut(hy0, hy1, step.cy, cut);
        }
    }
    if (!found && static_cast<std::size_t>(GeosPointCount(ctx, g)) > maxPoints) {
        alongX = x1 - x0 >= y1 - y0;
        found = alongX ? GridCut(x0, x1, step.cx, cut) : GridCut(y0, y1, step.cy, cut);
    }
    if (!found) {
        ReadPolygons(ctx, g, out);
        return true;
    }
    const double margin = 1.0;
    const double halves[2][4] = {
        {x0 - margin, y0 - margin, alongX ? cut : x1 + margin, alongX ? y1 + margin : cut},
        {alongX ? cut : x0 - margin, alongX ? y0 - margin : cut, x1 + margin, y1 + margin}};
    for (const auto& h : halves) {
        Geom piece(GEOSClipByRect_r(ctx, g, h[0], h[1], h[2], h[3]), GeomDeleter{ctx});
        if (!piece || !CutPieces(ctx, piece.get(), maxPoints, out))
            return false;
    }
    return true;
}

// A polygon as a valid GEOS geometry (made valid when it is not), or null.
GEOSGeometry* MakeValidPolygon(GEOSContextHandle_t ctx, const DistrictOutlines::Polygon& polygon)
{
    GEOSGeometry* g = MakePolygon(ctx, polygon);
    if (g != nullptr && GEOSisValid_r(ctx, g) != 1) {
        GEOSGeometry* valid = GEOSMakeValid_r(ctx, g);
        GEOSGeom_destroy_r(ctx, g);
        g = valid;
    }
    return g;
}

} // namespace

bool DistrictOutlines::Clip(const std::vector<Polygon>& polygons, const std::vector<Box>& cells,
                            std::size_t maxPoints, std::vector<std::vector<Polygon>>& out, std::string& error)
{
    out.assign(cells.size(), {});
    Context context;
    GEOSContextHandle_t ctx = context.Get();
    for (const Polygon& polygon : polygons) {
        if (polygon.empty() || polygon[0].size() < 3)
            continue;
        Geom whole(MakeValidPolygon(ctx, polygon), GeomDeleter{ctx});
        double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
        if (!whole || !GEOSGeom_getXMin_r(ctx, whole.get(), &x0) || !GEOSGeom_getYMin_r(ctx, whole.get(), &y0) ||
            !GEOSGeom_getXMax_r(ctx, whole.get(), &x1) || !GEOSGeom_getYMax_r(ctx, whole.get(), &y1)) {
            error = "GEOS cannot read a polygon: " + context.Message();
            return false;
        }
        for (std::size_t i = 0; i < cells.size(); ++i) {
            const Box& c = cells[i];
            if (c.x0 > x1 || c.x1 < x0 || c.y0 > y1 || c.y1 < y0)
                continue;
            Geom piece(GEOSClipByRect_r(ctx, whole.get(), c.x0, c.y0, c.x1, c.y1), GeomDeleter{ctx});
            if (!piece || !CutPieces(ctx, piece.get(), maxPoints, out[i])) {
                error = "GEOS cannot clip a polygon to a cell: " + context.Message();
                return false;
            }
        }
    }
    return true;
}

bool DistrictOutlines::Split(const Polygon& polygon, std::size_t maxPoints, std::vector<Polygon>& out,
                             std::string& error)
{
    std::size_t points = 0;
    for (const Ring& ring : polygon)
        points += ring.size();
    if ((points <= maxPoints && polygon.size() == 1) || polygon.empty() || polygon[0].size() < 3) {
        out.push_back(polygon);
        return true;
    }
    Context context;
    GEOSContextHandle_t ctx = context.Get();
    Geom whole(MakeValidPolygon(ctx, polygon), GeomDeleter{ctx});
    if (!whole || !CutPieces(ctx, whole.get(), maxPoints, out)) {
        error = "GEOS cannot cut a polygon into pieces: " + context.Message();
        return false;
    }
    return true;
}

double DistrictOutlines::RingArea(const Ring& ring)
{
    double twice = 0;
    for (std::size_t i = 0, n = ring.size(); i < n; ++i) {
        const ePoint2D& a = ring[i];
        const ePoint2D& b = ring[(i + 1) % n];
        twice += a.x * b.y - b.x * a.y;
    }
    return std::fabs(twice) / 2;
}

void DistrictOutlines::LargestFirst(std::vector<Polygon>& polygons)
{
    std::vector<std::pair<double, std::size_t>> order;
    for (std::size_t i = 0; i < polygons.size(); ++i)
        order.emplace_back(polygons[i].empty() ? 0.0 : RingArea(polygons[i][0]), i);
    std::stable_sort(order.begin(), order.end(),
                     [](const auto& a, const auto& b) { return a.first > b.first; });
    std::vector<Polygon> sorted;
    sorted.reserve(polygons.size());
    for (const auto& entry : order)
        sorted.push_back(std::move(polygons[entry.second]));
    polygons = std::move(sorted);
}

} // namespace Kest
