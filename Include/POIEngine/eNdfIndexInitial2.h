#pragma once

#include "Base/KestExport.h"
#include "Base/eArray.h"
#include "Base/eString.h"
#include "Base/ueglobal_addr_t.h"
#include "Ndf/eNdfRecordsetTabular.h"
#include "POIEngine/eNdfIndexInitial.h"

namespace Kest {

// Pinyin-initial index, second form: the reader behind the search by
// initials. One letter trie for the whole file whose letters carry result
// records grouped by 16-bit district code, a district tree that names the
// codes, and a path cache so that typing one more letter reads only the node
// of that letter. The layout is in docs/format.md ("Pinyin-initial index,
// second form"); letters fold and compare as in the first form.
class KEST_API eNdfIndexInitial2 : public eNdfIndexInitial {
public:
    eNdfIndexInitial2();
    ~eNdfIndexInitial2() override;

    // keys: province and city (matched as substrings; "*" for all), then the
    // initials. Fewer than two keys give district node pairs, not POIs.
    unsigned char Query(const eArray<eString>& keys, eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums,
                        eArray<eString>& names) override;
    using eNdfIndex::Query;
    int GetQueryedCount() override;
    // Appends further POIs until `gids` holds at least `count` entries (those
    // already in it included) or nothing is pending; returns the final
    // length of `gids` (0 when nothing was pending).
    int GetNextResult(int count, eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums) override;
    // Forgets the path cache, so the next query walks from the root.
    void ClearCache() override;

protected:
    unsigned char GetRoot();
    unsigned char QueryDistrict(eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums,
                                const eArray<eString>& keys);
    unsigned char QueryByPY(eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums, eArray<eString>& names,
                            const eArray<eString>& key);
    unsigned char GetBranchsKey(eArray<eString>& names, const ueglobal_addr_t& node, unsigned int count);
    unsigned char GetResult(eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums,
                            const ueglobal_addr_t& leafAddr, unsigned int leafCount, bool count);
    unsigned char HasResult(const ueglobal_addr_t& leafAddr, unsigned int leafCount);

    // Letter nodes the walk of QueryByPY has read from the file (path-cache
    // hits excluded); lets a test see what the cache spared.
    int m_nWalkNodeReads = 0;

private:
    bool PassesFilter(unsigned short code) const;

    ueglobal_addr_t m_gidDistrictRoot{};
    unsigned int m_nDistrictRootCount = 0;
    int m_nQueryedCount2 = 0;
    eArray<ueglobal_addr_t> m_arPendingGids;
    eArray<unsigned int> m_arPendingNums;
    bool m_bAllDistricts = false;
    eArray<unsigned short> m_arDistrictCodes;
    // The path cache, by letter level: the folded letter taken, the node
    // reached and the leaf pair of the record taken.
    eArray<unsigned char> m_arPathLetters;
    eArray<ueglobal_addr_t> m_arPathNodes;
    eArray<unsigned int> m_arPathNodeCounts;
    eArray<ueglobal_addr_t> m_arPathLeafs;
    eArray<unsigned int> m_arPathLeafCounts;

    // Readers of letter nodes and of result runs, kept to spare allocations.
    eNdfRecordsetTabular m_rsNode;
    eNdfRecordsetTabular m_rsResult;
};

} // namespace Kest
