#include "POIEngine/eDictionary.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Support/DictFiles.h"

using Kest::eArray;
using Kest::eDictionary;
using Kest::eString;
using namespace KestTest;

namespace {

// Reaches the protected helpers (never constructed).
struct Probe : eDictionary {
    using eDictionary::CCFind;
    using eDictionary::GetCharType;
    using eDictionary::GetWordType;
    using eDictionary::IsAllChinese;
};

const int kBei = 110; // slot of 北 (0xB1B1)

// The dictionary is one per process: every test starts and ends empty.
class Dictionary : public ::testing::Test {
protected:
    void SetUp() override { d().UnLoad(); }
    void TearDown() override { d().UnLoad(); }

    static eDictionary& d() { return eDictionary::GetInstance(); }
    static void LoadBytes(const std::string& bytes, bool noFreq = false)
    {
        TempFile file(bytes);
        ASSERT_TRUE(d().Load(file.path(), noFreq));
    }
    static bool Has(std::string w) { return d().IsGetWord(&w[0]) != 0; }
    static int Freq(std::string w) { return d().GetFreq(&w[0]); }
    static bool Add(std::string w, int f) { return d().AddItem(&w[0], f) != 0; }
    static bool Del(std::string w) { return d().DelItem(&w[0]) != 0; }
    static int Same(std::string w) { return d().GetSameWordCount(&w[0]); }
    // -2 when GetWordIndex fails, else the index; `slot` gets the slot.
    static int Index(const std::string& w, int* slot = nullptr)
    {
        int s = -9, i = -9;
        const bool ok = d().GetWordIndex(eString(w.c_str()), s, i) != 0;
        if (slot)
            *slot = s;
        return ok ? i : -2;
    }
};

TEST_F(Dictionary, KeysAWordByItsFirstCharacterAfterTrimmingSpaces)
{
    LoadBytes(DictBytes({{kBei, {{5, G("京")}}}}));
    std::string buffer = " " + G("北京") + " ";
    EXPECT_TRUE(d().IsGetWord(&buffer[0]));
    EXPECT_EQ(G("北京"), std::string(buffer.c_str())); // trimmed in place
    int slot = 0;
    EXPECT_EQ(0, Index("  " + G("北京") + " ", &slot));
    EXPECT_EQ(kBei, slot);

    eString key;
    ASSERT_TRUE(eDictionary::KeyWord((" " + G("北京") + " ").c_str(), slot, key));
    EXPECT_EQ(kBei, slot);
    EXPECT_EQ(G("京"), key.Cstr());
    struct Case { std::string word; int slot; std::string key; };
    const Case keyed[] = {
        {G("，，"), 3755, G("，，")},  // full-width punctuation: whole word
        {"(a", 3755, "(a"},            // ASCII punctuation
        {"abc", 6768, "abc"},
        {G("Ａ路"), 6769, G("Ａ路")},
        {G("１号"), 6770, G("１号")},
        {G("啊"), 0, ""},              // first cell
        {G("齄"), 6767, ""},           // last cell (0xF7FE)
    };
    for (const Case& c : keyed) {
        EXPECT_TRUE(eDictionary::KeyWord(c.word.c_str(), slot, key)) << c.word;
        EXPECT_EQ(c.slot, slot) << c.word;
        EXPECT_EQ(c.key, key.Cstr()) << c.word;
    }
    // Lead 0xA2, other lead bytes, only spaces, a lone lead byte, and trail
    // bytes that would number a cell outside the hanzi slots.
    for (const char* bad : {"\xA2\xB1", "\x81\x40", "\xF8\xA1", "   ", "", "\xB1", "\xB0\x40", "\xF7\xFF"})
        EXPECT_FALSE(eDictionary::KeyWord(bad, slot, key)) << bad;
}

TEST_F(Dictionary, FrequenciesAreSignExtendedAndOnlyKeptForHanziSlots)
{
    LoadBytes(DictBytes({{kBei, {{40000, G("大")}, {65535, G("海")}, {0x12345, G("京")}}},
                         {6770, {{77, G("１号")}}},
                         {6768, {{9, "abc"}}}}));
    EXPECT_EQ(40000 - 65536, Freq(G("北大")));
    EXPECT_EQ(-1, Freq(G("北海")));
    EXPECT_EQ(0x2345, Freq(G("北京"))); // the low 16 bits
    EXPECT_TRUE(Has(G("１号")));
    EXPECT_EQ(0, Freq(G("１号")));
    EXPECT_EQ(0, Freq("abc"));
    EXPECT_EQ(0, Freq(G("北方")));
    EXPECT_EQ(0, Freq("\xA2\xB1"));
    EXPECT_EQ(0, Freq("")); // nothing to key
}

TEST_F(Dictionary, LoadWithoutFrequenciesKeepsTheWords)
{
    LoadBytes(DictBytes({{kBei, {{500, G("京")}}}}), true);
    EXPECT_TRUE(Has(G("北京")));
    EXPECT_EQ(0, Freq(G("北京")));
}

TEST_F(Dictionary, WordIndexOfSingleHanziEmptySlotsAndMissingWords)
{
    LoadBytes(DictBytes({{kBei, {{1, G("大")}, {1, G("京")}}}, {6768, {{1, "ab"}, {1, "cd"}}}}));
    int slot = 0;
    EXPECT_EQ(-1, Index(G("北"), &slot)); // one hanzi: true with index -1
    EXPECT_EQ(kBei, slot);
    EXPECT_EQ(-1, Index(G("北") + "x")); // shorter than 4 bytes counts as one hanzi
    EXPECT_EQ(1, Index(G("北京")));
    EXPECT_EQ(0, Index(G("北大")));
    EXPECT_EQ(-2, Index(G("北方")));
    EXPECT_EQ(-1, Index(G("南京"))); // empty slot: true with index -1
    EXPECT_EQ(1, Index("cd"));
    EXPECT_EQ(-2, Index("ef"));
    EXPECT_EQ(-2, Index("", &slot));
    EXPECT_EQ(0, slot);
    EXPECT_EQ(-2, Index("\xA2\xB1\xA2\xB2"));
    EXPECT_EQ(-2, Index("\xB1")); // a lone lead byte cannot be keyed
    EXPECT_FALSE(Has("\xB1"));
    EXPECT_FALSE(Has(G("北京") + "\xB1"));
    EXPECT_EQ(0, Freq(G("北") + "\xB1"));
    EXPECT_EQ(-2, Index(G("北京") + "\xB1"));
}

TEST_F(Dictionary, PunctuationSlotScanNeverVisitsTheLastItem)
{
    // Slot 3755 holds "!" and "}}!" (byte order). The scan compares whole
    // words with every item but the last; a word equal to the last item is
    // then looked up by its text without the first two bytes.
    LoadBytes(DictBytes({{3755, {{1, "!"}, {1, "}}!"}}}}));
    EXPECT_EQ(0, Index("!"));
    EXPECT_EQ(0, Index("}}!")); // found as "!", the first item
    EXPECT_EQ(-2, Index("(("));
    d().UnLoad();
    LoadBytes(DictBytes({{3755, {{1, "!"}, {1, "(("}}}}));
    EXPECT_EQ(-2, Index("((")); // the last item; "" is not in the slot
    EXPECT_TRUE(Has("(("));     // the binary search does see it
}

TEST_F(Dictionary, AddItemInsertsAfterTheFirstItemWhenTheKeySortsFirst)
{
    // Into an empty slot (before any Load), then in order: the slot stays sorted.
    ASSERT_TRUE(Add(G("北大"), 1));
    ASSERT_TRUE(Add(G("北京"), 2)); // last
    ASSERT_TRUE(Add(G("北海"), 3)); // between
    ASSERT_TRUE(Add(G("北方"), 4)); // between, next to the first
    EXPECT_EQ(0, Index(G("北大")));
    EXPECT_EQ(1, Index(G("北方")));
    EXPECT_EQ(2, Index(G("北海")));
    EXPECT_EQ(3, Index(G("北京")));
    EXPECT_EQ(4, Freq(G("北方")));

    // 部 sorts before every item: it goes to index 1, behind 大, where the
    // binary search cannot see it; the slot's count still grows.
    ASSERT_TRUE(Add(G("北部"), 5));
    EXPECT_EQ(5, d().GetItemSize(kBei));
    EXPECT_EQ(5, d().GetWordCount());
    EXPECT_FALSE(Has(G("北部")));
    EXPECT_EQ(1, Same(G("北部")));
    EXPECT_EQ(0, Index(G("北大")));
    ASSERT_TRUE(Add(G("北部"), 5)); // not found, so inserted again
    EXPECT_EQ(2, Same(G("北部")));
}

TEST_F(Dictionary, AddItemOfAKnownWordAddsFrequencyIn16Bits)
{
    LoadBytes(DictBytes({{kBei, {{65535, G("大")}, {65000, G("京")}}}}));
    ASSERT_TRUE(Add(" " + G("北京"), 1000));
    EXPECT_EQ(464, Freq(G("北京"))); // 66000 wraps
    ASSERT_TRUE(Add(G("北大"), 12)); // exactly 65535 is replaced
    EXPECT_EQ(12, Freq(G("北大")));
    EXPECT_EQ(2, d().GetItemSize(kBei));
    EXPECT_FALSE(Add("\xA2\xB1", 1));
    EXPECT_FALSE(Add("  ", 1));
}

TEST_F(Dictionary, DelItemRemovesAWordAndOptimumDeletesOnePerRepeat)
{
    LoadBytes(DictBytes({{kBei, {{1, G("大")}, {5, G("海")}, {2, G("京")}, {3, G("京")}, {4, G("京")}}},
                         {6768, {{1, "ab"}, {1, "ab"}}}}));
    EXPECT_EQ(3, Same(G("北京")));
    EXPECT_EQ(0, Same("ab")); // only hanzi slots are counted
    d().Optimum();
    // The pass moves on after a deletion, so of three equal items the one
    // that slid into the deleted place is not compared again.
    EXPECT_EQ(2, Same(G("北京")));
    EXPECT_EQ(4, d().GetItemSize(kBei));
    EXPECT_TRUE(Has(G("北大")));
    EXPECT_TRUE(Has(G("北海")));
    EXPECT_EQ(2, d().GetItemSize(6768)); // rebuilt with lead 0xF8: never removed

    EXPECT_TRUE(Del(G("北大")));
    EXPECT_FALSE(Has(G("北大")));
    EXPECT_FALSE(Del(G("北大")));
    EXPECT_FALSE(Del("\xA2\xB1"));
    EXPECT_EQ(3, d().GetItemSize(kBei));
    EXPECT_EQ(5, d().GetWordCount());
}

TEST_F(Dictionary, LoadFailsOnlyWhenTheFileCannotBeOpened)
{
    EXPECT_FALSE(d().Load("/nonexistent/CoreDict.dct", false));
    EXPECT_FALSE(d().isLoaded());
    LoadBytes(""); // empty file: loaded, no words
    EXPECT_TRUE(d().isLoaded());
    EXPECT_EQ(0, d().GetWordCount());
    d().UnLoad();
    EXPECT_FALSE(d().isLoaded());
}

TEST_F(Dictionary, TruncatedAndCorruptFilesKeepWhatWasRead)
{
    const std::string good = DictBytes({{kBei, {{3, G("大")}, {4, G("京")}}}, {200, {{5, G("x")}}}});
    // Cut inside the second word of slot 110: the first word stays, the
    // slot keeps its count, later slots stay empty.
    const std::size_t cut = 4 * kBei + 4 + 4 + 4 + 2 + 4 + 4 + 1;
    LoadBytes(good.substr(0, cut));
    EXPECT_TRUE(d().isLoaded());
    EXPECT_TRUE(Has(G("北大")));
    EXPECT_FALSE(Has(G("北京")));
    EXPECT_EQ(2, d().GetItemSize(kBei));
    EXPECT_EQ(-2, Index(G("北京"))); // the unread item is passed over
    EXPECT_EQ(0, d().GetItemSize(200));
    d().Optimum();

    // Every cut of the file loads without reading outside it.
    for (std::size_t n = 0; n < good.size(); n += 97) {
        d().UnLoad();
        LoadBytes(good.substr(0, n));
        EXPECT_LE(d().GetWordCount(), 3);
    }

    // A huge count, a negative count and a negative length.
    d().UnLoad();
    std::string bytes;
    PutInt(bytes, 0x7FFFFFFF);
    PutInt(bytes, 9);
    PutInt(bytes, 1);
    bytes += "a";
    LoadBytes(bytes);
    EXPECT_EQ(0x7FFFFFFF, d().GetItemSize(0));
    EXPECT_EQ(0x7FFFFFFF, d().GetWordCount());
    EXPECT_TRUE(Has(G("啊") + "a"));
    EXPECT_FALSE(Has(G("啊") + "b"));
    EXPECT_EQ(0, Same(G("啊") + "b"));
    EXPECT_FALSE(Add(G("啊") + "b", 1)); // the slot cannot grow past INT_MAX items
    EXPECT_EQ(0x7FFFFFFF, d().GetItemSize(0));
    d().Optimum();

    d().UnLoad();
    bytes.clear();
    PutInt(bytes, -5);
    PutInt(bytes, 1);
    PutInt(bytes, 1);
    PutInt(bytes, -3); // negative length: the load ends here
    PutInt(bytes, 1);
    LoadBytes(bytes);
    EXPECT_EQ(0, d().GetItemSize(0));
    EXPECT_EQ(1, d().GetItemSize(1));
    EXPECT_EQ(0, d().GetItemSize(2));
}

TEST_F(Dictionary, TheArenaLimitEndsTheLoadAndPersistsAcrossLoads)
{
    // Slot 0: one word of 70000 bytes; slot 110: 北京.
    const std::string big(70000, 'z');
    const std::string bytes = DictBytes({{0, {{1, big}}}, {kBei, {{1, G("京")}}}});
    LoadBytes(bytes);
    EXPECT_TRUE(Has(G("啊") + big));
    EXPECT_TRUE(Has(G("北京")));
    // A second Load without UnLoad continues in the same arena: the big word
    // no longer fits, its slot keeps its count, and the load ends there.
    LoadBytes(bytes);
    EXPECT_EQ(1, d().GetItemSize(0));
    EXPECT_FALSE(Has(G("啊") + big));
    EXPECT_FALSE(Has(G("北京")));
    EXPECT_EQ(0, d().GetItemSize(kBei));
    EXPECT_FALSE(Add(G("北京"), 1)); // the arena is full
    d().UnLoad();
    LoadBytes(bytes);
    EXPECT_TRUE(Has(G("北京")));

    // A length that alone overflows the arena.
    d().UnLoad();
    std::string huge;
    PutInt(huge, 1);
    PutInt(huge, 1);
    PutInt(huge, 0x7FFFFFF0);
    huge += "abc";
    LoadBytes(huge);
    EXPECT_EQ(1, d().GetItemSize(0));
    EXPECT_FALSE(Has(G("啊") + "abc"));
}

TEST_F(Dictionary, PreStandRejectsForbiddenCharactersAtCharacterStarts)
{
    eArray<eString> words;
    for (const std::string& bad : {std::string("a-b"), G("北京。"), G("。北京"), G("北京") + "?", G("《北京》"),
                                   G("北京……"), std::string("   "), std::string(""), std::string("a'b")}) {
        eString text(bad.c_str());
        EXPECT_FALSE(d().PreStand(text, words)) << bad;
    }
    EXPECT_EQ(0, words.GetSize());
    // 0xA1A3 (。) straddling 啊 (B0A1) and ０ (A3B0) is no match.
    eString text(G("啊０").c_str());
    ASSERT_TRUE(d().PreStand(text, words));
    ASSERT_EQ(1, words.GetSize());
    EXPECT_EQ(G("啊０"), words[0].Cstr());
}

TEST_F(Dictionary, PreStandSplitsAtAsciiSpacesThenFullWidthSpaces)
{
    auto split = [](const std::string& gbk) {
        eString text(gbk.c_str());
        eArray<eString> words;
        std::vector<std::string> out;
        if (!eDictionary::GetInstance().PreStand(text, words))
            return std::vector<std::string>{"<rejected>"};
        for (int i = 0; i < words.GetSize(); ++i)
            out.push_back(words[i].Cstr());
        return out;
    };
    using V = std::vector<std::string>;
    EXPECT_EQ((V{G("北京"), G("海淀")}), split(G(" 北京   海淀 ")));
    EXPECT_EQ((V{G("北京"), G("海淀")}), split(G("北京　　海淀")));
    // Parts cut at ASCII spaces keep their full-width spaces; a rest that
    // starts with one gives an empty piece.
    EXPECT_EQ((V{G("北京　"), "", G("海淀")}), split(G("北京　 　海淀")));
    EXPECT_EQ((V{G("北京　海淀"), G("中关村")}), split(G("北京　海淀 中关村")));
    EXPECT_EQ((V{G("北京"), G("海淀"), G("中关村")}), split(G("北京 海淀　中关村")));
    EXPECT_EQ((V{G("北京")}), split(G("北京")));
    EXPECT_EQ((V{G("北京"), ""}), split(G("北京　"))); // what remains is appended, even empty
    EXPECT_EQ((V{G("北京") + "\xB1"}), split(G("北京") + "\xB1"));
}

TEST_F(Dictionary, PublicClassesNumberPunctuationApartFromTheKeying)
{
    struct Case { std::string text; int type; int pos; };
    const Case cases[] = {
        {"a", 1, 6768},  {" ", 1, 6768}, {",", 2, 6772}, {G("，"), 2, 6772}, {G("、"), 2, 6772},
        {G("北"), 3, kBei}, {G("Ａ"), 4, 6769}, {G("１"), 5, 6770}, {"\xA2\xB1", 6, 6771},
        {"\x81\x40", 7, 6773}, {"\xF8\xA1", 7, 6773},
    };
    for (const Case& c : cases) {
        std::string b = c.text;
        EXPECT_EQ(c.type, d().CharType(reinterpret_cast<unsigned char*>(&b[0]))) << c.text;
        EXPECT_EQ(c.pos, d().GetCharPos(&b[0])) << c.text;
    }
    // The keying files both kinds of punctuation under slot 3755, the space too.
    EXPECT_EQ(6, Probe::GetCharType(reinterpret_cast<const unsigned char*>(",")));
    EXPECT_EQ(6, Probe::GetCharType(reinterpret_cast<const unsigned char*>(" ")));
    EXPECT_EQ(10, Probe::GetCharType(reinterpret_cast<const unsigned char*>("\xA2\xB1")));
    EXPECT_EQ(17, Probe::GetCharType(reinterpret_cast<const unsigned char*>("\x81\x40")));
}

TEST_F(Dictionary, TextHelpers)
{
    EXPECT_TRUE(Probe::IsAllChinese(""));
    EXPECT_TRUE(Probe::IsAllChinese(G("北京").c_str()));
    EXPECT_FALSE(Probe::IsAllChinese((G("北京") + "\xB1").c_str()));
    EXPECT_FALSE(Probe::IsAllChinese(G("北，").c_str()));
    EXPECT_EQ(2, Probe::GetWordType(""));
    EXPECT_EQ(1, Probe::GetWordType(G("北京").c_str()));
    EXPECT_EQ(2, Probe::GetWordType(G("北Ａ").c_str()));
    EXPECT_EQ(0, Probe::GetWordType(G("，北").c_str()));
    EXPECT_EQ(2, Probe::GetWordType("ab"));

    const std::string hay = G("北京。");
    EXPECT_EQ(hay.c_str() + 4, Probe::CCFind(hay.c_str(), G("。").c_str()));
    // The first match straddles two characters; the later one is not tried.
    const std::string odd = G("啊０。");
    EXPECT_EQ(nullptr, Probe::CCFind(odd.c_str(), "\xA1\xA3"));
    EXPECT_EQ(nullptr, Probe::CCFind(hay.c_str(), "x"));

    EXPECT_EQ(-42, d().StringToInt(" -42abc"));
    EXPECT_EQ(0, d().StringToInt("abc"));
}

} // namespace
