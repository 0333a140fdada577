#include "POIEngine/eNdfIndexSightByPY.h"

namespace Kest {

eNdfIndexSightByPY::eNdfIndexSightByPY() = default;

eNdfIndexSightByPY::~eNdfIndexSightByPY() = default;

unsigned char eNdfIndexSightByPY::Query(const eArray<eString>& keys, eArray<ueglobal_addr_t>& gids,
                                        eArray<unsigned int>& nums, eArray<eString>& names)
{
    // One implementation serves the sight and the place-name readers.
    return QueryLetterTrie(keys, gids, nums, names);
}

} // namespace Kest
