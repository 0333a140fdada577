#include "Compiler/Gazetteer.h"

#include <gtest/gtest.h>

using Kest::Gazetteer;

namespace {

const char kSquare[] = R"({"type":"Polygon","coordinates":[[[116.1,39.1],[116.2,39.1],[116.2,39.2],[116.1,39.1]]]})";

std::string Feature(const std::string& province, const std::string& city, const std::string& county,
                    const std::string& geometry = kSquare)
{
    return R"({"type":"Feature","properties":{"province":")" + province + R"(","city":")" + city +
           R"(","county":")" + county + R"("},"geometry":)" + geometry + "}";
}

std::string Collection(const std::vector<std::string>& features)
{
    std::string text = R"({"type":"FeatureCollection","features":[)";
    for (std::size_t i = 0; i < features.size(); ++i)
        text += (i ? ",\n" : "\n") + features[i];
    return text + "]}";
}

} // namespace

TEST(Gazetteer, NumbersDataSetsCitiesAndCountiesInOrderOfAppearance)
{
    // Provinces interleaved, a municipality written with "市辖区" and with
    // its own name, a county repeated in a second feature.
    Gazetteer g;
    std::string error;
    ASSERT_TRUE(g.Parse(Collection({Feature("河北省", "石家庄市", "长安区"), Feature("北京市", "市辖区", "东城区"),
                                    Feature("河北省", "唐山市", "路北区"), Feature("北京市", "北京市", "西城区"),
                                    Feature("河北省", "石家庄市", "桥西区"), Feature("河北省", "石家庄市", "长安区")}),
                        error))
        << error;
    ASSERT_EQ(2u, g.Provinces().size());
    EXPECT_EQ("河北省", g.Provinces()[0].name);
    EXPECT_EQ(10, g.Provinces()[0].dataSet);
    EXPECT_EQ(11, g.Provinces()[1].dataSet);
    EXPECT_EQ((std::vector<int>{0, 2}), g.Provinces()[0].cities);
    ASSERT_EQ(3u, g.Cities().size());
    EXPECT_EQ("北京市", g.Cities()[1].name);
    EXPECT_EQ(2, g.Cities()[1].code);
    EXPECT_EQ((std::vector<int>{1, 3}), g.Cities()[1].counties);
    ASSERT_EQ(5u, g.Counties().size());
    for (std::size_t i = 0; i < 5; ++i)
        EXPECT_EQ(i + 1, g.Counties()[i].number);

    EXPECT_EQ(4, g.FindCounty("河北省", "石家庄市", "桥西区"));
    EXPECT_EQ(1, g.FindCounty("北京市", "北京市", "东城区"));
    EXPECT_EQ(3, g.FindCounty("北京市", "市辖区", "西城区"));
    EXPECT_EQ(-1, g.FindCounty("河北省", "唐山市", "桥西区")); // county of another city
    EXPECT_EQ(-1, g.FindCounty("河北省", "石家庄", "桥西区"));
}

TEST(Gazetteer, RefusesFilesItCannotNumber)
{
    struct Case {
        std::string text;
        std::string error;
    } cases[] = {
        {"[]", "not a GeoJSON FeatureCollection (no \"features\" array)"},
        {Collection({Feature("a", "b", "c"), R"({"type":"Feature","geometry":null})"}), "feature 2: no \"properties\" object"},
        {Collection({R"({"properties":{"province":"a","city":"b"}})"}),
         "feature 1: property \"county\" is missing or not a string"},
        {Collection({R"({"properties":{"province":"a","city":7,"county":"c"}})"}),
         "feature 1: property \"city\" is missing or not a string"},
        {Collection({Feature("a", "", "c")}), "feature 1: property \"city\" is empty"},
        {R"({"features":[7]})", "feature 1: not an object"},
        {Collection({Feature("a", "b", "c", "null")}), "feature 1: geometry must be a Polygon or MultiPolygon"},
        {Collection({Feature("a", "b", "c", R"({"type":"Point","coordinates":[1,2]})")}),
         "feature 1: geometry is a \"Point\", not a Polygon or MultiPolygon"},
        {Collection({Feature("a", "b", "c", R"({"type":"Polygon","coordinates":[]})")}), "feature 1: polygon has no ring"},
        {Collection({Feature("a", "b", "c", R"({"type":"Polygon","coordinates":[[[1,1],[2,2]]]})")}),
         "feature 1: polygon ring 1 is not a ring of at least 3 positions"},
        {Collection({Feature("a", "b", "c", R"({"type":"MultiPolygon","coordinates":[[[[1,1],[2,2],[3,3]]],[[[1,1],[2,"x"],[3,3]]]]})")}),
         "feature 1: polygon 2 ring 1 holds a position that is not [longitude, latitude]"},
        {Collection({Feature("a", "b", "c", R"({"type":"Polygon","coordinates":[[[1,1],[2,2],[3,3]],[[1,1],[181,2],[3,3]]]})")}),
         "feature 1: polygon ring 2 holds the position [181, 2], out of range"},
    };
    for (const Case& c : cases) {
        Gazetteer g;
        std::string error;
        EXPECT_FALSE(g.Parse(c.text, error)) << c.text;
        EXPECT_EQ(c.error, error) << c.text;
    }
    Gazetteer g;
    std::string error;
    EXPECT_FALSE(g.Parse("{\"features\":[\n{\"properties\":", error));
    EXPECT_EQ(0u, error.find("not valid JSON: parse error at line 2")) << error;

    // Data sets 10..99: a 91st province has no file numbers left.
    std::vector<std::string> features;
    for (int i = 0; i < 91; ++i)
        features.push_back(Feature("p" + std::to_string(i), "c", "x"));
    EXPECT_FALSE(g.Parse(Collection(features), error));
    EXPECT_EQ("feature 91: more than 90 provinces", error);
    features.pop_back();
    EXPECT_TRUE(g.Parse(Collection(features), error)) << error;
    EXPECT_EQ(99, g.Provinces().back().dataSet);
}
