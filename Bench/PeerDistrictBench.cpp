// The district lookup beside the two plain alternatives a developer would
// write, on the same counties and the same points.
//
// Usage: PeerDistrictBench [OUT]   (OUT: a data directory compiled by poi
// build from OUT/../src; default POI_BENCH_DATA).
//
// - The engine: eNdfIndexDistrict on OUT/POI/101.ndf with a 1 MB page pool.
// - SQLite: an R*Tree over the box of every county polygon, built once in
//   OUT/../peer-district.sqlite, and the same point-in-polygon test as the
//   engine's (eRelPointRegion::IsWithin) over the source polygons held in
//   memory: the candidates in the order of the file, the first that holds
//   the point.
// - GEOS: an STRtree over the county polygons, each prepared once; the
//   candidates in the order of the file, the first that a prepared
//   `intersects` gives (the border inside).
// 100,000 points, each uniform in the box of a random county polygon (so
// mostly inside a county, some outside or in a neighbour), are asked of
// all three in turn, point by point, after a warm pass of 2,000. Prints the
// median and p99 of each, the ratios, and how many points each side found
// in a county and how many answers agree with the engine's.
//
// A benchmark, not a test: `make test` does not run it.

#include <sqlite3.h>
#include <geos_c.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "Base/NdfFormat.h"
#include "Compiler/Gazetteer.h"
#include "Geo/eRelPointRegion.h"
#include "Ndf/eNdfPool.h"
#include "POIEngine/eNdfIndexDistrict.h"
#include "PeerSupport.h"

using namespace Kest;
using namespace KestBench;
namespace fs = std::filesystem;

namespace {

constexpr int kPoints = 100000;
constexpr int kWarm = 2000;

// One outer ring of a county polygon, in file order.
struct Polygon {
    unsigned int code;
    std::vector<ePoint2D> ring;
    double minX, maxX, minY, maxY;
};

std::vector<Polygon> ReadPolygons(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    Gazetteer gazetteer;
    std::string error;
    if (!in || !gazetteer.Parse(text.str(), error))
        Die(path + ": " + (error.empty() ? "cannot read" : error));
    std::vector<Polygon> polygons;
    for (const Gazetteer::County& c : gazetteer.Counties())
        for (int start : c.polygons) {
            Polygon p{c.number, {}, 0, 0, 0, 0};
            const ePoint2D* points = c.boundary.GetPoints(start);
            p.ring.assign(points, points + c.boundary.GetSubPntCount(start));
            p.minX = p.maxX = p.ring[0].x;
            p.minY = p.maxY = p.ring[0].y;
            for (const ePoint2D& q : p.ring) {
                p.minX = std::min(p.minX, q.x), p.maxX = std::max(p.maxX, q.x);
                p.minY = std::min(p.minY, q.y), p.maxY = std::max(p.maxY, q.y);
            }
            polygons.push_back(std::move(p));
        }
    return polygons;
}

double Percentile(std::vector<double> v, double q)
{
    std::sort(v.begin(), v.end());
    return v[std::min(v.size() - 1, static_cast<std::size_t>(q * static_cast<double>(v.size())))];
}

struct Side {
    const char* name;
    std::vector<double> times;
    int found = 0, agree = 0;
};

} // namespace

int main(int argc, char** argv)
{
    const char* env = std::getenv("POI_BENCH_DATA");
    const std::string out = argc > 1 ? argv[1] : env ? env : "";
    if (out.empty())
        Die("usage: PeerDistrictBench OUT (or set POI_BENCH_DATA)");
    const std::string parent = fs::path(out).lexically_normal().parent_path().string();
    const std::vector<Polygon> polygons = ReadPolygons(parent + "/src/districts.geojson");

    // The engine.
    const std::string poiDir = out + "/POI/";
    unsigned char header[NdfFormat::kIndexHeaderSize];
    std::ifstream file(poiDir + std::to_string(NdfFormat::kDistrictFileId) + ".ndf", std::ios::binary);
    if (!file.read(reinterpret_cast<char*>(header), sizeof header))
        Die(poiDir + "101.ndf: cannot read its header (build OUT with poi build)");
    ueglobal_addr_t root{};
    std::int32_t count = 0;
    std::memcpy(&root, header, 8);
    std::memcpy(&count, header + 8, 4);
    eNdfPool pool;
    pool.SetSize(1048576);
    pool.SetDataPath(eString(poiDir.c_str()));
    eNdfIndexDistrict index;
    index.SetGID(root);
    index.SetDepth(count);
    index.SetDataPath(eString(poiDir.c_str()));
    index.SetPool(&pool);

    // SQLite: the R*Tree of polygon boxes, built once.
    const std::string dbPath = parent + "/peer-district.sqlite";
    const bool fresh = !fs::exists(dbPath);
    sqlite3* db = nullptr;
    if (sqlite3_open(dbPath.c_str(), &db) != SQLITE_OK)
        Die("cannot open " + dbPath);
    if (fresh) {
        Exec(db, "CREATE VIRTUAL TABLE box USING rtree(id, minx, maxx, miny, maxy)");
        Exec(db, "BEGIN");
        sqlite3_stmt* insert = Prepare(db, "INSERT INTO box VALUES (?, ?, ?, ?, ?)");
        for (std::size_t i = 0; i < polygons.size(); ++i) {
            sqlite3_bind_int64(insert, 1, static_cast<sqlite3_int64>(i));
            sqlite3_bind_double(insert, 2, polygons[i].minX);
            sqlite3_bind_double(insert, 3, polygons[i].maxX);
            sqlite3_bind_double(insert, 4, polygons[i].minY);
            sqlite3_bind_double(insert, 5, polygons[i].maxY);
            Step(db, insert);
        }
        sqlite3_finalize(insert);
        Exec(db, "COMMIT");
    }
    // The R*Tree stores 32-bit floats, rounded outwards: the exact test below decides.
    sqlite3_stmt* query =
        Prepare(db, "SELECT id FROM box WHERE minx <= ?1 AND maxx >= ?1 AND miny <= ?2 AND maxy >= ?2 ORDER BY id");

    // GEOS: prepared polygons in an STRtree.
    GEOSContextHandle_t ctx = GEOS_init_r();
    std::vector<GEOSGeometry*> geoms;
    std::vector<const GEOSPreparedGeometry*> prepared;
    GEOSSTRtree* tree = GEOSSTRtree_create_r(ctx, 10);
    std::vector<std::size_t> ids(polygons.size());
    for (std::size_t i = 0; i < polygons.size(); ++i) {
        std::vector<double> xy;
        for (const ePoint2D& p : polygons[i].ring)
            xy.insert(xy.end(), {p.x, p.y});
        if (!(polygons[i].ring.front() == polygons[i].ring.back()))
            xy.insert(xy.end(), {polygons[i].ring[0].x, polygons[i].ring[0].y});
        GEOSCoordSequence* seq =
            GEOSCoordSeq_copyFromBuffer_r(ctx, xy.data(), static_cast<unsigned int>(xy.size() / 2), 0, 0);
        GEOSGeometry* g = GEOSGeom_createPolygon_r(ctx, GEOSGeom_createLinearRing_r(ctx, seq), nullptr, 0);
        geoms.push_back(g);
        prepared.push_back(GEOSPrepare_r(ctx, g));
        ids[i] = i;
        GEOSSTRtree_insert_r(ctx, tree, g, &ids[i]);
    }

    std::mt19937 rng(101);
    std::vector<ePoint2D> points;
    for (int i = 0; i < kPoints + kWarm; ++i) {
        const Polygon& p = polygons[rng() % polygons.size()];
        points.emplace_back(std::uniform_real_distribution<double>(p.minX, p.maxX)(rng),
                            std::uniform_real_distribution<double>(p.minY, p.maxY)(rng));
    }

    Side sides[3] = {{"engine", {}}, {"SQLite R*Tree + IsWithin", {}}, {"GEOS STRtree + prepared", {}}};
    std::vector<std::size_t> candidates;
    for (int i = 0; i < kPoints + kWarm; ++i) {
        const ePoint2D& pt = points[static_cast<std::size_t>(i)];
        unsigned int answers[3] = {0, 0, 0};

        auto start = Clock::now();
        index.Query(pt.x, pt.y, answers[0]);
        const double engineUs = Micros(start);

        start = Clock::now();
        sqlite3_bind_double(query, 1, pt.x);
        sqlite3_bind_double(query, 2, pt.y);
        while (sqlite3_step(query) == SQLITE_ROW) {
            const Polygon& p = polygons[static_cast<std::size_t>(sqlite3_column_int64(query, 0))];
            if (eRelPointRegion::IsWithin(pt, p.ring.data(), static_cast<int>(p.ring.size()), nullptr, true)) {
                answers[1] = p.code;
                break;
            }
        }
        sqlite3_reset(query);
        const double sqliteUs = Micros(start);

        start = Clock::now();
        GEOSGeometry* point = GEOSGeom_createPointFromXY_r(ctx, pt.x, pt.y);
        candidates.clear();
        GEOSSTRtree_query_r(
            ctx, tree, point,
            [](void* item, void* userdata) {
                static_cast<std::vector<std::size_t>*>(userdata)->push_back(*static_cast<std::size_t*>(item));
            },
            &candidates);
        std::sort(candidates.begin(), candidates.end());
        for (std::size_t c : candidates)
            if (GEOSPreparedIntersects_r(ctx, prepared[c], point) == 1) {
                answers[2] = polygons[c].code;
                break;
            }
        GEOSGeom_destroy_r(ctx, point);
        const double geosUs = Micros(start);

        if (i < kWarm)
            continue;
        const double times[3] = {engineUs, sqliteUs, geosUs};
        for (int s = 0; s < 3; ++s) {
            sides[s].times.push_back(times[s]);
            sides[s].found += answers[s] != 0;
            sides[s].agree += answers[s] == answers[0];
        }
    }

    std::printf("district lookup, %d points over %zu county polygons (%s)\n\n", kPoints, polygons.size(), out.c_str());
    std::printf("| side | median | p99 | engine faster (median) | in a county | same county as the engine |\n");
    std::printf("|---|---|---|---|---|---|\n");
    const double engineMedian = Percentile(sides[0].times, 0.5);
    for (const Side& s : sides) {
        const double median = Percentile(s.times, 0.5);
        std::printf("| %s | %s | %s | %s | %d | %d |\n", s.name, Us(median).c_str(), Us(Percentile(s.times, 0.99)).c_str(),
                    Ratio(median, engineMedian).c_str(), s.found, s.agree);
    }
    if (!pool.GetDamage().IsEmpty())
        Die(std::string("damaged data: ") + pool.GetDamage().Cstr());

    sqlite3_finalize(query);
    sqlite3_close(db);
    GEOSSTRtree_destroy_r(ctx, tree);
    for (std::size_t i = 0; i < geoms.size(); ++i) {
        GEOSPreparedGeom_destroy_r(ctx, prepared[i]);
        GEOSGeom_destroy_r(ctx, geoms[i]);
    }
    GEOS_finish_r(ctx);
    return 0;
}
