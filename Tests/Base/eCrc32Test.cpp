#include "Base/eCrc32.h"

#include <gtest/gtest.h>

#include <vector>

// The standard check value, then every length up to a few blocks at every
// alignment against the plain bitwise definition: the fast paths (eight
// bytes at a time, 64-byte folding where the processor has it) must agree.
TEST(eCrc32, FastPathsAgreeWithTheDefinition)
{
    EXPECT_EQ(0xCBF43926u, Kest::eCrc32::Compute(reinterpret_cast<const unsigned char*>("123456789"), 9));
    EXPECT_EQ(0u, Kest::eCrc32::Compute(nullptr, 0));
    auto bitwise = [](const unsigned char* p, std::size_t n) {
        std::uint32_t crc = 0xFFFFFFFFu;
        for (std::size_t i = 0; i < n; ++i) {
            crc ^= p[i];
            for (int k = 0; k < 8; ++k)
                crc = (crc & 1) ? 0xEDB88320u ^ (crc >> 1) : crc >> 1;
        }
        return crc ^ 0xFFFFFFFFu;
    };
    std::vector<unsigned char> bytes(400);
    std::uint32_t seed = 12345;
    for (auto& b : bytes)
        b = static_cast<unsigned char>((seed = seed * 1103515245u + 12345u) >> 16);
    for (std::size_t offset = 0; offset < 8; ++offset)
        for (std::size_t n = 0; n + offset <= bytes.size(); n += 7)
            ASSERT_EQ(bitwise(bytes.data() + offset, n), Kest::eCrc32::Compute(bytes.data() + offset, n)) << n;
}
