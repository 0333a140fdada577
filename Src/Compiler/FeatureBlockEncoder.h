#pragma once

#include <vector>

#include "Base/ueglobal_addr_t.h"

namespace Kest {

// Writes the pointer block of a tree node (read by eNdfFeatureIndex): the
// child pair and the leaf pair, each left out when it is all zero, the rest
// as varints (docs/format.md, "Feature blocks"). At most 41 bytes.
class FeatureBlockEncoder {
public:
    static std::vector<unsigned char> Encode(const ueglobal_addr_t& child, unsigned int childCount,
                                             const ueglobal_addr_t& leaf, unsigned int leafCount);
};

} // namespace Kest
