// Fuzzes the readers of the pinyin-initial indexes (both forms) and of the
// full-text index on records of any content.
//
// The input is not a file but a list of records, which the harness writes
// with the real page-file writer (so checksums and page structure are always
// right and every mutation reaches the readers' own checks):
//   byte 0: depth (mod 12); then records, each a field count (mod 4) and per
//   field a field number (mod 4), a length byte and that many bytes.
// Record 0 is the root, at element 0 of page 0 of file 110; the rest follow it
// in the same page. Pointer blocks inside the records name file 110 (0x6E)
// and small element numbers to reach each other. Both readers then answer a
// fixed set of queries and page through everything pending, with the work
// bounded so that a loop in the file would show up as a timeout.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <unistd.h>

#include "Compiler/PageFileWriter.h"
#include "Ndf/eNdfPool.h"
#include "POIEngine/eNdfIndexInitial.h"
#include "POIEngine/eNdfIndexInitial2.h"
#include "POIEngine/eNdfIndexSegFullText.h"

using namespace Kest;

namespace {

constexpr std::uint16_t kFile = 110;
std::string s_dir;

void Ask(eNdfIndexInitial& index, const std::vector<const char*>& keyList)
{
    eArray<eString> keys;
    for (const char* k : keyList)
        keys.Add(eString(k));
    eArray<ueglobal_addr_t> gids;
    eArray<unsigned int> nums;
    eArray<eString> names;
    index.Query(keys, gids, nums, names);
    index.GetQueryedCount();
    for (int round = 0; round < 200 && index.GetNextResult(gids.GetSize() + 3, gids, nums) > 0; ++round) {
    }
}

void Open(eNdfIndex& index, eNdfPool& pool, int depth)
{
    index.SetGID(MakeGlobalAddr(kFile, 0, 0));
    index.SetDepth(depth);
    index.SetDataPath(eString(s_dir.c_str()));
    index.SetPool(&pool);
}

// Words of the text search: without "CoreDict.dct" in the directory every
// word is keyed as a lone character, which is enough to reach the tables.
void RunText(eNdfIndexSegFullText& index, eNdfPool& pool)
{
    Open(index, pool, 0);
    const std::vector<std::vector<const char*>> queries = {
        {}, {"p"}, {"*", "*", "\xB1\xB1\xBE\xA9"}, {"p", "c", "\xB1\xB1 \xBE\xA9", "\xA3\xB3"}, {"*", "*", "(x"}};
    for (const auto& q : queries) {
        eArray<eString> keys;
        for (const char* k : q)
            keys.Add(eString(k));
        eArray<ueglobal_addr_t> gids;
        eArray<unsigned int> nums;
        eArray<eString> names;
        index.Query(keys, gids, nums, names);
    }
}

void Run(eNdfIndexInitial& index, eNdfPool& pool, int depth)
{
    Open(index, pool, depth);
    const std::vector<std::vector<const char*>> queries = {
        {}, {"p"}, {"*"}, {"*", "*", "A"}, {"p", "c", "AB"}, {"*", "c", "zh"}, {"*", "*", "A\xB1\xB1"}, {"", "", ""}};
    for (const auto& q : queries)
        Ask(index, q);
    index.ClearCache();
    Ask(index, queries[3]);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (s_dir.empty()) {
        char tmpl[] = "/tmp/initial-fuzz-XXXXXX";
        if (mkdtemp(tmpl) == nullptr)
            std::abort();
        s_dir = std::string(tmpl) + "/";
        std::atexit([] {
            std::remove((s_dir + "110.ndf").c_str());
            rmdir(s_dir.c_str());
        });
    }
    if (size < 1)
        return 0;
    const int depth = data[0] % 12;
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
    if (!writer.Open(s_dir + "110.ndf") || !writer.AppendRun(records, first, true))
        return 0;
    writer.SetIndexHeader(first, depth);
    if (!writer.Close())
        return 0;

    eNdfPool pool;
    pool.SetDataPath(eString(s_dir.c_str()));
    eNdfIndexInitial first1;
    Run(first1, pool, depth);
    eNdfIndexInitial2 second;
    Run(second, pool, depth);
    eNdfIndexSegFullText text;
    RunText(text, pool);
    return 0;
}
