// Recall: does a search find the very POI its query was cut from?
//
// Usage: RecallBench [--source SRC] OUT [[--source SRC] OUT ...]
//   OUT is a data directory compiled by poi build; its source (pois.csv) is
//   SRC, or OUT/../src when no --source is given (the layout of
//   Scripts/bench-data.sh). Without arguments it reads POI_BENCH_DATA.
//   RECALL_QUERIES sets the queries drawn per kind (default 5000);
//   RECALL_SHOW_MISSES=1 names on stderr every query the engine missed.
//
// For each data set it draws names of pois.csv at random with a fixed seed
// and cuts one query of a kind from each name drawn:
// - text of 1, 2, 3 or 4 consecutive hanzi starting anywhere in the name;
// - a Latin brand: a run of two or more Latin letters of the name, where the
//   name has one;
// - the full pinyin initials of the name (the engine's GetPYInitials), and a
//   prefix of 2 to 6 letters of them (shorter than the full initials).
// Each query runs in the name's own data set (province) over all its cities
// ("*", "*"), as a user searching that province would, and asks whether that
// very POI (same name, same coordinates) is among the hits:
// - text and brand: QueryByFullText, then GetPOIInfo of every hit the engine
//   announces (GetPOICount);
// - initials: QueryByInitial, then GetPOIInfo of every hit up to the
//   announced count, which pages through the index as the engine does. A hit
//   that cannot be read counts as not found.
// Reading stops early only once the POI is found, which cannot change the
// answer.
//
// Beside the engine, the same text and brand queries go to SQLite FTS5 over
// the same names, built in memory: one table of the names cut into words by
// the engine's segmenter (words separated by spaces; the query, cut by the
// same segmenter, is a phrase of its words) and one with the trigram
// tokenizer over the names as they are (the query is a phrase of its
// characters). A trigram query needs at least three characters; shorter ones
// cannot be answered and count as not found. SQLite asks for the POI's own
// row among all matches (no limit).
//
// This is a benchmark, not a test: it prints figures and a goal line and
// fails only when it cannot read its data.
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
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
    return rows;
}

// The code points of a UTF-8 string, each with its bytes.
std::vector<std::pair<unsigned, std::string>> CodePoints(const std::string& utf8)
{
    std::vector<std::pair<unsigned, std::string>> out;
    for (std::size_t i = 0; i < utf8.size();) {
        const auto lead = static_cast<unsigned char>(utf8[i]);
        const std::size_t n = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        unsigned cp = n == 1 ? lead : lead & (0x7F >> n);
        for (std::size_t k = 1; k < n && i + k < utf8.size(); ++k)
            cp = (cp << 6) | (static_cast<unsigned char>(utf8[i + k]) & 0x3F);
        out.emplace_back(cp, utf8.substr(i, n));
        i += n;
    }
    return out;
}

bool IsHanzi(unsigned cp)
{
    return cp >= 0x4E00 && cp <= 0x9FFF;
}

// A Latin letter, half-width or full-width, as the ASCII letter a user types.
char LatinLetter(unsigned cp)
{
    if ((cp >= 'A' && cp <= 'Z') || (cp >= 'a' && cp <= 'z'))
        return static_cast<char>(cp);
    if ((cp >= 0xFF21 && cp <= 0xFF3A) || (cp >= 0xFF41 && cp <= 0xFF5A))
        return static_cast<char>(cp - 0xFEE0);
    return 0;
}

std::string InitialsOf(const std::string& gbkName)
{
    char* buffer = GetPYInitials(gbkName.c_str());
    std::string initials = buffer ? buffer : "";
    delete[] buffer;
    return initials;
}

// The words of a GBK text as the engine's segmenter cuts it, in UTF-8.
std::vector<std::string> WordsOf(eMMWordSeg& seg, const std::string& gbk)
{
    eString cut = seg.SegmentSentenceMM(eString(gbk.c_str()));
    eArray<eString> parts;
    seg.GetAdressSeg(cut, parts);
    std::vector<std::string> words;
    for (int i = 0; i < parts.GetSize(); ++i)
        if (parts[i].Cstr() && *parts[i].Cstr())
            words.push_back(GbkCodec::Utf8(parts[i].Cstr()));
    return words;
}

// ---------------------------------------------------------------- queries

enum Kind { kText1, kText2, kText3, kText4, kBrand, kInitialsFull, kInitialsPrefix, kKinds };
const char* const kKindNames[kKinds] = {"text, 1 hanzi",  "text, 2 hanzi",   "text, 3 hanzi",
                                        "text, 4 hanzi",  "Latin brand",     "initials, full",
                                        "initials, prefix of 2-6 letters"};

bool IsText(int kind)
{
    return kind <= kBrand;
}

struct Query {
    int kind = 0;
    std::size_t row = 0; // index in the rows; the SQLite rowid is row + 1
    int dataSet = 0;
    std::string key;     // GBK text or initials
    std::string phrase;  // text: the FTS5 phrase of its words (UTF-8)
    std::string plain;   // text: the text itself (UTF-8), for the trigram table
    std::size_t chars = 0;
};

// Cuts a query of `kind` from row `r`; false when the name has none.
bool CutQuery(int kind, const Row& r, std::mt19937& rng, eMMWordSeg& seg, Query& q)
{
    const auto cps = CodePoints(r.name);
    if (kind <= kText4) {
        const std::size_t n = static_cast<std::size_t>(kind - kText1 + 1);
        std::vector<std::size_t> starts;
        for (std::size_t i = 0; i + n <= cps.size(); ++i) {
            bool all = true;
            for (std::size_t k = i; k < i + n && all; ++k)
                all = IsHanzi(cps[k].first);
            if (all)
                starts.push_back(i);
        }
        if (starts.empty())
            return false;
        const std::size_t start = starts[rng() % starts.size()];
        for (std::size_t k = start; k < start + n; ++k)
            q.plain += cps[k].second;
        q.chars = n;
    } else if (kind == kBrand) {
        std::vector<std::string> runs;
        std::string run;
        for (const auto& cp : cps) {
            const char c = LatinLetter(cp.first);
            if (c != 0) {
                run += c;
                continue;
            }
            if (run.size() >= 2)
                runs.push_back(run);
            run.clear();
        }
        if (run.size() >= 2)
            runs.push_back(run);
        if (runs.empty())
            return false;
        q.plain = runs[rng() % runs.size()];
        q.chars = q.plain.size();
    } else {
        const std::string initials = InitialsOf(GbkCodec::Gbk(r.name));
        if (kind == kInitialsFull) {
            if (initials.empty())
                return false;
            q.key = initials;
        } else {
            if (initials.size() < 3)
                return false;
            const std::size_t longest = std::min<std::size_t>(6, initials.size() - 1);
            q.key = initials.substr(0, 2 + rng() % (longest - 1));
        }
        return true;
    }
    q.key = GbkCodec::Gbk(q.plain);
    std::string phrase;
    for (const std::string& w : WordsOf(seg, q.key))
        phrase += (phrase.empty() ? "" : " ") + w;
    if (phrase.find('"') != std::string::npos || q.plain.find('"') != std::string::npos)
        return false;
    q.phrase = "\"" + phrase + "\"";
    return true;
}

// ---------------------------------------------------------------- the engine

struct EngineAnswer {
    bool found = false;
    bool refused = false;  // the query call itself answered false
    int announced = 0;     // GetPOICount
    int unreadable = 0;    // GetPOIInfo answered false
};

class EngineSide {
public:
    EngineSide(const std::string& out, const std::vector<Row>& rows) : m_rows(rows)
    {
        m_engine.SetPoiPath(out.c_str());
    }

    EngineAnswer Ask(const Query& q)
    {
        EngineAnswer a;
        bool ok;
        if (IsText(q.kind)) {
            ok = m_engine.QueryByFullText(3, q.dataSet, "*", "*", q.key.c_str());
        } else {
            char* next = nullptr;
            int nextCount = 0;
            ok = m_engine.QueryByInitial(3, q.dataSet, "*", "*", q.key.c_str(), next, nextCount);
        }
        if (!ok) {
            a.refused = true;
            return a;
        }
        const Row& target = m_rows[q.row];
        const std::string name = GbkCodec::Gbk(target.name);
        a.announced = m_engine.GetPOICount(0);
        for (int i = 0; i < a.announced; ++i) {
            ePoiInfo info{};
            if (!m_engine.GetPOIInfo(0, i, info)) {
                ++a.unreadable;
                continue;
            }
            // Coordinates come back in single precision (about 1e-5 degree).
            if (name.compare(0, std::string::npos, info.szName, strnlen(info.szName, sizeof info.szName)) == 0 &&
                std::fabs(info.dX - target.lon) < 5e-5 && std::fabs(info.dY - target.lat) < 5e-5) {
                a.found = true;
                break;
            }
        }
        return a;
    }

private:
    ePOIEngineManager m_engine;
    const std::vector<Row>& m_rows;
};

// ---------------------------------------------------------------- SQLite

class SqliteSide {
public:
    // Both tables are contentless: the question is only whether a row matches.
    SqliteSide(const std::vector<Row>& rows, eMMWordSeg& seg)
    {
        if (sqlite3_open(":memory:", &m_db) != SQLITE_OK)
            Die("cannot open an in-memory SQLite database");
        Exec(m_db, "CREATE VIRTUAL TABLE poi_words USING fts5(words, content='', columnsize=0)");
        Exec(m_db, "CREATE VIRTUAL TABLE poi_trigram USING fts5(name, tokenize='trigram', content='', columnsize=0)");
        Exec(m_db, "BEGIN");
        sqlite3_stmt* words = Prepare(m_db, "INSERT INTO poi_words(rowid, words) VALUES(?1, ?2)");
        sqlite3_stmt* trigram = Prepare(m_db, "INSERT INTO poi_trigram(rowid, name) VALUES(?1, ?2)");
        for (std::size_t i = 0; i < rows.size(); ++i) {
            std::string spaced;
            for (const std::string& w : WordsOf(seg, GbkCodec::Gbk(rows[i].name)))
                spaced += (spaced.empty() ? "" : " ") + w;
            Insert(words, static_cast<long long>(i + 1), spaced);
            Insert(trigram, static_cast<long long>(i + 1), rows[i].name);
        }
        sqlite3_finalize(words);
        sqlite3_finalize(trigram);
        Exec(m_db, "COMMIT");
        Exec(m_db, "INSERT INTO poi_words(poi_words) VALUES('optimize')");
        Exec(m_db, "INSERT INTO poi_trigram(poi_trigram) VALUES('optimize')");
        m_words = Prepare(m_db, "SELECT 1 FROM poi_words WHERE poi_words MATCH ?1 AND rowid = ?2");
        m_trigram = Prepare(m_db, "SELECT 1 FROM poi_trigram WHERE poi_trigram MATCH ?1 AND rowid = ?2");
    }
    ~SqliteSide()
    {
        sqlite3_finalize(m_words);
        sqlite3_finalize(m_trigram);
        sqlite3_close(m_db);
    }
    SqliteSide(const SqliteSide&) = delete;
    SqliteSide& operator=(const SqliteSide&) = delete;

    bool Words(const Query& q) { return Matches(m_words, q.phrase, q.row); }
    bool Trigram(const Query& q) { return q.chars >= 3 && Matches(m_trigram, "\"" + q.plain + "\"", q.row); }

private:
    void Insert(sqlite3_stmt* st, long long id, const std::string& text)
    {
        sqlite3_bind_int64(st, 1, id);
        sqlite3_bind_text(st, 2, text.c_str(), -1, SQLITE_TRANSIENT);
        if (sqlite3_step(st) != SQLITE_DONE)
            Die(std::string("SQLite: ") + sqlite3_errmsg(m_db));
        sqlite3_reset(st);
    }

    bool Matches(sqlite3_stmt* st, const std::string& match, std::size_t row)
    {
        sqlite3_bind_text(st, 1, match.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_int64(st, 2, static_cast<long long>(row + 1));
        const int rc = sqlite3_step(st);
        if (rc != SQLITE_ROW && rc != SQLITE_DONE)
            Die(std::string("SQLite: ") + sqlite3_errmsg(m_db) + " for " + match);
        sqlite3_reset(st);
        return rc == SQLITE_ROW;
    }

    sqlite3* m_db = nullptr;
    sqlite3_stmt* m_words = nullptr;
    sqlite3_stmt* m_trigram = nullptr;
};

// ---------------------------------------------------------------- report

struct Tally {
    long queries = 0, engine = 0, words = 0, trigram = 0, trigramTooShort = 0;
    long refused = 0, unreadable = 0, cut = 0; // cut: text lists that hold the engine's 100
    long long announced = 0;
    long byLength[8] = {}, foundByLength[8] = {};
};

std::string Percent(long part, long whole)
{
    if (whole == 0)
        return "-";
    char b[32];
    std::snprintf(b, sizeof b, "%.1f%%", 100.0 * static_cast<double>(part) / static_cast<double>(whole));
    return b;
}

double Share(long part, long whole)
{
    return whole == 0 ? 0 : 100.0 * static_cast<double>(part) / static_cast<double>(whole);
}

void RunDataSet(const std::string& source, const std::string& out, int perKind)
{
    const auto start = Clock::now();
    const std::vector<Row> rows = ReadRows(source + "/pois.csv");
    if (rows.empty())
        Die("no rows in " + source + "/pois.csv");
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
    // The dictionary is one per process and each data set carries its own.
    eDictionary& dict = eDictionary::GetInstance();
    dict.UnLoad();
    if (!dict.Load((out + "/POI/CoreDict.dct").c_str(), false))
        Die("cannot load " + out + "/POI/CoreDict.dct");
    eMMWordSeg seg;
    seg.SetDict(dict);

    std::mt19937 rng(20261123);
    std::vector<Query> queries;
    long brandNames = 0;
    for (int kind = 0; kind < kKinds; ++kind) {
        int made = 0;
        for (long guard = 0; made < perKind && guard < 50L * perKind; ++guard) {
            const std::size_t r = rng() % rows.size();
            const auto set = dataSets.find(rows[r].province);
            if (set == dataSets.end())
                continue;
            Query q;
            q.kind = kind;
            q.row = r;
            q.dataSet = set->second;
            if (!CutQuery(kind, rows[r], rng, seg, q))
                continue;
            queries.push_back(q);
            ++made;
        }
    }
    std::mt19937 unusedRng(0);
    for (const Row& r : rows) {
        Query unused;
        if (CutQuery(kBrand, r, unusedRng, seg, unused))
            ++brandNames;
    }
    // The queries of a data set run together, as a user searches one province.
    std::stable_sort(queries.begin(), queries.end(),
                     [](const Query& a, const Query& b) { return a.dataSet < b.dataSet; });

    const auto built = Clock::now();
    SqliteSide sqlite(rows, seg);
    const double sqliteSeconds = std::chrono::duration<double>(Clock::now() - built).count();

    EngineSide engine(out, rows);
    const bool showMisses = std::getenv("RECALL_SHOW_MISSES") != nullptr;
    Tally tally[kKinds];
    for (const Query& q : queries) {
        Tally& t = tally[q.kind];
        ++t.queries;
        const EngineAnswer a = engine.Ask(q);
        t.engine += a.found;
        t.refused += a.refused;
        t.unreadable += a.unreadable;
        t.announced += a.announced;
        if (showMisses && !a.found)
            std::fprintf(stderr, "missed: %s \"%s\" in %s (%s), %d hits listed\n", kKindNames[q.kind],
                         IsText(q.kind) ? q.plain.c_str() : q.key.c_str(), rows[q.row].name.c_str(),
                         rows[q.row].province.c_str(), a.announced);
        if (IsText(q.kind)) {
            t.cut += a.announced >= ePOIEngineManager::kFirstBatch;
            t.words += sqlite.Words(q);
            if (q.chars < 3)
                ++t.trigramTooShort;
            else
                t.trigram += sqlite.Trigram(q);
        } else {
            const std::size_t n = std::min<std::size_t>(q.key.size(), 7);
            ++t.byLength[n];
            t.foundByLength[n] += a.found;
        }
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();

    std::printf("\n### %zu POIs (%s)\n\n", rows.size(), out.c_str());
    std::printf("%zu queries drawn with seed 20261123 (up to %d per kind); SQLite FTS5 tables built in memory "
                "in %.1f s; whole run %.1f s.\n\n",
                queries.size(), perKind, sqliteSeconds, seconds);
    std::printf("| query kind | queries | engine recall | SQLite FTS5 words | SQLite FTS5 trigram | engine hits listed per query (mean) |\n");
    std::printf("|---|---|---|---|---|---|\n");
    for (int k = 0; k < kKinds; ++k) {
        const Tally& t = tally[k];
        if (k == kBrand && t.queries == 0) {
            std::printf("| %s | 0 | no name of this data set holds a run of two or more Latin letters: none cut | | | |\n",
                        kKindNames[k]);
            continue;
        }
        const bool text = IsText(k);
        std::string trigram = text ? Percent(t.trigram, t.queries) : "";
        if (text && t.trigramTooShort == t.queries)
            trigram += " (all shorter than 3 characters)";
        else if (text && t.trigramTooShort > 0)
            trigram += " (" + std::to_string(t.trigramTooShort) + " shorter than 3 characters)";
        std::printf("| %s | %ld | %s | %s | %s | %.1f |\n", kKindNames[k], t.queries, Percent(t.engine, t.queries).c_str(),
                    text ? Percent(t.words, t.queries).c_str() : "", trigram.c_str(),
                    t.queries ? static_cast<double>(t.announced) / static_cast<double>(t.queries) : 0.0);
    }
    std::printf("\nThe trigram tokenizer makes no trigram of text shorter than three characters: such queries "
                "cannot be answered and count as not found.\n");
    std::printf("Text lists the engine cut at %d hits (it keeps the first %d):", ePOIEngineManager::kFirstBatch,
                ePOIEngineManager::kFirstBatch);
    for (int k = kText1; k <= kBrand; ++k)
        std::printf(" %s %ld of %ld%s", kKindNames[k], tally[k].cut, tally[k].queries, k < kBrand ? ";" : ".\n");
    std::printf("Initials prefix recall by letters typed:");
    for (int n = 2; n <= 6; ++n)
        std::printf(" %d: %s (%ld)%s", n, Percent(tally[kInitialsPrefix].foundByLength[n], tally[kInitialsPrefix].byLength[n]).c_str(),
                    tally[kInitialsPrefix].byLength[n], n < 6 ? ";" : ".\n");
    long refused = 0, unreadable = 0;
    for (const Tally& t : tally) {
        refused += t.refused;
        unreadable += t.unreadable;
    }
    std::printf("Queries the engine answered false: %ld; announced hits that GetPOIInfo could not read: %ld.\n", refused,
                unreadable);
    std::printf("Names with a Latin brand (two or more Latin letters in a row): %ld of %zu.\n", brandNames, rows.size());
    const double text2 = Share(tally[kText2].engine, tally[kText2].queries);
    const double text3 = Share(tally[kText3].engine, tally[kText3].queries);
    const double text4 = Share(tally[kText4].engine, tally[kText4].queries);
    const double full = Share(tally[kInitialsFull].engine, tally[kInitialsFull].queries);
    const double prefix = Share(tally[kInitialsPrefix].engine, tally[kInitialsPrefix].queries);
    const bool met = std::min({text2, text3, text4, full, prefix}) >= 98.0;
    std::printf("Goal: engine recall >= 98%% for text of 2 to 4 hanzi and for initials: %s (text 2/3/4 hanzi "
                "%.1f / %.1f / %.1f%%, initials full %.1f%%, prefix %.1f%%).\n",
                met ? "met" : "missed", text2, text3, text4, full, prefix);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<std::pair<std::string, std::string>> sets; // (source, out)
    std::string source;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--source") == 0 && i + 1 < argc) {
            source = argv[++i];
            continue;
        }
        fs::path out = fs::path(argv[i]).lexically_normal();
        if (out.filename().empty())
            out = out.parent_path();
        sets.emplace_back(source.empty() ? (out.parent_path() / "src").string() : source, out.string());
        source.clear();
    }
    if (sets.empty()) {
        const char* env = std::getenv("POI_BENCH_DATA");
        if (env == nullptr) {
            std::fprintf(stderr, "usage: RecallBench [--source SRC] OUT ... (or set POI_BENCH_DATA)\n");
            return 2;
        }
        const fs::path out = fs::path(env).lexically_normal();
        sets.emplace_back((out.parent_path() / "src").string(), out.string());
    }
    const char* perKindText = std::getenv("RECALL_QUERIES");
    const int perKind = perKindText ? std::max(1, std::atoi(perKindText)) : 5000;
    std::printf("SQLite %s; recall of the POI each query was cut from\n", sqlite3_libversion());
    for (const auto& [src, out] : sets)
        RunDataSet(src, out, perKind);
    return 0;
}
