// The poi command's store and helpers, run in-process: exit statuses,
// messages, the JSON shape, locking and a full disk; the hints of a search.
// The answers of searches, refinements and pages included, are held by the
// golden test and the engine's differential tests.

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <regex>

#include "Compiler/DataCompiler.h"
#include "DataSetList.h"
#include "DirectoryLock.h"
#include "HitText.h"
#include "SearchCommand.h"
#include "StoreCommand.h"
#include "Support/CommandRun.h"
#include "Support/TempDir.h"

using namespace Kest;
using KestTest::RunCommand;
using KestTest::TempDir;
using Result = KestTest::CommandResult;

namespace {

std::string JsonName(const std::string& line)
{
    std::smatch m;
    return std::regex_search(line, m, std::regex("^\\{\"name\":\"([^\"]*)\"")) ? m[1].str() : "";
}

// `poi store --data DIR ARGS`.
Result Store(const std::string& dir, std::vector<std::string> args)
{
    args.insert(args.begin(), {"--data", dir});
    return RunCommand<StoreCommand>(args);
}

TEST(DataSetList, ResolvesWholeNamesThenUniquePartsAndRefusesMalformedLists)
{
    DataSetList sets;
    std::string error;
    ASSERT_TRUE(sets.Parse("10\t北京市\n11\t上海市\r\n\n12\t北京市郊\n", error)) << error;
    ASSERT_EQ(sets.Sets().size(), 3u);
    using M = DataSetList::Match;
    const std::vector<std::tuple<const char*, M, int>> cases = {
        {"北京市", M::kFound, 10}, // the whole name beats the longer one
        {"上海", M::kFound, 11}, {"北京", M::kAmbiguous, -1}, {"天津", M::kNone, -1}, {"", M::kNone, -1}};
    for (const auto& [text, match, number] : cases) {
        DataSetList::DataSet found;
        EXPECT_EQ(sets.Resolve(text, found), match) << text;
        EXPECT_TRUE(match != M::kFound || found.number == number) << text;
    }
    EXPECT_EQ(sets.Names(), "北京市, 上海市, 北京市郊");
    for (const char* text : {"", "\n\n", "10 北京市\n", "x\t北京市\n", "10\t\n", "10x\t北京市\n", "-1\t北京市\n"})
        EXPECT_FALSE(sets.Parse(text, error)) << '"' << text << '"';
    EXPECT_FALSE(sets.Load("/nonexistent/datasets.txt", error));
    EXPECT_EQ(error, "cannot read /nonexistent/datasets.txt");
}

TEST(HitText, JsonEscapesQuotesBackslashesAndControlsOnly)
{
    EXPECT_EQ(HitText::JsonString("a\"b\\c\n\t\x01\x7f 北京"), "\"a\\\"b\\\\c\\n\\t\\u0001\\u007f 北京\"");
    EXPECT_EQ(HitText("引\"号", 116.5, 39.25, "", 7).Json(),
              "{\"name\":\"引\\\"号\",\"lon\":116.500000,\"lat\":39.250000,\"address\":\"\",\"code\":7}");
    EXPECT_EQ(HitText("n", std::nan(""), -HUGE_VAL, "", 0).Json(),
              "{\"name\":\"n\",\"lon\":null,\"lat\":null,\"address\":\"\",\"code\":0}");
    EXPECT_EQ(HitText::DisplayWidth("ab北京１"), 8u); // the full-width digit is wide too
}

TEST(PoiStore, KeepsFavouritesAndHistoryAcrossRuns)
{
    TempDir temp;
    const std::string dir = temp.Path("");
    ASSERT_EQ(Store(dir, {"fav", "add", "天安门", "116.397428", "39.903741", "--address", "北京市东城区", "--code", "1050"}).status, 0);
    ASSERT_EQ(Store(dir, {"fav", "add", "外滩", "121.490317", "31.241701"}).status, 0);
    ASSERT_EQ(Store(dir, {"fav", "list", "--json"}).lines,
              (std::vector<std::string>{
                  "{\"name\":\"外滩\",\"lon\":121.490317,\"lat\":31.241701,\"address\":\"\",\"code\":0}",
                  "{\"name\":\"天安门\",\"lon\":116.397428,\"lat\":39.903741,\"address\":\"北京市东城区\",\"code\":1050}"}));
    EXPECT_EQ(Store(dir, {"fav", "remove", "2"}).status, 1);
    ASSERT_EQ(Store(dir, {"fav", "remove", "0"}).status, 0);
    // A second use moves an entry up; each run is a fresh engine, so the
    // order must have been saved; clearing history leaves favourites.
    for (const char* name : {"甲", "乙", "乙"})
        ASSERT_EQ(Store(dir, {"history", "add", name, "1", "2"}).status, 0);
    const Result history = Store(dir, {"history", "list", "--json"});
    ASSERT_EQ(history.lines.size(), 2u);
    EXPECT_EQ(JsonName(history.lines[0]), "乙");
    ASSERT_EQ(Store(dir, {"history", "clear"}).status, 0);
    EXPECT_TRUE(Store(dir, {"history", "list", "--json"}).lines.empty());
    const Result favourites = Store(dir, {"fav", "list", "--json"});
    ASSERT_EQ(favourites.lines.size(), 1u);
    EXPECT_EQ(JsonName(favourites.lines[0]), "天安门");

    for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
             {"fav", "add", "x", "181", "0"},
             {"fav", "add", "x", "1", "nan"},
             {"fav", "add", "", "1", "2"},
             {"fav", "add", std::string(22 * 3, '\xe4'), "1", "2"},
             {"fav", "add", "x", "1", "2", "--code", "4294967296"},
             {"fav", "remove", "-1"},
             {"fav", "list", "--code", "1"},
             {"likes", "list"}}) {
        EXPECT_EQ(Store(dir, args).status, 2) << args[0] << " " << args[1] << " " << args.back();
    }
    EXPECT_EQ(Store(temp.Path("missing"), {"fav", "list"}).status, 1);
}

// Runs `poi store --data DIR ARGS` in a child process; its exit status.
pid_t StoreInChild(const std::string& dir, const std::vector<std::string>& args, long fileSizeLimit = -1)
{
    const pid_t child = fork();
    if (child == 0) {
        const rlimit limit{static_cast<rlim_t>(fileSizeLimit), static_cast<rlim_t>(fileSizeLimit)};
        if (fileSizeLimit >= 0)
            setrlimit(RLIMIT_FSIZE, &limit);
        _exit(Store(dir, args).status);
    }
    return child;
}

int ExitStatus(pid_t child)
{
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

TEST(PoiStore, ConcurrentWritersTakeTurnsAndAFullDiskChangesNothing)
{
    TempDir store;
    const std::string dir = store.Path("");
    std::vector<pid_t> writers;
    for (int i = 0; i < 20; ++i)
        writers.push_back(StoreInChild(dir, {"fav", "add", "n" + std::to_string(i), "1", "2"}));
    for (const pid_t writer : writers)
        EXPECT_EQ(ExitStatus(writer), 0);
    const auto Entries = [&] { return Store(dir, {"fav", "list", "--json"}).lines.size(); };
    EXPECT_EQ(Entries(), 20u);

    // Past the file-size limit the save fails: exit 1, both files as they were.
    const auto size = std::filesystem::file_size(dir + "Favorite.poi");
    EXPECT_EQ(ExitStatus(StoreInChild(dir, {"fav", "add", "x", "1", "2"}, static_cast<long>(size) + 100)), 1);
    EXPECT_EQ(ExitStatus(StoreInChild(dir, {"fav", "remove", "0"}, 100)), 1);
    EXPECT_EQ(Entries(), 20u);
    EXPECT_EQ(std::filesystem::file_size(dir + "Favorite.poibak"), size - 152);

    // A run that cannot get the directory in time says so.
    DirectoryLock held;
    ASSERT_EQ(held.Acquire(dir + StoreCommand::kLockFile, true, std::chrono::milliseconds(0)),
              DirectoryLock::Result::kLocked);
    std::ostringstream out, err;
    StoreCommand busy(out, err);
    busy.SetLockWait(std::chrono::milliseconds(20));
    EXPECT_EQ(busy.Run({"--data", dir, "fav", "add", "x", "1", "2"}), 1);
    EXPECT_EQ(err.str(), "poi store: " + dir + " is busy: another poi store kept it locked for 20 ms; try again\n");
}

TEST(PoiStore, DamagedStoreIsReportedAndRestoredFromTheBackup)
{
    TempDir temp;
    const std::string dir = temp.Path(""), main = dir + "Favorite.poi";
    const auto Fav = [&](std::vector<std::string> args) {
        args.insert(args.begin(), "fav");
        return Store(dir, args);
    };
    for (const char* name : {"a", "b", "c", "d"})
        ASSERT_EQ(Fav({"add", name, "1", "2"}).status, 0);
    // A record of random bytes (a NaN longitude among them) behind the three
    // good records of the backup; the list says so and prints valid JSON.
    std::filesystem::resize_file(main, 3 * 152);
    const std::string garbage(152, '\xFF');
    std::ofstream(main, std::ios::app | std::ios::binary) << garbage;
    Result r = Fav({"list", "--json"});
    EXPECT_EQ(r.status, 1);
    ASSERT_EQ(r.lines.size(), 4u);
    EXPECT_NE(r.lines[0].find("\"lon\":null,\"lat\":null"), std::string::npos) << r.lines[0];
    EXPECT_EQ(r.err, "poi store: " + main + " is damaged; 4 entries could be read; 'poi store --data " + dir +
                         " fav restore' brings back the 3 entries of " + main + "bak\n");
    // With a backup at hand, a change waits for the user's choice.
    EXPECT_EQ(Fav({"add", "e", "1", "2"}).status, 1);
    EXPECT_EQ(Fav({"restore"}).lines, std::vector<std::string>{"favourites: restored 3 entries from " + main + "bak"});
    EXPECT_EQ(Fav({"list", "--json"}).lines.size(), 3u);

    // Temporary files that a killed run left go with the next change; a
    // fresh one may be being written now.
    const std::string stray = main + ".a1B2c3", fresh = main + "bak.x9Y8z7", other = main + ".mine";
    for (const std::string& f : {stray, fresh, other})
        std::ofstream(f) << "x";
    std::filesystem::last_write_time(stray, std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
    EXPECT_EQ(Fav({"add", "e", "1", "2"}).status, 0);
    EXPECT_EQ(std::vector<bool>({false, true, true}),
              std::vector<bool>({std::filesystem::exists(stray), std::filesystem::exists(fresh),
                                 std::filesystem::exists(other)}));

    // Without a usable backup there is nothing to restore; a change keeps
    // what could be read.
    std::filesystem::remove(main + "bak");
    EXPECT_EQ(Fav({"restore"}).status, 1);
    std::filesystem::resize_file(main, 2 * 152);
    std::ofstream(main, std::ios::app | std::ios::binary) << garbage << "cut";
    r = Fav({"add", "f", "1", "2"});
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.err.find("dropped entry 0 of favourites"), std::string::npos) << r.err;
    r = Fav({"list", "--json"});
    EXPECT_EQ(r.status, 0) << r.err; // sound again
    EXPECT_EQ(r.lines.size(), 3u);
}

// One data set of two cities, compiled by the real compiler: the hints for
// text typed to the wrong search and the notes for a --city that names
// several cities. None changes the exit status.
TEST(PoiSearchHints, GoToStderrAndKeepTheStatus)
{
    const TempDir dir;
    const std::string src = dir.Path("src"), out = dir.Path("out");
    std::filesystem::create_directory(src);
    const std::string header = "name,lon,lat,category,phone,province,city,county\n";
    const std::pair<const char*, std::string> files[] = {
        {"districts.geojson", R"({"type":"FeatureCollection","features":[
{"type":"Feature","properties":{"province":"河北省","city":"石家庄市","county":"长安区"},"geometry":{"type":"Polygon","coordinates":[[[114,38],[115,38],[115,39]]]}},
{"type":"Feature","properties":{"province":"河北省","city":"唐山市","county":"路北区"},"geometry":{"type":"Polygon","coordinates":[[[118,39],[119,39],[119,40]]]}}]})"},
        {"categories.txt", "餐饮服务\n\t中餐厅\t2000\n"},
        {"pois.csv", header + "石家庄饭店,114.5,38.5,2000,,河北省,石家庄市,长安区\n唐山饭店,118.5,39.5,2000,,河北省,唐山市,路北区\n"},
        {"sights.csv", header},
        {"placenames.csv", header},
        {"crossroads.csv", "name,lon,lat,province,city,county\n"},
        {"words.txt", "饭店 100\n"}};
    for (const auto& [name, text] : files)
        std::ofstream(src + "/" + name, std::ios::binary) << text;
    std::ostringstream report;
    DataCompiler::Options options;
    options.source = src;
    options.output = out;
    DataCompiler compiler(options, report);
    ASSERT_TRUE(compiler.Run()) << compiler.GetError();

    const std::string cities = "poi search: note: --city '市' matches 2 cities (石家庄市, 唐山市); ";
    const struct {
        const char* kind;
        std::vector<std::string> args;
        std::string err;
    } cases[] = {
        {"initial", {"北京大学"}, "poi search: hint: initial takes pinyin initials (BJDX for 北京大学); to search for "
                                  "Chinese words use: poi search text '北京大学'\n"},
        {"text", {"bj-dx"}, "poi search: hint: text searches for the words of names, and 'bj-dx' is none; to "
                            "search by pinyin initials use: poi search initial BJDX\n"},
        {"text", {"bjdx"}, ""}, // letters alone may be a name's
        {"initial", {"TSFD"}, ""},
        {"initial", {"QQ"}, ""},
        {"text", {"饭店"}, ""},
        {"initial", {"--city", "市", "FD"}, cities + "initial searched them all\n"},
        {"text", {"--province", "河北", "--city", "市", "饭店"}, cities + "text searched only the first, 石家庄市\n"},
        {"initial", {"--city", "唐山", "TSFD"}, ""},
        {"text", {"--province", "河北", "--city", "唐山", "饭店"}, ""},
        {"text", {"--city", "唐山", "饭店"},
         "poi search: note: without --province, text does not apply --city '唐山': it searched every city\n"},
    };
    for (const auto& c : cases) {
        std::vector<std::string> args = {"--data", out, c.kind, "--limit", "0"};
        args.insert(args.end(), c.args.begin(), c.args.end());
        const Result r = RunCommand<SearchCommand>(args);
        EXPECT_EQ(r.status, 0) << c.args.back();
        EXPECT_EQ(r.err, c.err) << c.args.back();
    }
}

} // namespace
