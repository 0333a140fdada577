#pragma once
// The plain model of the searches by text that the differential tests share:
// a word's key in the loaded dictionary, a text cut as the search cuts it, a
// name's postings as the index holds them, and the phrase rule over them.

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "POIEngine/eDictionary.h"
#include "POIEngine/eMMWordSeg.h"
#include "Support/Differential.h"

namespace KestTest {

inline bool KeyOf(const std::string& word, int& key)
{
    int slot = 0, index = 0;
    if (word.empty() || !Kest::eDictionary::GetInstance().GetWordIndex(Kest::eString(word.c_str()), slot, index))
        return false;
    key = index == -1 ? slot * 10000 - 1 : slot * 10000 + index;
    return true;
}

// The words of a text as the search cuts it.
inline std::vector<std::string> CutWords(const std::string& gbk)
{
    Kest::eMMWordSeg seg;
    seg.SetDict(Kest::eDictionary::GetInstance());
    Kest::eString parts = seg.SegmentHzStrMM(Kest::eString(gbk.c_str()));
    Kest::eArray<Kest::eString> words;
    seg.GetAdressSeg(parts, words);
    std::vector<std::string> out;
    for (int i = 0; i < words.GetSize(); ++i)
        out.push_back(words[i].Cstr());
    return out;
}

// One to three neighbouring words of `words`, from a drawn one or from `from`
// (moved back so that they fit); when `spaces`, one run in three spaced.
inline std::string Phrase(Draw& draw, const std::vector<std::string>& words, bool spaces, int from = -1)
{
    const int size = static_cast<int>(words.size());
    const int n = std::min(size, 1 + static_cast<int>(draw.Below(3)));
    const int drawn = static_cast<int>(draw.Below(static_cast<std::size_t>(size - n + 1)));
    const int start = from < 0 ? drawn : std::min(from, size - n);
    const bool spaced = spaces && n > 1 && draw.OneIn(3);
    std::string typed;
    for (int i = start; i < start + n; ++i)
        typed += (i > start && spaced ? " " : "") + words[static_cast<std::size_t>(i)];
    return typed;
}

// A text as it is indexed: every dictionary word of up to four two-byte
// characters at every position where it occurs, and every keyed single
// character, each key once per position.
inline std::vector<Word> Postings(const std::string& gbk)
{
    std::vector<Word> out;
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
    return out;
}

// The words of one typed keyword: its pieces as the dictionary splits them,
// each cut, keyed, with its byte positions in the piece; `loose` when there
// is more than one piece. False when the dictionary refuses the keyword.
inline bool QueryWords(const std::string& typed, std::vector<Word>& query, bool& loose)
{
    Kest::eString copy(typed.c_str());
    Kest::eArray<Kest::eString> pieces;
    query.clear();
    if (!Kest::eDictionary::GetInstance().PreStand(copy, pieces))
        return false;
    for (int p = 0, position = 0, key = 0; p < pieces.GetSize(); ++p, position = 0)
        for (const std::string& w : CutWords(pieces[p].Cstr())) {
            if (KeyOf(w, key))
                query.push_back({key, position, static_cast<int>(w.size())});
            position += static_cast<int>(w.size());
        }
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
        const auto at = std::find_if(words.begin(), words.end(), [&](const Word& w) {
            return w.key == query[q].key && (loose || w.position == end);
        });
        if (at == words.end())
            return false;
        end = at->position + query[q].length;
    }
    return true;
}

// The postings of rows: word key -> (row, position), in row order.
class WordIndex {
public:
    explicit WordIndex(const std::vector<NameRow>& rows)
    {
        for (const NameRow& r : rows)
            for (const Word& w : r.words)
                m_postings[w.key].emplace_back(&r, w.position);
    }

    // Adds the names of the rows `keep` admits that hold the typed keyword,
    // once per match. Gives the number of its words, or -1 when the
    // dictionary refuses it or a word of it is in none of those rows.
    template <class Keep>
    int Find(const std::string& typed, Keep keep, std::multiset<std::string>& found) const
    {
        std::vector<Word> query;
        bool loose = false;
        if (!QueryWords(typed, query, loose))
            return -1;
        for (const Word& q : query) {
            const auto it = m_postings.find(q.key);
            if (it == m_postings.end() ||
                std::none_of(it->second.begin(), it->second.end(), [&](const auto& p) { return keep(*p.first); }))
                return -1;
        }
        if (!query.empty())
            for (const auto& [row, position] : m_postings.at(query[0].key))
                if (keep(*row) && Holds(row->words, query, position, loose))
                    found.insert(row->name);
        return static_cast<int>(query.size());
    }

private:
    std::map<int, std::vector<std::pair<const NameRow*, int>>> m_postings;
};

// A text search's hits against the oracle's: the same, or past the cap of
// 100 (the first by rank) 100 of them, none more often than in the oracle's.
// True when capped.
inline bool ExpectCapped(const std::multiset<std::string>& got, const std::multiset<std::string>& want)
{
    if (want.size() <= 100) {
        EXPECT_EQ(got, want);
        return false;
    }
    EXPECT_EQ(got.size(), 100u);
    for (const auto& name : std::set<std::string>(got.begin(), got.end()))
        EXPECT_LE(got.count(name), want.count(name));
    return true;
}

} // namespace KestTest
