// The sight and place-name searches beside SQLite, on the same rows and the
// same queries.
//
// Usage: PeerSightBench OUT   (OUT: a data directory compiled by poi build
// from OUT/../src). Without an argument it reads POI_BENCH_DATA.
//
// It builds OUT/../peer-sight.sqlite once (again when missing or older than
// sights.csv): per set a table of the rows, a table of (initials, row) with
// one row per NameInitials variant of each name under a B-tree index, and an
// FTS5 table over the names cut into words by the engine's segmenter. Then,
// for each set, 1000 keystrokes (a variant of a real name typed from 1 to 6
// letters) and 1000 text queries (1 to 3 consecutive words of a real name),
// drawn with a fixed seed, run on both sides alternating query by query after
// a warm pass. A keystroke reads the hit count, the next letters and the
// first 10 hits' name and coordinates; a text query the first 10 of at most
// 100 hits. Prints one Markdown table of medians, p99s and ratios.
//
// A benchmark, not a test: it checks nothing beyond "both sides found
// something".
#include <sqlite3.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "PeerSupport.h"
#include "Compiler/GbkCodec.h"
#include "Compiler/NameInitials.h"
#include "POIEngine/eDictionary.h"
#include "POIEngine/eMMWordSeg.h"
#include "POIEngine/ePOIEngineManager.h"

using namespace Kest;
using namespace KestBench;
namespace fs = std::filesystem;

namespace {

constexpr int kQueries = 1000;
constexpr int kRead = 10;

struct Set {
    const char* file;
    const char* table;
    bool sight;
    std::vector<PoiRow> rows;
};

std::vector<std::string> WordsOf(eMMWordSeg& seg, const std::string& gbk)
{
    eString cut = seg.SegmentHzStrMM(eString(gbk.c_str()));
    eArray<eString> parts;
    seg.GetAdressSeg(cut, parts);
    std::vector<std::string> words;
    for (int i = 0; i < parts.GetSize(); ++i)
        if (parts[i].GetLength() > 0)
            words.emplace_back(parts[i].Cstr());
    return words;
}

void BuildPeer(const std::string& path, std::vector<Set>& sets, eMMWordSeg& seg)
{
    fs::remove(path);
    sqlite3* db = nullptr;
    if (sqlite3_open(path.c_str(), &db) != SQLITE_OK)
        Die("cannot create " + path);
    Exec(db, "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF; BEGIN");
    for (Set& set : sets) {
        const std::string t = set.table;
        Exec(db, "CREATE TABLE " + t + "(id INTEGER PRIMARY KEY, name TEXT, lon REAL, lat REAL)");
        Exec(db, "CREATE TABLE " + t + "_keys(initials TEXT, id INTEGER)");
        Exec(db, "CREATE VIRTUAL TABLE " + t + "_words USING fts5(words, content='', columnsize=0)");
        sqlite3_stmt* row = Prepare(db, ("INSERT INTO " + t + " VALUES(?1,?2,?3,?4)").c_str());
        sqlite3_stmt* key = Prepare(db, ("INSERT INTO " + t + "_keys VALUES(?1,?2)").c_str());
        sqlite3_stmt* words = Prepare(db, ("INSERT INTO " + t + "_words(rowid, words) VALUES(?1,?2)").c_str());
        for (std::size_t i = 0; i < set.rows.size(); ++i) {
            const PoiRow& r = set.rows[i];
            const std::string gbk = GbkCodec::Gbk(r.name);
            sqlite3_bind_int64(row, 1, static_cast<long long>(i));
            sqlite3_bind_text(row, 2, r.name.c_str(), -1, SQLITE_TRANSIENT);
            sqlite3_bind_double(row, 3, r.lon);
            sqlite3_bind_double(row, 4, r.lat);
            Step(db, row);
            for (const std::string& v : NameInitials::Variants(gbk, 10)) {
                sqlite3_bind_text(key, 1, v.c_str(), -1, SQLITE_TRANSIENT);
                sqlite3_bind_int64(key, 2, static_cast<long long>(i));
                Step(db, key);
            }
            std::string spaced;
            for (const std::string& w : WordsOf(seg, gbk))
                spaced += (spaced.empty() ? "" : " ") + GbkCodec::Utf8(w);
            sqlite3_bind_int64(words, 1, static_cast<long long>(i));
            sqlite3_bind_text(words, 2, spaced.c_str(), -1, SQLITE_TRANSIENT);
            Step(db, words);
        }
        sqlite3_finalize(row);
        sqlite3_finalize(key);
        sqlite3_finalize(words);
        Exec(db, "CREATE INDEX " + t + "_by_initials ON " + t + "_keys(initials, id)");
    }
    Exec(db, "COMMIT");
    sqlite3_close(db);
}

struct Query {
    std::string typed;  // GBK for the engine (initials are ASCII)
    std::string phrase; // the FTS5 phrase (UTF-8 words)
};

struct Side {
    std::vector<double> keystroke, text;
    long long hits = 0;
};

} // namespace

int main(int argc, char** argv)
{
    const char* env = std::getenv("POI_BENCH_DATA");
    const std::string out = argc > 1 ? argv[1] : env ? env : "";
    if (out.empty())
        Die("usage: PeerSightBench OUT (or set POI_BENCH_DATA)");
    const std::string src = out + "/../src/";
    std::vector<Set> sets = {{"sights.csv", "sight", true, {}}, {"placenames.csv", "place", false, {}}};
    for (Set& set : sets)
        if (!ReadPoiRows(src + set.file, set.rows) || set.rows.empty())
            Die("cannot read " + src + set.file);
    eDictionary& dict = eDictionary::GetInstance();
    if (!dict.Load((out + "/POI/Sight/CoreDict.dct").c_str(), false))
        Die("cannot load " + out + "/POI/Sight/CoreDict.dct");
    eMMWordSeg seg;
    seg.SetDict(dict);

    const std::string dbPath = out + "/../peer-sight.sqlite";
    std::error_code ec;
    if (!fs::exists(dbPath, ec) || fs::last_write_time(dbPath, ec) < fs::last_write_time(src + "sights.csv", ec)) {
        const auto start = Clock::now();
        BuildPeer(dbPath, sets, seg);
        std::printf("built %s in %.1f s\n", dbPath.c_str(), Micros(start) / 1e6);
    }
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(dbPath.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) != SQLITE_OK)
        Die("cannot open " + dbPath);

    ePOIEngineManager engine;
    engine.SetPoiPath(out.c_str());
    std::printf("| set | query kind | queries | engine median | SQLite median | median ratio | engine p99 | SQLite p99 |"
                " p99 ratio | hits read per query, engine / SQLite |\n|---|---|---|---|---|---|---|---|---|---|\n");
    for (Set& set : sets) {
        const std::string t = set.table;
        sqlite3_stmt* count = Prepare(db, ("SELECT count(*) FROM " + t + "_keys WHERE initials >= ?1 AND initials < ?2").c_str());
        sqlite3_stmt* next = Prepare(db, ("SELECT DISTINCT substr(initials, ?3, 1) FROM " + t +
                                          "_keys WHERE initials > ?1 AND initials < ?2").c_str());
        sqlite3_stmt* first = Prepare(db, ("SELECT p.name, p.lon, p.lat FROM " + t + "_keys k JOIN " + t +
                                           " p ON p.id = k.id WHERE k.initials >= ?1 AND k.initials < ?2 LIMIT " +
                                           std::to_string(kRead)).c_str());
        sqlite3_stmt* text = Prepare(db, ("SELECT p.name, p.lon, p.lat FROM " + t + " p WHERE p.id IN (SELECT rowid FROM " +
                                          t + "_words WHERE " + t + "_words MATCH ?1 LIMIT 100) LIMIT " +
                                          std::to_string(kRead)).c_str());

        std::mt19937 rng(set.sight ? 105 : 108);
        std::vector<Query> keystrokes, texts;
        while (keystrokes.size() < kQueries || texts.size() < kQueries) {
            const std::string gbk = GbkCodec::Gbk(set.rows[rng() % set.rows.size()].name);
            const auto variants = NameInitials::Variants(gbk, 10);
            if (!variants.empty() && keystrokes.size() < kQueries) {
                const std::string& v = variants[rng() % variants.size()];
                keystrokes.push_back({v.substr(0, 1 + rng() % std::min<std::size_t>(6, v.size())), ""});
            }
            const auto words = WordsOf(seg, gbk);
            if (!words.empty() && texts.size() < kQueries) {
                const std::size_t n = std::min<std::size_t>(words.size(), 1 + rng() % 3);
                const std::size_t at = rng() % (words.size() - n + 1);
                Query q;
                for (std::size_t i = at; i < at + n; ++i) {
                    q.typed += words[i];
                    q.phrase += (q.phrase.empty() ? "" : " ") + GbkCodec::Utf8(words[i]);
                }
                // Punctuation is refused by both sides' query languages alike.
                if (q.typed.find_first_of("\"`\\~!@#$%^&*()|-_=}]+':[{.<;>/?,") == std::string::npos)
                    texts.push_back({q.typed, "\"" + q.phrase + "\""});
            }
        }

        Side e, s;
        auto engineKey = [&](const Query& q) {
            char* letters = nullptr;
            int n = 0;
            const bool ok = set.sight ? engine.QuerySightByPY(q.typed.c_str(), letters, n)
                                      : engine.QueryPlaceNameByPY(q.typed.c_str(), letters, n);
            const int total = ok ? engine.GetPOICount(0) : 0;
            ePoiInfo info{};
            int read = 0;
            for (; read < std::min(total, kRead) && engine.GetPOIInfo(0, read, info); ++read) {
            }
            return read;
        };
        auto engineText = [&](const Query& q) {
            const bool ok = set.sight ? engine.QuerySightByText(q.typed.c_str())
                                      : engine.QueryPlaceNameByText(q.typed.c_str());
            const int total = ok ? engine.GetPOICount(0) : 0;
            ePoiInfo info{};
            int read = 0;
            for (; read < std::min(total, kRead) && engine.GetPOIInfo(0, read, info); ++read) {
            }
            return read;
        };
        auto peerKey = [&](const Query& q) {
            const std::string high = q.typed + "\x7f";
            for (sqlite3_stmt* st : {count, next, first}) {
                sqlite3_bind_text(st, 1, q.typed.c_str(), -1, SQLITE_STATIC);
                sqlite3_bind_text(st, 2, high.c_str(), -1, SQLITE_STATIC);
            }
            sqlite3_bind_int(next, 3, static_cast<int>(q.typed.size()) + 1);
            int read = 0;
            while (sqlite3_step(count) == SQLITE_ROW) {
            }
            while (sqlite3_step(next) == SQLITE_ROW) {
            }
            while (sqlite3_step(first) == SQLITE_ROW)
                read += sqlite3_column_text(first, 0) != nullptr;
            for (sqlite3_stmt* st : {count, next, first})
                sqlite3_reset(st);
            return read;
        };
        auto peerText = [&](const Query& q) {
            sqlite3_bind_text(text, 1, q.phrase.c_str(), -1, SQLITE_STATIC);
            int read = 0;
            while (sqlite3_step(text) == SQLITE_ROW)
                read += sqlite3_column_text(text, 0) != nullptr;
            sqlite3_reset(text);
            return read;
        };
        for (int pass = 0; pass < 2; ++pass) {
            const bool timed = pass == 1;
            for (std::size_t i = 0; i < keystrokes.size(); ++i) {
                auto start = Clock::now();
                const int a = engineKey(keystrokes[i]);
                if (timed) {
                    e.keystroke.push_back(Micros(start));
                    e.hits += a;
                }
                start = Clock::now();
                const int b = peerKey(keystrokes[i]);
                if (timed) {
                    s.keystroke.push_back(Micros(start));
                    s.hits += b;
                }
            }
            for (std::size_t i = 0; i < texts.size(); ++i) {
                auto start = Clock::now();
                const int a = engineText(texts[i]);
                if (timed) {
                    e.text.push_back(Micros(start));
                    e.hits += a;
                }
                start = Clock::now();
                const int b = peerText(texts[i]);
                if (timed) {
                    s.text.push_back(Micros(start));
                    s.hits += b;
                }
            }
        }
        if (e.hits == 0 || s.hits == 0)
            Die(std::string("a side found nothing in ") + set.file);
        for (int k = 0; k < 2; ++k) {
            const std::vector<double>& a = k == 0 ? e.keystroke : e.text;
            const std::vector<double>& b = k == 0 ? s.keystroke : s.text;
            std::printf("| %s (%zu) | %s | %zu | %s | %s | %s | %s | %s | %s | %s |\n", set.file, set.rows.size(),
                        k == 0 ? "keystroke (B-tree on initials)" : "text (FTS5 phrase)", a.size(),
                        Us(Percentile(a, 0.5)).c_str(), Us(Percentile(b, 0.5)).c_str(),
                        Ratio(Percentile(b, 0.5), Percentile(a, 0.5)).c_str(), Us(Percentile(a, 0.99)).c_str(),
                        Us(Percentile(b, 0.99)).c_str(), Ratio(Percentile(b, 0.99), Percentile(a, 0.99)).c_str(),
                        k == 0 ? "count, next letters, first 10" : "first 10 of at most 100");
        }
        std::printf("|  | hits read | | engine %lld | SQLite %lld | | | | | |\n", e.hits, s.hits);
        for (sqlite3_stmt* st : {count, next, first, text})
            sqlite3_finalize(st);
    }
    sqlite3_close(db);
    engine.ReleaseQueryMem();
    return 0;
}
