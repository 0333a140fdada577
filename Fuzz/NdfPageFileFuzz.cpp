// Fuzzes the page-file readers: the input is taken as a single page under the
// page reader, and as a whole "1.ndf" file read through the pool (every page)
// and walked with record sets.
//
// Before the file is written, the harness sets the file id and recomputes the
// checksums the input carries (header, and pages where the page table points
// inside the input), so that mutations reach the structure checks behind
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
std::string s_dir, s_path; // the working directory and its one file, removed at exit

void RepairChecksums(std::vector<unsigned char>& b)
{
    if (b.size() < kFileHeaderSize)
        return;
    NdfBytes::Put16(&b[kFileIdOffset], kFile);
    NdfBytes::Put32(&b[kFileHeaderCrcOffset], eCrc32::Compute(b.data(), kFileHeaderCrcOffset));
    const std::uint64_t table = NdfBytes::Get64(&b[kFileTableOffsetOffset]);
    for (std::uint32_t p = 0; p < NdfBytes::Get32(&b[kFilePageCountOffset]) && p < 256; ++p) {
        if (table > b.size() || (b.size() - table) / kTableEntrySize <= p)
            break;
        const std::uint64_t offset = NdfBytes::Get64(&b[table + std::uint64_t(p) * kTableEntrySize]);
        const std::uint32_t size = NdfBytes::Get32(&b[table + std::uint64_t(p) * kTableEntrySize + 8]);
        if (size >= 4 && offset <= b.size() && b.size() - offset >= size)
            NdfBytes::Put32(&b[offset], eCrc32::Compute(&b[offset + 4], size - 4));
    }
}

void ReadPage(unsigned char* page, int size)
{
    eNdfPageReader reader;
    reader.SetData(page, size);
    for (int r = 0; r <= reader.GetRecordCount() && r < 300; ++r)
        for (int f = 0; f < 256; f += 1 + r % 3) {
            unsigned char* value = nullptr;
            const int length = reader.GetFieldValue(static_cast<unsigned short>(r), static_cast<unsigned char>(f), value);
            if (length > 0)
                s_sink = static_cast<unsigned char>(s_sink ^ value[0] ^ value[length - 1]); // touch both ends
        }
    eNdfPageReader::IsWellFormed(page, static_cast<std::uint32_t>(size));
}

template <class T>
eArray<T> One(const T& value)
{
    eArray<T> array;
    array.Add(value);
    return array;
}

// Walks the run (page, element, count) and jumps into it.
void Walk(eNdfPool& pool, std::uint32_t page, std::uint16_t element, std::uint32_t count)
{
    eNdfRecordsetTabular rs;
    rs.SetPool(&pool);
    rs.SetPIDs(One(ueaddr_t{page, kFile}));
    rs.SetEIDs(One(element));
    rs.SetEIDCounts(One(count));
    eString text;
    int steps = 0;
    for (bool ok = rs.MoveFirst(); ok && steps < 3000; ok = rs.MoveNext(), ++steps) {
        rs.GetFieldValue(steps % 4, text);
        rs.GetGID();
    }
    rs.MoveTo(static_cast<int>(count / 2));
    rs.MoveTo(static_cast<int>(count) - 1);
    rs.GetFieldValue(0, text);

    // Single records around the run, walked in page order.
    eArray<ueaddr_t> pids;
    eArray<unsigned short> eids;
    eArray<unsigned int> ones;
    for (std::uint32_t i = 0; i < 8; ++i) {
        pids.Add(ueaddr_t{page + (i * 5) % 3, kFile});
        eids.Add(static_cast<unsigned short>(element + i * 3));
        ones.Add(1);
    }
    rs.SetPIDs(pids);
    rs.SetEIDs(eids);
    rs.SetEIDCounts(ones);
    rs.VisitInPageOrder([&](int id) {
        rs.GetFieldValue(id % 4, text);
        rs.GetGID();
    });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size > 1 << 20)
        return 0;
    std::vector<unsigned char> bytes(data, data + size);
    ReadPage(bytes.data(), static_cast<int>(bytes.size())); // the input as one page

    if (s_dir.empty()) {
        char name[] = "/tmp/ndf-fuzz-XXXXXX";
        if (!mkdtemp(name))
            std::abort();
        s_dir = std::string(name) + "/";
        s_path = s_dir + std::to_string(kFile) + ".ndf";
        std::atexit([] {
            std::remove(s_path.c_str());
            rmdir(s_dir.c_str());
        });
    }
    bytes.assign(data, data + size);
    RepairChecksums(bytes);
    if (std::FILE* f = std::fopen(s_path.c_str(), "wb")) {
        std::fwrite(bytes.data(), 1, bytes.size(), f);
        std::fclose(f);
    }
    eNdfPool pool;
    pool.SetSize(4096);
    pool.SetDataPath(s_dir.c_str());
    std::vector<unsigned char> buffer(kMaxPageSize);
    for (std::uint32_t p = 0; p < 16; ++p)
        if (pool.GetPageSize(ueaddr_t{p, kFile}) > 0 && pool.GetPage(ueaddr_t{p, kFile}, buffer.data(), static_cast<int>(buffer.size())))
            ReadPage(buffer.data(), static_cast<int>(kMaxPageSize)); // the size readers pass
    Walk(pool, 0, 0, 100000);
    Walk(pool, 1, 2, 7);
    return 0;
}
