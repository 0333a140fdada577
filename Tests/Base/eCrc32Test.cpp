#include "Base/eCrc32.h"

#include <gtest/gtest.h>

#include <cstring>

TEST(eCrc32, MatchesTheStandardCheckValues)
{
    const char* check = "123456789";
    EXPECT_EQ(0xCBF43926u, Kest::eCrc32::Compute(reinterpret_cast<const unsigned char*>(check), 9));
    EXPECT_EQ(0u, Kest::eCrc32::Compute(nullptr, 0));
    const unsigned char zeros[4] = {0, 0, 0, 0};
    EXPECT_EQ(0x2144DF1Cu, Kest::eCrc32::Compute(zeros, 4));
}
