// Fuzzes the engine's reader of the category list ("POI_SORT.txt"): the
// input is the file's text; the engine loads it and answers every list call
// and code look-up on whatever it kept, a failed load included.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

#include "POIEngine/ePOIEngineManager.h"

using namespace Kest;

namespace {

std::string s_dir;

std::string SortFile() { return s_dir + "/POI/Around/POI_SORT.txt"; }

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (s_dir.empty()) {
        char tmpl[] = "/tmp/poisort-fuzz-XXXXXX";
        if (mkdtemp(tmpl) == nullptr)
            std::abort();
        s_dir = tmpl;
        mkdir((s_dir + "/POI").c_str(), 0700);
        mkdir((s_dir + "/POI/Around").c_str(), 0700);
        std::atexit([] {
            std::remove(SortFile().c_str());
            rmdir((s_dir + "/POI/Around").c_str());
            rmdir((s_dir + "/POI").c_str());
            rmdir(s_dir.c_str());
        });
    }
    std::FILE* fp = std::fopen(SortFile().c_str(), "wb");
    if (fp == nullptr)
        return 0;
    std::fwrite(data, 1, size, fp);
    std::fclose(fp);

    ePOIEngineManager engine;
    engine.SetPoiPath(s_dir.c_str());
    engine.LoadPoiSort();
    char** list = nullptr;
    int count = 0;
    if (engine.GetBranchPoiTypes(list, count)) {
        // Every branch, its leaves, and the code of each leaf from there.
        std::vector<std::string> branches(list, list + count);
        for (const std::string& branch : branches) {
            if (!engine.GetPoiTypes(branch.c_str(), list, count))
                continue;
            std::vector<std::string> leaves(list, list + count);
            for (const std::string& leaf : leaves)
                engine.GetPoiCode(leaf.c_str());
        }
    }
    engine.GetPoiTypes(nullptr, list, count);
    engine.GetAllPoiTypes(list, count);
    engine.GetPoiCode("x");
    engine.ReleaseQueryMem();
    return 0;
}
