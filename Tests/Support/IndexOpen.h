#pragma once
// Index readers opened as the engine opens them: the root address and the
// depth (a count for some indexes) from the first 12 bytes of the file, a
// pool over its directory. A file too short leaves both zero.

#include <cstring>
#include <string>
#include <vector>

#include "Base/eArray.h"
#include "Base/eString.h"
#include "Ndf/eNdfPool.h"
#include "Support/TempDir.h"

namespace KestTest {

// `dir` ends with a slash; the file is "<dir><id>.ndf".
template <class Reader>
void OpenIndex(Reader& reader, Kest::eNdfPool& pool, const std::string& dir, int id)
{
    const std::vector<unsigned char> bytes = TempDir::Read(dir + std::to_string(id) + ".ndf");
    Kest::ueglobal_addr_t root{};
    std::int32_t depth = 0;
    if (bytes.size() >= 12) {
        std::memcpy(&root, bytes.data(), 8);
        std::memcpy(&depth, bytes.data() + 8, 4);
    }
    pool.SetDataPath(dir.c_str());
    reader.SetGID(root);
    reader.SetDepth(depth);
    reader.SetDataPath(dir.c_str());
    reader.SetPool(&pool);
}

inline Kest::eArray<Kest::eString> KeyArray(const std::vector<std::string>& keys)
{
    Kest::eArray<Kest::eString> out;
    for (const std::string& k : keys)
        out.Add(Kest::eString(k.data(), static_cast<int>(k.size())));
    return out;
}

} // namespace KestTest
