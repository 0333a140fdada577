#pragma once

#include <cstdint>

namespace Kest {

// The address of one page in the paged data files: a 32-bit page number and
// the 16-bit id of the file that holds it (file id N is "<data path>N.ndf").
// Packed to 6 bytes, little-endian in files, as the page lists hold it.
#pragma pack(push, 1)
struct ueaddr_t {
    std::uint32_t nPage;
    std::uint16_t nFile;
};
#pragma pack(pop)

static_assert(sizeof(ueaddr_t) == 6, "a page address is 6 bytes");

inline bool operator==(const ueaddr_t& a, const ueaddr_t& b)
{
    return a.nPage == b.nPage && a.nFile == b.nFile;
}
inline bool operator!=(const ueaddr_t& a, const ueaddr_t& b) { return !(a == b); }

} // namespace Kest
