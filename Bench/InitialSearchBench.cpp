// Typing a name letter by letter into the search by initials, on an index of
// 1,000,000 generated POIs: the time of one keystroke, which is the query
// (with the path cache of the previous keystroke) plus fetching the first 10
// hits with their names, coordinates and area names. Reported as median and
// p99 per keystroke, with the engine's 1 MB page pool.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "Compiler/AdminIndexWriter.h"
#include "Compiler/GbkCodec.h"
#include "Compiler/Initial2IndexWriter.h"
#include "Compiler/PoiStoreWriter.h"
#include "POIEngine/PinyinHelpers.h"
#include "Ndf/eNdfPool.h"
#include "POIEngine/ePOIEngineManager.h"

using namespace Kest;
using KestBench::Percentile;

namespace {

constexpr int kRows = 1000000;
constexpr int kCities = 16;
constexpr int kDataSet = 10;

// Common characters of shop and place names, and the endings of POI names.
const char* const kStems =
    "北京上海天津重庆河南山东江苏浙江广东四川湖北湖南安徽福建云贵陕西甘肃青海宁夏新疆西藏吉林辽宁黑龙"
    "金银华新东南西北中大小长安和平光明人民解放建设胜利幸福红星青年朝阳海淀丰台石景通州顺义昌平大兴怀柔"
    "密云延庆平谷门头沟徐汇黄浦静安普陀虹口杨浦闵行宝山嘉定松江青浦奉贤崇明龙泉凤凰翠湖玉泉万寿永定";
const char* const kEndings[] = {"饭店", "超市", "银行", "加油站", "医院", "中学", "小学", "公园", "酒店", "药店",
                                "停车场", "邮局", "书店", "餐厅", "宾馆", "花园", "广场", "大厦", "市场", "影院"};

struct Data {
    std::string root;
    std::vector<std::string> initials; // of a sample of the rows, for typing
};

// Writes the data directory once per process: the POI store, the area names
// and the initial index of data set 10, all from the same generated rows.
const Data& GetData()
{
    static const Data data = [] {
        Data d;
        d.root = "/tmp/InitialSearchBench-" + std::to_string(getpid());
        const std::string poi = d.root + "/POI/";
        std::filesystem::create_directories(poi);
        const auto start = std::chrono::steady_clock::now();

        std::vector<std::string> stems;
        const std::string all = GbkCodec::Gbk(kStems);
        for (std::size_t i = 0; i + 1 < all.size(); i += 2)
            stems.push_back(all.substr(i, 2));
        std::vector<std::string> endings;
        for (const char* e : kEndings)
            endings.push_back(GbkCodec::Gbk(e));

        std::mt19937 rng(20261121);
        PoiStoreWriter store;
        Initial2IndexWriter index(static_cast<std::uint16_t>(100 + kDataSet));
        AdminIndexWriter admin;
        for (int c = 1; c <= kCities; ++c) {
            index.AddDistrict(GbkCodec::Gbk("省") + std::to_string((c + 3) / 4), GbkCodec::Gbk("市") + std::to_string(c),
                              static_cast<std::uint16_t>(c));
            admin.Add(static_cast<std::uint16_t>(c), GbkCodec::Gbk("某省某市某区") + std::to_string(c));
        }
        if (!store.Open(poi + "1.ndf")) {
            std::fprintf(stderr, "%s\n", store.GetError().c_str());
            std::exit(1);
        }
        for (int i = 0; i < kRows; ++i) {
            PoiStoreRecord r;
            for (int n = 2 + static_cast<int>(rng() % 3); n > 0; --n)
                r.name += stems[rng() % stems.size()];
            r.name += endings[rng() % endings.size()];
            r.lon = 73000000 + rng() % 62000000;
            r.lat = 18000000 + rng() % 35000000;
            r.code = 1050 + rng() % 10;
            r.area = static_cast<std::uint16_t>(1 + rng() % kCities);
            ueglobal_addr_t addr{};
            store.Add(r, addr);
            index.AddPoi(r.name, r.area, addr);
            if (i % 250 == 0) {
                std::unique_ptr<char[]> ini(GetPYInitials(r.name.c_str()));
                d.initials.emplace_back(ini.get());
            }
        }
        std::string error;
        if (!store.Close() || !index.Write(poi + std::to_string(100 + kDataSet) + ".ndf") ||
            !admin.WriteFile(poi + "AdminIndex.ndf", &error)) {
            std::fprintf(stderr, "cannot write the data: %s %s\n", index.GetError().c_str(), error.c_str());
            std::exit(1);
        }
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        std::fprintf(stderr, "data: %d POIs, index %.1f MB, store %.1f MB, written in %.1f s\n", kRows,
                     std::filesystem::file_size(poi + "110.ndf") / 1e6, std::filesystem::file_size(poi + "1.ndf") / 1e6,
                     seconds);
        std::atexit([] { std::filesystem::remove_all(GetData().root); });
        return d;
    }();
    return data;
}

// Reads the pool's counters.
class Probe : public ePOIEngineManager {
public:
    std::uint64_t Misses() const { return m_pPool != nullptr ? m_pPool->GetMisses() : 0; }
};

// One keystroke per iteration: the sampled names are typed one after the
// other, each from its first letter to its sixth (or its last).
void Keystroke(benchmark::State& state, const char* province, const char* city)
{
    const Data& data = GetData();
    Probe engine;
    engine.SetPoiPath(data.root.c_str());
    const std::string p = GbkCodec::Gbk(province), c = GbkCodec::Gbk(city);
    std::vector<std::string> typed;
    for (const auto& ini : data.initials)
        for (std::size_t n = 1; n <= std::min<std::size_t>(6, ini.size()); ++n)
            typed.push_back(ini.substr(0, n));
    std::vector<double> micros, queryMicros;
    std::vector<std::vector<double>> byLength(7);
    micros.reserve(typed.size());
    std::size_t k = 0;
    long long hits = 0;
    for (auto _ : state) {
        const std::string& key = typed[k++ % typed.size()];
        const auto start = std::chrono::steady_clock::now();
        char* next = nullptr;
        int nextCount = 0;
        engine.QueryByInitial(3, kDataSet, p.c_str(), c.c_str(), key.c_str(), next, nextCount);
        queryMicros.push_back(std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
        const int count = std::min(10, engine.GetPOICount(0));
        for (int i = 0; i < count; ++i) {
            ePoiInfo info{};
            hits += engine.GetPOIInfo(0, i, info);
            benchmark::DoNotOptimize(info);
        }
        const double us = std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count();
        state.SetIterationTime(us / 1e6);
        micros.push_back(us);
        byLength[key.size()].push_back(us);
    }
    state.counters["median_us"] = Percentile(micros, 0.5);
    state.counters["p99_us"] = Percentile(micros, 0.99);
    for (std::size_t n = 1; n < byLength.size(); ++n)
        state.counters["median_us_" + std::to_string(n)] = Percentile(byLength[n], 0.5);
    state.counters["query_median_us"] = Percentile(queryMicros, 0.5);
    state.counters["misses_per_key"] = static_cast<double>(engine.Misses()) / static_cast<double>(micros.size());
    state.counters["hits_per_key"] = static_cast<double>(hits) / static_cast<double>(micros.size());
}

void BM_KeystrokeAllDistricts(benchmark::State& state) { Keystroke(state, "*", "*"); }
void BM_KeystrokeOneCity(benchmark::State& state) { Keystroke(state, "省1", "市3"); }

} // namespace

BENCHMARK(BM_KeystrokeAllDistricts)->UseManualTime()->Iterations(20000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_KeystrokeOneCity)->UseManualTime()->Iterations(20000)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
