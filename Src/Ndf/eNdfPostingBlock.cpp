#include "Ndf/eNdfPostingBlock.h"

#include "NdfVarint.h"

namespace Kest {

std::vector<std::vector<unsigned char>> eNdfPostingBlock::Encode(const std::vector<Posting>& postings)
{
    // Each block starts from key 0, so that it decodes on its own.
    std::vector<std::vector<unsigned char>> blocks;
    NdfVarint::BlockCutter cutter(static_cast<std::size_t>(kMaxBytes));
    std::vector<unsigned char> one;
    std::uint64_t previous = 0;
    auto encode = [&](const Posting& p) {
        // Zigzag: a step back (postings out of store order) stays small too.
        one.clear();
        NdfVarint::PutSigned(one, NdfVarint::AddrKey(p.poi) - previous);
        NdfVarint::Put(one, static_cast<std::uint32_t>(p.position));
    };
    for (const Posting& p : postings) {
        encode(p);
        if (!cutter.Fits(one.size())) {
            cutter.Close(blocks);
            previous = 0;
            encode(p);
        }
        cutter.Add(one);
        previous = NdfVarint::AddrKey(p.poi);
    }
    cutter.Close(blocks);
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
    if (bytes == nullptr || length <= 0 || !NdfVarint::Get(m_pAt, m_pEnd, count) || count == 0 ||
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
    if (!NdfVarint::Get(m_pAt, m_pEnd, zigzag) || !NdfVarint::Get(m_pAt, m_pEnd, position) || position > 0xFFFFFFFFu ||
        (m_nLeft == 1 && m_pAt != m_pEnd)) {
        m_nLeft = 0;
        m_bBroken = true;
        return false;
    }
    --m_nLeft;
    m_nKey += NdfVarint::Unzigzag(zigzag);
    posting.position = static_cast<int>(static_cast<std::uint32_t>(position));
    posting.poi = NdfVarint::AddrOf(m_nKey);
    return true;
}

} // namespace Kest
