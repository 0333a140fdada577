#pragma once
// The frame of the differential tests over the compiled sample: seeded random
// draws, a run of queries that stops at the first fatal mismatch, outcome
// tallies that must pass their floors, and the parts the initials searches share
// (rows with their initials, the prefix oracle, the district keys, the answer).

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Compiler/GbkCodec.h"
#include "Support/CompiledSample.h"

namespace KestTest {

class Draw {
public:
    explicit Draw(unsigned seed) : m_rng(seed) {}
    unsigned Below(std::size_t n) { return static_cast<unsigned>(m_rng() % n); }
    bool OneIn(unsigned n) { return Below(n) == 0; }
    double Uniform(double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(m_rng); }
    template <class C>
    const auto& Pick(const C& from) { return *std::next(std::begin(from), Below(std::size(from))); }

private:
    std::mt19937 m_rng;
};

using Tally = std::map<std::string, int>;

// Runs `count` queries; `query(draw, tally, q)` draws query q, asks the engine and the
// oracle, compares and counts its outcomes. Every outcome of `floors` must then
// have been counted more often than its floor.
template <class Query>
void RunQueries(int count, unsigned seed, const Tally& floors, Query query)
{
    Draw draw(seed);
    Tally tally;
    for (int q = 0; q < count && !::testing::Test::HasFatalFailure(); ++q) {
        SCOPED_TRACE("query " + std::to_string(q));
        query(draw, tally, q);
    }
    std::string line = std::to_string(count) + " queries:";
    for (const auto& [outcome, n] : tally)
        line += " " + std::to_string(n) + " " + outcome + ",";
    std::printf("%s\n", line.c_str());
    for (const auto& [outcome, floor] : floors)
        EXPECT_GT(tally[outcome], floor) << outcome;
}

// A word of a text as the text searches key it.
struct Word {
    int key;
    int position; // in bytes
    int length;   // in bytes
};

// A source row as the searches by initials and by text see it (GBK).
struct NameRow {
    std::string name, province, city;
    std::vector<std::string> keys; // initials, one per variant or reading order
    std::vector<Word> words;        // postings, for the text searches
};

// Initials typed by a user: a prefix of `key` of up to `longest` letters, some
// in lower case; one query in eight a run of letters no name has.
inline std::string TypedInitials(Draw& draw, const std::string& key, std::size_t longest, const char* junk)
{
    std::string typed;
    if (draw.OneIn(8)) {
        for (int n = 1 + static_cast<int>(draw.Below(6)); n > 0; --n)
            typed.push_back(junk[draw.Below(std::strlen(junk))]);
        return typed;
    }
    typed = key.substr(0, 1 + draw.Below(std::min(longest, key.size())));
    for (char& c : typed)
        if (draw.OneIn(3) && c >= 'A' && c <= 'Z')
            c = static_cast<char>(c + 32);
    return typed;
}

// What a folded prefix finds: the names of the keys equal to it in row order,
// the names of every key beginning with it (once per key), the letters after it.
struct PrefixAnswer {
    std::vector<std::string> direct;
    std::multiset<std::string> all;
    std::set<char> letters;
};

template <class Keep>
PrefixAnswer ByPrefix(const std::vector<NameRow>& rows, const std::string& prefix, Keep keep)
{
    PrefixAnswer a;
    for (const NameRow& r : rows)
        for (const std::string& key : r.keys)
            if (key.compare(0, prefix.size(), prefix) == 0 && keep(r)) {
                a.all.insert(r.name);
                if (key.size() == prefix.size())
                    a.direct.push_back(r.name);
                else
                    a.letters.insert(key[prefix.size()]);
            }
    return a;
}

// District keys (province, city): every district, the province or city named
// whole or by its first two characters, or a province that is not there.
using Districts = std::pair<std::string, std::string>;

inline Districts DrawDistricts(Draw& draw, const std::string& province)
{
    const std::string part = province.substr(0, 4);
    return draw.Pick(std::vector<Districts>{
        {"*", "*"}, {part, "*"}, {"*", province}, {province, part}, {Kest::GbkCodec::Gbk("天津"), "*"}});
}

inline bool Named(const std::string& name, const std::string& key)
{
    return key == "*" || name.find(key) != std::string::npos;
}

inline bool InDistricts(const NameRow& r, const Districts& d)
{
    return Named(r.province, d.first) && Named(r.city, d.second);
}

// An initials search's answer against the expected hit count, first batch and
// next letters; `terminated` when the letters end with a NUL.
inline void ExpectInitials(LoadedEngine& engine, int count, int loaded, const std::string& next, const char* letters,
                           int letterCount, bool terminated = true)
{
    ASSERT_EQ(engine.GetPOICount(0), count);
    EXPECT_EQ(engine.Loaded(), loaded);
    ASSERT_EQ(letterCount, static_cast<int>(next.size()));
    EXPECT_EQ(std::string(letters, next.size()), next);
    EXPECT_TRUE(!terminated || std::strlen(letters) == next.size()) << "letters not terminated";
}

} // namespace KestTest
