#pragma once
// What the benchmarks that set the engine beside SQLite share: failing with a
// message, timing, peak memory, the SQLite calls, and the report's units.
// Header only: every .cpp in Bench/ is a program of its own.

#include <sqlite3.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace KestBench {

using Clock = std::chrono::steady_clock;

// "PROGRAM: what" on stderr, then exit status 1.
[[noreturn]] inline void Die(const std::string& what)
{
    std::fprintf(stderr, "%s: %s\n", program_invocation_short_name, what.c_str());
    std::exit(1);
}

inline double Micros(Clock::time_point start)
{
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

// The peak resident memory of this process since its exec (VmHWM, in KB).
// ru_maxrss of a forked child would also count the parent's pages it
// shared before the exec.
inline long PeakRssKb()
{
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind("VmHWM:", 0) == 0)
            return std::atol(line.c_str() + 6);
    return 0;
}

inline void Exec(sqlite3* db, const std::string& sql)
{
    char* error = nullptr;
    if (sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
        const std::string message = error ? error : "?";
        sqlite3_free(error);
        Die("SQLite: " + message + " in: " + sql);
    }
}

inline sqlite3_stmt* Prepare(sqlite3* db, const char* sql)
{
    sqlite3_stmt* st = nullptr;
    if (sqlite3_prepare_v3(db, sql, -1, SQLITE_PREPARE_PERSISTENT, &st, nullptr) != SQLITE_OK)
        Die(std::string("SQLite: ") + sqlite3_errmsg(db) + " in: " + sql);
    return st;
}

// Runs a statement that returns no rows to use (an insert), then resets it.
inline void Step(sqlite3* db, sqlite3_stmt* st)
{
    const int rc = sqlite3_step(st);
    if (rc != SQLITE_DONE && rc != SQLITE_ROW)
        Die(std::string("SQLite: ") + sqlite3_errmsg(db));
    sqlite3_reset(st);
}

// Microseconds as the report prints them ("12.3 us", "456 us", "1.23 ms").
inline std::string Us(double us)
{
    char b[32];
    if (us >= 1000)
        std::snprintf(b, sizeof b, "%.2f ms", us / 1000);
    else if (us >= 10)
        std::snprintf(b, sizeof b, "%.0f us", us);
    else
        std::snprintf(b, sizeof b, "%.1f us", us);
    return b;
}

// How many times faster the engine is than the peer ("4.4x").
inline std::string Ratio(double peer, double engine)
{
    char b[32];
    std::snprintf(b, sizeof b, "%.1fx", engine > 0 ? peer / engine : 0.0);
    return b;
}

inline std::string Mb(double bytes)
{
    char b[32];
    std::snprintf(b, sizeof b, "%.1f MB", bytes / 1048576.0);
    return b;
}

} // namespace KestBench
