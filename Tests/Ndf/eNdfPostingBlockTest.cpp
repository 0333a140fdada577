#include "Ndf/eNdfPostingBlock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

using namespace Kest;

namespace {

using Posting = eNdfPostingBlock::Posting;
using Bytes = std::vector<unsigned char>;

// Every posting of every block, or the number of the block that failed.
std::vector<Posting> DecodeAll(const std::vector<Bytes>& blocks, int& failed)
{
    std::vector<Posting> out;
    failed = -1;
    for (std::size_t b = 0; b < blocks.size(); ++b) {
        eNdfPostingBlock reader;
        Posting p{};
        if (reader.SetBuffer(blocks[b].data(), static_cast<int>(blocks[b].size())))
            while (reader.Next(p))
                out.push_back(p);
        if (!reader.AtEnd() && failed < 0)
            failed = static_cast<int>(b);
    }
    return out;
}

} // namespace

TEST(eNdfPostingBlock, PostingsComeBackInTheirOrderAcrossBlocks)
{
    std::vector<Posting> many;
    for (int i = 0; i < 5000; ++i) // store order with steps back, as a name's postings go
        many.push_back({(i * 7) % 40, MakeGlobalAddr(1, static_cast<std::uint32_t>(i / 9), static_cast<std::uint16_t>(9 - i % 9))});
    const std::vector<std::vector<Posting>> lists = {
        {{0, MakeGlobalAddr(0, 0, 0)}},
        {{-1, MakeGlobalAddr(0xFFFF, 0xFFFFFFFFu, 0xFFFF)}, {5, MakeGlobalAddr(0, 0, 0)}, {2, MakeGlobalAddr(7, 3, 1)}},
        many,
    };
    for (const auto& list : lists) {
        const auto blocks = eNdfPostingBlock::Encode(list);
        int failed = 0;
        const auto back = DecodeAll(blocks, failed);
        EXPECT_EQ(-1, failed);
        EXPECT_TRUE(std::equal(list.begin(), list.end(), back.begin(), back.end(), [](const Posting& a, const Posting& b) {
            return a.position == b.position && a.poi == b.poi;
        }));
        for (const Bytes& block : blocks)
            EXPECT_LE(block.size(), static_cast<std::size_t>(eNdfPostingBlock::kMaxBytes));
    }
    EXPECT_GT(eNdfPostingBlock::Encode(many).size(), 1u);
    EXPECT_TRUE(eNdfPostingBlock::Encode({}).empty());
}

// One posting: count 1, address step +2 (zigzag 4), position 3; then
// blocks a faulty writer or a damaged file makes.
TEST(eNdfPostingBlock, MalformedBlocksAreRefused)
{
    int failed = 0;
    const auto good = DecodeAll({{0x01, 0x04, 0x03}}, failed);
    ASSERT_EQ(1u, good.size());
    EXPECT_TRUE(good[0].poi == MakeGlobalAddr(0, 0, 2));
    const std::vector<Bytes> bad = {
        {},                       // no count
        {0x00},                   // no postings
        {0x02, 0x04, 0x03},       // two counted, one there
        {0x01, 0x04},             // position missing
        {0x01, 0x04, 0x03, 0x00}, // a byte after the last posting
        {0x01, 0x84, 0x00, 0x03}, // a varint not in its shortest form
        {0x01, 0x04, 0x80, 0x80, 0x80, 0x80, 0x10}, // a position past 32 bits
    };
    for (const Bytes& block : bad) {
        DecodeAll({block}, failed);
        EXPECT_EQ(0, failed) << block.size();
    }
}
