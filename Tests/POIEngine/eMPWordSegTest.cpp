#include "POIEngine/eMPWordSeg.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "Support/DictFiles.h"

using Kest::eMPWordSeg;
using Kest::eString;
using Kest::GbkCodec;
using namespace KestTest;

namespace {

// The search written plainly, without a bound on the candidates: every word
// of 1 to 4 hanzi, the cheapest path, ties resolved as the segmenter does.
struct Cand {
    int start, length, previous;
    double total;
};

std::vector<Cand> Candidates(const std::string& hz)
{
    std::vector<Cand> c;
    for (int s = 0; s < static_cast<int>(hz.size()); s += 2)
        for (int l = 2; l <= 8 && s + l <= static_cast<int>(hz.size()); l += 2) {
            std::string word = hz.substr(static_cast<std::size_t>(s), static_cast<std::size_t>(l));
            const int f = Dict().GetFreq(&word[0]);
            if (l == 2 || f != 0)
                c.push_back({s, l, -1, -std::log(((f == -1 ? 0 : f) + 1) / 200000.0)});
        }
    return c;
}

std::string Oracle(const std::string& hz)
{
    std::vector<Cand> c = Candidates(hz);
    int best = -1;
    for (int i = 0; i < static_cast<int>(c.size()); ++i) {
        int prev = -1;
        for (int j = 0; j < i; ++j) // upward: the lowest index wins a tie
            if (c[j].start + c[j].length == c[i].start && (prev < 0 || c[j].total < c[prev].total))
                prev = j;
        c[i].previous = prev;
        c[i].total += prev < 0 ? 0 : c[prev].total;
        if (c[i].start + c[i].length == static_cast<int>(hz.size()) && (best < 0 || c[i].total < c[best].total))
            best = i;
    }
    std::string out;
    for (int i = best; i >= 0; i = c[i].previous)
        out = hz.substr(static_cast<std::size_t>(c[i].start), static_cast<std::size_t>(c[i].length)) + "*" + out;
    return out;
}

class MPWordSeg : public ::testing::Test {
protected:
    void SetUp() override { seg.SetDict(Dict()); }
    void TearDown() override { Dict().UnLoad(); }
    std::string Mp(const std::string& gbk) { return seg.SegmentHzStrMP(eString(gbk.c_str())).Cstr(); }
    std::string Hz(const char* utf8) { return GbkCodec::Utf8(Mp(G(utf8))); }
    eMPWordSeg seg;
};

TEST_F(MPWordSeg, TiesGoToTheLowerCandidate)
{
    // 甲|乙丙 and 甲乙|丙 cost the same before 丁; 乙丙 (the lower candidate) is kept.
    LoadDict(WordBytes({{"甲乙", 30}, {"乙丙", 30}}));
    EXPECT_EQ("甲*乙丙*丁*", Hz("甲乙丙丁"));
    // Among the words that end the run, the earlier of two equal totals.
    LoadDict(WordBytes({{"北京", 30}, {"京大", 30}}));
    EXPECT_EQ("北*京大*", Hz("北京大"));
}

TEST_F(MPWordSeg, LongRunsAreCutWhereTheirCandidatesStopFittingTheTable)
{
    // Ten hanzi repeated; every 2-, 3- and 4-hanzi window is a word (varied
    // frequencies), so a run of n hanzi has 4n - 6 candidates: 26 hanzi fit
    // (98), 27 do not.
    const std::string cycle = G("东南西北中发白春夏秋");
    auto hanzi = [&cycle](int i) { return cycle.substr(static_cast<std::size_t>(2 * (i % 10)), 2); };
    std::vector<std::pair<std::string, int>> words;
    for (int i = 0; i < 10; ++i)
        for (int n = 2; n <= 4; ++n) {
            std::string w;
            for (int k = 0; k < n; ++k)
                w += hanzi(i + k);
            words.push_back({GbkCodec::Utf8(w), 1 + (i * 37 + n * 101) % 500});
        }
    LoadDict(WordBytes(words));
    std::string run;
    for (int i = 0; i < 60; ++i)
        run += hanzi(i);
    ASSERT_EQ(98u, Candidates(run.substr(0, 52)).size());
    EXPECT_EQ(Oracle(run.substr(0, 52)), Mp(run.substr(0, 52)));
    // 27 hanzi: the 26-hanzi prefix, then the last hanzi alone.
    EXPECT_EQ(Oracle(run.substr(0, 52)) + Oracle(run.substr(52, 2)), Mp(run.substr(0, 54)));
    // 60 hanzi: pieces of 26, 26 and 8 hanzi, also inside a sentence.
    const std::string pieces = Oracle(run.substr(0, 52)) + Oracle(run.substr(52, 52)) + Oracle(run.substr(104));
    EXPECT_EQ(pieces, Mp(run));
    EXPECT_EQ("AB*" + pieces + "CD", seg.SegmentSentenceMP(eString(("ab " + run + "cd").c_str())).Cstr());

    // With few words a run of 40 hanzi has fewer than 100 candidates and is
    // segmented whole.
    LoadDict(WordBytes({{"北京", 30}, {"京大", 20}, {"大学", 40}}));
    run.clear();
    for (int i = 0; i < 10; ++i)
        run += G("北京大学");
    ASSERT_LE(Candidates(run).size(), 100u);
    EXPECT_EQ(Oracle(run), Mp(run));
}

TEST_F(MPWordSeg, SentencesAreUpperCasedAndAtomsArePairs)
{
    LoadDict(WordBytes({{"北京", 30}}));
    auto utf8 = [](const eString& s) { return GbkCodec::Utf8(s.Cstr()); };
    EXPECT_EQ("ABC*北京", utf8(seg.SegmentSentenceMP(eString(G("abc北京").c_str()))));
    EXPECT_EQ("北京*Ｇ６*X1", utf8(seg.SegmentSentenceMP(eString(G("北京Ｇ６ x1").c_str()))));
    EXPECT_EQ("北*京*ABC", utf8(seg.AtomSegment(eString(G("北京 abc").c_str()))));
    EXPECT_EQ("北*京*AB*", utf8(seg.CHWordAtomSegment(eString(G("北京abc").c_str())))); // odd last byte dropped
    EXPECT_EQ(G("北京*") + "\xB1*", Mp(G("北京") + "\xB1")); // a lone lead byte after the last character
    EXPECT_EQ("", Mp(""));
    EXPECT_EQ("北*京", utf8(eMPWordSeg().SegmentSentenceMP(eString(G("北京").c_str())))); // no dictionary
}

} // namespace
