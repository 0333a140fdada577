// Admin-index lookups (file already read) and point-in-polygon tests on a
// county-sized outline, the two per-hit costs of area names and district
// lookups; plus decoding that outline from its blob.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include <unistd.h>

#include "Admin/eAdminIndex.h"
#include "Compiler/AdminIndexWriter.h"
#include "Compiler/RegionEncoder.h"
#include "Geo/eRelPointRegion.h"
#include "Ndf/eNdfRegion.h"

using namespace Kest;

namespace {

// A wobbly, concave outline of `count` points around Beijing.
std::vector<ePoint2D> Outline(int count)
{
    std::mt19937 random(2000);
    std::uniform_real_distribution<double> wobble(-0.03, 0.03);
    std::vector<ePoint2D> ring;
    double r = 0.3;
    for (int i = 0; i < count; ++i) {
        const double angle = 2 * M_PI * i / count;
        r = std::fmax(0.15, std::fmin(0.45, r + 0.3 * wobble(random)));
        ring.emplace_back(116.4 + r * std::cos(angle), 39.9 + 0.8 * r * std::sin(angle));
    }
    return ring;
}

// Query points spread over the outline's box: about half fall inside.
std::vector<ePoint2D> Probes(int count)
{
    std::mt19937 random(7);
    std::uniform_real_distribution<double> x(115.95, 116.85), y(39.54, 40.26);
    std::vector<ePoint2D> probes;
    for (int i = 0; i < count; ++i)
        probes.emplace_back(x(random), y(random));
    return probes;
}

void BM_IsWithin2000(benchmark::State& state)
{
    const std::vector<ePoint2D> ring = Outline(2000);
    const std::vector<ePoint2D> probes = Probes(1024);
    std::size_t i = 0;
    int inside = 0;
    for (auto _ : state) {
        inside += eRelPointRegion::IsWithin(probes[i++ & 1023], ring.data(), 2000, nullptr, true);
        benchmark::DoNotOptimize(inside);
    }
    state.counters["inside"] = static_cast<double>(inside) / static_cast<double>(state.iterations());
}
BENCHMARK(BM_IsWithin2000);

void BM_DecodeRegion2000(benchmark::State& state)
{
    const std::vector<ePoint2D> ring = Outline(2000);
    const ePoint2D origin(115.95, 39.54);
    const eSize2D scale(1.0, 0.6666666666666666);
    std::vector<unsigned char> blob;
    RegionEncoder(origin, scale, 4000).Encode(std::vector<std::vector<ePoint2D>>{ring}, blob);
    eNdfRegion reader(1);
    reader.SetBuffer(blob.data(), static_cast<int>(blob.size()));
    eGeoRegion region;
    for (auto _ : state) {
        benchmark::DoNotOptimize(reader.GetGeometry(origin, scale, 4000, region));
    }
    state.counters["blob_bytes"] = static_cast<double>(blob.size());
}
BENCHMARK(BM_DecodeRegion2000);

void BM_GetAdminInfoCached(benchmark::State& state)
{
    AdminIndexWriter writer;
    std::mt19937 random(3000);
    std::vector<unsigned short> codes;
    for (int code = 1; code <= 3000; ++code) {
        std::string name;
        for (int c = 0; c < 9; ++c) { // nine GBK characters: province, city, county
            name += static_cast<char>(0xB0 + random() % 0x48);
            name += static_cast<char>(0xA1 + random() % 0x5E);
        }
        writer.Add(static_cast<unsigned short>(code), name);
        codes.push_back(static_cast<unsigned short>(code));
    }
    std::shuffle(codes.begin(), codes.end(), random);
    const std::string path = "/tmp/kest-admin-bench-" + std::to_string(getpid()) + ".ndf";
    writer.WriteFile(path);
    eAdminIndex index;
    index.SetFilePath(path.c_str());
    eString name;
    index.GetAdminInfo(1, name); // reads the file; every later lookup is cached
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(index.GetAdminInfo(codes[i++ % codes.size()], name));
    }
    std::remove(path.c_str());
}
BENCHMARK(BM_GetAdminInfoCached);

} // namespace

BENCHMARK_MAIN();
