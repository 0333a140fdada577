#include "POIEngine/eNdfIndexPlaceName.h"

namespace Kest {

eNdfIndexPlaceName::eNdfIndexPlaceName() = default;

eNdfIndexPlaceName::~eNdfIndexPlaceName() = default;

unsigned char eNdfIndexPlaceName::Query(const eArray<eString>& texts, eArray<ueglobal_addr_t>& addrs,
                                          eArray<unsigned int>& scores, eArray<eString>& names)
{
    // One implementation serves the sight and the place-name readers.
    return QueryWholeIndex(texts, addrs, scores, names);
}

} // namespace Kest
