#pragma once

#include <cstdint>

#include "Base/KestExport.h"
#include "Base/ueglobal_addr_t.h"

namespace Kest {

// Decodes the pointer block that a tree node keeps in one of its fields: the
// node's child pair (first record and record count of the child node) and
// its leaf pair. The encoding is in docs/format.md ("Feature blocks").
class KEST_API eNdfFeatureIndex {
public:
    // The readers construct it with memory mode 1 (read the caller's bytes in
    // place). The block is decoded at once by SetBuffer, so in every mode the
    // bytes may go away right after it.
    explicit eNdfFeatureIndex(int nMemoryMode = 1);

    // Attaches the block of `length` bytes at `bytes`; nothing past `length`
    // is read. False (and both pairs empty) when the block is malformed.
    bool SetBuffer(const unsigned char* bytes, int length);

    // The child pair; an absent pair is the zero address with count 0.
    // False when no well-formed block is attached.
    bool GetChild(ueglobal_addr_t& addr, unsigned int& count) const;
    // The leaf pair, in the same way.
    bool GetLeaf(ueglobal_addr_t& addr, unsigned int& count) const;

    int GetMemoryMode() const { return m_nMemoryMode; }

    // Decodes a whole block; the shared parser of SetBuffer and the tests.
    static bool Decode(const unsigned char* bytes, int length, ueglobal_addr_t& child, unsigned int& childCount,
                       ueglobal_addr_t& leaf, unsigned int& leafCount);

private:
    int m_nMemoryMode;
    bool m_bValid = false;
    ueglobal_addr_t m_gidChild{};
    unsigned int m_nChildCount = 0;
    ueglobal_addr_t m_gidLeaf{};
    unsigned int m_nLeafCount = 0;
};

} // namespace Kest
