#include "SearchKinds.h"

namespace Kest {

const std::vector<SearchKind>& SearchKinds()
{
    static const std::vector<SearchKind> kinds = {
        InitialSearch(),
        TextSearch(),
    };
    return kinds;
}

} // namespace Kest
