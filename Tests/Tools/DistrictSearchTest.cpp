// `poi search district` on the compiled sample: the county and its name, as
// a table and as JSON, and the exit status and one-line message of a point
// in no county and of bad arguments.

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "SearchCommand.h"
#include "Support/CompiledSample.h"

using namespace Kest;

namespace {

TEST(PoiDistrictSearch, CountyNameExitStatusAndMessages)
{
    const std::string data = KestTest::CompiledSample::Get().Root();
    struct Case {
        std::vector<std::string> args;
        int status;
        std::string out; // stdout holds this
        std::string err; // stderr holds this (one line) when not empty
    } cases[] = {
        {{"district", "116.397", "39.909"}, 0, "county 1: 北京市东城区\n", ""},
        {{"--json", "district", "121.47", "31.23"},
         0,
         "{\"count\":1}\n{\"name\":\"上海市黄浦区\",\"lon\":121.470000,\"lat\":31.230000,\"address\":\"上海市黄浦区\","
         "\"code\":17}\n",
         ""},
        // Chongming, an island of Shanghai away from its largest part.
        {{"district", "121.5", "31.6"}, 0, "上海市崇明区", ""},
        {{"district", "0", "0"}, 1, "", "no county of " + data + " holds 0, 0"},
        {{"district", "116.4"}, 2, "", "expected LON LAT after 'district', got 1 word"},
        {{"district", "116.4", "91"}, 2, "", "LAT '91' is not a latitude"},
        {{"district", "east", "39.9"}, 2, "", "LON 'east' is not a longitude"},
    };
    for (const Case& c : cases) {
        std::vector<std::string> args = {"--data", data};
        args.insert(args.end(), c.args.begin(), c.args.end());
        std::ostringstream out, err;
        EXPECT_EQ(SearchCommand(out, err).Run(args), c.status) << c.args.back() << ": " << err.str();
        EXPECT_NE(out.str().find(c.out), std::string::npos) << out.str();
        if (!c.err.empty()) {
            EXPECT_NE(err.str().find(c.err), std::string::npos) << err.str();
            EXPECT_EQ(err.str().find('\n'), err.str().size() - 1) << err.str();
        }
    }
}

} // namespace
