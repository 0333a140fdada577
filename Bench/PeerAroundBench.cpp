// The around and nearest searches beside SQLite's R*Tree, on the same rows
// and the same points.
//
// Usage: PeerAroundBench OUT   (OUT: a data directory compiled by poi build
// from OUT/../src). Without an argument it reads POI_BENCH_DATA.
//
// It builds OUT/../peer-around.sqlite once (again when missing): the rows of
// pois.csv with their county as the area, and an R*Tree over the
// coordinates. Then, with a fixed seed, it draws points near real POIs and
// runs, alternating engine and SQLite query by query after a warm pass:
// - around 1 km: the engine's QueryByAround with 1 km turned into units at
//   the point's latitude (east-west, as `poi search around 1km` does), every
//   category; SQLite a box of the same half-side and the same planar
//   distance in degrees, ORDER BY distance LIMIT 10;
// - nearest: the engine's QueryNearestPOI; SQLite a growing box (500, 2000,
//   8000 units) until one holds a POI within its radius, ORDER BY distance
//   LIMIT 10.
// Both sides read the first 10 hits' name, coordinates and area. It prints
// one Markdown table: median, p99, their ratios and the hits read.
//
// A benchmark, not a test: it checks nothing beyond "both sides found
// something", and `make test` does not run it.
#include <sqlite3.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "PeerSupport.h"
#include "POIEngine/ePOIEngineManager.h"

using namespace Kest;
using namespace KestBench;
namespace fs = std::filesystem;

namespace {

constexpr int kHitsRead = 10;
constexpr int kQueries = 4000;

void BuildPeer(const std::string& out, const std::string& path)
{
    std::vector<PoiRow> rows;
    if (!ReadPoiRows(out + "/../src/pois.csv", rows))
        Die("cannot read " + out + "/../src/pois.csv");
    const std::string partial = path + ".partial";
    fs::remove(partial);
    sqlite3* db = nullptr;
    if (sqlite3_open(partial.c_str(), &db) != SQLITE_OK)
        Die("cannot create " + partial);
    Exec(db, "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF; PRAGMA cache_size=-262144;");
    Exec(db, "CREATE TABLE poi(id INTEGER PRIMARY KEY, name TEXT NOT NULL, lon REAL NOT NULL, lat REAL NOT NULL,"
             " category INTEGER, area TEXT)");
    Exec(db, "CREATE VIRTUAL TABLE poi_box USING rtree(id, min_lon, max_lon, min_lat, max_lat)");
    Exec(db, "BEGIN");
    sqlite3_stmt* poi = Prepare(db, "INSERT INTO poi VALUES(?1,?2,?3,?4,?5,?6)");
    sqlite3_stmt* box = Prepare(db, "INSERT INTO poi_box VALUES(?1,?2,?2,?3,?3)");
    long long id = 0;
    for (const PoiRow& r : rows) {
        ++id;
        sqlite3_bind_int64(poi, 1, id);
        sqlite3_bind_text(poi, 2, r.name.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_double(poi, 3, r.lon);
        sqlite3_bind_double(poi, 4, r.lat);
        sqlite3_bind_int64(poi, 5, std::atoll(r.category.c_str()));
        const std::string area = r.province + r.city + r.county;
        sqlite3_bind_text(poi, 6, area.c_str(), -1, SQLITE_TRANSIENT);
        Step(db, poi);
        sqlite3_bind_int64(box, 1, id);
        sqlite3_bind_double(box, 2, r.lon);
        sqlite3_bind_double(box, 3, r.lat);
        Step(db, box);
    }
    sqlite3_finalize(poi);
    sqlite3_finalize(box);
    Exec(db, "COMMIT");
    sqlite3_close(db);
    fs::rename(partial, path);
}

struct Point {
    double x, y, units; // units: 1 km east-west at the point's latitude
};

// SQLite: the POIs of the box around (x, y) with half-side r degrees whose
// planar distance is within r, nearest first, the first 10 read.
int SqliteBox(sqlite3_stmt* st, double x, double y, double r)
{
    sqlite3_bind_double(st, 1, x);
    sqlite3_bind_double(st, 2, y);
    sqlite3_bind_double(st, 3, r);
    int read = 0;
    while (sqlite3_step(st) == SQLITE_ROW) {
        const unsigned char* name = sqlite3_column_text(st, 0);
        const double lon = sqlite3_column_double(st, 1), lat = sqlite3_column_double(st, 2);
        const unsigned char* area = sqlite3_column_text(st, 3);
        read += name != nullptr && area != nullptr && lon + lat != 0;
    }
    sqlite3_reset(st);
    return read;
}

int EngineHits(ePOIEngineManager& engine)
{
    const int count = engine.GetPOICount(0);
    int read = 0;
    for (int i = 0; i < count && i < kHitsRead; ++i) {
        ePoiInfo info{};
        read += engine.GetPOIInfo(0, i, info) ? 1 : 0;
    }
    return read;
}

struct Sample {
    std::vector<double> engine, peer;
    long long engineHits = 0, peerHits = 0;
};

void Row(const char* what, const Sample& s)
{
    const double em = Percentile(s.engine, 0.5), pm = Percentile(s.peer, 0.5);
    const double e99 = Percentile(s.engine, 0.99), p99 = Percentile(s.peer, 0.99);
    std::printf("| %s | %s | %s | %s | %s | %s | %s | %.2f / %.2f |\n", what, Us(em).c_str(), Us(e99).c_str(),
                Us(pm).c_str(), Us(p99).c_str(), Ratio(pm, em).c_str(), Ratio(p99, e99).c_str(),
                static_cast<double>(s.engineHits) / static_cast<double>(s.engine.size()),
                static_cast<double>(s.peerHits) / static_cast<double>(s.peer.size()));
}

} // namespace

int main(int argc, char** argv)
{
    const char* env = std::getenv("POI_BENCH_DATA");
    const std::string out = argc > 1 ? argv[1] : env != nullptr ? env : "";
    if (out.empty())
        Die("usage: PeerAroundBench OUT (or set POI_BENCH_DATA)");
    const std::string path = out + "/../peer-around.sqlite";
    if (!fs::exists(path))
        BuildPeer(out, path);

    std::vector<PoiRow> rows;
    if (!ReadPoiRows(out + "/../src/pois.csv", rows) || rows.empty())
        Die("cannot read " + out + "/../src/pois.csv");
    std::mt19937 rng(20261125);
    std::uniform_real_distribution<double> jitter(-0.005, 0.005);
    std::vector<Point> points;
    for (int i = 0; i < kQueries; ++i) {
        const PoiRow& r = rows[rng() % rows.size()];
        const double y = r.lat + jitter(rng);
        points.push_back({r.lon + jitter(rng), y, 1000.0 / (111319.49 * std::cos(y * M_PI / 180.0)) * 100000.0});
    }

    sqlite3* db = nullptr;
    if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK)
        Die("cannot open " + path);
    sqlite3_stmt* box = Prepare(
        db, "SELECT p.name, p.lon, p.lat, p.area, (p.lon-?1)*(p.lon-?1)+(p.lat-?2)*(p.lat-?2) AS d2"
            " FROM poi_box b JOIN poi p ON p.id = b.id"
            " WHERE b.min_lon >= ?1-?3 AND b.max_lon <= ?1+?3 AND b.min_lat >= ?2-?3 AND b.max_lat <= ?2+?3"
            " AND d2 <= ?3*?3 ORDER BY d2 LIMIT 10");
    ePOIEngineManager engine;
    engine.SetPoiPath(out.c_str());

    Sample around, nearest;
    for (int pass = 0; pass < 2; ++pass) {
        const bool timed = pass == 1;
        for (const Point& p : points) {
            auto start = Clock::now();
            int hits = engine.QueryByAround(p.x, p.y, p.units, 65536) ? EngineHits(engine) : 0;
            if (timed) {
                around.engine.push_back(Micros(start));
                around.engineHits += hits;
            }
            start = Clock::now();
            hits = SqliteBox(box, p.x, p.y, p.units * 1e-5);
            if (timed) {
                around.peer.push_back(Micros(start));
                around.peerHits += hits;
            }

            int maxDistance = 0;
            start = Clock::now();
            hits = engine.QueryNearestPOI(p.x, p.y, maxDistance) ? EngineHits(engine) : 0;
            if (timed) {
                nearest.engine.push_back(Micros(start));
                nearest.engineHits += hits;
            }
            start = Clock::now();
            hits = 0;
            for (double units = 500; units <= 8000 && hits == 0; units *= 4)
                hits = SqliteBox(box, p.x, p.y, units * 1e-5);
            if (timed) {
                nearest.peer.push_back(Micros(start));
                nearest.peerHits += hits;
            }
        }
    }
    sqlite3_finalize(box);
    sqlite3_close(db);
    if (around.engineHits == 0 || around.peerHits == 0 || nearest.engineHits == 0 || nearest.peerHits == 0)
        Die("a side found nothing: check " + out);

    std::printf("%zu POIs, %d points near POIs, alternating engine and SQLite\n\n", rows.size(), kQueries);
    std::printf("| query | engine median | engine p99 | SQLite median | SQLite p99 | median ratio | p99 ratio |"
                " hits read per query (engine / SQLite) |\n|---|---|---|---|---|---|---|---|\n");
    Row("around 1 km, first 10 hits read", around);
    Row("nearest, first 10 hits read", nearest);
    return 0;
}
