#include "DemoTour.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <unistd.h>

#include "Compiler/DataCompiler.h"
#include "CommandArgs.h"
#include "SearchCommand.h"
#include "StoreCommand.h"
#include "StoreTour.h"

#ifndef POI_SOURCE_DIR
#define POI_SOURCE_DIR "."
#endif

namespace Kest {

const char DemoTour::kUsage[] =
    "usage: poi demo [--sample DIR] [--cache DIR] [--keep]\n"
    "\n"
    "Builds the bundled sample (Beijing and Shanghai) once into a cache\n"
    "directory, then shows poi search and poi store on it: a name typed letter\n"
    "by letter, a refinement, the same initials in each province, searches by\n"
    "Chinese text, then every other search (each kind of poi search --help),\n"
    "favourites and history. The sample is built again when its files or poi\n"
    "change.\n"
    "\n"
    "options:\n"
    "  --sample DIR   the source directory to build (default: the sample installed\n"
    "                 with poi, else Data/Sample of the source tree poi was built from)\n"
    "  --cache DIR    where the built data is kept (default: $XDG_CACHE_HOME/poi-demo,\n"
    "                 else ~/.cache/poi-demo)\n"
    "  --keep         keep the scratch directory of the store tour and print its path\n"
    "  -h, --help     show this text\n"
    "\n"
    "exit status: 0 done, 1 a step failed, 2 usage error\n";

namespace {

namespace fs = std::filesystem;

std::string DefaultCache()
{
    const char* xdg = std::getenv("XDG_CACHE_HOME");
    if (xdg != nullptr && *xdg == '/')
        return std::string(xdg) + "/poi-demo";
    const char* home = std::getenv("HOME");
    if (home != nullptr && *home != '\0')
        return std::string(home) + "/.cache/poi-demo";
    std::error_code ec;
    return (fs::temp_directory_path(ec) / "poi-demo").string();
}

// The sample installed beside poi (<prefix>/share/poiengine/sample, see
// cmake/Install.cmake), else Data/Sample of the source tree poi was built from.
std::string DefaultSample()
{
    std::error_code ec;
    const fs::path installed = fs::read_symlink("/proc/self/exe", ec).parent_path().parent_path() / "share/poiengine/sample";
    if (!ec && fs::is_regular_file(installed / "pois.csv", ec))
        return installed.string();
    return std::string(POI_SOURCE_DIR) + "/Data/Sample";
}

long long ModifiedTicks(const fs::path& path)
{
    std::error_code ec;
    const auto time = fs::last_write_time(path, ec);
    return ec ? 0 : static_cast<long long>(time.time_since_epoch().count());
}

// What the built data depends on: every file of the sample (name, size,
// modification time) and the poi program that compiled it.
std::string Stamp(const std::string& sample)
{
    std::ostringstream stamp;
    stamp << "sample " << fs::absolute(sample).lexically_normal().string() << "\n";
    std::error_code ec;
    stamp << "poi " << ModifiedTicks(fs::read_symlink("/proc/self/exe", ec)) << "\n";
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(sample, ec))
        if (entry.is_regular_file())
            files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    for (const auto& file : files)
        stamp << file.filename().string() << " " << fs::file_size(file, ec) << " " << ModifiedTicks(file) << "\n";
    return stamp.str();
}

std::string ReadFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// The searches by coordinate, one grid over both provinces.
bool AroundTour(std::ostream& out, const std::string& data,
                const std::function<bool(const std::vector<std::string>&)>& search)
{
    out << "\n== Around a point (lon lat): within a radius in 1e-5 degree or metres, nearest first, with distances\n";
    bool ok = search({"--data", data, "around", "--limit", "3", "116.4374", "39.8893", "300"});
    ok &= search({"--data", data, "around", "--type", "2000", "--limit", "3", "121.4737", "31.2304", "1km"});
    ok &= search({"--data", data, "nearest", "--limit", "2", "--json", "121.4737", "31.2304"});
    return ok;
}

} // namespace

int DemoTour::Fail(int status, const std::string& message)
{
    m_err << "poi demo: " << message << "\n";
    return status;
}

bool DemoTour::Prepare(const std::string& sample, const std::string& cache, std::string& data)
{
    data = cache + "/data";
    const std::string stampFile = cache + "/stamp";
    const std::string stamp = Stamp(sample);
    std::error_code ec;
    if (ReadFile(stampFile) == stamp && fs::is_regular_file(data + "/POI/datasets.txt", ec)) {
        m_out << "Using the sample built in " << data << "\n";
        return true;
    }
    m_out << "Building the sample " << sample << " into " << data << " (once) ...\n" << std::flush;
    fs::create_directories(cache, ec);
    fs::remove(stampFile, ec);
    DataCompiler::Options options;
    options.source = sample;
    options.output = data;
    std::ostringstream report;
    const auto started = std::chrono::steady_clock::now();
    DataCompiler compiler(options, report);
    if (!compiler.Run()) {
        m_err << report.str();
        Fail(1, "building the sample failed: " + compiler.GetError());
        return false;
    }
    const auto& summary = compiler.GetSummary();
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.1f",
                  std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count());
    m_out << "Built " << summary.dataSets << " data sets, " << summary.pois << " POIs in " << seconds << " s\n";
    std::ofstream(stampFile, std::ios::binary) << stamp;
    return true;
}

bool DemoTour::Show(const std::string& command, const std::vector<std::string>& args)
{
    m_out << "\n$ poi " << command;
    for (const std::string& arg : args)
        m_out << " " << (arg.find_first_of(" *") != std::string::npos ? "'" + arg + "'" : arg);
    m_out << "\n";
    const int status = command == "search" ? SearchCommand(m_out, m_err).Run(args) : StoreCommand(m_out, m_err).Run(args);
    m_out << std::flush;
    return status == 0;
}

bool DemoTour::TelSteps(const std::string& data)
{
    m_out << "\n== A telephone number typed digit by digit: 东四小区 is 010 5033 0630; the next digits narrow\n";
    const std::string typed = "01050330630";
    bool ok = true;
    for (std::size_t n = 1; n <= typed.size(); ++n)
        ok &= Show("search", {"--data", data, "tel", "--limit", n < typed.size() ? "2" : "1", typed.substr(0, n)});
    return ok;
}

bool DemoTour::AddressSteps(const std::string& data)
{
    m_out << "\n== Categories: the branches, then one branch's categories and their codes\n";
    bool ok = Show("search", {"--data", data, "categories"});
    ok &= Show("search", {"--data", data, "categories", "餐饮服务"});
    m_out << "\n== By area and category: the cafés of 朝阳 by name, then of every county of 上海 by code at level 2 (names only)\n";
    ok &= Show("search", {"--data", data, "address", "--province", "北京", "--city", "北京", "--county", "朝阳",
                          "--category", "咖啡厅", "--limit", "3"});
    ok &= Show("search", {"--data", data, "address", "--province", "上海", "--city", "上海", "--county", "*",
                          "--category", "2025", "--level", "2", "--limit", "3", "--json"});
    return ok;
}

bool DemoTour::SightStep(const std::string& data)
{
    m_out << "\n== Sights and place names, two small sets of their own: by initials (with next letters) and by text\n";
    bool ok = Show("search", {"--data", data, "--limit", "3", "sight", "initial", "GG"});
    ok &= Show("search", {"--data", data, "--limit", "3", "sight", "text", "故居"});
    ok &= Show("search", {"--data", data, "--limit", "3", "place", "initial", "DS"});
    ok &= Show("search", {"--data", data, "--limit", "3", "place", "text", "东四"});
    return ok;
}

bool DemoTour::CrossroadStep(const std::string& data)
{
    m_out << "\n== Crossroads from either road: 体育馆路与东外大街交叉口 typed TYGL... or DWDJ..., and by road names\n";
    bool ok = Show("search", {"--data", data, "cross", "initial", "--province", "北京", "--limit", "3", "TYGL"});
    ok &= Show("search", {"--data", data, "cross", "initial", "--province", "北京", "--limit", "3", "DWDJTY"});
    ok &= Show("search", {"--data", data, "cross", "text", "--province", "北京", "--limit", "3", "东外大街与体育馆路"});
    return ok;
}

bool DemoTour::DistrictStep(const std::string& data)
{
    m_out << "\n== Which county holds a point: 天安门, 外滩, 崇明岛 (an island of Shanghai), then 北京大学 as JSON\n";
    bool ok = Show("search", {"--data", data, "district", "116.397", "39.909"});
    ok &= Show("search", {"--data", data, "district", "121.4903", "31.2417"});
    ok &= Show("search", {"--data", data, "district", "121.5", "31.6"});
    ok &= Show("search", {"--data", data, "--json", "district", "116.3264", "39.9925"});
    return ok;
}

int DemoTour::Run(const std::vector<std::string>& args)
{
    CommandArgs parsed({"--sample", "--cache"}, {"--keep"});
    std::string error;
    if (!parsed.Parse(args, error))
        return Fail(2, error + " (see poi demo --help)");
    if (parsed.Help()) {
        m_out << kUsage;
        return 0;
    }
    if (!parsed.Positional().empty())
        return Fail(2, "unexpected argument '" + parsed.Positional()[0] + "' (see poi demo --help)");
    const std::string sample = parsed.Value("--sample", DefaultSample());
    std::error_code ec;
    if (!fs::is_regular_file(sample + "/pois.csv", ec))
        return Fail(1, "no sample source in " + sample + " (give one with --sample DIR)");
    std::string data;
    if (!Prepare(sample, parsed.Value("--cache", DefaultCache()), data))
        return 1;

    bool ok = true;
    m_out << "\n== A name typed letter by letter: 王府井火锅店 is W F J H G D\n";
    const std::string typed = "WFJHGD";
    for (std::size_t n = 1; n <= typed.size(); ++n)
        ok &= Show("search", {"--data", data, "initial", "--province", "北京", "--limit", "3", typed.substr(0, n)});

    m_out << "\n== A refinement: the hits of XH narrowed to those that go on with Y, without a new search\n";
    ok &= Show("search", {"--data", data, "initial", "--province", "北京", "--limit", "3", "--refine", "XHY", "XH"});

    m_out << "\n== The same initials in each province, then a page of them as JSON\n";
    ok &= Show("search", {"--data", data, "initial", "--province", "北京市", "--limit", "3", "ZS"});
    ok &= Show("search", {"--data", data, "initial", "--province", "上海", "--limit", "3", "ZS"});
    ok &= Show("search", {"--data", data, "initial", "--province", "上海", "--city", "上海", "--limit", "2",
                          "--offset", "1", "--json", "ZS"});

    m_out << "\n== Chinese text: words typed together follow one another in the name; a space lets them lie anywhere\n";
    ok &= Show("search", {"--data", data, "text", "--province", "北京", "--limit", "3", "东四"});
    ok &= Show("search", {"--data", data, "text", "--province", "北京", "--limit", "3", "东四 饭店"});
    ok &= Show("search", {"--data", data, "text", "--province", "北京", "--limit", "3", "11号"});
    ok &= Show("search", {"--data", data, "text", "--province", "上海", "--limit", "3", "--refine", "路", "饭店"});
    ok &= AroundTour(m_out, data, [this](const std::vector<std::string>& a) { return Show("search", a); });

    ok &= TelSteps(data);

    ok &= AddressSteps(data);
    ok &= SightStep(data);

    ok &= CrossroadStep(data);

    ok &= DistrictStep(data);

    std::string scratch = (fs::temp_directory_path(ec) / "poi-demo-store-XXXXXX").string();
    if (ec || !mkdtemp(scratch.data()))
        return Fail(1, "cannot create a scratch directory for the store (set TMPDIR to a writable directory)");
    m_out << "\n== Favourites and history, kept in " << scratch << "\n";
    ok &= Show("store", {"--data", scratch, "fav", "add", "王府井火锅店", "116.418351", "39.895834", "--address",
                         "北京市东城区", "--code", "2005"});
    ok &= Show("store", {"--data", scratch, "fav", "add", "外滩", "121.490317", "31.241701", "--address",
                         "上海市黄浦区"});
    ok &= Show("store", {"--data", scratch, "fav", "list"});
    ok &= Show("store", {"--data", scratch, "history", "add", "北京南站", "116.378517", "39.865246"});
    ok &= Show("store", {"--data", scratch, "history", "add", "外滩", "121.490317", "31.241701"});
    ok &= Show("store", {"--data", scratch, "history", "add", "外滩", "121.490317", "31.241701"});
    ok &= Show("store", {"--data", scratch, "history", "list", "--json"});
    ok &= Show("store", {"--data", scratch, "fav", "remove", "1"});
    ok &= Show("store", {"--data", scratch, "history", "clear"});

    // The store in detail, through the engine's own store class, in a fresh
    // directory of its own.
    const std::string detail = scratch + "/tour";
    fs::create_directory(detail, ec);
    m_out << "\n== The user store in detail\n";
    ok &= StoreTour(m_out).Run(detail);

    if (parsed.Has("--keep"))
        m_out << "\nKept " << scratch << "\n";
    else
        fs::remove_all(scratch, ec);
    m_out << (ok ? "\nDemo complete.\n" : "\nA step of the demo failed.\n");
    return ok ? 0 : 1;
}

} // namespace Kest
