// Fuzzes the category index reader (the search by address) on records of any
// content.
//
// The input is a list of records, which the harness writes with the real
// page-file writer (so checksums and page structure are always right and
// every mutation reaches the reader's own checks):
//   records, each a field count (mod 4) and per field a field number (mod 4),
//   a length byte and that many bytes.
// Record 0 is the root, at element 0 of page 0 of file 100; the rest follow
// it in the same page. Pointer blocks inside the records name file 100 (0x64)
// and small element numbers to reach each other. The reader then answers a
// fixed set of queries of 0 to 4 keys, with "*" at each level and category
// keys present, absent, empty and not numbers.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <unistd.h>

#include "Compiler/PageFileWriter.h"
#include "Ndf/eNdfPool.h"
#include "POIEngine/eNdfIndexCategory.h"

using namespace Kest;

namespace {

constexpr std::uint16_t kFile = 100;
std::string s_dir;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (s_dir.empty()) {
        char tmpl[] = "/tmp/category-fuzz-XXXXXX";
        if (mkdtemp(tmpl) == nullptr)
            std::abort();
        s_dir = std::string(tmpl) + "/";
        std::atexit([] {
            std::remove((s_dir + "100.ndf").c_str());
            rmdir(s_dir.c_str());
        });
    }
    std::vector<PageFileWriter::Record> records;
    std::size_t i = 0;
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
    if (!writer.Open(s_dir + "100.ndf") || !writer.AppendRun(records, first, true))
        return 0;
    writer.SetIndexHeader(first, 3);
    if (!writer.Close())
        return 0;

    eNdfPool pool;
    pool.SetDataPath(eString(s_dir.c_str()));
    eNdfIndexCategory index;
    index.SetGID(first);
    index.SetDepth(3);
    index.SetDataPath(eString(s_dir.c_str()));
    index.SetPool(&pool);
    const std::vector<std::vector<const char*>> queries = {
        {},
        {"P"},
        {""},
        {"*"},
        {"P", "C"},
        {"P", "*", "K"},
        {"P", "C", "K", "1"},
        {"*", "C", "K", "*"},
        {"P", "*", "x", "5"},
        {"P", "C", "*", "0"},
        {"", "", "", "abc"},
        {"*", "*", "*", ""},
        {"P", "C", "K", "-1"},
    };
    for (const auto& q : queries) {
        eArray<eString> keys;
        for (const char* k : q)
            keys.Add(eString(k));
        eArray<ueglobal_addr_t> gids;
        eArray<unsigned int> nums;
        eArray<eString> names;
        index.Query(keys, gids, nums, names);
        index.GetHitCount();
    }
    return 0;
}
