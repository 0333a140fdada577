#pragma once

#include <cstdint>

#include "Base/KestExport.h"
#include "Base/ueaddr_t.h"

namespace Kest {

// The global address of one record: its page and its element number within
// that page. Packed to 8 bytes (page number, file id, element number), the
// form in which index records store it. Engine code takes it apart only with
// GetEid, GetPid and operator==.
#pragma pack(push, 1)
struct ueglobal_addr_t {
    ueaddr_t page;
    std::uint16_t nElement;
};
#pragma pack(pop)

static_assert(sizeof(ueglobal_addr_t) == 8, "a global address is 8 bytes");

// The record's element number within its page.
KEST_API unsigned short GetEid(const ueglobal_addr_t& gid);
// Writes the address of the page that holds the record.
KEST_API void GetPid(ueaddr_t& out, const ueglobal_addr_t& gid);
// True when both name the same record.
KEST_API bool operator==(const ueglobal_addr_t& a, const ueglobal_addr_t& b);
KEST_API bool operator!=(const ueglobal_addr_t& a, const ueglobal_addr_t& b);
// File order: true when `a` lies in the same file as `b` and before it (a
// lower page, or the same page and a lower element). Writers put a tree's
// children before their parent, so readers use this to refuse loops.
KEST_API bool IsBefore(const ueglobal_addr_t& a, const ueglobal_addr_t& b);

// Builds an address from its parts (used by the readers and writers of the
// page files, which own the layout).
inline ueglobal_addr_t MakeGlobalAddr(std::uint16_t file, std::uint32_t page, std::uint16_t element)
{
    ueglobal_addr_t gid;
    gid.page.nPage = page;
    gid.page.nFile = file;
    gid.nElement = element;
    return gid;
}

} // namespace Kest
