#include "Ndf/eNdfFeatureIndex.h"

#include "Base/NdfFormat.h"

namespace Kest {

using namespace NdfFormat;

namespace {

// One unsigned LEB128 varint of at most `max`; the shortest form only, so
// that every value has exactly one encoding.
bool ReadVarint(const unsigned char*& p, const unsigned char* end, std::uint64_t max, std::uint64_t& value)
{
    value = 0;
    for (std::uint32_t i = 0; i < kFeatureMaxVarintBytes; ++i) {
        if (p == end)
            return false;
        const unsigned char b = *p++;
        value |= static_cast<std::uint64_t>(b & 0x7Fu) << (7 * i);
        if ((b & 0x80u) == 0)
            return value <= max && (i == 0 || b != 0);
    }
    return false;
}

bool ReadPair(const unsigned char*& p, const unsigned char* end, ueglobal_addr_t& addr, unsigned int& count)
{
    std::uint64_t file, page, element, n;
    if (!ReadVarint(p, end, 0xFFFFu, file) || !ReadVarint(p, end, 0xFFFFFFFFu, page) ||
        !ReadVarint(p, end, 0xFFFFu, element) || !ReadVarint(p, end, 0xFFFFFFFFu, n))
        return false;
    addr = MakeGlobalAddr(static_cast<std::uint16_t>(file), static_cast<std::uint32_t>(page),
                          static_cast<std::uint16_t>(element));
    count = static_cast<unsigned int>(n);
    // The writer leaves an all-zero pair out, so a present one is never all
    // zero: every pair of pairs has exactly one encoding.
    return (file | page | element | n) != 0;
}

} // namespace

eNdfFeatureIndex::eNdfFeatureIndex(int nMemoryMode) : m_nMemoryMode(nMemoryMode) {}

bool eNdfFeatureIndex::Decode(const unsigned char* bytes, int length, ueglobal_addr_t& child,
                              unsigned int& childCount, ueglobal_addr_t& leaf, unsigned int& leafCount)
{
    child = ueglobal_addr_t{};
    leaf = ueglobal_addr_t{};
    childCount = 0;
    leafCount = 0;
    if (bytes == nullptr || length < 1)
        return false;
    const unsigned char* p = bytes;
    const unsigned char* end = bytes + length;
    const unsigned char flags = *p++;
    if ((flags & ~kFeatureFlagMask) != 0)
        return false;
    bool ok = true;
    if (flags & kFeatureHasChild)
        ok = ReadPair(p, end, child, childCount);
    if (ok && (flags & kFeatureHasLeaf))
        ok = ReadPair(p, end, leaf, leafCount);
    if (!ok || p != end) {
        child = ueglobal_addr_t{};
        leaf = ueglobal_addr_t{};
        childCount = 0;
        leafCount = 0;
        return false;
    }
    return true;
}

bool eNdfFeatureIndex::SetBuffer(const unsigned char* bytes, int length)
{
    // The block is decoded at once, so neither mode needs the bytes later:
    // mode 1 never copies them and other modes need no copy either.
    m_bValid = Decode(bytes, length, m_gidChild, m_nChildCount, m_gidLeaf, m_nLeafCount);
    return m_bValid;
}

bool eNdfFeatureIndex::GetChild(ueglobal_addr_t& addr, unsigned int& count) const
{
    addr = m_gidChild;
    count = m_nChildCount;
    return m_bValid;
}

bool eNdfFeatureIndex::GetLeaf(ueglobal_addr_t& addr, unsigned int& count) const
{
    addr = m_gidLeaf;
    count = m_nLeafCount;
    return m_bValid;
}

} // namespace Kest
