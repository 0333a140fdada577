#include "Build/PageFileWriter.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <set>

#include "Base/NdfFormat.h"
#include "Ndf/eNdfPageReader.h"
#include "Ndf/eNdfPool.h"
#include "Ndf/eNdfRecordsetTabular.h"
#include "Support/NdfFiles.h"

using namespace Kest;
using KestTest::ModelRecord;
using KestTest::TempDir;

namespace {

constexpr std::uint16_t kFile = 7;

struct WrittenRun {
    ueglobal_addr_t first;
    std::vector<ModelRecord> records;
};

// Writes `fillers` records first, so that the runs under test start mid-page
// on a page other than 0, then the runs.
std::vector<WrittenRun> WriteRuns(const std::string& path, std::uint32_t target, std::mt19937& rng, int runs,
                           int maxRun, int maxLength)
{
    PageFileWriter writer(kFile, target);
    EXPECT_TRUE(writer.Open(path));
    ueglobal_addr_t addr;
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(writer.Append(KestTest::ToRecord({{0, std::string(target / 3, 'f')}}), addr));
    std::vector<WrittenRun> written;
    for (int i = 0; i < runs; ++i) {
        WrittenRun run;
        const int n = 1 + static_cast<int>(rng() % maxRun);
        std::vector<PageFileWriter::Record> records;
        for (int k = 0; k < n; ++k) {
            run.records.push_back(KestTest::RandomRecord(rng, 4, maxLength));
            records.push_back(KestTest::ToRecord(run.records.back()));
        }
        EXPECT_TRUE(writer.AppendRun(records, run.first)) << writer.GetError();
        written.push_back(run);
    }
    EXPECT_TRUE(writer.Close()) << writer.GetError();
    return written;
}

void ExpectFields(const ModelRecord& model, eNdfRecordsetTabular& rs)
{
    for (int field = 0; field < 256; ++field) {
        unsigned char* value = nullptr;
        const int length = rs.GetFieldValue(field, value);
        const auto found = model.find(static_cast<unsigned char>(field));
        if (found == model.end()) {
            EXPECT_EQ(0, length) << "field " << field;
        } else {
            ASSERT_EQ(static_cast<int>(found->second.size()), length) << "field " << field;
            EXPECT_EQ(0, std::memcmp(found->second.data(), value, found->second.size()));
        }
    }
}

std::uint32_t PageCount(const std::string& path)
{
    const auto bytes = KestTest::ReadFile(path);
    std::uint32_t n = 0;
    std::memcpy(&n, &bytes[NdfFormat::kFilePageCountOffset], 4);
    return n;
}

} // namespace

TEST(PageFileWriter, RoundTripsRunsAgainstAModelOverSeveralPageSizes)
{
    for (std::uint32_t target : {200u, 1024u, 8192u, 131072u}) {
        SCOPED_TRACE(target);
        TempDir dir;
        std::mt19937 rng(target);
        const auto runs = WriteRuns(dir.File(kFile), target, rng, 60, 30, 90);

        eNdfPool pool;
        pool.SetDataPath(dir.Dir().c_str());
        eNdfRecordsetTabular rs;
        rs.SetPool(&pool);
        std::vector<std::pair<ueglobal_addr_t, unsigned int>> list;
        std::size_t total = 0;
        for (const WrittenRun& run : runs) {
            list.emplace_back(run.first, static_cast<unsigned int>(run.records.size()));
            total += run.records.size();
        }
        EXPECT_NE(0u, runs[0].first.page.nPage + runs[0].first.nElement) << "the runs must not start at 0";
        KestTest::SetRuns(rs, list);
        ASSERT_EQ(static_cast<int>(total), rs.GetRecordCount());

        // Walk every record: fields as written, addresses strictly ascending,
        // each run starting at the address the writer gave.
        ASSERT_TRUE(rs.MoveFirst());
        std::pair<std::uint32_t, int> previous{0, -1};
        int id = 0;
        for (const WrittenRun& run : runs) {
            EXPECT_TRUE(rs.GetGID() == run.first);
            std::set<std::uint32_t> pages;
            std::size_t bytes = 0;
            for (const ModelRecord& model : run.records) {
                ASSERT_FALSE(rs.IsEOF());
                EXPECT_EQ(id++, rs.GetID());
                const ueglobal_addr_t gid = rs.GetGID();
                EXPECT_EQ(kFile, gid.page.nFile);
                const std::pair<std::uint32_t, int> here{gid.page.nPage, GetEid(gid)};
                EXPECT_LT(previous, here);
                previous = here;
                pages.insert(gid.page.nPage);
                bytes += KestTest::ToRecord(model).EncodedSize();
                ExpectFields(model, rs);
                rs.MoveNext();
            }
            // Records written together stay together when they fit a page.
            if (bytes + NdfFormat::kPageHeaderSize + NdfFormat::kPageOffsetEntrySize <= target) {
                EXPECT_EQ(1u, pages.size());
            }
        }
        EXPECT_TRUE(rs.IsEOF());

        // Pages are filled to the target and no further.
        const std::uint32_t count = PageCount(dir.File(kFile));
        ASSERT_GT(count, 1u);
        for (std::uint32_t p = 0; p < count; ++p) {
            const int size = pool.GetPageSize(ueaddr_t{p, kFile});
            ASSERT_GT(size, 0);
            std::vector<unsigned char> page(static_cast<std::size_t>(size));
            ASSERT_TRUE(pool.GetPage(ueaddr_t{p, kFile}, page.data(), size));
            eNdfPageReader reader;
            reader.SetData(page.data(), size);
            ASSERT_GE(reader.GetRecordCount(), 1);
            if (reader.GetRecordCount() > 1) {
                EXPECT_LE(static_cast<std::uint32_t>(size), target) << "only a lone record may exceed the target";
            }
        }
    }
}

TEST(PageFileWriter, PageReaderSeesTheSameFieldsInACopiedPage)
{
    TempDir dir;
    std::mt19937 rng(11);
    const auto runs = WriteRuns(dir.File(kFile), 1024, rng, 20, 3, 40);
    eNdfPool pool;
    pool.SetDataPath(dir.Dir().c_str());
    for (const WrittenRun& run : runs) {
        ueaddr_t pid;
        GetPid(pid, run.first);
        const int size = pool.GetPageSize(pid);
        ASSERT_GT(size, 0);
        // Exactly the page's size, read with the generous size readers pass:
        // the sanitizer build catches any read past the page.
        std::vector<unsigned char> page(static_cast<std::size_t>(size));
        ASSERT_FALSE(pool.GetPage(pid, page.data(), size - 1));
        ASSERT_TRUE(pool.GetPage(pid, page.data(), size));
        eNdfPageReader reader;
        reader.SetData(page.data(), static_cast<int>(NdfFormat::kMaxPageSize));
        for (int field = 0; field < 256; ++field) {
            unsigned char* value = nullptr;
            const int length = reader.GetFieldValue(GetEid(run.first), static_cast<unsigned char>(field), value);
            const auto found = run.records[0].find(static_cast<unsigned char>(field));
            if (found == run.records[0].end()) {
                EXPECT_EQ(0, length);
            } else {
                ASSERT_EQ(static_cast<int>(found->second.size()), length);
                EXPECT_EQ(0, std::memcmp(found->second.data(), value, found->second.size()));
            }
        }
        unsigned char* none = nullptr;
        EXPECT_EQ(0, reader.GetFieldValue(static_cast<unsigned short>(reader.GetRecordCount()), 0, none));
        EXPECT_EQ(nullptr, none);
    }
}

TEST(PageFileWriter, LongRunsSpanPagesAndLargeRecordsGetTheirOwnPage)
{
    TempDir dir;
    PageFileWriter writer(kFile, 512);
    ASSERT_TRUE(writer.Open(dir.File(kFile)));
    ueglobal_addr_t small, big, run, after;
    ASSERT_TRUE(writer.Append(KestTest::ToRecord({{1, "x"}}), small));
    // Larger than the target: a page of its own.
    ASSERT_TRUE(writer.Append(KestTest::ToRecord({{0, std::string(3000, 'b')}}), big));
    EXPECT_EQ(0u, small.page.nPage);
    EXPECT_EQ(1u, big.page.nPage);
    EXPECT_EQ(0, big.nElement);
    std::vector<PageFileWriter::Record> records;
    for (int i = 0; i < 500; ++i)
        records.push_back(KestTest::ToRecord({{2, std::to_string(i)}, {3, std::string(20, 'r')}}));
    ASSERT_TRUE(writer.AppendRun(records, run));
    EXPECT_EQ(2u, run.page.nPage) << "the page after a large record is a new one";
    ASSERT_TRUE(writer.Append(KestTest::ToRecord({{0, "after"}}), after));
    EXPECT_GT(after.page.nPage, run.page.nPage + 10);
    // A record larger than any page is refused and nothing is written.
    const std::uint32_t pages = writer.GetPageCount();
    ueglobal_addr_t refused;
    EXPECT_FALSE(writer.Append(KestTest::ToRecord({{0, std::string(NdfFormat::kMaxPageSize, 'z')}}), refused));
    EXPECT_FALSE(writer.GetError().empty());
    EXPECT_EQ(pages, writer.GetPageCount());
    // The largest record that fits still does, alone in its page.
    PageFileWriter::Record largest;
    largest.Set(0, std::string(PageFileWriter::MaxRecordSize() - 10, 'm').data(), PageFileWriter::MaxRecordSize() - 10);
    ASSERT_EQ(PageFileWriter::MaxRecordSize(), largest.EncodedSize());
    ueglobal_addr_t largestAddr;
    ASSERT_TRUE(writer.Append(largest, largestAddr));
    ASSERT_TRUE(writer.Close());

    eNdfPool pool;
    pool.SetDataPath(dir.Dir().c_str());
    EXPECT_EQ(static_cast<int>(NdfFormat::kMaxPageSize), pool.GetPageSize(largestAddr.page));
    eNdfRecordsetTabular rs;
    rs.SetPool(&pool);
    KestTest::SetRuns(rs, {{run, 500}});
    int i = 0;
    eString text;
    for (rs.MoveFirst(); !rs.IsEOF(); rs.MoveNext(), ++i) {
        ASSERT_TRUE(rs.GetFieldValue(2, text));
        EXPECT_EQ(std::to_string(i), text.Cstr());
    }
    EXPECT_EQ(500, i);
}

TEST(PageFileWriter, WritesTheIndexHeaderAndTheSameBytesEveryTime)
{
    TempDir dir;
    std::vector<std::vector<unsigned char>> files;
    for (int round = 0; round < 2; ++round) {
        PageFileWriter writer(kFile, 256);
        ASSERT_TRUE(writer.Open(dir.File(round == 0 ? kFile : kFile + 1)));
        std::mt19937 rng(5);
        ueglobal_addr_t addr;
        for (int i = 0; i < 40; ++i)
            ASSERT_TRUE(writer.Append(KestTest::ToRecord(KestTest::RandomRecord(rng, 3, 30)), addr));
        ueglobal_addr_t root;
        ASSERT_TRUE(writer.AppendRun({KestTest::ToRecord({{1, "root"}})}, root, true));
        EXPECT_EQ(0, root.nElement) << "a root starts a page";
        writer.SetIndexHeader(root, -3);
        ASSERT_TRUE(writer.Close());
        files.push_back(KestTest::ReadFile(dir.File(round == 0 ? kFile : kFile + 1)));
    }
    ASSERT_EQ(files[0], files[1]);
    const auto& bytes = files[0];
    ueglobal_addr_t root;
    std::memcpy(&root, bytes.data(), 8);
    std::int32_t depth = 0;
    std::memcpy(&depth, bytes.data() + 8, 4);
    EXPECT_EQ(kFile, root.page.nFile);
    EXPECT_EQ(0, root.nElement);
    EXPECT_EQ(-3, depth);
    EXPECT_EQ(0, std::memcmp(bytes.data() + NdfFormat::kFileMagicOffset, "KNDF", 4));
}

TEST(PageFileWriter, AnEmptyFileHasHeadersAndNoPages)
{
    TempDir dir;
    PageFileWriter writer(3);
    ASSERT_TRUE(writer.Open(dir.File(3)));
    ASSERT_TRUE(writer.Close());
    EXPECT_EQ(NdfFormat::kFileHeaderSize, KestTest::ReadFile(dir.File(3)).size());
    eNdfPool pool;
    pool.SetDataPath(dir.Dir().c_str());
    EXPECT_EQ(0, pool.GetPageSize(ueaddr_t{0, 3}));
    ueglobal_addr_t addr;
    EXPECT_FALSE(writer.Append(KestTest::ToRecord({{0, "late"}}), addr)) << "the writer is closed";
}
