// Fuzzes the category index reader (the search by address) on records of any
// content (FuzzSupport.h), written as file 100 with depth 3. Pointer blocks
// inside the records name file 100 (0x64) and small element numbers to reach
// each other. The reader answers a fixed set of queries of 0 to 4 keys, with
// "*" at each level and category keys present, absent, empty and not numbers.

#include "FuzzSupport.h"
#include "POIEngine/eNdfIndexCategory.h"

using namespace Kest;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    ueglobal_addr_t first{};
    if (!KestFuzz::WriteRecords(100, data, size, 3, first))
        return 0;
    KestFuzz::Pool pool;
    eNdfIndexCategory index;
    KestFuzz::Open(index, pool, first, 3);
    for (const auto& q : std::vector<std::vector<const char*>>{
             {}, {"P"}, {""}, {"*"}, {"P", "C"}, {"P", "*", "K"}, {"P", "C", "K", "1"}, {"*", "C", "K", "*"},
             {"P", "*", "x", "5"}, {"P", "C", "*", "0"}, {"", "", "", "abc"}, {"*", "*", "*", ""}, {"P", "C", "K", "-1"}}) {
        KestFuzz::AskAll(index, {q});
        index.GetHitCount();
    }
    return 0;
}
