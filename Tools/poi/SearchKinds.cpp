#include "SearchKinds.h"

namespace Kest {

const std::vector<SearchKind>& SearchKinds()
{
    static const std::vector<SearchKind> kinds = {
        InitialSearch(),
        TextSearch(),
        CrossSearch(),
    };
    return kinds;
}

} // namespace Kest
