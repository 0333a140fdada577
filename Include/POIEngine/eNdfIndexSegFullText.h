#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "Base/KestExport.h"
#include "Base/eArray.h"
#include "Base/eString.h"
#include "Base/ueglobal_addr_t.h"
#include "Ndf/eNdfIndex.h"
#include "POIEngine/eMMWordSeg.h"

namespace Kest {

// Segmented full-text index: finds the POIs whose names contain the words of
// a query, in order, within the chosen districts. A keyword is cut into
// pieces (eDictionary::PreStand), each piece into dictionary words (forward
// maximum matching); every word's key is looked up in the district's word
// table, whose posting lists give (byte position in the name, POI address).
// The words of one piece must follow one another in the name; the pieces of
// one keyword may lie anywhere. Hits are ranked by where the match ends.
// Layout: docs/format.md ("Full-text index").
class KEST_API eNdfIndexSegFullText : public eNdfIndex {
public:
    eNdfIndexSegFullText();
    ~eNdfIndexSegFullText() override;

    IndexType GetType() override;
    // texts: province and city (as the first-form initial index resolves
    // them), then the keywords. With fewer than two texts the district nodes
    // themselves are returned.
    unsigned char Query(const eArray<eString>& texts, eArray<ueglobal_addr_t>& addrs, eArray<unsigned int>& scores,
                        eArray<eString>& names) override;
    using eNdfIndex::Query;

protected:
    unsigned char QueryByText(eArray<ueglobal_addr_t>& addrs, eArray<unsigned int>& scores, eArray<int>& ranks,
                              eArray<eString>& names, ueglobal_addr_t& district, unsigned int& districtInfo,
                              const eArray<eString>& keywords);
    // Orders hits by rank, ascending; equal ranks keep their order. The
    // scores are not permuted (they are all 1).
    void SortResult(eArray<ueglobal_addr_t>& addrs, eArray<unsigned int>& scores, eArray<int>& ranks);
    // The Query of the sight and place-name text readers: the whole index is
    // one district whose word table is the root node, and every text is a
    // keyword (eNdfIndexSightbyText.h).
    unsigned char QueryWholeIndex(const eArray<eString>& texts, eArray<ueglobal_addr_t>& addrs,
                                  eArray<unsigned int>& scores, eArray<eString>& names);

private:
    unsigned char DoQuery(const eString& word, int slot, int index, ueglobal_addr_t& district,
                          unsigned int& districtInfo);
    // The posting run of `key` in the district's word table, or false.
    bool FindWord(int key, const ueglobal_addr_t& district, unsigned int districtInfo, ueglobal_addr_t& postings,
                  unsigned int& postingCount);

    eMMWordSeg m_MMSeg;
    // The working hits of the current keyword, four parallel lists.
    eArray<ueglobal_addr_t> m_arHitGids;
    eArray<int> m_arHitPos;
    eArray<int> m_arHitFlag;
    eArray<int> m_arHitLen;
    // The hits of the earlier words by address, reused by every query.
    std::vector<std::pair<std::uint64_t, int>> m_byAddr;
    int m_nWordCount = 0;
    bool m_bLoose = false;
};

} // namespace Kest
