#include "Build/AdminIndexWriter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Base/eCrc32.h"
#include "Support/TempDir.h"

using Kest::AdminIndexWriter;
using KestTest::TempDir;
using Bytes = std::vector<unsigned char>;

TEST(AdminIndexWriter, WritesTheDocumentedLayout)
{
    AdminIndexWriter writer;
    ASSERT_TRUE(writer.Add(0x0102, "bb"));
    ASSERT_TRUE(writer.Add(0x0001, "\xB1\xB1"));
    ASSERT_TRUE(writer.Add(0x0003, ""));
    const Bytes bytes = writer.Bytes();
    Bytes expected = {'K', 'A', 'D', 'I', 1, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0,
                      // code, length, offset: sorted by code, names in that order
                      0x01, 0x00, 2, 0, 0, 0, 0, 0,
                      0x03, 0x00, 0, 0, 2, 0, 0, 0,
                      0x02, 0x01, 2, 0, 2, 0, 0, 0,
                      0xB1, 0xB1, 'b', 'b'};
    const std::uint32_t sum = Kest::eCrc32::Compute(expected.data() + 20, expected.size() - 20);
    for (int i = 0; i < 4; ++i)
        expected[static_cast<std::size_t>(16 + i)] = static_cast<unsigned char>(sum >> (8 * i));
    EXPECT_EQ(expected, bytes);

    TempDir dir;
    std::string error;
    ASSERT_TRUE(writer.WriteFile(dir.Path("AdminIndex.ndf"), &error)) << error;
    EXPECT_EQ(bytes, TempDir::Read(dir.Path("AdminIndex.ndf")));
}

TEST(AdminIndexWriter, SameAreasSameBytesWhateverTheOrder)
{
    AdminIndexWriter forward, backward;
    for (int code = 1; code <= 500; ++code)
        ASSERT_TRUE(forward.Add(static_cast<std::uint16_t>(code * 131), "area " + std::to_string(code)));
    for (int code = 500; code >= 1; --code)
        ASSERT_TRUE(backward.Add(static_cast<std::uint16_t>(code * 131), "area " + std::to_string(code)));
    EXPECT_EQ(forward.Bytes(), backward.Bytes());
    EXPECT_EQ(500u, forward.GetCount());
}

TEST(AdminIndexWriter, RejectsDuplicateCodesAndOverlongNames)
{
    AdminIndexWriter writer;
    std::string error;
    ASSERT_TRUE(writer.Add(42, "first", &error));
    EXPECT_FALSE(writer.Add(42, "second", &error));
    EXPECT_EQ("duplicate area code 42", error);
    EXPECT_FALSE(writer.Add(43, std::string(65536, 'a'), &error));
    EXPECT_EQ("area code 43: name of 65536 bytes is longer than 65535", error);
    EXPECT_TRUE(writer.Add(44, std::string(65535, 'a'), &error));
    EXPECT_EQ(2u, writer.GetCount());
    // The first name of a duplicated code is the one kept.
    AdminIndexWriter expected;
    expected.Add(42, "first");
    expected.Add(44, std::string(65535, 'a'));
    EXPECT_EQ(expected.Bytes(), writer.Bytes());
}

TEST(AdminIndexWriter, ReportsAFileThatCannotBeWritten)
{
    AdminIndexWriter writer;
    writer.Add(1, "a");
    TempDir dir;
    std::string error;
    const std::string path = dir.Path("missing-dir/AdminIndex.ndf");
    EXPECT_FALSE(writer.WriteFile(path, &error));
    EXPECT_EQ(path + ": cannot create: No such file or directory", error);
}
