#pragma once
// Helpers for the page-file suites: a temporary data directory, a plain model
// of records (field number -> bytes) and the writer's form of it.

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <dirent.h>
#include <unistd.h>

#include "Build/PageFileWriter.h"
#include "Ndf/eNdfRecordsetTabular.h"

namespace KestTest {

using ModelRecord = std::map<unsigned char, std::string>;

// A directory under /tmp, removed with its files.
class TempDir {
public:
    TempDir()
    {
        char name[] = "/tmp/ndf-test-XXXXXX";
        m_path = mkdtemp(name) ? name : "/tmp";
    }
    ~TempDir()
    {
        if (DIR* d = opendir(m_path.c_str())) {
            while (dirent* e = readdir(d))
                if (e->d_name[0] != '.')
                    std::remove((m_path + "/" + e->d_name).c_str());
            closedir(d);
        }
        rmdir(m_path.c_str());
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    // The directory with a trailing slash, as the pool takes it.
    std::string Dir() const { return m_path + "/"; }
    std::string File(int id) const { return Dir() + std::to_string(id) + ".ndf"; }

private:
    std::string m_path;
};

inline Kest::PageFileWriter::Record ToRecord(const ModelRecord& model)
{
    Kest::PageFileWriter::Record r;
    for (const auto& f : model)
        r.Set(f.first, f.second.data(), f.second.size());
    return r;
}

// A record of 0 to `maxFields` fields with numbers up to 255 and lengths up to
// `maxLength` (never empty: an empty field is not stored).
inline ModelRecord RandomRecord(std::mt19937& rng, int maxFields, int maxLength)
{
    ModelRecord r;
    const int fields = static_cast<int>(rng() % (maxFields + 1));
    for (int i = 0; i < fields; ++i) {
        std::string bytes(1 + rng() % maxLength, '\0');
        for (char& c : bytes)
            c = static_cast<char>(rng());
        r[static_cast<unsigned char>(rng() % 8 == 0 ? rng() % 256 : rng() % 6)] = bytes;
    }
    return r;
}

// Gives the record set its runs (first record, count) as the three lists.
inline void SetRuns(Kest::eNdfRecordsetTabular& rs, const std::vector<std::pair<Kest::ueglobal_addr_t, unsigned int>>& runs)
{
    Kest::eArray<Kest::ueaddr_t> pids;
    Kest::eArray<unsigned short> eids;
    Kest::eArray<unsigned int> counts;
    for (const auto& run : runs) {
        pids.Add(run.first.page);
        eids.Add(run.first.nElement);
        counts.Add(run.second);
    }
    rs.SetPIDs(pids);
    rs.SetEIDs(eids);
    rs.SetEIDCounts(counts);
}

inline std::vector<unsigned char> ReadFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::vector<unsigned char>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void WriteFile(const std::string& path, const std::vector<unsigned char>& bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

} // namespace KestTest
