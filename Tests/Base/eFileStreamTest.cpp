#include "Base/eFileStream.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

using Kest::eFileStream;

namespace {

std::string WriteTemp(const std::vector<unsigned char>& bytes)
{
    char path[] = "/tmp/efilestream-XXXXXX";
    const int fd = mkstemp(path);
    std::FILE* f = fdopen(fd, "wb");
    std::fwrite(bytes.data(), 1, bytes.size(), f);
    std::fclose(f);
    return path;
}

} // namespace

TEST(eFileStream, ReadsLittleEndianIntegersAndBlocksAcrossBuffers)
{
    // 20000 bytes: more than two buffers of 8192.
    std::vector<unsigned char> bytes(20000);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<unsigned char>(i * 7);
    bytes[0] = 0x78; bytes[1] = 0x56; bytes[2] = 0x34; bytes[3] = 0x12;
    bytes[4] = 0xFE; bytes[5] = 0xFF; bytes[6] = 0xFF; bytes[7] = 0xFF;
    const std::string path = WriteTemp(bytes);

    eFileStream in;
    ASSERT_TRUE(in.Open(path.c_str()));
    EXPECT_EQ(20000, in.GetLength());
    std::int32_t v = 0;
    ASSERT_TRUE(in.ReadInt(v));
    EXPECT_EQ(0x12345678, v);
    ASSERT_TRUE(in.ReadInt(v));
    EXPECT_EQ(-2, v);

    // A block that straddles the buffer boundary, then one larger than a buffer.
    std::vector<unsigned char> block(8190);
    ASSERT_EQ(8190, in.Load(block.data(), 8190));
    EXPECT_EQ(bytes[8], block[0]);
    EXPECT_EQ(bytes[8197], block[8189]);
    std::vector<unsigned char> big(10000);
    ASSERT_EQ(10000, in.Load(big.data(), 10000));
    EXPECT_EQ(bytes[8198], big[0]);
    EXPECT_EQ(bytes[18197], big[9999]);
    EXPECT_EQ(18198, in.Tell());

    // The tail is short: 1802 bytes, then nothing.
    EXPECT_EQ(1802, in.Load(big.data(), 10000));
    EXPECT_EQ(0, in.Load(big.data(), 4));
    EXPECT_FALSE(in.ReadInt(v));

    ASSERT_TRUE(in.Seek(2));
    ASSERT_TRUE(in.ReadInt(v));
    EXPECT_EQ(static_cast<std::int32_t>(0xFFFE1234u), v);
    in.Close();
    EXPECT_FALSE(in.IsOpen());
    EXPECT_FALSE(in.ReadInt(v));
    std::remove(path.c_str());
}

TEST(eFileStream, ShortIntegerLeavesPositionAndValue)
{
    const std::string path = WriteTemp({1, 2, 3});
    eFileStream in;
    ASSERT_TRUE(in.Open(path.c_str()));
    std::int32_t v = 42;
    EXPECT_FALSE(in.ReadInt(v));
    EXPECT_EQ(42, v);
    unsigned char b[3];
    EXPECT_EQ(3, in.Load(b, 3));
    std::remove(path.c_str());
}

TEST(eFileStream, MissingFileFailsToOpen)
{
    eFileStream in;
    EXPECT_FALSE(in.Open("/nonexistent/dir/CoreDict.dct"));
    EXPECT_FALSE(in.Open(""));
    EXPECT_FALSE(in.IsOpen());
    unsigned char b[4];
    EXPECT_EQ(0, in.Load(b, 4));
}
