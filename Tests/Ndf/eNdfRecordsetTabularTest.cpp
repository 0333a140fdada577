#include "Ndf/eNdfRecordsetTabular.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>

#include "Support/NdfFiles.h"

using namespace Kest;
using namespace KestTest;

namespace {

constexpr std::uint16_t kFile = 21;
constexpr int kRun = 3000;

// One file: two single records (numbered -1 and -2), then a run of 3000
// numbered records over many 512-byte pages. Each record holds its number as
// text (field 0), as a 4-byte integer (field 3) and in an address (field 9).
class NdfRecordsetTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::vector<PageFileWriter::Record> run;
        for (int i = 0; i < kRun; ++i)
            run.push_back(Numbered(i));
        const auto first = WriteRuns(m_dir, kFile, 512, {{Numbered(-1)}, {Numbered(-2)}, run});
        m_single[0] = first[0];
        m_single[1] = first[1];
        m_run = first[2];
    }

    static PageFileWriter::Record Numbered(int i)
    {
        PageFileWriter::Record r;
        return r.SetText(0, std::to_string(i)).SetInt(3, static_cast<std::uint32_t>(i)).SetAddr(9, Addr(i));
    }
    static ueglobal_addr_t Addr(int i) { return MakeGlobalAddr(1, static_cast<std::uint32_t>(i), 2); }

    int Number()
    {
        eString text;
        return m_rs.GetFieldValue(0, text) ? text.ToInt() : -1000;
    }

    TempDir m_dir;
    Reader m_reader{DataDir(m_dir)};
    eNdfRecordsetTabular& m_rs = m_reader.rs;
    ueglobal_addr_t m_single[2], m_run;
};

} // namespace

TEST_F(NdfRecordsetTest, MovesToBothEndsOfARunAcrossPagesAndAnywhere)
{
    // Out of order and with an empty run: record 0 is -2, 1 to kRun are 0 to
    // kRun-1, kRun+1 is -1.
    SetRuns(m_rs, {{m_single[1], 1}, {m_run, kRun}, {m_single[0], 0}, {m_single[0], 1}});
    EXPECT_TRUE(m_rs.IsEOF()) << "not positioned before MoveFirst";
    EXPECT_EQ(kRun + 2, m_rs.GetRecordCount());
    ASSERT_TRUE(m_rs.MoveTo(kRun)); // the far end first, across every page
    EXPECT_EQ(kRun - 1, Number());
    ASSERT_TRUE(m_rs.MoveNext()); // over the empty run
    EXPECT_EQ(-1, Number());
    EXPECT_TRUE(m_rs.GetGID() == m_single[0]);
    EXPECT_FALSE(m_rs.MoveNext()) << "no step past the end";
    eString text("stale");
    EXPECT_FALSE(m_rs.GetFieldValue(0, text));
    EXPECT_TRUE(text.IsEmpty());
    ASSERT_TRUE(m_rs.MoveFirst());
    EXPECT_EQ(-2, Number());
    EXPECT_FALSE(m_rs.MoveTo(kRun + 2));
    EXPECT_TRUE(m_rs.IsEOF());
    EXPECT_FALSE(m_rs.MoveTo(-1));

    // Random positions land on their records; typed fields read as written
    // (4 bytes an integer, 8 bytes an address); an absent field is null.
    std::mt19937 rng(3);
    unsigned char* value = nullptr;
    for (int k = 0; k < 400; ++k) {
        const int n = static_cast<int>(rng() % kRun);
        const ueglobal_addr_t addr = Addr(n);
        ASSERT_TRUE(m_rs.MoveTo(n + 1));
        ASSERT_EQ(n, Number());
        ASSERT_EQ(4, m_rs.GetFieldValue(3, value));
        EXPECT_EQ(0, std::memcmp(value, &n, 4));
        ASSERT_EQ(8, m_rs.GetFieldValue(9, value));
        EXPECT_EQ(0, std::memcmp(value, &addr, 8));
    }
    EXPECT_EQ(0, m_rs.GetFieldValue(4, value));
    EXPECT_EQ(nullptr, value);
    // A record's address, read back through a one-record run, names it.
    ASSERT_TRUE(m_rs.MoveTo(2500));
    SetRuns(m_rs, {{m_rs.GetGID(), 1}});
    ASSERT_TRUE(m_rs.MoveFirst());
    EXPECT_EQ(2499, Number());
}

// Appending keeps the position; the base filter keeps every hit; clearing
// (as a refinement does before it sets the kept hits) keeps the keys.
TEST_F(NdfRecordsetTest, AppendKeepsThePositionFilterKeepsEveryHitClearKeepsTheKeys)
{
    SetRuns(m_rs, {{m_run, 10}});
    ASSERT_TRUE(m_rs.MoveTo(9));
    SetRuns(m_rs, {{m_single[0], 2}}, true);
    EXPECT_EQ(9, Number());
    ASSERT_TRUE(m_rs.MoveNext());
    ASSERT_TRUE(m_rs.MoveNext());
    EXPECT_EQ(-2, Number());
    EXPECT_TRUE(m_rs.Filter("x"));
    EXPECT_EQ(12, m_rs.GetRecordCount());
    eArray<eString> keys;
    keys.Add("j");
    m_rs.SetKey(keys);
    m_rs.Clear();
    EXPECT_EQ(0, m_rs.GetRecordCount());
    EXPECT_FALSE(m_rs.MoveFirst());
    EXPECT_EQ(eString("j"), m_rs.GetKey(0));
    EXPECT_TRUE(m_rs.GetKey(1).IsEmpty());
}

TEST_F(NdfRecordsetTest, RunsThatLeadNowhereFailWithoutReading)
{
    // A first element past its page, a run past the file's last page, another
    // file, lists of unequal length, no pool.
    SetRuns(m_rs, {{MakeGlobalAddr(kFile, m_single[0].page.nPage, 60000), 1}});
    EXPECT_FALSE(m_rs.MoveFirst());
    EXPECT_TRUE(m_rs.IsEOF());
    SetRuns(m_rs, {{m_run, kRun + 100000}});
    EXPECT_TRUE(m_rs.MoveTo(kRun - 1));
    EXPECT_FALSE(m_rs.MoveTo(kRun + 50)) << "the file ends before the run does";
    SetRuns(m_rs, {{MakeGlobalAddr(99, 0, 0), 1}});
    EXPECT_FALSE(m_rs.MoveFirst());
    SetRuns(m_rs, {{m_single[0], 1}, {m_single[1], 1}});
    eArray<unsigned int> one;
    one.Add(5);
    m_rs.SetEIDCounts(one);
    EXPECT_EQ(5, m_rs.GetRecordCount()) << "as many runs as the shortest list";
    eNdfRecordsetTabular orphan;
    SetRuns(orphan, {{m_single[0], 1}});
    EXPECT_FALSE(orphan.MoveFirst());
    unsigned char* value = nullptr;
    EXPECT_EQ(0, orphan.GetFieldValue(0, value));
}

// The walk in page order meets every record of a list of single records
// once, positioned as MoveTo would position it, each page's records together;
// lists it cannot walk so (a longer run, an unreadable record) answer false.
TEST_F(NdfRecordsetTest, VisitsSingleRecordsInPageOrderEachAsMoveToFindsIt)
{
    std::vector<int> numbers;
    for (int i = 0; i < kRun; i += 7)
        numbers.push_back(i);
    std::shuffle(numbers.begin(), numbers.end(), std::mt19937(5));
    numbers.push_back(numbers[3]); // a record listed twice is visited twice
    Runs runs;
    SetRuns(m_rs, {{m_run, kRun}});
    for (int n : numbers) {
        ASSERT_TRUE(m_rs.MoveTo(n));
        runs.push_back({m_rs.GetGID(), 1});
    }
    SetRuns(m_rs, runs);
    std::vector<int> seen(runs.size(), 0);
    std::uint64_t last = 0;
    ASSERT_TRUE(m_rs.VisitInPageOrder([&](int id) {
        ++seen[static_cast<std::size_t>(id)];
        EXPECT_EQ(numbers[static_cast<std::size_t>(id)], Number());
        const ueglobal_addr_t at = m_rs.GetGID();
        const std::uint64_t place = (std::uint64_t(at.page.nPage) << 16) | at.nElement;
        EXPECT_LE(last, place);
        last = place;
    }));
    EXPECT_EQ(std::vector<int>(runs.size(), 1), seen);
    EXPECT_TRUE(m_rs.IsEOF());

    int visits = 0;
    SetRuns(m_rs, {{m_single[0], 1}, {m_run, 2}});
    EXPECT_FALSE(m_rs.VisitInPageOrder([&](int) { ++visits; }));
    SetRuns(m_rs, {{m_single[0], 1}, {MakeGlobalAddr(kFile, 0xFFFFFF, 0), 1}});
    EXPECT_FALSE(m_rs.VisitInPageOrder([&](int) { ++visits; }));
    EXPECT_LE(visits, 1);
}
