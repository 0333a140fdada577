// Fuzzes the readers of the pinyin-initial indexes (both forms) and of the
// full-text index on records of any content (FuzzSupport.h): byte 0 is the
// depth (mod 12), the rest the records of file 110. Pointer blocks inside the
// records name file 110 (0x6E) and small element numbers to reach each other.
// Both readers answer a fixed set of queries and page through everything
// pending, with the work bounded so that a loop in the file would show up as
// a timeout.

#include "FuzzSupport.h"
#include "POIEngine/eNdfIndexInitial.h"
#include "POIEngine/eNdfIndexInitial2.h"
#include "POIEngine/eNdfIndexSegFullText.h"

using namespace Kest;

namespace {

void Run(eNdfIndexInitial& index, eNdfPool& pool, const ueglobal_addr_t& root, int depth)
{
    KestFuzz::Open(index, pool, root, depth);
    const std::vector<std::vector<const char*>> queries = {
        {}, {"p"}, {"*"}, {"*", "*", "A"}, {"p", "c", "AB"}, {"*", "c", "zh"}, {"*", "*", "A\xB1\xB1"}, {"", "", ""}};
    for (std::size_t q = 0; q <= queries.size(); ++q) {
        if (q == queries.size())
            index.ClearCache(); // and once more after the cache is dropped
        eArray<ueglobal_addr_t> gids;
        eArray<unsigned int> nums;
        KestFuzz::Ask(index, queries[q < queries.size() ? q : 3], gids, nums);
        KestFuzz::Drain(index, gids, nums);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    ueglobal_addr_t first{};
    if (size < 1 || !KestFuzz::WriteRecords(110, data + 1, size - 1, data[0] % 12, first))
        return 0;
    KestFuzz::Pool pool;
    eNdfIndexInitial first1;
    Run(first1, pool, first, data[0] % 12);
    eNdfIndexInitial2 second;
    Run(second, pool, first, data[0] % 12);
    // Without "CoreDict.dct" in the directory every word is keyed as a lone
    // character, which is enough to reach the tables.
    eNdfIndexSegFullText text;
    KestFuzz::Open(text, pool, first, 0);
    KestFuzz::AskAll(text, {{}, {"p"}, {"*", "*", "\xB1\xB1\xBE\xA9"}, {"p", "c", "\xB1\xB1 \xBE\xA9", "\xA3\xB3"},
                            {"*", "*", "(x"}});
    return 0;
}
