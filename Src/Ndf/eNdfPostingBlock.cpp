#include "Ndf/eNdfPostingBlock.h"

namespace Kest {

namespace {

// An address as one number that grows with (file, page, element), so that
// postings in store order differ by small amounts.
std::uint64_t KeyOf(const ueglobal_addr_t& a)
{
    return static_cast<std::uint64_t>(a.page.nFile) << 48 | static_cast<std::uint64_t>(a.page.nPage) << 16 |
           a.nElement;
}

void PutVarint(std::vector<unsigned char>& out, std::uint64_t value)
{
    while (value >= 0x80) {
        out.push_back(static_cast<unsigned char>(value | 0x80u));
        value >>= 7;
    }
    out.push_back(static_cast<unsigned char>(value));
}

// Unsigned LEB128 of at most 10 bytes, in its shortest form only.
bool GetVarint(const unsigned char*& p, const unsigned char* end, std::uint64_t& value)
{
    value = 0;
    for (int i = 0; i < 10; ++i) {
        if (p == end)
            return false;
        const unsigned char b = *p++;
        if (i == 9 && b > 1)
            return false; // past 64 bits
        value |= static_cast<std::uint64_t>(b & 0x7Fu) << (7 * i);
        if ((b & 0x80u) == 0)
            return i == 0 || b != 0;
    }
    return false;
}

} // namespace

std::vector<std::vector<unsigned char>> eNdfPostingBlock::Encode(const std::vector<Posting>& postings)
{
    // Each block starts from key 0, so that it decodes on its own; its count
    // leads it and is put in front when the block is closed.
    std::vector<std::vector<unsigned char>> blocks;
    std::vector<unsigned char> body, one;
    std::uint64_t count = 0, previous = 0;
    auto encode = [&](const Posting& p) {
        const std::uint64_t delta = KeyOf(p.poi) - previous;
        // Zigzag: a step back (postings out of store order) stays small too.
        one.clear();
        PutVarint(one, static_cast<std::int64_t>(delta) < 0 ? ~(delta << 1) : delta << 1);
        PutVarint(one, static_cast<std::uint32_t>(p.position));
    };
    auto close = [&]() {
        std::vector<unsigned char> block;
        PutVarint(block, count);
        block.insert(block.end(), body.begin(), body.end());
        blocks.push_back(std::move(block));
        body.clear();
        count = previous = 0;
    };
    for (const Posting& p : postings) {
        encode(p);
        // 10 bytes are kept for the count.
        if (count > 0 && body.size() + one.size() + 10 > static_cast<std::size_t>(kMaxBytes)) {
            close();
            encode(p);
        }
        body.insert(body.end(), one.begin(), one.end());
        previous = KeyOf(p.poi);
        ++count;
    }
    if (count > 0)
        close();
    return blocks;
}

bool eNdfPostingBlock::SetBuffer(const unsigned char* bytes, int length)
{
    m_pAt = bytes;
    m_pEnd = bytes != nullptr && length > 0 ? bytes + length : bytes;
    m_nKey = 0;
    m_nLeft = 0;
    m_bBroken = false;
    std::uint64_t count = 0;
    // A posting takes at least two bytes.
    if (bytes == nullptr || length <= 0 || !GetVarint(m_pAt, m_pEnd, count) || count == 0 ||
        count > static_cast<std::uint64_t>(m_pEnd - m_pAt) / 2) {
        m_bBroken = true;
        return false;
    }
    m_nLeft = count;
    return true;
}

bool eNdfPostingBlock::Next(Posting& posting)
{
    if (m_nLeft == 0)
        return false;
    std::uint64_t zigzag = 0, position = 0;
    if (!GetVarint(m_pAt, m_pEnd, zigzag) || !GetVarint(m_pAt, m_pEnd, position) || position > 0xFFFFFFFFu ||
        (m_nLeft == 1 && m_pAt != m_pEnd)) {
        m_nLeft = 0;
        m_bBroken = true;
        return false;
    }
    --m_nLeft;
    m_nKey += (zigzag & 1) != 0 ? ~(zigzag >> 1) : zigzag >> 1;
    posting.position = static_cast<int>(static_cast<std::uint32_t>(position));
    posting.poi = MakeGlobalAddr(static_cast<std::uint16_t>(m_nKey >> 48), static_cast<std::uint32_t>(m_nKey >> 16),
                                 static_cast<std::uint16_t>(m_nKey));
    return true;
}

} // namespace Kest
