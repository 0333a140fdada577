// Byte flips in a compiled data directory: every search either gives the
// answer it gives on the clean data or exits 1 naming the damage, and
// `poi check` finds every flip.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "CheckCommand.h"
#include "Compiler/Manifest.h"
#include "POIEngine/ePOIEngineManager.h"
#include "SearchCommand.h"
#include "Support/CommandRun.h"
#include "Support/CompiledSample.h"

using namespace Kest;
using KestTest::CompiledSample;
using KestTest::RunCommand;
using KestTest::TempDir;
using Answer = KestTest::CommandResult;

namespace {

// Every kind of search, with refinements, on both data sets.
const std::vector<std::vector<std::string>> kSearches = {
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

// A search on DIR; --json shows every column (an empty area name would show too).
Answer Search(const std::string& dir, const std::vector<std::string>& search)
{
    std::vector<std::string> args = {"--data", dir, "--json", "--limit", "40"};
    args.insert(args.end(), search.begin(), search.end());
    return RunCommand<SearchCommand>(args);
}

// A copy of the compiled sample in a scratch directory.
std::string CopySample(const TempDir& temp)
{
    const std::string dir = temp.Path("data");
    std::filesystem::copy(CompiledSample::Get().Root(), dir, std::filesystem::copy_options::recursive);
    return dir;
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
    TempDir temp;
    const std::string dir = CopySample(temp);
    Manifest manifest;
    std::string error;
    ASSERT_TRUE(manifest.Load(dir, error)) << error;
    std::vector<Answer> expected;
    for (const auto& search : kSearches) {
        expected.push_back(Search(dir, search));
        EXPECT_EQ(expected.back().status, 0) << search.back() << ": " << expected.back().err;
        EXPECT_GT(expected.back().lines.size(), 1u) << search.back() << " finds nothing";
    }
    ASSERT_EQ(RunCommand<CheckCommand>({dir}).status, 0);

    // Two flips in every file, the manifest included: one in the first 64
    // bytes, where the headers keep the counts and offsets every reader
    // checks, and one anywhere; a random bit pattern each. Every fourth flip
    // is also given to poi check (it reads the whole directory).
    std::vector<std::string> files = {Manifest::kFileName};
    for (const auto& entry : manifest.Entries())
        files.push_back(entry.path);
    std::mt19937_64 random(20261123);
    int named = 0;
    for (std::size_t flip = 0; flip < 2 * files.size(); ++flip) {
        const std::string file = dir + "/" + files[flip % files.size()];
        const std::uint64_t size = std::filesystem::file_size(file);
        const std::uint64_t at = random() % (flip < files.size() ? std::min<std::uint64_t>(size, 64) : size);
        const unsigned char mask = static_cast<unsigned char>(1 + random() % 255);
        Flip(file, at, mask);
        const std::string where = file + " byte " + std::to_string(at);
        for (std::size_t s = 0; s < kSearches.size(); ++s) {
            const Answer got = Search(dir, kSearches[s]);
            if (got.status == 1 && got.err.find("damaged") != std::string::npos)
                ++named;
            else
                EXPECT_TRUE(got.status == expected[s].status && got.lines == expected[s].lines)
                    << where << ", search " << s << " (" << kSearches[s].back() << "): status " << got.status << ", "
                    << got.err;
        }
        if (flip % 4 == 0) {
            const Answer check = RunCommand<CheckCommand>({dir});
            EXPECT_EQ(check.status, 1) << where << " is not found by poi check";
            EXPECT_NE(::testing::PrintToString(check.lines).find(files[flip % files.size()]), std::string::npos) << where;
        }
        Flip(file, at, mask);
    }
    EXPECT_GT(named, 0) << "no flip was named";
    EXPECT_EQ(RunCommand<CheckCommand>({dir}).status, 0) << "the flips were not undone";
}

// The engine's own report, beside its unchanged answers: the damage of a
// search stays until the next search begins, a refinement keeps it.
TEST(DamageSweep, TheEngineNamesTheDamageOfTheLastSearch)
{
    TempDir temp;
    const std::string dir = CopySample(temp);
    const int set = CompiledSample::Get().DataSets().begin()->first;
    char* next = nullptr;
    int count = 0;
    const auto Query = [&](ePOIEngineManager& engine) {
        engine.SetPoiPath(dir.c_str());
        return engine.QueryByInitial(3, set, "*", "*", "B", next, count);
    };
    // The area index: the hit still reads, with no area name.
    Flip(dir + "/POI/AdminIndex.ndf", 40, 0x08);
    ePOIEngineManager areas;
    ASSERT_TRUE(Query(areas));
    ePoiInfo info{};
    ASSERT_TRUE(areas.GetPOIInfo(0, 0, info));
    EXPECT_STREQ("", info.szAddress);
    EXPECT_STREQ("POI/AdminIndex.ndf", areas.GetLastDamage().Cstr());
    Flip(dir + "/POI/AdminIndex.ndf", 40, 0x08);

    // Every page of the initial index: the search meets one of them.
    const std::string index = "POI/" + std::to_string(set + 100) + ".ndf";
    const std::vector<unsigned char> clean = TempDir::Read(dir + "/" + index);
    std::vector<unsigned char> bad = clean;
    for (std::size_t at = 64; at + 64 < bad.size(); at += 512)
        bad[at] ^= 0x20;
    TempDir::Write(dir + "/" + index, bad);
    ePOIEngineManager damaged;
    Query(damaged);
    const std::string named = damaged.GetLastDamage().Cstr();
    EXPECT_EQ(0u, named.find(index + " page ")) << named;
    damaged.QueryFromPreByInitial("BJ");
    EXPECT_EQ(named, damaged.GetLastDamage().Cstr());
    TempDir::Write(dir + "/" + index, clean);
    ASSERT_TRUE(Query(damaged));
    EXPECT_STREQ("", damaged.GetLastDamage().Cstr());
}

} // namespace
