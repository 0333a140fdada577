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

#include "Base/NdfFormat.h"
#include "Compiler/GbkCodec.h"
#include "Ndf/eNdfPool.h"
#include "Ndf/eNdfRecordsetTabular.h"
#include "POIEngine/PinyinHelpers.h"
#include "POIEngine/eDictionary.h"
#include "POIEngine/eNdfIndexSightbyText.h"
#include "POIEngine/ePOIEngineManager.h"
#include "Support/CompiledSample.h"

using namespace Kest;
using KestTest::CompiledSample;
using KestTest::TempDir;
namespace fs = std::filesystem;

namespace {

class Engine : public ePOIEngineManager {
public:
    int Loaded() const { return m_pRecordset != nullptr ? m_pRecordset->GetRecordCount() : -1; }
};

std::vector<std::string> Names(ePOIEngineManager& engine) { return KestTest::HitNames(engine, false); }

// The sight text reader over the compiled sample, opened as the engine does.
struct TextReader {
    TextReader()
    {
        const std::string dir = CompiledSample::Get().Root() + "/POI/Sight/";
        const std::vector<unsigned char> bytes = TempDir::Read(dir + "106.ndf");
        ueglobal_addr_t root{};
        std::memcpy(&root, bytes.data(), 8);
        pool.SetDataPath(dir.c_str());
        reader.SetGID(root);
        reader.SetDataPath(dir.c_str());
        reader.SetPool(&pool);
    }
    // (ok, hits)
    std::pair<bool, int> Query(const std::vector<std::string>& texts)
    {
        eArray<eString> t;
        for (const std::string& text : texts)
            t.Add(eString(text.c_str()));
        eArray<ueglobal_addr_t> addrs;
        eArray<unsigned int> scores;
        eArray<eString> names;
        const bool ok = reader.Query(t, addrs, scores, names) != 0;
        EXPECT_EQ(addrs.GetSize(), scores.GetSize());
        return {ok, addrs.GetSize()};
    }
    eNdfPool pool;
    eNdfIndexSightbyText reader;
};

TEST(SightSearch, TextKeywordsAreSearchedInTurnAndAFailureKeepsWhatCameBefore)
{
    eDictionary::GetInstance().UnLoad();
    TextReader text;
    const std::string park = GbkCodec::Gbk("公园"), temple = GbkCodec::Gbk("故居"), bad = GbkCodec::Gbk("公园@");
    const auto a = text.Query({park});
    const auto b = text.Query({temple});
    ASSERT_TRUE(a.first && b.first);
    ASSERT_GT(a.second, 0);
    ASSERT_GT(b.second, 0);
    ASSERT_LT(b.second, 100);
    ASSERT_GT(a.second, 100);
    // A keyword is appended only while fewer than 100 hits are gathered.
    EXPECT_EQ(a.second < 100 ? a.second + b.second : a.second, text.Query({park, temple}).second);
    EXPECT_EQ(b.second < 100 ? a.second + b.second : b.second, text.Query({temple, park}).second);
    // A refused character: true, and the keywords before it keep their hits.
    EXPECT_EQ(std::make_pair(true, 0), text.Query({bad}));
    EXPECT_EQ(std::make_pair(true, a.second), text.Query({park, bad}));
    EXPECT_EQ(std::make_pair(true, 0), text.Query({bad, park}));
    eDictionary::GetInstance().UnLoad();
}

TEST(SightSearch, TheIndexHeaderIsReadOnEveryCall)
{
    TempDir dir;
    const std::string from = CompiledSample::Get().Root() + "/POI/";
    fs::create_directories(dir.Path("POI/Sight"));
    fs::create_directories(dir.Path("POI/PlaceName"));
    for (const char* file : {"Sight/1.ndf", "Sight/CoreDict.dct", "PlaceName/1.ndf", "PlaceName/CoreDict.dct"})
        fs::copy_file(from + file, dir.Path(std::string("POI/") + file));
    ePOIEngineManager engine;
    engine.SetPoiPath(dir.Path("").substr(0, dir.Path("").size() - 1).c_str());
    char* next = nullptr;
    int count = 0;
    auto all = [&] {
        int found = 0;
        for (int which = 0; which < 4; ++which)
            found += (which == 0   ? engine.QuerySightByPY("G", next, count)
                      : which == 1 ? engine.QueryPlaceNameByPY("G", next, count)
                      : which == 2 ? engine.QuerySightByText(GbkCodec::Gbk("公园").c_str())
                                   : engine.QueryPlaceNameByText(GbkCodec::Gbk("街道").c_str())) &&
                     engine.GetPOICount(0) > 0;
        return found;
    };
    EXPECT_EQ(all(), 0);
    // Added later: the next call finds them.
    for (const char* file : {"Sight/105.ndf", "Sight/106.ndf", "PlaceName/107.ndf", "PlaceName/108.ndf"})
        fs::copy_file(from + file, dir.Path(std::string("POI/") + file));
    EXPECT_EQ(all(), 4);
    // A file cut inside its header fails again.
    fs::resize_file(dir.Path("POI/Sight/105.ndf"), 10);
    EXPECT_FALSE(engine.QuerySightByPY("G", next, count));
    engine.ReleaseQueryMem();
}

// Each search, ReleaseQueryMem and searches of other kinds, and each search
// again: the same answers (the readers are kept and read through the new pool).
TEST(SightSearch, SearchesGiveTheSameAnswersAcrossReleaseQueryMem)
{
    ePOIEngineManager engine;
    engine.SetPoiPath(CompiledSample::Get().Root().c_str());
    const std::string street = GbkCodec::Gbk("街道"), park = GbkCodec::Gbk("公园");
    char* next = nullptr;
    int count = 0;
    auto answer = [&](int which) {
        const bool ok = which == 0   ? engine.QuerySightByPY("s", next, count)
                        : which == 1 ? engine.QueryPlaceNameByPY("J", next, count)
                        : which == 2 ? engine.QuerySightByText(park.c_str())
                                     : engine.QueryPlaceNameByText(street.c_str());
        std::string out = which < 2 ? std::string(next, static_cast<std::size_t>(count)) : std::string(ok ? "" : "!");
        for (const std::string& name : Names(engine))
            out += "|" + name;
        return out;
    };
    std::vector<std::string> first;
    for (int which = 0; which < 4; ++which)
        first.push_back(answer(which));
    for (int which = 0; which < 4; ++which) {
        engine.ReleaseQueryMem();
        EXPECT_TRUE(engine.QueryByInitial(3, 10, "*", "*", "BJ", next, count));
        EXPECT_TRUE(engine.QueryByFullText(3, 10, "*", "*", GbkCodec::Gbk("大学").c_str()));
        EXPECT_EQ(first[static_cast<std::size_t>(which)], answer(which)) << which;
    }
    engine.ReleaseQueryMem();
}

TEST(SightSearch, PagingAndRefinementWorkOnSightHits)
{
    Engine engine;
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
    const std::string from = CompiledSample::Get().Root() + "/POI/";
    const std::string park = GbkCodec::Gbk("公园");
    char* next = nullptr;
    int count = 0;
    const std::vector<std::pair<const char*, int>> files = {
        {"Sight/105.ndf", 0}, {"Sight/106.ndf", 1}, {"PlaceName/107.ndf", 2}, {"PlaceName/108.ndf", 3}};
    for (const auto& [file, which] : files) {
        auto search = [&, which = which](ePOIEngineManager& engine) {
            switch (which) {
            case 0: return engine.QuerySightByPY("G", next, count);
            case 1: return engine.QuerySightByText(park.c_str());
            case 2: return engine.QueryPlaceNameByText(GbkCodec::Gbk("街道").c_str());
            default: return engine.QueryPlaceNameByPY("J", next, count);
            }
        };
        const std::vector<unsigned char> clean = TempDir::Read(from + file);
        ePOIEngineManager cleanEngine;
        cleanEngine.SetPoiPath(CompiledSample::Get().Root().c_str());
        ASSERT_TRUE(search(cleanEngine));
        const std::vector<std::string> cleanAnswer = Names(cleanEngine);
        const std::size_t size = clean.size();
        const std::vector<std::pair<std::size_t, bool>> damages = {{2, false}, {size / 2, false}, {size / 2, true}};
        for (const auto& [at, truncate] : damages) {
            SCOPED_TRACE(testing::Message() << file << (truncate ? " cut at " : " flipped at ") << at);
            TempDir dir;
            const std::string set = std::string(file).substr(0, std::string(file).find('/'));
            fs::create_directories(dir.Path("POI/" + set));
            fs::copy(from + set, dir.Path("POI/" + set), fs::copy_options::recursive);
            std::vector<unsigned char> bytes = clean;
            if (truncate)
                bytes.resize(at);
            else
                bytes[at] ^= 0x5A;
            TempDir::Write(dir.Path(std::string("POI/") + file), bytes);
            ePOIEngineManager engine;
            const std::string root = dir.Path("");
            engine.SetPoiPath(root.substr(0, root.size() - 1).c_str());
            if (search(engine)) {
                EXPECT_TRUE(Names(engine) == cleanAnswer || !engine.GetLastDamage().IsEmpty());
            }
            engine.ReleaseQueryMem();
        }
    }
}

} // namespace
