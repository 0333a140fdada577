#include "Ndf/eNdfRecordsetTabular.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "Build/PageFileWriter.h"
#include "Support/NdfFiles.h"

using namespace Kest;
using KestTest::TempDir;

namespace {

constexpr std::uint16_t kFile = 21;

// One file: two single records, then a run of 3000 numbered records that
// spans many 512-byte pages; each record holds its number as text (field 0),
// as a 4-byte integer (field 3) and an 8-byte address (field 9).
class RecordsetTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        PageFileWriter writer(kFile, 512);
        ASSERT_TRUE(writer.Open(m_dir.File(kFile)));
        ASSERT_TRUE(writer.Append(Numbered(-1), m_single[0]));
        ASSERT_TRUE(writer.Append(Numbered(-2), m_single[1]));
        std::vector<PageFileWriter::Record> run;
        for (int i = 0; i < kRun; ++i)
            run.push_back(Numbered(i));
        ASSERT_TRUE(writer.AppendRun(run, m_run));
        ASSERT_TRUE(writer.Close());
        m_pool.SetDataPath(m_dir.Dir().c_str());
        m_rs.SetPool(&m_pool);
    }

    static PageFileWriter::Record Numbered(int i)
    {
        PageFileWriter::Record r;
        r.SetText(0, std::to_string(i));
        r.SetInt(3, static_cast<std::uint32_t>(i));
        r.SetAddr(9, MakeGlobalAddr(1, static_cast<std::uint32_t>(i), 2));
        return r;
    }

    void Runs(const std::vector<std::pair<ueglobal_addr_t, unsigned int>>& runs) { KestTest::SetRuns(m_rs, runs); }

    int Number()
    {
        eString text;
        return m_rs.GetFieldValue(0, text) ? text.ToInt() : -1000;
    }

    static constexpr int kRun = 3000;
    TempDir m_dir;
    eNdfPool m_pool;
    eNdfRecordsetTabular m_rs;
    ueglobal_addr_t m_single[2];
    ueglobal_addr_t m_run;
};

} // namespace

TEST_F(RecordsetTest, WalksRunsInOrderAndNumbersRecordsFromZero)
{
    Runs({{m_single[1], 1}, {m_run, kRun}, {m_single[0], 0}, {m_single[0], 1}});
    EXPECT_TRUE(m_rs.IsEOF()) << "not positioned before MoveFirst";
    EXPECT_EQ(kRun + 2, m_rs.GetRecordCount());
    std::vector<int> seen;
    for (bool ok = m_rs.MoveFirst(); ok; ok = m_rs.MoveNext()) {
        EXPECT_EQ(static_cast<int>(seen.size()), m_rs.GetID());
        seen.push_back(Number());
        // Typed fields: 4 bytes an integer, 8 bytes an address.
        unsigned char* value = nullptr;
        ASSERT_EQ(4, m_rs.GetFieldValue(3, value));
        std::int32_t n;
        std::memcpy(&n, value, 4);
        EXPECT_EQ(seen.back(), n);
        ASSERT_EQ(8, m_rs.GetFieldValue(9, value));
        ueglobal_addr_t addr;
        std::memcpy(&addr, value, 8);
        EXPECT_TRUE(addr == MakeGlobalAddr(1, static_cast<std::uint32_t>(n), 2));
        EXPECT_EQ(0, m_rs.GetFieldValue(4, value));
        EXPECT_EQ(nullptr, value);
    }
    EXPECT_TRUE(m_rs.IsEOF());
    EXPECT_EQ(-1, m_rs.GetID());
    ASSERT_EQ(static_cast<std::size_t>(kRun + 2), seen.size());
    EXPECT_EQ(-2, seen.front());
    for (int i = 0; i < kRun; ++i)
        ASSERT_EQ(i, seen[static_cast<std::size_t>(i) + 1]);
    EXPECT_EQ(-1, seen.back());
    EXPECT_FALSE(m_rs.MoveNext()) << "no step past the end";
    eString text;
    EXPECT_FALSE(m_rs.GetFieldValue(0, text));
    EXPECT_TRUE(text.IsEmpty());
}

TEST_F(RecordsetTest, MovesToBothEndsAndAnywhereInALongRun)
{
    Runs({{m_single[0], 1}, {m_run, kRun}});
    ASSERT_TRUE(m_rs.MoveTo(kRun));
    EXPECT_EQ(kRun - 1, Number());
    EXPECT_EQ(kRun, m_rs.GetID());
    EXPECT_FALSE(m_rs.MoveNext());
    EXPECT_TRUE(m_rs.IsEOF());
    ASSERT_TRUE(m_rs.MoveTo(0));
    EXPECT_EQ(-1, Number());
    EXPECT_TRUE(m_rs.GetGID() == m_single[0]);
    ASSERT_TRUE(m_rs.MoveTo(1));
    EXPECT_TRUE(m_rs.GetGID() == m_run);
    EXPECT_FALSE(m_rs.MoveTo(kRun + 1));
    EXPECT_TRUE(m_rs.IsEOF());
    EXPECT_FALSE(m_rs.MoveTo(-1));

    // Random positions, then the same walk backwards: each lands on its number,
    // and its address reads back through a one-record run.
    std::mt19937 rng(3);
    for (int k = 0; k < 400; ++k) {
        const int id = 1 + static_cast<int>(rng() % kRun);
        ASSERT_TRUE(m_rs.MoveTo(id));
        ASSERT_EQ(id - 1, Number());
    }
    for (int id = kRun; id >= 1; id -= 7) {
        ASSERT_TRUE(m_rs.MoveTo(id));
        ASSERT_EQ(id - 1, Number());
    }
    ASSERT_TRUE(m_rs.MoveTo(2500));
    const ueglobal_addr_t gid = m_rs.GetGID();
    EXPECT_EQ(kFile, gid.page.nFile);
    EXPECT_GT(gid.page.nPage, m_run.page.nPage);
    Runs({{gid, 1}});
    ASSERT_TRUE(m_rs.MoveFirst());
    EXPECT_EQ(2499, Number());
}

TEST_F(RecordsetTest, AppendKeepsThePositionAndClearEmptiesTheLists)
{
    Runs({{m_run, 10}});
    ASSERT_TRUE(m_rs.MoveTo(9));
    eArray<ueaddr_t> pids;
    pids.Add(m_single[0].page);
    eArray<unsigned short> eids;
    eids.Add(m_single[0].nElement);
    eArray<unsigned int> counts;
    counts.Add(2);
    m_rs.AppendPIDs(pids);
    m_rs.AppendEIDs(eids);
    m_rs.AppendEIDCounts(counts);
    EXPECT_EQ(12, m_rs.GetRecordCount());
    EXPECT_EQ(9, m_rs.GetID());
    EXPECT_EQ(9, Number());
    ASSERT_TRUE(m_rs.MoveNext());
    EXPECT_EQ(-1, Number());
    ASSERT_TRUE(m_rs.MoveNext());
    EXPECT_EQ(-2, Number());

    // Clearing (as a refinement does before it sets the kept hits) drops the
    // hits but keeps the keys.
    eArray<eString> keys;
    keys.Add("j");
    m_rs.SetKey(keys);
    m_rs.Clear();
    EXPECT_EQ(0, m_rs.GetRecordCount());
    EXPECT_FALSE(m_rs.MoveFirst());
    EXPECT_TRUE(m_rs.GetGID() == ueglobal_addr_t{});
    EXPECT_EQ(eString("j"), m_rs.GetKey(0));
    EXPECT_TRUE(m_rs.GetKey(1).IsEmpty());
}

TEST_F(RecordsetTest, RunsThatLeadNowhereFailWithoutReading)
{
    // A first element past its page, a run past the file's last page, another
    // file, lists of unequal length, no pool.
    ueglobal_addr_t pastPage = m_single[0];
    pastPage.nElement = 60000;
    Runs({{pastPage, 1}});
    EXPECT_FALSE(m_rs.MoveFirst());
    EXPECT_TRUE(m_rs.IsEOF());

    Runs({{m_run, kRun + 100000}});
    EXPECT_TRUE(m_rs.MoveTo(kRun - 1));
    EXPECT_FALSE(m_rs.MoveTo(kRun + 50)) << "the file ends before the run does";

    Runs({{MakeGlobalAddr(99, 0, 0), 1}});
    EXPECT_FALSE(m_rs.MoveFirst());

    eArray<unsigned int> more;
    more.Add(1);
    more.Add(1);
    Runs({{m_single[0], 1}});
    m_rs.SetEIDCounts(more);
    EXPECT_EQ(1, m_rs.GetRecordCount()) << "as many runs as the shortest list";

    eNdfRecordsetTabular orphan;
    orphan.SetPIDs(eArray<ueaddr_t>());
    EXPECT_FALSE(orphan.MoveFirst());
    unsigned char* value = nullptr;
    EXPECT_EQ(0, orphan.GetFieldValue(0, value));
}
