#include "POIEngine/eNdfIndexSightbyText.h"

namespace Kest {

eNdfIndexSightbyText::eNdfIndexSightbyText() = default;

eNdfIndexSightbyText::~eNdfIndexSightbyText() = default;

unsigned char eNdfIndexSightbyText::Query(const eArray<eString>& texts, eArray<ueglobal_addr_t>& addrs,
                                          eArray<unsigned int>& scores, eArray<eString>& names)
{
    // One implementation serves the sight and the place-name readers.
    return QueryWholeIndex(texts, addrs, scores, names);
}

} // namespace Kest
