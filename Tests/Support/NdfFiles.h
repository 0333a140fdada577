#pragma once
// Helpers for the page-file suites: a plain model of records (field number ->
// bytes), its writer form, and a pool with a record set over a data directory.

#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "Base/NdfFormat.h"
#include "Compiler/PageFileWriter.h"
#include "Ndf/NdfBytes.h"
#include "Ndf/eNdfPool.h"
#include "Ndf/eNdfRecordsetTabular.h"
#include "Support/TempDir.h"

namespace KestTest {

using ModelRecord = std::map<unsigned char, std::string>;
using Runs = std::vector<std::pair<Kest::ueglobal_addr_t, unsigned int>>;

// The directory with a trailing slash, as the pool takes it, and file N in it.
inline std::string DataDir(const TempDir& dir) { return dir.Path(""); }
inline std::string NdfFile(const TempDir& dir, int id) { return dir.Path(std::to_string(id) + ".ndf"); }

inline Kest::PageFileWriter::Record ToRecord(const ModelRecord& model)
{
    Kest::PageFileWriter::Record r;
    for (const auto& f : model)
        r.Set(f.first, f.second.data(), f.second.size());
    return r;
}

// Up to `maxFields` fields numbered up to 255, each 1 to `maxLength` bytes
// (an empty field is not stored).
inline ModelRecord RandomRecord(std::mt19937& rng, int maxFields, int maxLength)
{
    ModelRecord r;
    for (int i = static_cast<int>(rng() % (maxFields + 1)); i > 0; --i) {
        std::string bytes(1 + rng() % maxLength, '\0');
        for (char& c : bytes)
            c = static_cast<char>(rng());
        r[static_cast<unsigned char>(rng() % 8 == 0 ? rng() % 256 : rng() % 6)] = bytes;
    }
    return r;
}

// Writes file `id` of `dir` with each list of records as one run (starting a
// fresh page with `pageStart`); gives the address of each run's first record.
inline std::vector<Kest::ueglobal_addr_t> WriteRuns(const TempDir& dir, std::uint16_t id, std::uint32_t target,
                                                    const std::vector<std::vector<Kest::PageFileWriter::Record>>& runs,
                                                    bool pageStart = false)
{
    Kest::PageFileWriter writer(id, target);
    std::vector<Kest::ueglobal_addr_t> first(runs.size());
    EXPECT_TRUE(writer.Open(NdfFile(dir, id)));
    for (std::size_t i = 0; i < runs.size(); ++i)
        EXPECT_TRUE(writer.AppendRun(runs[i], first[i], pageStart)) << writer.GetError();
    EXPECT_TRUE(writer.Close()) << writer.GetError();
    return first;
}

// Where the page table entry of `page` of a page file's bytes lies, and
// where the page itself.
inline std::size_t PageEntry(const std::vector<unsigned char>& file, std::uint32_t page)
{
    return Kest::NdfBytes::Get64(&file[Kest::NdfFormat::kFileTableOffsetOffset]) + page * Kest::NdfFormat::kTableEntrySize;
}
inline std::size_t PageAt(const std::vector<unsigned char>& file, std::uint32_t page)
{
    return Kest::NdfBytes::Get64(&file[PageEntry(file, page)]);
}

// Gives the record set its runs (first record, count) as the three lists, or
// appends them to its lists.
inline void SetRuns(Kest::eNdfRecordsetTabular& rs, const Runs& runs, bool append = false)
{
    Kest::eArray<Kest::ueaddr_t> pids;
    Kest::eArray<unsigned short> eids;
    Kest::eArray<unsigned int> counts;
    for (const auto& run : runs) {
        pids.Add(run.first.page);
        eids.Add(run.first.nElement);
        counts.Add(run.second);
    }
    if (append) {
        rs.AppendPIDs(pids);
        rs.AppendEIDs(eids);
        rs.AppendEIDCounts(counts);
    } else {
        rs.SetPIDs(pids);
        rs.SetEIDs(eids);
        rs.SetEIDCounts(counts);
    }
}

// A pool over a data directory and a record set reading from it.
struct Reader {
    explicit Reader(const std::string& dir)
    {
        pool.SetDataPath(dir.c_str());
        rs.SetPool(&pool);
    }
    Kest::eNdfPool pool;
    Kest::eNdfRecordsetTabular rs;
};

} // namespace KestTest
