#include "POIEngine/eNdfIndexPlaceNameByPY.h"

namespace Kest {

eNdfIndexPlaceNameByPY::eNdfIndexPlaceNameByPY() = default;

eNdfIndexPlaceNameByPY::~eNdfIndexPlaceNameByPY() = default;

unsigned char eNdfIndexPlaceNameByPY::Query(const eArray<eString>& keys, eArray<ueglobal_addr_t>& gids,
                                        eArray<unsigned int>& nums, eArray<eString>& names)
{
    // One implementation serves the sight and the place-name readers.
    return QueryLetterTrie(keys, gids, nums, names);
}

} // namespace Kest
