// `poi search` of every kind on the compiled sample: bad input is one line on
// stderr with the status of its kind (2 usage, 1 a failed search); the answers
// themselves, pages, JSON and more bad input included, are held by the golden
// test. A damaged crossroad file is named by its place in the data directory.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "SearchCommand.h"
#include "Support/CommandRun.h"
#include "Support/CompiledSample.h"

using namespace Kest;
using KestTest::CompiledSample;
using Result = KestTest::CommandResult;

namespace {

Result Search(const std::string& data, std::vector<std::string> args)
{
    args.insert(args.begin(), {"--data", data});
    return KestTest::RunCommand<SearchCommand>(args);
}

TEST(PoiSearchCommand, BadInputIsOneLineWithTheStatusOfItsKind)
{
    const std::string data = CompiledSample::Get().Root();
    const struct {
        std::vector<std::string> args;
        int status;
        std::string text; // stdout holds it for status 0, stderr otherwise
    } cases[] = {
        {{"telephone", "010"}, 2, ""},
        {{"initial", "BJ"}, 2, ""}, // two data sets and no province
        {{"initial", "--province", "北京", "--limit", "-1", "BJ"}, 2, ""},
        {{"initial", "--province", "北京"}, 2, ""},
        {{"initial", "--province", "北京", "--refine", "", "BJ"}, 2, ""},
        {{"initial", "--province", "北京", "--colour", "BJ"}, 2, ""},
        {{"initial", "--province", "😀", "BJ"}, 2, ""}, // text GBK cannot hold
        {{"initial", "--province", "天津", "BJ"}, 1, "no data set for province '天津'"},
        {{"text", "--province", "北京", ""}, 2, ""},
        {{"address"}, 2, ""},
        {{"address", "--province", "北京", "--level", "0"}, 2, ""},
        {{"address", "--province", "北京", "朝阳"}, 2, ""},
        {{"address", "--province", "北京", "--limit", "-2"}, 2, ""},
        {{"address", "--province", "北京", "--city", "北京", "--county", "浦东"}, 1, ""},
        {{"address", "--province", "北京", "--county", "朝阳"}, 0, ""}, // a county without a city: a note
        {{"categories"}, 0, "餐饮服务"},
        {{"cross", "initial", "--province", "北京", "DWDJTYGL"}, 0, "体育馆路与东外大街交叉口"}, // either road first
        {{"cross", "--province", "北京", "TY"}, 2, ""},
        {{"cross", "road", "--province", "北京", "TY"}, 2, ""},
        {{"cross", "initial", "--province", "北京", ""}, 2, ""},
        {{"cross", "initial", "--province", "北京", "--mode", "4", "TY"}, 2, ""},
        {{"cross", "initial", "--province", "北京", "--mode", "x", "TY"}, 2, ""},
        {{"cross", "text", "TY"}, 2, ""},
        {{"cross", "initial", "--province", "北京", "--city", "天津", "TY"}, 1, ""},
        {{"sight"}, 2, ""},
        {{"sight", "GG"}, 2, ""},
        {{"place", "pinyin", "GG"}, 2, ""},
        {{"sight", "initial", ""}, 2, ""},
        {{"place", "text", "a", "b"}, 2, ""},
        {{"sight", "--refine", "", "initial", "G"}, 2, ""},
        {{"sight", "--province", "北京", "initial", "G"}, 2, ""},
        // The table form of a county; Chongming, an island away from Shanghai's largest part.
        {{"district", "116.397", "39.909"}, 0, "county 1: 北京市东城区\n"},
        {{"district", "121.5", "31.6"}, 0, "上海市崇明区"},
        {{"district", "116.4"}, 2, "expected LON LAT after 'district', got 1 word"},
        {{"district", "116.4", "91"}, 2, "LAT '91' is not a latitude"},
        {{"district", "east", "39.9"}, 2, "LON 'east' is not a longitude"},
    };
    for (const auto& c : cases) {
        const Result r = Search(data, c.args);
        const std::string what = c.args[0] + " " + c.args.back() + ": " + r.err;
        EXPECT_EQ(r.status, c.status) << what;
        std::string out;
        for (const std::string& line : r.lines)
            out += line + "\n";
        EXPECT_NE((c.status == 0 ? out : r.err).find(c.text), std::string::npos) << what << out;
        if (c.status != 0 || !r.err.empty()) {
            EXPECT_EQ(r.err.rfind("poi search: ", 0), 0u) << what;
            EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << what;
        }
    }
    // A category by name and by code give the same hits.
    std::vector<std::string> byName = {"address", "--json", "--province", "北京", "--city", "北京", "--county", "朝阳",
                                       "--limit", "100", "--category", "咖啡厅"};
    std::vector<std::string> byCode = byName;
    byCode.back() = "2025";
    const Result named = Search(data, byName);
    EXPECT_EQ(named.lines.front(), "{\"count\":37,\"category\":\"2025\",\"level\":4}");
    EXPECT_EQ(named.lines, Search(data, byCode).lines);
}

TEST(PoiSearchCommand, NamesADamagedCrossroadFile)
{
    const KestTest::TempDir scratch;
    const std::string data = scratch.Path("data"), path = data + "/POI/CrossRoad/410.ndf";
    std::filesystem::copy(CompiledSample::Get().Root(), data, std::filesystem::copy_options::recursive);
    std::vector<unsigned char> bytes = KestTest::TempDir::Read(path);
    for (std::size_t i = 100; i < bytes.size(); i += 97)
        bytes[i] ^= 0x21;
    KestTest::TempDir::Write(path, bytes);
    const Result r = Search(data, {"cross", "initial", "--province", "北京", "TY"});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find(path), std::string::npos) << r.err;
}

} // namespace
