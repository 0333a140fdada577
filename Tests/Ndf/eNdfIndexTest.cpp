#include "Ndf/eNdfIndex.h"

#include <gtest/gtest.h>

#include "Compiler/FeatureBlockEncoder.h"
#include "Support/NdfFiles.h"

using namespace Kest;
using namespace KestTest;

namespace {

// Opens the protected root loader to the test.
class RootReader : public eNdfIndex {
public:
    using eNdfIndex::GetRoot;
    using eNdfIndex::IsOpen;
    bool RootIs(const ueglobal_addr_t& node, unsigned int nodes, const ueglobal_addr_t& leaf, unsigned int leaves) const
    {
        return m_gidRoot == node && m_nRootCount == nodes && m_gidRootLeaf == leaf && m_nRootLeafCount == leaves;
    }
};

} // namespace

TEST(eNdfIndex, GetRootReadsTheRootBlockOrFailsOnAnUnreadablePage)
{
    TempDir dir;
    // Record 0 of page 1 holds the root block; of page 2, no field 1.
    const auto block = FeatureBlockEncoder::Encode(MakeGlobalAddr(110, 0, 0), 26, MakeGlobalAddr(110, 9, 3), 2);
    const auto first = WriteRuns(dir, 110, 512, {{ToRecord({{0, "filler"}})},
                                                 {ToRecord({{1, std::string(block.begin(), block.end())}})},
                                                 {ToRecord({{0, "no field 1"}})}}, true);
    eNdfPool pool;
    pool.SetDataPath(DataDir(dir).c_str());
    RootReader reader;
    EXPECT_EQ(0, reader.GetRoot()) << "no pool";
    reader.SetGID(first[1]);
    reader.SetPool(&pool);
    EXPECT_EQ(0, reader.IsOpen());
    ASSERT_EQ(1, reader.GetRoot());
    EXPECT_EQ(1, reader.IsOpen());
    EXPECT_TRUE(reader.RootIs(MakeGlobalAddr(110, 0, 0), 26, MakeGlobalAddr(110, 9, 3), 2));

    // SetGID closes; a page whose record 0 has no field 1, a page past the
    // end and a missing file all leave the reader closed.
    for (const ueglobal_addr_t& gid : {first[2], MakeGlobalAddr(110, 77, 0), MakeGlobalAddr(111, 0, 0)}) {
        reader.SetGID(gid);
        EXPECT_EQ(0, reader.IsOpen());
        EXPECT_EQ(0, reader.GetRoot());
        EXPECT_EQ(0, reader.IsOpen());
    }
}
