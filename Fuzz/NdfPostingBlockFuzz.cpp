// Fuzzes posting blocks: any input either decodes to postings that encode
// back to exactly the input, or is refused without a read past its bytes.

#include <cstdint>
#include <cstdlib>
#include <vector>

#include "Ndf/eNdfPostingBlock.h"

using namespace Kest;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size > static_cast<std::size_t>(eNdfPostingBlock::kMaxBytes) - 10)
        return 0; // longer lists are cut into several blocks
    // Exactly the input's bytes on the heap, so a read past them is caught.
    const std::vector<unsigned char> block(data, data + size);
    eNdfPostingBlock reader;
    std::vector<eNdfPostingBlock::Posting> postings;
    eNdfPostingBlock::Posting p{};
    if (reader.SetBuffer(block.empty() ? nullptr : block.data(), static_cast<int>(block.size())))
        while (reader.Next(p))
            postings.push_back(p);
    if (reader.AtEnd()) {
        const auto encoded = eNdfPostingBlock::Encode(postings);
        if (encoded.size() != 1 || encoded[0] != block)
            std::abort();
    }
    return 0;
}
