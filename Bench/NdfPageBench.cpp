// Page files and record sets: field reads, walks, random positioning, pool
// hits and misses, and the pool's memory against its budget.
//
// The data: one file per size, written once into a temporary directory, of
// POI-like records (name, longitude, latitude, code, area code) in 8 KB
// pages, read as one long run from its first record.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <string>

#include <unistd.h>

#include "Compiler/PageFileWriter.h"
#include "Ndf/eNdfPool.h"
#include "Ndf/eNdfRecordsetTabular.h"

using namespace Kest;

namespace {

struct DataSet {
    std::string dir;
    std::uint16_t file;
    int records;
    std::uint32_t pages;
};

std::string s_dir; // the temporary directory, removed at exit
std::vector<std::string> s_files;

void RemoveFiles()
{
    for (const std::string& f : s_files)
        std::remove(f.c_str());
    rmdir(s_dir.c_str());
}

const DataSet& Data(int records)
{
    static std::map<int, DataSet> sets;
    auto found = sets.find(records);
    if (found != sets.end())
        return found->second;
    static const std::string dir = [] {
        char name[] = "/tmp/ndf-bench-XXXXXX";
        if (!mkdtemp(name))
            std::abort();
        std::atexit(RemoveFiles);
        return std::string(name) + "/";
    }();
    s_dir = dir;
    const std::uint16_t file = static_cast<std::uint16_t>(100 + sets.size());
    PageFileWriter writer(file);
    s_files.push_back(dir + std::to_string(file) + ".ndf");
    if (!writer.Open(s_files.back()))
        std::abort();
    std::mt19937 rng(7);
    std::vector<PageFileWriter::Record> chunk;
    ueglobal_addr_t addr;
    for (int i = 0; i < records; ++i) {
        PageFileWriter::Record r;
        r.SetText(0, "POI name " + std::to_string(i));
        r.SetInt(1, 116000000 + rng() % 1000000);
        r.SetInt(2, 39000000 + rng() % 1000000);
        r.SetInt(3, static_cast<std::uint32_t>(i));
        r.SetShort(4, static_cast<std::uint16_t>(rng()));
        chunk.push_back(r);
        // Consecutive appends continue one run: a record that does not fit in
        // a page is element 0 of the next.
        if (chunk.size() == 1000 || i + 1 == records) {
            if (!writer.AppendRun(chunk, addr))
                std::abort();
            chunk.clear();
        }
    }
    const std::uint32_t pages = writer.GetPageCount();
    if (!writer.Close())
        std::abort();
    return sets.emplace(records, DataSet{dir, file, records, pages}).first->second;
}

void OverRun(eNdfRecordsetTabular& rs, eNdfPool& pool, const DataSet& data)
{
    eArray<ueaddr_t> pids;
    pids.Add(ueaddr_t{0, data.file});
    eArray<unsigned short> eids;
    eids.Add(0);
    eArray<unsigned int> counts;
    counts.Add(static_cast<unsigned int>(data.records));
    rs.SetPool(&pool);
    rs.SetPIDs(pids);
    rs.SetEIDs(eids);
    rs.SetEIDCounts(counts);
}

void BM_FieldOfCachedRecord(benchmark::State& state)
{
    const DataSet& data = Data(1000000);
    eNdfPool pool;
    pool.SetSize(1048576);
    pool.SetDataPath(data.dir.c_str());
    eNdfRecordsetTabular rs;
    OverRun(rs, pool, data);
    rs.MoveTo(123456);
    for (auto _ : state) {
        unsigned char* value = nullptr;
        benchmark::DoNotOptimize(rs.GetFieldValue(3, value));
        benchmark::DoNotOptimize(value);
    }
}
BENCHMARK(BM_FieldOfCachedRecord);

void BM_Walk1MRecords(benchmark::State& state)
{
    const DataSet& data = Data(1000000);
    eNdfPool pool;
    pool.SetSize(1048576); // the engine's budget: the walk streams through it
    pool.SetDataPath(data.dir.c_str());
    eNdfRecordsetTabular rs;
    OverRun(rs, pool, data);
    for (auto _ : state) {
        std::uint64_t sum = 0;
        for (bool ok = rs.MoveFirst(); ok; ok = rs.MoveNext()) {
            unsigned char* value = nullptr;
            if (rs.GetFieldValue(3, value) == 4)
                sum += value[0];
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * data.records);
}
BENCHMARK(BM_Walk1MRecords)->Unit(benchmark::kMillisecond);

// Arg: the pool budget in KB (1024 is the engine's; 65536 holds the file).
void BM_RandomMoveToInALongRun(benchmark::State& state)
{
    const DataSet& data = Data(1000000);
    eNdfPool pool;
    pool.SetSize(static_cast<int>(state.range(0)) * 1024);
    pool.SetDataPath(data.dir.c_str());
    eNdfRecordsetTabular rs;
    OverRun(rs, pool, data);
    rs.MoveTo(data.records - 1); // maps the run's pages once
    std::mt19937 rng(1);
    for (auto _ : state) {
        const int id = static_cast<int>(rng() % static_cast<unsigned>(data.records));
        if (!rs.MoveTo(id))
            state.SkipWithError("MoveTo failed");
        unsigned char* value = nullptr;
        benchmark::DoNotOptimize(rs.GetFieldValue(0, value));
    }
    state.counters["hit_rate"] = static_cast<double>(pool.GetHits()) / static_cast<double>(pool.GetHits() + pool.GetMisses());
}
BENCHMARK(BM_RandomMoveToInALongRun)->Arg(1024)->Arg(65536);

void BM_PoolHit(benchmark::State& state)
{
    const DataSet& data = Data(1000000);
    eNdfPool pool;
    pool.SetDataPath(data.dir.c_str());
    std::vector<unsigned char> buffer(131072);
    const ueaddr_t page{17, data.file};
    pool.GetPage(page, buffer.data(), static_cast<int>(buffer.size()));
    for (auto _ : state)
        benchmark::DoNotOptimize(pool.GetPage(page, buffer.data(), static_cast<int>(buffer.size())));
    state.SetBytesProcessed(state.iterations() * pool.GetPageSize(page));
}
BENCHMARK(BM_PoolHit);

// Every read misses: a zero budget keeps one page, and the two pages
// alternate. The file itself is in the operating system's cache.
void BM_PoolMiss(benchmark::State& state)
{
    const DataSet& data = Data(1000000);
    eNdfPool pool;
    pool.SetSize(0);
    pool.SetDataPath(data.dir.c_str());
    std::vector<unsigned char> buffer(131072);
    std::uint32_t p = 0;
    for (auto _ : state) {
        p = (p + 7919) % data.pages;
        benchmark::DoNotOptimize(pool.GetPage(ueaddr_t{p, data.file}, buffer.data(), static_cast<int>(buffer.size())));
    }
    if (pool.GetHits() != 0)
        state.SkipWithError("a read hit the cache");
}
BENCHMARK(BM_PoolMiss);

// Arg: records in the file. The budget is the engine's 1 MB; a walk, random
// reads and a record set holding a page go through it. The counters show the
// most the cache ever held against the budget plus one page.
void BM_PoolMemoryBound(benchmark::State& state)
{
    const DataSet& data = Data(static_cast<int>(state.range(0)));
    std::size_t peak = 0, largest = 0;
    const int budget = 1048576;
    for (auto _ : state) {
        eNdfPool pool;
        pool.SetSize(budget);
        pool.SetDataPath(data.dir.c_str());
        eNdfRecordsetTabular held, walker;
        OverRun(held, pool, data);
        held.MoveTo(data.records / 2);
        OverRun(walker, pool, data);
        for (bool ok = walker.MoveFirst(); ok; ok = walker.MoveNext())
            benchmark::DoNotOptimize(walker.GetID());
        std::vector<unsigned char> buffer(131072);
        std::mt19937 rng(2);
        for (int i = 0; i < 20000; ++i)
            pool.GetPage(ueaddr_t{static_cast<std::uint32_t>(rng() % data.pages), data.file}, buffer.data(), 131072);
        peak = pool.GetPeakBytes();
        largest = pool.GetLargestPage();
    }
    state.counters["file_MB"] = static_cast<double>(data.pages) * 8192 / 1048576.0;
    state.counters["budget"] = budget;
    state.counters["peak_cached"] = static_cast<double>(peak);
    state.counters["largest_page"] = static_cast<double>(largest);
    state.counters["within_budget_plus_page"] = peak <= budget + largest ? 1 : 0;
}
BENCHMARK(BM_PoolMemoryBound)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond)->Iterations(1);

} // namespace

BENCHMARK_MAIN();
