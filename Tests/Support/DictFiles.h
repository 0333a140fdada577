#pragma once
// Word dictionary files for the tests: raw "CoreDict.dct" images written
// slot by slot exactly as given (no sorting, no checks), and temporary files.

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Build/GbkCodec.h"

namespace KestTest {

// GBK bytes of a UTF-8 literal.
inline std::string G(const char* utf8) { return Kest::GbkCodec::Gbk(utf8); }

// The slot of a GB2312 hanzi (first two bytes of `gbk`).
inline int HanziSlot(const std::string& gbk)
{
    return (static_cast<unsigned char>(gbk[0]) - 0xB0) * 94 + (static_cast<unsigned char>(gbk[1]) - 0xA1);
}

inline void PutInt(std::string& out, std::int64_t value)
{
    const std::uint32_t u = static_cast<std::uint32_t>(value);
    for (int shift = 0; shift < 32; shift += 8)
        out += static_cast<char>((u >> shift) & 0xFF);
}

// slot -> (frequency, stored text) in file order; every other slot empty.
using RawSlots = std::map<int, std::vector<std::pair<std::int64_t, std::string>>>;

inline std::string DictBytes(const RawSlots& slots, int slotCount = 6771)
{
    std::string out;
    for (int slot = 0; slot < slotCount; ++slot) {
        const auto it = slots.find(slot);
        if (it == slots.end()) {
            PutInt(out, 0);
            continue;
        }
        PutInt(out, static_cast<std::int64_t>(it->second.size()));
        for (const auto& [freq, text] : it->second) {
            PutInt(out, freq);
            PutInt(out, static_cast<std::int64_t>(text.size()));
            out += text;
        }
    }
    return out;
}

// A file removed when the object goes.
class TempFile {
public:
    explicit TempFile(const std::string& bytes = std::string())
    {
        char path[] = "/tmp/coredict-XXXXXX";
        const int fd = mkstemp(path);
        m_path = path;
        if (fd >= 0) {
            if (!bytes.empty() && write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
                m_path.clear();
            close(fd);
        }
    }
    ~TempFile() { std::remove(m_path.c_str()); }
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;
    const char* path() const { return m_path.c_str(); }

private:
    std::string m_path;
};

} // namespace KestTest
