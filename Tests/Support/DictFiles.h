#pragma once
// Word dictionary files for the tests: raw "CoreDict.dct" images written slot
// by slot exactly as given (no sorting, no checks), loaded through a
// temporary file into the process-wide dictionary.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Compiler/CoreDictWriter.h"
#include "Compiler/GbkCodec.h"
#include "POIEngine/eDictionary.h"

namespace KestTest {

// GBK bytes of a UTF-8 literal.
inline std::string G(const char* utf8) { return Kest::GbkCodec::Gbk(utf8); }

inline Kest::eDictionary& Dict() { return Kest::eDictionary::GetInstance(); }
inline bool Has(std::string w) { return Dict().IsGetWord(&w[0]) != 0; }
inline int Freq(std::string w) { return Dict().GetFreq(&w[0]); }

// GetWordIndex: the index, or -2 when it fails; `slot` gets the slot.
inline int Index(const std::string& w, int* slot = nullptr)
{
    int s = 0, i = 0;
    const bool ok = Dict().GetWordIndex(Kest::eString(w.c_str()), s, i) != 0;
    if (slot)
        *slot = s;
    return ok ? i : -2;
}

inline void PutInt(std::string& out, std::int64_t value)
{
    for (int shift = 0; shift < 32; shift += 8)
        out += static_cast<char>((static_cast<std::uint32_t>(value) >> shift) & 0xFF);
}

// slot -> (frequency, stored text) in file order; every other slot empty.
using RawSlots = std::map<int, std::vector<std::pair<std::int64_t, std::string>>>;

inline std::string DictBytes(const RawSlots& slots)
{
    std::string out;
    const std::vector<std::pair<std::int64_t, std::string>> none;
    for (int slot = 0; slot < Kest::eDictionary::kSlotCount; ++slot) {
        const auto it = slots.find(slot);
        const auto& words = it == slots.end() ? none : it->second;
        PutInt(out, static_cast<std::int64_t>(words.size()));
        for (const auto& [freq, text] : words) {
            PutInt(out, freq);
            PutInt(out, static_cast<std::int64_t>(text.size()));
            out += text;
        }
    }
    return out;
}

// The image of UTF-8 words with their frequencies, as the data compiler writes it.
inline std::string WordBytes(const std::vector<std::pair<std::string, int>>& words)
{
    Kest::CoreDictWriter writer;
    for (const auto& [w, f] : words)
        writer.Add(G(w.c_str()), f);
    return writer.Build();
}

// Writes `bytes` to a temporary file and loads it; `unload` empties the
// dictionary first.
inline void LoadDict(const std::string& bytes, bool unload = true, bool noFreq = false)
{
    char path[] = "/tmp/coredict-XXXXXX";
    const int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    const bool written = write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    close(fd);
    if (unload)
        Dict().UnLoad();
    const bool loaded = written && Dict().Load(path, noFreq);
    std::remove(path);
    ASSERT_TRUE(loaded);
}

} // namespace KestTest
