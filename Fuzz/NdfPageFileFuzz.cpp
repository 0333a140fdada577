// Fuzzes the page-file readers: the input is taken as a whole "N.ndf" file,
// read through the pool (every page) and walked with record sets, and also as
// a single page under the page reader.
//
// Before the file is written, the harness recomputes the checksums the input
// carries (header and pages, where the page table points inside the input)
// and sets the file id, so that mutations reach the structure checks behind
// them; the corruption tests cover the checksums themselves.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <unistd.h>

#include "Base/NdfFormat.h"
#include "Base/eCrc32.h"
#include "Ndf/NdfBytes.h"
#include "Ndf/eNdfPageReader.h"
#include "Ndf/eNdfPool.h"
#include "Ndf/eNdfRecordsetTabular.h"

using namespace Kest;
using namespace Kest::NdfFormat;

namespace {

constexpr std::uint16_t kFile = 1;

volatile unsigned char s_sink = 0;
std::string s_dir; // the working directory, removed at exit with its file

std::string FilePath()
{
    return s_dir + std::to_string(kFile) + ".ndf";
}

void RemoveDir()
{
    std::remove(FilePath().c_str());
    rmdir(s_dir.c_str());
}

const std::string& Dir()
{
    if (s_dir.empty()) {
        char name[] = "/tmp/ndf-fuzz-XXXXXX";
        if (!mkdtemp(name))
            std::abort();
        s_dir = std::string(name) + "/";
        std::atexit(RemoveDir);
    }
    return s_dir;
}

void RepairChecksums(std::vector<unsigned char>& b)
{
    if (b.size() < kFileHeaderSize)
        return;
    NdfBytes::Put16(&b[kFileIdOffset], kFile);
    NdfBytes::Put32(&b[kFileHeaderCrcOffset], eCrc32::Compute(b.data(), kFileHeaderCrcOffset));
    const std::uint32_t pages = NdfBytes::Get32(&b[kFilePageCountOffset]);
    const std::uint64_t table = NdfBytes::Get64(&b[kFileTableOffsetOffset]);
    for (std::uint32_t p = 0; p < pages && p < 256; ++p) {
        if (table > b.size() || (b.size() - table) / kTableEntrySize <= p)
            break;
        const std::uint64_t entry = table + std::uint64_t(p) * kTableEntrySize;
        const std::uint64_t offset = NdfBytes::Get64(&b[entry]);
        const std::uint32_t size = NdfBytes::Get32(&b[entry + 8]);
        if (size >= 4 && offset <= b.size() && b.size() - offset >= size)
            NdfBytes::Put32(&b[offset], eCrc32::Compute(&b[offset + 4], size - 4));
    }
}

void ReadPage(unsigned char* page, int size)
{
    eNdfPageReader reader;
    reader.SetData(page, size);
    const int records = reader.GetRecordCount();
    for (int r = 0; r <= records && r < 300; ++r)
        for (int f = 0; f < 256; f += 1 + r % 3) {
            unsigned char* value = nullptr;
            const int length = reader.GetFieldValue(static_cast<unsigned short>(r), static_cast<unsigned char>(f), value);
            if (length > 0)
                s_sink = static_cast<unsigned char>(s_sink ^ value[0] ^ value[length - 1]); // touch both ends
        }
    eNdfPageReader::IsWellFormed(page, static_cast<std::uint32_t>(size));
}

void Walk(eNdfPool& pool, std::uint32_t page, std::uint16_t element, std::uint32_t count)
{
    eNdfRecordsetTabular rs;
    rs.SetPool(&pool);
    eArray<ueaddr_t> pids;
    pids.Add(ueaddr_t{page, kFile});
    eArray<unsigned short> eids;
    eids.Add(element);
    eArray<unsigned int> counts;
    counts.Add(count);
    rs.SetPIDs(pids);
    rs.SetEIDs(eids);
    rs.SetEIDCounts(counts);
    eString text;
    int steps = 0;
    for (bool ok = rs.MoveFirst(); ok && steps < 3000; ok = rs.MoveNext(), ++steps) {
        rs.GetFieldValue(steps % 4, text);
        rs.GetGID();
    }
    rs.MoveTo(static_cast<int>(count / 2));
    rs.MoveTo(static_cast<int>(count) - 1);
    rs.GetFieldValue(0, text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size > 1 << 20)
        return 0;
    // The input as one page.
    std::vector<unsigned char> page(data, data + size);
    ReadPage(page.data(), static_cast<int>(page.size()));

    // The input as a file.
    std::vector<unsigned char> bytes(data, data + size);
    RepairChecksums(bytes);
    Dir();
    const std::string path = FilePath();
    if (std::FILE* f = std::fopen(path.c_str(), "wb")) {
        std::fwrite(bytes.data(), 1, bytes.size(), f);
        std::fclose(f);
    }
    eNdfPool pool;
    pool.SetSize(4096);
    pool.SetDataPath(Dir().c_str());
    std::vector<unsigned char> buffer(kMaxPageSize);
    for (std::uint32_t p = 0; p < 16; ++p) {
        const int pageSize = pool.GetPageSize(ueaddr_t{p, kFile});
        if (pageSize > 0 && pool.GetPage(ueaddr_t{p, kFile}, buffer.data(), static_cast<int>(buffer.size())))
            ReadPage(buffer.data(), static_cast<int>(kMaxPageSize)); // the size readers pass
    }
    Walk(pool, 0, 0, 100000);
    Walk(pool, 1, 2, 7);
    return 0;
}
