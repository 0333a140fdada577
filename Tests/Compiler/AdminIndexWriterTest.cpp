#include "Compiler/AdminIndexWriter.h"

#include <gtest/gtest.h>

#include "Base/eCrc32.h"
#include "Support/TempDir.h"

using Kest::AdminIndexWriter;
using KestTest::TempDir;

TEST(AdminIndexWriter, WritesTheDocumentedLayout)
{
    AdminIndexWriter writer;
    ASSERT_TRUE(writer.Add(0x0102, "bb") && writer.Add(0x0001, "\xB1\xB1") && writer.Add(0x0003, ""));
    std::vector<unsigned char> expected = {'K', 'A', 'D', 'I', 1, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0,
                                           0x01, 0x00, 2, 0, 0, 0, 0, 0, // code, length, offset; by code
                                           0x03, 0x00, 0, 0, 2, 0, 0, 0,
                                           0x02, 0x01, 2, 0, 2, 0, 0, 0,
                                           0xB1, 0xB1, 'b', 'b'};
    const std::uint32_t sum = Kest::eCrc32::Compute(expected.data() + 20, expected.size() - 20);
    for (std::size_t i = 0; i < 4; ++i)
        expected[16 + i] = static_cast<unsigned char>(sum >> (8 * i));
    EXPECT_EQ(expected, writer.Bytes());

    TempDir dir;
    std::string error;
    ASSERT_TRUE(writer.WriteFile(dir.Path("AdminIndex.ndf"), &error)) << error;
    EXPECT_EQ(expected, TempDir::Read(dir.Path("AdminIndex.ndf")));
    EXPECT_FALSE(writer.WriteFile(dir.Path("missing/AdminIndex.ndf"), &error));
    EXPECT_EQ(dir.Path("missing/AdminIndex.ndf") + ": cannot create: No such file or directory", error);
}

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
}
