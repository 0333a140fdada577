#include "Build/FeatureBlockEncoder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "Base/NdfFormat.h"
#include "Ndf/eNdfFeatureIndex.h"

using namespace Kest;

namespace {

struct Pair {
    ueglobal_addr_t addr;
    unsigned int count;
};

Pair RandomPair(std::mt19937& rng)
{
    // Mix small values (one varint byte) with extremes (five bytes).
    auto pick = [&](std::uint32_t max) -> std::uint32_t {
        switch (rng() % 4) {
        case 0: return 0;
        case 1: return rng() % 128;
        case 2: return max;
        default: return static_cast<std::uint32_t>(rng()) % (max == 0xFFFFFFFFu ? max : max + 1);
        }
    };
    return {MakeGlobalAddr(static_cast<std::uint16_t>(pick(0xFFFF)), pick(0xFFFFFFFFu),
                           static_cast<std::uint16_t>(pick(0xFFFF))),
            pick(0xFFFFFFFFu)};
}

} // namespace

TEST(FeatureBlock, RoundTripsEveryPairExactlyAtANonZeroOffset)
{
    std::mt19937 rng(42);
    for (int i = 0; i < 5000; ++i) {
        const Pair child = RandomPair(rng);
        const Pair leaf = RandomPair(rng);
        const std::vector<unsigned char> block = FeatureBlockEncoder::Encode(child.addr, child.count, leaf.addr, leaf.count);
        ASSERT_LE(block.size(), NdfFormat::kFeatureMaxBlockSize);
        // The block sits inside a larger field buffer, as it does in a page.
        std::vector<unsigned char> field(7 + block.size() + 5, 0xEE);
        std::memcpy(field.data() + 7, block.data(), block.size());
        eNdfFeatureIndex index(1);
        ASSERT_TRUE(index.SetBuffer(field.data() + 7, static_cast<int>(block.size())));
        ueglobal_addr_t addr;
        unsigned int count = 0;
        ASSERT_TRUE(index.GetChild(addr, count));
        EXPECT_TRUE(addr == child.addr);
        EXPECT_EQ(child.count, count);
        ASSERT_TRUE(index.GetLeaf(addr, count));
        EXPECT_TRUE(addr == leaf.addr);
        EXPECT_EQ(leaf.count, count);
    }
}

TEST(FeatureBlock, HasTheDocumentedBytes)
{
    // Child (file 110, page 300, element 2, 5 records); no leaf.
    EXPECT_EQ((std::vector<unsigned char>{0x01, 110, 0xAC, 0x02, 2, 5}),
              FeatureBlockEncoder::Encode(MakeGlobalAddr(110, 300, 2), 5, ueglobal_addr_t{}, 0));
    // Only a leaf; an all-zero node is the flags byte alone.
    EXPECT_EQ((std::vector<unsigned char>{0x02, 1, 0, 0, 1}),
              FeatureBlockEncoder::Encode(ueglobal_addr_t{}, 0, MakeGlobalAddr(1, 0, 0), 1));
    EXPECT_EQ((std::vector<unsigned char>{0x00}), FeatureBlockEncoder::Encode(ueglobal_addr_t{}, 0, ueglobal_addr_t{}, 0));
    // An address with a count of 0 is kept as written.
    const auto block = FeatureBlockEncoder::Encode(MakeGlobalAddr(0, 9, 0), 0, ueglobal_addr_t{}, 0);
    eNdfFeatureIndex index;
    ASSERT_TRUE(index.SetBuffer(block.data(), static_cast<int>(block.size())));
    ueglobal_addr_t addr;
    unsigned int count = 1;
    index.GetChild(addr, count);
    EXPECT_EQ(9u, addr.page.nPage);
    EXPECT_EQ(0u, count);
}

TEST(FeatureBlock, RefusesMalformedBlocksAndGivesEmptyPairs)
{
    const std::vector<unsigned char> good = FeatureBlockEncoder::Encode(MakeGlobalAddr(3, 200, 1), 4, MakeGlobalAddr(3, 7, 9), 2);
    const std::vector<std::vector<unsigned char>> bad = {
        {},                                  // nothing
        {0x04},                              // an unknown flag
        {0x01, 1, 2, 3},                     // a pair cut short
        {0x01, 1, 2, 3, 4, 0},               // a byte behind the block
        {0x01, 0x81, 0x00, 0, 0, 1},         // a varint not in its shortest form
        {0x01, 0x80, 0x80, 0x04, 0, 0, 1},   // a file id beyond 16 bits
        {0x01, 1, 0x80, 0x80, 0x80, 0x80, 0x80, 0x01, 0, 1}, // six varint bytes
        {0x01, 1, 0xFF, 0xFF, 0xFF, 0xFF, 0x1F, 0, 1},       // a page beyond 32 bits
        {0x03, 1, 1, 1, 1, 0, 0, 0, 0},      // a present pair that is all zero
    };
    for (std::size_t i = 0; i < bad.size(); ++i) {
        SCOPED_TRACE(i);
        eNdfFeatureIndex index(1);
        ASSERT_TRUE(index.SetBuffer(good.data(), static_cast<int>(good.size())));
        EXPECT_FALSE(index.SetBuffer(bad[i].empty() ? nullptr : bad[i].data(), static_cast<int>(bad[i].size())));
        ueglobal_addr_t addr = MakeGlobalAddr(1, 1, 1);
        unsigned int count = 1;
        EXPECT_FALSE(index.GetChild(addr, count));
        EXPECT_TRUE(addr == ueglobal_addr_t{});
        EXPECT_EQ(0u, count);
        EXPECT_FALSE(index.GetLeaf(addr, count));
        EXPECT_EQ(0u, count);
    }
    // Every proper prefix of a good block is refused: the length bounds the read.
    for (std::size_t n = 0; n < good.size(); ++n) {
        std::vector<unsigned char> prefix(good.begin(), good.begin() + static_cast<long>(n));
        eNdfFeatureIndex index;
        EXPECT_FALSE(index.SetBuffer(prefix.data(), static_cast<int>(n))) << n;
    }
}
