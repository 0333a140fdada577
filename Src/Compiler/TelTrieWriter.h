#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Base/NdfFormat.h"
#include "Base/ueglobal_addr_t.h"

namespace Kest {

// Writes the telephone trie (read by eNdfIndexTelTrie; docs/format.md,
// "Telephone trie index"): a digit trie whose every node is a run of child
// records, one per next digit in ascending order, each record holding its
// digit and the feature block of the node it leads to (that node's child
// run and the run of POI records whose number ends there).
//
// The POI records are those of the telephone store, added here in store
// order, which is by number length, then by number (StoreOrder): so the
// records of one number are one run, and the POIs of one length below any
// node are one run too. Each record also lists those runs, one per length
// (field 2), so that a query can hand over every POI below a node without
// walking the nodes below it.
class TelTrieWriter {
public:
    // `depth`: the digits the trie distinguishes; numbers are cut to it.
    // 0 means the length of the longest number (at least 1).
    explicit TelTrieWriter(std::uint16_t fileId = NdfFormat::kTelIndexFileId, int depth = 0,
                           std::uint32_t targetPageSize = NdfFormat::kDefaultTargetPageSize);

    // The next record of the store, whose number is `digits` (ASCII digits,
    // not empty). Numbers (cut to a fixed depth) must come in StoreOrder;
    // false (and the record ignored) otherwise.
    bool Add(std::string_view digits, const ueglobal_addr_t& record);

    // The order of the telephone store: shorter numbers first, numbers of
    // one length in byte order.
    static bool StoreOrder(std::string_view a, std::string_view b);

    // Writes the trie to `path` (the file "<dir><fileId>.ndf").
    bool Write(const std::string& path);
    const std::string& GetError() const { return m_error; }
    // The depth written in the header (known after Write).
    int GetDepth() const { return m_nDepth; }

private:
    struct Number {
        std::string digits;        // cut to the depth
        ueglobal_addr_t first{};   // the run of store records with this number
        std::uint32_t count = 0;
    };

    std::uint16_t m_nFileId;
    int m_nDepth;
    std::uint32_t m_nTarget;
    std::vector<Number> m_numbers; // distinct, in StoreOrder
    std::string m_error;
};

} // namespace Kest
