#include "Base/ueglobal_addr_t.h"

namespace Kest {

unsigned short GetEid(const ueglobal_addr_t& gid)
{
    return gid.nElement;
}

void GetPid(ueaddr_t& out, const ueglobal_addr_t& gid)
{
    out = gid.page;
}

bool operator==(const ueglobal_addr_t& a, const ueglobal_addr_t& b)
{
    return a.page == b.page && a.nElement == b.nElement;
}

bool operator!=(const ueglobal_addr_t& a, const ueglobal_addr_t& b)
{
    return !(a == b);
}

bool IsBefore(const ueglobal_addr_t& a, const ueglobal_addr_t& b)
{
    if (a.page.nFile != b.page.nFile)
        return false;
    return a.page.nPage < b.page.nPage || (a.page.nPage == b.page.nPage && a.nElement < b.nElement);
}

} // namespace Kest
