// poi: the command-line face of the engine: the data compiler (`poi build`),
// every search (`poi search KIND`), the check of a data directory (`poi
// check`), the user store (`poi store`) and the tour of them on the bundled
// sample (`poi demo`).

#include <algorithm>
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

#include "CheckCommand.h"
#include "Compiler/DataCompiler.h"
#include "DemoTour.h"
#include "SearchCommand.h"
#include "StoreCommand.h"

namespace {

const char kUsage[] =
    "usage: poi COMMAND [ARGS]\n"
    "\n"
    "commands:\n"
    "  build    compile source data (UTF-8 CSV, GeoJSON, OpenStreetMap) into a data directory\n"
    "  search   search a data directory: poi search --data DIR KIND ... (initial,\n"
    "           text, around, nearest, tel, address, categories, sight, place,\n"
    "           cross, district)\n"
    "  check    verify every file and page of a data directory: poi check DIR\n"
    "  store    favourites and history: poi store --data DIR fav|history add|list|remove|clear|restore\n"
    "  demo     build the bundled sample once and tour search and store on it\n"
    "  help     show this text\n"
    "\n"
    "poi COMMAND --help describes each command.\n";

const char kBuildUsage[] =
    "usage: poi build SRC OUT [--strict] [--osm FILE]...\n"
    "\n"
    "Compiles the source directory SRC (pois.csv, sights.csv, placenames.csv,\n"
    "crossroads.csv, categories.txt, districts.geojson, words.txt; UTF-8) into\n"
    "the data directory OUT (OUT/POI/...). OpenStreetMap files (*.osm.pbf,\n"
    "*.osm, *.osm.bz2) in SRC or given with --osm are read too; the CSV files\n"
    "are then optional. A rejected row is reported on stderr as\n"
    "'file:line: reason' (OSM: 'file: node N: reason') and left out; the counts\n"
    "follow on stdout. OUT is replaced only when the build succeeds.\n"
    "\n"
    "options:\n"
    "  --strict   fail the build when any row is rejected\n"
    "  --osm FILE read the OpenStreetMap file FILE as well (repeatable)\n"
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
    std::printf("telephone index: %zu numbers; %zu phones rejected\n", s.telNumbers, s.rejectedPhones);
    std::printf("CoreDict.dct:    %zu words (%zu of the data's own offered first; %zu left out for room)\n",
                s.dictWords, s.dictVocabulary, s.dictNoRoom);
    std::printf("crossroads:      %zu in POI/CrossRoad/; %zu split into two roads, %zu indexed by the whole name\n",
                s.crossroads, s.crossroadsSplit, s.crossroads - s.crossroadsSplit);
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
        } else if (arg == "--osm") {
            if (i + 1 >= argc) {
                std::cerr << "poi build: --osm needs a file (usage: poi build SRC OUT --osm FILE)\n";
                return 2;
            }
            options.osm.push_back(argv[++i]);
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

} // namespace

int main(int argc, char** argv)
{
    const std::string command = argc > 1 ? argv[1] : "";
    if (command == "build")
        return RunBuild(argc, argv);
    const std::vector<std::string> args(argv + std::min(argc, 2), argv + argc);
    if (command == "search")
        return Kest::SearchCommand(std::cout, std::cerr).Run(args);
    if (command == "check")
        return Kest::CheckCommand(std::cout, std::cerr).Run(args);
    if (command == "store")
        return Kest::StoreCommand(std::cout, std::cerr).Run(args);
    if (command == "demo")
        return Kest::DemoTour(std::cout, std::cerr).Run(args);
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
