#pragma once
// Varints of the compact blocks (posting blocks, word tables): unsigned
// LEB128 in the shortest form, zigzag for steps that may go back, and a POI
// address as one number growing with (file, page, element).

#include <cstddef>
#include <cstdint>
#include <vector>

#include "Base/ueglobal_addr_t.h"

namespace Kest {
namespace NdfVarint {

inline void Put(std::vector<unsigned char>& out, std::uint64_t value)
{
    while (value >= 0x80) {
        out.push_back(static_cast<unsigned char>(value | 0x80u));
        value >>= 7;
    }
    out.push_back(static_cast<unsigned char>(value));
}

// A step of two's-complement arithmetic, zigzag-coded (0, -1, 1, -2 ... as 0, 1, 2, 3 ...).
inline void PutSigned(std::vector<unsigned char>& out, std::uint64_t step)
{
    Put(out, static_cast<std::int64_t>(step) < 0 ? ~(step << 1) : step << 1);
}

inline std::uint64_t Unzigzag(std::uint64_t v)
{
    return (v & 1) != 0 ? ~(v >> 1) : v >> 1;
}

// At most 10 bytes and 64 bits, in the shortest form only; false past `end`.
inline bool Get(const unsigned char*& p, const unsigned char* end, std::uint64_t& value)
{
    value = 0;
    for (int i = 0; i < 10; ++i) {
        if (p == end)
            return false;
        const unsigned char b = *p++;
        if (i == 9 && b > 1)
            return false;
        value |= static_cast<std::uint64_t>(b & 0x7Fu) << (7 * i);
        if ((b & 0x80u) == 0)
            return i == 0 || b != 0;
    }
    return false;
}

inline std::uint64_t AddrKey(const ueglobal_addr_t& a)
{
    return static_cast<std::uint64_t>(a.page.nFile) << 48 | static_cast<std::uint64_t>(a.page.nPage) << 16 |
           a.nElement;
}

inline ueglobal_addr_t AddrOf(std::uint64_t key)
{
    return MakeGlobalAddr(static_cast<std::uint16_t>(key >> 48), static_cast<std::uint32_t>(key >> 16),
                          static_cast<std::uint16_t>(key));
}

// Cuts encoded entries into blocks of at most `max` bytes, each block led by
// its entry count (a varint; 10 bytes are kept for it).
class BlockCutter {
public:
    explicit BlockCutter(std::size_t max) : m_max(max) {}

    // Whether an entry of `size` bytes goes into the open block (the first
    // entry of a block always does).
    bool Fits(std::size_t size) const { return m_count == 0 || m_body.size() + size + 10 <= m_max; }
    std::uint64_t Count() const { return m_count; }
    void Add(const std::vector<unsigned char>& entry)
    {
        m_body.insert(m_body.end(), entry.begin(), entry.end());
        ++m_count;
    }
    // Ends the open block, if it holds an entry.
    void Close(std::vector<std::vector<unsigned char>>& blocks)
    {
        if (m_count == 0)
            return;
        std::vector<unsigned char> block;
        Put(block, m_count);
        block.insert(block.end(), m_body.begin(), m_body.end());
        blocks.push_back(std::move(block));
        m_body.clear();
        m_count = 0;
    }

private:
    std::size_t m_max;
    std::vector<unsigned char> m_body;
    std::uint64_t m_count = 0;
};

} // namespace NdfVarint
} // namespace Kest
