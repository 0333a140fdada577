#include "Ndf/eNdfWordTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <vector>

using namespace Kest;

namespace {

using Entry = eNdfWordTable::Entry;
using Bytes = std::vector<unsigned char>;

// The look-up the full-text reader makes: the directory, then one block.
bool Find(const Bytes& directory, const std::vector<Bytes>& blocks, std::int32_t key, Entry& entry)
{
    int block = -1;
    std::int32_t first = 0;
    bool found = false;
    return eNdfWordTable::FindBlock(directory.data(), static_cast<int>(directory.size()),
                                    static_cast<int>(blocks.size()), key, block, first) &&
           block >= 0 &&
           eNdfWordTable::FindInBlock(blocks[block].data(), static_cast<int>(blocks[block].size()), first, key,
                                      found, entry) &&
           found;
}

} // namespace

TEST(eNdfWordTable, EveryKeyIsFoundAndNoOtherAcrossBlocks)
{
    // Keys as the dictionary makes them (slot x 10000 + word, -1 for a
    // single hanzi), negative and positive, over many blocks.
    std::map<std::int32_t, Entry> words;
    for (int i = 0; i < 4000; ++i) {
        const std::int32_t key = (i % 2 == 0 ? -1 : 1) * (i * 7919 % 400000) * 10 - 1;
        words[key] = {key, static_cast<std::uint32_t>(1 + i % 3), MakeGlobalAddr(210, 5000 - i, i % 40)};
    }
    words[INT32_MIN] = {INT32_MIN, 1, MakeGlobalAddr(210, 1, 1)};
    words[INT32_MAX] = {INT32_MAX, 2, MakeGlobalAddr(0, 0, 0)};
    std::vector<Entry> entries;
    std::transform(words.begin(), words.end(), std::back_inserter(entries), [](const auto& w) { return w.second; });
    Bytes directory;
    std::vector<Bytes> blocks;
    eNdfWordTable::Encode(entries, directory, blocks);
    ASSERT_GT(blocks.size(), 10u);
    for (const auto& w : words)
        for (std::int32_t key : {w.first, w.first == INT32_MAX ? w.first : w.first + 1}) {
            Entry entry{};
            const auto it = words.find(key);
            ASSERT_EQ(it != words.end(), Find(directory, blocks, key, entry)) << key;
            EXPECT_TRUE(it == words.end() || (it->second.count == entry.count && it->second.postings == entry.postings));
        }
}

TEST(eNdfWordTable, AMalformedTableFindsNothing)
{
    const std::vector<Entry> entries = {{-1, 1, MakeGlobalAddr(1, 2, 3)}, {20000, 2, MakeGlobalAddr(1, 2, 9)}};
    Bytes directory;
    std::vector<Bytes> blocks;
    eNdfWordTable::Encode(entries, directory, blocks);
    Entry entry{};
    ASSERT_TRUE(Find(directory, blocks, 20000, entry));
    // A byte too many; two blocks, one listed; a block that no longer begins
    // with the directory's key; a byte after a block; two blocks with the
    // same first key.
    Bytes longer = directory, shifted = blocks[0], trailing = blocks[0], repeated = directory;
    longer.push_back(0);
    shifted[1] ^= 1;
    trailing.push_back(0);
    repeated[0] = 2;
    repeated.push_back(0);
    EXPECT_FALSE(Find(longer, blocks, 20000, entry));
    EXPECT_FALSE(Find(directory, {blocks[0], blocks[0]}, 20000, entry));
    EXPECT_FALSE(Find(directory, {shifted}, -1, entry));
    EXPECT_FALSE(Find(directory, {trailing}, 30000, entry));
    EXPECT_FALSE(Find(repeated, {blocks[0], blocks[0]}, -1, entry));
}
