// The category index on a small tree: the walk's rules and odd category keys
// against the plain model, and damaged files. Random queries over the sample
// are compared with the same model by AddressDifferentialTest.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Compiler/CategoryIndexWriter.h"
#include "Compiler/PoiStoreWriter.h"
#include "Ndf/eNdfPool.h"
#include "POIEngine/eNdfIndexCategory.h"
#include "Support/CategoryOracle.h"
#include "Support/IndexOpen.h"
#include "Support/NdfFiles.h"
#include "Support/TempDir.h"

using namespace Kest;
using namespace KestTest;

namespace {

constexpr std::uint16_t kFile = NdfFormat::kCategoryIndexFileId;

using Ranges = std::vector<std::vector<std::string>>;

struct Answer {
    bool ok = false;
    Ranges ranges; // field 0 of every record of every range found
    std::uint32_t hitTotal = 0;
    bool operator==(const Answer& o) const { return ok == o.ok && ranges == o.ranges && hitTotal == o.hitTotal; }
};

class CategoryIndexTest : public ::testing::Test {
protected:
    // Writes the POIs of the tree to the store (file 1) and the tree to the
    // index, with small pages so that runs cross pages.
    void Write(CategoryNode& root, std::uint32_t pageSize = 256)
    {
        PoiStoreWriter store(NdfFormat::kPoiStoreFileId, pageSize);
        ASSERT_TRUE(store.Open(NdfFile(dir, NdfFormat::kPoiStoreFileId)));
        CategoryIndexWriter writer(kFile, pageSize);
        for (CategoryNode& p : root.kids) {
            writer.AddProvince(p.key);
            for (CategoryNode& c : p.kids) {
                ASSERT_TRUE(writer.AddCity(c.key));
                for (CategoryNode& k : c.kids) {
                    ASSERT_TRUE(writer.AddCounty(k.key));
                    for (CategoryNode& cat : k.kids) {
                        ueglobal_addr_t first{};
                        for (std::size_t i = 0; i < cat.kids.size(); ++i) {
                            ueglobal_addr_t at{};
                            ASSERT_TRUE(store.Add(PoiStoreRecord{cat.kids[i].key, 1, 2, cat.kids[i].code, 0}, at));
                            if (i == 0)
                                first = at;
                        }
                        ASSERT_TRUE(writer.AddCategory(KeyCode(cat.key), first,
                                                       static_cast<std::uint32_t>(cat.kids.size())));
                    }
                }
            }
        }
        ASSERT_TRUE(store.Close());
        ASSERT_TRUE(writer.Write(NdfFile(dir, kFile))) << writer.GetError();
        Open(reader);
    }

    void Open(eNdfIndexCategory& index) { OpenIndex(index, pool, DataDir(dir), kFile); }

    Answer Ask(eNdfIndexCategory& index, const std::vector<std::string>& keyList)
    {
        const eArray<eString> keys = KeyArray(keyList);
        eArray<ueglobal_addr_t> gids;
        eArray<unsigned int> nums;
        eArray<eString> names;
        names.Add("stale");
        Answer a;
        a.ok = index.Query(keys, gids, nums, names);
        EXPECT_EQ(gids.GetSize(), nums.GetSize());
        if (a.ok) {
            EXPECT_EQ(names.GetSize(), 0);
        }
        a.hitTotal = index.GetHitCount();
        eNdfRecordsetTabular rs;
        for (int i = 0; i < gids.GetSize(); ++i) {
            a.ranges.emplace_back();
            rs.SetRun(&pool, gids[i], nums[i]);
            for (rs.MoveFirst(); !rs.IsEOF(); rs.MoveNext()) {
                eString text;
                rs.GetFieldValue(0, text);
                a.ranges.back().emplace_back(text.Cstr(), static_cast<std::size_t>(text.GetLength()));
            }
        }
        return a;
    }
    Answer Ask(const std::vector<std::string>& keyList) { return Ask(reader, keyList); }

    static Answer Model(const CategoryNode& root, const std::vector<std::string>& keys)
    {
        const CategoryAnswer m = CategoryQuery(root, keys);
        Answer a;
        a.ok = m.ok;
        a.hitTotal = m.ok ? m.hitTotal : 0;
        for (const auto* range : m.ranges) {
            a.ranges.emplace_back();
            for (const CategoryNode& node : *range)
                a.ranges.back().push_back(node.key);
        }
        return a;
    }

    TempDir dir;
    eNdfPool pool;
    eNdfIndexCategory reader;
};

CategoryNode Area(const std::string& name, std::vector<CategoryNode> kids = {})
{
    return CategoryNode{name, std::move(kids), false, 0};
}

CategoryNode Category(std::uint32_t code, int pois, const std::string& tag)
{
    CategoryNode node{CodeKey(code), {}, false, 0};
    for (int i = 0; i < pois; ++i)
        node.kids.push_back(CategoryNode{tag + "#" + std::to_string(code) + "." + std::to_string(i), {}, true, code});
    return node;
}

// A tree small enough to state every answer; the last county holds the
// codes at the ends of the 32-bit range.
CategoryNode SmallTree()
{
    CategoryNode root;
    root.kids = {Area("North", {Area("Hill", {Area("EastTown", {Category(0, 1, "e"), Category(5, 2, "e")}),
                                              Area("WestTown", {Category(5, 3, "w"), Category(9, 1, "w")})}),
                                Area("Lake", {Area("Town", {Category(5, 1, "t")})})}),
                 Area("South", {Area("Bay", {Area("Port", {Category(2, 1, "p")}),
                                             Area("Edge", {Category(0x7FFFFFFFu, 1, "m"), Category(0x80000000u, 1, "n"),
                                                           Category(0xFFFFFFFFu, 2, "f")})})})};
    return root;
}

// Keys for every rule of the walk and odd category keys, on a tree small
// enough to state every answer; the plain model (the one the differential
// test over the sample trusts) gives the answers.
std::vector<std::vector<std::string>> Keys()
{
    std::vector<std::vector<std::string>> keys = {
        // No key: the provinces' run itself. (Each area range found is read
        // one level down: its records' children are the answer.)
        {},
        // One key is matched whole; empty takes every province; "*" walks nothing.
        {"South"}, {"Sou"}, {""}, {"*"},
        // The walk by substring: "Town" is first found in EastTown.
        {"North", "Hill", "Town", "5"}, {"North", "Hill", "Town", "9"}, {"North", "Hill", "Mill", "5"},
        // "0" is a real code; "x" reads as 0 too; "*" and "" take every category.
        {"North", "Hill", "East", "0"}, {"North", "Hill", "East", "x"}, {"North", "Hill", "East", ""},
        {"North", "Hill", "East", "*"},
        // "*" at level 2: every county of the city; at level 1 every county
        // of every city, the county key not looked at.
        {"North", "Hill", "*", "5"}, {"North", "*", "Nowhere", "5"},
        // "*" at level 0 appends each province's cities (whose records then
        // stand for categories) and walks on in the last province.
        {"*", "Bay", "Port", "*"}};
    // Codes at the ends of the 32-bit range, and past them.
    for (const char* code : {"2147483647", "2147483648", "4294967295", "-1", "99999999999", "5abc", "1094795585"})
        keys.push_back({"South", "Bay", "Edge", code});
    return keys;
}

TEST_F(CategoryIndexTest, WalksTheAreasByItsRules)
{
    CategoryNode root = SmallTree();
    Write(root);
    int found = 0;
    for (const auto& keys : Keys()) {
        SCOPED_TRACE(testing::PrintToString(keys));
        const Answer a = Ask(keys);
        EXPECT_EQ(a, Model(root, keys));
        found += a.ok && !a.ranges.empty();
    }
    EXPECT_GE(found, 12); // most keys find something
}

// Damage: a truncated file and flipped bytes in the header, a middle page
// and the last page. Every query answers as on the clean file, or fails or
// differs with the damage named by the pool; nothing reads outside a buffer.
TEST_F(CategoryIndexTest, DamageFailsOrIsNamed)
{
    CategoryNode root = SmallTree();
    Write(root);
    const std::vector<std::vector<std::string>> queries = Keys();
    std::vector<Answer> clean;
    for (const auto& keys : queries)
        clean.push_back(Ask(keys));
    const std::vector<unsigned char> good = TempDir::Read(NdfFile(dir, kFile));
    const std::size_t end = good.size();

    auto check = [&](const std::vector<unsigned char>& bytes, const char* what, bool allFail) {
        SCOPED_TRACE(what);
        TempDir::Write(NdfFile(dir, kFile), bytes);
        eNdfPool fresh;
        eNdfIndexCategory index;
        OpenIndex(index, fresh, DataDir(dir), kFile);
        for (std::size_t i = 0; i < queries.size(); ++i) {
            SCOPED_TRACE(testing::PrintToString(queries[i]));
            fresh.ClearDamage();
            const Answer a = Ask(index, queries[i]);
            if (allFail) {
                EXPECT_FALSE(a.ok);
            }
            if (!(a == clean[i])) {
                EXPECT_TRUE(!a.ok || !fresh.GetDamage().IsEmpty());
            }
        }
    };
    check(std::vector<unsigned char>(good.begin(), good.begin() + static_cast<long>(end / 2)), "truncated", true);
    for (std::size_t flip : {std::size_t(3), std::size_t(20), end / 2, end - 40}) {
        std::vector<unsigned char> bytes = good;
        bytes[flip] ^= 0x10;
        check(bytes, ("flip at " + std::to_string(flip)).c_str(), flip == 3);
    }
}

} // namespace
