#include "Ndf/eNdfPool.h"

#include <gtest/gtest.h>

#include <cstring>

#include "Build/PageFileWriter.h"
#include "Ndf/eNdfRecordsetTabular.h"
#include "Support/NdfFiles.h"

using namespace Kest;
using KestTest::TempDir;

namespace {

// A file of `pages` pages, one record each; record p holds its page number as
// text in field 0 and a filler that brings each page to about 1 KB.
std::vector<ueglobal_addr_t> WritePages(const std::string& path, std::uint16_t file, int pages)
{
    PageFileWriter writer(file, 1024);
    EXPECT_TRUE(writer.Open(path));
    std::vector<ueglobal_addr_t> addrs(static_cast<std::size_t>(pages));
    for (int p = 0; p < pages; ++p) {
        PageFileWriter::Record r;
        r.SetText(0, std::to_string(p));
        r.SetText(1, std::string(900, 'f'));
        EXPECT_TRUE(writer.AppendRun({r}, addrs[static_cast<std::size_t>(p)], true));
    }
    EXPECT_TRUE(writer.Close());
    return addrs;
}

} // namespace

TEST(eNdfPool, EvictsTheLeastRecentlyUsedPagesWithinItsBudget)
{
    TempDir dir;
    const auto addrs = WritePages(dir.File(4), 4, 10);
    eNdfPool pool;
    pool.SetDataPath(dir.Dir().c_str());
    const int page = pool.GetPageSize(addrs[0].page);
    ASSERT_GT(page, 900);
    pool.SetSize(3 * page);
    std::vector<unsigned char> buffer(static_cast<std::size_t>(page));
    for (int p : {0, 1, 2})
        ASSERT_TRUE(pool.GetPage(addrs[static_cast<std::size_t>(p)].page, buffer.data(), page));
    ASSERT_TRUE(pool.GetPage(addrs[0].page, buffer.data(), page)); // 0 is now the most recent
    const auto misses = pool.GetMisses();
    ASSERT_TRUE(pool.GetPage(addrs[3].page, buffer.data(), page)); // evicts 1
    EXPECT_EQ(3u, pool.GetCachedPages());
    ASSERT_TRUE(pool.GetPage(addrs[0].page, buffer.data(), page));
    ASSERT_TRUE(pool.GetPage(addrs[2].page, buffer.data(), page));
    EXPECT_EQ(misses + 1, pool.GetMisses()) << "0 and 2 stayed cached";
    ASSERT_TRUE(pool.GetPage(addrs[1].page, buffer.data(), page));
    EXPECT_EQ(misses + 2, pool.GetMisses()) << "1 was the one evicted";
    EXPECT_LE(pool.GetPeakBytes(), static_cast<std::size_t>(3 * page));

    // Shrinking evicts at once; a new directory empties the cache.
    pool.SetSize(page);
    EXPECT_LE(pool.GetCachedBytes(), static_cast<std::size_t>(page));
    TempDir other;
    pool.SetDataPath(other.Dir().c_str());
    EXPECT_EQ(0u, pool.GetCachedBytes());
    EXPECT_EQ(0, pool.GetPageSize(addrs[0].page)) << "the file is not in the new directory";
    EXPECT_FALSE(pool.GetPage(addrs[0].page, buffer.data(), page));
}

TEST(eNdfPool, StaysWithinBudgetPlusOnePageWhileRecordSetsHoldPages)
{
    TempDir dir;
    const auto addrs = WritePages(dir.File(5), 5, 40);
    eNdfPool pool;
    pool.SetDataPath(dir.Dir().c_str());
    pool.SetSize(100); // smaller than one page
    const std::size_t limit = 100 + 1024;

    // Two record sets each hold a page while everything else streams by.
    eNdfRecordsetTabular held[2];
    for (int k = 0; k < 2; ++k) {
        held[k].SetPool(&pool);
        KestTest::SetRuns(held[k], {{addrs[static_cast<std::size_t>(k)], 1}});
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

    // The held pages outlive even the pool's directory change.
    pool.SetDataPath("/nonexistent/");
    EXPECT_EQ('0', name0[0]);
}

TEST(eNdfPool, RefusesBadArgumentsAndUnknownPages)
{
    TempDir dir;
    const auto addrs = WritePages(dir.File(6), 6, 2);
    eNdfPool pool;
    pool.SetDataPath(dir.Dir().c_str());
    unsigned char small[8];
    EXPECT_FALSE(pool.GetPage(addrs[0].page, small, sizeof small));
    EXPECT_FALSE(pool.GetPage(addrs[0].page, nullptr, 4096));
    EXPECT_EQ(0, pool.GetPageSize(ueaddr_t{2, 6})) << "past the last page";
    EXPECT_EQ(0, pool.GetPageSize(ueaddr_t{0, 7})) << "no such file";
    pool.SetSize(-5);
    EXPECT_EQ(0, pool.GetSize());
    EXPECT_GT(pool.GetPageSize(addrs[1].page), 0) << "a zero budget still reads";
    // A file renamed to another id is refused: its addresses name the old one.
    std::rename(dir.File(6).c_str(), dir.File(8).c_str());
    eNdfPool fresh;
    fresh.SetDataPath(dir.Dir().c_str());
    EXPECT_EQ(0, fresh.GetPageSize(ueaddr_t{0, 8}));
}
