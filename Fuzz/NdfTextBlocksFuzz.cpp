// Fuzzes the blocks of the full-text index: as a posting block, any input
// either decodes to postings that encode back to exactly the input, or is
// refused; as a word-table directory and block, it is read without a read
// past its bytes, and what a block finds is what it holds.

#include <cstdint>
#include <cstdlib>
#include <vector>

#include "Ndf/eNdfPostingBlock.h"
#include "Ndf/eNdfWordTable.h"

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
    const unsigned char* bytes = block.empty() ? nullptr : block.data();
    const int length = static_cast<int>(block.size());
    int blocks = 0, at = -1;
    std::int32_t first = 0;
    const std::int32_t key = size >= 4 ? static_cast<std::int32_t>(data[0] | data[1] << 8 | data[2] << 16 | data[3] << 24) : 0;
    if (eNdfWordTable::CountBlocks(bytes, length, blocks))
        eNdfWordTable::FindBlock(bytes, length, blocks, key, at, first);
    bool found = false;
    eNdfWordTable::Entry entry{};
    if (eNdfWordTable::FindInBlock(bytes, length, first, key, found, entry) && found && entry.key != key)
        std::abort();
    return 0;
}
