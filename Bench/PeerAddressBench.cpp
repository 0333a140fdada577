// The search by address beside SQLite, on the same rows and the same queries.
//
// Usage: PeerAddressBench [OUT]   (OUT: a data directory compiled by poi build
// from OUT/../src; without an argument POI_BENCH_DATA).
//
// - builds OUT/../peer-address.sqlite once (again when missing or older than
//   pois.csv): the rows of pois.csv in the store's order (province, city,
//   county, category, name), so that a (county, category) read by id comes in
//   the engine's order, with B-tree indexes on (county, category) and
//   (province, category);
// - draws queries from the source rows with a fixed seed: 2000 of a county
//   and a category ("county"), 1000 of a province, every city and a category
//   ("province");
// - runs both sides alternately, query by query, after a warm pass; each
//   query reads its first 10 hits' name, coordinates and area;
// - prints a Markdown table: medians, p99s, their ratios and the hits read.
//
// A benchmark, not a test: it checks nothing beyond both sides reading hits.

#include <sqlite3.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "BenchSupport.h"
#include "Compiler/Gazetteer.h"
#include "Compiler/GbkCodec.h"
#include "POIEngine/ePOIEngineManager.h"
#include "PeerSupport.h"

using namespace Kest;
using namespace KestBench;
namespace fs = std::filesystem;

namespace {

struct Query {
    bool county = false;                      // a county query, else a province one
    std::string province, city, countyName;   // UTF-8, the city as the index names it
    std::string category;                     // decimal code
    std::string keys[3];                      // the engine's GBK keys: province, city, county
};

void BuildDatabase(const std::string& path, std::vector<PoiRow> rows)
{
    fs::remove(path);
    sqlite3* db = nullptr;
    if (sqlite3_open(path.c_str(), &db) != SQLITE_OK)
        Die("cannot create " + path);
    Exec(db, "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF");
    Exec(db, "CREATE TABLE poi(id INTEGER PRIMARY KEY, name TEXT, lon REAL, lat REAL, category INTEGER,"
             " province TEXT, city TEXT, county TEXT)");
    std::vector<std::tuple<std::string, std::string, std::string, long long, std::string, std::size_t>> order;
    for (std::size_t i = 0; i < rows.size(); ++i)
        order.emplace_back(rows[i].province, rows[i].city, rows[i].county, std::atoll(rows[i].category.c_str()),
                           GbkCodec::Gbk(rows[i].name), i);
    std::sort(order.begin(), order.end());
    Exec(db, "BEGIN");
    sqlite3_stmt* insert = Prepare(db, "INSERT INTO poi VALUES(?1,?2,?3,?4,?5,?6,?7,?8)");
    long long id = 0;
    for (const auto& o : order) {
        const PoiRow& r = rows[std::get<5>(o)];
        sqlite3_bind_int64(insert, 1, ++id);
        sqlite3_bind_text(insert, 2, r.name.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_double(insert, 3, r.lon);
        sqlite3_bind_double(insert, 4, r.lat);
        sqlite3_bind_int64(insert, 5, std::get<3>(o));
        sqlite3_bind_text(insert, 6, r.province.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(insert, 7, r.city.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(insert, 8, r.county.c_str(), -1, SQLITE_TRANSIENT);
        Step(db, insert);
    }
    sqlite3_finalize(insert);
    Exec(db, "COMMIT");
    Exec(db, "CREATE INDEX poi_county_category ON poi(county, category)");
    Exec(db, "CREATE INDEX poi_province_category ON poi(province, category)");
    Exec(db, "ANALYZE");
    sqlite3_close(db);
}

class EngineSide {
public:
    explicit EngineSide(const std::string& out) { m_engine.SetPoiPath(out.c_str()); }

    int Run(const Query& q)
    {
        if (!m_engine.QueryByAddress(4, q.keys[0].c_str(), q.keys[1].c_str(), q.keys[2].c_str(), q.category.c_str()))
            return 0;
        const int count = std::min(10, m_engine.GetPOICount(0));
        int hits = 0;
        for (int i = 0; i < count; ++i) {
            ePoiInfo info{};
            if (!m_engine.GetPOIInfo(0, i, info))
                break;
            m_name.assign(info.szName, strnlen(info.szName, sizeof info.szName));
            m_area.assign(info.szAddress, strnlen(info.szAddress, sizeof info.szAddress));
            ++hits;
        }
        return hits;
    }

private:
    ePOIEngineManager m_engine;
    std::string m_name, m_area;
};

class SqliteSide {
public:
    explicit SqliteSide(const std::string& path)
    {
        if (sqlite3_open_v2(path.c_str(), &m_db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK)
            Die("cannot open " + path);
        m_county = Prepare(m_db, "SELECT name, lon, lat, province, city, county FROM poi WHERE county = ?1 AND"
                                 " category = ?2 AND province = ?3 AND city = ?4 ORDER BY id LIMIT 10");
        m_province = Prepare(m_db, "SELECT name, lon, lat, province, city, county FROM poi WHERE province = ?1 AND"
                                   " category = ?2 ORDER BY id LIMIT 10");
    }
    ~SqliteSide()
    {
        sqlite3_finalize(m_county);
        sqlite3_finalize(m_province);
        sqlite3_close(m_db);
    }

    int Run(const Query& q, const std::string& sourceCity)
    {
        sqlite3_stmt* st = q.county ? m_county : m_province;
        if (q.county) {
            sqlite3_bind_text(st, 1, q.countyName.c_str(), -1, SQLITE_STATIC);
            sqlite3_bind_text(st, 3, q.province.c_str(), -1, SQLITE_STATIC);
            sqlite3_bind_text(st, 4, sourceCity.c_str(), -1, SQLITE_STATIC);
        } else {
            sqlite3_bind_text(st, 1, q.province.c_str(), -1, SQLITE_STATIC);
        }
        sqlite3_bind_int64(st, 2, std::atoll(q.category.c_str()));
        int hits = 0;
        while (sqlite3_step(st) == SQLITE_ROW) {
            m_name = reinterpret_cast<const char*>(sqlite3_column_text(st, 0));
            m_area = std::string(reinterpret_cast<const char*>(sqlite3_column_text(st, 3))) +
                     reinterpret_cast<const char*>(sqlite3_column_text(st, 4)) +
                     reinterpret_cast<const char*>(sqlite3_column_text(st, 5));
            ++hits;
        }
        sqlite3_reset(st);
        return hits;
    }

private:
    sqlite3* m_db = nullptr;
    sqlite3_stmt* m_county = nullptr;
    sqlite3_stmt* m_province = nullptr;
    std::string m_name, m_area;
};

} // namespace

int main(int argc, char** argv)
{
    const char* env = std::getenv("POI_BENCH_DATA");
    const std::string out = argc > 1 ? argv[1] : env != nullptr ? env : "";
    if (out.empty())
        Die("usage: PeerAddressBench OUT (or set POI_BENCH_DATA)");
    const std::string parent = fs::path(out).lexically_normal().parent_path().string();
    const std::string csv = parent + "/src/pois.csv";
    const std::string dbPath = parent + "/peer-address.sqlite";
    std::vector<PoiRow> rows;
    if (!ReadPoiRows(csv, rows) || rows.empty())
        Die("cannot read " + csv);
    std::error_code ec;
    if (!fs::exists(dbPath, ec) || fs::last_write_time(dbPath, ec) < fs::last_write_time(csv, ec)) {
        std::fprintf(stderr, "building %s ...\n", dbPath.c_str());
        BuildDatabase(dbPath, rows);
    }

    std::mt19937 rng(20261125);
    std::vector<Query> queries;
    std::vector<std::string> sourceCities;
    for (int i = 0; i < 3000; ++i) {
        const PoiRow& r = rows[rng() % rows.size()];
        Query q;
        q.county = i < 2000;
        q.province = r.province;
        q.city = Gazetteer::CityName(r.province, r.city);
        q.countyName = r.county;
        q.category = r.category;
        q.keys[0] = GbkCodec::Gbk(q.province);
        q.keys[1] = q.county ? GbkCodec::Gbk(q.city) : "*";
        q.keys[2] = q.county ? GbkCodec::Gbk(q.countyName) : "*";
        queries.push_back(q);
        sourceCities.push_back(r.city);
    }

    EngineSide engine(out);
    SqliteSide peer(dbPath);
    for (std::size_t i = 0; i < queries.size(); ++i) { // warm pass
        engine.Run(queries[i]);
        peer.Run(queries[i], sourceCities[i]);
    }
    std::vector<double> times[2][2]; // [county?][engine, sqlite]
    long long hits[2][2] = {{0, 0}, {0, 0}};
    for (std::size_t i = 0; i < queries.size(); ++i) {
        const int kind = queries[i].county ? 0 : 1;
        auto start = Clock::now();
        hits[kind][0] += engine.Run(queries[i]);
        times[kind][0].push_back(Micros(start));
        start = Clock::now();
        hits[kind][1] += peer.Run(queries[i], sourceCities[i]);
        times[kind][1].push_back(Micros(start));
    }

    std::printf("PeerAddressBench: %zu POIs, %s\n\n", rows.size(), out.c_str());
    std::printf("| query | n | engine median | engine p99 | SQLite median | SQLite p99 | median ratio | p99 ratio |"
                " hits read (engine / SQLite) |\n");
    std::printf("|---|---|---|---|---|---|---|---|---|\n");
    const char* names[2] = {"county + category, first 10", "province + \"*\" city + category, first 10"};
    for (int k = 0; k < 2; ++k) {
        const double em = Percentile(times[k][0], 0.5), ep = Percentile(times[k][0], 0.99);
        const double sm = Percentile(times[k][1], 0.5), sp = Percentile(times[k][1], 0.99);
        std::printf("| %s | %zu | %s | %s | %s | %s | %s | %s | %lld / %lld |\n", names[k], times[k][0].size(),
                    Us(em).c_str(), Us(ep).c_str(), Us(sm).c_str(), Us(sp).c_str(), Ratio(sm, em).c_str(),
                    Ratio(sp, ep).c_str(), hits[k][0], hits[k][1]);
    }
    return 0;
}
