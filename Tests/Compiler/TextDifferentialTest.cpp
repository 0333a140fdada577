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
#include "Support/TextOracle.h"

using namespace Kest;
using namespace KestTest;

namespace {

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
        std::vector<Word> query;
        bool loose = false;
        if (!QueryWords(keyword, query, loose))
            break;
        if (std::any_of(query.begin(), query.end(), [&](const Word& w) { return district.count(w.key) == 0; }))
            break; // a word the district does not hold ends the search
        std::multiset<std::string> matches;
        for (const auto& [r, position] : query.empty() ? std::vector<std::pair<const Row*, int>>()
                                                       : district.at(query[0].key))
            if (Holds(r->words, query, position, loose))
                matches.insert(r->name);
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
        const std::multiset<std::string> got = KestTest::HitSet(engine);
        capped += KestTest::ExpectCapped(got, want, context);
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
