#pragma once

#include <cstddef>
#include <cstdint>

namespace Kest {

// CRC-32 with the polynomial of zlib and PNG (reflected 0xEDB88320, initial
// value and final xor 0xFFFFFFFF): the checksum the platform's file formats
// record to detect corrupt bytes. "123456789" gives 0xCBF43926.
class eCrc32 {
public:
    static std::uint32_t Compute(const unsigned char* bytes, std::size_t length);
};

} // namespace Kest
