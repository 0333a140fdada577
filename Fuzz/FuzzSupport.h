#pragma once
// What the fuzz targets share: a scratch directory of their own and files
// written into it, a cursor over the input, an index file written from the
// fuzz input as records (with the real page-file writer, so checksums and
// page structure are always right and every mutation reaches the readers'
// own checks), and the index readers' setup and queries.
//
// Records: each a field count (mod 4) and per field a field number (mod 4),
// a length byte and that many bytes. Record 0 is the root, at element 0 of
// page 0; the rest follow it in the same page, so pointer blocks inside the
// records that name the file and small element numbers reach each other.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <unistd.h>

#include "Compiler/PageFileWriter.h"
#include "Ndf/eNdfIndex.h"
#include "Ndf/eNdfPool.h"

namespace KestFuzz {

// The scratch directory (with a trailing slash), made on first use and
// removed at exit; in memory where the system offers it.
inline const std::string& ScratchDir()
{
    static std::string dir;
    if (dir.empty()) {
        std::string tmpl = std::string(access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp") + "/kest-fuzz-XXXXXX";
        if (mkdtemp(tmpl.data()) == nullptr)
            std::abort();
        dir = tmpl + "/";
        std::atexit([] { std::filesystem::remove_all(dir); });
    }
    return dir;
}

// Writes the bytes as `name` in the scratch directory (its folders made);
// gives the file's path.
inline std::string WriteFile(const std::string& name, const void* data, std::size_t size)
{
    const std::string path = ScratchDir() + name;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    if (std::FILE* f = std::fopen(path.c_str(), "wb")) {
        std::fwrite(data, 1, size, f);
        std::fclose(f);
    }
    return path;
}

// The input read a byte or a few at a time; past its end, zeros.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : m_p(data), m_end(data + size) {}
    bool More() const { return m_p < m_end; }
    std::uint8_t Byte() { return m_p < m_end ? *m_p++ : 0; }
    std::vector<unsigned char> Bytes(std::size_t n)
    {
        std::vector<unsigned char> out;
        while (n-- > 0 && m_p < m_end)
            out.push_back(*m_p++);
        return out;
    }

private:
    const std::uint8_t* m_p;
    const std::uint8_t* m_end;
};

// Writes the records as one run into file `id` of the scratch directory, its
// header naming the first record and `depth`.
inline bool WriteRun(std::uint16_t id, const std::vector<Kest::PageFileWriter::Record>& records, int depth,
                     Kest::ueglobal_addr_t& first)
{
    Kest::PageFileWriter writer(id, 1u << 16);
    first = {};
    if (records.empty() || !writer.Open(ScratchDir() + std::to_string(id) + ".ndf") ||
        !writer.AppendRun(records, first, true))
        return false;
    writer.SetIndexHeader(first, depth);
    return writer.Close();
}

// Writes data[0..size) as records (above) into file `id`; false when there
// is nothing to write.
inline bool WriteRecords(std::uint16_t id, const std::uint8_t* data, std::size_t size, int depth,
                         Kest::ueglobal_addr_t& first)
{
    std::vector<Kest::PageFileWriter::Record> records;
    std::size_t i = 0;
    while (i < size && records.size() < 400) {
        Kest::PageFileWriter::Record r;
        for (int f = data[i++] % 4; f > 0 && i + 2 <= size; --f) {
            const std::size_t length = std::min<std::size_t>(data[i + 1], size - i - 2);
            r.Set(data[i] % 4, data + i + 2, length);
            i += 2 + length;
        }
        records.push_back(r);
    }
    return WriteRun(id, records, depth, first);
}

// A pool over the scratch directory.
struct Pool : Kest::eNdfPool {
    Pool() { SetDataPath(Kest::eString(ScratchDir().c_str())); }
};

inline void Open(Kest::eNdfIndex& index, Kest::eNdfPool& pool, const Kest::ueglobal_addr_t& root, int depth)
{
    index.SetGID(root);
    index.SetDepth(depth);
    index.SetDataPath(Kest::eString(ScratchDir().c_str()));
    index.SetPool(&pool);
}

// One query by keys; gives the hits and whether the reader answered.
inline bool Ask(Kest::eNdfIndex& index, const std::vector<const char*>& keys,
                Kest::eArray<Kest::ueglobal_addr_t>& gids, Kest::eArray<unsigned int>& nums)
{
    Kest::eArray<Kest::eString> array, names;
    for (const char* k : keys)
        array.Add(Kest::eString(k));
    return index.Query(array, gids, nums, names) != 0;
}

// Each query in turn, the hits dropped.
inline void AskAll(Kest::eNdfIndex& index, const std::vector<std::vector<const char*>>& queries)
{
    for (const auto& keys : queries) {
        Kest::eArray<Kest::ueglobal_addr_t> gids;
        Kest::eArray<unsigned int> nums;
        Ask(index, keys, gids, nums);
    }
}

// Pages out everything an initial index has pending, the work bounded so
// that a loop in the file shows as a timeout.
template <class InitialIndex>
void Drain(InitialIndex& index, Kest::eArray<Kest::ueglobal_addr_t>& gids, Kest::eArray<unsigned int>& nums)
{
    index.GetQueryedCount();
    for (int round = 0; round < 200 && index.GetNextResult(gids.GetSize() + 3, gids, nums) > 0; ++round) {
    }
}

} // namespace KestFuzz
