#pragma once
// Little-endian byte access for the page files. Shared by the readers and
// the writers so that both agree on every byte; callers check bounds before
// they load. Checksums are eCrc32 (Include/Base/eCrc32.h).

#include <cstddef>
#include <cstdint>

namespace Kest {
namespace NdfBytes {

inline std::uint16_t Get16(const unsigned char* p)
{
    return static_cast<std::uint16_t>(p[0] | p[1] << 8);
}

inline std::uint32_t Get32(const unsigned char* p)
{
    return static_cast<std::uint32_t>(p[0]) | static_cast<std::uint32_t>(p[1]) << 8 |
           static_cast<std::uint32_t>(p[2]) << 16 | static_cast<std::uint32_t>(p[3]) << 24;
}

inline std::uint64_t Get64(const unsigned char* p)
{
    return static_cast<std::uint64_t>(Get32(p)) | static_cast<std::uint64_t>(Get32(p + 4)) << 32;
}

inline void Put16(unsigned char* p, std::uint16_t v)
{
    p[0] = static_cast<unsigned char>(v);
    p[1] = static_cast<unsigned char>(v >> 8);
}

inline void Put32(unsigned char* p, std::uint32_t v)
{
    for (int i = 0; i < 4; ++i)
        p[i] = static_cast<unsigned char>(v >> (8 * i));
}

inline void Put64(unsigned char* p, std::uint64_t v)
{
    for (int i = 0; i < 8; ++i)
        p[i] = static_cast<unsigned char>(v >> (8 * i));
}

} // namespace NdfBytes
} // namespace Kest
