#include "Geo/eGeoRegion.h"

#include <gtest/gtest.h>

#include <vector>

using Kest::eGeoRegion;
using Kest::ePoint2D;
using Kest::eRect2D;

TEST(eGeoRegion, PartsKeepTheirPointsInOrder)
{
    eGeoRegion region;
    EXPECT_EQ(0, region.GetPartCount());
    EXPECT_EQ(nullptr, region.GetPoints(0));
    EXPECT_EQ(0, region.GetSubPntCount(0));

    const std::vector<ePoint2D> outer = {{0, 0}, {4, 0}, {4, 4}, {0, 4}};
    const std::vector<ePoint2D> hole = {{1, 1}, {2, 1}, {2, 2}};
    EXPECT_EQ(0, region.AddPart(outer));
    EXPECT_EQ(1, region.AddPart(hole.data(), 3));
    ASSERT_EQ(2, region.GetPartCount());
    EXPECT_EQ(7, region.GetPointCount());
    ASSERT_EQ(4, region.GetSubPntCount(0));
    ASSERT_EQ(3, region.GetSubPntCount(1));
    EXPECT_EQ(std::vector<ePoint2D>(outer), std::vector<ePoint2D>(region.GetPoints(0), region.GetPoints(0) + 4));
    EXPECT_EQ(hole, std::vector<ePoint2D>(region.GetPoints(1), region.GetPoints(1) + 3));
    EXPECT_EQ(nullptr, region.GetPoints(2));
    EXPECT_EQ(nullptr, region.GetPoints(-1));
    EXPECT_EQ(0, region.GetSubPntCount(-1));
    EXPECT_EQ(eRect2D(0, 0, 4, 4), region.GetBound());

    region.RemoveAll();
    EXPECT_EQ(0, region.GetPartCount());
    EXPECT_EQ(nullptr, region.GetPoints(0));
}

TEST(eGeoRegion, EmptyPartsHaveNoPointsButKeepTheirNumber)
{
    eGeoRegion region;
    EXPECT_EQ(0, region.AddPart(nullptr, 5));
    EXPECT_EQ(1, region.AddPart(std::vector<ePoint2D>{{7, 8}}));
    EXPECT_EQ(2, region.AddPart(std::vector<ePoint2D>{}));
    EXPECT_EQ(nullptr, region.GetPoints(0));
    EXPECT_EQ(0, region.GetSubPntCount(0));
    ASSERT_NE(nullptr, region.GetPoints(1));
    EXPECT_EQ(ePoint2D(7, 8), region.GetPoints(1)[0]);
    EXPECT_EQ(nullptr, region.GetPoints(2));
    EXPECT_EQ(eRect2D(7, 8, 7, 8), region.GetBound());
}

TEST(eGeoRegion, AddPointExtendsTheLastPart)
{
    eGeoRegion region;
    region.AddPoint({1, 2}); // opens the first part
    region.AddPoint({3, 4});
    region.AddPart(nullptr, 0);
    region.AddPoint({5, 6});
    ASSERT_EQ(2, region.GetPartCount());
    EXPECT_EQ(2, region.GetSubPntCount(0));
    EXPECT_EQ(1, region.GetSubPntCount(1));
    EXPECT_EQ(ePoint2D(5, 6), region.GetPoints(1)[0]);
    EXPECT_EQ(eRect2D(1, 2, 5, 6), region.GetBound());
}
