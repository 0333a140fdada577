// The search by Chinese text on the bundled sample against a plain oracle:
// 1200 random queries (one to three words cut from real names, with and
// without a space between them, some with half-width digits and letters)
// must find what straight loops over the source rows find when they index
// every dictionary word at every position and apply the search's word
// cutting, phrase and position rules.

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "Compiler/GbkCodec.h"
#include "POIEngine/PinyinHelpers.h"
#include "POIEngine/eDictionary.h"
#include "POIEngine/eMMWordSeg.h"
#include "POIEngine/ePOIEngineManager.h"
#include "Support/CompiledSample.h"

using namespace Kest;

namespace {

struct Word {
    int key;
    int position;
    int length;
};

bool KeyOf(const std::string& word, int& key)
{
    int slot = 0, index = 0;
    if (word.empty() || !eDictionary::GetInstance().GetWordIndex(eString(word.c_str()), slot, index))
        return false;
    key = index == -1 ? slot * 10000 - 1 : slot * 10000 + index;
    return true;
}

// A typed text cut into words as the search cuts it: keyed words only, with
// their byte positions in the text.
std::vector<Word> Cut(const std::string& gbk)
{
    eMMWordSeg seg;
    seg.SetDict(eDictionary::GetInstance());
    eString parts = seg.SegmentHzStrMM(eString(gbk.c_str()));
    eArray<eString> words;
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

// A name as it is indexed (digits and letters already widened): every
// dictionary word of up to four two-byte characters at every position where
// it occurs, and every keyed single character, each key once per position.
std::vector<Word> Postings(const std::string& gbk)
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
            if ((length == 2 || eDictionary::GetInstance().IsGetWord(&probe[0])) && KeyOf(word, key) &&
                seen.emplace(key, static_cast<int>(at)).second)
                out.push_back({key, static_cast<int>(at), static_cast<int>(length)});
        }
    return out;
}

struct Row {
    std::string name;
    std::string province;
    std::vector<Word> words; // of the name as indexed: digits and letters in full width
};

// The postings of one data set: word key -> (name, position).
using District = std::map<int, std::vector<std::pair<const Row*, int>>>;

// What one typed text finds in one data set: the names, once per match.
std::multiset<std::string> Oracle(const District& district, const std::string& typed)
{
    // The typed text in the forms the data writes.
    bool letter = false, digit = false;
    for (unsigned char c : typed)
        if (c < 0x80) {
            letter = letter || std::isalpha(c);
            digit = digit || std::isdigit(c);
        }
    std::string text = letter ? ToFullWidthLetters(typed.c_str()).Cstr() : typed;
    std::vector<std::string> keywords;
    if (digit) {
        keywords.push_back(ToFullWidthDigits(text.c_str()).Cstr());
        keywords.push_back(ToChineseDigits(text.c_str()).Cstr());
    } else {
        keywords.push_back(text);
    }

    std::multiset<std::string> found;
    for (const std::string& keyword : keywords) {
        if (found.size() >= 100)
            break;
        eString copy(keyword.c_str());
        eArray<eString> pieces;
        if (!eDictionary::GetInstance().PreStand(copy, pieces))
            break;
        std::vector<Word> query;
        for (int p = 0; p < pieces.GetSize(); ++p)
            for (const Word& w : Cut(pieces[p].Cstr()))
                query.push_back(w);
        if (std::any_of(query.begin(), query.end(), [&](const Word& w) { return district.count(w.key) == 0; }))
            break; // a word the district does not hold ends the search
        const bool loose = pieces.GetSize() > 1;
        std::multiset<std::string> matches;
        for (const auto& [r, position] : query.empty() ? std::vector<std::pair<const Row*, int>>()
                                                       : district.at(query[0].key)) {
            // Loose: every other word anywhere; otherwise each word right
            // behind the one before, measured by the typed word's length.
            bool all = true;
            int end = position + query[0].length;
            for (std::size_t q = 1; q < query.size() && all; ++q) {
                bool any = false;
                for (const Word& w : r->words)
                    if (w.key == query[q].key && (loose || w.position == end)) {
                        any = true;
                        if (!loose)
                            end = w.position + query[q].length;
                        break;
                    }
                all = any;
            }
            if (all)
                matches.insert(r->name);
        }
        if (query.size() > 1 && matches.empty())
            break; // the last word left no hit: the search stops
        found.insert(matches.begin(), matches.end());
    }
    return found;
}

TEST(TextDifferential, RandomQueriesMatchTheOracle)
{
    const auto& sample = KestTest::CompiledSample::Get();
    eDictionary& dict = eDictionary::GetInstance();
    dict.UnLoad();
    ASSERT_TRUE(dict.Load((sample.Root() + "/POI/CoreDict.dct").c_str(), false));
    std::vector<Row> rows;
    for (const auto& r : sample.Rows())
        rows.push_back({r.name, r.province, Postings(ToFullWidthLetters(ToFullWidthDigits(r.name.c_str()).Cstr()).Cstr())});

    std::map<std::string, District> districts; // by province
    for (const Row& r : rows)
        for (const Word& w : r.words)
            districts[r.province][w.key].emplace_back(&r, w.position);

    std::vector<std::size_t> numbered; // rows whose names hold half-width digits
    for (std::size_t i = 0; i < rows.size(); ++i)
        if (rows[i].name.find_first_of("0123456789") != std::string::npos)
            numbered.push_back(i);
    ASSERT_FALSE(numbered.empty());

    ePOIEngineManager engine;
    engine.SetPoiPath(sample.Root().c_str());
    std::mt19937 rng(7);
    int withHits = 0, loose = 0, digits = 0, capped = 0;
    for (int q = 0; q < 1200; ++q) {
        const auto set = std::next(sample.DataSets().begin(), static_cast<long>(rng() % sample.DataSets().size()));
        const std::string& province = set->second;
        // Words cut from a real name of any data set: a run of one to three
        // (a phrase), or two or three joined by spaces. One query in six
        // starts at the half-width digits of a name that has them.
        const bool withDigits = rng() % 6 == 0;
        const Row& source = withDigits ? rows[numbered[rng() % numbered.size()]] : rows[rng() % rows.size()];
        std::string typed;
        eMMWordSeg seg;
        seg.SetDict(dict);
        eString cut = seg.SegmentHzStrMM(eString(source.name.c_str()));
        eArray<eString> words;
        seg.GetAdressSeg(cut, words);
        const int count = std::min(words.GetSize(), 1 + static_cast<int>(rng() % 3));
        int start = static_cast<int>(rng() % static_cast<unsigned>(words.GetSize() - count + 1));
        if (withDigits)
            for (int i = 0; i < words.GetSize(); ++i)
                if (std::string(words[i].Cstr()).find_first_of("0123456789") != std::string::npos) {
                    start = std::min(i, words.GetSize() - count);
                    break;
                }
        const bool spaced = count > 1 && rng() % 3 == 0;
        for (int i = start; i < start + count; ++i)
            typed += std::string(i > start && spaced ? " " : "") + words[i].Cstr();
        // Now and then a typed digit and letter in front (3a...), which the
        // search widens to full width and to Chinese numerals.
        if (!withDigits && rng() % 8 == 0)
            typed = std::to_string(rng() % 10) + static_cast<char>('a' + rng() % 26) + typed;
        if (typed.find_first_of("`\\~!@#$%^&*(|)-_=}]+':'[{.<;>/?") != std::string::npos)
            continue;

        const std::multiset<std::string> want = Oracle(districts[province], typed);
        const std::string context = "query " + std::to_string(q) + " '" + GbkCodec::Utf8(typed) + "'";
        ASSERT_TRUE(engine.QueryByFullText(3, set->first, "*", "*", typed.c_str())) << context;
        std::multiset<std::string> got;
        for (int i = 0; i < engine.GetPOICount(0); ++i) {
            ePoiInfo info{};
            ASSERT_TRUE(engine.GetPOIInfo(0, i, info)) << context;
            got.insert(std::string(info.szName, strnlen(info.szName, sizeof info.szName)));
        }
        if (want.size() <= 100) {
            ASSERT_EQ(got, want) << context;
        } else {
            // The first 100 by rank: fewer than the oracle, all of them in it.
            ASSERT_EQ(got.size(), 100u) << context;
            for (const auto& name : std::set<std::string>(got.begin(), got.end()))
                ASSERT_LE(got.count(name), want.count(name)) << context;
            ++capped;
        }
        withHits += !want.empty();
        loose += spaced;
        digits += withDigits && typed.find_first_of("0123456789") != std::string::npos && !want.empty();
    }
    dict.UnLoad();
    EXPECT_GT(withHits, 600);
    EXPECT_GT(loose, 100);
    EXPECT_GT(digits, 20);
    EXPECT_GT(capped, 10);
}

} // namespace
