#include "Build/CoreDictWriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "POIEngine/eDictionary.h"
#include "POIEngine/eMMWordSeg.h"
#include "POIEngine/eMPWordSeg.h"
#include "Support/DictFiles.h"

using Kest::CoreDictWriter;
using Kest::eDictionary;
using Kest::eString;
using Kest::GbkCodec;
using namespace KestTest;

namespace {

eDictionary& Dict() { return eDictionary::GetInstance(); }

void LoadImage(const std::string& bytes)
{
    TempFile file(bytes);
    Dict().UnLoad();
    ASSERT_TRUE(Dict().Load(file.path(), false));
}

bool Has(std::string w) { return Dict().IsGetWord(&w[0]) != 0; }
int Freq(std::string w) { return Dict().GetFreq(&w[0]); }

// -2 when GetWordIndex fails.
int Index(const std::string& w)
{
    int slot = 0, index = 0;
    return Dict().GetWordIndex(eString(w.c_str()), slot, index) ? index : -2;
}

// The GBK character of a GB2312 cell 0..6767.
std::string Cell(int cell)
{
    return {static_cast<char>(0xB0 + cell / 94), static_cast<char>(0xA1 + cell % 94)};
}

// What a word keys to, worked out here independently of the dictionary.
struct Key {
    int slot;
    std::string text;
    bool operator<(const Key& o) const { return slot != o.slot ? slot < o.slot : text < o.text; }
};

Key ModelKey(const std::string& w)
{
    const unsigned char b0 = static_cast<unsigned char>(w[0]);
    const unsigned char b1 = w.size() > 1 ? static_cast<unsigned char>(w[1]) : 0;
    if (b0 >= 0xB0)
        return {HanziSlot(w), w.substr(2)};
    if (b0 == 0xA3 && b1 >= 0xB0 && b1 <= 0xB9)
        return {6770, w};
    if (b0 == 0xA3)
        return {6769, w}; // the generator only makes full-width letters here
    if (b0 == 0xA1 || std::string("\"!,.?()[]{}+=").find(static_cast<char>(b0)) != std::string::npos)
        return {3755, w};
    return {6768, w};
}

class CoreDictWriterTest : public ::testing::Test {
protected:
    void TearDown() override { Dict().UnLoad(); }
};

TEST_F(CoreDictWriterTest, RoundTripsRandomWordsOfEveryKind)
{
    std::mt19937 rng(20261121);
    auto pick = [&rng](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
    std::map<std::string, long long> words; // word -> highest frequency given
    CoreDictWriter writer;
    for (int i = 0; i < 4000; ++i) {
        std::string w;
        switch (pick(6)) {
        case 0: w = "!,.?()"[pick(6)]; break;                                  // ASCII punctuation
        case 1: w = {static_cast<char>(0xA1), static_cast<char>(0xA2 + pick(90))}; break; // full-width punctuation
        case 2: w = std::string(1, static_cast<char>('a' + pick(26))); break;  // other ASCII
        case 3: w = {static_cast<char>(0xA3), static_cast<char>(0xC1 + pick(26))}; break; // full-width letter
        case 4: w = {static_cast<char>(0xA3), static_cast<char>(0xB0 + pick(10))}; break; // full-width digit
        default: w = Cell(pick(200) * 31); break;                              // hanzi
        }
        for (int n = pick(4); n > 0; --n)
            w += pick(5) == 0 ? std::string(1, static_cast<char>('a' + pick(26))) : Cell(pick(6768));
        const long long freq = static_cast<long long>(rng() % 100000) - 10;
        writer.Add(w, freq);
        auto it = words.emplace(w, freq).first;
        it->second = std::max(it->second, freq);
    }
    CoreDictWriter::Summary sum;
    const std::string bytes = writer.Build(&sum);
    EXPECT_EQ(static_cast<int>(words.size()), sum.words);
    EXPECT_EQ(0, sum.unkeyable + sum.duplicates + sum.noRoom);
    LoadImage(bytes);

    std::map<Key, std::string> model; // key -> word
    int arena = 0;
    for (const auto& [w, f] : words) {
        model[ModelKey(w)] = w;
        arena += static_cast<int>(ModelKey(w).text.size()) + 1;
    }
    EXPECT_EQ(arena, sum.arenaBytes);
    EXPECT_EQ(static_cast<int>(model.size()), Dict().GetWordCount());
    std::map<int, std::vector<std::string>> slots; // sorted stored texts per slot
    for (const auto& [k, w] : model)
        slots[k.slot].push_back(k.text);
    for (const auto& [k, w] : model) {
        const std::vector<std::string>& texts = slots[k.slot];
        const int position = static_cast<int>(std::find(texts.begin(), texts.end(), k.text) - texts.begin());
        EXPECT_TRUE(Has(w)) << w;
        EXPECT_EQ(k.slot < 6768 ? CoreDictWriter::ClampFrequency(words[w]) : 0, Freq(w)) << w;
        int expected = position;
        if (k.slot < 6768 && k.slot != 3755 && w.size() < 4) {
            expected = -1; // one hanzi
        } else if (k.slot == 3755 && position == static_cast<int>(texts.size()) - 1) {
            // The last punctuation item is found by its text less two bytes, if at all.
            const std::string tail = w.size() > 2 ? w.substr(2) : std::string();
            const auto at = std::find(texts.begin(), texts.end(), tail);
            expected = at == texts.end() ? -2 : static_cast<int>(at - texts.begin());
        }
        EXPECT_EQ(expected, Index(w)) << w;
        EXPECT_EQ(1, Dict().GetItemSize(k.slot) >= 1);
    }
    // Same words in another order: the same bytes.
    CoreDictWriter reversed;
    for (auto it = words.rbegin(); it != words.rend(); ++it)
        reversed.Add(it->first, it->second);
    EXPECT_EQ(bytes, reversed.Build());
}

TEST_F(CoreDictWriterTest, SortsEachSlotByUnsignedBytesAndClampsFrequencies)
{
    CoreDictWriter writer;
    writer.Add(G("北京"), 0);
    writer.Add(G("北") + "ab", 40000);
    writer.Add(G("北大"), -5);
    writer.Add(G("北大"), 3); // the highest frequency of a word is kept
    const std::string bytes = writer.Build();
    // 6771 counts, then three words of 2 stored bytes each.
    EXPECT_EQ(6771u * 4 + 3 * (4 + 4 + 2), bytes.size());
    LoadImage(bytes);
    EXPECT_EQ(0, Index(G("北") + "ab")); // 0x61 sorts before 0xB4 and 0xBE
    EXPECT_EQ(1, Index(G("北大")));
    EXPECT_EQ(2, Index(G("北京")));
    EXPECT_EQ(1, Freq(G("北京")));
    EXPECT_EQ(32767, Freq(G("北") + "ab"));
    EXPECT_EQ(3, Freq(G("北大")));
}

TEST_F(CoreDictWriterTest, DropsWordsThatCannotBeKeyedAndDuplicateKeys)
{
    CoreDictWriter writer;
    for (const std::string& bad : {std::string("\xA2\xB1"), std::string(), std::string("   "), std::string("\x81\x40"),
                                   std::string("\xB1"), std::string("a\0b", 3)})
        writer.Add(bad, 5);
    writer.Add(" " + G("北京"), 9);
    writer.Add(G("北京"), 4); // the same key: the more frequent spelling is kept
    CoreDictWriter::Summary sum;
    LoadImage(writer.Build(&sum));
    EXPECT_EQ(6, sum.unkeyable);
    EXPECT_EQ(1, sum.duplicates);
    EXPECT_EQ(1, sum.words);
    EXPECT_EQ(9, Freq(G("北京")));
    EXPECT_EQ(1, Dict().GetWordCount());
}

// 43690 two-hanzi words take 3 arena bytes each: 131070.
std::vector<std::string> TwoHanziWords(int n)
{
    std::vector<std::string> out;
    for (int i = 0; i < n; ++i)
        out.push_back(Cell(i % 6768) + Cell(i / 6768 + 100));
    return out;
}

TEST_F(CoreDictWriterTest, FillsTheArenaExactly)
{
    const std::vector<std::string> words = TwoHanziWords(43690);
    CoreDictWriter writer;
    for (std::size_t i = 0; i < words.size(); ++i)
        writer.Add(words[i], 10 + static_cast<long long>(i % 1000));
    writer.Add(G("北") + "a", 1); // 2 bytes: the arena is exactly full
    CoreDictWriter::Summary sum;
    std::string bytes = writer.Build(&sum);
    EXPECT_EQ(131072, sum.arenaBytes);
    EXPECT_EQ(43691, sum.words);
    EXPECT_EQ(0, sum.noRoom);
    LoadImage(bytes);
    EXPECT_EQ(43691, Dict().GetWordCount());
    for (std::size_t i = 0; i < words.size(); i += 97)
        EXPECT_EQ(10 + static_cast<int>(i % 1000), Freq(words[i])) << i;
    EXPECT_TRUE(Has(words.back()));
    EXPECT_TRUE(Has(G("北") + "a"));
    std::string extra = G("北") + "b";
    EXPECT_FALSE(Dict().AddItem(&extra[0], 1)); // one byte more does not fit

    // Two more: the least frequent words that do not fit are passed over,
    // and a smaller one behind them still goes in.
    writer.Add(Cell(6000) + Cell(6001), 5); // 3 bytes
    writer.Add(G("北") + "zzzz", 1);        // 5 bytes
    bytes = writer.Build(&sum);
    EXPECT_EQ(43691, sum.words);
    EXPECT_EQ(2, sum.noRoom);
    EXPECT_EQ(131072, sum.arenaBytes);
    LoadImage(bytes);
    EXPECT_TRUE(Has(G("北") + "a"));
    EXPECT_FALSE(Has(G("北") + "zzzz"));
    EXPECT_FALSE(Has(Cell(6000) + Cell(6001)));
}

TEST_F(CoreDictWriterTest, VocabularyGoesInBeforeFrequentWords)
{
    const std::vector<std::string> words = TwoHanziWords(50000); // 150000 bytes
    CoreDictWriter writer;
    for (std::size_t i = 0; i < words.size(); ++i)
        writer.Add(words[i], 1000 + static_cast<long long>(i));
    writer.Add(G("海淀区"), 1);
    writer.AddVocabulary(G("海淀区"));
    writer.AddVocabulary(G("中关村")); // never given a frequency: 1
    writer.AddVocabulary(words[0]);      // the least frequent word
    CoreDictWriter::Summary sum;
    LoadImage(writer.Build(&sum));
    EXPECT_GE(sum.arenaBytes, 131070);
    EXPECT_LE(sum.arenaBytes, 131072);
    EXPECT_TRUE(Has(G("海淀区")));
    EXPECT_EQ(1, Freq(G("中关村")));
    EXPECT_TRUE(Has(words[0]));
    EXPECT_FALSE(Has(words[1])); // then by descending frequency
    EXPECT_TRUE(Has(words.back()));
    EXPECT_EQ(sum.words, Dict().GetWordCount());
}

TEST_F(CoreDictWriterTest, ReportsAFileThatCannotBeWritten)
{
    CoreDictWriter writer;
    std::string error;
    EXPECT_FALSE(writer.Write("/nonexistent-dir/CoreDict.dct", nullptr, &error));
    EXPECT_NE(std::string::npos, error.find("/nonexistent-dir/CoreDict.dct"));
    TempFile file;
    ASSERT_TRUE(writer.Write(file.path(), nullptr, &error)) << error;
    ASSERT_TRUE(Dict().Load(file.path(), false));
    EXPECT_EQ(0, Dict().GetWordCount());
}

// The default word list of the data compiler, loaded as it will be.
TEST_F(CoreDictWriterTest, TheDefaultWordListFillsTheArenaAndSegmentsRealNames)
{
    std::string path = __FILE__; // <root>/Tests/Build/this file
    path = path.substr(0, path.rfind('/')) + "/../../Data/words.txt";
    std::ifstream list(path);
    ASSERT_TRUE(list) << "Data/words.txt";
    CoreDictWriter writer;
    std::string word;
    long long freq = 0;
    int lines = 0;
    while (list >> word >> freq) {
        std::string gbk;
        ASSERT_TRUE(GbkCodec::ToGbk(word, gbk)) << word;
        writer.Add(gbk, freq);
        ++lines;
    }
    CoreDictWriter::Summary sum;
    LoadImage(writer.Build(&sum));
    EXPECT_GT(lines, 100000);
    EXPECT_EQ(0, sum.unkeyable + sum.duplicates);
    EXPECT_GT(sum.noRoom, 0);
    EXPECT_GE(sum.arenaBytes, 131072 - 6);
    EXPECT_GT(sum.words, 30000);

    Kest::eMMWordSeg mm;
    Kest::eMPWordSeg mp;
    mm.SetDict(Dict());
    mp.SetDict(Dict());
    auto MM = [&mm](const char* s) { return GbkCodec::Utf8(mm.SegmentSentenceMM(eString(G(s).c_str())).Cstr()); };
    auto MP = [&mp](const char* s) { return GbkCodec::Utf8(mp.SegmentSentenceMP(eString(G(s).c_str())).Cstr()); };
    struct Name { const char* name; const char* mm; const char* mp; };
    const Name names[] = {
        {"北京大学第一医院", "北京大学*第一*医院", "北京*大学*第一*医院"},
        {"中国工商银行海淀支行", "中国*工商*银行*海淀*支行", "中国*工商*银行*海淀*支行"},
        {"首都国际机场", "首都*国际*机场", "首都*国际*机场"},
        {"上海火车站", "上海*火车站", "上海*火车站"},
        {"王府井百货大楼", "王府井*百货*大楼", "王府井*百货*大楼"},
        {"天安门广场", "天安门*广场", "天安门*广场"},
        {"中关村科技园区", "中关村*科技园区", "中关村*科技园区"},
        {"人民公园停车场", "人民*公园*停车场", "人民*公园*停车场"},
        {"南京东路步行街", "南京*东路*步行*街", "南京*东路*步行*街"},
        {"7天连锁酒店(西单店)", "7*天*连锁*酒店*(*西单*店*)", "7*天*连锁*酒店*(*西单*店*)"},
    };
    for (const Name& n : names) {
        EXPECT_EQ(n.mm, MM(n.name)) << n.name;
        EXPECT_EQ(n.mp, MP(n.name)) << n.name;
    }
}

} // namespace
