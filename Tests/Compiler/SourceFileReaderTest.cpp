#include "Compiler/SourceFileReader.h"

#include <gtest/gtest.h>

#include <sstream>

#include "Compiler/GbkCodec.h"

using Kest::SourceFileReader;
using Kest::SourceRow;
using Kind = Kest::SourceFileReader::Kind;

namespace {

class SourceFileReaderTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::string error;
        std::size_t line = 0;
        ASSERT_TRUE(m_categories.Parse("餐饮\n\t中餐\t2000\n\t快餐\t2005\n", error, line)) << error;
        const std::string square = R"("geometry":{"type":"Polygon","coordinates":[[[1,1],[2,1],[2,2],[1,1]]]})";
        ASSERT_TRUE(m_gazetteer.Parse(
            R"({"features":[{"properties":{"province":"北京市","city":"市辖区","county":"东城区"},)" + square + "}," +
                R"({"properties":{"province":"河北省","city":"唐山市","county":"路北区"},)" + square + "}]}",
            error))
            << error;
    }

    // Reads `body` below the header of `kind`; returns the report lines.
    std::string Read(Kind kind, const std::string& body, std::vector<SourceRow>& rows,
                     SourceFileReader::Counts& counts)
    {
        SourceFileReader reader(m_gazetteer, m_categories);
        std::ostringstream report;
        std::string error;
        EXPECT_TRUE(reader.Read("src/f.csv", std::string(SourceFileReader::Header(kind)) + "\n" + body, kind, rows,
                                counts, report, error))
            << error;
        return report.str();
    }

    Kest::Gazetteer m_gazetteer;
    Kest::CategoryList m_categories;
};

} // namespace

TEST_F(SourceFileReaderTest, AcceptedRowsCarryTheirValues)
{
    std::vector<SourceRow> rows;
    SourceFileReader::Counts counts;
    EXPECT_EQ("", Read(Kind::Poi,
                       "\"全聚德,前门店\",116.397230,39.9075,2005,01062345678,北京市,北京市,东城区\n"
                       "A,0,90,2000,,河北省,唐山市,路北区\n"
                       "B,179.9999995,0.0000004,2000,,北京市,市辖区,东城区\n",
                       rows, counts));
    ASSERT_EQ(3u, rows.size());
    EXPECT_EQ(Kest::GbkCodec::Gbk("全聚德,前门店"), rows[0].name);
    EXPECT_EQ("01062345678", rows[0].phone);
    // lon, lat, category, line, county; "市辖区" is the municipality itself,
    // and degrees round half up.
    const std::vector<std::uint64_t> want[3] = {
        {116397230, 39907500, 2005, 2, 0}, {0, 90000000, 2000, 3, 1}, {180000000, 0, 2000, 4, 0}};
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(want[i], (std::vector<std::uint64_t>{rows[i].lon, rows[i].lat, rows[i].category, rows[i].line,
                                                       static_cast<std::uint64_t>(rows[i].county)}));
    EXPECT_EQ(3u, counts.accepted);
}

TEST_F(SourceFileReaderTest, EachRejectedRowIsReportedWithItsReason)
{
    const std::string name64(64, 'n');
    const std::string hanzi32 = "一二三四五六七八九十一二三四五六七八九十一二三四五六七八九十一二"; // 64 GBK bytes
    const std::string rest = ",116,39,2000,,北京市,北京市,东城区";
    const std::pair<std::string, std::string> cases[] = { // row, report
        {"short,116,39", "expected 8 fields, found 3"},
        {"bad\"q" + rest, "field 1: quote inside an unquoted field"},
        {rest, "name is empty"},
        {"\"tab\there\"" + rest, "name holds a control character (a tab or line break)"},
        {"😀店" + rest, "name '😀店': U+1F600 '😀' at byte 1 (character 1) cannot be encoded in GBK"},
        {name64 + rest, "name '" + name64 + "' takes 64 bytes in GBK, more than 63"},
        {hanzi32 + rest, "name '" + hanzi32 + "' takes 64 bytes in GBK, more than 63"},
        {"x,116.4.1,39,2000,,北京市,北京市,东城区", "longitude '116.4.1' is not a number of degrees"},
        {"x,1e2,39,2000,,北京市,北京市,东城区", "longitude '1e2' is not a number of degrees"},
        {"x,180.000001,39,2000,,北京市,北京市,东城区", "longitude 180.000001 is out of range 0 to 180"},
        {"x,-73.9,39,2000,,北京市,北京市,东城区",
         "longitude -73.9 is out of range 0 to 180 (the data holds east longitudes and north latitudes only)"},
        {"x,116,90.5,2000,,北京市,北京市,东城区", "latitude 90.5 is out of range 0 to 90"},
        {"x,116, 39,2000,,北京市,北京市,东城区", "latitude ' 39' is not a number of degrees"},
        {"x,116,39,2001,,北京市,北京市,东城区", "unknown category 2001 (not in categories.txt)"},
        {"x,116,39,餐饮,,北京市,北京市,东城区", "category '餐饮' is not a category code"},
        {"x,116,39,2000,,北京市,北京市,西城区", "unknown county '北京市,北京市,西城区' (not in districts.geojson)"},
        {"x,116,39,2000,,河北省,石家庄市,路北区",
         "unknown county '河北省,石家庄市,路北区' (not in districts.geojson)"},
    };
    std::string body = "ok" + rest + "\n", expected;
    std::size_t line = 3;
    for (const auto& [row, report] : cases) {
        body += row + "\n";
        expected += "src/f.csv:" + std::to_string(line++) + ": " + report + "\n";
    }
    std::vector<SourceRow> rows;
    SourceFileReader::Counts counts;
    EXPECT_EQ(expected, Read(Kind::Poi, body + "\"\"\"ok\"\"\",116,39,2000,,河北省,唐山市,路北区\n", rows, counts));
    ASSERT_EQ(2u, rows.size());
    EXPECT_EQ("\"ok\"", rows[1].name);
    EXPECT_EQ(line, rows[1].line);
    EXPECT_EQ((std::vector<std::size_t>{19, 2, 17}),
              (std::vector<std::size_t>{counts.rows, counts.accepted, counts.rejected}));
}

TEST_F(SourceFileReaderTest, AWrongHeaderOrEmptyFileFailsTheWholeFile)
{
    SourceFileReader reader(m_gazetteer, m_categories);
    std::vector<SourceRow> rows;
    SourceFileReader::Counts counts;
    std::ostringstream report;
    std::string error;
    EXPECT_FALSE(reader.Read("p.csv", "name,lon,lat,province,city,county\nx,1,1,北京市,北京市,东城区\n", Kind::Poi,
                             rows, counts, report, error));
    EXPECT_EQ("p.csv:1: the header row must be 'name,lon,lat,category,phone,province,city,county'", error);
    EXPECT_FALSE(reader.Read("p.csv", "\n\n", Kind::Crossroad, rows, counts, report, error));
    EXPECT_EQ("p.csv: empty file, expected the header row 'name,lon,lat,province,city,county'", error);
    EXPECT_TRUE(rows.empty());
    EXPECT_EQ("", report.str());

    // A header with nothing below it is a file without rows, not an error.
    EXPECT_TRUE(reader.Read("p.csv", "name,lon,lat,province,city,county\r\n", Kind::Crossroad, rows, counts, report,
                            error));
    EXPECT_EQ(0u, counts.rows);
    // Crossroads have no category or phone: eight fields are too many.
    EXPECT_EQ("src/f.csv:3: expected 6 fields, found 8\n",
              Read(Kind::Crossroad,
                   "长安街与王府井大街交叉口,116.41,39.91,北京市,北京市,东城区\n"
                   "x,116,39,2000,,北京市,北京市,东城区\n",
                   rows, counts));
    ASSERT_EQ(1u, rows.size());
    EXPECT_EQ(0u, rows[0].category);
}

TEST(SourceFileReaderDegrees, ParsesDecimalDegreesExactly)
{
    struct Case {
        const char* text;
        bool ok;
        std::int64_t micro;
    } cases[] = {
        {"116.397230", true, 116397230}, {"7", true, 7000000},     {".5", true, 500000},
        {"5.", true, 5000000},           {"+1.25", true, 1250000}, {"-0.0000015", true, -2},
        {"0.0000004999", true, 0},       {"1.9999996", true, 2000000}, {"", false, 0},
        {".", false, 0},                 {"-", false, 0},          {"1,5", false, 0},
        {"1e3", false, 0},               {"12 ", false, 0},        {"99999999999", false, 0},
    };
    for (const Case& c : cases) {
        std::int64_t micro = 0;
        EXPECT_EQ(c.ok, SourceFileReader::ParseDegrees(c.text, micro)) << c.text;
        if (c.ok) {
            EXPECT_EQ(c.micro, micro) << c.text;
        }
    }
}
