// Byte flips in a compiled data directory: every search either gives the
// answer it gives on the clean data or exits 1 naming the damage, and
// `poi check` finds every flip.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "CheckCommand.h"
#include "Compiler/Manifest.h"
#include "POIEngine/ePOIEngineManager.h"
#include "SearchCommand.h"
#include "Support/CommandRun.h"
#include "Support/CompiledSample.h"

using namespace Kest;
using KestTest::CompiledSample;
using KestTest::TempDir;

namespace {

using Answer = KestTest::CommandResult;
template <class Command>
Answer Invoke(const std::vector<std::string>& args)
{
    return KestTest::RunCommand<Command>(args);
}

// Every kind of search, with refinements, on both data sets. --json shows
// every column (an empty area name would show too).
std::vector<std::vector<std::string>> Searches(const std::string& dir)
{
    const std::vector<std::vector<std::string>> tails = {
        {"--province", "北京", "initial", "BJ"},
        {"--province", "上海", "--offset", "95", "initial", "S"},
        {"--province", "北京", "--refine", "ZGY", "initial", "ZG"},
        {"--province", "上海", "initial", "SHS"},
        {"--province", "北京", "text", "大学"},
        {"--province", "上海", "text", "医院"},
        {"--province", "北京", "--refine", "营业厅", "text", "银行"},
        {"--province", "上海", "--city", "上海", "--refine", "大", "text", "酒店"},
        {"around", "116.4374", "39.8893", "2000"},
        {"--type", "2000", "around", "121.4737", "31.2304", "1km"},
        {"nearest", "121.4737", "31.2304"},
        {"sight", "initial", "S"},
        {"sight", "text", "公园"},
        {"place", "initial", "J"},
        {"--refine", "东", "place", "text", "街道"},
    };
    std::vector<std::vector<std::string>> searches;
    for (const auto& tail : tails) {
        std::vector<std::string> args = {"--data", dir, "--json", "--limit", "40"};
        args.insert(args.end(), tail.begin(), tail.end());
        searches.push_back(args);
    }
    return searches;
}

void Flip(const std::string& file, std::uint64_t at, unsigned char mask)
{
    std::fstream io(file, std::ios::binary | std::ios::in | std::ios::out);
    io.seekg(static_cast<std::streamoff>(at));
    const unsigned char byte = static_cast<unsigned char>(io.get());
    io.seekp(static_cast<std::streamoff>(at));
    io.put(static_cast<char>(byte ^ mask));
}

TEST(DamageSweep, EverySearchAnswersAsOnCleanDataOrNamesTheDamage)
{
    const std::string clean = CompiledSample::Get().Root();
    TempDir temp;
    const std::string dir = temp.Path("data");
    std::filesystem::copy(clean, dir, std::filesystem::copy_options::recursive);
    Manifest manifest;
    std::string error;
    ASSERT_TRUE(manifest.Load(dir, error)) << error;

    const auto searches = Searches(dir);
    std::vector<Answer> expected;
    for (const auto& args : searches) {
        expected.push_back(Invoke<SearchCommand>(args));
        EXPECT_EQ(expected.back().status, 0) << args.back() << ": " << expected.back().err;
        EXPECT_GT(expected.back().lines.size(), 1u) << args.back() << " finds nothing";
    }
    ASSERT_EQ(Invoke<CheckCommand>({dir}).status, 0);

    // Two flips in every file, the manifest included: one in the first 64
    // bytes, where the headers keep the counts and offsets every reader
    // checks, and one anywhere; a random bit pattern each. Every fourth flip
    // is also given to poi check (it reads the whole directory).
    std::vector<std::string> files;
    for (const auto& entry : manifest.Entries())
        files.push_back(entry.path);
    files.push_back(Manifest::kFileName);
    std::mt19937_64 random(20261123);
    const int kFlips = static_cast<int>(2 * files.size());
    int searched = 0, differed = 0, named = 0, checked = 0;
    for (int flip = 0; flip < kFlips; ++flip) {
        const std::string file = dir + "/" + files[flip % files.size()];
        const std::uint64_t size = std::filesystem::file_size(file);
        const std::uint64_t at = random() % (flip < static_cast<int>(files.size()) ? std::min<std::uint64_t>(size, 64) : size);
        const unsigned char mask = static_cast<unsigned char>(1 + random() % 255);
        Flip(file, at, mask);
        const std::string where = file + " byte " + std::to_string(at);
        for (std::size_t s = 0; s < searches.size(); ++s) {
            const Answer got = Invoke<SearchCommand>(searches[s]);
            ++searched;
            if (got.status == 1 && got.err.find("damaged") != std::string::npos) {
                ++named;
                continue;
            }
            const bool same = got.status == expected[s].status && got.lines == expected[s].lines;
            differed += same ? 0 : 1;
            EXPECT_TRUE(same) << where << ", search " << s << " (" << searches[s].back() << "): status "
                              << got.status << ", " << got.err;
        }
        if (flip % 4 == 0) {
            ++checked;
            const Answer check = Invoke<CheckCommand>({dir});
            EXPECT_EQ(check.status, 1) << where << " is not found by poi check";
            EXPECT_NE(::testing::PrintToString(check.lines).find(files[flip % files.size()]), std::string::npos) << where;
        }
        Flip(file, at, mask);
    }
    std::cout << "[ sweep ] " << kFlips << " flips, " << searched << " searches: " << named
              << " named the damage, " << searched - named - differed << " gave the clean answer, " << differed
              << " differed; poi check ran on " << checked << " flips\n";
    EXPECT_EQ(Invoke<CheckCommand>({dir}).status, 0) << "the flips were not undone";
}

// The engine's own report, beside its unchanged answers: the damage of a
// search stays until the next search begins, a refinement keeps it.
TEST(DamageSweep, TheEngineNamesTheDamageOfTheLastSearch)
{
    TempDir temp;
    const std::string dir = temp.Path("data");
    std::filesystem::copy(CompiledSample::Get().Root(), dir, std::filesystem::copy_options::recursive);
    const int set = CompiledSample::Get().DataSets().begin()->first;
    ePOIEngineManager engine;
    engine.SetPoiPath(dir.c_str());
    char* next = nullptr;
    int count = 0;
    ASSERT_TRUE(engine.QueryByInitial(3, set, "*", "*", "B", next, count));
    ePoiInfo info{};
    ASSERT_TRUE(engine.GetPOIInfo(0, 0, info));
    EXPECT_STREQ("", engine.GetLastDamage().Cstr());

    // The area index: the hit still reads, with no area name.
    Flip(dir + "/POI/AdminIndex.ndf", 40, 0x08);
    ePOIEngineManager fresh;
    fresh.SetPoiPath(dir.c_str());
    ASSERT_TRUE(fresh.QueryByInitial(3, set, "*", "*", "B", next, count));
    ASSERT_TRUE(fresh.GetPOIInfo(0, 0, info = ePoiInfo{}));
    EXPECT_STREQ("", info.szAddress);
    EXPECT_STREQ("POI/AdminIndex.ndf", fresh.GetLastDamage().Cstr());
    Flip(dir + "/POI/AdminIndex.ndf", 40, 0x08);

    // Every page of the initial index: the search meets one of them.
    const std::string index = dir + "/POI/" + std::to_string(set + 100) + ".ndf";
    const std::vector<unsigned char> clean = TempDir::Read(index);
    std::vector<unsigned char> bad = clean;
    for (std::size_t at = 64; at + 64 < bad.size(); at += 512)
        bad[at] ^= 0x20;
    TempDir::Write(index, bad);
    ePOIEngineManager damaged;
    damaged.SetPoiPath(dir.c_str());
    damaged.QueryByInitial(3, set, "*", "*", "B", next, count);
    const std::string named = damaged.GetLastDamage().Cstr();
    EXPECT_EQ(0u, named.find("POI/" + std::to_string(set + 100) + ".ndf page ")) << named;
    damaged.QueryFromPreByInitial("BJ");
    EXPECT_EQ(named, damaged.GetLastDamage().Cstr());
    TempDir::Write(index, clean);
    ASSERT_TRUE(damaged.QueryByInitial(3, set, "*", "*", "B", next, count));
    EXPECT_STREQ("", damaged.GetLastDamage().Cstr());
}

} // namespace
