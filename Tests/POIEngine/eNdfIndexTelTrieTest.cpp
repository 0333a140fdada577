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

// A reader on "<root>/POI/Tel/102.ndf", opened as the engine opens it.
struct Reader {
    explicit Reader(const std::string& root)
    {
        pool.SetSize(1 << 20);
        OpenIndex(trie, pool, root + "/POI/Tel/", NdfFormat::kTelIndexFileId);
    }

    struct Answer {
        bool ok = false;
        std::vector<unsigned> entries;   // counts, one per hit entry
        std::vector<std::uint32_t> pois; // the hits' longitudes, record by record
        std::string next;
    };

    Answer Query(const std::string& number)
    {
        const KeyedAnswer k = Ask(trie, {number});
        Answer a{k.ok, k.nums, {}, k.letters};
        eNdfRecordsetTabular rs;
        for (int i = 0; i < k.gids.GetSize(); ++i) {
            rs.SetRun(&pool, k.gids[i], k.nums[static_cast<std::size_t>(i)]);
            for (rs.MoveFirst(); !rs.IsEOF(); rs.MoveNext()) {
                unsigned char* v = nullptr;
                EXPECT_EQ(rs.GetFieldValue(1, v), 4);
                a.pois.push_back(NdfBytes::Get32(v));
            }
        }
        return a;
    }

    eNdfPool pool;
    eNdfIndexTelTrie trie;
};

const std::vector<std::string> kNumbers = {"1386", "13801", "138", "1380", "139", "2", "1380", "13869"};

TEST(eNdfIndexTelTrie, AnswersAsTheTrieOrdersThem)
{
    TempDir dir;
    WriteTel(dir.Path("d"), kNumbers);
    Reader reader(dir.Path("d"));
    struct Case {
        const char* typed;
        bool ok;
        std::vector<std::uint32_t> pois; // positions in kNumbers
        const char* next;
    } cases[] = {
        // The exact number first, then level by level, ascending digits.
        {"138", true, {2, 3, 6, 0, 1, 7}, "06"},
        {"13", true, {2, 4, 3, 6, 0, 1, 7}, "89"}, // a node without POIs of its own
        {"", true, {5, 2, 4, 3, 6, 0, 1, 7}, "12"},
        {"13802", false, {}, ""},
        {"13801x", true, {1}, ""}, // the sixth character lies past the depth
        {"13a", false, {}, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.typed);
        const Reader::Answer a = reader.Query(c.typed);
        EXPECT_EQ(a.ok, c.ok);
        EXPECT_EQ(a.pois, c.pois);
        EXPECT_EQ(a.next, c.next);
    }
    // Two POIs of one number are one entry of count 2.
    EXPECT_EQ(reader.Query("1380").entries, (std::vector<unsigned>{2, 1}));
}

TEST(eNdfIndexTelTrie, EmptyTrieAndUnopenedReader)
{
    TempDir dir;
    WriteTel(dir.Path("d"), {});
    Reader reader(dir.Path("d"));
    const Reader::Answer a = reader.Query("");
    EXPECT_TRUE(a.ok);
    EXPECT_TRUE(a.pois.empty() && a.next.empty());
    EXPECT_FALSE(reader.Query("1").ok);

    // No depth: false before anything is read, the outputs untouched.
    eNdfIndexTelTrie bare;
    eArray<eString> keys;
    keys.Add(eString("1"));
    eArray<ueglobal_addr_t> gids;
    eArray<unsigned> nums;
    nums.Add(7);
    eArray<eString> names;
    EXPECT_FALSE(bare.Query(keys, gids, nums, names));
    EXPECT_EQ(nums.GetSize(), 1);
    EXPECT_FALSE(reader.trie.Query(eArray<eString>(), gids, nums, names));
}

class Engine : public ePOIEngineManager {
public:
    explicit Engine(const std::string& root) { SetPoiPath(root.c_str()); }
    using ePOIEngineManager::m_pPool;
};

// QueryByTelephone: the next characters, or "<false>".
std::string Tel(ePOIEngineManager& engine, const char* typed)
{
    char* next = nullptr;
    int count = 0;
    return engine.QueryByTelephone(typed, next, count) ? std::string(next, static_cast<std::size_t>(count)) : "<false>";
}

// The file is tried once; a false answer leaves the outputs as they were;
// the reader outlives ReleaseQueryMem.
TEST(QueryByTelephone, MissingIndexIsTriedOnceAndFalseKeepsTheOutputs)
{
    TempDir dir;
    Engine engine(dir.Path("d"));
    char* next = nullptr;
    int count = -1;
    EXPECT_FALSE(engine.QueryByTelephone("138", next, count));
    WriteTel(dir.Path("d"), kNumbers);
    EXPECT_FALSE(engine.QueryByTelephone("138", next, count)) << "the file appeared after the first try";
    EXPECT_EQ(count, -1);
    Engine fresh(dir.Path("d"));
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
    Engine engine(dir.Path("d"));
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
    auto answers = [&](Engine& engine) {
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
    Engine reference(dir.Path("d"));
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
        Engine engine(dir.Path("d"));
        const auto got = answers(engine);
        EXPECT_NE(got, expected);
        if (d.named) {
            EXPECT_EQ(damage.rfind("POI/Tel/102.ndf", 0), 0u) << damage;
        }
    }
    TempDir::Write(file, good);
}

} // namespace
