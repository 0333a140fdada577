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

std::size_t PointCount(const DistrictOutlines::Polygon& polygon)
{
    std::size_t n = 0;
    for (const auto& ring : polygon)
        n += ring.size();
    return n;
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

bool DistrictOutlines::Split(const Polygon& polygon, std::size_t maxPoints, std::vector<Polygon>& out,
                             std::string& error)
{
    if (PointCount(polygon) <= maxPoints || polygon.empty() || polygon[0].size() < 3) {
        out.push_back(polygon);
        return true;
    }
    double x0 = polygon[0][0].x, x1 = x0, y0 = polygon[0][0].y, y1 = y0;
    for (const ePoint2D& p : polygon[0]) {
        x0 = std::min(x0, p.x), x1 = std::max(x1, p.x);
        y0 = std::min(y0, p.y), y1 = std::max(y1, p.y);
    }
    // The cut, on the district grid so that its vertices keep their place
    // when stored.
    eSize2D step;
    eNdfRegion::GridStep(eSize2D(NdfFormat::kDistrictScaleX, NdfFormat::kDistrictScaleY), NdfFormat::kDistrictUnits,
                         step);
    const bool alongX = x1 - x0 >= y1 - y0;
    const double unit = alongX ? step.cx : step.cy;
    const double cut = std::floor((alongX ? (x0 + x1) : (y0 + y1)) / 2 / unit) * unit;
    if (!(cut > (alongX ? x0 : y0) && cut < (alongX ? x1 : y1))) {
        out.push_back(polygon); // too thin to cut
        return true;
    }
    const double margin = 1.0;
    const double halves[2][4] = {
        {x0 - margin, y0 - margin, alongX ? cut : x1 + margin, alongX ? y1 + margin : cut},
        {alongX ? cut : x0 - margin, alongX ? y0 - margin : cut, x1 + margin, y1 + margin}};
    Context context;
    GEOSContextHandle_t ctx = context.Get();
    Geom whole(MakePolygon(ctx, polygon), GeomDeleter{ctx});
    if (whole && GEOSisValid_r(ctx, whole.get()) != 1)
        whole.reset(GEOSMakeValid_r(ctx, whole.get()));
    if (!whole) {
        error = "GEOS cannot read a polygon to cut: " + context.Message();
        return false;
    }
    for (const auto& h : halves) {
        Geom box(GEOSGeom_createRectangle_r(ctx, h[0], h[1], h[2], h[3]), GeomDeleter{ctx});
        Geom piece(box ? GEOSIntersection_r(ctx, whole.get(), box.get()) : nullptr, GeomDeleter{ctx});
        if (!piece) {
            error = "GEOS cannot cut a polygon: " + context.Message();
            return false;
        }
        std::vector<Polygon> pieces;
        ReadPolygons(ctx, piece.get(), pieces);
        for (const Polygon& p : pieces)
            if (!Split(p, maxPoints, out, error))
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

bool DistrictOutlines::Union(const std::vector<Polygon>& polygons, std::vector<Polygon>& out, std::string& error)
{
    out.clear();
    Context context;
    GEOSContextHandle_t ctx = context.Get();
    std::vector<GEOSGeometry*> parts;
    for (const Polygon& polygon : polygons) {
        GEOSGeometry* g = MakePolygon(ctx, polygon);
        if (!g)
            continue;
        if (GEOSisValid_r(ctx, g) != 1) {
            GEOSGeometry* valid = GEOSMakeValid_r(ctx, g);
            GEOSGeom_destroy_r(ctx, g);
            if (!valid)
                continue;
            g = valid;
        }
        parts.push_back(g);
    }
    // The collection takes the parts over.
    Geom collection(GEOSGeom_createCollection_r(ctx, GEOS_GEOMETRYCOLLECTION, parts.data(),
                                                static_cast<unsigned int>(parts.size())),
                    GeomDeleter{ctx});
    if (!collection) {
        for (GEOSGeometry* g : parts)
            GEOSGeom_destroy_r(ctx, g);
        error = "GEOS: " + context.Message();
        return false;
    }
    Geom united(GEOSUnaryUnion_r(ctx, collection.get()), GeomDeleter{ctx});
    if (!united) {
        error = "GEOS cannot unite the outlines: " + context.Message();
        return false;
    }
    // The union is a polygon, a multipolygon or (from made-valid lines and
    // points) a collection: take its polygons.
    std::vector<const GEOSGeometry*> found;
    const int n = GEOSGetNumGeometries_r(ctx, united.get());
    for (int i = 0; i < n; ++i) {
        const GEOSGeometry* g = GEOSGetGeometryN_r(ctx, united.get(), i);
        if (GEOSGeomTypeId_r(ctx, g) == GEOS_POLYGON) {
            found.push_back(g);
        } else if (GEOSGeomTypeId_r(ctx, g) == GEOS_MULTIPOLYGON) {
            for (int j = 0; j < GEOSGetNumGeometries_r(ctx, g); ++j)
                found.push_back(GEOSGetGeometryN_r(ctx, g, j));
        }
    }
    for (const GEOSGeometry* g : found) {
        Polygon polygon;
        polygon.push_back(ReadRing(ctx, GEOSGetExteriorRing_r(ctx, g)));
        if (polygon[0].size() < 3)
            continue;
        for (int h = 0; h < GEOSGetNumInteriorRings_r(ctx, g); ++h)
            polygon.push_back(ReadRing(ctx, GEOSGetInteriorRingN_r(ctx, g, h)));
        out.push_back(std::move(polygon));
    }
    LargestFirst(out);
    return true;
}

} // namespace Kest
