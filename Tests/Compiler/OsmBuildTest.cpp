// OpenStreetMap input of the data compiler: a hand-written extract compiled
// and searched through the engine, the tables the reader is driven by, bad
// files, CSV rows placed by coordinate, and (when the folder of real
// extracts is there) every real extract against the counts listed with it.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Compiler/CountyLocator.h"
#include "Compiler/DataCompiler.h"
#include "Compiler/GbkCodec.h"
#include "Compiler/OsmCategories.h"
#include "Compiler/OsmCrossroads.h"
#include "Compiler/OsmReader.h"
#include "Compiler/SimplifiedChinese.h"
#include "POIEngine/ePOIEngineManager.h"
#include "Support/CompiledSample.h"
#include "Support/TempDir.h"

using namespace Kest;
namespace fs = std::filesystem;

namespace {

std::string G(const char* utf8) { return GbkCodec::Gbk(utf8); }
const std::string kSample = std::string(KEST_TEST_DATA) + "/../../Data/Sample";
const std::string kFixture = std::string(KEST_TEST_DATA) + "/osm/junction.osm";

// A source directory with the sample's categories, the given districts and
// a few words; `csv` adds pois.csv.
std::string MakeSource(const KestTest::TempDir& dir, const std::string& districts, const std::string& csv = "")
{
    const std::string src = dir.Path("src");
    fs::create_directories(src);
    fs::copy_file(kSample + "/categories.txt", src + "/categories.txt");
    fs::copy_file(districts, src + "/districts.geojson");
    std::ofstream(src + "/words.txt") << "中关村 100\n大街 50\n公园 80\n博物馆 20\n";
    if (!csv.empty())
        std::ofstream(src + "/pois.csv") << "name,lon,lat,category,phone,province,city,county\n" << csv;
    return src;
}

bool Build(const std::string& src, const std::string& out, const std::vector<std::string>& osm, std::string& report,
           DataCompiler::Summary* summary = nullptr, std::string* error = nullptr)
{
    DataCompiler::Options options;
    options.source = src;
    options.output = out;
    options.osm = osm;
    std::ostringstream stream;
    DataCompiler compiler(options, stream);
    const bool ok = compiler.Run();
    report = stream.str();
    if (summary)
        *summary = compiler.GetSummary();
    if (error)
        *error = compiler.GetError();
    return ok;
}

std::vector<std::string> Names(ePOIEngineManager& engine) { return KestTest::HitNames(engine); }

// The first hit of the last search.
ePoiInfo First(ePOIEngineManager& engine)
{
    ePoiInfo info{};
    EXPECT_TRUE(engine.GetPOIInfo(0, 0, info));
    return info;
}

TEST(OsmBuild, HandWrittenExtractIsFoundByEverySearch)
{
    KestTest::TempDir dir;
    const std::string src = MakeSource(dir, kSample + "/districts.geojson");
    const std::string out = dir.Path("out");
    std::string report;
    DataCompiler::Summary summary;
    ASSERT_TRUE(Build(src, out, {kFixture}, report, &summary)) << report;
    EXPECT_EQ(summary.crossroads, 1u);
    // The name GBK cannot hold and the object outside every county are
    // reported, each naming the file and the object.
    EXPECT_NE(report.find(kFixture + ": node 3: name "), std::string::npos) << report;
    EXPECT_NE(report.find("(the first: node 7)"), std::string::npos) << report;

    ePOIEngineManager engine;
    engine.SetPoiPath(out.c_str());
    ASSERT_TRUE(engine.QueryByFullText(3, 10, "*", "*", G("全聚德").c_str()));
    ASSERT_EQ(Names(engine), std::vector<std::string>{"全聚德"});
    const ePoiInfo poi = First(engine);
    EXPECT_EQ(poi.nCode, 2000u);
    EXPECT_NEAR(poi.dX, 116.31, 1e-5);
    EXPECT_NEAR(poi.dY, 39.99, 1e-5);
    EXPECT_NE(GbkCodec::Utf8(poi.szAddress).find("海淀区"), std::string::npos);
    // Traditional written, Simplified stored (when OpenCC can convert).
    if (SimplifiedChinese().Available()) {
        ASSERT_TRUE(engine.QueryByFullText(3, 10, "*", "*", G("麦当劳").c_str()));
        EXPECT_EQ(Names(engine), std::vector<std::string>{"麦当劳"});
    }
    // Both numbers of one phone tag, "+86 10" written with the trunk 0.
    char* next = nullptr;
    int count = 0;
    for (const char* number : {"01062751234", "01062751235"}) {
        ASSERT_TRUE(engine.QueryByTelephone(number, next, count)) << number;
        EXPECT_EQ(Names(engine), std::vector<std::string>{"全聚德"}) << number;
    }
    // name:zh-Hans first; the closed way at the mean of its ring.
    ASSERT_TRUE(engine.QuerySightByText(G("博物馆").c_str()));
    EXPECT_EQ(Names(engine), std::vector<std::string>{"海淀区博物馆"});
    ASSERT_TRUE(engine.QuerySightByText(G("公园").c_str()));
    ASSERT_EQ(Names(engine), std::vector<std::string>{"紫竹院公园"});
    EXPECT_NEAR(First(engine).dX, 116.315, 1e-5);
    EXPECT_NEAR(First(engine).dY, 39.945, 1e-5);
    ASSERT_TRUE(engine.QueryPlaceNameByText(G("五道口").c_str()));
    EXPECT_EQ(Names(engine), std::vector<std::string>{"五道口"});
    // The two junction nodes of the dual carriageway make one crossroad,
    // between them (under both orders of the roads); the unnamed service
    // road and the road meeting its own name make none.
    ASSERT_TRUE(engine.QueryCrossRoadByText(3, 10, "*", "*", G("成府路").c_str()));
    const std::vector<std::string> cross = Names(engine);
    ASSERT_EQ(std::set<std::string>(cross.begin(), cross.end()), std::set<std::string>{"中关村大街与成府路交叉口"});
    EXPECT_NEAR(First(engine).dX, 116.330175, 1e-5);
    EXPECT_NEAR(First(engine).dY, 39.98, 1e-5);
}

TEST(OsmBuild, BadFilesFailTheBuildAndLeaveOutAlone)
{
    struct Case {
        const char* file;
        std::string bytes;
        const char* error; // part of the one-line error
    };
    const Case cases[] = {
        {"cut.osm.pbf", std::string("\0\0\0\x0d\x0a\x09OSMHeader", 13), "cut.osm.pbf: "},
        {"cut.osm", "<?xml version='1.0'?><osm version='0.6'><node id='1' lat='39.9'", "cut.osm: "},
        {"missing.osm", "", "missing.osm: "},
    };
    KestTest::TempDir dir;
    const std::string src = MakeSource(dir, kSample + "/districts.geojson");
    const std::string out = dir.Path("out");
    fs::create_directories(out);
    std::ofstream(out + "/keep") << "old";
    for (const Case& c : cases) {
        const std::string path = dir.Path(c.file);
        if (!c.bytes.empty())
            std::ofstream(path, std::ios::binary) << c.bytes;
        std::string report, error;
        EXPECT_FALSE(Build(src, out, {path}, report, nullptr, &error)) << c.file;
        EXPECT_NE(error.find(c.error), std::string::npos) << error;
        EXPECT_EQ(error.find('\n'), std::string::npos) << error;
        EXPECT_TRUE(fs::exists(out + "/keep")) << c.file;
    }
}

TEST(OsmBuild, CsvRowsWithoutAreaTakeTheCountyOfTheirCoordinate)
{
    KestTest::TempDir dir;
    const std::string src = MakeSource(dir, kSample + "/districts.geojson",
                                       "甲店,116.310000,39.990000,2000,,,,\n"          // Haidian
                                       "乙店,116.310000,39.990000,2000,,北京市,北京市,东城区\n" // keeps its columns
                                       "丙店,10.000000,10.000000,2000,,,,\n"           // outside every county
                                       "丁店,116.310000,39.990000,2000,,,,朝阳区\n");  // partly empty: unknown
    for (const char* csv : {"sights.csv", "placenames.csv"})
        std::ofstream(src + "/" + csv) << "name,lon,lat,category,phone,province,city,county\n";
    std::ofstream(src + "/crossroads.csv") << "name,lon,lat,province,city,county\n";
    std::string report;
    DataCompiler::Summary summary;
    ASSERT_TRUE(Build(src, dir.Path("out"), {}, report, &summary)) << report;
    EXPECT_EQ(summary.pois, 2u) << report;
    EXPECT_NE(report.find("pois.csv:4: no county"), std::string::npos) << report;
    EXPECT_NE(report.find("pois.csv:5: unknown county"), std::string::npos) << report;
    ePOIEngineManager engine;
    engine.SetPoiPath(dir.Path("out").c_str());
    for (const auto& [name, area] : std::map<std::string, std::string>{{"甲店", "海淀区"}, {"乙店", "东城区"}}) {
        ASSERT_TRUE(engine.QueryByFullText(3, 10, "*", "*", G(name.c_str()).c_str()));
        ASSERT_EQ(Names(engine), std::vector<std::string>{name});
        EXPECT_NE(GbkCodec::Utf8(First(engine).szAddress).find(area), std::string::npos) << name;
    }
}

TEST(OsmReader, PhoneTagsBecomeTheNumbersTheTelephoneIndexHolds)
{
    const std::pair<const char*, const char*> cases[] = {
        {"+86 10 6275-1234; 010 62751235", "01062751234;01062751235"},
        {"+86 138 0013 8000", "13800138000"},  // a mobile keeps no trunk 0
        {"0086-571-8888.8888", "057188888888"},
        {"+86 010 1234 5678", "01012345678"},  // the trunk 0 written anyway
        {"+886 3 571 2121 / (03)5712122", "0088635712121;035712122"},
        {"0571-87018888 ext 1777, 0571 8701 8889转2", "057187018888;057187018889"},
        {" ; ,", ""},
    };
    for (const auto& [tag, expected] : cases)
        EXPECT_EQ(OsmReader::PhoneNormalise(tag), expected) << tag;
}

TEST(OsmCategories, FirstMatchingRuleInFileOrderDecides)
{
    OsmCategories table;
    std::string error;
    ASSERT_TRUE(table.Parse("# c\nsight\thistoric=*\t13050\npoi\tamenity=*\t7030\nplace\tplace=*\t14040\n"
                            "poi\tamenity=cafe\t2025\n",
                            error))
        << error;
    struct Tag {
        std::string k, v;
        const char* key() const { return k.c_str(); }
        const char* value() const { return v.c_str(); }
    };
    const struct {
        std::vector<Tag> tags;
        bool place;
        std::uint32_t code; // 0: none
        bool wildcard;
    } cases[] = {
        {{{"amenity", "cafe"}}, false, 7030, true}, // the catch-all comes first in this table
        {{{"amenity", "cafe"}, {"historic", "yes"}}, false, 13050, true},
        {{{"place", "town"}, {"historic", "yes"}}, true, 14040, true}, // a place name, and a sight
        {{{"place", "town"}}, false, 0, false},
        {{{"shop", "bakery"}}, false, 0, false},
    };
    for (const auto& c : cases) {
        const OsmCategories::Match m = table.Classify(c.tags, c.place);
        EXPECT_EQ(m.rule ? m.rule->code : 0u, c.code) << c.tags[0].k;
        EXPECT_EQ(m.Wildcard(), c.wildcard);
    }
    for (const char* bad : {"poi amenity=cafe 2025\n", "shop\tamenity=cafe\t1\n", "poi\tamenity\t1\n",
                            "poi\t=cafe\t1\n", "poi\tamenity=cafe\tx1\n", "# only a comment\n"})
        EXPECT_FALSE(table.Parse(bad, error)) << bad;
    ASSERT_TRUE(table.Parse(OsmCategories::BuiltIn(), error)) << error;
}

TEST(OsmCrossroads, JunctionNodesOfOnePairMergeWithinTheDistance)
{
    // Nodes 1..: a chain of nodes 60 m apart merges into one crossroad even
    // though its ends lie 120 m apart; a node 500 m on is a crossroad of its own.
    const double step = 60.0 / 111320.0; // degrees of latitude
    const std::map<std::int64_t, double> lat = {{1, 0}, {2, step}, {3, 2 * step}, {4, 10 * step}};
    OsmCrossroads c;
    c.AddWay("B", {1, 2, 3, 4, 9});
    c.AddWay("A", {9, 1});
    c.AddWay("A", {2, 3});
    c.AddWay("A", {4});
    c.AddWay("B", {5, 6}); // the same name meeting itself: no junction
    c.AddWay("B", {6});
    EXPECT_EQ(c.Junctions(), (std::vector<std::int64_t>{1, 2, 3, 4, 9}));
    const auto out = c.Build(
        [&](std::int64_t id, double& x, double& y) {
            const auto it = lat.find(id);
            x = 116.0;
            y = it == lat.end() ? 0 : 40.0 + it->second;
            return it != lat.end(); // node 9 is missing from the file
        },
        100.0);
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(out[0].first + out[0].second, "AB");
    EXPECT_EQ(out[0].node, 1);
    EXPECT_NEAR(out[0].lat, 40.0 + step, 1e-9);
    EXPECT_EQ(out[1].node, 4);
}

// The real extracts, read from the shared folder only (POI_OSM_DIR, else
// ../shared/opendata/osm beside the project), each compiled with one county
// that holds them all, checked against the counts of SUMMARY.tsv.
TEST(OsmBuild, RealExtractsMatchTheirSummary)
{
#if defined(__SANITIZE_ADDRESS__)
    // Half a minute under the sanitizers; the hand-written extract above
    // takes the same paths there.
    GTEST_SKIP() << "the real extracts are checked by the optimised build only";
#endif
    const char* env = std::getenv("POI_OSM_DIR");
    const std::string folder = env && *env ? env : std::string(KEST_SOURCE_DIR) + "/../shared/opendata/osm";
    std::ifstream summary(folder + "/SUMMARY.tsv");
    if (!summary)
        GTEST_SKIP() << "no OpenStreetMap extracts at " << folder << " (set POI_OSM_DIR)";
    KestTest::TempDir dir;
    const std::string world = dir.Path("world.geojson");
    std::ofstream(world) << R"({"type":"FeatureCollection","features":[{"type":"Feature","properties":)"
                            R"({"province":"测试省","city":"测试市","county":"测试区"},"geometry":{"type":"Polygon",)"
                            R"("coordinates":[[[70,0],[140,0],[140,60],[70,60],[70,0]]]}}]})";
    const std::string src = MakeSource(dir, world);
    OsmCategories table;
    std::string line, error;
    ASSERT_TRUE(table.Parse(OsmCategories::BuiltIn(), error));
    const SimplifiedChinese simplified;
    std::getline(summary, line); // header
    int files = 0;
    std::vector<std::string> paths;
    std::size_t taken = 0, all = 0;
    while (std::getline(summary, line)) {
        std::vector<std::string> f;
        std::istringstream fields(line);
        for (std::string field; std::getline(fields, field, '\t');)
            f.push_back(field);
        ASSERT_GE(f.size(), 12u) << line;
        const std::string path = folder + "/" + f[0];
        const std::size_t namedPois = std::stoul(f[4]), phones = std::stoul(f[5]), sights = std::stoul(f[7]),
                          places = std::stoul(f[8]), pairs = std::stoul(f[11]);
        SCOPED_TRACE(f[0]);
        ++files;

        std::vector<OsmObject> objects;
        OsmReader reader(table, &simplified);
        ASSERT_TRUE(reader.Read(path, objects, error)) << error;
        std::size_t coded = 0, poiObjects = 0, sightObjects = 0, placeObjects = 0, phoneObjects = 0;
        std::set<std::string> found;
        for (const OsmObject& o : objects) {
            coded += (o.kind == OsmObject::Kind::Poi || o.kind == OsmObject::Kind::Sight) && !o.wildcard;
            poiObjects += o.kind == OsmObject::Kind::Poi;
            sightObjects += o.kind == OsmObject::Kind::Sight;
            placeObjects += o.kind == OsmObject::Kind::Place;
            phoneObjects += !o.phone.empty();
            if (o.kind == OsmObject::Kind::Crossroad)
                found.insert(o.name);
        }
        // At least 90% of the named POIs get a code of their own kind; the
        // reader takes sights beyond the listed ones (historic=*, parks).
        EXPECT_GE(coded * 10, namedPois * 9) << coded << " of " << namedPois;
        EXPECT_GE(sightObjects, sights);
        EXPECT_GE(placeObjects, places);
        EXPECT_GE(phoneObjects * 10, phones * 9); // the listed count holds unnamed objects too
        // Every listed pair of road names is a crossroad; names are taken
        // from name:zh where there is one, so a few pairs may differ.
        EXPECT_GE(found.size() * 100, pairs * 95) << found.size() << " of " << pairs;
        EXPECT_LE(found.size() * 100, pairs * 105 + 100) << found.size() << " of " << pairs;

        paths.push_back(path);
        taken += poiObjects + found.size();
        all += objects.size();
    }
    // Every extract in one build (one county holds them all).
    std::string report;
    DataCompiler::Summary s;
    ASSERT_TRUE(Build(src, dir.Path("out"), paths, report, &s)) << report;
    EXPECT_LE(s.Rejected() * 100, all) << report; // names GBK cannot hold
    EXPECT_GE((s.pois + s.crossroads) * 10, taken * 9);
    EXPECT_GT(files, 0);
}

// The sample's rows lie inside the polygons of the counties they name, all
// but four (a row of Haidian lying in Fengtai, as the district search says
// too): the locator must find the named county from the coordinate alone.
TEST(CountyLocator, FindsTheCountyOfEverySampleRow)
{
    std::ifstream geo(kSample + "/districts.geojson");
    std::stringstream text;
    text << geo.rdbuf();
    Gazetteer gazetteer;
    std::string error;
    ASSERT_TRUE(gazetteer.Parse(text.str(), error)) << error;
    const CountyLocator locator(gazetteer);
    std::size_t rows = 0, wrong = 0;
    for (const char* file : {"pois.csv", "sights.csv", "placenames.csv"}) {
        std::ifstream csv(kSample + "/" + file);
        std::string line;
        std::getline(csv, line);
        while (std::getline(csv, line)) {
            std::vector<std::string> f;
            std::istringstream fields(line);
            for (std::string field; std::getline(fields, field, ',');)
                f.push_back(field);
            if (f.size() != 8) // a quoted name with a comma: not needed here
                continue;
            ++rows;
            const int county = gazetteer.FindCounty(f[5], f[6], f[7]);
            wrong += locator.Locate(std::stod(f[1]), std::stod(f[2])) != county;
        }
    }
    EXPECT_GT(rows, 50000u);
    EXPECT_LE(wrong, 4u);
    EXPECT_EQ(locator.Locate(0.5, 0.5), -1);
    EXPECT_EQ(locator.Locate(121.4903, 39.9), -1); // inside the box of all counties, in none
}

} // namespace
