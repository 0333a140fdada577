#include "Base/eCrc32.h"

#include <array>

namespace Kest {
namespace {

// Slicing-by-8 tables: table[0] is the classic byte table; table[k][i] is the
// CRC of byte i followed by k zero bytes, so eight bytes fold in one step.
using Tables = std::array<std::array<std::uint32_t, 256>, 8>;

Tables MakeTables()
{
    Tables t{};
    for (std::uint32_t i = 0; i < 256; ++i) {
        std::uint32_t c = i;
        for (int k = 0; k < 8; ++k)
            c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
        t[0][i] = c;
    }
    for (std::uint32_t i = 0; i < 256; ++i)
        for (std::size_t k = 1; k < 8; ++k)
            t[k][i] = t[0][t[k - 1][i] & 0xFF] ^ (t[k - 1][i] >> 8);
    return t;
}

} // namespace

std::uint32_t eCrc32::Compute(const unsigned char* bytes, std::size_t length)
{
    static const Tables t = MakeTables();
    std::uint32_t crc = 0xFFFFFFFFu;
    std::size_t i = 0;
    for (; i + 8 <= length; i += 8) {
        const unsigned char* p = bytes + i;
        const std::uint32_t lo = crc ^ (static_cast<std::uint32_t>(p[0]) | (static_cast<std::uint32_t>(p[1]) << 8) |
                                        (static_cast<std::uint32_t>(p[2]) << 16) |
                                        (static_cast<std::uint32_t>(p[3]) << 24));
        crc = t[7][lo & 0xFF] ^ t[6][(lo >> 8) & 0xFF] ^ t[5][(lo >> 16) & 0xFF] ^ t[4][lo >> 24] ^
              t[3][p[4]] ^ t[2][p[5]] ^ t[1][p[6]] ^ t[0][p[7]];
    }
    for (; i < length; ++i)
        crc = t[0][(crc ^ bytes[i]) & 0xFF] ^ (crc >> 8);
    return crc ^ 0xFFFFFFFFu;
}

} // namespace Kest
