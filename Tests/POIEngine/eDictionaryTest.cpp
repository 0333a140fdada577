#include "POIEngine/eDictionary.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Support/DictFiles.h"
#include "Support/EngineAnswers.h"

using Kest::eArray;
using Kest::eDictionary;
using Kest::eString;
using namespace KestTest;

namespace {

const int kBei = 110; // slot of 北 (0xB1B1)

// The dictionary is one per process: every test starts and ends empty.
class Dictionary : public ::testing::Test {
protected:
    void SetUp() override { Dict().UnLoad(); }
    void TearDown() override { Dict().UnLoad(); }

    static bool Add(std::string w, int f) { return Dict().AddItem(&w[0], f) != 0; }
    static int Same(std::string w) { return Dict().GetSameWordCount(&w[0]); }
};

TEST_F(Dictionary, KeysAWordByItsFirstCharacterAfterTrimmingSpaces)
{
    LoadDict(DictBytes({{kBei, {{5, G("京")}}}}));
    std::string buffer = " " + G("北京") + " ";
    EXPECT_TRUE(Dict().IsGetWord(&buffer[0]));
    EXPECT_EQ(G("北京"), buffer.c_str()); // trimmed in place
    struct Case { std::string word; int slot; std::string key; };
    const Case keyed[] = {
        {" " + G("北京") + " ", kBei, G("京")}, {G("，，"), 3755, G("，，")}, {"(a", 3755, "(a"},
        {"abc", 6768, "abc"}, {G("Ａ路"), 6769, G("Ａ路")}, {G("１号"), 6770, G("１号")},
        {G("啊"), 0, ""}, {G("齄"), 6767, ""},
    };
    eString key;
    int slot = 0;
    for (const Case& c : keyed) {
        EXPECT_TRUE(eDictionary::KeyWord(c.word.c_str(), slot, key)) << c.word;
        EXPECT_EQ(c.slot, slot) << c.word;
        EXPECT_EQ(c.key, key.Cstr()) << c.word;
    }
    // Lead 0xA2, other leads, only spaces, a lone lead byte, cells past the hanzi.
    for (const char* bad : {"\xA2\xB1", "\x81\x40", "\xF8\xA1", "   ", "", "\xB1", "\xB0\x40", "\xF7\xFF"})
        EXPECT_FALSE(eDictionary::KeyWord(bad, slot, key)) << bad;
}

TEST_F(Dictionary, FrequenciesAreSignExtendedAndOnlyKeptForHanziSlots)
{
    LoadDict(DictBytes({{kBei, {{40000, G("大")}, {65535, G("海")}, {0x12345, G("京")}}},
                        {6770, {{77, G("１号")}}}, {6768, {{9, "abc"}}}}));
    EXPECT_EQ(40000 - 65536, Freq(G("北大")));
    EXPECT_EQ(-1, Freq(G("北海")));
    EXPECT_EQ(0x2345, Freq(G("北京"))); // the low 16 bits
    EXPECT_TRUE(Has(G("１号")));
    EXPECT_EQ(0, Freq(G("１号")));
    EXPECT_EQ(0, Freq("abc"));
    LoadDict(DictBytes({{kBei, {{500, G("京")}}}}), true, true); // without frequencies
    EXPECT_TRUE(Has(G("北京")));
    EXPECT_EQ(0, Freq(G("北京")));
}

TEST_F(Dictionary, WordIndexOfSingleHanziEmptySlotsAndMissingWords)
{
    LoadDict(DictBytes({{kBei, {{1, G("大")}, {1, G("京")}}}, {6768, {{1, "ab"}, {1, "cd"}}}}));
    int slot = 0;
    EXPECT_EQ(-1, Index(G("北"), &slot)); // one hanzi: true with index -1
    EXPECT_EQ(kBei, slot);
    EXPECT_EQ(-1, Index(G("北") + "x")); // shorter than 4 bytes counts as one hanzi
    EXPECT_EQ(1, Index(G("北京")));
    EXPECT_EQ(-2, Index(G("北方")));
    EXPECT_EQ(-1, Index(G("南京"))); // empty slot: true with index -1
    EXPECT_EQ(1, Index("cd"));
    EXPECT_EQ(-2, Index("ef"));
    EXPECT_EQ(-2, Index("\xA2\xB1\xA2\xB2"));
}

TEST_F(Dictionary, PunctuationSlotScanNeverVisitsTheLastItem)
{
    // The scan compares whole words with every item but the last; a word
    // equal to the last item is then looked up without its first two bytes.
    LoadDict(DictBytes({{3755, {{1, "!"}, {1, "}}!"}}}}));
    EXPECT_EQ(0, Index("}}!")); // found as "!", the first item
    LoadDict(DictBytes({{3755, {{1, "!"}, {1, "(("}}}}));
    EXPECT_EQ(0, Index("!"));
    EXPECT_EQ(-2, Index("((")); // the last item; "" is not in the slot
    EXPECT_TRUE(Has("(("));     // the binary search does see it
}

TEST_F(Dictionary, AddItemInsertsAfterTheFirstItemWhenTheKeySortsFirst)
{
    // Into an empty slot, then last, then twice between: the slot stays sorted.
    for (const char* w : {"北大", "北京", "北海", "北方"})
        ASSERT_TRUE(Add(G(w), 4));
    const char* sorted[] = {"北大", "北方", "北海", "北京"};
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(i, Index(G(sorted[i]))) << sorted[i];
    // 部 sorts before every item: it goes to index 1, behind 大, where the
    // binary search cannot see it.
    ASSERT_TRUE(Add(G("北部"), 5));
    EXPECT_EQ(5, Dict().GetItemSize(kBei));
    EXPECT_FALSE(Has(G("北部")));
    EXPECT_EQ(1, Same(G("北部")));
}

TEST_F(Dictionary, AddItemOfAKnownWordAddsFrequencyIn16Bits)
{
    LoadDict(DictBytes({{kBei, {{65535, G("大")}, {65000, G("京")}}}}));
    ASSERT_TRUE(Add(" " + G("北京"), 1000));
    EXPECT_EQ(464, Freq(G("北京"))); // 66000 wraps
    ASSERT_TRUE(Add(G("北大"), 12));  // exactly 65535 is replaced
    EXPECT_EQ(12, Freq(G("北大")));
    EXPECT_EQ(2, Dict().GetItemSize(kBei));
    EXPECT_FALSE(Add("\xA2\xB1", 1));
}

TEST_F(Dictionary, DelItemRemovesAWordAndOptimumDeletesOnePerRepeat)
{
    LoadDict(DictBytes({{kBei, {{1, G("大")}, {5, G("海")}, {2, G("京")}, {3, G("京")}, {4, G("京")}}},
                        {6768, {{1, "ab"}, {1, "ab"}}}}));
    EXPECT_EQ(3, Same(G("北京")));
    EXPECT_EQ(0, Same("ab")); // only hanzi slots are counted
    Dict().Optimum();
    // The pass moves on after a deletion: of three equal items two remain.
    EXPECT_EQ(2, Same(G("北京")));
    EXPECT_TRUE(Has(G("北海")));
    EXPECT_EQ(2, Dict().GetItemSize(6768)); // rebuilt with lead 0xF8: never removed
    std::string word = G("北大");
    EXPECT_TRUE(Dict().DelItem(&word[0]));
    EXPECT_FALSE(Has(G("北大")));
    EXPECT_FALSE(Dict().DelItem(&word[0]));
    EXPECT_EQ(5, Dict().GetWordCount());
}

TEST_F(Dictionary, ShortAndCorruptFilesKeepWhatWasRead)
{
    EXPECT_FALSE(Dict().Load("/nonexistent/CoreDict.dct", false));
    EXPECT_FALSE(Dict().isLoaded());
    const std::string good = DictBytes({{kBei, {{3, G("大")}, {4, G("京")}}}, {200, {{5, G("x")}}}});
    // Cut inside the second word of slot 110: the slot keeps its count.
    LoadDict(good.substr(0, 4 * kBei + 4 + (4 + 4 + 2) + (4 + 4 + 1)));
    EXPECT_TRUE(Dict().isLoaded());
    EXPECT_TRUE(Has(G("北大")));
    EXPECT_EQ(2, Dict().GetItemSize(kBei));
    EXPECT_EQ(-2, Index(G("北京"))); // the unread item is passed over
    EXPECT_EQ(0, Dict().GetItemSize(200));
    Dict().Optimum();

    std::string huge; // a count of INT_MAX with one word
    for (int v : {0x7FFFFFFF, 9, 1})
        PutInt(huge, v);
    LoadDict(huge + "a");
    EXPECT_EQ(0x7FFFFFFF, Dict().GetWordCount());
    EXPECT_TRUE(Has(G("啊") + "a"));
    EXPECT_EQ(0, Same(G("啊") + "b"));
    EXPECT_FALSE(Add(G("啊") + "b", 1)); // the count cannot grow past INT_MAX
    Dict().Optimum();

    std::string negative; // slot 0 count -5; slot 1 one word of length -3
    for (int v : {-5, 1, 1, -3, 1})
        PutInt(negative, v);
    LoadDict(negative);
    EXPECT_EQ(0, Dict().GetItemSize(0));
    EXPECT_EQ(1, Dict().GetItemSize(1));
    EXPECT_EQ(0, Dict().GetItemSize(2)); // the load ends there

    std::string cut; // slot 0: a word, then one of length -3
    for (int v : {2, 1, 3})
        PutInt(cut, v);
    cut += "abc";
    for (int v : {1, -3})
        PutInt(cut, v);
    LoadDict(cut);
    EXPECT_TRUE(Add(G("北京"), 1)); // placed after the word read, not over its end
    EXPECT_TRUE(Has(G("啊") + "abc"));
}

TEST_F(Dictionary, TheArenaLimitEndsTheLoadAndPersistsAcrossLoads)
{
    const std::string big(70000, 'z');
    const std::string bytes = DictBytes({{0, {{1, big}}}, {kBei, {{1, G("京")}}}});
    LoadDict(bytes);
    EXPECT_TRUE(Has(G("啊") + big));
    EXPECT_TRUE(Has(G("北京")));
    // A second Load without UnLoad fills the same arena: the big word no
    // longer fits, its slot keeps its count, and the load ends there.
    LoadDict(bytes, false);
    EXPECT_EQ(1, Dict().GetItemSize(0));
    EXPECT_FALSE(Has(G("啊") + big));
    EXPECT_EQ(0, Dict().GetItemSize(kBei));
    EXPECT_FALSE(Add(G("北京"), 1)); // the arena is full
    LoadDict(bytes);
    EXPECT_TRUE(Has(G("北京")));

    std::string huge; // a length that alone overflows the arena
    for (int v : {1, 1, 0x7FFFFFF0})
        PutInt(huge, v);
    LoadDict(huge + "abc");
    EXPECT_EQ(1, Dict().GetItemSize(0));
    EXPECT_FALSE(Has(G("啊") + "abc"));

    // A word and its terminator end one byte before the arena's end: the
    // next word, two bytes, does not fit.
    const std::string fill(eDictionary::kArenaSize - 2, 'a'); // sorts before "b"
    LoadDict(DictBytes({{0, {{1, fill}, {1, "b"}}}}));
    EXPECT_TRUE(Has(G("啊") + fill));
    EXPECT_FALSE(Has(G("啊") + "b"));
}

TEST_F(Dictionary, PreStandRejectsForbiddenCharactersAndSplitsAtSpaces)
{
    using V = std::vector<std::string>;
    const V rejected{"<rejected>"};
    struct Case { std::string text; V words; };
    const Case cases[] = {
        {"a-b", rejected}, {"   ", rejected}, {G("北京。"), rejected}, {G("《北京》"), rejected},
        {G("啊０"), {G("啊０")}}, // 。(A1A3) straddling 啊 (B0A1) and ０ (A3B0) is no match
        {G(" 北京   海淀 "), {G("北京"), G("海淀")}},
        {G("北京　　海淀"), {G("北京"), G("海淀")}},
        // Parts cut at ASCII spaces are not split again at full-width ones.
        {G("北京　海淀 中关村"), {G("北京　海淀"), G("中关村")}},
        {G("北京　 　海淀"), {G("北京　"), "", G("海淀")}},
        {G("北京 海淀　中关村"), {G("北京"), G("海淀"), G("中关村")}},
        {G("北京　"), {G("北京"), ""}}, // what remains is appended, even empty
    };
    for (const Case& c : cases) {
        eString text(c.text.c_str());
        eArray<eString> words;
        EXPECT_EQ(c.words, Dict().PreStand(text, words) ? Texts(words) : rejected) << c.text;
    }
}

TEST_F(Dictionary, PublicClassesNumberPunctuationApartFromTheKeying)
{
    // The keying files punctuation under slot 3755 (see above).
    struct Case { std::string text; int type, pos; };
    const Case cases[] = {
        {"a", 1, 6768},       {" ", 1, 6768},    {",", 2, 6772},    {G("，"), 2, 6772},  {G("北"), 3, kBei},
        {G("Ａ"), 4, 6769}, {G("１"), 5, 6770}, {"\xA2\xB1", 6, 6771}, {"\x81\x40", 7, 6773}, {"\xF8\xA1", 7, 6773},
    };
    for (const Case& c : cases) {
        std::string b = c.text;
        EXPECT_EQ(c.type, Dict().CharType(reinterpret_cast<unsigned char*>(&b[0]))) << c.text;
        EXPECT_EQ(c.pos, Dict().GetCharPos(&b[0])) << c.text;
    }
}

} // namespace
