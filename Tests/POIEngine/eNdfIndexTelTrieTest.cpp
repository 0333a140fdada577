// The telephone trie on small hand-made number sets: the edges that the
// differential test over the sample (TelDifferentialTest) does not reach: a
// node without POIs of its own, an empty trie, an unopened reader, the file
// tried once, a list of exactly 100 entries, and damaged files.

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "Compiler/PoiStoreWriter.h"
#include "Compiler/TelTrieWriter.h"
#include "POIEngine/eNdfIndexTelTrie.h"
#include "Support/EngineAnswers.h"

using namespace Kest;
using namespace KestTest;

namespace {

// Writes "<root>/POI/Tel/" with one POI per number; the POI's longitude is
// its position in `numbers`, so hits can be told apart.
void WriteTel(const std::string& root, std::vector<std::string> numbers,
              std::uint32_t pageSize = NdfFormat::kDefaultTargetPageSize)
{
    const std::string dir = root + "/POI/Tel/";
    std::filesystem::create_directories(dir);
    std::vector<std::size_t> order(numbers.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return TelTrieWriter::StoreOrder(numbers[a], numbers[b]); });
    PoiStoreWriter store(NdfFormat::kTelStoreFileId, 256);
    ASSERT_TRUE(store.Open(dir + "1.ndf"));
    TelTrieWriter trie(NdfFormat::kTelIndexFileId, 0, pageSize);
    for (std::size_t i : order) {
        PoiStoreRecord record;
        record.name = "poi" + numbers[i];
        record.lon = static_cast<std::uint32_t>(i);
        ueglobal_addr_t addr{};
        ASSERT_TRUE(store.Add(record, addr));
        ASSERT_TRUE(trie.Add(numbers[i], addr)) << trie.GetError();
    }
    ASSERT_TRUE(store.Close());
    ASSERT_TRUE(trie.Write(dir + "102.ndf")) << trie.GetError();
}

const std::vector<std::string> kNumbers = {"1386", "13801", "138", "1380", "139", "2", "1380", "13869"};


// QueryByTelephone: the next characters, or "<false>".
std::string Tel(ePOIEngineManager& engine, const char* typed)
{
    char* next = nullptr;
    int count = 0;
    return engine.QueryByTelephone(typed, next, count) ? std::string(next, static_cast<std::size_t>(count)) : "<false>";
}

// The hits come level by level, ascending digits; the differential test over
// the sample compares ordinary prefixes, these rows the odd ones.
TEST(QueryByTelephone, AnswersAsTheTrieOrdersThem)
{
    TempDir dir;
    WriteTel(dir.Path("d"), kNumbers);
    ProbedEngine engine(dir.Path("d"));
    const struct {
        const char* typed;
        const char* next;
        std::vector<std::string> hits; // "poi" + number
    } cases[] = {
        {"13", "89", {"poi138", "poi139", "poi1380", "poi1380", "poi1386", "poi13801", "poi13869"}}, // no POIs of its own
        {"13801x", "", {"poi13801"}}, // the sixth character lies past the depth
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.typed);
        EXPECT_EQ(Tel(engine, c.typed), c.next);
        EXPECT_EQ(HitList(engine), c.hits);
    }
    // Two POIs of one number are one entry of count 2.
    eNdfPool pool;
    eNdfIndexTelTrie trie;
    OpenIndex(trie, pool, dir.Path("d/POI/Tel/"), NdfFormat::kTelIndexFileId);
    EXPECT_EQ(Ask(trie, {"1380"}).nums, (std::vector<unsigned>{2, 1}));
    EXPECT_FALSE(Ask(trie, {}).ok);
}

TEST(eNdfIndexTelTrie, EmptyTrieAndUnopenedReader)
{
    TempDir dir;
    WriteTel(dir.Path("d"), {});
    ProbedEngine engine(dir.Path("d"));
    EXPECT_EQ(Tel(engine, ""), "");
    EXPECT_EQ(engine.GetPOICount(0), 0);
    EXPECT_EQ(Tel(engine, "1"), "<false>");

    // No depth: false before anything is read, the outputs untouched.
    eNdfIndexTelTrie bare;
    eArray<ueglobal_addr_t> gids;
    eArray<unsigned> nums;
    nums.Add(7);
    eArray<eString> names;
    EXPECT_FALSE(bare.Query(KeyArray({"1"}), gids, nums, names));
    EXPECT_EQ(nums.GetSize(), 1);
}

// The file is tried once; a false answer leaves the outputs as they were;
// the reader outlives ReleaseQueryMem.
TEST(QueryByTelephone, MissingIndexIsTriedOnceAndFalseKeepsTheOutputs)
{
    TempDir dir;
    ProbedEngine engine(dir.Path("d"));
    char* next = nullptr;
    int count = -1;
    EXPECT_FALSE(engine.QueryByTelephone("138", next, count));
    WriteTel(dir.Path("d"), kNumbers);
    EXPECT_FALSE(engine.QueryByTelephone("138", next, count)) << "the file appeared after the first try";
    EXPECT_EQ(count, -1);
    ProbedEngine fresh(dir.Path("d"));
    ASSERT_TRUE(fresh.QueryByTelephone("138", next, count));
    ASSERT_EQ(count, 2);
    for (const char* typed : {"13a", "1385", static_cast<const char*>(nullptr)}) {
        EXPECT_FALSE(fresh.QueryByTelephone(typed, next, count));
        EXPECT_EQ(count, 2);
        EXPECT_EQ(std::string(next, 2), "06");
    }
    fresh.ReleaseQueryMem();
    EXPECT_EQ(Tel(fresh, "2"), "");
    EXPECT_EQ(fresh.GetPOICount(0), 1);
    EXPECT_NE(fresh.m_pPool, nullptr);
}

// A list of exactly 100 entries is taken for a cut list: every letter is
// offered instead of the next digits, as for the pinyin searches.
TEST(QueryByTelephone, ExactlyOneHundredEntriesOfferTheAlphabet)
{
    std::vector<std::string> numbers = {"6"};
    for (int i = 0; i < 100; ++i)
        numbers.push_back(std::to_string(500 + i));
    TempDir dir;
    WriteTel(dir.Path("d"), numbers);
    ProbedEngine engine(dir.Path("d"));
    EXPECT_EQ(Tel(engine, "5"), "abcdefghijklmnopqrstuvwxyz");
    EXPECT_EQ(engine.GetPOICount(0), 100);
    EXPECT_EQ(Tel(engine, ""), "56");
    EXPECT_EQ(engine.GetPOICount(0), 101);
    EXPECT_EQ(Tel(engine, "50"), "0123456789");
}

// A damaged trie file: truncated, or a byte flipped in the header, a middle
// page or the last page. Every query answers (false, or fewer hits) without
// reading outside a buffer, and a damaged page is named.
TEST(eNdfIndexTelTrie, DamagedFilesFailCleanly)
{
    std::mt19937 rng(7);
    std::vector<std::string> numbers;
    for (int i = 0; i < 300; ++i) {
        std::string n = "1";
        for (int len = 2 + static_cast<int>(rng() % 5); len > 0; --len)
            n += static_cast<char>('0' + rng() % 4);
        numbers.push_back(n);
    }
    TempDir dir;
    WriteTel(dir.Path("d"), numbers, 256);
    const std::string file = dir.Path("d/POI/Tel/102.ndf");
    const std::vector<unsigned char> good = TempDir::Read(file);
    const std::uint32_t pages = NdfBytes::Get16(&good[NdfFormat::kFilePageCountOffset]);
    ASSERT_GE(pages, 6u);
    // Every number, so that every page is read.
    std::vector<std::string> typed = {"", "1", "10", "1301", "10000"};
    typed.insert(typed.end(), numbers.begin(), numbers.end());
    std::string damage; // the first damage a query met
    auto answers = [&](ProbedEngine& engine) {
        damage.clear();
        std::vector<std::pair<int, std::string>> out;
        for (const std::string& t : typed) {
            const std::string next = Tel(engine, t.c_str());
            out.emplace_back(next == "<false>" ? -1 : engine.GetPOICount(0), next);
            if (damage.empty())
                damage = engine.GetLastDamage().Cstr();
        }
        return out;
    };
    ProbedEngine reference(dir.Path("d"));
    const auto expected = answers(reference);

    struct Damage {
        const char* what;
        std::size_t at;  // byte flipped; npos: truncate at `size`
        std::size_t size;
        bool named;      // GetLastDamage names the file
    } damages[] = {
        {"truncated in the middle", std::string::npos, good.size() / 2, false},
        {"truncated header", std::string::npos, 10, false},
        {"root address", 2, 0, false},
        {"file header", NdfFormat::kFileMagicOffset + 1, 0, true},
        {"middle page", PageAt(good, pages / 2) + 40, 0, true},
        {"last page", PageAt(good, pages - 1) + 20, 0, true},
    };
    for (const Damage& d : damages) {
        SCOPED_TRACE(d.what);
        std::vector<unsigned char> bytes = good;
        if (d.at == std::string::npos)
            bytes.resize(d.size);
        else
            bytes[d.at] ^= 0x5A;
        TempDir::Write(file, bytes);
        ProbedEngine engine(dir.Path("d"));
        EXPECT_NE(answers(engine), expected);
        if (d.named) {
            EXPECT_EQ(damage.rfind("POI/Tel/102.ndf", 0), 0u) << damage;
        }
    }
}

} // namespace
