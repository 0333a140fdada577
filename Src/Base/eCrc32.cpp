#include "Base/eCrc32.h"

#include <array>

#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#include <immintrin.h>
#define KEST_CRC_CLMUL 1
#endif

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

#ifdef KEST_CRC_CLMUL
// Folding by carry-less multiplication: four 128-bit lanes are folded 64
// bytes at a time, then into one lane, then reduced to 32 bits (Barrett).
// The constants are powers of x modulo the same reflected polynomial, so the
// result is bit for bit the table method's. `length` is a multiple of 16 and
// at least 64; `crc` is the running value (not inverted).
#define KEST_CLMUL_TARGET __attribute__((target("pclmul,sse4.1")))

KEST_CLMUL_TARGET inline __m128i Load16(const unsigned char* q)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(q));
}

// x folded over 128 bits by the constant pair k, plus the next block.
KEST_CLMUL_TARGET inline __m128i Fold16(__m128i x, __m128i k, __m128i next)
{
    return _mm_xor_si128(_mm_xor_si128(_mm_clmulepi64_si128(x, k, 0x00), _mm_clmulepi64_si128(x, k, 0x11)), next);
}

KEST_CLMUL_TARGET std::uint32_t FoldClmul(std::uint32_t crc, const unsigned char* p,
                                                                  std::size_t length)
{
    const __m128i k1k2 = _mm_set_epi64x(0x1c6e41596, 0x154442bd4);
    const __m128i k3k4 = _mm_set_epi64x(0x0ccaa009e, 0x1751997d0);
    const __m128i k5 = _mm_set_epi64x(0, 0x163cd6124);
    const __m128i poly = _mm_set_epi64x(0x1f7011641, 0x1db710641);
    const __m128i mask32 = _mm_set_epi32(0, 0, 0, -1);
    __m128i x1 = _mm_xor_si128(Load16(p), _mm_cvtsi32_si128(static_cast<int>(crc)));
    __m128i x2 = Load16(p + 16);
    __m128i x3 = Load16(p + 32);
    __m128i x4 = Load16(p + 48);
    p += 64;
    length -= 64;
    for (; length >= 64; p += 64, length -= 64) {
        x1 = Fold16(x1, k1k2, Load16(p));
        x2 = Fold16(x2, k1k2, Load16(p + 16));
        x3 = Fold16(x3, k1k2, Load16(p + 32));
        x4 = Fold16(x4, k1k2, Load16(p + 48));
    }
    x1 = Fold16(x1, k3k4, x2);
    x1 = Fold16(x1, k3k4, x3);
    x1 = Fold16(x1, k3k4, x4);
    for (; length >= 16; p += 16, length -= 16)
        x1 = Fold16(x1, k3k4, Load16(p));

    // 128 -> 64 bits, then 64 -> 32 bits with 32 zero bits appended.
    x1 = _mm_xor_si128(_mm_clmulepi64_si128(x1, k3k4, 0x10), _mm_srli_si128(x1, 8));
    __m128i x2r = _mm_srli_si128(x1, 4);
    x1 = _mm_xor_si128(_mm_clmulepi64_si128(_mm_and_si128(x1, mask32), k5, 0x00), x2r);
    // Barrett reduction.
    __m128i t = _mm_clmulepi64_si128(_mm_and_si128(x1, mask32), poly, 0x10);
    t = _mm_clmulepi64_si128(_mm_and_si128(t, mask32), poly, 0x00);
    x1 = _mm_xor_si128(x1, t);
    return static_cast<std::uint32_t>(_mm_extract_epi32(x1, 1));
}

bool HasClmul()
{
    static const bool has = __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse4.1");
    return has;
}
#endif

} // namespace

std::uint32_t eCrc32::Compute(const unsigned char* bytes, std::size_t length)
{
    static const Tables t = MakeTables();
    std::uint32_t crc = 0xFFFFFFFFu;
    std::size_t i = 0;
#ifdef KEST_CRC_CLMUL
    if (length >= 64 && HasClmul()) {
        i = length & ~static_cast<std::size_t>(15);
        crc = FoldClmul(crc, bytes, i);
    }
#endif
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
