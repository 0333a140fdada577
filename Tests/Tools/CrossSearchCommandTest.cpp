// `poi search cross` on the bundled sample: both searches as JSON, the usage
// errors, and a damaged crossroad file named by its place in the data
// directory.

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "SearchCommand.h"
#include "Support/CommandRun.h"
#include "Support/CompiledSample.h"

using namespace Kest;
namespace fs = std::filesystem;

namespace {

using Result = KestTest::CommandResult;

Result Cross(const std::string& data, std::vector<std::string> args)
{
    args.insert(args.begin(), {"--data", data, "cross"});
    return KestTest::RunCommand<SearchCommand>(args);
}

TEST(PoiCrossSearch, FindsACrossroadFromEitherRoad)
{
    const std::string data = KestTest::CompiledSample::Get().Root();
    const std::string hit = "{\"name\":\"体育馆路与东外大街交叉口\"";
    for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
             {"initial", "--province", "北京", "--json", "tygldwdj"},
             {"initial", "--province", "北京", "--json", "DWDJTYGL"},
             {"text", "--province", "北京", "--json", "东外大街与体育馆路"}}) {
        const Result r = Cross(data, args);
        ASSERT_EQ(r.status, 0) << r.err;
        ASSERT_EQ(r.lines.size(), 2u) << args.back();
        EXPECT_EQ(r.lines[0], args[0] == "text" ? "{\"count\":1}" : "{\"next\":\"\",\"count\":1}");
        EXPECT_EQ(r.lines[1].compare(0, hit.size(), hit), 0) << r.lines[1];
    }

    // Usage errors, one line each; a district that is not there fails.
    for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
             {"--province", "北京", "TY"},
             {"road", "--province", "北京", "TY"},
             {"initial", "--province", "北京", ""},
             {"initial", "--province", "北京", "--mode", "4", "TY"},
             {"initial", "--province", "北京", "--mode", "x", "TY"},
             {"text", "TY"}}) {
        const Result r = Cross(data, args);
        EXPECT_EQ(r.status, 2) << args.back() << ": " << r.err;
        EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << r.err;
    }
    EXPECT_EQ(Cross(data, {"initial", "--province", "北京", "--city", "天津", "TY"}).status, 1);
}

TEST(PoiCrossSearch, NamesADamagedCrossroadFile)
{
    KestTest::TempDir scratch;
    const std::string data = scratch.Path("data");
    fs::copy(KestTest::CompiledSample::Get().Root(), data, fs::copy_options::recursive);
    const std::string path = data + "/POI/CrossRoad/410.ndf";
    std::vector<unsigned char> bytes = KestTest::TempDir::Read(path);
    for (std::size_t i = 100; i < bytes.size(); i += 97)
        bytes[i] ^= 0x21;
    KestTest::TempDir::Write(path, bytes);
    const Result r = Cross(data, {"initial", "--province", "北京", "TY"});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find(data + "/POI/CrossRoad/410.ndf"), std::string::npos) << r.err;
}

} // namespace
