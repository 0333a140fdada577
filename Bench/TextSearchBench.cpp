// The search by Chinese text on a compiled data set of the generator: one-,
// two- and three-word queries cut from real names of the set, each followed
// by GetPOIInfo of the first 10 hits (name, coordinates, area name), with the
// engine's 1 MB pool. Reported as median and p99 per query.
//
// The data directory comes from POI_BENCH_DATA (`make bench` generates and
// compiles 1,000,000 POIs once and sets it); without it the benchmark says so
// and is skipped.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "Compiler/GbkCodec.h"
#include "POIEngine/eDictionary.h"
#include "POIEngine/eMMWordSeg.h"
#include "POIEngine/ePOIEngineManager.h"

using namespace Kest;
using KestBench::Percentile;
using KestBench::SplitCsv;

namespace {

struct Query {
    int dataSet;
    std::string text; // GBK
};

const char* DataDir()
{
    return std::getenv("POI_BENCH_DATA");
}

// Names of the source rows of every data set, with the data set they belong to
// (the order of datasets.txt), segmented as the search segments them.
std::vector<Query> MakeQueries(int words, bool spaced)
{
    std::vector<Query> queries;
    const std::string root = DataDir();
    std::ifstream sets(root + "/POI/datasets.txt");
    std::vector<std::pair<int, std::string>> dataSets;
    int number = 0;
    std::string province;
    while (sets >> number >> province)
        dataSets.emplace_back(number, province);
    std::ifstream csv(root + "/../src/pois.csv");
    if (!csv || dataSets.empty()) {
        std::fprintf(stderr, "cannot read %s/../src/pois.csv or datasets.txt\n", root.c_str());
        std::exit(1);
    }
    eDictionary& dict = eDictionary::GetInstance();
    if (!dict.isLoaded())
        dict.Load((root + "/POI/CoreDict.dct").c_str(), false);
    eMMWordSeg seg;
    seg.SetDict(dict);
    std::mt19937 rng(static_cast<unsigned>(words * 10 + spaced));
    std::string line;
    std::getline(csv, line);
    std::size_t row = 0;
    while (std::getline(csv, line)) {
        if (row++ % 250 != 0)
            continue;
        const std::vector<std::string> f = SplitCsv(line);
        if (f.size() < 8)
            continue;
        const auto set = std::find_if(dataSets.begin(), dataSets.end(), [&](const auto& d) { return d.second == f[5]; });
        if (set == dataSets.end())
            continue;
        eString cut = seg.SegmentHzStrMM(eString(GbkCodec::Gbk(f[0]).c_str()));
        eArray<eString> parts;
        seg.GetAdressSeg(cut, parts);
        if (parts.GetSize() < words)
            continue;
        const int start = static_cast<int>(rng() % static_cast<unsigned>(parts.GetSize() - words + 1));
        std::string text;
        for (int i = start; i < start + words; ++i)
            text += std::string(i > start && spaced ? " " : "") + parts[i].Cstr();
        queries.push_back({set->first, text});
    }
    return queries;
}

void TextQuery(benchmark::State& state, int words, bool spaced)
{
    if (DataDir() == nullptr) {
        state.SkipWithError("POI_BENCH_DATA is not set (make bench sets it)");
        return;
    }
    const std::vector<Query> queries = MakeQueries(words, spaced);
    ePOIEngineManager engine;
    engine.SetPoiPath(DataDir());
    std::vector<double> micros;
    long long hits = 0;
    std::size_t k = 0;
    for (auto _ : state) {
        const Query& q = queries[k++ % queries.size()];
        const auto start = std::chrono::steady_clock::now();
        engine.QueryByFullText(3, q.dataSet, "*", "*", q.text.c_str());
        const int count = std::min(10, engine.GetPOICount(0));
        for (int i = 0; i < count; ++i) {
            ePoiInfo info{};
            hits += engine.GetPOIInfo(0, i, info);
            benchmark::DoNotOptimize(info);
        }
        const double us = std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count();
        state.SetIterationTime(us / 1e6);
        micros.push_back(us);
    }
    state.counters["median_us"] = Percentile(micros, 0.5);
    state.counters["p99_us"] = Percentile(micros, 0.99);
    state.counters["hits_per_query"] = static_cast<double>(hits) / static_cast<double>(std::max<std::size_t>(1, micros.size()));
    state.counters["queries"] = static_cast<double>(queries.size());
}

void BM_TextOneWord(benchmark::State& state) { TextQuery(state, 1, false); }
void BM_TextTwoWords(benchmark::State& state) { TextQuery(state, 2, false); }
void BM_TextThreeWords(benchmark::State& state) { TextQuery(state, 3, false); }
void BM_TextTwoPieces(benchmark::State& state) { TextQuery(state, 2, true); }

} // namespace

BENCHMARK(BM_TextOneWord)->UseManualTime()->Iterations(4000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_TextTwoWords)->UseManualTime()->Iterations(4000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_TextThreeWords)->UseManualTime()->Iterations(4000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_TextTwoPieces)->UseManualTime()->Iterations(4000)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
