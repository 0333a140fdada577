// Fuzzes the engine's reader of the category list ("POI_SORT.txt"): the
// input is the file's text; the engine loads it and answers every list call
// and code look-up on whatever it kept, a failed load included.

#include "FuzzSupport.h"
#include "POIEngine/ePOIEngineManager.h"

using namespace Kest;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    KestFuzz::WriteFile("POI/Around/POI_SORT.txt", data, size);
    ePOIEngineManager engine;
    engine.SetPoiPath(KestFuzz::ScratchDir().c_str());
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
