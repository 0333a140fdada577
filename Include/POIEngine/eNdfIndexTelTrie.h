#pragma once

#include <vector>

#include "Base/KestExport.h"
#include "Base/eArray.h"
#include "Base/eString.h"
#include "Base/ueglobal_addr_t.h"
#include "Ndf/eNdfFeatureIndex.h"
#include "Ndf/eNdfIndex.h"

namespace Kest {

// Telephone trie index: finds POIs by the digits of their number as they are
// typed. Every trie node is a run of child records, one per next digit in
// ascending order; a record's field 0 is its digit, field 1 the feature
// block of the node it leads to (child run, and the run of POI records whose
// number ends there). The layout is in docs/format.md ("Telephone trie
// index").
class KEST_API eNdfIndexTelTrie : public eNdfIndex {
public:
    eNdfIndexTelTrie();
    ~eNdfIndexTelTrie() override;

    IndexType GetType() override;
    // keys[0]: the digits typed so far. True when they are a path of the
    // trie: `gids`/`nums` hold the POIs whose number is exactly that, then
    // every POI whose number continues it (breadth first, ascending digits
    // within a run); `names` the digits that may come next, one per string.
    unsigned char Query(const eArray<eString>& keys, eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums,
                        eArray<eString>& names) override;
    using eNdfIndex::Query;

    // The same answer as Query for `number` (same POIs in the same order,
    // same next digits, same result), with the POIs below the node handed
    // over as one run per number length, read from the node's own record
    // instead of from every node below it: what the engine uses, so that a
    // short prefix costs no more than a long one. `entries`: how many
    // entries Query's lists would have held.
    unsigned char QueryRuns(const eString& number, eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums,
                            eArray<eString>& names, unsigned int& entries);

private:
    // Follows the digits of `number` from the root: `range` becomes the
    // child run of the last node matched (`matched`, when `anyMatched`),
    // `below` (when given) that node's list of runs. False for a non-digit
    // within the depth, a digit not in the trie or an unreadable record.
    unsigned char Walk(const eString& number, ueglobal_addr_t& range, unsigned int& rangeCount,
                       eNdfFeatureIndex& matched, bool& anyMatched, std::vector<unsigned char>* below);
    // Appends the run of POIs whose number ends at the matched node.
    static void AddExact(eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums, const eNdfFeatureIndex& matched,
                         bool anyMatched);
    // Appends every leaf run below the child run (start, startCount), level
    // by level; false when a record cannot be read.
    unsigned char QueryAll(eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums, const ueglobal_addr_t& start,
                           unsigned int startCount);
    // Appends the digit of every record of the run (start, startCount).
    unsigned char GetName(eArray<eString>& names, const ueglobal_addr_t& start, unsigned int startCount);
};

} // namespace Kest
