#include "Ndf/NdfBytes.h"

#include <array>

namespace Kest {
namespace NdfBytes {

namespace {

// Eight tables for slicing-by-8: the checksum of every page the pool loads
// goes through here, so it is worth the 8 KB.
struct CrcTables {
    std::array<std::array<std::uint32_t, 256>, 8> t{};
    CrcTables()
    {
        for (std::uint32_t i = 0; i < 256; ++i) {
            std::uint32_t c = i;
            for (int k = 0; k < 8; ++k)
                c = (c & 1u) ? (0xEDB88320u ^ (c >> 1)) : (c >> 1);
            t[0][i] = c;
        }
        for (std::uint32_t i = 0; i < 256; ++i)
            for (int s = 1; s < 8; ++s)
                t[s][i] = (t[s - 1][i] >> 8) ^ t[0][t[s - 1][i] & 0xFFu];
    }
};

const CrcTables& Tables()
{
    static const CrcTables tables;
    return tables;
}

} // namespace

std::uint32_t Crc32(const unsigned char* data, std::size_t size)
{
    const auto& t = Tables().t;
    std::uint32_t c = 0xFFFFFFFFu;
    while (size >= 8) {
        const std::uint32_t lo = c ^ Get32(data);
        const std::uint32_t hi = Get32(data + 4);
        c = t[7][lo & 0xFFu] ^ t[6][(lo >> 8) & 0xFFu] ^ t[5][(lo >> 16) & 0xFFu] ^ t[4][lo >> 24] ^
            t[3][hi & 0xFFu] ^ t[2][(hi >> 8) & 0xFFu] ^ t[1][(hi >> 16) & 0xFFu] ^ t[0][hi >> 24];
        data += 8;
        size -= 8;
    }
    while (size-- > 0)
        c = t[0][(c ^ *data++) & 0xFFu] ^ (c >> 8);
    return c ^ 0xFFFFFFFFu;
}

} // namespace NdfBytes
} // namespace Kest
