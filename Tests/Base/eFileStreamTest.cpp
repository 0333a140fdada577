#include "Base/eFileStream.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

using Kest::eFileStream;

TEST(eFileStream, ReadsIntegersAndBlocksAcrossBuffersAndStopsAtTheEnd)
{
    // 20000 bytes: more than two 8192-byte buffers.
    std::vector<unsigned char> bytes(20000);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<unsigned char>(i * 7);
    const unsigned char head[] = {0x78, 0x56, 0x34, 0x12, 0xFE, 0xFF, 0xFF, 0xFF};
    std::copy(head, head + 8, bytes.begin());
    char path[] = "/tmp/efilestream-XXXXXX";
    std::FILE* f = fdopen(mkstemp(path), "wb");
    std::fwrite(bytes.data(), 1, bytes.size(), f);
    std::fclose(f);

    eFileStream in;
    ASSERT_TRUE(in.Open(path));
    std::int32_t v = 0;
    ASSERT_TRUE(in.ReadInt(v));
    EXPECT_EQ(0x12345678, v);
    ASSERT_TRUE(in.ReadInt(v));
    EXPECT_EQ(-2, v);
    // A block straddling the buffer boundary, then one larger than a buffer.
    std::vector<unsigned char> block(10000);
    ASSERT_EQ(8190, in.Load(block.data(), 8190));
    EXPECT_EQ(bytes[8197], block[8189]);
    ASSERT_EQ(10000, in.Load(block.data(), 10000));
    EXPECT_EQ(bytes[8198], block[0]);
    EXPECT_EQ(bytes[18197], block[9999]);
    // The tail is short; a short integer (3 bytes) leaves the value and the position.
    EXPECT_EQ(1799, in.Load(block.data(), 1799));
    v = 42;
    EXPECT_FALSE(in.ReadInt(v));
    EXPECT_EQ(42, v);
    EXPECT_EQ(3, in.Load(block.data(), 4));
    EXPECT_EQ(0, in.Load(block.data(), 4));

    ASSERT_TRUE(in.Seek(2));
    ASSERT_TRUE(in.ReadInt(v));
    EXPECT_EQ(static_cast<std::int32_t>(0xFFFE1234u), v);
    std::remove(path);

    EXPECT_FALSE(in.Open("/nonexistent/dir/CoreDict.dct"));
    EXPECT_EQ(0, in.Load(block.data(), 4));
}
