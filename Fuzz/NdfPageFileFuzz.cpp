// Fuzzes the page-file readers: the input is taken as a single page under the
// page reader, and as a whole "1.ndf" file read through the pool (every page)
// and walked with record sets.
//
// Before the file is written, the harness sets the file id and recomputes the
// checksums the input carries (header, and pages where the page table points
// inside the input), so that mutations reach the structure checks behind
// them; the corruption tests cover the checksums themselves.

#include "Base/NdfFormat.h"
#include "Base/eCrc32.h"
#include <array>

#include "FuzzSupport.h"
#include "Ndf/NdfBytes.h"
#include "Ndf/eNdfPageReader.h"
#include "Ndf/eNdfRecordsetTabular.h"

using namespace Kest;
using namespace Kest::NdfFormat;

namespace {

constexpr std::uint16_t kFile = 1;
volatile unsigned char s_sink = 0;

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

// Gives the record set the runs (page, element, count).
void SetRuns(eNdfRecordsetTabular& rs, const std::vector<std::array<std::uint32_t, 3>>& runs)
{
    eArray<ueaddr_t> pids;
    eArray<unsigned short> eids;
    eArray<unsigned int> counts;
    for (const auto& run : runs) {
        pids.Add(ueaddr_t{run[0], kFile});
        eids.Add(static_cast<unsigned short>(run[1]));
        counts.Add(run[2]);
    }
    rs.SetPIDs(pids);
    rs.SetEIDs(eids);
    rs.SetEIDCounts(counts);
}

// Walks the run (page, element, count) and jumps into it; then single
// records around it, walked in page order.
void Walk(eNdfPool& pool, std::uint32_t page, std::uint32_t element, std::uint32_t count)
{
    eNdfRecordsetTabular rs;
    rs.SetPool(&pool);
    SetRuns(rs, {{page, element, count}});
    eString text;
    int steps = 0;
    for (bool ok = rs.MoveFirst(); ok && steps < 3000; ok = rs.MoveNext(), ++steps) {
        rs.GetFieldValue(steps % 4, text);
        rs.GetGID();
    }
    rs.MoveTo(static_cast<int>(count / 2));
    rs.MoveTo(static_cast<int>(count) - 1);
    rs.GetFieldValue(0, text);
    std::vector<std::array<std::uint32_t, 3>> singles;
    for (std::uint32_t i = 0; i < 8; ++i)
        singles.push_back({page + (i * 5) % 3, (element + i * 3) & 0xFFFF, 1});
    SetRuns(rs, singles);
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

    bytes.assign(data, data + size);
    RepairChecksums(bytes);
    KestFuzz::WriteFile(std::to_string(kFile) + ".ndf", bytes.data(), bytes.size());
    KestFuzz::Pool pool;
    pool.SetSize(4096);
    std::vector<unsigned char> buffer(kMaxPageSize);
    for (std::uint32_t p = 0; p < 16; ++p)
        if (pool.GetPageSize(ueaddr_t{p, kFile}) > 0 && pool.GetPage(ueaddr_t{p, kFile}, buffer.data(), static_cast<int>(buffer.size())))
            ReadPage(buffer.data(), static_cast<int>(kMaxPageSize)); // the size readers pass
    Walk(pool, 0, 0, 100000);
    Walk(pool, 1, 2, 7);
    return 0;
}
