// Links the shared library the way an application does: this test sees only
// the exported symbols.
#include <gtest/gtest.h>

#include "Base/eArray.h"
#include "POIEngine/ePOIEngineContainer.h"

TEST(SharedLibrary, ExportsTheUserStoreAndArrays)
{
    Kest::ePOIEngineContainer store;
    EXPECT_EQ(0, store.GetPOICount(Kest::CONTAINER_FAVORITE));
    EXPECT_FALSE(store.SavePOI(Kest::CONTAINER_FAVORITE)); // no data path
    Kest::eArray<Kest::eString> names;
    names.Add("a");
    EXPECT_EQ(1, names.GetSize());
    Kest::eArray<Kest::ueglobal_addr_t> hits;
    hits.Add(Kest::MakeGlobalAddr(1, 2, 3));
    EXPECT_EQ(3, Kest::GetEid(hits[0]));
}
