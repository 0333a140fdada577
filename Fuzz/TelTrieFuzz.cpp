// Fuzzes the telephone trie reader (the node-by-node walk and the runs form)
// on records of any content.
//
// The input is a list of records, written with the real page-file writer so
// that checksums and page structure are always right and every mutation
// reaches the reader's own checks:
//   byte 0: depth (mod 24); then records, each a field count (mod 4) and per
//   field a field number (mod 4), a length byte and that many bytes.
// Record 0 is the root, at element 0 of page 0 of file 102; the rest follow
// it in the same page. Feature blocks inside the records name file 102
// (0x66) and small element numbers to reach each other, in cycles too: the
// reader must neither loop nor read outside a buffer.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <unistd.h>

#include "Compiler/PageFileWriter.h"
#include "Ndf/eNdfPool.h"
#include "POIEngine/eNdfIndexTelTrie.h"

using namespace Kest;

namespace {

constexpr std::uint16_t kFile = 102;
std::string s_dir;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (s_dir.empty()) {
        char tmpl[] = "/tmp/tel-fuzz-XXXXXX";
        if (mkdtemp(tmpl) == nullptr)
            std::abort();
        s_dir = std::string(tmpl) + "/";
        std::atexit([] {
            std::remove((s_dir + "102.ndf").c_str());
            rmdir(s_dir.c_str());
        });
    }
    if (size < 1)
        return 0;
    const int depth = data[0] % 24;
    std::vector<PageFileWriter::Record> records;
    std::size_t i = 1;
    while (i < size && records.size() < 400) {
        PageFileWriter::Record r;
        for (int f = data[i++] % 4; f > 0 && i + 2 <= size; --f) {
            const unsigned char field = data[i] % 4;
            const std::size_t length = std::min<std::size_t>(data[i + 1], size - i - 2);
            r.Set(field, data + i + 2, length);
            i += 2 + length;
        }
        records.push_back(r);
    }
    if (records.empty())
        return 0;
    PageFileWriter writer(kFile, 1u << 16);
    ueglobal_addr_t first{};
    if (!writer.Open(s_dir + "102.ndf") || !writer.AppendRun(records, first, true))
        return 0;
    writer.SetIndexHeader(first, depth);
    if (!writer.Close())
        return 0;

    eNdfPool pool;
    pool.SetDataPath(eString(s_dir.c_str()));
    eNdfIndexTelTrie trie;
    trie.SetGID(first);
    trie.SetDepth(depth);
    trie.SetDataPath(eString(s_dir.c_str()));
    trie.SetPool(&pool);
    for (const char* typed : {"", "1", "12", "123", "0000", "13800138000", "9x", "1a2", "12345678901234567890123"}) {
        eArray<eString> keys;
        keys.Add(eString(typed));
        eArray<ueglobal_addr_t> gids;
        eArray<unsigned int> nums;
        eArray<eString> names;
        trie.Query(keys, gids, nums, names);
        unsigned int entries = 0;
        trie.QueryRuns(eString(typed), gids, nums, names, entries);
    }
    return 0;
}
