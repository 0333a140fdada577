#pragma once

#include "Base/KestExport.h"
#include "Base/eArray.h"
#include "Base/eString.h"
#include "Base/ueglobal_addr_t.h"
#include "POIEngine/eNdfIndexInitial.h"

namespace Kest {

// The place names found by the pinyin initials of their names. The file is a
// letter trie of the first form's record layout whose root node is the first
// letter level: there are no district levels to narrow. Paging, the queried
// count and ClearCache are the first form's own. Layout: docs/format.md
// ("Sight and place-name pinyin indexes").
class KEST_API eNdfIndexPlaceNameByPY : public eNdfIndexInitial {
public:
    eNdfIndexPlaceNameByPY();
    ~eNdfIndexPlaceNameByPY() override;

    // keys: only the last one counts, as the initials (the list must not be
    // empty). True whenever the root can be read, with or without hits; the
    // next letters are the real ones even when 100 results were reached.
    unsigned char Query(const eArray<eString>& keys, eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums,
                        eArray<eString>& names) override;
    using eNdfIndex::Query;
};

} // namespace Kest
