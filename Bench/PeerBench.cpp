// The engine beside SQLite, on the same rows and the same queries.
//
// Usage: PeerBench OUT [OUT ...]   (OUT: a data directory compiled by poi build
// from OUT/../src; `make bench` passes the 100,000 and 1,000,000 POI sets).
// Without arguments it reads POI_BENCH_DATA. PeerBench --engine-only OUT times
// the engine alone (no SQLite load; for the 10M set).
//
// For each data set it:
// - builds OUT/../peer.sqlite once (again when missing or older than the
//   generated source), in a child
//   process so that its time and peak memory are the load's own: the rows of
//   pois.csv ordered by province; a table with the pinyin initials of each name
//   (the engine's GetPYInitials) and B-tree indexes on (province, initials),
//   phone and (county, category); an FTS5 table over the names cut into words
//   by the engine's segmenter (words separated by spaces); an FTS5 trigram
//   table over the names; an R*Tree over the coordinates. The load's time and
//   peak memory are kept in OUT/../peer-load.txt.
// - draws queries from the source rows with a fixed seed: keystrokes (the
//   initials of real names typed from 1 to 6 letters), refinements (one letter
//   more after a query) and text queries (1 to 3 consecutive words of a name),
//   each in the row's own province.
// - runs both sides in this process, alternating query by query, after a warm
//   pass; every query reads the first 10 hits' name, coordinates and area.
// - re-runs each side alone in a child process over the same queries to read
//   its peak resident memory (SQLite with its default cache and with 1 MB).
// - prints one Markdown table with medians, p99s, ratios, sizes and memory.
//
// PEER_SHOW_DIFFERENCES=1 names the refinements after which the two sides
// have read different numbers of hits; PEER_KEEP_QUERIES=1 keeps the query
// file (OUT/../peer-queries.tsv) for profiling one side alone.
//
// This is a benchmark, not a test: it checks nothing beyond "both sides found
// something", and `make test` does not run it.
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "PeerSupport.h"
#include "Compiler/GbkCodec.h"
#include "POIEngine/PinyinHelpers.h"
#include "POIEngine/eDictionary.h"
#include "POIEngine/eMMWordSeg.h"
#include "POIEngine/ePOIEngineManager.h"

using namespace Kest;
using namespace KestBench;
namespace fs = std::filesystem;

namespace {

// ---------------------------------------------------------------- the rows

using Row = KestBench::PoiRow;

std::vector<Row> ReadRows(const std::string& csvPath)
{
    std::vector<Row> rows;
    if (!KestBench::ReadPoiRows(csvPath, rows))
        Die("cannot read " + csvPath);
    // Rows of a province get consecutive ids, as the engine keeps a province
    // in a data set of its own; the text queries use that id range.
    std::stable_sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) { return a.province < b.province; });
    return rows;
}

// The initials the engine indexes a name by (GBK name in, upper-case ASCII out).
std::string InitialsOf(const std::string& gbkName)
{
    char* buffer = GetPYInitials(gbkName.c_str());
    std::string initials = buffer ? buffer : "";
    delete[] buffer;
    return initials;
}

void LoadDictionary(const std::string& out)
{
    eDictionary& dict = eDictionary::GetInstance();
    if (!dict.isLoaded() && !dict.Load((out + "/POI/CoreDict.dct").c_str(), false))
        Die("cannot load " + out + "/POI/CoreDict.dct");
}

// The words of a GBK name as the engine's segmenter cuts it.
std::vector<std::string> WordsOf(eMMWordSeg& seg, const std::string& gbkName)
{
    eString cut = seg.SegmentSentenceMM(eString(gbkName.c_str()));
    eArray<eString> parts;
    seg.GetAdressSeg(cut, parts);
    std::vector<std::string> words;
    for (int i = 0; i < parts.GetSize(); ++i)
        if (parts[i].Cstr() && *parts[i].Cstr())
            words.emplace_back(parts[i].Cstr());
    return words;
}

// ---------------------------------------------------------------- SQLite

// Builds the database at `path` from the source rows (run in a child process).
void BuildPeer(const std::string& out, const std::string& path)
{
    const auto start = Clock::now();
    const std::vector<Row> rows = ReadRows(out + "/../src/pois.csv");
    LoadDictionary(out);
    eMMWordSeg seg;
    seg.SetDict(eDictionary::GetInstance());

    fs::remove(path);
    sqlite3* db = nullptr;
    if (sqlite3_open(path.c_str(), &db) != SQLITE_OK)
        Die("cannot create " + path);
    Exec(db, "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF; PRAGMA cache_size=-262144;");
    Exec(db, "CREATE TABLE poi(id INTEGER PRIMARY KEY, name TEXT NOT NULL, lon REAL NOT NULL, lat REAL NOT NULL,"
             " category INTEGER, phone TEXT, province TEXT NOT NULL, city TEXT, county TEXT, initials TEXT NOT NULL)");
    // Contentless: the names are read from poi; the index keeps word positions for phrases.
    Exec(db, "CREATE VIRTUAL TABLE poi_words USING fts5(words, content='', columnsize=0)");
    Exec(db, "CREATE VIRTUAL TABLE poi_trigram USING fts5(name, tokenize='trigram', content='poi', content_rowid='id')");
    Exec(db, "CREATE VIRTUAL TABLE poi_box USING rtree(id, min_lon, max_lon, min_lat, max_lat)");
    Exec(db, "CREATE TABLE province_rows(province TEXT PRIMARY KEY, first INTEGER, last INTEGER) WITHOUT ROWID");
    Exec(db, "BEGIN");
    sqlite3_stmt* poi = Prepare(db, "INSERT INTO poi VALUES(?1,?2,?3,?4,?5,?6,?7,?8,?9,?10)");
    sqlite3_stmt* words = Prepare(db, "INSERT INTO poi_words(rowid, words) VALUES(?1,?2)");
    sqlite3_stmt* box = Prepare(db, "INSERT INTO poi_box VALUES(?1,?2,?2,?3,?3)");
    sqlite3_stmt* range = Prepare(db, "INSERT INTO province_rows VALUES(?1,?2,?3)");
    std::map<std::string, std::pair<long long, long long>> ranges;
    long long id = 0;
    for (const Row& r : rows) {
        ++id;
        const std::string gbk = GbkCodec::Gbk(r.name);
        const std::string initials = InitialsOf(gbk);
        std::string spaced;
        for (const std::string& w : WordsOf(seg, gbk))
            spaced += (spaced.empty() ? "" : " ") + GbkCodec::Utf8(w);
        sqlite3_bind_int64(poi, 1, id);
        sqlite3_bind_text(poi, 2, r.name.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_double(poi, 3, r.lon);
        sqlite3_bind_double(poi, 4, r.lat);
        sqlite3_bind_int64(poi, 5, std::atoll(r.category.c_str()));
        sqlite3_bind_text(poi, 6, r.phone.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(poi, 7, r.province.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(poi, 8, r.city.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(poi, 9, r.county.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(poi, 10, initials.c_str(), -1, SQLITE_TRANSIENT);
        Step(db, poi);
        sqlite3_bind_int64(words, 1, id);
        sqlite3_bind_text(words, 2, spaced.c_str(), -1, SQLITE_TRANSIENT);
        Step(db, words);
        sqlite3_bind_int64(box, 1, id);
        sqlite3_bind_double(box, 2, r.lon);
        sqlite3_bind_double(box, 3, r.lat);
        Step(db, box);
        auto& span = ranges.try_emplace(r.province, id, id).first->second;
        span.second = id;
    }
    for (const auto& [province, span] : ranges) {
        sqlite3_bind_text(range, 1, province.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_int64(range, 2, span.first);
        sqlite3_bind_int64(range, 3, span.second);
        Step(db, range);
    }
    for (sqlite3_stmt* st : {poi, words, box, range})
        sqlite3_finalize(st);
    Exec(db, "CREATE INDEX poi_initials ON poi(province, initials)");
    Exec(db, "CREATE INDEX poi_phone ON poi(phone)");
    Exec(db, "CREATE INDEX poi_county_category ON poi(county, category)");
    Exec(db, "INSERT INTO poi_trigram(poi_trigram) VALUES('rebuild')");
    Exec(db, "INSERT INTO poi_words(poi_words) VALUES('optimize')");
    Exec(db, "INSERT INTO poi_trigram(poi_trigram) VALUES('optimize')");
    Exec(db, "COMMIT");
    Exec(db, "ANALYZE");
    sqlite3_close(db);
    const double seconds = Micros(start) / 1e6;
    std::printf("%.2f\n%ld\n", seconds, PeakRssKb());
}

// ---------------------------------------------------------------- queries

enum Kind { kKeystroke, kRefine, kText1, kText2, kText3, kKinds };
const char* const kKindNames[kKinds] = {"keystroke", "refinement", "text, 1 word", "text, 2 words", "text, 3 words"};

struct Query {
    int kind = 0;
    int dataSet = 0;
    long long first = 0, last = 0; // the province's id range in SQLite
    std::string province;          // UTF-8
    std::string key;               // initials typed (the previous ones for a refinement), or GBK text
    std::string more;              // refinement: the longer initials; text: the FTS5 phrase (UTF-8)
    std::string plain;             // text: the words run together (UTF-8), for the trigram table
};

std::vector<Query> MakeQueries(const std::string& out, sqlite3* db)
{
    std::map<std::string, int> dataSets;
    {
        std::ifstream sets(out + "/POI/datasets.txt");
        int number = 0;
        std::string province;
        while (sets >> number >> province)
            dataSets[province] = number;
    }
    if (dataSets.empty())
        Die("cannot read " + out + "/POI/datasets.txt");
    std::map<std::string, std::pair<long long, long long>> ranges;
    if (db != nullptr) {
        sqlite3_stmt* st = Prepare(db, "SELECT province, first, last FROM province_rows");
        while (sqlite3_step(st) == SQLITE_ROW)
            ranges[reinterpret_cast<const char*>(sqlite3_column_text(st, 0))] = {sqlite3_column_int64(st, 1),
                                                                                 sqlite3_column_int64(st, 2)};
        sqlite3_finalize(st);
    }
    const std::vector<Row> rows = ReadRows(out + "/../src/pois.csv");
    LoadDictionary(out);
    eMMWordSeg seg;
    seg.SetDict(eDictionary::GetInstance());
    std::mt19937 rng(20261121);
    std::vector<Query> queries;
    int typed = 0, refines = 0, texts[3] = {0, 0, 0};
    for (int guard = 0; guard < 200000 && (typed < 3000 || refines < 3000 || texts[2] < 1500); ++guard) {
        const Row& r = rows[rng() % rows.size()];
        const auto set = dataSets.find(r.province);
        const auto range = ranges.find(r.province);
        if (set == dataSets.end() || (db != nullptr && range == ranges.end()))
            continue;
        Query base;
        base.dataSet = set->second;
        base.province = r.province;
        if (range != ranges.end()) {
            base.first = range->second.first;
            base.last = range->second.second;
        }
        const std::string gbk = GbkCodec::Gbk(r.name);
        const std::string initials = InitialsOf(gbk);
        if (typed < 3000 && !initials.empty()) {
            ++typed;
            for (std::size_t n = 1; n <= std::min<std::size_t>(6, initials.size()); ++n) {
                Query q = base;
                q.kind = kKeystroke;
                q.key = initials.substr(0, n);
                queries.push_back(q);
            }
        }
        if (refines < 3000 && initials.size() >= 2) {
            ++refines;
            const std::size_t n = 1 + rng() % std::min<std::size_t>(5, initials.size() - 1);
            Query q = base;
            q.kind = kRefine;
            q.key = initials.substr(0, n);
            q.more = initials.substr(0, n + 1);
            queries.push_back(q);
        }
        const int words = 1 + static_cast<int>(rng() % 3);
        if (texts[words - 1] >= 1500)
            continue;
        const std::vector<std::string> parts = WordsOf(seg, gbk);
        if (static_cast<int>(parts.size()) < words)
            continue;
        const int start = static_cast<int>(rng() % (parts.size() - words + 1));
        Query q = base;
        q.kind = kText1 + words - 1;
        std::string phrase;
        for (int i = start; i < start + words; ++i) {
            q.key += parts[i];
            q.plain += GbkCodec::Utf8(parts[i]);
            phrase += (i > start ? " " : "") + GbkCodec::Utf8(parts[i]);
        }
        if (phrase.find('"') != std::string::npos)
            continue;
        q.more = "\"" + phrase + "\"";
        ++texts[words - 1];
        queries.push_back(q);
    }
    // A user searches in one province at a time: the queries of a province
    // run together, each keystroke sequence still in its typing order.
    std::stable_sort(queries.begin(), queries.end(),
                     [](const Query& a, const Query& b) { return a.dataSet < b.dataSet; });
    return queries;
}

// One query a line, fields separated by tabs (GBK never holds a tab or a newline byte).
void SaveQueries(const std::vector<Query>& queries, const std::string& path)
{
    std::ofstream f(path, std::ios::binary);
    for (const Query& q : queries)
        f << q.kind << '\t' << q.dataSet << '\t' << q.first << '\t' << q.last << '\t' << q.province << '\t' << q.key
          << '\t' << q.more << '\t' << q.plain << '\n';
}

std::vector<Query> LoadQueries(const std::string& path)
{
    std::ifstream f(path, std::ios::binary);
    std::vector<Query> queries;
    std::string line;
    while (std::getline(f, line)) {
        std::vector<std::string> v;
        std::stringstream ss(line);
        std::string cell;
        while (std::getline(ss, cell, '\t'))
            v.push_back(cell);
        v.resize(8);
        Query q;
        q.kind = std::atoi(v[0].c_str());
        q.dataSet = std::atoi(v[1].c_str());
        q.first = std::atoll(v[2].c_str());
        q.last = std::atoll(v[3].c_str());
        q.province = v[4];
        q.key = v[5];
        q.more = v[6];
        q.plain = v[7];
        queries.push_back(q);
    }
    return queries;
}

// ---------------------------------------------------------------- the two sides

struct Hit {
    std::string name, area;
    double lon = 0, lat = 0;
};

class EngineSide {
public:
    explicit EngineSide(const std::string& out) { m_engine.SetPoiPath(out.c_str()); }

    // Returns the hits read (at most 10).
    int Run(const Query& q, double& micros)
    {
        char* next = nullptr;
        int nextCount = 0;
        if (q.kind == kRefine) {
            // The query the refinement follows is not timed.
            m_engine.QueryByInitial(3, q.dataSet, "*", "*", q.key.c_str(), next, nextCount);
            const auto start = Clock::now();
            // The refinement filters the hits loaded so far, so every hit of
            // the query is loaded first; that load is part of its cost.
            const int total = m_engine.GetPOICount(0);
            ePoiInfo info{};
            if (total > 0)
                m_engine.GetPOIInfo(0, total - 1, info);
            int hits = 0;
            if (m_engine.QueryFromPreByInitial(q.more.c_str()))
                hits = Read(10);
            micros = Micros(start);
            return hits;
        }
        const auto start = Clock::now();
        if (q.kind == kKeystroke)
            m_engine.QueryByInitial(3, q.dataSet, "*", "*", q.key.c_str(), next, nextCount);
        else
            m_engine.QueryByFullText(3, q.dataSet, "*", "*", q.key.c_str());
        const int hits = Read(std::min(10, m_engine.GetPOICount(0)));
        micros = Micros(start);
        return hits;
    }

private:
    int Read(int count)
    {
        int hits = 0;
        for (int i = 0; i < count; ++i) {
            ePoiInfo info{};
            if (!m_engine.GetPOIInfo(0, i, info))
                break;
            m_last.name.assign(info.szName, strnlen(info.szName, sizeof info.szName));
            m_last.area.assign(info.szAddress, strnlen(info.szAddress, sizeof info.szAddress));
            m_last.lon = info.dX;
            m_last.lat = info.dY;
            ++hits;
        }
        return hits;
    }

    ePOIEngineManager m_engine;
    Hit m_last;
};

class SqliteSide {
public:
    enum Text { kWords, kTrigram };

    SqliteSide(const std::string& path, int cacheKb)
    {
        if (sqlite3_open_v2(path.c_str(), &m_db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK)
            Die("cannot open " + path);
        if (cacheKb > 0)
            Exec(m_db, "PRAGMA cache_size=-" + std::to_string(cacheKb));
        const char* cols = "p.name, p.lon, p.lat, p.province, p.city, p.county";
        m_list = Prepare(m_db, (std::string("SELECT ") + cols +
                                " FROM poi p WHERE p.province = ?1 AND p.initials >= ?2 AND p.initials < ?3 LIMIT 10")
                                   .c_str());
        m_first = Prepare(m_db, "SELECT initials FROM poi WHERE province = ?1 AND initials >= ?2 AND initials < ?3"
                                " ORDER BY province, initials LIMIT 1");
        m_words = Prepare(m_db, (std::string("SELECT ") + cols +
                                 " FROM poi_words w JOIN poi p ON p.id = w.rowid WHERE poi_words MATCH ?1"
                                 " AND w.rowid BETWEEN ?2 AND ?3 AND p.province = ?4 LIMIT 10")
                                    .c_str());
        m_trigram = Prepare(m_db, (std::string("SELECT ") + cols +
                                   " FROM poi_trigram t JOIN poi p ON p.id = t.rowid WHERE poi_trigram MATCH ?1"
                                   " AND t.rowid BETWEEN ?2 AND ?3 AND p.province = ?4 LIMIT 10")
                                      .c_str());
        // Fewer than three characters make no trigram (the trigram table
        // finds nothing for them): LIKE scans the province's rows of poi.
        m_trigramShort = Prepare(m_db, (std::string("SELECT ") + cols +
                                        " FROM poi p WHERE p.id BETWEEN ?2 AND ?3 AND p.province = ?4"
                                        " AND p.name LIKE ?1 LIMIT 10")
                                           .c_str());
    }
    ~SqliteSide()
    {
        for (sqlite3_stmt* st : {m_list, m_first, m_words, m_trigram, m_trigramShort})
            sqlite3_finalize(st);
        sqlite3_close(m_db);
    }

    int Run(const Query& q, Text text, double& micros)
    {
        if (q.kind == kRefine) {
            // The query before the refinement, untimed, as on the engine's side.
            List(q, q.key);
            const auto start = Clock::now();
            const int hits = List(q, q.more);
            micros = Micros(start);
            return hits;
        }
        const auto start = Clock::now();
        int hits = 0;
        if (q.kind == kKeystroke) {
            hits = List(q, q.key);
            m_nextLetters = NextLetters(q, q.key);
        } else if (text == kWords) {
            hits = Fetch(m_words, q, q.more);
        } else if (CharCount(q.plain) >= 3) {
            hits = Fetch(m_trigram, q, "\"" + q.plain + "\"");
        } else {
            hits = Fetch(m_trigramShort, q, "%" + q.plain + "%");
        }
        micros = Micros(start);
        return hits;
    }

private:
    static std::size_t CharCount(const std::string& utf8)
    {
        return static_cast<std::size_t>(
            std::count_if(utf8.begin(), utf8.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
    }

    // The smallest string above every string starting with `prefix`.
    static std::string Above(std::string prefix)
    {
        while (!prefix.empty() && static_cast<unsigned char>(prefix.back()) == 0xFF)
            prefix.pop_back();
        if (!prefix.empty())
            prefix.back() = static_cast<char>(prefix.back() + 1);
        return prefix;
    }

    int List(const Query& q, const std::string& prefix)
    {
        sqlite3_bind_text(m_list, 1, q.province.c_str(), -1, SQLITE_STATIC);
        sqlite3_bind_text(m_list, 2, prefix.c_str(), -1, SQLITE_STATIC);
        const std::string upper = Above(prefix);
        sqlite3_bind_text(m_list, 3, upper.c_str(), -1, SQLITE_STATIC);
        return Collect(m_list);
    }

    // The distinct characters that follow `prefix` in the province's initials,
    // by a loose index scan: one seek per letter found, plus one.
    std::string NextLetters(const Query& q, const std::string& prefix)
    {
        std::string letters;
        const std::string upper = Above(prefix);
        std::string lower = prefix;
        for (;;) {
            sqlite3_bind_text(m_first, 1, q.province.c_str(), -1, SQLITE_STATIC);
            sqlite3_bind_text(m_first, 2, lower.c_str(), -1, SQLITE_STATIC);
            sqlite3_bind_text(m_first, 3, upper.c_str(), -1, SQLITE_STATIC);
            std::string found;
            const bool row = sqlite3_step(m_first) == SQLITE_ROW;
            if (row)
                found = reinterpret_cast<const char*>(sqlite3_column_text(m_first, 0));
            sqlite3_reset(m_first);
            if (!row)
                break;
            if (found.size() == prefix.size()) {
                lower = prefix + '\x01'; // initials equal to the prefix add no letter
                continue;
            }
            const char c = found[prefix.size()];
            letters += c;
            if (static_cast<unsigned char>(c) == 0xFF)
                break;
            lower = prefix + static_cast<char>(c + 1);
        }
        return letters;
    }

    int Fetch(sqlite3_stmt* st, const Query& q, const std::string& match)
    {
        sqlite3_bind_text(st, 1, match.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_int64(st, 2, q.first);
        sqlite3_bind_int64(st, 3, q.last);
        sqlite3_bind_text(st, 4, q.province.c_str(), -1, SQLITE_STATIC);
        return Collect(st);
    }

    int Collect(sqlite3_stmt* st)
    {
        int hits = 0;
        int rc;
        while ((rc = sqlite3_step(st)) == SQLITE_ROW) {
            m_last.name = reinterpret_cast<const char*>(sqlite3_column_text(st, 0));
            m_last.lon = sqlite3_column_double(st, 1);
            m_last.lat = sqlite3_column_double(st, 2);
            m_last.area = std::string(reinterpret_cast<const char*>(sqlite3_column_text(st, 3))) +
                          reinterpret_cast<const char*>(sqlite3_column_text(st, 4)) +
                          reinterpret_cast<const char*>(sqlite3_column_text(st, 5));
            ++hits;
        }
        if (rc != SQLITE_DONE)
            Die(std::string("SQLite: ") + sqlite3_errmsg(m_db));
        sqlite3_reset(st);
        return hits;
    }

    sqlite3* m_db = nullptr;
    sqlite3_stmt* m_list = nullptr;
    sqlite3_stmt* m_first = nullptr;
    sqlite3_stmt* m_words = nullptr;
    sqlite3_stmt* m_trigram = nullptr;
    sqlite3_stmt* m_trigramShort = nullptr;
    std::string m_nextLetters;
    Hit m_last;
};

// ---------------------------------------------------------------- child processes

std::string g_self;

struct ChildResult {
    std::string output;
    long maxRssKb = 0;
    double seconds = 0;
};

ChildResult RunChild(const std::vector<std::string>& args)
{
    int pipeFds[2];
    if (pipe(pipeFds) != 0)
        Die("pipe failed");
    const auto start = Clock::now();
    const pid_t pid = fork();
    if (pid < 0)
        Die("fork failed");
    if (pid == 0) {
        dup2(pipeFds[1], 1);
        close(pipeFds[0]);
        close(pipeFds[1]);
        std::vector<char*> argv;
        argv.push_back(const_cast<char*>(g_self.c_str()));
        for (const auto& a : args)
            argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execv(g_self.c_str(), argv.data());
        _exit(127);
    }
    close(pipeFds[1]);
    ChildResult result;
    char buffer[4096];
    ssize_t n;
    while ((n = read(pipeFds[0], buffer, sizeof buffer)) > 0)
        result.output.append(buffer, static_cast<std::size_t>(n));
    close(pipeFds[0]);
    int status = 0;
    if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        Die("child " + args[0] + " failed");
    result.seconds = Micros(start) / 1e6;
    // The child's last line is its own peak (see PeakRssKb).
    const std::size_t cut = result.output.rfind('\n', result.output.size() >= 2 ? result.output.size() - 2 : 0);
    result.maxRssKb = std::atol(result.output.c_str() + (cut == std::string::npos ? 0 : cut + 1));
    return result;
}

// A child that answers every query on one side alone, for its peak memory.
int ChildQueries(const std::string& side, const std::string& out, const std::string& db, const std::string& file)
{
    const std::vector<Query> queries = LoadQueries(file);
    long long hits = 0;
    double micros = 0;
    if (side == "none") {
        // The floor: this program with the queries read and nothing answered.
    } else if (side == "engine") {
        EngineSide engine(out);
        for (const Query& q : queries)
            hits += engine.Run(q, micros);
    } else {
        SqliteSide sqlite(db, side == "sqlite-1mb" ? 1024 : 0);
        for (const Query& q : queries) {
            hits += sqlite.Run(q, SqliteSide::kWords, micros);
            if (q.kind >= kText1)
                hits += sqlite.Run(q, SqliteSide::kTrigram, micros);
        }
    }
    std::printf("%lld\n%ld\n", hits, PeakRssKb());
    return 0;
}

// ---------------------------------------------------------------- report

unsigned long long DirectoryBytes(const std::string& dir)
{
    unsigned long long total = 0;
    for (const auto& e : fs::recursive_directory_iterator(dir))
        if (e.is_regular_file())
            total += e.file_size();
    return total;
}

void RunDataSet(const std::string& out)
{
    const std::string home = fs::path(out).parent_path().string();
    const std::string dbPath = home + "/peer.sqlite";
    const std::string loadPath = home + "/peer-load.txt";
    const std::string sourceStamp = home + "/src/.complete";
    const bool stale = fs::exists(dbPath) && fs::exists(sourceStamp) &&
                       fs::last_write_time(dbPath) < fs::last_write_time(sourceStamp);
    if (!fs::exists(dbPath) || !fs::exists(loadPath) || stale) {
        std::fprintf(stderr, "PeerBench: loading %s into %s (once)\n", out.c_str(), dbPath.c_str());
        fs::remove(loadPath);
        const ChildResult load = RunChild({"--load", out, dbPath + ".tmp"});
        fs::rename(dbPath + ".tmp", dbPath);
        std::ofstream(loadPath) << std::atof(load.output.c_str()) << ' ' << load.maxRssKb << '\n';
    }
    double loadSeconds = 0, buildSeconds = 0;
    long loadRssKb = 0, buildRssKb = 0;
    std::ifstream(loadPath) >> loadSeconds >> loadRssKb;
    std::ifstream(home + "/build-time.txt") >> buildSeconds >> buildRssKb;

    // The dictionary is one per process and each data set carries its own:
    // drop the one of the previous set, so that the queries here and the
    // engine both load this set's.
    eDictionary::GetInstance().UnLoad();
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(dbPath.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK)
        Die("cannot open " + dbPath);
    const std::vector<Query> queries = MakeQueries(out, db);
    sqlite3_close(db);
    long long rows = 0;
    {
        sqlite3* count = nullptr;
        sqlite3_open_v2(dbPath.c_str(), &count, SQLITE_OPEN_READONLY, nullptr);
        sqlite3_stmt* st = Prepare(count, "SELECT count(*) FROM poi");
        if (sqlite3_step(st) == SQLITE_ROW)
            rows = sqlite3_column_int64(st, 0);
        sqlite3_finalize(st);
        sqlite3_close(count);
    }

    // Both sides in this process, alternating query by query (the side that
    // goes first alternates too), after a warm pass over every fifth query.
    EngineSide engine(out);
    SqliteSide sqlite(dbPath, 0);
    double micros = 0;
    for (std::size_t i = 0; i < queries.size(); i += 5) {
        engine.Run(queries[i], micros);
        sqlite.Run(queries[i], SqliteSide::kWords, micros);
        if (queries[i].kind >= kText1)
            sqlite.Run(queries[i], SqliteSide::kTrigram, micros);
    }
    std::vector<double> e[kKinds], s[kKinds], t[kKinds];
    std::vector<double> keyByLength[7];
    long long eHits[kKinds] = {}, sHits[kKinds] = {}, tHits[kKinds] = {};
    for (std::size_t i = 0; i < queries.size(); ++i) {
        const Query& q = queries[i];
        double eu = 0, su = 0, tu = 0;
        if (i % 2 == 0) {
            eHits[q.kind] += engine.Run(q, eu);
            sHits[q.kind] += sqlite.Run(q, SqliteSide::kWords, su);
            if (q.kind >= kText1)
                tHits[q.kind] += sqlite.Run(q, SqliteSide::kTrigram, tu);
        } else {
            sHits[q.kind] += sqlite.Run(q, SqliteSide::kWords, su);
            if (q.kind >= kText1)
                tHits[q.kind] += sqlite.Run(q, SqliteSide::kTrigram, tu);
            eHits[q.kind] += engine.Run(q, eu);
        }
        e[q.kind].push_back(eu);
        s[q.kind].push_back(su);
        if (q.kind >= kText1)
            t[q.kind].push_back(tu);
        if (q.kind == kKeystroke)
            keyByLength[q.key.size()].push_back(eu);
        if (q.kind == kRefine && std::getenv("PEER_SHOW_DIFFERENCES") != nullptr && eHits[q.kind] != sHits[q.kind])
            std::fprintf(stderr, "refinement %s -> %s in %s: hits read differ so far\n", q.key.c_str(), q.more.c_str(),
                         q.province.c_str());
    }

    // Each side alone, for its peak resident memory.
    const std::string queryFile = home + "/peer-queries.tsv";
    SaveQueries(queries, queryFile);
    const ChildResult rssFloor = RunChild({"--child", "none", out, dbPath, queryFile});
    const ChildResult rssEngine = RunChild({"--child", "engine", out, dbPath, queryFile});
    const ChildResult rssSqlite = RunChild({"--child", "sqlite", out, dbPath, queryFile});
    const ChildResult rssSqlite1 = RunChild({"--child", "sqlite-1mb", out, dbPath, queryFile});
    // PEER_KEEP_QUERIES keeps the file, e.g. to profile one side alone:
    // perf record PeerBench --child engine OUT DB FILE.
    if (std::getenv("PEER_KEEP_QUERIES") == nullptr)
        fs::remove(queryFile);

    const unsigned long long dataBytes = DirectoryBytes(out);
    const unsigned long long dbBytes = fs::file_size(dbPath);

    std::printf("\n### %lld POIs (%s)\n\n", rows, out.c_str());
    std::printf("| query kind | queries | engine median | SQLite median | median ratio | engine p99 | SQLite p99 |"
                " p99 ratio | hits read per query, engine / SQLite |\n");
    std::printf("|---|---|---|---|---|---|---|---|---|\n");
    for (int k = 0; k < kKinds; ++k) {
        const double n = static_cast<double>(std::max<std::size_t>(1, e[k].size()));
        const char* peer = k == kKeystroke ? " (list + next letters)" : k == kRefine ? " (longer prefix)" : " (FTS5 words)";
        std::printf("| %s%s | %zu | %s | %s | %s | %s | %s | %s | %.1f / %.1f |\n", kKindNames[k], peer, e[k].size(),
                    Us(Percentile(e[k], 0.5)).c_str(), Us(Percentile(s[k], 0.5)).c_str(),
                    Ratio(Percentile(s[k], 0.5), Percentile(e[k], 0.5)).c_str(), Us(Percentile(e[k], 0.99)).c_str(),
                    Us(Percentile(s[k], 0.99)).c_str(), Ratio(Percentile(s[k], 0.99), Percentile(e[k], 0.99)).c_str(),
                    static_cast<double>(eHits[k]) / n, static_cast<double>(sHits[k]) / n);
        if (k >= kText1)
            std::printf("| %s (FTS5 trigram) | %zu | %s | %s | %s | %s | %s | %s | %.1f / %.1f |\n", kKindNames[k],
                        e[k].size(), Us(Percentile(e[k], 0.5)).c_str(), Us(Percentile(t[k], 0.5)).c_str(),
                        Ratio(Percentile(t[k], 0.5), Percentile(e[k], 0.5)).c_str(), Us(Percentile(e[k], 0.99)).c_str(),
                        Us(Percentile(t[k], 0.99)).c_str(), Ratio(Percentile(t[k], 0.99), Percentile(e[k], 0.99)).c_str(),
                        static_cast<double>(eHits[k]) / n, static_cast<double>(tHits[k]) / n);
    }
    std::printf("\n| resource | engine | SQLite | SQLite / engine |\n|---|---|---|---|\n");
    std::printf("| build (poi build) vs load + index, wall time | %.1f s | %.1f s | %s |\n", buildSeconds, loadSeconds,
                Ratio(loadSeconds, buildSeconds).c_str());
    std::printf("| peak RSS while building / loading | %s | %s | %s |\n", Mb(buildRssKb * 1024.0).c_str(),
                Mb(loadRssKb * 1024.0).c_str(), Ratio(static_cast<double>(loadRssKb), static_cast<double>(buildRssKb)).c_str());
    std::printf("| data directory vs database file | %s | %s | %s |\n", Mb(static_cast<double>(dataBytes)).c_str(),
                Mb(static_cast<double>(dbBytes)).c_str(), Ratio(static_cast<double>(dbBytes), static_cast<double>(dataBytes)).c_str());
    std::printf("| peak RSS answering all %zu queries, SQLite default cache | %s | %s | %s |\n", queries.size(),
                Mb(rssEngine.maxRssKb * 1024.0).c_str(), Mb(rssSqlite.maxRssKb * 1024.0).c_str(),
                Ratio(static_cast<double>(rssSqlite.maxRssKb), static_cast<double>(rssEngine.maxRssKb)).c_str());
    std::printf("| the same, SQLite cache_size=-1024 (1 MB) | %s | %s | %s |\n", Mb(rssEngine.maxRssKb * 1024.0).c_str(),
                Mb(rssSqlite1.maxRssKb * 1024.0).c_str(),
                Ratio(static_cast<double>(rssSqlite1.maxRssKb), static_cast<double>(rssEngine.maxRssKb)).c_str());
    std::printf("| the floor: the harness with the queries read, answering none | %s | %s | |\n",
                Mb(rssFloor.maxRssKb * 1024.0).c_str(), Mb(rssFloor.maxRssKb * 1024.0).c_str());
    std::printf("\nEngine keystroke median by letters typed 1..6:");
    for (int n = 1; n <= 6; ++n)
        std::printf(" %s", Us(Percentile(keyByLength[n], 0.5)).c_str());
    std::printf("; engine keystroke p99 goal (100 us): %s.\n",
                Percentile(e[kKeystroke], 0.99) < 100 ? "met" : "missed");
    std::fflush(stdout);
}

// The engine alone on a data set too large to load into SQLite in a sitting
// (the 10M set): the same queries drawn the same way, each kind's median and
// p99, and the engine's peak memory answering them all in a child.
void RunEngineOnly(const std::string& out)
{
    const std::string home = fs::path(out).parent_path().string();
    eDictionary::GetInstance().UnLoad();
    const std::vector<Query> queries = MakeQueries(out, nullptr);
    EngineSide engine(out);
    double micros = 0;
    for (std::size_t i = 0; i < queries.size(); i += 5)
        engine.Run(queries[i], micros);
    std::vector<double> e[kKinds], keyByLength[7];
    long long hits[kKinds] = {};
    for (const Query& q : queries) {
        double us = 0;
        hits[q.kind] += engine.Run(q, us);
        e[q.kind].push_back(us);
        if (q.kind == kKeystroke)
            keyByLength[q.key.size()].push_back(us);
    }
    const std::string queryFile = home + "/engine-queries.tsv";
    SaveQueries(queries, queryFile);
    const ChildResult rssFloor = RunChild({"--child", "none", out, "-", queryFile});
    const ChildResult rssEngine = RunChild({"--child", "engine", out, "-", queryFile});
    std::printf("\n### the engine alone (%s)\n\n| query kind | queries | median | p99 | hits read per query |\n"
                "|---|---|---|---|---|\n", out.c_str());
    for (int k = 0; k < kKinds; ++k)
        std::printf("| %s | %zu | %s | %s | %.1f |\n", kKindNames[k], e[k].size(), Us(Percentile(e[k], 0.5)).c_str(),
                    Us(Percentile(e[k], 0.99)).c_str(),
                    static_cast<double>(hits[k]) / static_cast<double>(std::max<std::size_t>(1, e[k].size())));
    std::printf("\nKeystroke median by letters typed 1..6:");
    for (int n = 1; n <= 6; ++n)
        std::printf(" %s", Us(Percentile(keyByLength[n], 0.5)).c_str());
    std::printf("\nData directory %s; peak RSS answering all %zu queries %s (the harness alone %s).\n",
                Mb(static_cast<double>(DirectoryBytes(out))).c_str(), queries.size(),
                Mb(rssEngine.maxRssKb * 1024.0).c_str(), Mb(rssFloor.maxRssKb * 1024.0).c_str());
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv)
{
    g_self = fs::canonical("/proc/self/exe").string();
    if (argc >= 2 && std::strcmp(argv[1], "--load") == 0 && argc == 4) {
        BuildPeer(argv[2], argv[3]);
        return 0;
    }
    if (argc >= 2 && std::strcmp(argv[1], "--child") == 0 && argc == 6)
        return ChildQueries(argv[2], argv[3], argv[4], argv[5]);
    if (argc == 3 && std::strcmp(argv[1], "--engine-only") == 0) {
        fs::path path = fs::path(argv[2]).lexically_normal();
        RunEngineOnly((path.filename().empty() ? path.parent_path() : path).string());
        return 0;
    }
    std::vector<std::string> dirs(argv + 1, argv + argc);
    if (dirs.empty()) {
        const char* env = std::getenv("POI_BENCH_DATA");
        if (env == nullptr) {
            std::fprintf(stderr, "usage: PeerBench OUT [OUT ...] (or set POI_BENCH_DATA)\n");
            return 2;
        }
        dirs.emplace_back(env);
    }
    std::printf("SQLite %s; engine pool %d bytes\n", sqlite3_libversion(), ePOIEngineManager::kPoolSize);
    for (const auto& dir : dirs) {
        fs::path path = fs::path(dir).lexically_normal();
        if (path.filename().empty())
            path = path.parent_path(); // "out/" names the same directory as "out"
        RunDataSet(path.string());
    }
    return 0;
}
