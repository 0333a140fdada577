// `poi search address` and `poi search categories` on the compiled sample:
// a category by name and by code give the same hits, and every bad input
// gives one line on stderr with the status of its kind.

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "SearchCommand.h"
#include "Support/CommandRun.h"
#include "Support/CompiledSample.h"

using namespace Kest;

namespace {

using Result = KestTest::CommandResult;

Result Search(std::vector<std::string> args)
{
    args.insert(args.begin(), {"--data", KestTest::CompiledSample::Get().Root()});
    return KestTest::RunCommand<SearchCommand>(args);
}

TEST(AddressCommand, CategoriesAndAddressAgree)
{
    Result r = Search({"categories", "--json"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.lines.front(), "{\"count\":14}");
    EXPECT_EQ(r.lines.at(2), "{\"name\":\"餐饮服务\"}");
    r = Search({"categories", "--json", "餐饮服务"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.lines.front(), "{\"branch\":\"餐饮服务\",\"count\":9}");
    EXPECT_EQ(r.lines.at(6), "{\"name\":\"咖啡厅\",\"code\":2025}");

    const std::vector<std::string> area = {"address", "--json", "--province", "北京", "--city", "北京", "--county", "朝阳"};
    auto with = [&](std::vector<std::string> more) {
        std::vector<std::string> args = area;
        args.insert(args.end(), more.begin(), more.end());
        return Search(args);
    };
    const Result byName = with({"--category", "咖啡厅", "--limit", "100"});
    const Result byCode = with({"--category", "2025", "--limit", "100"});
    ASSERT_EQ(byName.status, 0) << byName.err;
    EXPECT_EQ(byName.lines, byCode.lines);
    EXPECT_EQ(byName.lines.front(), "{\"count\":37,\"category\":\"2025\",\"level\":4}");
    EXPECT_EQ(byName.lines.size(), 38u);
    EXPECT_NE(byName.lines.back().find("\"address\":\"北京市朝阳区\",\"code\":2025}"), std::string::npos);
    // Level 2: the same names, nothing else.
    const Result names = with({"--category", "2025", "--level", "2", "--limit", "1"});
    EXPECT_EQ(names.lines.at(1).substr(0, names.lines.at(1).find(",\"lon\"")),
              byName.lines.at(1).substr(0, byName.lines.at(1).find(",\"lon\"")));
    EXPECT_NE(names.lines.at(1).find("\"lon\":0.000000,\"lat\":0.000000,\"address\":\"\",\"code\":0"),
              std::string::npos);
    // A county without a city is not applied, and the note says so.
    r = Search({"address", "--province", "北京", "--county", "朝阳"});
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.err.find("does not apply --county '朝阳'"), std::string::npos) << r.err;
}

TEST(AddressCommand, BadInputIsOneLineWithItsStatus)
{
    const std::vector<std::pair<std::vector<std::string>, int>> cases = {
        {{"address"}, 2},
        {{"address", "--province", "*"}, 2},
        {{"address", "--province", "北京", "--level", "0"}, 2},
        {{"address", "--province", "北京", "--level", "x"}, 2},
        {{"address", "--province", "北京", "朝阳"}, 2},
        {{"address", "--province", "北京", "--limit", "-2"}, 2},
        {{"categories", "餐饮", "服务"}, 2},
        {{"address", "--province", "天津"}, 1},
        {{"address", "--province", "北京", "--city", "北京", "--county", "浦东"}, 1},
        {{"address", "--province", "北京", "--category", "奶茶"}, 1},
        {{"categories", "餐饮"}, 1},
    };
    for (const auto& [args, status] : cases) {
        const Result r = Search(args);
        EXPECT_EQ(r.status, status) << args.back() << ": " << r.err;
        EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << r.err;
        EXPECT_EQ(r.err.rfind("poi search: ", 0), 0u) << r.err;
    }
}

} // namespace
