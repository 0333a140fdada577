#include "Geo/eGeoRegion.h"

#include <gtest/gtest.h>

using Kest::ePoint2D;

TEST(eGeoRegion, PartsKeepTheirPointsAndMissingOrEmptyPartsHaveNone)
{
    Kest::eGeoRegion region;
    const std::vector<ePoint2D> outer = {{0, 0}, {4, 0}, {4, 4}, {0, 4}};
    EXPECT_EQ(0, region.AddPart(outer));
    EXPECT_EQ(1, region.AddPart(nullptr, 5)); // an empty part keeps its number
    EXPECT_EQ(nullptr, region.GetPoints(1));
    region.AddPoint({-1, 7});                 // extends the last part
    EXPECT_EQ(outer, std::vector<ePoint2D>(region.GetPoints(0), region.GetPoints(0) + region.GetSubPntCount(0)));
    ASSERT_EQ(1, region.GetSubPntCount(1));
    EXPECT_EQ(ePoint2D(-1, 7), region.GetPoints(1)[0]);
    for (int missing : {2, -1})
        EXPECT_TRUE(region.GetPoints(missing) == nullptr && region.GetSubPntCount(missing) == 0) << missing;
    EXPECT_EQ(Kest::eRect2D(-1, 0, 4, 7), region.GetBound());
    region.RemoveAll();
    EXPECT_EQ(Kest::eRect2D(), region.GetBound());
}
