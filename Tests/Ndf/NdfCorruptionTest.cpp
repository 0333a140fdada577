// A damaged page file must make reads fail, never crash or read outside a
// buffer: a truncated file, and flipped bytes in the header, a middle page,
// the last page and the page table.

#include <gtest/gtest.h>

#include <algorithm>

#include "Support/NdfFiles.h"

using namespace Kest;
using namespace KestTest;

namespace {

constexpr std::uint16_t kFile = 12;
constexpr int kRecords = 200;

class NdfCorruptionTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::vector<PageFileWriter::Record> run;
        for (int i = 0; i < kRecords; ++i)
            run.push_back(ToRecord({{0, "record " + std::to_string(i)}, {2, std::string(30, 'x')}}));
        m_first = WriteRuns(m_dir, kFile, 512, {run})[0];
        m_good = TempDir::Read(NdfFile(m_dir, kFile));
        m_pages = NdfBytes::Get32(&m_good[NdfFormat::kFilePageCountOffset]);
        ASSERT_GE(m_pages, 5u);
    }

    std::size_t Entry(std::uint32_t page) const { return PageEntry(m_good, page); }
    std::size_t Page(std::uint32_t page) const { return PageAt(m_good, page); }

    // The good file with the byte at `at` flipped by `mask`.
    std::vector<unsigned char> Flipped(std::size_t at, unsigned char mask) const
    {
        std::vector<unsigned char> bytes = m_good;
        bytes[at] ^= mask;
        return bytes;
    }

    // Reads every page and walks the whole run through a fresh pool; returns
    // how many records were readable and whether every page was.
    std::pair<int, bool> ReadAll(const std::vector<unsigned char>& bytes)
    {
        TempDir::Write(NdfFile(m_dir, kFile), bytes);
        Reader reader(DataDir(m_dir));
        bool allPages = true;
        std::vector<unsigned char> buffer(NdfFormat::kMaxPageSize);
        for (std::uint32_t p = 0; p < m_pages; ++p) {
            const int size = reader.pool.GetPageSize(ueaddr_t{p, kFile});
            const bool copied = reader.pool.GetPage(ueaddr_t{p, kFile}, buffer.data(), static_cast<int>(buffer.size()));
            EXPECT_EQ(size > 0, copied);
            allPages = allPages && copied;
        }
        // A page that failed its check is remembered as damage; an intact
        // file leaves none.
        EXPECT_EQ(allPages, reader.pool.GetDamage().IsEmpty()) << reader.pool.GetDamage().Cstr();
        SetRuns(reader.rs, {{m_first, kRecords}});
        int records = 0;
        eString text;
        for (bool ok = reader.rs.MoveFirst(); ok; ok = reader.rs.MoveNext(), ++records) {
            EXPECT_TRUE(reader.rs.GetFieldValue(0, text));
            EXPECT_EQ("record " + std::to_string(records), text.Cstr());
        }
        return {records, allPages};
    }

    TempDir m_dir;
    ueglobal_addr_t m_first;
    std::uint32_t m_pages = 0;
    std::vector<unsigned char> m_good;
};

} // namespace

TEST_F(NdfCorruptionTest, TheIntactFileReadsWholeATruncatedOrBadHeaderedOneNotAtAll)
{
    EXPECT_EQ(std::make_pair(kRecords, true), ReadAll(m_good));
    for (std::size_t keep : {std::size_t(0), std::size_t(11), std::size_t(NdfFormat::kFileHeaderSize), Page(2) + 7, m_good.size() - 1}) {
        SCOPED_TRACE(keep);
        EXPECT_EQ(std::make_pair(0, false), ReadAll({m_good.begin(), m_good.begin() + static_cast<long>(keep)}));
    }
    // Index header, magic, version, file id, page count, table offset, checksum.
    for (std::size_t at : {0, 9, 12, 16, 18, 20, 24, 33}) {
        SCOPED_TRACE(at);
        EXPECT_EQ(std::make_pair(0, false), ReadAll(Flipped(at, 0x40)));
    }
}

TEST_F(NdfCorruptionTest, AFlippedPageOrTableByteFailsThatPageOnly)
{
    for (std::uint32_t page : {m_pages / 2, m_pages - 1}) {
        // Its checksum, its size, its number, its offsets, a field length, data.
        const std::size_t size = NdfBytes::Get32(&m_good[Entry(page) + 8]);
        for (std::size_t at : {std::size_t(0), std::size_t(5), std::size_t(8), std::size_t(17), std::size_t(100), size - 1}) {
            SCOPED_TRACE(testing::Message() << "page " << page << " byte " << at);
            const auto result = ReadAll(Flipped(Page(page) + at, 0x01));
            EXPECT_FALSE(result.second);
            // The walk stops at the damaged page: every record before it reads.
            EXPECT_GT(result.first, 0);
            EXPECT_LT(result.first, kRecords);
        }
    }
    // Page 3's table entry: page 2's, a broken size, an offset far past the end.
    std::vector<unsigned char> bytes = m_good;
    std::copy(&m_good[Entry(2)], &m_good[Entry(3)], &bytes[Entry(3)]);
    EXPECT_FALSE(ReadAll(bytes).second);
    EXPECT_FALSE(ReadAll(Flipped(Entry(3) + 9, 0x10)).second);
    EXPECT_FALSE(ReadAll(Flipped(Entry(3) + 7, 0x80)).second);
}
