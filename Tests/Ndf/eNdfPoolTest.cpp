#include "Ndf/eNdfPool.h"

#include <gtest/gtest.h>

#include <cstdio>

#include "Support/NdfFiles.h"

using namespace Kest;
using namespace KestTest;

namespace {

// A file of `pages` pages of about 1 KB, one record each; record p holds its
// page number as text in field 0.
std::vector<ueglobal_addr_t> WritePages(const TempDir& dir, std::uint16_t file, int pages)
{
    std::vector<std::vector<PageFileWriter::Record>> runs;
    for (int p = 0; p < pages; ++p)
        runs.push_back({ToRecord({{0, std::to_string(p)}, {1, std::string(900, 'f')}})});
    return WriteRuns(dir, file, 1024, runs, true);
}

// Flips one byte in the middle of page `page` of the file, in place.
void FlipInPage(const std::string& path, std::uint32_t page)
{
    std::vector<unsigned char> bytes = TempDir::Read(path);
    bytes[PageAt(bytes, page) + 500] ^= 0x20;
    TempDir::Write(path, bytes);
}

} // namespace

// A page is checked the first time an open file gives it, not on every
// load: with no cache every read is a load. A damaged page is refused on
// every load; opening the files again checks every page again.
TEST(eNdfPool, ChecksEachPageOncePerOpenFileAndNeverPassesADamagedOne)
{
    TempDir dir;
    const auto addrs = WritePages(dir, 6, 4);
    eNdfPool pool;
    pool.SetSize(0);
    pool.SetDataPath(DataDir(dir).c_str());
    FlipInPage(NdfFile(dir, 6), 1);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(0, pool.GetPageSize(addrs[1].page)) << "round " << round;
        EXPECT_EQ(eString("6.ndf page 1"), pool.GetDamage());
        pool.ClearDamage();
    }
    ASSERT_GT(pool.GetPageSize(addrs[2].page), 0);
    FlipInPage(NdfFile(dir, 6), 2); // after its check: this open file trusts it
    EXPECT_GT(pool.GetPageSize(addrs[2].page), 0);
    pool.SetDataPath("/nonexistent/");
    pool.SetDataPath(DataDir(dir).c_str());
    EXPECT_EQ(0, pool.GetPageSize(addrs[2].page)) << "reopened: checked again";
    EXPECT_GT(pool.GetPageSize(addrs[3].page), 0);
}

TEST(eNdfPool, EvictsTheLeastRecentlyUsedPagesWithinItsBudget)
{
    TempDir dir;
    const auto addrs = WritePages(dir, 4, 10);
    eNdfPool pool;
    pool.SetDataPath(DataDir(dir).c_str());
    const int page = pool.GetPageSize(addrs[0].page);
    ASSERT_GT(page, 900);
    pool.SetSize(3 * page);
    std::vector<unsigned char> buffer(static_cast<std::size_t>(page));
    auto get = [&](int p) { return pool.GetPage(addrs[static_cast<std::size_t>(p)].page, buffer.data(), page); };
    for (int p : {0, 1, 2, 0}) // 0 is now the most recent
        ASSERT_TRUE(get(p));
    const auto misses = pool.GetMisses();
    for (int p : {3, 0, 2}) // 3 evicts 1
        ASSERT_TRUE(get(p));
    EXPECT_EQ(misses + 1, pool.GetMisses()) << "0 and 2 stayed cached";
    ASSERT_TRUE(get(1));
    EXPECT_EQ(misses + 2, pool.GetMisses()) << "1 was the one evicted";

    // Shrinking evicts at once; a zero budget still reads; no buffer or a
    // small one is refused.
    pool.SetSize(page);
    EXPECT_LE(pool.GetCachedBytes(), static_cast<std::size_t>(page));
    pool.SetSize(0);
    EXPECT_TRUE(get(5));
    EXPECT_FALSE(pool.GetPage(addrs[0].page, buffer.data(), page - 1));
    EXPECT_FALSE(pool.GetPage(addrs[0].page, nullptr, page));

    // A new directory empties the cache; a file renamed to another id is
    // refused, since its addresses name the old one.
    std::rename(NdfFile(dir, 4).c_str(), NdfFile(dir, 8).c_str());
    pool.SetDataPath("/nonexistent/");
    EXPECT_EQ(0u, pool.GetCachedBytes());
    pool.SetDataPath(DataDir(dir).c_str());
    EXPECT_EQ(0, pool.GetPageSize(addrs[0].page));
    EXPECT_EQ(0, pool.GetPageSize(ueaddr_t{0, 8}));
}

TEST(eNdfPool, StaysWithinBudgetPlusOnePageWhileRecordSetsHoldPages)
{
    TempDir dir;
    const auto addrs = WritePages(dir, 5, 40);
    eNdfPool pool;
    pool.SetDataPath(DataDir(dir).c_str());
    pool.SetSize(100); // smaller than one page
    const std::size_t limit = 100 + 1024;

    // Two record sets each hold a page while everything else streams by.
    eNdfRecordsetTabular held[2];
    for (int k = 0; k < 2; ++k) {
        held[k].SetPool(&pool);
        SetRuns(held[k], {{addrs[static_cast<std::size_t>(k)], 1}});
        ASSERT_TRUE(held[k].MoveFirst());
    }
    unsigned char* name0 = nullptr;
    ASSERT_EQ(1, held[0].GetFieldValue(0, name0));
    std::vector<unsigned char> buffer(2048);
    for (int round = 0; round < 3; ++round)
        for (const auto& a : addrs) {
            ASSERT_TRUE(pool.GetPage(a.page, buffer.data(), static_cast<int>(buffer.size())));
            ASSERT_LE(pool.GetCachedBytes(), limit);
        }
    EXPECT_LE(pool.GetPeakBytes(), limit);
    EXPECT_EQ('0', name0[0]) << "a held page stays valid";
    eString text;
    ASSERT_TRUE(held[1].GetFieldValue(0, text));
    EXPECT_EQ(eString("1"), text);
    pool.SetDataPath("/nonexistent/");
    EXPECT_EQ('0', name0[0]) << "held pages outlive even a change of directory";
}
