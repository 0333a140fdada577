#include "Base/eCrc32.h"

#include <gtest/gtest.h>

#include <vector>

TEST(eCrc32, MatchesTheStandardCheckValues)
{
    const char* check = "123456789";
    EXPECT_EQ(0xCBF43926u, Kest::eCrc32::Compute(reinterpret_cast<const unsigned char*>(check), 9));
    EXPECT_EQ(0u, Kest::eCrc32::Compute(nullptr, 0));
    const unsigned char zeros[4] = {0, 0, 0, 0};
    EXPECT_EQ(0x2144DF1Cu, Kest::eCrc32::Compute(zeros, 4));
    // Every byte value, three times, and a tail that is no multiple of 8
    // (the value zlib's crc32 gives).
    std::vector<unsigned char> bytes;
    for (int round = 0; round < 3; ++round)
        for (int b = 0; b < 256; ++b)
            bytes.push_back(static_cast<unsigned char>(b));
    bytes.insert(bytes.end(), {'a', 'b', 'c'});
    EXPECT_EQ(0x9D3A9924u, Kest::eCrc32::Compute(bytes.data(), bytes.size()));
}
