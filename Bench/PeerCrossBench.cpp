// The crossroad searches beside SQLite, on the same rows and the same queries.
//
// Usage: PeerCrossBench OUT   (OUT: a data directory compiled by poi build
// from OUT/../src). Without an argument it reads POI_BENCH_DATA.
//
// It builds OUT/../peer-cross.sqlite once (again when missing or older than
// crossroads.csv): the rows of crossroads.csv; a table of their initials with
// two rows per crossroad, the keys the engine indexes (CrossroadName: both
// orders of the roads), under a B-tree on (province, initials); and an FTS5
// trigram table over the names. Queries are drawn from the rows with a fixed
// seed, each in the row's own province: keystrokes (a key typed from 1 to 6
// letters; the engine's QueryCrossRoadByPY, SQLite the first 10 rows of the
// key range and the next letters by skip-scan) and road names (one road of a
// name; QueryCrossRoadByText, SQLite the trigram table, or LIKE below three
// characters). Both sides run in this process, alternating query by query,
// after a warm pass; each reads its first 10 hits' name and coordinates.
// Prints median, p99, their ratio and the hits read.
//
// A benchmark, not a test: `make test` does not run it.
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "Base/NdfFormat.h"
#include "Compiler/CrossroadName.h"
#include "Compiler/GbkCodec.h"
#include "Compiler/SegFullTextIndexWriter.h"
#include "POIEngine/ePOIEngineManager.h"

using namespace Kest;
using KestBench::Percentile;
namespace fs = std::filesystem;

namespace {

using Clock = std::chrono::steady_clock;

[[noreturn]] void Die(const std::string& what)
{
    std::fprintf(stderr, "PeerCrossBench: %s\n", what.c_str());
    std::exit(1);
}

double Micros(Clock::time_point start)
{
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

struct Row {
    std::string name, province; // UTF-8
    std::vector<std::string> keys;
    std::string first, second; // the roads, UTF-8
};

std::vector<Row> ReadRows(const std::string& csv)
{
    std::ifstream in(csv);
    if (!in)
        Die("cannot read " + csv);
    std::string line;
    std::getline(in, line);
    std::vector<Row> rows;
    while (std::getline(in, line)) {
        const std::vector<std::string> f = KestBench::SplitCsv(line);
        if (f.size() != 6)
            continue;
        const CrossroadName name(GbkCodec::Gbk(f[0]));
        rows.push_back({f[0], f[3], name.InitialKeys(NdfFormat::kInitialDefaultDepth), GbkCodec::Utf8(name.First()),
                        GbkCodec::Utf8(name.Second())});
    }
    return rows;
}

void Exec(sqlite3* db, const std::string& sql)
{
    char* error = nullptr;
    if (sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
        const std::string message = error ? error : "?";
        sqlite3_free(error);
        Die("SQLite: " + message + " in: " + sql);
    }
}

sqlite3_stmt* Prepare(sqlite3* db, const char* sql)
{
    sqlite3_stmt* st = nullptr;
    if (sqlite3_prepare_v3(db, sql, -1, SQLITE_PREPARE_PERSISTENT, &st, nullptr) != SQLITE_OK)
        Die(std::string("SQLite: ") + sqlite3_errmsg(db) + " in: " + sql);
    return st;
}

void BuildPeer(const std::vector<Row>& rows, const std::string& path)
{
    fs::remove(path);
    sqlite3* db = nullptr;
    if (sqlite3_open(path.c_str(), &db) != SQLITE_OK)
        Die("cannot create " + path);
    Exec(db, "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF;");
    Exec(db, "CREATE TABLE crossroad(id INTEGER PRIMARY KEY, name TEXT NOT NULL, province TEXT NOT NULL)");
    Exec(db, "CREATE TABLE cross_key(province TEXT NOT NULL, initials TEXT NOT NULL, id INTEGER NOT NULL)");
    Exec(db, "CREATE VIRTUAL TABLE cross_trigram USING fts5(name, tokenize='trigram', content='crossroad', "
             "content_rowid='id')");
    Exec(db, "BEGIN");
    sqlite3_stmt* row = Prepare(db, "INSERT INTO crossroad VALUES(?1,?2,?3)");
    sqlite3_stmt* key = Prepare(db, "INSERT INTO cross_key VALUES(?1,?2,?3)");
    for (std::size_t i = 0; i < rows.size(); ++i) {
        sqlite3_bind_int64(row, 1, static_cast<long long>(i + 1));
        sqlite3_bind_text(row, 2, rows[i].name.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(row, 3, rows[i].province.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_step(row);
        sqlite3_reset(row);
        for (const std::string& k : rows[i].keys) {
            sqlite3_bind_text(key, 1, rows[i].province.c_str(), -1, SQLITE_TRANSIENT);
            sqlite3_bind_text(key, 2, k.c_str(), -1, SQLITE_TRANSIENT);
            sqlite3_bind_int64(key, 3, static_cast<long long>(i + 1));
            sqlite3_step(key);
            sqlite3_reset(key);
        }
    }
    sqlite3_finalize(row);
    sqlite3_finalize(key);
    Exec(db, "CREATE INDEX cross_key_by_initials ON cross_key(province, initials)");
    Exec(db, "INSERT INTO cross_trigram(cross_trigram) VALUES('rebuild')");
    Exec(db, "COMMIT");
    sqlite3_close(db);
}

struct Query {
    bool text;
    int dataSet;
    std::string province; // UTF-8
    std::string typed;    // initials, or a road name in UTF-8
};

class SqliteSide {
public:
    explicit SqliteSide(const std::string& path)
    {
        if (sqlite3_open_v2(path.c_str(), &m_db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK)
            Die("cannot open " + path);
        m_list = Prepare(m_db, "SELECT c.name FROM cross_key k JOIN crossroad c ON c.id = k.id WHERE k.province = ?1"
                               " AND k.initials >= ?2 AND k.initials < ?3 LIMIT 10");
        m_first = Prepare(m_db, "SELECT initials FROM cross_key WHERE province = ?1 AND initials >= ?2 AND initials < ?3"
                                " ORDER BY province, initials LIMIT 1");
        m_trigram = Prepare(m_db, "SELECT c.name FROM cross_trigram t JOIN crossroad c ON c.id = t.rowid"
                                  " WHERE cross_trigram MATCH ?1 AND c.province = ?2 LIMIT 10");
        m_like = Prepare(m_db, "SELECT name FROM crossroad WHERE province = ?2 AND name LIKE ?1 LIMIT 10");
    }
    ~SqliteSide()
    {
        for (sqlite3_stmt* st : {m_list, m_first, m_trigram, m_like})
            sqlite3_finalize(st);
        sqlite3_close(m_db);
    }

    int Run(const Query& q)
    {
        if (!q.text) {
            const int hits = Rows(m_list, q.province, q.typed, Above(q.typed));
            NextLetters(q);
            return hits;
        }
        if (CharCount(q.typed) >= 3)
            return Rows(m_trigram, "\"" + q.typed + "\"", q.province);
        return Rows(m_like, "%" + q.typed + "%", q.province);
    }

private:
    static std::size_t CharCount(const std::string& utf8)
    {
        return static_cast<std::size_t>(std::count_if(
            utf8.begin(), utf8.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
    }
    static std::string Above(std::string prefix)
    {
        prefix.back() = static_cast<char>(prefix.back() + 1);
        return prefix;
    }
    int Rows(sqlite3_stmt* st, const std::string& a, const std::string& b, const std::string& c = "")
    {
        sqlite3_bind_text(st, 1, a.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(st, 2, b.c_str(), -1, SQLITE_TRANSIENT);
        if (!c.empty())
            sqlite3_bind_text(st, 3, c.c_str(), -1, SQLITE_TRANSIENT);
        int hits = 0;
        while (sqlite3_step(st) == SQLITE_ROW)
            hits += sqlite3_column_bytes(st, 0) > 0;
        sqlite3_reset(st);
        return hits;
    }
    // The letters that follow the prefix, one skip-scan probe each.
    void NextLetters(const Query& q)
    {
        m_next.clear();
        const std::string end = Above(q.typed);
        std::string from = q.typed + '\x01';
        for (;;) {
            sqlite3_bind_text(m_first, 1, q.province.c_str(), -1, SQLITE_TRANSIENT);
            sqlite3_bind_text(m_first, 2, from.c_str(), -1, SQLITE_TRANSIENT);
            sqlite3_bind_text(m_first, 3, end.c_str(), -1, SQLITE_TRANSIENT);
            std::string found;
            if (sqlite3_step(m_first) == SQLITE_ROW)
                found = reinterpret_cast<const char*>(sqlite3_column_text(m_first, 0));
            sqlite3_reset(m_first);
            if (found.size() <= q.typed.size())
                break;
            const char letter = found[q.typed.size()];
            m_next += letter;
            from = q.typed + static_cast<char>(letter + 1);
        }
    }

    sqlite3* m_db = nullptr;
    sqlite3_stmt *m_list = nullptr, *m_first = nullptr, *m_trigram = nullptr, *m_like = nullptr;
    std::string m_next;
};

class EngineSide {
public:
    explicit EngineSide(const std::string& out) { m_engine.SetPoiPath(out.c_str()); }

    int Run(const Query& q)
    {
        bool ok;
        if (q.text) {
            // Typed digits and letters in the form names are indexed in, as poi search does.
            const std::string text = SegFullTextIndexWriter::Widen(GbkCodec::Gbk(q.typed));
            ok = m_engine.QueryCrossRoadByText(3, q.dataSet, "*", "*", text.c_str());
        } else {
            char* next = nullptr;
            int nextCount = 0;
            ok = m_engine.QueryCrossRoadByPY(3, q.dataSet, "*", "*", q.typed.c_str(), next, nextCount);
        }
        if (!ok)
            return 0;
        int hits = 0;
        for (int i = 0; i < std::min(10, m_engine.GetPOICount(0)); ++i) {
            ePoiInfo info{};
            hits += m_engine.GetPOIInfo(0, i, info);
        }
        return hits;
    }

private:
    ePOIEngineManager m_engine;
};

} // namespace

int main(int argc, char** argv)
{
    const char* env = std::getenv("POI_BENCH_DATA");
    const std::string out = argc > 1 ? argv[1] : env != nullptr ? env : "";
    if (out.empty())
        Die("usage: PeerCrossBench OUT (or set POI_BENCH_DATA)");
    const std::string csv = out + "/../src/crossroads.csv";
    const std::vector<Row> rows = ReadRows(csv);
    if (rows.empty())
        Die("no crossroads in " + csv);
    std::map<std::string, int> sets; // UTF-8 province -> data set
    {
        std::ifstream list(out + "/POI/datasets.txt");
        int number = 0;
        std::string province;
        while (list >> number >> province)
            sets[province] = number;
    }
    const std::string db = out + "/../peer-cross.sqlite";
    std::error_code ec;
    if (!fs::exists(db, ec) || fs::last_write_time(db, ec) < fs::last_write_time(csv, ec)) {
        std::fprintf(stderr, "building %s ...\n", db.c_str());
        BuildPeer(rows, db);
    }

    std::mt19937 rng(19);
    std::vector<Query> queries;
    for (int i = 0; i < 4000; ++i) {
        const Row& r = rows[rng() % rows.size()];
        if (r.keys.empty() || sets.count(r.province) == 0)
            continue;
        const int set = sets.at(r.province);
        if (i % 2 == 0) {
            const std::string& key = r.keys[rng() % r.keys.size()];
            queries.push_back({false, set, r.province, key.substr(0, 1 + rng() % std::min<std::size_t>(6, key.size()))});
        } else {
            queries.push_back({true, set, r.province, rng() % 2 ? r.first : r.second});
        }
    }

    EngineSide engine(out);
    SqliteSide sqlite(db);
    for (const Query& q : queries) { // warm pass
        engine.Run(q);
        sqlite.Run(q);
    }
    std::vector<double> times[2][2]; // [text][engine 0, SQLite 1]
    long long hits[2][2] = {};
    for (const Query& q : queries) {
        auto start = Clock::now();
        hits[q.text][0] += engine.Run(q);
        times[q.text][0].push_back(Micros(start));
        start = Clock::now();
        hits[q.text][1] += sqlite.Run(q);
        times[q.text][1].push_back(Micros(start));
    }
    std::printf("Crossroads of %s: %zu rows, %zu queries\n\n", out.c_str(), rows.size(), queries.size());
    std::printf("| query | engine median us | engine p99 us | SQLite median us | SQLite p99 us | median ratio | p99 ratio "
                "| hits read engine / SQLite |\n|---|---|---|---|---|---|---|---|\n");
    for (int text = 0; text < 2; ++text) {
        const double em = Percentile(times[text][0], 0.5), ep = Percentile(times[text][0], 0.99);
        const double sm = Percentile(times[text][1], 0.5), sp = Percentile(times[text][1], 0.99);
        std::printf("| %s | %.1f | %.1f | %.1f | %.1f | %.2f | %.2f | %lld / %lld |\n",
                    text ? "road name (text; SQLite FTS5 trigram)" : "keystroke (initials; SQLite B-tree)", em, ep, sm,
                    sp, em / sm, ep / sp, hits[text][0], hits[text][1]);
    }
    return 0;
}
