// `poi search sight|place initial|text` on the compiled sample: usage errors,
// the JSON summary, and pages past the engine's first batch.

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "SearchCommand.h"
#include "Support/CommandRun.h"
#include "Support/CompiledSample.h"

using namespace Kest;
using KestTest::CompiledSample;

namespace {

using Result = KestTest::CommandResult;

Result Search(std::vector<std::string> args)
{
    args.insert(args.begin(), {"--data", CompiledSample::Get().Root()});
    return KestTest::RunCommand<SearchCommand>(args);
}

TEST(SightSearchCommand, UsageErrorsAreOneLineWithStatusTwo)
{
    for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
             {"sight"}, {"sight", "GG"}, {"place", "pinyin", "GG"}, {"sight", "initial", ""},
             {"place", "text", "a", "b"}, {"sight", "--refine", "", "initial", "G"}, {"sight", "--province", "北京", "initial", "G"}}) {
        const Result r = Search(args);
        EXPECT_EQ(r.status, 2) << args.back() << ": " << r.err;
        EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << r.err;
    }
}

TEST(SightSearchCommand, PagesPastTheFirstBatchMatchOneLongList)
{
    for (const char* kind : {"sight", "place"}) {
        const Result all = Search({"--json", "--limit", "1000", kind, "initial", "S"});
        ASSERT_EQ(all.status, 0) << all.err;
        ASSERT_GT(all.lines.size(), 120u) << kind; // the summary and more than 100 hits
        EXPECT_EQ(all.lines[0].find("{\"next\":\""), 0u) << all.lines[0];
        for (std::size_t offset : {0u, 97u, 101u}) {
            const Result page = Search({"--json", "--offset", std::to_string(offset), "--limit", "5", kind, "initial", "s"});
            ASSERT_EQ(page.lines.size(), 6u) << kind << " " << offset;
            for (std::size_t i = 1; i < 6; ++i)
                EXPECT_EQ(page.lines[i], all.lines[offset + i]) << kind << " " << offset;
        }
    }
    const Result text = Search({"--json", "--limit", "1000", "place", "text", "村"});
    ASSERT_EQ(text.status, 0) << text.err;
    EXPECT_EQ(text.lines[0], "{\"count\":100}");
    EXPECT_EQ(text.lines.size(), 101u);
}

} // namespace
