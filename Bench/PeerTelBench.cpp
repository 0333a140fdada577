// The search by telephone number beside SQLite's B-tree, on the same rows
// and the same keystrokes.
//
// Usage: PeerTelBench OUT   (OUT: a data directory compiled by poi build from
// OUT/../src). Without an argument it reads POI_BENCH_DATA.
//
// - builds OUT/../peer-tel.sqlite once (again when missing): the POIs of
//   pois.csv (name, coordinates, area) and one row per (number, POI), the
//   numbers normalised as poi build does (PhoneNumbers), with B-tree
//   indexes on (length, number, poi) and on number;
// - draws 300 numbers of real rows with a fixed seed and types each digit by
//   digit: every prefix is one query;
// - one query, on each side: the first 10 hits (name, coordinates, area),
//   in the engine's order (the exact number, then shorter numbers first,
//   numbers of one length ascending), and the distinct next digits. The
//   engine: QueryByTelephone and GetPOIInfo. SQLite: one range scan per
//   number length of the (length, number) index until 10 hits are read,
//   and one probe of the number index per digit;
// - runs both sides alternating query by query after a warm pass and prints
//   medians, p99s, their ratios, the hits read and how many queries gave
//   different next digits (0 expected).
//
// This is a benchmark, not a test; `make test` does not run it.
#include <sqlite3.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "Compiler/GbkCodec.h"
#include "Compiler/PhoneNumbers.h"
#include "PeerSupport.h"
#include "POIEngine/ePOIEngineManager.h"

using namespace Kest;
using namespace KestBench;
namespace fs = std::filesystem;

namespace {

constexpr int kShown = 10;
constexpr int kNumbers = 300;

void BuildDatabase(const std::string& path, const std::vector<PoiRow>& rows)
{
    const std::string partial = path + ".part";
    std::remove(partial.c_str());
    sqlite3* db = nullptr;
    if (sqlite3_open(partial.c_str(), &db) != SQLITE_OK)
        Die("cannot create " + partial);
    Exec(db, "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF; BEGIN;"
             "CREATE TABLE poi(id INTEGER PRIMARY KEY, name TEXT, lon REAL, lat REAL, area TEXT);"
             "CREATE TABLE tel(number TEXT, len INTEGER, poi INTEGER);");
    sqlite3_stmt* poi = Prepare(db, "INSERT INTO poi VALUES(?,?,?,?,?)");
    sqlite3_stmt* tel = Prepare(db, "INSERT INTO tel VALUES(?,?,?)");
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const PoiRow& r = rows[i];
        const std::string area = r.province + (r.city == r.province ? "" : r.city) + r.county;
        sqlite3_bind_int64(poi, 1, static_cast<sqlite3_int64>(i));
        sqlite3_bind_text(poi, 2, r.name.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_double(poi, 3, r.lon);
        sqlite3_bind_double(poi, 4, r.lat);
        sqlite3_bind_text(poi, 5, area.c_str(), -1, SQLITE_TRANSIENT);
        Step(db, poi);
        std::vector<std::string> rejected;
        for (const std::string& n : PhoneNumbers::Split(r.phone, rejected)) {
            sqlite3_bind_text(tel, 1, n.c_str(), -1, SQLITE_TRANSIENT);
            sqlite3_bind_int(tel, 2, static_cast<int>(n.size()));
            sqlite3_bind_int64(tel, 3, static_cast<sqlite3_int64>(i));
            Step(db, tel);
        }
    }
    sqlite3_finalize(poi);
    sqlite3_finalize(tel);
    Exec(db, "CREATE INDEX tel_len ON tel(len, number, poi); CREATE INDEX tel_number ON tel(number); COMMIT;");
    sqlite3_close(db);
    fs::rename(partial, path);
}

struct Answer {
    int hits = 0;
    std::string next;
};

class Peer {
public:
    explicit Peer(const std::string& path)
    {
        if (sqlite3_open_v2(path.c_str(), &m_db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK)
            Die("cannot open " + path);
        m_hits = Prepare(m_db, "SELECT poi.name, poi.lon, poi.lat, poi.area FROM tel JOIN poi ON poi.id = tel.poi "
                               "WHERE tel.len = ? AND tel.number >= ? AND tel.number < ? "
                               "ORDER BY tel.number, tel.poi LIMIT ?");
        m_digit = Prepare(m_db, "SELECT 1 FROM tel WHERE number >= ? AND number < ? LIMIT 1");
    }
    ~Peer()
    {
        sqlite3_finalize(m_hits);
        sqlite3_finalize(m_digit);
        sqlite3_close(m_db);
    }

    Answer Query(const std::string& prefix)
    {
        Answer a;
        const std::string end = prefix + ":";
        for (int len = static_cast<int>(prefix.size()); len <= 20 && a.hits < kShown; ++len) {
            sqlite3_bind_int(m_hits, 1, len);
            sqlite3_bind_text(m_hits, 2, prefix.c_str(), -1, SQLITE_STATIC);
            sqlite3_bind_text(m_hits, 3, end.c_str(), -1, SQLITE_STATIC);
            sqlite3_bind_int(m_hits, 4, kShown - a.hits);
            while (sqlite3_step(m_hits) == SQLITE_ROW) {
                m_sink += sqlite3_column_bytes(m_hits, 0) + sqlite3_column_bytes(m_hits, 3);
                m_sink += static_cast<long>(sqlite3_column_double(m_hits, 1) + sqlite3_column_double(m_hits, 2));
                ++a.hits;
            }
            sqlite3_reset(m_hits);
        }
        for (char d = '0'; d <= '9'; ++d) {
            const std::string lo = prefix + d, hi = lo + ":";
            sqlite3_bind_text(m_digit, 1, lo.c_str(), -1, SQLITE_STATIC);
            sqlite3_bind_text(m_digit, 2, hi.c_str(), -1, SQLITE_STATIC);
            if (sqlite3_step(m_digit) == SQLITE_ROW)
                a.next += d;
            sqlite3_reset(m_digit);
        }
        return a;
    }

    long m_sink = 0;

private:
    sqlite3* m_db = nullptr;
    sqlite3_stmt* m_hits = nullptr;
    sqlite3_stmt* m_digit = nullptr;
};

Answer EngineQuery(ePOIEngineManager& engine, const std::string& prefix, long& sink)
{
    Answer a;
    char* next = nullptr;
    int count = 0;
    if (!engine.QueryByTelephone(prefix.c_str(), next, count))
        return a;
    a.next.assign(next, static_cast<std::size_t>(count));
    const int total = engine.GetPOICount(0);
    for (int i = 0; i < total && i < kShown; ++i) {
        ePoiInfo info{};
        if (!engine.GetPOIInfo(0, i, info))
            Die("hit " + std::to_string(i) + " of '" + prefix + "' cannot be read");
        sink += info.szName[0] + info.szAddress[0] + static_cast<long>(info.dX + info.dY);
        ++a.hits;
    }
    return a;
}

} // namespace

int main(int argc, char** argv)
{
    std::string out = argc > 1 ? argv[1] : "";
    if (out.empty()) {
        const char* env = std::getenv("POI_BENCH_DATA");
        if (env == nullptr || *env == '\0') {
            std::fprintf(stderr, "usage: PeerTelBench OUT (or set POI_BENCH_DATA)\n");
            return 2;
        }
        out = env;
    }
    fs::path outPath(out);
    if (outPath.filename().empty())
        outPath = outPath.parent_path();
    const std::string home = outPath.parent_path().string();
    std::vector<PoiRow> rows;
    if (!ReadPoiRows(home + "/src/pois.csv", rows) || rows.empty())
        Die("cannot read " + home + "/src/pois.csv");
    const std::string dbPath = home + "/peer-tel.sqlite";
    if (!fs::exists(dbPath)) {
        const auto start = Clock::now();
        BuildDatabase(dbPath, rows);
        std::printf("built %s in %.1f s\n", dbPath.c_str(), Micros(start) / 1e6);
    }

    // Every prefix of 300 real numbers.
    std::mt19937 rng(16);
    std::vector<std::string> queries;
    while (queries.size() < static_cast<std::size_t>(kNumbers) * 11) {
        std::vector<std::string> rejected;
        const auto numbers = PhoneNumbers::Split(rows[rng() % rows.size()].phone, rejected);
        if (numbers.empty())
            continue;
        for (std::size_t n = 1; n <= numbers[0].size(); ++n)
            queries.push_back(numbers[0].substr(0, n));
    }

    ePOIEngineManager engine;
    engine.SetPoiPath(outPath.string().c_str());
    Peer peer(dbPath);
    long sink = 0;
    for (const std::string& q : queries) { // warm pass
        EngineQuery(engine, q, sink);
        peer.Query(q);
    }
    std::vector<double> engineUs, peerUs;
    long engineHits = 0, peerHits = 0;
    int differ = 0;
    for (const std::string& q : queries) {
        auto start = Clock::now();
        const Answer e = EngineQuery(engine, q, sink);
        engineUs.push_back(Micros(start));
        start = Clock::now();
        const Answer p = peer.Query(q);
        peerUs.push_back(Micros(start));
        engineHits += e.hits;
        peerHits += p.hits;
        differ += e.next != p.next || e.hits != p.hits;
    }
    const double em = Percentile(engineUs, 0.5), e99 = Percentile(engineUs, 0.99);
    const double pm = Percentile(peerUs, 0.5), p99 = Percentile(peerUs, 0.99);
    std::printf("%zu keystrokes (every prefix of %d numbers), first %d hits and the next digits; %zu POIs\n\n",
                queries.size(), kNumbers, kShown, rows.size());
    std::printf("| side | median | p99 | hits read | answers that differ |\n|---|---|---|---|---|\n");
    std::printf("| engine | %s | %s | %ld | %d |\n", Us(em).c_str(), Us(e99).c_str(), engineHits, differ);
    std::printf("| SQLite B-tree | %s | %s | %ld | |\n", Us(pm).c_str(), Us(p99).c_str(), peerHits);
    std::printf("| ratio (SQLite / engine) | %s | %s | | |\n", Ratio(pm, em).c_str(), Ratio(p99, e99).c_str());
    std::fprintf(stderr, "(%ld)\n", sink + peer.m_sink);
    return 0;
}
