#pragma once

#include <cstdint>
#include <vector>

#include "Base/KestExport.h"
#include "Base/ueglobal_addr_t.h"

namespace Kest {

// A block of full-text postings (byte position in a name, POI address) kept
// in one field of a record, so that a word's postings are read a block at a
// time instead of a record each. The encoding (docs/format.md, "Posting
// blocks") is written by Encode and read by Next; the compiler's writers and
// the engine's readers share this class so that both agree on every byte.
class KEST_API eNdfPostingBlock {
public:
    struct Posting {
        int position;
        ueglobal_addr_t poi;
    };

    // The postings in their order, cut into blocks of at most kMaxBytes
    // bytes each (a block holds at least one posting). No blocks for none.
    static std::vector<std::vector<unsigned char>> Encode(const std::vector<Posting>& postings);

    // Attaches `length` bytes at `bytes` (kept, not copied) and reads the
    // posting count. False when the count is missing or cannot fit.
    bool SetBuffer(const unsigned char* bytes, int length);
    // The next posting, or false: at the end of the block (AtEnd) or when
    // the block is malformed (a varint that is not in its shortest form or
    // runs past the end, a position beyond 32 bits, bytes after the last).
    bool Next(Posting& posting);
    // True when every posting was read and the block ended right after it.
    bool AtEnd() const { return !m_bBroken && m_nLeft == 0 && m_pAt == m_pEnd; }

    static constexpr int kMaxBytes = 4096;

private:
    const unsigned char* m_pAt = nullptr;
    const unsigned char* m_pEnd = nullptr;
    std::uint64_t m_nLeft = 0;
    std::uint64_t m_nKey = 0;
    bool m_bBroken = true;
};

} // namespace Kest
