// The search by address on the bundled sample against the plain model: the
// sample is compiled with the real data compiler, and 1500 random queries
// (whole area names, parts that hit several siblings, "*" at each level,
// categories present, absent, "*", empty, "0", not a number) must give the
// true/false, the hits in order, their codes and the filtered hit total that
// the model gives over the gazetteer and the rows of pois.csv. Between
// queries the engine releases its query memory and runs other searches.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "Compiler/Gazetteer.h"
#include "Compiler/GbkCodec.h"
#include "POIEngine/eNdfIndexCategory.h"
#include "POIEngine/ePOIEngineManager.h"
#include "Support/CategoryOracle.h"
#include "Support/Differential.h"

using namespace Kest;
using namespace KestTest;

namespace {

class Engine : public ePOIEngineManager {
public:
    int QueryKind() const { return m_nQueryType; }
    unsigned int HitTotal() const
    {
        const auto* index = dynamic_cast<const eNdfIndexCategory*>(m_pIndexAddress);
        return index != nullptr ? index->GetHitCount() : 0;
    }
};

class AddressDifferential : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        Gazetteer gazetteer;
        std::string error;
        const auto json = TempDir::Read(std::string(KEST_TEST_DATA) + "/../../Data/Sample/districts.geojson");
        ASSERT_TRUE(gazetteer.Parse(std::string(json.begin(), json.end()), error)) << error;

        // The POIs of each county: (category, name) in the store's order.
        std::vector<std::vector<std::pair<std::uint32_t, std::string>>> byCounty(gazetteer.Counties().size());
        for (const auto& row : CompiledSample::Get().Rows()) {
            const auto& f = row.fields;
            const int county = gazetteer.FindCounty(f[5], f[6], f[7]);
            ASSERT_GE(county, 0) << f[0];
            byCounty[static_cast<std::size_t>(county)].emplace_back(static_cast<std::uint32_t>(std::stoul(f[3])),
                                                                    row.name);
            s_codes.push_back(std::to_string(byCounty[static_cast<std::size_t>(county)].back().first));
        }

        // The tree, areas in gazetteer order, categories ascending.
        for (const Gazetteer::Province& p : gazetteer.Provinces()) {
            CategoryNode& province = s_tree.kids.emplace_back(CategoryNode{GbkCodec::Gbk(p.name), {}, false, 0});
            for (int c : p.cities) {
                const Gazetteer::City& city = gazetteer.Cities()[static_cast<std::size_t>(c)];
                CategoryNode& town = province.kids.emplace_back(CategoryNode{GbkCodec::Gbk(city.name), {}, false, 0});
                for (int k : city.counties) {
                    auto& pois = byCounty[static_cast<std::size_t>(k)];
                    std::sort(pois.begin(), pois.end());
                    const std::string& name = gazetteer.Counties()[static_cast<std::size_t>(k)].name;
                    CategoryNode& county = town.kids.emplace_back(CategoryNode{GbkCodec::Gbk(name), {}, false, 0});
                    for (const auto& [code, poi] : pois) {
                        if (county.kids.empty() || county.kids.back().key != CodeKey(code))
                            county.kids.push_back(CategoryNode{CodeKey(code), {}, false, 0});
                        county.kids.back().kids.push_back(CategoryNode{poi, {}, true, code});
                    }
                }
            }
        }
    }

    static CategoryNode s_tree;
    static std::vector<std::string> s_codes; // the category of every POI
};

CategoryNode AddressDifferential::s_tree;
std::vector<std::string> AddressDifferential::s_codes;

using Hit = std::pair<std::string, std::uint32_t>; // name, code

TEST_F(AddressDifferential, RandomQueriesMatchTheModel)
{
    Engine engine;
    engine.SetPoiPath(CompiledSample::Get().Root().c_str());
    long long compared = 0;
    const Tally floors = {{"true", 500}, {"false", 100}, {"filtered", 300}};
    RunQueries(1500, 20261125, floors, [&](Draw& draw, Tally& tally, int q) {
        // Area keys: a name of the level the walk reaches, a part of one, "*",
        // an empty key or a name found nowhere.
        std::vector<std::string> keys;
        const std::vector<CategoryNode>* level = &s_tree.kids;
        for (int i = 0; i < 3; ++i) {
            const unsigned kind = draw.Below(12);
            if (kind < 2 || level->empty()) {
                keys.push_back("*");
            } else if (kind == 2) {
                keys.push_back(draw.OneIn(2) ? "" : GbkCodec::Gbk("天津"));
            } else {
                const CategoryNode& node = draw.Pick(*level);
                // A part: one or two whole characters from any place of the name.
                const std::size_t at = 2 * draw.Below(node.key.size() / 2);
                keys.push_back(kind < 7 ? node.key : node.key.substr(at, draw.OneIn(2) ? 2 : 4));
                level = &node.kids;
            }
        }
        const unsigned kind = draw.Below(10);
        keys.push_back(kind < 4   ? draw.Pick(s_codes)
                       : kind < 5 ? std::string("*")
                       : kind < 6 ? std::string()
                       : kind < 7 ? std::string("0")
                       : kind < 8 ? std::to_string(1000 + draw.Below(20000))
                                  : draw.Pick(std::vector<std::string>{"abc", "2000abc", "-1", "99999999999"}));
        const int levelArg = 1 + static_cast<int>(draw.Below(4));
        SCOPED_TRACE(testing::Message() << GbkCodec::Utf8(keys[0]) << " / " << GbkCodec::Utf8(keys[1]) << " / "
                                        << GbkCodec::Utf8(keys[2]) << " / " << keys[3] << " level " << levelArg);

        // Memory released now and then, and other searches in between.
        if (q % 97 == 96)
            engine.ReleaseQueryMem();
        if (q % 50 == 25) {
            char* next = nullptr;
            int count = 0;
            engine.QueryByInitial(3, 10, "*", "*", "BJ", next, count);
        }

        const CategoryAnswer model = CategoryQuery(s_tree, keys);
        const bool ok =
            engine.QueryByAddress(levelArg, keys[0].c_str(), keys[1].c_str(), keys[2].c_str(), keys[3].c_str());
        ASSERT_EQ(ok, model.ok);
        EXPECT_EQ(engine.QueryKind(), 3);
        tally[ok ? "true" : "false"] += 1;
        if (!ok)
            return;
        EXPECT_EQ(engine.HitTotal(), model.hitTotal);
        tally["filtered"] += model.hitTotal > 0;
        std::vector<Hit> expected;
        for (const auto* range : model.ranges)
            for (const CategoryNode& node : *range)
                expected.push_back(Hit{node.key.substr(0, 64).c_str(), levelArg >= 3 ? node.code : 0u});
        ASSERT_EQ(engine.GetPOICount(0), static_cast<int>(expected.size()));

        // Every hit of a short list; of a long one its ends and a sample.
        for (std::size_t i = 0; i < expected.size(); ++i) {
            if (expected.size() > 300 && i >= 100 && i + 50 < expected.size() && !draw.OneIn(200))
                continue;
            ePoiInfo info{};
            ASSERT_TRUE(engine.GetPOIInfo(0, static_cast<int>(i), info)) << i;
            ASSERT_EQ(Hit(NameOf(info), info.nCode), expected[i]) << "hit " << i;
            if (levelArg < 3) {
                ASSERT_EQ(info.dX, 0.0);
                ASSERT_EQ(info.szAddress[0], '\0');
            }
            ++compared;
        }
    });
    std::printf("%lld hits compared\n", compared);
}

// What the facade adds to the index: the level's range, the kind and the
// level written only when they should be, and the file tried once.
TEST_F(AddressDifferential, LevelKindAndTheReaderMadeOnce)
{
    const std::string bj = GbkCodec::Gbk("北京"), dc = GbkCodec::Gbk("东城");
    const std::string data = CompiledSample::Get().Root();
    Engine engine;
    engine.SetPoiPath(data.c_str());
    ASSERT_TRUE(engine.QueryByFullText(3, 10, "*", "*", GbkCodec::Gbk("大学").c_str()));
    const int textHits = engine.GetPOICount(0);
    for (int level : {0, 5, -1}) {
        EXPECT_FALSE(engine.QueryByAddress(level, bj.c_str(), bj.c_str(), dc.c_str(), "*"));
        EXPECT_EQ(engine.QueryKind(), 1);
        EXPECT_EQ(engine.GetPOICount(0), textHits);
    }
    ASSERT_TRUE(engine.QueryByAddress(4, bj.c_str(), bj.c_str(), dc.c_str(), "2000"));
    const std::vector<ePoiInfo> first = HitInfos(engine, 1);
    ASSERT_EQ(first.size(), 1u);
    EXPECT_NE(first[0].dX, 0.0);
    EXPECT_NE(first[0].szAddress[0], '\0');
    // A failed search keeps the hits and the level of the last good one.
    EXPECT_FALSE(engine.QueryByAddress(1, GbkCodec::Gbk("天津").c_str(), "*", "*", "*"));
    ASSERT_EQ(HitInfos(engine, 1).size(), 1u);
    EXPECT_EQ(HitInfos(engine, 1)[0].dX, first[0].dX);

    // Without the file the reader stays unconfigured, and the file is not
    // tried again until ReleaseQueryMem drops the reader.
    TempDir copy;
    const std::string root = copy.Path("data");
    std::filesystem::copy(data, root, std::filesystem::copy_options::recursive);
    const std::string file = root + "/POI/100.ndf";
    std::filesystem::rename(file, file + ".away");
    Engine late;
    late.SetPoiPath(root.c_str());
    EXPECT_FALSE(late.QueryByAddress(3, bj.c_str(), bj.c_str(), dc.c_str(), "*"));
    EXPECT_EQ(late.QueryKind(), 3);
    std::filesystem::rename(file + ".away", file);
    EXPECT_FALSE(late.QueryByAddress(3, bj.c_str(), bj.c_str(), dc.c_str(), "*"));
    late.ReleaseQueryMem();
    EXPECT_TRUE(late.QueryByAddress(3, bj.c_str(), bj.c_str(), dc.c_str(), "*"));
}

} // namespace
