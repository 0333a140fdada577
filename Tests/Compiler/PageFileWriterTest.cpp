#include "Compiler/PageFileWriter.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

#include "Base/NdfFormat.h"
#include "Support/NdfFiles.h"

using namespace Kest;
using namespace KestTest;

namespace {

constexpr std::uint16_t kFile = 7;

} // namespace

TEST(PageFileWriter, RoundTripsRunsAgainstAModelOverSeveralPageSizes)
{
    for (std::uint32_t target : {200u, 1024u, 8192u, 131072u}) {
        SCOPED_TRACE(target);
        TempDir dir;
        std::mt19937 rng(target);
        // Fillers first, so that the runs under test start mid-page past page 0.
        PageFileWriter writer(kFile, target);
        ASSERT_TRUE(writer.Open(NdfFile(dir, kFile)));
        ueglobal_addr_t addr;
        for (int i = 0; i < 5; ++i)
            ASSERT_TRUE(writer.Append(ToRecord({{0, std::string(target / 3, 'f')}}), addr));
        std::vector<std::vector<ModelRecord>> models(60);
        Runs runs;
        for (auto& model : models) {
            std::vector<PageFileWriter::Record> records;
            for (int k = 1 + static_cast<int>(rng() % 30); k > 0; --k) {
                model.push_back(RandomRecord(rng, 4, 90));
                records.push_back(ToRecord(model.back()));
            }
            runs.emplace_back(ueglobal_addr_t{}, static_cast<unsigned int>(model.size()));
            ASSERT_TRUE(writer.AppendRun(records, runs.back().first)) << writer.GetError();
        }
        ASSERT_TRUE(writer.Close()) << writer.GetError();
        EXPECT_NE(0u, runs[0].first.page.nPage + runs[0].first.nElement) << "the runs must not start at 0";

        // Walk every record: fields as written, addresses strictly ascending,
        // each run starting at the address the writer gave.
        Reader reader(DataDir(dir));
        eNdfRecordsetTabular& rs = reader.rs;
        SetRuns(rs, runs);
        std::map<std::pair<std::uint32_t, int>, const ModelRecord*> at; // (page, element) -> record
        ASSERT_TRUE(rs.MoveFirst());
        int id = 0;
        for (std::size_t r = 0; r < runs.size(); ++r) {
            EXPECT_TRUE(rs.GetGID() == runs[r].first);
            std::set<std::uint32_t> pages;
            std::size_t bytes = 0;
            for (const ModelRecord& model : models[r]) {
                ASSERT_EQ(id++, rs.GetID());
                const ueglobal_addr_t gid = rs.GetGID();
                EXPECT_EQ(kFile, gid.page.nFile);
                const std::pair<std::uint32_t, int> here{gid.page.nPage, GetEid(gid)};
                EXPECT_TRUE(at.empty() || at.rbegin()->first < here);
                at[here] = &model;
                pages.insert(gid.page.nPage);
                bytes += ToRecord(model).EncodedSize();
                // Every field 0..255 reads as the model has it (absent: length 0, no value).
                ModelRecord read;
                for (int field = 0; field < 256; ++field) {
                    unsigned char* value = nullptr;
                    const int length = rs.GetFieldValue(field, value);
                    if (length > 0 || value != nullptr)
                        read[static_cast<unsigned char>(field)].assign(reinterpret_cast<char*>(value), length);
                }
                EXPECT_EQ(model, read);
                rs.MoveNext();
            }
            // Records written together stay together when they fit a page.
            EXPECT_TRUE(pages.size() == 1 || bytes + NdfFormat::kPageHeaderSize + NdfFormat::kPageOffsetEntrySize > target);
        }
        EXPECT_TRUE(rs.IsEOF());
        EXPECT_EQ(id, rs.GetRecordCount());

        // A page read into a buffer one byte short is refused.
        ASSERT_GT(writer.GetPageCount(), 1u);
        const int size = reader.pool.GetPageSize(ueaddr_t{1, kFile});
        std::vector<unsigned char> page(static_cast<std::size_t>(size));
        EXPECT_FALSE(reader.pool.GetPage(ueaddr_t{1, kFile}, page.data(), size - 1));
    }
}

TEST(PageFileWriter, RefusesARecordLargerThanAPageAndTakesTheLargestThatFits)
{
    TempDir dir;
    PageFileWriter writer(kFile, 512);
    ASSERT_TRUE(writer.Open(NdfFile(dir, kFile)));
    ueglobal_addr_t small, refused, largest;
    ASSERT_TRUE(writer.Append(ToRecord({{1, "x"}}), small));
    EXPECT_FALSE(writer.Append(ToRecord({{0, std::string(NdfFormat::kMaxPageSize, 'z')}}), refused));
    EXPECT_FALSE(writer.GetError().empty());
    EXPECT_EQ(1u, writer.GetPageCount()) << "nothing written";
    const PageFileWriter::Record record = ToRecord({{0, std::string(PageFileWriter::MaxRecordSize() - 10, 'm')}});
    ASSERT_EQ(PageFileWriter::MaxRecordSize(), record.EncodedSize());
    ASSERT_TRUE(writer.Append(record, largest));
    ASSERT_TRUE(writer.Close());
    EXPECT_TRUE(largest == MakeGlobalAddr(kFile, 1, 0));
    EXPECT_EQ(static_cast<int>(NdfFormat::kMaxPageSize), Reader(DataDir(dir)).pool.GetPageSize(largest.page));
}

// The index header that SetIndexHeader writes is read by every search test.
TEST(PageFileWriter, StartsARootOnAFreshPageAndWritesAnEmptyFile)
{
    TempDir dir;
    ueglobal_addr_t addr, root;
    PageFileWriter writer(kFile, 256);
    ASSERT_TRUE(writer.Open(NdfFile(dir, kFile)));
    for (int i = 0; i < 40; ++i)
        ASSERT_TRUE(writer.Append(ToRecord({{1, std::string(30, 'r')}}), addr));
    ASSERT_TRUE(writer.AppendRun({ToRecord({{1, "root"}})}, root, true));
    ASSERT_TRUE(writer.Close());
    EXPECT_EQ(0, root.nElement) << "a root starts a page";

    // An empty file has no page to read; a closed writer takes no more records.
    PageFileWriter empty(3);
    ASSERT_TRUE(empty.Open(NdfFile(dir, 3)));
    ASSERT_TRUE(empty.Close());
    EXPECT_EQ(0, Reader(DataDir(dir)).pool.GetPageSize(ueaddr_t{0, 3}));
    EXPECT_FALSE(empty.Append(ToRecord({{0, "late"}}), root));
}
