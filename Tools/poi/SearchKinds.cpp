#include "SearchKinds.h"

namespace Kest {

const std::vector<SearchKind>& SearchKinds()
{
    static const std::vector<SearchKind> kinds = {
        InitialSearch(),
        TextSearch(),
        AroundSearch(),
        NearestSearch(),
        TelSearch(),
        AddressSearch(),
        CategorySearch(),
        SightSearch(),
        PlaceSearch(),
        CrossSearch(),
        DistrictSearch(),
    };
    return kinds;
}

} // namespace Kest
