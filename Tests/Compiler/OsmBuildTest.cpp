// OpenStreetMap input of the data compiler: a hand-written extract compiled
// and searched through the engine, the tables the reader is driven by, bad
// files, CSV rows placed by coordinate, and (when the folder of real
// extracts is there) every real extract against the counts listed with it.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Compiler/CountyLocator.h"
#include "Compiler/GbkCodec.h"
#include "Compiler/OsmCategories.h"
#include "Compiler/OsmCrossroads.h"
#include "Compiler/OsmReader.h"
#include "Compiler/SimplifiedChinese.h"
#include "POIEngine/ePOIEngineManager.h"
#include "Support/CompiledSample.h"
#include "Support/SourceBuild.h"

using namespace Kest;
using namespace KestTest;
namespace fs = std::filesystem;

namespace {

std::string G(const char* utf8) { return GbkCodec::Gbk(utf8); }
const std::string kFixture = std::string(KEST_TEST_DATA) + "/osm/junction.osm";
const char kWords[] = "中关村 100\n大街 50\n公园 80\n博物馆 20\n";

// The first hit of the last search.
ePoiInfo First(ePOIEngineManager& engine)
{
    ePoiInfo info{};
    EXPECT_TRUE(engine.GetPOIInfo(0, 0, info));
    return info;
}

// The extract, with CSV rows beside it: those without an area take the
// county their coordinate lies in.
TEST(OsmBuild, HandWrittenExtractIsFoundByEverySearch)
{
    TempDir dir;
    const std::string out = dir.Path("out");
    const std::string pois = std::string(kPoiHeader) + "甲店,116.31,39.99,2000,,,,\n" // Haidian
                             "乙店,116.31,39.99,2000,,北京市,北京市,东城区\n"           // keeps its columns
                             "丙店,10.0,10.0,2000,,,,\n"                                // outside every county
                             "丁店,116.31,39.99,2000,,,,朝阳区\n";                     // partly empty: unknown
    const BuildResult build =
        Compile({SampleSource(dir.Path("src"), {{"words.txt", kWords}, {"pois.csv", pois}}), out, false, nullptr,
                 nullptr, {kFixture}});
    ASSERT_TRUE(build.ok) << build.error;
    EXPECT_EQ(build.summary.crossroads, 1u);
    // The name GBK cannot hold and the object outside every county are
    // reported, each naming the file and the object; so are the CSV rows.
    for (const std::string& line : {kFixture + ": node 3: name ", std::string("(the first: node 7)"),
                                    std::string("pois.csv:4: no county"), std::string("pois.csv:5: unknown county")})
        EXPECT_NE(build.report.find(line), std::string::npos) << build.report;

    ePOIEngineManager engine;
    engine.SetPoiPath(out.c_str());
    char* next = nullptr;
    int count = 0;
    const struct {
        int kind; // full text, telephone, sight text, place-name text, crossroad text
        const char* typed;
        const char* name; // every hit has it
        double x, y;      // of the first hit; 0: not checked
        const char* area; // in its address; nullptr: not checked
    } cases[] = {
        {0, "全聚德", "全聚德", 116.31, 39.99, "海淀区"},
        {0, "甲店", "甲店", 0, 0, "海淀区"},
        {0, "乙店", "乙店", 0, 0, "东城区"},
        {1, "01062751234", "全聚德", 0, 0, nullptr}, // both numbers of one phone tag, "+86 10" with the trunk 0
        {1, "01062751235", "全聚德", 0, 0, nullptr},
        {2, "博物馆", "海淀区博物馆", 0, 0, nullptr},       // name:zh-Hans first
        {2, "公园", "紫竹院公园", 116.315, 39.945, nullptr}, // a closed way at the mean of its ring
        {3, "五道口", "五道口", 0, 0, nullptr},
        // The two junction nodes of the dual carriageway make one crossroad,
        // between them (under both orders of the roads); the unnamed service
        // road and the road meeting its own name make none.
        {4, "成府路", "中关村大街与成府路交叉口", 116.330175, 39.98, nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.typed);
        const std::string typed = c.kind == 1 ? c.typed : G(c.typed);
        ASSERT_TRUE(c.kind == 0   ? engine.QueryByFullText(3, 10, "*", "*", typed.c_str())
                    : c.kind == 1 ? engine.QueryByTelephone(typed.c_str(), next, count)
                    : c.kind == 2 ? engine.QuerySightByText(typed.c_str())
                    : c.kind == 3 ? engine.QueryPlaceNameByText(typed.c_str())
                                  : engine.QueryCrossRoadByText(3, 10, "*", "*", typed.c_str()));
        const std::vector<std::string> names = HitNames(engine);
        ASSERT_EQ(std::set<std::string>(names.begin(), names.end()), std::set<std::string>{c.name});
        const ePoiInfo first = First(engine);
        if (c.x != 0) {
            EXPECT_NEAR(first.dX, c.x, 1e-5);
            EXPECT_NEAR(first.dY, c.y, 1e-5);
        }
        if (c.area != nullptr) {
            EXPECT_NE(GbkCodec::Utf8(first.szAddress).find(c.area), std::string::npos);
        }
    }
    ASSERT_TRUE(engine.QueryByFullText(3, 10, "*", "*", G("全聚德").c_str()));
    EXPECT_EQ(First(engine).nCode, 2000u);
    // Traditional written, Simplified stored (when OpenCC can convert).
    if (SimplifiedChinese().Available()) {
        ASSERT_TRUE(engine.QueryByFullText(3, 10, "*", "*", G("麦当劳").c_str()));
        EXPECT_EQ(HitNames(engine), std::vector<std::string>{"麦当劳"});
    }
}

TEST(OsmBuild, BadFilesFailTheBuildAndLeaveOutAlone)
{
    const std::pair<const char*, std::string> cases[] = {
        {"cut.osm.pbf", std::string("\0\0\0\x0d\x0a\x09OSMHeader", 13)},
        {"cut.osm", "<?xml version='1.0'?><osm version='0.6'><node id='1' lat='39.9'"},
        {"missing.osm", ""},
    };
    TempDir dir;
    const std::string src = SampleSource(dir.Path("src"), {{"words.txt", kWords}});
    const std::string out = dir.Path("out");
    WriteFiles(out, {{"keep", "old"}});
    for (const auto& [file, bytes] : cases) {
        const std::string path = dir.Path(file);
        if (!bytes.empty())
            WriteFiles(dir.Path(""), {{file, bytes}});
        const BuildResult build = Compile({src, out, false, nullptr, nullptr, {path}});
        EXPECT_FALSE(build.ok) << file;
        EXPECT_NE(build.error.find(std::string(file) + ": "), std::string::npos) << build.error;
        EXPECT_EQ(build.error.find('\n'), std::string::npos) << build.error;
        EXPECT_TRUE(fs::exists(out + "/keep")) << file;
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
    OsmCategories table;
    std::string line, error;
    ASSERT_TRUE(table.Parse(OsmCategories::BuiltIn(), error));
    const SimplifiedChinese simplified;
    std::getline(summary, line); // header
    std::vector<std::string> paths;
    std::size_t taken = 0, all = 0;
    while (std::getline(summary, line)) {
        std::vector<std::string> f;
        std::istringstream fields(line);
        for (std::string field; std::getline(fields, field, '\t');)
            f.push_back(field);
        ASSERT_GE(f.size(), 12u) << line;
        SCOPED_TRACE(f[0]);
        paths.push_back(folder + "/" + f[0]);
        std::vector<OsmObject> objects;
        OsmReader reader(table, &simplified);
        ASSERT_TRUE(reader.Read(paths.back(), objects, error)) << error;
        std::map<OsmObject::Kind, std::size_t> kinds;
        std::size_t coded = 0, phones = 0;
        std::set<std::string> pairs;
        for (const OsmObject& o : objects) {
            ++kinds[o.kind];
            coded += (o.kind == OsmObject::Kind::Poi || o.kind == OsmObject::Kind::Sight) && !o.wildcard;
            phones += !o.phone.empty();
            if (o.kind == OsmObject::Kind::Crossroad)
                pairs.insert(o.name);
        }
        // At least 90% of the named POIs get a code of their own kind; the
        // reader takes sights beyond the listed ones (historic=*, parks); the
        // listed phones count unnamed objects too.
        EXPECT_GE(coded * 10, std::stoul(f[4]) * 9) << coded;
        EXPECT_GE(phones * 10, std::stoul(f[5]) * 9);
        EXPECT_GE(kinds[OsmObject::Kind::Sight], std::stoul(f[7]));
        EXPECT_GE(kinds[OsmObject::Kind::Place], std::stoul(f[8]));
        // Every listed pair of road names is a crossroad; names are taken
        // from name:zh where there is one, so a few pairs may differ.
        EXPECT_GE(pairs.size() * 100, std::stoul(f[11]) * 95) << pairs.size();
        EXPECT_LE(pairs.size() * 100, std::stoul(f[11]) * 105 + 100) << pairs.size();
        taken += kinds[OsmObject::Kind::Poi] + pairs.size();
        all += objects.size();
    }
    ASSERT_FALSE(paths.empty());
    // Every extract in one build, in one county that holds them all.
    TempDir dir;
    const BuildResult build = Compile(
        {SampleSource(dir.Path("src"),
                     {{"words.txt", kWords},
                      {"districts.geojson",
                       R"({"type":"FeatureCollection","features":[{"type":"Feature","properties":)"
                       R"({"province":"测试省","city":"测试市","county":"测试区"},"geometry":{"type":"Polygon",)"
                       R"("coordinates":[[[70,0],[140,0],[140,60],[70,60],[70,0]]]}}]})"}}),
         dir.Path("out"), false, nullptr, nullptr, paths});
    ASSERT_TRUE(build.ok) << build.error;
    EXPECT_LE(build.summary.Rejected() * 100, all) << build.report; // names GBK cannot hold
    EXPECT_GE((build.summary.pois + build.summary.crossroads) * 10, taken * 9);
}

// The sample's rows lie inside the polygons of the counties they name, all
// but four (a row of Haidian lying in Fengtai, as the district search says
// too): the locator must find the named county from the coordinate alone.
TEST(CountyLocator, FindsTheCountyOfEverySampleRow)
{
    const std::vector<unsigned char> geo = TempDir::Read(kSampleSource + "/districts.geojson");
    Gazetteer gazetteer;
    std::string error;
    ASSERT_TRUE(gazetteer.Parse(std::string(geo.begin(), geo.end()), error)) << error;
    const CountyLocator locator(gazetteer);
    std::size_t rows = 0, wrong = 0;
    for (const char* file : {"pois.csv", "sights.csv", "placenames.csv"}) {
        std::ifstream csv(kSampleSource + "/" + file);
        std::string line;
        std::getline(csv, line);
        while (std::getline(csv, line)) {
            const std::vector<std::string> f = CompiledSample::SplitCsv(line);
            wrong += locator.Locate(std::stod(f[1]), std::stod(f[2])) != gazetteer.FindCounty(f[5], f[6], f[7]);
            ++rows;
        }
    }
    EXPECT_GT(rows, 50000u);
    EXPECT_LE(wrong, 4u);
    EXPECT_EQ(locator.Locate(0.5, 0.5), -1);
    EXPECT_EQ(locator.Locate(121.4903, 39.9), -1); // inside the box of all counties, in none
}

} // namespace
