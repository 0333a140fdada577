#include "SearchKinds.h"

namespace Kest {

const std::vector<SearchKind>& SearchKinds()
{
    static const std::vector<SearchKind> kinds = {
        InitialSearch(),
        TextSearch(),
        DistrictSearch(),
    };
    return kinds;
}

} // namespace Kest
