// `poi build` on large synthetic OpenStreetMap files: read speed (nodes per
// second over the whole build) and peak memory at several sizes, to show
// that memory follows the objects taken, not the nodes of the file.
//
// Each file holds the same named roads (a grid over Beijing, every crossing
// a crossroad), the same named POIs, and as many unnamed buildings (closed
// ways of four nodes) as it takes to reach its size: most nodes of a real
// extract are such. Files are written once with libosmium's PBF writer next
// to the benchmark data (POI_BENCH_DATA's parent, else /tmp), and compiled
// by the release `poi` under /usr/bin/time -v. The read alone (OsmReader,
// both passes) is timed in this process.
//
//   OsmBuildBench [MILLION_NODES...]   (default: 2 8)

#include <osmium/builder/attr.hpp>
#include <osmium/io/pbf_output.hpp>
#include <osmium/io/writer.hpp>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Compiler/OsmReader.h"
#include "Compiler/SimplifiedChinese.h"
#include "PeerSupport.h"

namespace fs = std::filesystem;
using namespace osmium::builder::attr;

namespace {

constexpr int kRoads = 150;      // roads each way: 22,500 crossroads
constexpr int kPois = 20000;     // named POIs
constexpr int kRoadStep = 4;     // nodes between two crossings

const char* const kTags[][3] = {{"amenity", "restaurant", "餐厅"}, {"shop", "supermarket", "超市"},
                                {"amenity", "bank", "银行"},       {"amenity", "school", "学校"},
                                {"amenity", "cafe", "咖啡"},       {"tourism", "hotel", "酒店"}};

void Generate(const std::string& path, long long nodes)
{
    osmium::io::Header header;
    header.set("generator", "OsmBuildBench");
    osmium::io::Writer writer(osmium::io::File(path, "pbf"), header, osmium::io::overwrite::allow);
    osmium::memory::Buffer buffer(1 << 20, osmium::memory::Buffer::auto_grow::yes);
    const auto flush = [&]() {
        if (buffer.committed() > (1 << 20) - (1 << 16)) {
            writer(std::move(buffer));
            buffer = osmium::memory::Buffer(1 << 20, osmium::memory::Buffer::auto_grow::yes);
        }
    };
    const double west = 116.25, south = 39.85, span = 0.2;
    const int line = (kRoads - 1) * kRoadStep + 1; // nodes along one road
    // Road nodes: the grid of rows, then the columns' own nodes.
    const auto rowNode = [&](int r, int k) { return 1LL + static_cast<long long>(r) * line + k; };
    const long long columnBase = rowNode(kRoads, 0);
    const auto columnNode = [&](int c, int k) {
        return k % kRoadStep == 0 ? rowNode(k / kRoadStep, c * kRoadStep)
                                  : columnBase + static_cast<long long>(c) * line + k;
    };
    const double step = span / (line - 1);
    long long id = 1;
    for (int r = 0; r < kRoads; ++r)
        for (int k = 0; k < line; ++k, ++id)
            osmium::builder::add_node(buffer, _id(id), _version(1), _location(west + k * step, south + r * kRoadStep * step)),
                flush();
    for (int c = 0; c < kRoads; ++c)
        for (int k = 0; k < line; ++k, ++id)
            if (k % kRoadStep != 0)
                osmium::builder::add_node(buffer, _id(columnBase + static_cast<long long>(c) * line + k), _version(1),
                                          _location(west + c * kRoadStep * step, south + k * step)),
                    flush();
    id = columnBase + static_cast<long long>(kRoads) * line;
    for (int p = 0; p < kPois; ++p, ++id) {
        const auto& tag = kTags[p % 6];
        const std::string name = std::string("测试") + tag[2] + std::to_string(p);
        const std::string phone = "010 " + std::to_string(60000000 + p);
        const osmium::Location at(west + (p * 7919LL % 20000) * span / 2e4, south + (p * 104729LL % 20000) * span / 2e4);
        osmium::builder::add_node(buffer, _id(id), _version(1), _location(at), _tag(tag[0], tag[1]),
                                  _tag("name", name.c_str()), _tag("phone", phone.c_str()));
        flush();
    }
    const long long firstBuilding = id;
    const long long buildings = std::max(0LL, (nodes - (firstBuilding - 1)) / 4);
    for (long long b = 0; b < buildings; ++b) {
        const double x = west + static_cast<double>(b * 7919 % 1000000) * span / 1e6;
        const double y = south + static_cast<double>(b * 104729 % 1000000) * span / 1e6;
        for (int k = 0; k < 4; ++k, ++id)
            osmium::builder::add_node(buffer, _id(id), _version(1),
                                      _location(x + (k == 1 || k == 2) * 1e-4, y + (k >= 2) * 1e-4)),
                flush();
    }
    long long way = 1;
    for (int r = 0; r < kRoads; ++r, ++way) {
        std::vector<long long> refs;
        for (int k = 0; k < line; ++k)
            refs.push_back(rowNode(r, k));
        const std::string name = "横" + std::to_string(r) + "街";
        osmium::builder::add_way(buffer, _id(way), _version(1), _nodes(refs), _tag("highway", "primary"),
                                 _tag("name", name.c_str()));
        flush();
    }
    for (int c = 0; c < kRoads; ++c, ++way) {
        std::vector<long long> refs;
        for (int k = 0; k < line; ++k)
            refs.push_back(columnNode(c, k));
        const std::string name = "纵" + std::to_string(c) + "路";
        osmium::builder::add_way(buffer, _id(way), _version(1), _nodes(refs), _tag("highway", "primary"),
                                 _tag("name", name.c_str()));
        flush();
    }
    for (long long b = 0; b < buildings; ++b, ++way) {
        const long long n = firstBuilding + 4 * b;
        const std::vector<long long> ring = {n, n + 1, n + 2, n + 3, n};
        osmium::builder::add_way(buffer, _id(way), _version(1), _nodes(ring), _tag("building", "yes"));
        flush();
    }
    writer(std::move(buffer));
    writer.close();
}

// "Label: value" of /usr/bin/time -v's report.
std::string Field(const std::string& report, const std::string& label)
{
    std::ifstream in(report);
    std::string line;
    while (std::getline(in, line))
        if (const auto at = line.find(label + ": "); at != std::string::npos)
            return line.substr(at + label.size() + 2);
    return "";
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<double> sizes;
    for (int i = 1; i < argc; ++i)
        sizes.push_back(std::atof(argv[i]));
    if (sizes.empty())
        sizes = {2, 8};
    const char* data = std::getenv("POI_BENCH_DATA");
    const fs::path dir = data && *data ? fs::path(data).parent_path() / "osm" : fs::path("/tmp/poi-osm-bench");
    const fs::path poi = fs::canonical("/proc/self/exe").parent_path().parent_path() / "Tools/poi/poi";
    if (!fs::exists(poi))
        KestBench::Die("no poi next to the benchmarks: " + poi.string());
    if (!fs::exists("/usr/bin/time"))
        KestBench::Die("/usr/bin/time is missing (Debian package time)");
    const fs::path src = dir / "src";
    fs::create_directories(src);
    const fs::path sample = fs::path(KEST_SOURCE_DIR) / "Data/Sample";
    for (const char* file : {"categories.txt", "districts.geojson", "words.txt"})
        fs::copy_file(sample / file, src / file, fs::copy_options::overwrite_existing);

    Kest::OsmCategories table;
    std::string error;
    if (!table.Parse(Kest::OsmCategories::BuiltIn(), error))
        KestBench::Die(error);
    const Kest::SimplifiedChinese simplified;
    std::printf("%-10s %8s %8s %8s %12s %8s %12s\n", "nodes", "file MB", "objects", "read s", "nodes/s", "build s",
                "peak RSS MB");
    for (double millions : sizes) {
        const auto nodes = static_cast<long long>(millions * 1e6);
        const fs::path file = dir / ("synthetic-" + std::to_string(nodes) + ".osm.pbf");
        if (!fs::exists(file)) {
            std::fprintf(stderr, "writing %s ...\n", file.c_str());
            Generate(file.string() + ".part", nodes);
            fs::rename(file.string() + ".part", file);
        }
        Kest::OsmReader reader(table, &simplified);
        std::vector<Kest::OsmObject> objects;
        const auto started = KestBench::Clock::now();
        if (!reader.Read(file.string(), objects, error))
            KestBench::Die(error);
        const double readSeconds = KestBench::Micros(started) / 1e6;
        const fs::path report = dir / "time.txt";
        const std::string command = "/usr/bin/time -v -o '" + report.string() + "' '" + poi.string() + "' build '" +
                                    src.string() + "' '" + (dir / "out").string() + "' --osm '" + file.string() +
                                    "' > '" + (dir / "build.txt").string() + "' 2>&1";
        if (std::system(command.c_str()) != 0)
            KestBench::Die("poi build failed: see " + (dir / "build.txt").string());
        const std::string elapsed = Field(report.string(), "Elapsed (wall clock) time (h:mm:ss or m:ss)");
        double seconds = 0;
        for (std::size_t at = 0, next; at < elapsed.size(); at = next + 1) {
            next = elapsed.find(':', at);
            if (next == std::string::npos)
                next = elapsed.size();
            seconds = seconds * 60 + std::atof(elapsed.substr(at, next - at).c_str());
        }
        const double rssMb = std::atof(Field(report.string(), "Maximum resident set size (kbytes)").c_str()) / 1024;
        std::printf("%-10lld %8.1f %8zu %8.2f %12.0f %8.2f %12.1f\n", nodes,
                    static_cast<double>(fs::file_size(file)) / 1e6, objects.size(), readSeconds,
                    static_cast<double>(nodes) / readSeconds, seconds, rssMb);
    }
    return 0;
}
