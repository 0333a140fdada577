#include "Ndf/eNdfIndex.h"

#include <gtest/gtest.h>

#include "Build/FeatureBlockEncoder.h"
#include "Build/PageFileWriter.h"
#include "Ndf/eNdfPool.h"
#include "Support/NdfFiles.h"

using namespace Kest;
using KestTest::TempDir;

namespace {

// Opens the protected root loader to the test.
class RootReader : public eNdfIndex {
public:
    using eNdfIndex::GetRoot;
    using eNdfIndex::IsOpen;
    ueglobal_addr_t Root() const { return m_gidRoot; }
    unsigned int RootCount() const { return m_nRootCount; }
    ueglobal_addr_t Leaf() const { return m_gidRootLeaf; }
    unsigned int LeafCount() const { return m_nRootLeafCount; }
};

} // namespace

TEST(eNdfIndex, ReportsItsWiringAndAPlainTypeWhateverItsState)
{
    RootReader reader;
    EXPECT_EQ(eNdfIndex::NDF_INDEX_PLAIN, reader.GetType());
    EXPECT_EQ(0xFFFF, reader.GetCurrentFid()) << "no file before SetGID";
    reader.SetGID(MakeGlobalAddr(110, 4, 0));
    EXPECT_EQ(110, reader.GetCurrentFid());
    EXPECT_EQ(eNdfIndex::NDF_INDEX_PLAIN, reader.GetType());

    // The base's queries answer false and leave the outputs alone.
    eArray<ueglobal_addr_t> gids;
    gids.Add(MakeGlobalAddr(1, 1, 1));
    eArray<unsigned int> nums;
    eArray<eString> names;
    EXPECT_EQ(0, reader.Query(eArray<eString>(), gids, nums, names));
    EXPECT_EQ(0, reader.Query(ePoint2D(), 1.0, 5, gids, nums, names));
    EXPECT_EQ(1, gids.GetSize());
}

TEST(eNdfIndex, GetRootReadsTheRootBlockAndFailsOnAnUnreadablePage)
{
    TempDir dir;
    PageFileWriter writer(110, 512);
    ASSERT_TRUE(writer.Open(dir.File(110)));
    ueglobal_addr_t filler, root, bare;
    ASSERT_TRUE(writer.Append(KestTest::ToRecord({{0, "filler"}}), filler));
    PageFileWriter::Record rootRecord;
    const auto block = FeatureBlockEncoder::Encode(MakeGlobalAddr(110, 0, 0), 26, MakeGlobalAddr(110, 9, 3), 2);
    rootRecord.Set(1, block.data(), block.size());
    ASSERT_TRUE(writer.AppendRun({rootRecord}, root, true));
    ASSERT_TRUE(writer.AppendRun({KestTest::ToRecord({{0, "no field 1"}})}, bare, true));
    writer.SetIndexHeader(root, 3);
    ASSERT_TRUE(writer.Close());

    eNdfPool pool;
    pool.SetDataPath(dir.Dir().c_str());
    RootReader reader;
    EXPECT_EQ(0, reader.GetRoot()) << "no pool";
    reader.SetGID(root);
    reader.SetDepth(3);
    reader.SetDataPath(dir.Dir().c_str());
    reader.SetPool(&pool);
    EXPECT_EQ(0, reader.IsOpen());
    ASSERT_EQ(1, reader.GetRoot());
    EXPECT_EQ(1, reader.IsOpen());
    EXPECT_TRUE(reader.Root() == MakeGlobalAddr(110, 0, 0));
    EXPECT_EQ(26u, reader.RootCount());
    EXPECT_TRUE(reader.Leaf() == MakeGlobalAddr(110, 9, 3));
    EXPECT_EQ(2u, reader.LeafCount());

    // SetGID closes; a page whose record 0 has no field 1, a page past the
    // end and a missing file all leave the reader closed.
    for (const ueglobal_addr_t& gid : {bare, MakeGlobalAddr(110, 77, 0), MakeGlobalAddr(111, 0, 0)}) {
        reader.SetGID(gid);
        EXPECT_EQ(0, reader.IsOpen());
        EXPECT_EQ(0, reader.GetRoot());
        EXPECT_EQ(0, reader.IsOpen());
    }
}
