#include "Compiler/DataCompiler.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <set>

#include "Compiler/Manifest.h"
#include "POIEngine/eNdfIndexDistrict.h"
#include "POIEngine/ePOIEngineManager.h"
#include "Support/CompiledSample.h"
#include "Support/DictFiles.h"
#include "Support/IndexOpen.h"
#include "Support/SourceBuild.h"

using Kest::DataCompiler;
using namespace KestTest;
namespace fs = std::filesystem;

namespace {

const char kDistricts[] = R"({"type":"FeatureCollection","features":[
{"type":"Feature","properties":{"province":"北京市","city":"北京市","county":"东城区"},"geometry":{"type":"Polygon","coordinates":[[[116.3,39.8],[116.5,39.8],[116.5,40.0],[116.3,39.8]]]}},
{"type":"Feature","properties":{"province":"北京市","city":"市辖区","county":"西城区"},"geometry":{"type":"Polygon","coordinates":[[[116.3,39.8],[116.5,39.8],[116.5,40.0]]]}},
{"type":"Feature","properties":{"province":"河北省","city":"石家庄市","county":"长安区"},"geometry":{"type":"Polygon","coordinates":[[[114,38],[115,38],[115,39]]]}},
{"type":"Feature","properties":{"province":"河北省","city":"唐山市","county":"路北区"},"geometry":{"type":"Polygon","coordinates":[[[118,39],[119,39],[119,40]]]}},
{"type":"Feature","properties":{"province":"北京市","city":"北京市","county":"朝阳区"},"geometry":{"type":"MultiPolygon","coordinates":[[[[116.4,39.9],[116.6,39.9],[116.6,40.1]]]]}}]}
)";

// Every file below `dir`, by path relative to it, with its bytes.
std::map<std::string, std::vector<unsigned char>> Tree(const std::string& dir)
{
    std::map<std::string, std::vector<unsigned char>> files;
    std::error_code ec;
    for (const auto& entry : fs::recursive_directory_iterator(dir, ec))
        if (entry.is_regular_file())
            files[fs::relative(entry.path(), dir).string()] = TempDir::Read(entry.path().string());
    return files;
}

// Rows of pois.csv in 东城区 at one place, one per name.
std::string Pois(const std::vector<std::string>& names)
{
    std::string rows = kPoiHeader;
    for (const std::string& name : names)
        rows += name + ",116.41,39.91,2000,,北京市,北京市,东城区\n";
    return rows;
}

// A progress stream that raises the cancel flag once a phase starting with
// `phase` is announced, as Ctrl-C at that moment would.
struct CancelAt : std::streambuf {
    CancelAt(std::string at, volatile std::sig_atomic_t& raise) : phase(std::move(at)), flag(raise) {}
    int overflow(int c) override
    {
        text += static_cast<char>(c);
        flag = flag || text.find("] " + phase) != std::string::npos;
        return c;
    }
    std::string phase, text;
    volatile std::sig_atomic_t& flag;
};

class DataCompilerTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        WriteFiles(m_src, {{"districts.geojson", kDistricts},
                           {"categories.txt", "餐饮服务\n\t中餐厅\t2000\n\t快餐厅\t2005\n购物服务\n\t商场\t3000\n"},
                           {"pois.csv", std::string(kPoiHeader) +
                                            "王府井百货,116.41,39.91,3000,0101,北京市,北京市,东城区\n"
                                            "全聚德,116.40,39.90,2000,0102,北京市,北京市,东城区\n"
                                            "东来顺,116.39,39.92,2000,,北京市,北京市,东城区\n"
                                            "长安商场,114.5,38.0,3000,,河北省,石家庄市,长安区\n"
                                            "朝阳快餐,116.45,39.92,2005,,北京市,北京市,朝阳区\n"
                                            "西单商场,116.37,39.91,3000,,北京市,市辖区,西城区\n"
                                            "坏坐标,200,39,2000,,北京市,北京市,东城区\n"
                                            "唐山饭店,118.18,39.63,2000,,河北省,唐山市,路北区\n"
                                            "某店,116,39,2000,,北京市,北京市,海淀区\n"},
                           {"sights.csv", std::string(kPoiHeader) +
                                              "故宫,116.39,39.91,3000,,北京市,北京市,东城区\n"
                                              "某景点,116.39,39.91,9999,,北京市,北京市,东城区\n"},
                           {"placenames.csv", kPoiHeader},
                           {"crossroads.csv", "name,lon,lat,province,city,county\n东单路口,116.42,39.91,北京市,北京市,东城区\n"},
                           {"words.txt", "百货 100\n商场 50\n坏行\n"}});
    }

    void Write(const std::string& name, const std::string& text) { WriteFiles(m_src, {{name, text}}); }

    bool Build(const std::string& out, bool strict = false, const volatile std::sig_atomic_t* cancel = nullptr,
               std::ostream* progress = nullptr)
    {
        m_build = Compile(DataCompiler::Options{m_src, out, strict, progress, cancel, {}});
        return m_build.ok;
    }

    // Only OUT itself may be left next to OUT: no staging directory.
    void ExpectNoLeftovers()
    {
        for (const auto& entry : fs::directory_iterator(m_dir.Path("")))
            EXPECT_EQ(std::string::npos, entry.path().filename().string().find(".build-")) << entry.path();
    }

    TempDir m_dir;
    const std::string m_src = m_dir.Path("src"), m_out = m_dir.Path("out");
    BuildResult m_build;
};

} // namespace

TEST_F(DataCompilerTest, CompilesTheRowsAndReportsTheRejectedOnes)
{
    ASSERT_TRUE(Build(m_out)) << m_build.error;
    const std::string src = m_src + "/";
    EXPECT_EQ(src + "pois.csv:8: longitude 200 is out of range 0 to 180\n" + src +
                  "pois.csv:10: unknown county '北京市,北京市,海淀区' (not in districts.geojson)\n" + src +
                  "sights.csv:3: unknown category 9999 (not in categories.txt)\n" + src +
                  "words.txt:3: expected 'word frequency'\n",
              m_build.report);
    const DataCompiler::Summary& s = m_build.summary;
    EXPECT_EQ((std::vector<std::size_t>{4, 2, 3, 5, 3, 7, 1, 7}),
              (std::vector<std::size_t>{s.Rejected(), s.dataSets, s.cities, s.counties, s.categories, s.pois,
                                        s.crossroads, s.indexedPois}));

    // The manifest lists every other file with its size and checksum; a
    // file that grew is named with both sizes.
    const auto tree = Tree(m_out);
    Kest::Manifest manifest;
    std::string error;
    ASSERT_TRUE(manifest.Load(m_out, error)) << error;
    ASSERT_EQ(29u, tree.size());
    ASSERT_EQ(tree.size() - 1, manifest.Entries().size());
    for (const auto& entry : manifest.Entries())
        EXPECT_TRUE(tree.count(entry.path) && manifest.Verify(m_out, entry.path, error)) << error;
    std::ofstream(m_out + "/POI/datasets.txt", std::ios::app | std::ios::binary) << "x";
    EXPECT_FALSE(manifest.Verify(m_out, "POI/datasets.txt", error));
    EXPECT_NE(std::string::npos, error.find("bytes, the manifest says")) << error;
    const std::vector<unsigned char>& sets = tree.at("POI/datasets.txt");
    EXPECT_EQ("10\t北京市\n11\t河北省\n", std::string(sets.begin(), sets.end()));

    // The dictionary holds words.txt and the data's own names.
    ASSERT_TRUE(Dict().Load((m_out + "/POI/CoreDict.dct").c_str(), false));
    for (const char* word : {"百货", "商场", "东城区", "石家庄市", "快餐厅", "餐饮服务"})
        EXPECT_TRUE(Has(G(word))) << word;
    EXPECT_EQ(100, Freq(G("百货")));
    Dict().UnLoad();

    // A West City POI: its "市辖区" city is Beijing; no data set 12.
    Kest::ePOIEngineManager engine;
    engine.SetPoiPath(m_out.c_str());
    char* next = nullptr;
    int nextCount = 0;
    ASSERT_TRUE(engine.QueryByInitial(3, 10, G("北京市").c_str(), G("北京市").c_str(), "XDSC", next, nextCount));
    EXPECT_EQ(HitNames(engine), std::vector<std::string>{"西单商场"});
    Kest::ePoiInfo info{};
    ASSERT_TRUE(engine.GetPOIInfo(0, 0, info));
    EXPECT_EQ(G("北京市西城区"), info.szAddress);
    EXPECT_EQ(3000u, static_cast<unsigned>(info.nCode));
    EXPECT_NEAR(116.37, info.dX, 1e-4);
    EXPECT_FALSE(engine.QueryByInitial(3, 12, "*", "*", "TSFD", next, nextCount));
    ExpectNoLeftovers();
}

// The same sources give the same bytes; a rebuild replaces the output
// whole, and a failed one leaves it as it was.
TEST_F(DataCompilerTest, RebuildsReplaceTheOutputAndFailuresLeaveItAsItWas)
{
    ASSERT_TRUE(Build(m_dir.Path("other"))) << m_build.error;
    ASSERT_TRUE(Build(m_out)) << m_build.error;
    const auto before = Tree(m_out);
    EXPECT_EQ(before, Tree(m_dir.Path("other")));
    TempDir::Write(m_out + "/POI/stray.ndf", {1, 2, 3});
    ASSERT_TRUE(Build(m_out)) << m_build.error;
    EXPECT_EQ(before, Tree(m_out));
    const std::string src = m_src + "/";

    // --strict: any rejected row fails the build, after every row was reported.
    EXPECT_FALSE(Build(m_out, true));
    EXPECT_EQ("4 rows rejected; --strict makes that a failed build", m_build.error);
    EXPECT_NE(std::string::npos, m_build.report.find("words.txt:3: expected 'word frequency'"));
    EXPECT_EQ(before, Tree(m_out));

    // Interrupted while writing, once the build directory holds files.
    for (const char* phase : {"writing AdminIndex.ndf", "installing"}) {
        volatile std::sig_atomic_t cancel = 0;
        CancelAt progress(phase, cancel);
        std::ostream progressStream(&progress);
        EXPECT_FALSE(Build(m_out, false, &cancel, &progressStream)) << phase;
        EXPECT_EQ("interrupted", m_build.error);
        EXPECT_EQ(before, Tree(m_out));
    }

    // Source files that cannot be read as a whole, or are missing (all named).
    Write("categories.txt", "餐饮服务\n\t中餐厅\t2000\n\t快餐厅\t2000\n");
    EXPECT_FALSE(Build(m_out));
    EXPECT_EQ(src + "categories.txt:3: code 2000 is already used on line 2", m_build.error);
    Write("districts.geojson", R"({"features":[{"properties":{"province":"北京市","city":"北京市","county":"😀区"},)"
                               R"("geometry":{"type":"Polygon","coordinates":[[[1,1],[2,1],[2,2]]]}}]})");
    EXPECT_FALSE(Build(m_out));
    EXPECT_EQ(src + "districts.geojson: county '😀区': U+1F600 '😀' at byte 1 (character 1) cannot be encoded in GBK",
              m_build.error);
    fs::remove(src + "words.txt");
    fs::remove(src + "sights.csv");
    EXPECT_FALSE(Build(m_out));
    EXPECT_EQ("missing source files: " + src + "sights.csv, " + src + "words.txt", m_build.error);
    EXPECT_EQ(before, Tree(m_out));
    ExpectNoLeftovers();
}

// A chain store: more POIs share one name's initials than the first batch
// holds. Every hit the count announces must still be readable by paging,
// and the next letters stay the true ones.
TEST_F(DataCompilerTest, EveryHitOfAChainStoreCanBeRead)
{
    std::string rows = kPoiHeader;
    for (int i = 0; i < 150; ++i)
        rows += "天府广场店," + std::to_string(116.3 + i * 0.001) + ",39.9,2000,,北京市,北京市,东城区\n";
    Write("pois.csv", rows + "天府广场店北门,116.4,39.9,2000,,北京市,北京市,东城区\n");
    ASSERT_TRUE(Build(m_out)) << m_build.error;

    Kest::ePOIEngineManager engine;
    engine.SetPoiPath(m_out.c_str());
    for (const auto& [typed, letters] : {std::pair<const char*, const char*>{"TFGCD", "b"}, {"TFG", "c"}}) {
        SCOPED_TRACE(typed);
        char* next = nullptr;
        int nextCount = 0;
        ASSERT_TRUE(engine.QueryByInitial(3, 10, "*", "*", typed, next, nextCount));
        EXPECT_EQ(letters, std::string(next, static_cast<std::size_t>(nextCount)));
        ASSERT_EQ(151, engine.GetPOICount(0));
        std::set<double> places;
        for (int i = 0; i < 151; ++i) {
            Kest::ePoiInfo info{};
            ASSERT_TRUE(engine.GetPOIInfo(0, i, info)) << "hit " << i;
            places.insert(info.dX);
        }
        EXPECT_EQ(150u, places.size()) << "each store once (the north gate shares a place)";
    }
}

// What people type finds the names that hold it, however the dictionary
// would cut the name: every dictionary word and every single character is
// indexed at every position, letters and digits have keys of their own. A
// name whose first character has no reading is found so, but left out of
// the initial index; a data set without POIs still has one.
TEST_F(DataCompilerTest, FullTextFindsTheTypedTextAnywhereInTheName)
{
    Write("pois.csv", Pois({"王府井火锅店", "KFC王府井店", "ｋｆｃ甜品站", "KFD车行", "7-11便利店", "ABCDE汽修",
                            "火锅火锅城", "万泉新新家园", "乥东村饭店"}));
    Write("words.txt", "火锅店 90\n火锅 80\n王府井 70\n");
    ASSERT_TRUE(Build(m_out)) << m_build.error;
    EXPECT_EQ(1u, m_build.summary.unindexedPois);
    EXPECT_TRUE(fs::exists(m_out + "/POI/111.ndf"));

    Kest::ePOIEngineManager engine;
    engine.SetPoiPath(m_out.c_str());
    const struct {
        const char* typed;
        std::multiset<std::string> names;
    } cases[] = {
        {"火锅", {"王府井火锅店", "火锅火锅城", "火锅火锅城"}}, // a name holding the word twice comes twice
        {"锅店", {"王府井火锅店"}},                            // across two words of the name's own cut
        {"kfc", {"KFC王府井店", "ｋｆｃ甜品站"}},              // a word of its own, in any width and case
        {"KFC王府井", {"KFC王府井店"}},                        // cut letter by letter before hanzi
        {"BCD", {"ABCDE汽修"}},                                // inside a longer run, letter by letter
        {"711", {"7-11便利店"}},                               // the hyphen cannot be typed
        {"KF", {"KFC王府井店", "ｋｆｃ甜品站", "KFD车行"}},
        {"泉新新家", {"万泉新新家园"}}, // a phrase across a repeated character
        {"东村", {"乥东村饭店"}},
    };
    for (const auto& c : cases) {
        ASSERT_TRUE(engine.QueryByFullText(3, 10, "*", "*", G(c.typed).c_str())) << c.typed;
        const std::vector<std::string> names = HitNames(engine);
        EXPECT_EQ(c.names, std::multiset<std::string>(names.begin(), names.end())) << c.typed;
    }
}

// Phone fields (PhoneNumbersTest splits them, the telephone differential
// searches them): a number that is not digits, or too long, is reported and
// left out while its row stays; the telephone reader outlives other searches.
TEST_F(DataCompilerTest, PhonesAreNormalisedAndTheBadOnesReported)
{
    Write("pois.csv", std::string(kPoiHeader) +
                          "甲店,116.41,39.91,3000,010-6512 3456;(010)65123456,北京市,北京市,东城区\n"
                          "乙店,116.40,39.90,2000,+86 138 0013 8000/0086-10-1234,北京市,北京市,东城区\n"
                          "丙店,116.39,39.92,2000,\"12a4, 138\",北京市,北京市,东城区\n"
                          "丁店,116.39,39.92,2000,123456789012345678901,北京市,北京市,东城区\n");
    Write("sights.csv", kPoiHeader);
    Write("words.txt", "百货 100\n");
    ASSERT_TRUE(Build(m_out)) << m_build.error;
    EXPECT_NE(std::string::npos, m_build.report.find(m_src + "/pois.csv:4: phone '12a4' is not all digits\n"));
    EXPECT_NE(std::string::npos,
              m_build.report.find(m_src + "/pois.csv:5: phone '123456789012345678901' has 21 digits, more than 20\n"));
    EXPECT_EQ((std::vector<std::size_t>{2, 4, 4}),
              (std::vector<std::size_t>{m_build.summary.rejectedPhones, m_build.summary.telNumbers,
                                        m_build.summary.pois})) << "a rejected phone keeps its row";

    // The telephone reader outlives ReleaseQueryMem and the searches of
    // other kinds that re-point the pool in between.
    Kest::ePOIEngineManager engine;
    engine.SetPoiPath(m_out.c_str());
    char* next = nullptr;
    int count = 0;
    for (int round = 0; round < 2; ++round) {
        EXPECT_TRUE(engine.QueryByInitial(3, 10, "*", "*", "J", next, count));
        EXPECT_TRUE(engine.QueryByFullText(3, 10, "*", "*", G("店").c_str()));
        EXPECT_TRUE(engine.QueryByTelephone("13", next, count));
        EXPECT_EQ(std::string(next, static_cast<std::size_t>(count)), "8");
        EXPECT_EQ(2, engine.GetPOICount(0));
        engine.ReleaseQueryMem();
    }
    EXPECT_FALSE(Build(m_dir.Path("strict"), true));
    EXPECT_EQ("2 phones rejected; --strict makes that a failed build", m_build.error);
}

// A county in a hole of another, listed after it, and a lake (a hole no
// county fills): the lookup answers as the polygons lie, holes included.
TEST_F(DataCompilerTest, DistrictLookupRespectsHolesAndEnclaves)
{
    Write("districts.geojson", R"({"type":"FeatureCollection","features":[
{"type":"Feature","properties":{"province":"北京市","city":"北京市","county":"东城区"},"geometry":{"type":"Polygon","coordinates":[
  [[116,39],[117,39],[117,40],[116,40]],[[116.4,39.4],[116.6,39.4],[116.6,39.6],[116.4,39.6]],
  [[116.1,39.1],[116.2,39.1],[116.2,39.2],[116.1,39.2]]]}},
{"type":"Feature","properties":{"province":"北京市","city":"北京市","county":"西城区"},"geometry":{"type":"Polygon","coordinates":[[[116.4,39.4],[116.6,39.4],[116.6,39.6],[116.4,39.6]]]}}]}
)");
    ASSERT_TRUE(Build(m_out)) << m_build.error;
    Kest::eNdfPool pool;
    Kest::eNdfIndexDistrict index;
    OpenIndex(index, pool, m_out + "/POI/", 101);
    const struct {
        double x, y;
        unsigned int county; // 0: none
    } cases[] = {{116.5, 39.5, 2}, {116.3, 39.7, 1}, {116.9, 39.05, 1}, {116.15, 39.15, 0}, {117.5, 39.5, 0}};
    for (const auto& c : cases) {
        unsigned int got = 99;
        EXPECT_EQ(c.county != 0, index.Query(c.x, c.y, got) != 0) << c.x << "," << c.y;
        EXPECT_EQ(c.county, got) << c.x << "," << c.y;
    }
}
