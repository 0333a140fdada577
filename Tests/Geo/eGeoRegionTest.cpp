#include "Geo/eGeoRegion.h"

#include <gtest/gtest.h>

#include <vector>

using Kest::eGeoRegion;
using Kest::ePoint2D;
using Kest::eRect2D;

TEST(eGeoRegion, PartsKeepTheirPointsAndMissingOrEmptyPartsHaveNone)
{
    eGeoRegion region;
    EXPECT_EQ(nullptr, region.GetPoints(0));
    const std::vector<ePoint2D> outer = {{0, 0}, {4, 0}, {4, 4}, {0, 4}};
    EXPECT_EQ(0, region.AddPart(outer));
    EXPECT_EQ(1, region.AddPart(nullptr, 5)); // an empty part keeps its number
    region.AddPoint({-1, 7});                 // extends the last part
    ASSERT_EQ(2, region.GetPartCount());
    EXPECT_EQ(5, region.GetPointCount());
    EXPECT_EQ(outer, std::vector<ePoint2D>(region.GetPoints(0), region.GetPoints(0) + region.GetSubPntCount(0)));
    ASSERT_EQ(1, region.GetSubPntCount(1));
    EXPECT_EQ(ePoint2D(-1, 7), region.GetPoints(1)[0]);
    EXPECT_EQ(nullptr, region.GetPoints(2));
    EXPECT_EQ(nullptr, region.GetPoints(-1));
    EXPECT_EQ(0, region.GetSubPntCount(2));
    EXPECT_EQ(eRect2D(-1, 0, 4, 7), region.GetBound());

    region.AddPart(std::vector<ePoint2D>{});
    EXPECT_EQ(nullptr, region.GetPoints(2));
    region.RemoveAll();
    EXPECT_EQ(0, region.GetPartCount());
    EXPECT_EQ(eRect2D(), region.GetBound());
}
