// Fuzzes the telephone trie reader (the node-by-node walk and the runs form)
// on records of any content (FuzzSupport.h): byte 0 is the depth (mod 24),
// the rest the records of file 102. Feature blocks inside the records name
// file 102 (0x66) and small element numbers to reach each other, in cycles
// too: the reader must neither loop nor read outside a buffer.

#include "FuzzSupport.h"
#include "POIEngine/eNdfIndexTelTrie.h"

using namespace Kest;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    ueglobal_addr_t first{};
    if (size < 1 || !KestFuzz::WriteRecords(102, data + 1, size - 1, data[0] % 24, first))
        return 0;
    KestFuzz::Pool pool;
    eNdfIndexTelTrie trie;
    KestFuzz::Open(trie, pool, first, data[0] % 24);
    for (const char* typed : {"", "1", "12", "123", "0000", "13800138000", "9x", "1a2", "12345678901234567890123"}) {
        eArray<ueglobal_addr_t> gids;
        eArray<unsigned int> nums;
        eArray<eString> names;
        KestFuzz::AskAll(trie, {{typed}});
        unsigned int entries = 0;
        trie.QueryRuns(eString(typed), gids, nums, names, entries);
    }
    return 0;
}
