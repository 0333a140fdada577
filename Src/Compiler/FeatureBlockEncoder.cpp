#include "Compiler/FeatureBlockEncoder.h"

#include <cstdint>

#include "Base/NdfFormat.h"

namespace Kest {

using namespace NdfFormat;

namespace {

void PutVarint(std::vector<unsigned char>& out, std::uint64_t value)
{
    while (value >= 0x80) {
        out.push_back(static_cast<unsigned char>(value | 0x80u));
        value >>= 7;
    }
    out.push_back(static_cast<unsigned char>(value));
}

bool IsZero(const ueglobal_addr_t& addr, unsigned int count)
{
    return count == 0 && addr.page.nFile == 0 && addr.page.nPage == 0 && addr.nElement == 0;
}

void PutPair(std::vector<unsigned char>& out, const ueglobal_addr_t& addr, unsigned int count)
{
    PutVarint(out, addr.page.nFile);
    PutVarint(out, addr.page.nPage);
    PutVarint(out, addr.nElement);
    PutVarint(out, count);
}

} // namespace

std::vector<unsigned char> FeatureBlockEncoder::Encode(const ueglobal_addr_t& child, unsigned int childCount,
                                                       const ueglobal_addr_t& leaf, unsigned int leafCount)
{
    std::vector<unsigned char> out;
    out.reserve(kFeatureMaxBlockSize);
    unsigned char flags = 0;
    if (!IsZero(child, childCount))
        flags |= kFeatureHasChild;
    if (!IsZero(leaf, leafCount))
        flags |= kFeatureHasLeaf;
    out.push_back(flags);
    if (flags & kFeatureHasChild)
        PutPair(out, child, childCount);
    if (flags & kFeatureHasLeaf)
        PutPair(out, leaf, leafCount);
    return out;
}

} // namespace Kest
