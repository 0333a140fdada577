#include "Compiler/CoreDictWriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "POIEngine/eMMWordSeg.h"
#include "POIEngine/eMPWordSeg.h"
#include "Support/DictFiles.h"

using Kest::CoreDictWriter;
using Kest::eString;
using Kest::GbkCodec;
using namespace KestTest;

namespace {

// The GBK character of a GB2312 cell 0..6767.
std::string Cell(int cell) { return {static_cast<char>(0xB0 + cell / 94), static_cast<char>(0xA1 + cell % 94)}; }

class CoreDictWriterTest : public ::testing::Test {
protected:
    void TearDown() override { Dict().UnLoad(); }
};

// Two-hanzi words of 3 arena bytes each; 43690 of them take 131070.
std::vector<std::string> TwoHanziWords(int n)
{
    std::vector<std::string> out;
    for (int i = 0; i < n; ++i)
        out.push_back(Cell(i % 6768) + Cell(i / 6768 + 100));
    return out;
}

TEST_F(CoreDictWriterTest, RoundTripsRandomWordsOfEveryKindDroppingBadOnes)
{
    std::mt19937 rng(20261121);
    auto pick = [&rng](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
    std::map<std::string, long long> words; // word -> highest frequency given
    CoreDictWriter writer;
    for (int i = 0; i < 4000; ++i) {
        std::string w;
        switch (pick(6)) {
        case 0: w = "!,.?()"[pick(6)]; break;                                             // ASCII punctuation
        case 1: w = {static_cast<char>(0xA1), static_cast<char>(0xA2 + pick(90))}; break; // full-width punctuation
        case 2: w = std::string(1, static_cast<char>('a' + pick(26))); break;             // other ASCII
        case 3: w = {static_cast<char>(0xA3), static_cast<char>(0xC1 + pick(26))}; break; // full-width letter
        case 4: w = {static_cast<char>(0xA3), static_cast<char>(0xB0 + pick(10))}; break; // full-width digit
        default: w = Cell(pick(200) * 31); break;                                         // hanzi
        }
        for (int n = pick(4); n > 0; --n)
            w += pick(5) == 0 ? std::string(1, static_cast<char>('a' + pick(26))) : Cell(pick(6768));
        const long long freq = static_cast<long long>(rng() % 100000) - 10;
        writer.Add(w, freq);
        auto it = words.emplace(w, freq).first;
        it->second = std::max(it->second, freq);
    }
    // Words that cannot be keyed, and a less frequent spelling of a known key.
    for (const std::string& bad : {std::string("\xA2\xB1"), std::string(), std::string("   "), std::string("\x81\x40"),
                                   std::string("\xB1"), std::string("a\0b", 3)})
        writer.Add(bad, 5);
    writer.Add(" " + words.begin()->first, -100);
    CoreDictWriter::Summary sum;
    const std::string bytes = writer.Build(&sum);
    LoadDict(bytes);

    EXPECT_EQ((std::vector<int>{static_cast<int>(words.size()), 6, 1, 0}),
              (std::vector<int>{Dict().GetWordCount(), sum.unkeyable, sum.duplicates, sum.noRoom}));
    // Every word is found with its highest frequency, clamped to the
    // dictionary's range; words outside the hanzi slots carry none.
    for (const auto& [w, f] : words) {
        int slot = -1;
        Index(w, &slot);
        EXPECT_TRUE(Has(w)) << w;
        EXPECT_EQ(slot < 6768 ? static_cast<int>(std::min(std::max(f, 1LL), 32767LL)) : 0, Freq(w)) << w;
    }
    // The same words in another order, without the dropped ones: the same bytes.
    CoreDictWriter reversed;
    for (auto it = words.rbegin(); it != words.rend(); ++it)
        reversed.Add(it->first, it->second);
    EXPECT_EQ(bytes, reversed.Build());
}

TEST_F(CoreDictWriterTest, FillsTheArenaExactly)
{
    const std::vector<std::string> words = TwoHanziWords(43690);
    CoreDictWriter writer;
    for (std::size_t i = 0; i < words.size(); ++i)
        writer.Add(words[i], 10 + static_cast<long long>(i % 1000));
    writer.Add(G("北") + "a", 1); // 2 bytes: the arena is exactly full
    CoreDictWriter::Summary sum;
    LoadDict(writer.Build(&sum));
    EXPECT_EQ(131072, sum.arenaBytes);
    EXPECT_EQ(43691, Dict().GetWordCount());
    for (std::size_t i = 0; i < words.size(); i += 97)
        EXPECT_EQ(10 + static_cast<int>(i % 1000), Freq(words[i])) << i;
    EXPECT_TRUE(Has(G("北") + "a"));
    std::string extra = G("北") + "b";
    EXPECT_FALSE(Dict().AddItem(&extra[0], 1)); // one byte more does not fit

    // The least frequent words that do not fit are passed over, and a
    // smaller one behind them still goes in.
    writer.Add(Cell(6000) + Cell(6001), 5); // 3 bytes
    writer.Add(G("北") + "zzzz", 1);        // 5 bytes
    LoadDict(writer.Build(&sum));
    EXPECT_EQ(2, sum.noRoom);
    EXPECT_EQ(131072, sum.arenaBytes);
    EXPECT_TRUE(Has(G("北") + "a"));
    EXPECT_FALSE(Has(Cell(6000) + Cell(6001)));
}

TEST_F(CoreDictWriterTest, GroupsGoInOneAfterTheOtherThenByFrequency)
{
    const std::vector<std::string> words = TwoHanziWords(50000); // 150000 bytes
    CoreDictWriter writer;
    for (std::size_t i = 0; i < words.size(); ++i) {
        writer.Add(words[i], 1000 + static_cast<long long>(i));
        if (i % 2)
            writer.AddVocabulary(words[i]); // 75000 bytes
    }
    writer.AddVocabulary(G("中关村")); // never given a frequency: 1
    writer.AddVocabulary(words[0]);     // the least frequent word
    writer.AddVocabulary(words[2], CoreDictWriter::Group::First);
    writer.AddVocabulary(words[2]); // keeps the earlier group
    LoadDict(writer.Build());
    EXPECT_EQ(1, Freq(G("中关村")));
    for (std::size_t i : {0, 1, 2, 3})
        EXPECT_TRUE(Has(words[i])) << i;
    EXPECT_FALSE(Has(words[4])); // the rest by descending frequency
    EXPECT_TRUE(Has(words[words.size() - 2]));
}

// The default word list of the data compiler, loaded as it will be.
TEST_F(CoreDictWriterTest, TheDefaultWordListFillsTheArenaAndSegmentsRealNames)
{
    std::ifstream list(std::string(KEST_TEST_DATA) + "/../../Data/words.txt");
    ASSERT_TRUE(list) << "Data/words.txt";
    CoreDictWriter writer;
    std::string word, gbk;
    long long freq = 0;
    while (list >> word >> freq) {
        ASSERT_TRUE(GbkCodec::ToGbk(word, gbk)) << word;
        writer.Add(gbk, freq);
    }
    CoreDictWriter::Summary sum;
    LoadDict(writer.Build(&sum));
    EXPECT_EQ(0, sum.unkeyable + sum.duplicates);
    EXPECT_GE(sum.arenaBytes, 131072 - 6);

    Kest::eMMWordSeg mm;
    Kest::eMPWordSeg mp;
    mm.SetDict(Dict());
    mp.SetDict(Dict());
    const char* const names[][3] = {
        {"北京大学第一医院", "北京大学*第一*医院", "北京*大学*第一*医院"},
        {"中国工商银行海淀支行", "中国*工商*银行*海淀*支行", "中国*工商*银行*海淀*支行"},
        {"7天连锁酒店(西单店)", "7*天*连锁*酒店*(*西单*店*)", "7*天*连锁*酒店*(*西单*店*)"},
    };
    for (const auto& n : names) {
        EXPECT_EQ(n[1], GbkCodec::Utf8(mm.SegmentSentenceMM(eString(G(n[0]).c_str())).Cstr())) << n[0];
        EXPECT_EQ(n[2], GbkCodec::Utf8(mp.SegmentSentenceMP(eString(G(n[0]).c_str())).Cstr())) << n[0];
    }
}

} // namespace
