#pragma once

#include <cstdint>
#include <vector>

#include "Base/KestExport.h"
#include "Base/ueglobal_addr_t.h"

namespace Kest {

// A full-text word table in blocks: the words of a district ascending by
// key, each with the run of its posting blocks (eNdfPostingBlock). The table
// is a run of records: a directory (the first key of every block), then the
// blocks of up to kMaxBlockBytes. A look-up reads the directory and one
// block, where a record per word took a binary search over many pages. The
// encoding (docs/format.md, "Word tables") is written by Encode and read by
// FindBlock and FindInBlock, shared by the compiler's writers and the
// engine's readers.
class KEST_API eNdfWordTable {
public:
    struct Entry {
        std::int32_t key;
        std::uint32_t count; // posting block records
        ueglobal_addr_t postings;
    };

    // Entries ascending by key, each key once. No blocks (and an empty
    // directory) for none.
    static void Encode(const std::vector<Entry>& entries, std::vector<unsigned char>& directory,
                       std::vector<std::vector<unsigned char>>& blocks);

    // The number of blocks a directory lists; false when it lists none or
    // cannot say.
    static bool CountBlocks(const unsigned char* directory, int length, int& blocks);
    // The block whose keys would hold `key`: the last whose first key is not
    // greater (-1 when `key` is below the first), and that first key. False
    // when the directory is malformed or does not list `blocks` blocks.
    static bool FindBlock(const unsigned char* directory, int length, int blocks, std::int32_t key, int& block,
                          std::int32_t& firstKey);
    // `key` in a block that begins with `firstKey`: found and its entry, or
    // not found. False when the block is malformed or does not begin there.
    static bool FindInBlock(const unsigned char* bytes, int length, std::int32_t firstKey, std::int32_t key,
                            bool& found, Entry& entry);

    static constexpr int kMaxBlockBytes = 1024;
};

} // namespace Kest
