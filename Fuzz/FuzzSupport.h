#pragma once
// What the index-reader fuzz targets share: a scratch directory of their own,
// an index file written from the fuzz input as records (with the real
// page-file writer, so checksums and page structure are always right and
// every mutation reaches the readers' own checks), and the reader's setup.
//
// Records: each a field count (mod 4) and per field a field number (mod 4),
// a length byte and that many bytes. Record 0 is the root, at element 0 of
// page 0; the rest follow it in the same page, so pointer blocks inside the
// records that name the file and small element numbers reach each other.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <unistd.h>

#include "Compiler/PageFileWriter.h"
#include "Ndf/eNdfIndex.h"
#include "Ndf/eNdfPool.h"

namespace KestFuzz {

// The scratch directory (with a trailing slash), made on first use and
// removed at exit.
inline const std::string& ScratchDir()
{
    static std::string dir;
    if (dir.empty()) {
        char tmpl[] = "/tmp/kest-fuzz-XXXXXX";
        if (mkdtemp(tmpl) == nullptr)
            std::abort();
        dir = std::string(tmpl) + "/";
        std::atexit([] { std::filesystem::remove_all(dir); });
    }
    return dir;
}

// Writes data[0..size) as records into file `id` of the scratch directory,
// its header naming the first record and `depth`; false when there is
// nothing to write.
inline bool WriteRecords(std::uint16_t id, const std::uint8_t* data, std::size_t size, int depth,
                         Kest::ueglobal_addr_t& first)
{
    std::vector<Kest::PageFileWriter::Record> records;
    std::size_t i = 0;
    while (i < size && records.size() < 400) {
        Kest::PageFileWriter::Record r;
        for (int f = data[i++] % 4; f > 0 && i + 2 <= size; --f) {
            const unsigned char field = data[i] % 4;
            const std::size_t length = std::min<std::size_t>(data[i + 1], size - i - 2);
            r.Set(field, data + i + 2, length);
            i += 2 + length;
        }
        records.push_back(r);
    }
    if (records.empty())
        return false;
    Kest::PageFileWriter writer(id, 1u << 16);
    first = {};
    if (!writer.Open(ScratchDir() + std::to_string(id) + ".ndf") || !writer.AppendRun(records, first, true))
        return false;
    writer.SetIndexHeader(first, depth);
    return writer.Close();
}

inline void Open(Kest::eNdfIndex& index, Kest::eNdfPool& pool, const Kest::ueglobal_addr_t& root, int depth)
{
    index.SetGID(root);
    index.SetDepth(depth);
    index.SetDataPath(Kest::eString(ScratchDir().c_str()));
    index.SetPool(&pool);
}

inline Kest::eArray<Kest::eString> Keys(const std::vector<const char*>& keys)
{
    Kest::eArray<Kest::eString> out;
    for (const char* k : keys)
        out.Add(Kest::eString(k));
    return out;
}

} // namespace KestFuzz
