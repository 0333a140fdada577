#include "SearchKinds.h"

namespace Kest {

const std::vector<SearchKind>& SearchKinds()
{
    static const std::vector<SearchKind> kinds = {
        InitialSearch(),
        TextSearch(),
        AroundSearch(),
        NearestSearch(),
    };
    return kinds;
}

} // namespace Kest
