#include "Compiler/FeatureBlockEncoder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "Base/NdfFormat.h"
#include "Ndf/eNdfFeatureIndex.h"

using namespace Kest;

namespace {

using Block = std::vector<unsigned char>;

// Reads both pairs of a block (at `at`, when given) through an index that
// held a good block before; `ok` is what SetBuffer answered.
struct Decoded {
    explicit Decoded(const Block& block, const unsigned char* at = nullptr)
    {
        const unsigned char before[] = {0x03, 1, 1, 1, 1, 1, 1, 1, 1};
        eNdfFeatureIndex index(1);
        EXPECT_TRUE(index.SetBuffer(before, sizeof before));
        ok = index.SetBuffer(at ? at : block.empty() ? nullptr : block.data(), static_cast<int>(block.size()));
        hasChild = index.GetChild(child, childCount);
        hasLeaf = index.GetLeaf(leaf, leafCount);
    }
    bool ok, hasChild, hasLeaf;
    ueglobal_addr_t child = MakeGlobalAddr(1, 1, 1), leaf = MakeGlobalAddr(1, 1, 1);
    unsigned int childCount = 1, leafCount = 1;
};

} // namespace

TEST(FeatureBlock, RoundTripsEveryPairExactlyAtANonZeroOffset)
{
    std::mt19937 rng(42);
    // Small values (one varint byte) mixed with extremes (five bytes).
    auto pick = [&](std::uint32_t max) {
        const std::uint32_t choices[] = {0, static_cast<std::uint32_t>(rng() % 128), max, static_cast<std::uint32_t>(rng()) & max};
        return choices[rng() % 4];
    };
    auto addr = [&] {
        return MakeGlobalAddr(static_cast<std::uint16_t>(pick(0xFFFF)), pick(0xFFFFFFFFu),
                              static_cast<std::uint16_t>(pick(0xFFFF)));
    };
    for (int i = 0; i < 5000; ++i) {
        const ueglobal_addr_t child = addr(), leaf = addr();
        const unsigned int childCount = pick(0xFFFFFFFFu), leafCount = pick(0xFFFFFFFFu);
        const Block block = FeatureBlockEncoder::Encode(child, childCount, leaf, leafCount);
        ASSERT_LE(block.size(), NdfFormat::kFeatureMaxBlockSize);
        // The block sits inside a larger field buffer, as it does in a page.
        Block field(7 + block.size() + 5, 0xEE);
        std::memcpy(field.data() + 7, block.data(), block.size());
        const Decoded d(block, field.data() + 7);
        ASSERT_TRUE(d.ok && d.hasChild && d.hasLeaf);
        EXPECT_TRUE(d.child == child && d.childCount == childCount && d.leaf == leaf && d.leafCount == leafCount) << i;
    }
}

TEST(FeatureBlock, RefusesMalformedBlocksAndGivesEmptyPairs)
{
    const Block good = FeatureBlockEncoder::Encode(MakeGlobalAddr(3, 200, 1), 4, MakeGlobalAddr(3, 7, 9), 2);
    std::vector<Block> bad = {
        {0x04},                                              // an unknown flag
        {0x01, 1, 2, 3, 4, 0},                               // a byte behind the block
        {0x01, 0x81, 0x00, 0, 0, 1},                         // a varint not in its shortest form
        {0x01, 0x80, 0x80, 0x04, 0, 0, 1},                   // a file id beyond 16 bits
        {0x01, 1, 0x80, 0x80, 0x80, 0x80, 0x80, 0x01, 0, 1}, // six varint bytes
        {0x01, 1, 0xFF, 0xFF, 0xFF, 0xFF, 0x1F, 0, 1},       // a page beyond 32 bits
        {0x03, 1, 1, 1, 1, 0, 0, 0, 0},                      // a present pair that is all zero
    };
    for (std::size_t n = 0; n < good.size(); ++n) // every proper prefix, the empty one too
        bad.emplace_back(good.begin(), good.begin() + static_cast<long>(n));
    for (const Block& block : bad) {
        SCOPED_TRACE(testing::PrintToString(block));
        const Decoded d(block);
        EXPECT_FALSE(d.ok || d.hasChild || d.hasLeaf);
        EXPECT_TRUE(d.child == ueglobal_addr_t{} && d.leaf == ueglobal_addr_t{} && d.childCount + d.leafCount == 0);
    }
}
