#include "Compiler/AdminIndexWriter.h"

#include <gtest/gtest.h>

#include "Support/TempDir.h"

using Kest::AdminIndexWriter;
using KestTest::TempDir;

// The area index is read back by every search test; here the refusals.
TEST(AdminIndexWriter, SameAreasSameBytesAndDuplicatesRefused)
{
    AdminIndexWriter forward, backward;
    for (int code = 1; code <= 500; ++code) {
        ASSERT_TRUE(forward.Add(static_cast<std::uint16_t>(code * 131), "area " + std::to_string(code)));
        ASSERT_TRUE(backward.Add(static_cast<std::uint16_t>((501 - code) * 131), "area " + std::to_string(501 - code)));
    }
    EXPECT_EQ(forward.Bytes(), backward.Bytes());
    std::string error;
    EXPECT_FALSE(forward.Add(131, "again", &error));
    EXPECT_EQ("duplicate area code 131", error);
    EXPECT_FALSE(forward.Add(1, std::string(65536, 'a'), &error));
    EXPECT_EQ("area code 1: name of 65536 bytes is longer than 65535", error);
    EXPECT_EQ(forward.Bytes(), backward.Bytes()); // refused areas leave no trace
    EXPECT_TRUE(forward.Add(1, std::string(65535, 'a'), &error));
    EXPECT_EQ(501u, forward.GetCount());
    TempDir dir;
    EXPECT_FALSE(forward.WriteFile(dir.Path("missing/AdminIndex.ndf"), &error));
    EXPECT_EQ(dir.Path("missing/AdminIndex.ndf") + ": cannot create: No such file or directory", error);
}
