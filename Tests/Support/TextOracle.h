#pragma once
// The plain model of the search by text that the differential tests share:
// a word's key in the loaded dictionary, a typed text cut as the search cuts
// it, a name's postings as the index holds them, and the phrase rule.

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "POIEngine/eDictionary.h"
#include "POIEngine/eMMWordSeg.h"

namespace KestTest {

struct Word {
    int key;
    int position; // in bytes
    int length;   // in bytes
};

inline bool KeyOf(const std::string& word, int& key)
{
    int slot = 0, index = 0;
    if (word.empty() || !Kest::eDictionary::GetInstance().GetWordIndex(Kest::eString(word.c_str()), slot, index))
        return false;
    key = index == -1 ? slot * 10000 - 1 : slot * 10000 + index;
    return true;
}

// Text cut as the search cuts it: the keyed words with their byte positions.
inline std::vector<Word> Cut(const std::string& gbk)
{
    Kest::eMMWordSeg seg;
    seg.SetDict(Kest::eDictionary::GetInstance());
    Kest::eString parts = seg.SegmentHzStrMM(Kest::eString(gbk.c_str()));
    Kest::eArray<Kest::eString> words;
    seg.GetAdressSeg(parts, words);
    std::vector<Word> out;
    int position = 0;
    for (int i = 0; i < words.GetSize(); ++i) {
        int key = 0;
        if (KeyOf(words[i].Cstr(), key))
            out.push_back({key, position, words[i].GetLength()});
        position += words[i].GetLength();
    }
    return out;
}

// A text as it is indexed, added to `out`: every dictionary word of up to
// four two-byte characters at every position where it occurs, and every
// keyed single character, each key once per position.
inline void Post(const std::string& gbk, std::vector<Word>& out)
{
    std::set<std::pair<int, int>> seen;
    for (std::size_t at = 0; at < gbk.size(); at += static_cast<unsigned char>(gbk[at]) >= 0x81 ? 2 : 1)
        for (std::size_t length = 2; length <= 8 && at + length <= gbk.size(); length += 2) {
            std::string word = gbk.substr(at, length);
            if (static_cast<unsigned char>(word[length - 2]) < 0x81)
                break; // a one-byte character
            std::string probe = word;
            int key = 0;
            if ((length == 2 || Kest::eDictionary::GetInstance().IsGetWord(&probe[0])) && KeyOf(word, key) &&
                seen.emplace(key, static_cast<int>(at)).second)
                out.push_back({key, static_cast<int>(at), static_cast<int>(length)});
        }
}

inline std::vector<Word> Postings(const std::string& gbk)
{
    std::vector<Word> out;
    Post(gbk, out);
    return out;
}

// The words of one typed keyword: its pieces as the dictionary splits them,
// each cut; `loose` when there is more than one piece. False when the
// dictionary refuses the keyword.
inline bool QueryWords(const std::string& typed, std::vector<Word>& query, bool& loose)
{
    Kest::eString copy(typed.c_str());
    Kest::eArray<Kest::eString> pieces;
    query.clear();
    if (!Kest::eDictionary::GetInstance().PreStand(copy, pieces))
        return false;
    for (int p = 0; p < pieces.GetSize(); ++p)
        for (const Word& w : Cut(pieces[p].Cstr()))
            query.push_back(w);
    loose = pieces.GetSize() > 1;
    return true;
}

// Whether a name's postings hold the query when its first word stands at
// `position`: loose, every other word anywhere; otherwise each word right
// behind the one before, measured by the typed word's length.
inline bool Holds(const std::vector<Word>& words, const std::vector<Word>& query, int position, bool loose)
{
    int end = position + query[0].length;
    for (std::size_t q = 1; q < query.size(); ++q) {
        bool any = false;
        for (const Word& w : words)
            if (w.key == query[q].key && (loose || w.position == end)) {
                any = true;
                end = w.position + query[q].length;
                break;
            }
        if (!any)
            return false;
    }
    return true;
}

// A text search's hits against the oracle's: the same, or past the cap of
// 100 (the first by rank) 100 of them, none more often than in the oracle's.
// True when capped.
inline bool ExpectCapped(const std::multiset<std::string>& got, const std::multiset<std::string>& want,
                         const std::string& context)
{
    if (want.size() <= 100) {
        EXPECT_EQ(got, want) << context;
        return false;
    }
    EXPECT_EQ(got.size(), 100u) << context;
    for (const auto& name : std::set<std::string>(got.begin(), got.end()))
        EXPECT_LE(got.count(name), want.count(name)) << context;
    return true;
}

} // namespace KestTest
