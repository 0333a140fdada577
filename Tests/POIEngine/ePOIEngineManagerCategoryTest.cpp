// The engine's category list: the lists and codes read from "POI_SORT.txt",
// the rules that fail a load, and the longest line the data compiler writes.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Compiler/CategoryList.h"
#include "Compiler/GbkCodec.h"
#include "POIEngine/ePOIEngineManager.h"
#include "Support/EngineAnswers.h"

using namespace Kest;
using namespace KestTest;

namespace {

using Names = std::vector<std::string>;


class PoiSortTest : public ::testing::Test {
protected:
    void WriteSort(const std::string& text)
    {
        std::filesystem::create_directories(dir.Path("POI/Around"));
        std::ofstream(dir.Path("POI/Around/POI_SORT.txt"), std::ios::binary) << text;
    }
    std::string Root() const { return dir.Path("").substr(0, dir.Path("").size() - 1); }

    // A list call's names, or "<false>".
    static Names List(ProbedEngine& e, bool (ePOIEngineManager::*call)(char**&, int&))
    {
        char** list = nullptr;
        int count = -1;
        return (e.*call)(list, count) ? Names(list, list + count) : Names{"<false>"};
    }
    static Names Branches(ProbedEngine& e) { return List(e, &ePOIEngineManager::GetBranchPoiTypes); }
    static Names All(ProbedEngine& e) { return List(e, &ePOIEngineManager::GetAllPoiTypes); }
    static Names Leaves(ProbedEngine& e, const char* branch)
    {
        char** list = nullptr;
        int count = -1;
        return e.GetPoiTypes(branch, list, count) ? Names(list, list + count) : Names{"<false>"};
    }

    TempDir dir;
};

TEST_F(PoiSortTest, ListsAndCodes)
{
    // A leaf above the first branch is a leaf of no branch, yet the first
    // branch's count includes it, so that branch reaches into the next.
    WriteSort("\tpre\t7\nFood\n\tTea\t1\n\tdup\t2\nShop\r\n\tDup\t3\n\tBook\t4\n");
    ProbedEngine e(Root());
    EXPECT_EQ(Branches(e), (Names{"Food", "Shop"}));
    EXPECT_EQ(All(e), (Names{"pre", "Tea", "dup", "Dup", "Book"}));
    EXPECT_EQ(e.GetPoiCode("pre"), 7);
    EXPECT_EQ(Leaves(e, "shop"), (Names{"Dup", "Book"}));
    EXPECT_EQ(e.GetPoiCode("DUP"), 3); // the current branch first
    EXPECT_EQ(Leaves(e, "FOOD"), (Names{"Tea", "dup", "Dup"}));
    EXPECT_EQ(e.GetPoiCode("dup"), 2);
    EXPECT_EQ(e.GetPoiCode("book"), 4); // then every leaf
    EXPECT_EQ(e.GetPoiCode("Tea "), -1);
    EXPECT_EQ(Leaves(e, "Fo"), (Names{"<false>"}));
    EXPECT_EQ(e.CurrentBranch(), -1);
    EXPECT_EQ(e.GetPoiCode("dup"), 2); // the first of all leaves again
    EXPECT_EQ(Leaves(e, nullptr), (Names{"Food", "Shop"}));
    // Each list replaces the last; ReleaseQueryMem frees the last and keeps
    // the arrays.
    e.ReleaseQueryMem();
    e.ReleaseQueryMem();
    std::filesystem::remove(dir.Path("POI/Around/POI_SORT.txt"));
    EXPECT_EQ(All(e).size(), 5u);
}

TEST_F(PoiSortTest, LoadFailures)
{
    struct Case {
        const char* what;
        std::string text; // empty: no file
        Names branches;   // the second call, on what the failed load kept
    };
    const std::vector<Case> cases = {
        {"no file", "", {"<false>"}},
        {"blank line", "Food\n\tTea\t1\n\nShop\n\tBook\t4\n", {"Food"}},
        {"leaf without code", "Food\n\tTea\t1\n\tCake\n", {"Food"}},
        {"code not a number", "Food\n\tTea\tx\n", {"<false>"}},
        {"no branch", "\tTea\t1\n", {"<false>"}},
        {"no line", "\n", {"<false>"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::filesystem::remove_all(dir.Path("POI"));
        if (!c.text.empty())
            WriteSort(c.text);
        ProbedEngine e(Root());
        EXPECT_FALSE(e.LoadPoiSort());
        EXPECT_EQ(e.GetPoiCode("Tea"), c.branches[0] == "<false>" ? -1 : 1);
        // Once both arrays hold something the file is not read again.
        WriteSort("Other\n\tTea\t9\n");
        EXPECT_EQ(Branches(e), c.branches[0] == "<false>" ? Names{"Other"} : c.branches);
    }
    // A branch of a load that failed has no count: its list is empty.
    WriteSort("Food\n\tTea\t1\n\n");
    ProbedEngine e(Root());
    EXPECT_EQ(Branches(e), (Names{"<false>"}));
    EXPECT_EQ(Leaves(e, "Food"), Names{});
}

// The engine reads lines into 100 bytes: a line of 98 bytes and its line
// end is read whole, a longer one would split. The compiler writes no
// longer line.
TEST_F(PoiSortTest, TheLongestLineTheCompilerWritesReadsWhole)
{
    for (std::size_t length : {std::size_t(98), std::size_t(99)}) {
        SCOPED_TRACE(length);
        // "\t" + name + "\t1000000": 9 bytes beside the name.
        const std::string name = std::string(length - 9, 'a');
        const std::string text = "Long\n\t" + name + "\t1000000\n";
        CategoryList list;
        std::string error;
        std::size_t line = 0;
        EXPECT_EQ(list.Parse(text, error, line), length == 98) << error;
        WriteSort(text);
        ProbedEngine e(Root());
        EXPECT_EQ(e.LoadPoiSort(), length == 98);
        if (length == 98) {
            EXPECT_EQ(list.GbkText(), text);
            EXPECT_EQ(e.GetPoiCode(name.c_str()), 1000000);
        }
    }
}

} // namespace
