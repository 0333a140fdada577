// The sight and place-name searches of the engine on the compiled sample:
// the cap on hit runs, the header read on every call, the text readers'
// keywords, the life of the readers across ReleaseQueryMem, and damaged
// files.

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "Compiler/GbkCodec.h"
#include "POIEngine/PinyinHelpers.h"
#include "POIEngine/eDictionary.h"
#include "POIEngine/eNdfIndexSightbyText.h"
#include "POIEngine/ePOIEngineManager.h"
#include "Support/CompiledSample.h"
#include "Support/IndexOpen.h"
#include "Support/SourceBuild.h"

using namespace Kest;
using namespace KestTest;
namespace fs = std::filesystem;

namespace {

std::vector<std::string> Names(ePOIEngineManager& engine) { return HitNames(engine, false); }

// The file each search reads: sights by initials, by text, place names by
// text, by initials.
const char* const kFiles[] = {"Sight/105.ndf", "Sight/106.ndf", "PlaceName/107.ndf", "PlaceName/108.ndf"};

// The search of kFiles[which]: "!" when it fails, else its next letters and
// the hits' names in one string.
std::string Search(ePOIEngineManager& engine, int which)
{
    char* next = nullptr;
    int count = 0;
    const bool ok = which == 0   ? engine.QuerySightByPY("G", next, count)
                    : which == 1 ? engine.QuerySightByText(GbkCodec::Gbk("公园").c_str())
                    : which == 2 ? engine.QueryPlaceNameByText(GbkCodec::Gbk("街道").c_str())
                                 : engine.QueryPlaceNameByPY("J", next, count);
    if (!ok)
        return "!";
    std::string out = next != nullptr ? std::string(next, static_cast<std::size_t>(count)) : "";
    for (const std::string& name : Names(engine))
        out += "|" + name;
    return out;
}

// A data directory holding only the given files of the compiled sample.
std::string PartialCopy(const TempDir& dir, const std::vector<std::string>& files)
{
    const std::string from = CompiledSample::Get().Root() + "/POI/", to = dir.Path("data");
    for (const std::string& file : files) {
        fs::create_directories(fs::path(to + "/POI/" + file).parent_path());
        fs::copy_file(from + file, to + "/POI/" + file, fs::copy_options::overwrite_existing);
    }
    return to;
}

TEST(SightSearch, TextKeywordsAreSearchedInTurnAndAFailureKeepsWhatCameBefore)
{
    eDictionary::GetInstance().UnLoad();
    eNdfPool pool;
    eNdfIndexSightbyText reader;
    OpenIndex(reader, pool, CompiledSample::Get().Root() + "/POI/Sight/", 106);
    // (ok, hits)
    auto query = [&](const std::vector<const char*>& texts) {
        std::vector<std::string> gbk;
        for (const char* text : texts)
            gbk.push_back(GbkCodec::Gbk(text));
        eArray<ueglobal_addr_t> addrs;
        eArray<unsigned int> scores;
        eArray<eString> names;
        const bool ok = reader.Query(KeyArray(gbk), addrs, scores, names) != 0;
        EXPECT_EQ(addrs.GetSize(), scores.GetSize());
        return std::make_pair(ok, addrs.GetSize());
    };
    const auto park = query({"公园"}), home = query({"故居"});
    ASSERT_TRUE(park.first && home.first);
    ASSERT_GT(park.second, 100);
    ASSERT_GT(home.second, 0);
    ASSERT_LT(home.second, 100);
    // A keyword is appended only while fewer than 100 hits are gathered.
    EXPECT_EQ(park.second, query({"公园", "故居"}).second);
    EXPECT_EQ(park.second + home.second, query({"故居", "公园"}).second);
    // A refused character: true, and the keywords before it keep their hits.
    EXPECT_EQ(std::make_pair(true, 0), query({"公园@"}));
    EXPECT_EQ(std::make_pair(true, park.second), query({"公园", "公园@"}));
    EXPECT_EQ(std::make_pair(true, 0), query({"公园@", "公园"}));
    eDictionary::GetInstance().UnLoad();
}

TEST(SightSearch, TheIndexHeaderIsReadOnEveryCall)
{
    TempDir dir;
    const std::vector<std::string> common = {"Sight/1.ndf", "Sight/CoreDict.dct", "PlaceName/1.ndf",
                                             "PlaceName/CoreDict.dct"};
    ePOIEngineManager engine;
    engine.SetPoiPath(PartialCopy(dir, common).c_str());
    for (int which = 0; which < 4; ++which)
        EXPECT_EQ(std::string::npos, Search(engine, which).find('|')) << kFiles[which];
    // Added later: the next call finds them.
    PartialCopy(dir, std::vector<std::string>(std::begin(kFiles), std::end(kFiles)));
    for (int which = 0; which < 4; ++which)
        EXPECT_NE(std::string::npos, Search(engine, which).find('|')) << kFiles[which];
    // A file cut inside its header fails again.
    fs::resize_file(dir.Path("data/POI/Sight/105.ndf"), 10);
    EXPECT_EQ("!", Search(engine, 0));
    engine.ReleaseQueryMem();
}

// Each search, ReleaseQueryMem and searches of other kinds, and each search
// again: the same answers (the readers are kept and read through the new pool).
TEST(SightSearch, SearchesGiveTheSameAnswersAcrossReleaseQueryMem)
{
    ePOIEngineManager engine;
    engine.SetPoiPath(CompiledSample::Get().Root().c_str());
    std::vector<std::string> first;
    for (int which = 0; which < 4; ++which)
        first.push_back(Search(engine, which));
    char* next = nullptr;
    int count = 0;
    for (int which = 0; which < 4; ++which) {
        engine.ReleaseQueryMem();
        EXPECT_TRUE(engine.QueryByInitial(3, 10, "*", "*", "BJ", next, count));
        EXPECT_TRUE(engine.QueryByFullText(3, 10, "*", "*", GbkCodec::Gbk("大学").c_str()));
        EXPECT_EQ(first[static_cast<std::size_t>(which)], Search(engine, which)) << kFiles[which];
    }
    engine.ReleaseQueryMem();
}

TEST(SightSearch, PagingAndRefinementWorkOnSightHits)
{
    LoadedEngine engine;
    engine.SetPoiPath(CompiledSample::Get().Root().c_str());
    char* next = nullptr;
    int count = 0;
    ASSERT_TRUE(engine.QueryByInitial(3, 10, "*", "*", "BJ", next, count)); // another reader first
    ASSERT_TRUE(engine.QuerySightByPY("S", next, count));
    const std::vector<std::string> all = Names(engine);
    ASSERT_GT(all.size(), 100u);
    EXPECT_EQ(std::string(next), std::string(next, static_cast<std::size_t>(count)));
    ASSERT_TRUE(engine.QueryFromPreByInitial("sh"));
    int kept = 0;
    for (const std::string& name : all) {
        std::unique_ptr<char[]> initials(GetPYInitials(name.c_str()));
        kept += std::strncmp(initials.get(), "SH", 2) == 0;
    }
    EXPECT_GT(kept, 0);
    EXPECT_EQ(kept, engine.Loaded());
    engine.ReleaseQueryMem();
}

// A damaged file: the search fails, names the damage, or answers as on the
// clean file; it never reads outside a buffer (the ASan build checks).
TEST(SightSearch, DamagedFilesFailOrAreNamed)
{
    ePOIEngineManager clean;
    clean.SetPoiPath(CompiledSample::Get().Root().c_str());
    for (int which = 0; which < 4; ++which) {
        const std::string answer = Search(clean, which);
        ASSERT_NE("!", answer);
        const std::string set = fs::path(kFiles[which]).parent_path().string();
        for (const auto& [share, cut] : {std::pair<double, bool>{0.0001, false}, {0.5, false}, {0.5, true}}) {
            SCOPED_TRACE(testing::Message() << kFiles[which] << (cut ? " cut at " : " flipped at ") << share);
            TempDir dir;
            const std::string data = dir.Path("data");
            fs::create_directories(data + "/POI");
            fs::copy(CompiledSample::Get().Root() + "/POI/" + set, data + "/POI/" + set, fs::copy_options::recursive);
            Damage(data + "/POI/" + kFiles[which], share, cut);
            ePOIEngineManager engine;
            engine.SetPoiPath(data.c_str());
            const std::string got = Search(engine, which);
            EXPECT_TRUE(got == "!" || got == answer || !engine.GetLastDamage().IsEmpty()) << got;
            engine.ReleaseQueryMem();
        }
    }
}

} // namespace
