#pragma once

#include "Base/KestExport.h"
#include "Base/eArray.h"
#include "Base/eString.h"
#include "Base/ueglobal_addr_t.h"
#include "Ndf/eNdfIndex.h"
#include "Ndf/eNdfRecordsetTabular.h"

namespace Kest {

// The category index behind the search by address ("POI/100.ndf"): a tree
// whose root names the provinces; below a province lie its cities, below a
// city its counties, below a county its category records (ascending by
// code), and below a category record the run of that county's POIs of that
// category in the POI store. The layout is in docs/format.md ("Category
// index").
//
// Keys: the area names from the top level down (province, city, county),
// each found as a substring of the record's name or "*" for every area of
// its level; in fourth place a category code in decimal ("*" or empty for
// every category).
class KEST_API eNdfIndexCategory : public eNdfIndex {
public:
    eNdfIndexCategory();
    ~eNdfIndexCategory() override;

    IndexType GetType() override;
    // The POI runs of the areas and category the keys name, in `gids` and
    // `nums`; `names` is emptied and stays empty. False when the root cannot
    // be read or an area level has no match (or a record of the tree is
    // malformed); a category missing from an area only adds nothing.
    unsigned char Query(const eArray<eString>& keys, eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums,
                        eArray<eString>& names) override;
    using eNdfIndex::Query;

    // The number of POIs the last query found through its category filter
    // (0 when it had none).
    unsigned int GetHitCount() const { return m_nHitCount; }

protected:
    // The walk over the area levels: the child ranges of the areas matched
    // (for four keys, the category records of the counties).
    unsigned char QueryDistrict(eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums,
                                const eArray<eString>& keys);
    // Appends, for each record of the run (start, startCount), its name
    // (field 0) and its child range (from field 1).
    unsigned char GetBranchs(eArray<eString>& names, eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums,
                             const ueglobal_addr_t& start, int startCount);

private:
    // The child range of the current record's field 1; false when the field
    // holds a block that is not well formed. `present` tells whether the
    // field exists at all.
    bool ReadChild(eNdfRecordsetTabular& rs, bool& present, ueglobal_addr_t& child, unsigned int& count);

    unsigned int m_nHitCount = 0;
    // Two lists that no operation of this reader fills; kept so that the
    // reader's members stay those of its published form.
    eArray<ueglobal_addr_t> m_arUnusedGids;
    eArray<unsigned int> m_arUnusedNums;
};

} // namespace Kest
