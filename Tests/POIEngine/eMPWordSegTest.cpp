#include "POIEngine/eMPWordSeg.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "Build/CoreDictWriter.h"
#include "Support/DictFiles.h"

using Kest::CoreDictWriter;
using Kest::eDictionary;
using Kest::eMPWordSeg;
using Kest::eString;
using Kest::GbkCodec;
using namespace KestTest;

namespace {

eDictionary& Dict() { return eDictionary::GetInstance(); }

void LoadWords(const std::vector<std::pair<std::string, int>>& words)
{
    CoreDictWriter writer;
    for (const auto& [w, f] : words)
        writer.Add(G(w.c_str()), f);
    TempFile file(writer.Build());
    Dict().UnLoad();
    ASSERT_TRUE(Dict().Load(file.path(), false));
}

int FreqOf(const std::string& word)
{
    std::string b(word);
    return Dict().GetFreq(&b[0]);
}

// The search written plainly, without a bound on the candidates: every word
// of 1 to 4 hanzi, the cheapest path, ties resolved as the segmenter does.
struct Cand {
    int start, length, previous;
    double cost, total;
};

std::vector<Cand> Candidates(const std::string& hz)
{
    std::vector<Cand> c;
    for (int s = 0; s < static_cast<int>(hz.size()); s += 2)
        for (int l = 2; l <= 8 && s + l <= static_cast<int>(hz.size()); l += 2) {
            const int f = FreqOf(hz.substr(static_cast<std::size_t>(s), static_cast<std::size_t>(l)));
            if (l > 2 && f == 0)
                continue;
            c.push_back({s, l, -1, -std::log(((f == -1 ? 0 : f) + 1) / 200000.0), 0});
        }
    return c;
}

std::string Oracle(const std::string& hz)
{
    std::vector<Cand> c = Candidates(hz);
    int best = -1;
    for (std::size_t i = 0; i < c.size(); ++i) {
        int prev = -1;
        for (std::size_t j = 0; j < i; ++j) // upward: the lowest index wins a tie
            if (c[j].start + c[j].length == c[i].start && (prev < 0 || c[j].total < c[static_cast<std::size_t>(prev)].total))
                prev = static_cast<int>(j);
        c[i].previous = prev;
        c[i].total = (prev < 0 ? 0 : c[static_cast<std::size_t>(prev)].total) + c[i].cost;
        if (c[i].start + c[i].length == static_cast<int>(hz.size()) &&
            (best < 0 || c[i].total < c[static_cast<std::size_t>(best)].total))
            best = static_cast<int>(i);
    }
    std::string out;
    for (int i = best; i >= 0; i = c[static_cast<std::size_t>(i)].previous)
        out = hz.substr(static_cast<std::size_t>(c[static_cast<std::size_t>(i)].start),
                        static_cast<std::size_t>(c[static_cast<std::size_t>(i)].length)) + "*" + out;
    return out;
}

class MPWordSeg : public ::testing::Test {
protected:
    void SetUp() override { seg.SetDict(Dict()); }
    void TearDown() override { Dict().UnLoad(); }
    std::string Hz(const char* utf8) { return GbkCodec::Utf8(seg.SegmentHzStrMP(eString(G(utf8).c_str())).Cstr()); }
    std::string Sentence(const char* utf8)
    {
        return GbkCodec::Utf8(seg.SegmentSentenceMP(eString(G(utf8).c_str())).Cstr());
    }
    eMPWordSeg seg;
};

TEST_F(MPWordSeg, PrefersTheCheapestPath)
{
    LoadWords({{"北京", 100}, {"大学", 80}, {"北京大学", 50}, {"人民", 60}, {"医院", 70}, {"民医", 1}});
    EXPECT_EQ("北京大学*", Hz("北京大学"));
    EXPECT_EQ("人民*医院*", Hz("人民医院"));
    EXPECT_EQ("北京*饭*店*", Hz("北京饭店")); // unknown hanzi alone
    EXPECT_EQ("", Hz(""));
    EXPECT_EQ("北京*", GbkCodec::Utf8(seg.SegmentHzStrMP(eString((G("北京")).c_str())).Cstr()));
}

TEST_F(MPWordSeg, TiesGoToTheLowerCandidate)
{
    // 甲乙 and 乙丙 are equally frequent: the paths 甲|乙丙 and 甲乙|丙 cost
    // the same before 丁, and 乙丙 (the lower candidate) is kept.
    LoadWords({{"甲乙", 30}, {"乙丙", 30}});
    EXPECT_EQ("甲*乙丙*丁*", Hz("甲乙丙丁"));
    // Among the words that end the run, the earlier of two equal totals.
    LoadWords({{"北京", 30}, {"京大", 30}});
    EXPECT_EQ("北*京大*", Hz("北京大"));
    EXPECT_EQ(Oracle(G("北京大")), G("北*京大*"));
}

TEST_F(MPWordSeg, LongRunsAreCutWhereTheirCandidatesStopFittingTheTable)
{
    // Ten hanzi repeated; every 2-, 3- and 4-hanzi window is a word, so a
    // run of n hanzi has 4n - 6 candidates: 26 hanzi fit (98), 27 do not.
    const std::string cycle = G("东南西北中发白春夏秋");
    std::vector<std::pair<std::string, int>> words;
    const std::string twice = GbkCodec::Utf8(cycle + cycle);
    for (int i = 0; i < 10; ++i)
        for (int n = 2; n <= 4; ++n) {
            // Varied frequencies so that the best path is not trivial.
            std::string w;
            for (int k = 0; k < n; ++k)
                w += GbkCodec::Utf8(cycle.substr(static_cast<std::size_t>(2 * ((i + k) % 10)), 2));
            words.push_back({w, 1 + (i * 37 + n * 101) % 500});
        }
    LoadWords(words);
    std::string run;
    for (int i = 0; i < 60; ++i)
        run += cycle.substr(static_cast<std::size_t>(2 * (i % 10)), 2);
    ASSERT_EQ(4u * 60 - 6, Candidates(run).size());

    auto mp = [this](const std::string& hz) { return std::string(seg.SegmentHzStrMP(eString(hz.c_str())).Cstr()); };
    const std::string fits = run.substr(0, 52);
    ASSERT_EQ(98u, Candidates(fits).size());
    EXPECT_EQ(Oracle(fits), mp(fits));
    // 27 hanzi: the 26-hanzi prefix, then the last hanzi alone.
    const std::string over = run.substr(0, 54);
    EXPECT_EQ(Oracle(over.substr(0, 52)) + Oracle(over.substr(52)), mp(over));
    // 60 hanzi: pieces of 26, 26 and 8 hanzi.
    EXPECT_EQ(Oracle(run.substr(0, 52)) + Oracle(run.substr(52, 52)) + Oracle(run.substr(104)), mp(run));
    // The same through the sentence loop, with text around the run.
    EXPECT_EQ("AB*" + mp(run) + "CD", std::string(seg.SegmentSentenceMP(eString(("ab " + run + "cd").c_str())).Cstr()));
}

TEST_F(MPWordSeg, SparseLongRunsKeepLongerPieces)
{
    // With few words a run of 40 hanzi has fewer than 100 candidates and is
    // segmented whole, exactly as the unbounded search does.
    LoadWords({{"北京", 30}, {"京大", 20}, {"大学", 40}});
    std::string run;
    for (int i = 0; i < 10; ++i)
        run += G("北京大学");
    ASSERT_LE(Candidates(run).size(), 100u);
    EXPECT_EQ(Oracle(run), std::string(seg.SegmentHzStrMP(eString(run.c_str())).Cstr()));
}

TEST_F(MPWordSeg, SentencesAreUpperCasedAndAtomsArePairs)
{
    LoadWords({{"北京", 30}});
    EXPECT_EQ("ABC*北京", Sentence("abc北京"));
    EXPECT_EQ("", Sentence(""));
    EXPECT_EQ("北京*Ｇ６*X1", Sentence("北京Ｇ６ x1"));
    EXPECT_EQ("北*京*ABC", GbkCodec::Utf8(seg.AtomSegment(eString(G("北京 abc").c_str())).Cstr()));
    EXPECT_EQ("北*京*", GbkCodec::Utf8(seg.CHWordAtomSegment(eString(G("北京a").c_str())).Cstr()));
    EXPECT_EQ("AB*", std::string(seg.CHWordAtomSegment(eString("ab")).Cstr()));
    // A lone lead byte after the last character.
    EXPECT_EQ(G("北京*") + "\xB1*", std::string(seg.SegmentHzStrMP(eString((G("北京") + "\xB1").c_str())).Cstr()));
    EXPECT_EQ(G("北京*") + "\xB1", std::string(seg.SegmentSentenceMP(eString((G("北京") + "\xB1").c_str())).Cstr()));
    eMPWordSeg bare;
    EXPECT_EQ("北*京", GbkCodec::Utf8(bare.SegmentSentenceMP(eString(G("北京").c_str())).Cstr()));
}

} // namespace
