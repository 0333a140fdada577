// The search by Chinese text on the bundled sample against a plain oracle:
// 1200 random queries (one to three words cut from real names, with and
// without a space between them, some with half-width digits and letters)
// must find what straight loops over the source rows find when they index
// every dictionary word at every position and apply the search's word
// cutting, phrase and position rules.

#include <gtest/gtest.h>

#include <cctype>
#include <string>
#include <vector>

#include "POIEngine/PinyinHelpers.h"
#include "Support/TextOracle.h"

using namespace Kest;
using namespace KestTest;

namespace {

// What one typed text finds in one data set: the names, once per match.
std::multiset<std::string> Oracle(const WordIndex& index, const std::string& province, const std::string& typed)
{
    // The typed text in the forms the data writes.
    const auto any = [&](int (*is)(int)) {
        return std::any_of(typed.begin(), typed.end(), [&](unsigned char c) { return c < 0x80 && is(c); });
    };
    const bool letter = any(std::isalpha), digit = any(std::isdigit);
    const std::string text = letter ? ToFullWidthLetters(typed.c_str()).Cstr() : typed;
    std::vector<std::string> keywords{text};
    if (digit)
        keywords = {ToFullWidthDigits(text.c_str()).Cstr(), ToChineseDigits(text.c_str()).Cstr()};

    std::multiset<std::string> found;
    for (const std::string& keyword : keywords) {
        // A word the data set does not hold ends the search, and so does a
        // last word that leaves no hit.
        std::multiset<std::string> matches;
        const int words = found.size() >= 100 ? -1 : index.Find(keyword, [&](const NameRow& r) {
            return r.province == province;
        }, matches);
        if (words < 0 || (words > 1 && matches.empty()))
            break;
        found.insert(matches.begin(), matches.end());
    }
    return found;
}

bool HasDigit(const std::string& text) { return text.find_first_of("0123456789") != std::string::npos; }

TEST(TextDifferential, RandomQueriesMatchTheOracle)
{
    const auto& sample = CompiledSample::Get();
    eDictionary& dict = eDictionary::GetInstance();
    dict.UnLoad();
    ASSERT_TRUE(dict.Load((sample.Root() + "/POI/CoreDict.dct").c_str(), false));
    std::vector<NameRow> rows; // digits and letters of the names as indexed, in full width
    std::vector<const NameRow*> numbered; // names that hold half-width digits
    for (const auto& r : sample.Rows())
        rows.push_back({r.name, r.province, "", {},
                        Postings(ToFullWidthLetters(ToFullWidthDigits(r.name.c_str()).Cstr()).Cstr())});
    for (const NameRow& r : rows)
        if (HasDigit(r.name))
            numbered.push_back(&r);
    ASSERT_FALSE(numbered.empty());
    const WordIndex index(rows);
    ePOIEngineManager engine;
    engine.SetPoiPath(sample.Root().c_str());

    const Tally floors = {{"with hits", 600}, {"loose", 100}, {"digits", 20}, {"capped", 10}};
    RunQueries(1200, 7, floors, [&](Draw& draw, Tally& tally, int) {
        const auto& set = draw.Pick(sample.DataSets());
        // Words cut from a real name of any data set: a run of one to three
        // (a phrase), or two or three joined by spaces. One query in six
        // starts at the half-width digits of a name that has them.
        const bool withDigits = draw.OneIn(6);
        const std::vector<std::string> words = CutWords(withDigits ? draw.Pick(numbered)->name : draw.Pick(rows).name);
        const auto digits = std::find_if(words.begin(), words.end(), HasDigit);
        const int from = withDigits && digits != words.end() ? static_cast<int>(digits - words.begin()) : -1;
        std::string typed = Phrase(draw, words, true, from);
        // Now and then a typed digit and letter in front (3a...), which the
        // search widens to full width and to Chinese numerals.
        if (!withDigits && draw.OneIn(8))
            typed = std::to_string(draw.Below(10)) + static_cast<char>('a' + draw.Below(26)) + typed;
        if (typed.find_first_of("`\\~!@#$%^&*(|)-_=}]+':'[{.<;>/?") != std::string::npos)
            return;
        SCOPED_TRACE("'" + GbkCodec::Utf8(typed) + "'");

        const std::multiset<std::string> want = Oracle(index, set.second, typed);
        ASSERT_TRUE(engine.QueryByFullText(3, set.first, "*", "*", typed.c_str()));
        tally["capped"] += ExpectCapped(HitSet(engine), want);
        tally["with hits"] += !want.empty();
        tally["loose"] += typed.find(' ') != std::string::npos;
        tally["digits"] += withDigits && HasDigit(typed) && !want.empty();
    });
    dict.UnLoad();
}

} // namespace
