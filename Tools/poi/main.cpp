// poi: the command-line face of the engine. For now it runs the demo tour of
// the user store; the searches and the data compiler join it as they land.

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>
#include <unistd.h>

#include "StoreTour.h"

namespace {

const char kUsage[] =
    "usage: poi COMMAND [ARGS]\n"
    "\n"
    "commands:\n"
    "  demo     tour the user store (favourites and history) in a scratch directory\n"
    "  help     show this text\n";

const char kDemoUsage[] =
    "usage: poi demo [--keep]\n"
    "\n"
    "Adds, reorders, lists, saves and reloads favourites and history in a new\n"
    "temporary directory and prints each step as UTF-8. --keep leaves the\n"
    "directory in place and prints its path.\n";

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
