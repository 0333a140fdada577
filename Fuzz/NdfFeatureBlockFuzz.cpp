// Fuzzes feature blocks: any input either decodes to pairs that encode back
// to exactly the input, or is refused with empty pairs; and pairs taken from
// the input bytes survive an encode/decode round trip.

#include "Compiler/FeatureBlockEncoder.h"
#include "FuzzSupport.h"
#include "Ndf/eNdfFeatureIndex.h"

using namespace Kest;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // Exactly the input's bytes on the heap, so a read past them is caught.
    const std::vector<unsigned char> block(data, data + size);
    eNdfFeatureIndex index(1);
    const bool ok = index.SetBuffer(block.empty() ? nullptr : block.data(), static_cast<int>(block.size()));
    ueglobal_addr_t a, b, c, d;
    unsigned int ac = 0, bc = 0, cc = 0, dc = 0;
    index.GetChild(a, ac);
    index.GetLeaf(b, bc);
    if (ok ? FeatureBlockEncoder::Encode(a, ac, b, bc) != block : ac != 0 || bc != 0)
        std::abort();
    if (size >= 24) {
        std::memcpy(&a, data, 8);
        std::memcpy(&ac, data + 8, 4);
        std::memcpy(&b, data + 12, 8);
        std::memcpy(&bc, data + 20, 4);
        const std::vector<unsigned char> encoded = FeatureBlockEncoder::Encode(a, ac, b, bc);
        if (!eNdfFeatureIndex::Decode(encoded.data(), static_cast<int>(encoded.size()), c, cc, d, dc) ||
            !(c == a) || cc != ac || !(d == b) || dc != bc)
            std::abort();
    }
    return 0;
}
