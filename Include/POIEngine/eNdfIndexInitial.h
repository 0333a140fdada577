#pragma once

#include "Base/KestExport.h"
#include "Base/eArray.h"
#include "Base/eString.h"
#include "Base/ueglobal_addr_t.h"
#include "Ndf/eNdfIndex.h"

namespace Kest {

// Pinyin-initial index, first form: a trie whose upper levels are district
// levels (province, then city) and whose lower levels are one level per
// initial letter. A keyed Query narrows to district nodes, follows the
// initials, returns the POIs that end exactly at the reached node (at most
// 100 results counted in all), keeps the reached nodes for paging and offers
// the letters that may come next. The layout is in docs/format.md
// ("Pinyin-initial index, first form").
class KEST_API eNdfIndexInitial : public eNdfIndex {
public:
    // Results a query gathers before it stops and offers every letter.
    static constexpr int kQueryLimit = 100;

    eNdfIndexInitial();
    ~eNdfIndexInitial() override;

    IndexType GetType() override;
    // keys: district names first (province, city), the initials last.
    unsigned char Query(const eArray<eString>& keys, eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums,
                        eArray<eString>& names) override;
    using eNdfIndex::Query;
    // Slot 7: the number of results the last Query found in all.
    virtual int GetQueryedCount();
    // Slot 8: appends at least `count` further POIs when that many remain
    // (whole nodes are finished); returns how many it appended.
    virtual int GetNextResult(int count, eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums);
    // Slot 9: nothing to clear in this form; Query resets its own cache.
    virtual void ClearCache();

    // The folding of letters, for stored letters and query characters alike:
    // a byte that is 97 or more as a signed 8-bit value has 32 subtracted,
    // every other byte stays. Stored letters are ordered by the folded byte
    // taken as signed 8-bit.
    static unsigned char FoldLetter(unsigned char c)
    {
        return static_cast<signed char>(c) >= 97 ? static_cast<unsigned char>(c - 32) : c;
    }

protected:
    unsigned char QueryDistrict(eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums,
                                const eArray<eString>& keys);
    unsigned char GetBranchs(eArray<eString>& names, eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums,
                             const ueglobal_addr_t& node, unsigned int count);
    unsigned char QueryByPY(eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums,
                            eArray<ueglobal_addr_t>& deepGids, eArray<unsigned int>& deepNums,
                            eArray<eString>& names, ueglobal_addr_t& node, unsigned int& count,
                            const eArray<eString>& key);
    unsigned char GetAllLeafs(eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums, const ueglobal_addr_t& node,
                              unsigned int count);
    unsigned char GetBranchsName(eArray<eString>& names, const ueglobal_addr_t& node, unsigned int count);
    // The Query of the sight and place-name readers, whose tries have no
    // district levels: the letter walk from the root with the last key as the
    // initials, the other keys ignored (eNdfIndexSightByPY.h).
    unsigned char QueryLetterTrie(const eArray<eString>& keys, eArray<ueglobal_addr_t>& gids,
                                  eArray<unsigned int>& nums, eArray<eString>& names);

    int m_nQueryedCount = 0;
    // Nodes whose deeper POIs are not delivered yet, first in, first out.
    eArray<ueglobal_addr_t> m_arCacheGids;
    eArray<unsigned int> m_arCacheNums;
};

} // namespace Kest
