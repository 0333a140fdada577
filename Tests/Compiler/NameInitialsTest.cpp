// What the pinyin-initial indexes hold for a name: the variants of
// NameInitials, and the engine finding a name by each of them, never twice.

#include "Compiler/NameInitials.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>

#include "Compiler/DataCompiler.h"
#include "Compiler/GbkCodec.h"
#include "POIEngine/ePOIEngineManager.h"
#include "Support/TempDir.h"

using Kest::GbkCodec;
using Kest::NameInitials;

namespace {

TEST(NameInitials, VariantsOfAName)
{
    const struct {
        const char* name;
        int depth;
        std::vector<std::string> variants;
    } cases[] = {
        {"ＡＢＣ超市", 10, {"ABCCS"}},
        {"１号店", 10, {"1HD"}},
        {"郪江", 10, {"QJ"}},                      // outside the engine's tables
        {"重庆", 10, {"CQ", "ZQ"}},                 // the phrase first, then the engine's reading
        {"中国银行", 10, {"ZGYH"}},                 // ZGYX shares the first letter: one of them only
        {"长春", 10, {"CC", "ZC"}},
        {"厦门", 10, {"XM", "SM"}},
        {"肯德基（王府井店）", 10, {"KDJWFJD"}},    // symbols are skipped, not the end
        {"KFC (Wang) 7店", 10, {"KFCWANG7D"}},
        {"·北京", 10, {"BJ"}},
        {"北京乥饭店", 10, {"BJ"}},                 // a character without any reading ends the key
        {"（）", 10, {}},
        {"重庆饭店", 3, {"CQF", "ZQF"}},            // cut at the depth
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.variants, NameInitials::Variants(GbkCodec::Gbk(c.name), c.depth)) << c.name;
}

TEST(NameInitials, AtMostFourVariantsWithDistinctFirstLetters)
{
    // Every GBK character as the first of a name.
    for (int lead = 0x81; lead <= 0xFE; ++lead)
        for (int trail = 0x40; trail <= 0xFE; ++trail) {
            const char name[] = {static_cast<char>(lead), static_cast<char>(trail), 'A', 0};
            const auto variants = NameInitials::Variants(name, 10);
            ASSERT_LE(variants.size(), NameInitials::kMaxVariants);
            std::set<char> first;
            for (const auto& v : variants)
                first.insert(v[0]);
            ASSERT_EQ(first.size(), variants.size()) << std::hex << lead << trail;
        }
}

// The real compiler and the engine: each name is found by what people type,
// and no answer, paged to its end, holds a name twice.
TEST(NameInitials, TheEngineFindsNamesByEveryVariantOnce)
{
    namespace fs = std::filesystem;
    KestTest::TempDir dir;
    fs::create_directory(dir.Path("src"));
    auto write = [&](const std::string& name, const std::string& text) {
        std::ofstream(dir.Path("src/" + name), std::ios::binary) << text;
    };
    write("districts.geojson",
          R"({"type":"FeatureCollection","features":[{"type":"Feature","properties":{"province":"北京市","city":"北京市","county":"东城区"},"geometry":{"type":"Polygon","coordinates":[[[116.3,39.8],[116.5,39.8],[116.5,40.0],[116.3,39.8]]]}}]})");
    write("categories.txt", "餐饮服务\n\t中餐厅\t2000\n");
    std::string pois = "name,lon,lat,category,phone,province,city,county\n";
    const char* named[] = {"ＡＢＣ超市", "郪江饭店", "重庆", "中国银行", "长春饭店", "厦门大厦", "肯德基（王府井店）"};
    for (const char* n : named)
        pois += std::string(n) + ",116.4,39.9,2000,,北京市,北京市,东城区\n";
    for (int i = 0; i < 150; ++i) // more than the first batch below C and Z
        pois += "重庆" + std::to_string(i) + "店,116.4,39.9,2000,,北京市,北京市,东城区\n";
    write("pois.csv", pois);
    for (const char* f : {"sights.csv", "placenames.csv"})
        write(f, "name,lon,lat,category,phone,province,city,county\n");
    write("crossroads.csv", "name,lon,lat,province,city,county\n");
    write("words.txt", "饭店 10\n");
    Kest::DataCompiler::Options options;
    options.source = dir.Path("src");
    options.output = dir.Path("out");
    std::ostringstream report;
    Kest::DataCompiler compiler(options, report);
    ASSERT_TRUE(compiler.Run()) << compiler.GetError();

    Kest::ePOIEngineManager engine;
    const std::string out = dir.Path("out");
    engine.SetPoiPath(out.c_str());
    const struct {
        const char* typed;
        const char* name; // must be among the hits
        std::size_t hits;
    } cases[] = {
        {"ABC", "ＡＢＣ超市", 1}, {"QJ", "郪江饭店", 1},   {"CQ", "重庆", 151},     {"ZQ", "重庆", 151},
        {"C", "重庆", 152},       {"Z", "中国银行", 153}, {"ZGYH", "中国银行", 1}, {"CC", "长春饭店", 1},
        {"XM", "厦门大厦", 1},    {"KDJW", "肯德基（王府井店）", 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.typed);
        char* next = nullptr;
        int nextCount = 0;
        ASSERT_TRUE(engine.QueryByInitial(3, 10, "*", "*", c.typed, next, nextCount));
        std::multiset<std::string> names;
        for (int i = 0; i < engine.GetPOICount(0); ++i) {
            Kest::ePoiInfo info{};
            ASSERT_TRUE(engine.GetPOIInfo(0, i, info));
            names.insert(GbkCodec::Utf8(std::string(info.szName, strnlen(info.szName, sizeof info.szName))));
        }
        EXPECT_EQ(c.hits, names.size());
        EXPECT_EQ(1u, names.count(c.name));
        EXPECT_EQ(names.size(), std::set<std::string>(names.begin(), names.end()).size()) << "a name twice";
    }
}

} // namespace
