// A damaged page file must make reads fail, never crash or read outside a
// buffer: a truncated file, and flipped bytes in the header, a middle page,
// the last page and the page table.

#include <gtest/gtest.h>

#include <cstring>

#include "Base/NdfFormat.h"
#include "Build/PageFileWriter.h"
#include "Ndf/eNdfPool.h"
#include "Ndf/eNdfRecordsetTabular.h"
#include "Support/NdfFiles.h"

using namespace Kest;
using KestTest::TempDir;

namespace {

constexpr std::uint16_t kFile = 12;

class CorruptionTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        PageFileWriter writer(kFile, 512);
        ASSERT_TRUE(writer.Open(m_dir.File(kFile)));
        std::vector<PageFileWriter::Record> run;
        for (int i = 0; i < 200; ++i)
            run.push_back(KestTest::ToRecord({{0, "record " + std::to_string(i)}, {2, std::string(30, 'x')}}));
        ASSERT_TRUE(writer.AppendRun(run, m_first));
        m_pages = writer.GetPageCount();
        writer.SetIndexHeader(m_first, 2);
        ASSERT_TRUE(writer.Close());
        m_good = KestTest::ReadFile(m_dir.File(kFile));
        ASSERT_GE(m_pages, 5u);
    }

    // The page's file offset and size, from the page table of the good file.
    std::pair<std::size_t, std::size_t> PageSpan(std::uint32_t page) const
    {
        std::uint64_t table = 0;
        std::memcpy(&table, &m_good[NdfFormat::kFileTableOffsetOffset], 8);
        std::uint64_t offset = 0;
        std::uint32_t size = 0;
        std::memcpy(&offset, &m_good[table + page * NdfFormat::kTableEntrySize], 8);
        std::memcpy(&size, &m_good[table + page * NdfFormat::kTableEntrySize + 8], 4);
        return {static_cast<std::size_t>(offset), size};
    }

    // Reads every page and walks the whole run through a fresh pool; returns
    // how many records were readable and whether every page was.
    std::pair<int, bool> ReadAll(const std::vector<unsigned char>& bytes)
    {
        KestTest::WriteFile(m_dir.File(kFile), bytes);
        eNdfPool pool;
        pool.SetDataPath(m_dir.Dir().c_str());
        bool allPages = true;
        std::vector<unsigned char> buffer(NdfFormat::kMaxPageSize);
        for (std::uint32_t p = 0; p < m_pages; ++p) {
            const int size = pool.GetPageSize(ueaddr_t{p, kFile});
            const bool copied = pool.GetPage(ueaddr_t{p, kFile}, buffer.data(), static_cast<int>(buffer.size()));
            EXPECT_EQ(size > 0, copied);
            allPages = allPages && copied;
        }
        eNdfRecordsetTabular rs;
        rs.SetPool(&pool);
        KestTest::SetRuns(rs, {{m_first, 200}});
        int records = 0;
        eString text;
        for (bool ok = rs.MoveFirst(); ok; ok = rs.MoveNext()) {
            EXPECT_TRUE(rs.GetFieldValue(0, text));
            EXPECT_EQ("record " + std::to_string(records), text.Cstr());
            ++records;
        }
        return {records, allPages};
    }

    TempDir m_dir;
    ueglobal_addr_t m_first;
    std::uint32_t m_pages = 0;
    std::vector<unsigned char> m_good;
};

} // namespace

TEST_F(CorruptionTest, TheIntactFileReadsWhole)
{
    EXPECT_EQ(std::make_pair(200, true), ReadAll(m_good));
}

TEST_F(CorruptionTest, ATruncatedFileIsRefused)
{
    for (std::size_t keep : {std::size_t(0), std::size_t(11), std::size_t(NdfFormat::kFileHeaderSize),
                             PageSpan(2).first + 7, m_good.size() - 1}) {
        SCOPED_TRACE(keep);
        std::vector<unsigned char> bytes(m_good.begin(), m_good.begin() + static_cast<long>(keep));
        EXPECT_EQ(std::make_pair(0, false), ReadAll(bytes));
    }
}

TEST_F(CorruptionTest, AFlippedHeaderByteRefusesTheFile)
{
    // Index header, magic, version, file id, page count, table offset, checksum.
    for (std::size_t at : {std::size_t(0), std::size_t(9), std::size_t(12), std::size_t(16), std::size_t(18),
                           std::size_t(20), std::size_t(24), std::size_t(33)}) {
        SCOPED_TRACE(at);
        std::vector<unsigned char> bytes = m_good;
        bytes[at] ^= 0x40;
        EXPECT_EQ(std::make_pair(0, false), ReadAll(bytes));
    }
}

TEST_F(CorruptionTest, AFlippedPageByteFailsThatPageOnly)
{
    const std::uint32_t middle = m_pages / 2;
    const std::uint32_t last = m_pages - 1;
    for (std::uint32_t page : {middle, last}) {
        const auto span = PageSpan(page);
        // Its checksum, its size, its number, its offsets, a field length, data.
        for (std::size_t at : {std::size_t(0), std::size_t(5), std::size_t(8), std::size_t(17), std::size_t(100),
                               span.second - 1}) {
            SCOPED_TRACE(testing::Message() << "page " << page << " byte " << at);
            std::vector<unsigned char> bytes = m_good;
            bytes[span.first + at] ^= 0x01;
            const auto result = ReadAll(bytes);
            EXPECT_FALSE(result.second);
            // The walk stops at the damaged page: every record before it reads.
            EXPECT_GT(result.first, 0);
            EXPECT_LT(result.first, 200);
        }
    }
}

TEST_F(CorruptionTest, AFlippedPageTableEntryIsCaughtByThePage)
{
    std::uint64_t table = 0;
    std::memcpy(&table, &m_good[NdfFormat::kFileTableOffsetOffset], 8);
    // Point page 3's entry at page 2 (a valid page, but not page 3), then
    // break its size.
    std::vector<unsigned char> bytes = m_good;
    std::memcpy(&bytes[table + 3 * NdfFormat::kTableEntrySize], &m_good[table + 2 * NdfFormat::kTableEntrySize], 12);
    EXPECT_FALSE(ReadAll(bytes).second);
    bytes = m_good;
    bytes[table + 3 * NdfFormat::kTableEntrySize + 9] ^= 0x10;
    EXPECT_FALSE(ReadAll(bytes).second);
    bytes = m_good;
    bytes[table + 3 * NdfFormat::kTableEntrySize + 7] = 0x80; // an offset far past the end
    EXPECT_FALSE(ReadAll(bytes).second);
}
