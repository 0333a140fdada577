#include "Compiler/DataCompiler.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "Compiler/GbkCodec.h"
#include "Compiler/Manifest.h"
#include "Ndf/eNdfPool.h"
#include "POIEngine/eDictionary.h"
#include "POIEngine/eNdfIndexDistrict.h"
#include "POIEngine/ePOIEngineManager.h"
#include "Support/CompiledSample.h"
#include "Support/TempDir.h"

using Kest::DataCompiler;
using Kest::GbkCodec;
using KestTest::HitNames;
using KestTest::TempDir;
namespace fs = std::filesystem;

namespace {

const char kDistricts[] = R"({"type":"FeatureCollection","features":[
{"type":"Feature","properties":{"province":"北京市","city":"北京市","county":"东城区"},"geometry":{"type":"Polygon","coordinates":[[[116.3,39.8],[116.5,39.8],[116.5,40.0],[116.3,39.8]]]}},
{"type":"Feature","properties":{"province":"北京市","city":"市辖区","county":"西城区"},"geometry":{"type":"Polygon","coordinates":[[[116.3,39.8],[116.5,39.8],[116.5,40.0]]]}},
{"type":"Feature","properties":{"province":"河北省","city":"石家庄市","county":"长安区"},"geometry":{"type":"Polygon","coordinates":[[[114,38],[115,38],[115,39]]]}},
{"type":"Feature","properties":{"province":"河北省","city":"唐山市","county":"路北区"},"geometry":{"type":"Polygon","coordinates":[[[118,39],[119,39],[119,40]]]}},
{"type":"Feature","properties":{"province":"北京市","city":"北京市","county":"朝阳区"},"geometry":{"type":"MultiPolygon","coordinates":[[[[116.4,39.9],[116.6,39.9],[116.6,40.1]]]]}}]}
)";

const char kPoiHeader[] = "name,lon,lat,category,phone,province,city,county\n";

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

std::string Text(const std::vector<unsigned char>& bytes) { return std::string(bytes.begin(), bytes.end()); }

// A progress stream that raises the cancel flag once a phase starting with
// `phase` is announced, as Ctrl-C at that moment would.
class CancelAt : public std::streambuf {
public:
    CancelAt(std::string phase, volatile std::sig_atomic_t& flag) : m_phase(std::move(phase)), m_flag(flag) {}

protected:
    int overflow(int c) override
    {
        m_text += static_cast<char>(c);
        if (m_text.find("] " + m_phase) != std::string::npos)
            m_flag = 1;
        return c;
    }

private:
    std::string m_phase, m_text;
    volatile std::sig_atomic_t& m_flag;
};

class DataCompilerTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        fs::create_directory(m_dir.Path("src"));
        Write("districts.geojson", kDistricts);
        Write("categories.txt", "餐饮服务\n\t中餐厅\t2000\n\t快餐厅\t2005\n购物服务\n\t商场\t3000\n");
        Write("pois.csv", std::string(kPoiHeader) +
                              "王府井百货,116.41,39.91,3000,0101,北京市,北京市,东城区\n"
                              "全聚德,116.40,39.90,2000,0102,北京市,北京市,东城区\n"
                              "东来顺,116.39,39.92,2000,,北京市,北京市,东城区\n"
                              "长安商场,114.5,38.0,3000,,河北省,石家庄市,长安区\n"
                              "朝阳快餐,116.45,39.92,2005,,北京市,北京市,朝阳区\n"
                              "西单商场,116.37,39.91,3000,,北京市,市辖区,西城区\n"
                              "坏坐标,200,39,2000,,北京市,北京市,东城区\n"
                              "唐山饭店,118.18,39.63,2000,,河北省,唐山市,路北区\n"
                              "某店,116,39,2000,,北京市,北京市,海淀区\n");
        Write("sights.csv", std::string(kPoiHeader) +
                                "故宫,116.39,39.91,3000,,北京市,北京市,东城区\n"
                                "某景点,116.39,39.91,9999,,北京市,北京市,东城区\n");
        Write("placenames.csv", kPoiHeader);
        Write("crossroads.csv", "name,lon,lat,province,city,county\n东单路口,116.42,39.91,北京市,北京市,东城区\n");
        Write("words.txt", "百货 100\n商场 50\n坏行\n");
    }

    void Write(const std::string& name, const std::string& text)
    {
        std::ofstream(m_dir.Path("src/" + name), std::ios::binary) << text;
    }

    bool Build(const std::string& out, bool strict = false, const volatile std::sig_atomic_t* cancel = nullptr,
               std::ostream* progress = nullptr)
    {
        DataCompiler::Options options;
        options.progress = progress;
        options.source = m_dir.Path("src");
        options.output = out;
        options.strict = strict;
        options.cancel = cancel;
        m_report.str("");
        DataCompiler compiler(options, m_report);
        const bool ok = compiler.Run();
        m_error = compiler.GetError();
        m_summary = compiler.GetSummary();
        return ok;
    }

    // Only OUT itself may be left next to OUT: no staging directory.
    void ExpectNoLeftovers()
    {
        for (const auto& entry : fs::directory_iterator(m_dir.Path("")))
            EXPECT_EQ(std::string::npos, entry.path().filename().string().find(".build-")) << entry.path();
    }

    TempDir m_dir;
    std::ostringstream m_report;
    std::string m_error;
    DataCompiler::Summary m_summary;
};

} // namespace

TEST_F(DataCompilerTest, CompilesTheRowsAndReportsTheRejectedOnes)
{
    const std::string out = m_dir.Path("out");
    ASSERT_TRUE(Build(out)) << m_error;
    const std::string src = m_dir.Path("src/");
    EXPECT_EQ(src + "pois.csv:8: longitude 200 is out of range 0 to 180\n" + src +
                  "pois.csv:10: unknown county '北京市,北京市,海淀区' (not in districts.geojson)\n" + src +
                  "sights.csv:3: unknown category 9999 (not in categories.txt)\n" + src +
                  "words.txt:3: expected 'word frequency'\n",
              m_report.str());
    ASSERT_EQ(5u, m_summary.files.size());
    const std::size_t counts[5][3] = {{9, 7, 2}, {2, 1, 1}, {0, 0, 0}, {1, 1, 0}, {3, 2, 1}};
    for (std::size_t i = 0; i < 5; ++i) {
        const auto& c = m_summary.files[i].counts;
        EXPECT_EQ((std::vector<std::size_t>{c.rows, c.accepted, c.rejected}),
                  std::vector<std::size_t>(counts[i], counts[i] + 3)) << m_summary.files[i].file;
    }
    EXPECT_EQ((std::vector<std::size_t>{4, 2, 3, 5, 3, 7, 1, 0, 7}),
              (std::vector<std::size_t>{m_summary.Rejected(), m_summary.dataSets, m_summary.cities,
                                        m_summary.counties, m_summary.categories, m_summary.pois,
                                        m_summary.crossroads, m_summary.crossroadsSplit, m_summary.indexedPois}));

    const auto tree = Tree(out);
    std::vector<std::string> files;
    for (const auto& f : tree)
        files.push_back(f.first);
    ASSERT_EQ(29u, files.size());
    EXPECT_EQ("POI/manifest.txt", files.back());
    // The manifest lists every other file with its size and checksum.
    Kest::Manifest manifest;
    std::string error;
    ASSERT_TRUE(manifest.Load(out, error)) << error;
    ASSERT_EQ(files.size() - 1, manifest.Entries().size());
    for (std::size_t i = 0; i + 1 < files.size(); ++i) {
        EXPECT_EQ(files[i], manifest.Entries()[i].path);
        EXPECT_TRUE(manifest.Verify(out, files[i], error)) << error;
    }
    // A file that grew is named with both sizes, not only as failing its checksum.
    std::ofstream(out + "/POI/datasets.txt", std::ios::app | std::ios::binary) << "x";
    EXPECT_FALSE(manifest.Verify(out, "POI/datasets.txt", error));
    EXPECT_NE(std::string::npos, error.find("bytes, the manifest says")) << error;
    EXPECT_EQ("10\t北京市\n11\t河北省\n", Text(tree.at("POI/datasets.txt")));
    EXPECT_EQ(GbkCodec::Gbk("餐饮服务\n\t中餐厅\t2000\n\t快餐厅\t2005\n购物服务\n\t商场\t3000\n"),
              Text(tree.at("POI/Around/POI_SORT.txt")));

    // The dictionary holds words.txt and the data's own names.
    Kest::eDictionary& dict = Kest::eDictionary::GetInstance();
    ASSERT_TRUE(dict.Load((out + "/POI/CoreDict.dct").c_str(), false));
    for (const char* word : {"百货", "商场", "东城区", "石家庄市", "快餐厅", "餐饮服务"}) {
        std::string gbk = GbkCodec::Gbk(word);
        EXPECT_TRUE(dict.IsGetWord(gbk.data())) << word;
    }
    std::string gbk = GbkCodec::Gbk("百货");
    EXPECT_EQ(100, dict.GetFreq(gbk.data()));
    dict.UnLoad();

    // A West City POI: its "市辖区" city is Beijing; no data set 12.
    Kest::ePOIEngineManager engine;
    engine.SetPoiPath(out.c_str());
    char* next = nullptr;
    int nextCount = 0;
    const std::string bj = GbkCodec::Gbk("北京市");
    ASSERT_TRUE(engine.QueryByInitial(3, 10, bj.c_str(), bj.c_str(), "XDSC", next, nextCount));
    EXPECT_EQ(HitNames(engine), std::vector<std::string>{"西单商场"});
    Kest::ePoiInfo info{};
    ASSERT_TRUE(engine.GetPOIInfo(0, 0, info));
    EXPECT_EQ(GbkCodec::Gbk("北京市西城区"), info.szAddress);
    EXPECT_EQ(3000u, static_cast<unsigned>(info.nCode));
    EXPECT_NEAR(116.37, info.dX, 1e-4);
    EXPECT_FALSE(engine.QueryByInitial(3, 12, "*", "*", "TSFD", next, nextCount));
    ExpectNoLeftovers();
}

TEST_F(DataCompilerTest, SameSourcesGiveTheSameBytes)
{
    ASSERT_TRUE(Build(m_dir.Path("a"))) << m_error;
    ASSERT_TRUE(Build(m_dir.Path("b"))) << m_error;
    const auto first = Tree(m_dir.Path("a"));
    EXPECT_EQ(first, Tree(m_dir.Path("b")));
    // Rebuilding over an earlier output replaces it whole: a stray file of
    // the old output does not survive.
    TempDir::Write(m_dir.Path("a/POI/stray.ndf"), {1, 2, 3});
    ASSERT_TRUE(Build(m_dir.Path("a"))) << m_error;
    EXPECT_EQ(first, Tree(m_dir.Path("a")));
    ExpectNoLeftovers();
}

TEST_F(DataCompilerTest, AFailedBuildLeavesTheOutputAsItWas)
{
    const std::string out = m_dir.Path("out");
    ASSERT_TRUE(Build(out)) << m_error;
    const auto before = Tree(out);
    const std::string src = m_dir.Path("src/");

    // --strict: any rejected row fails the build, after every row was reported.
    EXPECT_FALSE(Build(out, true));
    EXPECT_EQ("4 rows rejected; --strict makes that a failed build", m_error);
    EXPECT_NE(std::string::npos, m_report.str().find("words.txt:3: expected 'word frequency'"));
    EXPECT_EQ(before, Tree(out));

    // Interrupted while writing, once the build directory holds files.
    for (const char* phase : {"writing AdminIndex.ndf", "installing"}) {
        volatile std::sig_atomic_t cancel = 0;
        CancelAt progress(phase, cancel);
        std::ostream progressStream(&progress);
        EXPECT_FALSE(Build(out, false, &cancel, &progressStream)) << phase;
        EXPECT_EQ("interrupted", m_error);
        EXPECT_EQ(before, Tree(out));
    }

    // Source files that cannot be read as a whole, or are missing (all named).
    Write("categories.txt", "餐饮服务\n\t中餐厅\t2000\n\t快餐厅\t2000\n");
    EXPECT_FALSE(Build(out));
    EXPECT_EQ(src + "categories.txt:3: code 2000 is already used on line 2", m_error);
    Write("districts.geojson", R"({"features":[{"properties":{"province":"北京市","city":"北京市","county":"😀区"},)"
                               R"("geometry":{"type":"Polygon","coordinates":[[[1,1],[2,1],[2,2]]]}}]})");
    EXPECT_FALSE(Build(out));
    EXPECT_EQ(src + "districts.geojson: county '😀区': U+1F600 '😀' at byte 1 (character 1) cannot be encoded in GBK",
              m_error);
    fs::remove(m_dir.Path("src/words.txt"));
    fs::remove(m_dir.Path("src/sights.csv"));
    EXPECT_FALSE(Build(out));
    EXPECT_EQ("missing source files: " + src + "sights.csv, " + src + "words.txt", m_error);
    EXPECT_EQ(before, Tree(out));
    ExpectNoLeftovers();
}

// A first character without any reading leaves the POI out of the initial
// index; a data set without POIs still has one.
TEST_F(DataCompilerTest, ANameWithoutAReadingIsNotIndexedByInitials)
{
    Write("pois.csv", std::string(kPoiHeader) + "乥东村饭店,116.4,39.9,2000,,北京市,北京市,东城区\n");
    ASSERT_TRUE(Build(m_dir.Path("other"))) << m_error;
    EXPECT_EQ(0u, m_summary.indexedPois);
    EXPECT_EQ(1u, m_summary.unindexedPois);
    EXPECT_TRUE(fs::exists(m_dir.Path("other/POI/111.ndf")));
}

// A chain store: more POIs share one name's initials than the first batch
// holds. Every hit the count announces must still be readable by paging,
// and the next letters stay the true ones.
TEST_F(DataCompilerTest, EveryHitOfAChainStoreCanBeRead)
{
    std::string rows = kPoiHeader;
    for (int i = 0; i < 150; ++i)
        rows += "天府广场店," + std::to_string(116.3 + i * 0.001) + ",39.9,2000,,北京市,北京市,东城区\n";
    rows += "天府广场店北门,116.4,39.9,2000,,北京市,北京市,东城区\n";
    Write("pois.csv", rows);
    const std::string out = m_dir.Path("out");
    ASSERT_TRUE(Build(out)) << m_error;

    Kest::ePOIEngineManager engine;
    engine.SetPoiPath(out.c_str());
    for (const char* typed : {"TFGCD", "TFG"}) {
        SCOPED_TRACE(typed);
        char* next = nullptr;
        int nextCount = 0;
        ASSERT_TRUE(engine.QueryByInitial(3, 10, "*", "*", typed, next, nextCount));
        EXPECT_EQ(std::string(typed) == "TFGCD" ? "b" : "c", std::string(next, static_cast<std::size_t>(nextCount)));
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
// indexed at every position, letters and digits have keys of their own.
TEST_F(DataCompilerTest, FullTextFindsTheTypedTextAnywhereInTheName)
{
    std::string pois = kPoiHeader;
    for (const char* name : {"王府井火锅店", "KFC王府井店", "ｋｆｃ甜品站", "KFD车行", "7-11便利店", "ABCDE汽修", "火锅火锅城",
                             "万泉新新家园"})
        pois += std::string(name) + ",116.41,39.91,2000,,北京市,北京市,东城区\n";
    Write("pois.csv", pois);
    Write("words.txt", "火锅店 90\n火锅 80\n王府井 70\n");
    const std::string out = m_dir.Path("out");
    ASSERT_TRUE(Build(out)) << m_error;

    Kest::ePOIEngineManager engine;
    engine.SetPoiPath(out.c_str());
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
    };
    for (const auto& c : cases) {
        const std::string typed = GbkCodec::Gbk(c.typed);
        ASSERT_TRUE(engine.QueryByFullText(3, 10, "*", "*", typed.c_str())) << c.typed;
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
    const std::string out = m_dir.Path("out");
    ASSERT_TRUE(Build(out)) << m_error;
    const std::string src = m_dir.Path("src/");
    EXPECT_NE(std::string::npos, m_report.str().find(src + "pois.csv:4: phone '12a4' is not all digits\n"));
    EXPECT_NE(std::string::npos,
              m_report.str().find(src + "pois.csv:5: phone '123456789012345678901' has 21 digits, more than 20\n"));
    EXPECT_EQ(2u, m_summary.rejectedPhones);
    EXPECT_EQ(4u, m_summary.telNumbers);
    EXPECT_EQ(4u, m_summary.pois) << "a rejected phone keeps its row";

    Kest::ePOIEngineManager engine;
    engine.SetPoiPath(out.c_str());
    char* next = nullptr;
    int count = 0;
    // The telephone reader outlives ReleaseQueryMem and the searches of
    // other kinds that re-point the pool in between.
    for (int round = 0; round < 2; ++round) {
        EXPECT_TRUE(engine.QueryByInitial(3, 10, "*", "*", "J", next, count));
        EXPECT_TRUE(engine.QueryByFullText(3, 10, "*", "*", "\xB5\xEA")); // 店
        EXPECT_TRUE(engine.QueryByTelephone("13", next, count));
        EXPECT_EQ(std::string(next, static_cast<std::size_t>(count)), "8");
        EXPECT_EQ(2, engine.GetPOICount(0));
        engine.ReleaseQueryMem();
    }
    EXPECT_FALSE(Build(m_dir.Path("strict"), true));
    EXPECT_EQ("2 phones rejected; --strict makes that a failed build", m_error);
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
    const std::string out = m_dir.Path("out");
    ASSERT_TRUE(Build(out)) << m_error;
    const std::string dir = out + "/POI/";
    const std::vector<unsigned char> header = TempDir::Read(dir + "101.ndf");
    ASSERT_GE(header.size(), 12u);
    Kest::ueglobal_addr_t root{};
    std::int32_t count = 0;
    std::memcpy(&root, header.data(), 8);
    std::memcpy(&count, header.data() + 8, 4);
    Kest::eNdfPool pool;
    pool.SetDataPath(dir.c_str());
    Kest::eNdfIndexDistrict index;
    index.SetGID(root);
    index.SetDepth(count);
    index.SetDataPath(dir.c_str());
    index.SetPool(&pool);
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
