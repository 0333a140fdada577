// poi: the command-line face of the engine: the data compiler (`poi build`)
// and the demo tour of the user store; the searches join it as they land.

#include <csignal>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>
#include <vector>
#include <unistd.h>

#include "Build/DataCompiler.h"
#include "StoreTour.h"

namespace {

const char kUsage[] =
    "usage: poi COMMAND [ARGS]\n"
    "\n"
    "commands:\n"
    "  build    compile source data (UTF-8 CSV, GeoJSON) into a data directory\n"
    "  demo     tour the user store (favourites and history) in a scratch directory\n"
    "  help     show this text\n";

const char kDemoUsage[] =
    "usage: poi demo [--keep]\n"
    "\n"
    "Adds, reorders, lists, saves and reloads favourites and history in a new\n"
    "temporary directory and prints each step as UTF-8. --keep leaves the\n"
    "directory in place and prints its path.\n";

const char kBuildUsage[] =
    "usage: poi build SRC OUT [--strict]\n"
    "\n"
    "Compiles the source directory SRC (pois.csv, sights.csv, placenames.csv,\n"
    "crossroads.csv, categories.txt, districts.geojson, words.txt; UTF-8) into\n"
    "the data directory OUT (OUT/POI/...). A rejected row is reported on stderr\n"
    "as 'file:line: reason' and left out; the counts follow on stdout.\n"
    "OUT is replaced only when the build succeeds.\n"
    "\n"
    "options:\n"
    "  --strict   fail the build when any row is rejected\n"
    "  -h, --help show this text\n"
    "\n"
    "exit status: 0 built, 1 build failed (OUT unchanged), 2 usage error\n";

volatile std::sig_atomic_t g_interrupted = 0;

// The first Ctrl-C asks the build to stop cleanly (OUT untouched, the build
// directory removed); a second one ends the process at once.
extern "C" void OnInterrupt(int signal)
{
    g_interrupted = 1;
    std::signal(signal, SIG_DFL);
}

void PrintSummary(const Kest::DataCompiler::Summary& s, const std::string& out, double seconds)
{
    for (const auto& f : s.files)
        std::printf("%-16s %8zu rows %8zu accepted %6zu rejected\n", (f.file + ":").c_str(), f.counts.rows,
                    f.counts.accepted, f.counts.rejected);
    std::printf("areas:           %zu data sets, %zu cities, %zu counties; %zu categories\n", s.dataSets, s.cities,
                s.counties, s.categories);
    std::printf("POI store:       %zu POIs; %zu in the pinyin-initial indexes, %zu without initials\n", s.pois,
                s.indexedPois, s.unindexedPois);
    std::printf("CoreDict.dct:    %zu words (%zu of the data's own offered first; %zu left out for room)\n",
                s.dictWords, s.dictVocabulary, s.dictNoRoom);
    std::printf("built %s in %.1f s; %zu rows rejected\n", out.c_str(), seconds, s.Rejected());
}

int RunBuild(int argc, char** argv)
{
    Kest::DataCompiler::Options options;
    std::vector<std::string> paths;
    for (int i = 2; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            std::cout << kBuildUsage;
            return 0;
        }
        if (arg == "--strict") {
            options.strict = true;
        } else if (arg.size() > 1 && arg[0] == '-') {
            std::cerr << "poi build: unknown option '" << arg << "' (see poi build --help)\n";
            return 2;
        } else {
            paths.push_back(arg);
        }
    }
    if (paths.size() != 2) {
        std::cerr << "poi build: expected SRC and OUT, got " << paths.size()
                  << " path(s) (usage: poi build SRC OUT [--strict])\n";
        return 2;
    }
    options.source = paths[0];
    options.output = paths[1];
    if (isatty(STDERR_FILENO))
        options.progress = &std::cerr;
    options.cancel = &g_interrupted;
    std::signal(SIGINT, OnInterrupt);
    std::signal(SIGTERM, OnInterrupt);

    const auto started = std::chrono::steady_clock::now();
    Kest::DataCompiler compiler(options, std::cerr);
    const bool ok = compiler.Run();
    std::cerr.flush();
    if (!ok) {
        std::cerr << "poi build: " << compiler.GetError() << "\n";
        return 1;
    }
    PrintSummary(compiler.GetSummary(), options.output,
                 std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count());
    return 0;
}

int RunDemo(int argc, char** argv)
{
    bool keep = false;
    for (int i = 2; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            std::cout << kDemoUsage;
            return 0;
        }
        if (arg == "--keep") {
            keep = true;
            continue;
        }
        std::cerr << "poi demo: unknown option '" << arg << "' (see poi demo --help)\n";
        return 2;
    }
    std::error_code ec;
    std::string base = std::filesystem::temp_directory_path(ec).string();
    if (ec)
        base = "/tmp";
    std::string pattern = base + "/poi-demo-XXXXXX";
    if (!mkdtemp(pattern.data())) {
        std::cerr << "poi demo: cannot create a scratch directory in " << base
                  << " (set TMPDIR to a writable directory)\n";
        return 1;
    }
    const bool ok = Kest::StoreTour(std::cout).Run(pattern);
    if (keep)
        std::cout << "Kept " << pattern << "\n";
    else
        std::filesystem::remove_all(pattern, ec);
    return ok ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string command = argc > 1 ? argv[1] : "";
    if (command == "build")
        return RunBuild(argc, argv);
    if (command == "demo")
        return RunDemo(argc, argv);
    if (command == "help" || command == "--help" || command == "-h") {
        std::cout << kUsage;
        return 0;
    }
    if (command.empty())
        std::cerr << "poi: no command given\n" << kUsage;
    else
        std::cerr << "poi: unknown command '" << command << "' (see poi --help)\n";
    return 2;
}
