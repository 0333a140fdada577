#include "Compiler/SegFullTextIndexWriter.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <utility>

#include "Compiler/FeatureBlockEncoder.h"
#include "Compiler/PageFileWriter.h"
#include "POIEngine/eDictionary.h"

namespace Kest {

namespace {

constexpr std::size_t kMaxWordBytes = 8; // the longest word the engine's maximum matching takes
constexpr std::size_t kMinLatinChars = 2, kMaxLatinChars = 4;
// Joiners inside a brand (7-11, A&W): ASCII characters the engine refuses in a query.
constexpr const char kJoiners[] = "-.&/_+'";

// Byte length of the GBK character at `s[at]`, as eString counts it.
std::size_t CharLength(std::string_view s, std::size_t at)
{
    return static_cast<std::size_t>(eString::CharLength(reinterpret_cast<const unsigned char*>(s.data() + at),
                                                        static_cast<int>(s.size() - at)));
}

// A full-width digit or upper-case letter at `at`.
bool IsLatin(const std::string& s, std::size_t at)
{
    if (at + 1 >= s.size() || static_cast<unsigned char>(s[at]) != 0xA3)
        return false;
    const unsigned char b = static_cast<unsigned char>(s[at + 1]);
    return (b >= 0xB0 && b <= 0xB9) || (b >= 0xC1 && b <= 0xDA);
}

struct Span {
    std::string text;
    std::size_t position;
    bool joined; // runs split by joiners, written together
};

// The runs of letters and digits of a widened name and, where joiners split
// them, the runs written together.
std::vector<Span> LatinSpans(const std::string& wide)
{
    std::vector<Span> spans;
    for (std::size_t at = 0; at < wide.size();) {
        if (!IsLatin(wide, at)) {
            at += CharLength(wide, at);
            continue;
        }
        const std::size_t start = at;
        std::string joined;
        int runs = 0;
        for (;;) {
            std::size_t end = at;
            while (IsLatin(wide, end))
                end += 2;
            spans.push_back({wide.substr(at, end - at), at, false});
            joined += spans.back().text;
            ++runs;
            at = end;
            if (at < wide.size() && wide[at] != '\0' && std::strchr(kJoiners, wide[at]) && IsLatin(wide, at + 1))
                ++at;
            else
                break;
        }
        if (runs > 1)
            spans.push_back({joined, start, true});
    }
    return spans;
}

} // namespace

SegFullTextIndexWriter::SegFullTextIndexWriter(std::uint16_t fileId, std::uint32_t targetPageSize)
    : m_nFileId(fileId), m_nTarget(targetPageSize)
{
}

std::string SegFullTextIndexWriter::Widen(std::string_view name)
{
    // One pass doing what ToFullWidthDigits then ToFullWidthLetters do to a
    // query: every ASCII digit and letter that is a character of its own (not
    // the trail byte of a two-byte one) becomes its full-width character, a
    // letter in upper case.
    std::string wide;
    wide.reserve(name.size() * 2);
    for (std::size_t at = 0; at < name.size();) {
        const std::size_t length = CharLength(name, at);
        const unsigned char u = static_cast<unsigned char>(name[at]);
        if (length == 2)
            wide.append(name.substr(at, 2));
        else if (u >= '0' && u <= '9')
            wide += {'\xA3', static_cast<char>(0xB0 + (u - '0'))};
        else if ((u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z'))
            wide += {'\xA3', static_cast<char>(0xC1 + ((u | 0x20) - 'a'))};
        else
            wide += static_cast<char>(u);
        at += length;
    }
    for (std::size_t at = 0; at + 1 < wide.size(); at += CharLength(wide, at)) {
        const unsigned char b = static_cast<unsigned char>(wide[at + 1]);
        if (static_cast<unsigned char>(wide[at]) == 0xA3 && b >= 0xE1 && b <= 0xFA)
            wide[at + 1] = static_cast<char>(b - 0x20); // ａ..ｚ -> Ａ..Ｚ
    }
    return wide;
}

std::vector<std::string> SegFullTextIndexWriter::LatinWords(std::string_view name)
{
    std::vector<std::string> words;
    for (const Span& span : LatinSpans(Widen(name))) {
        const std::size_t chars = span.text.size() / 2;
        if (chars >= kMinLatinChars && chars <= kMaxLatinChars)
            words.push_back(span.text);
    }
    std::sort(words.begin(), words.end());
    words.erase(std::unique(words.begin(), words.end()), words.end());
    return words;
}

std::vector<SegFullTextIndexWriter::Word> SegFullTextIndexWriter::Words(std::string_view name)
{
    eDictionary& dict = eDictionary::GetInstance();
    const std::string wide = Widen(name);
    std::vector<Word> words;
    std::set<std::pair<int, int>> posted; // (position, key)
    auto post = [&](const std::string& text, std::size_t at) {
        int slot = 0;
        int index = 0;
        if (!dict.GetWordIndex(eString(text.c_str()), slot, index))
            return;
        const int key = index == -1 ? slot * 10000 - 1 : slot * 10000 + index;
        const int position = static_cast<int>(at);
        if (posted.emplace(position, key).second)
            words.push_back({text, position, key});
    };
    auto inDictionary = [&](std::string text) { return dict.IsGetWord(&text[0]) != 0; }; // trims a copy
    const std::vector<Span> spans = LatinSpans(wide);
    for (std::size_t at = 0; at < wide.size(); at += CharLength(wide, at)) {
        // Words are runs of two-byte characters, as the engine's maximum
        // matching takes them; a single one is posted whenever it is keyed.
        for (std::size_t end = at; end < wide.size() && end - at < kMaxWordBytes && CharLength(wide, end) == 2;) {
            end += 2;
            const std::string text = wide.substr(at, end - at);
            if (end - at == 2 || inDictionary(text))
                post(text, at);
        }
        for (const Span& span : spans)
            if (span.joined && span.position == at && span.text.size() <= kMaxWordBytes && inDictionary(span.text))
                post(span.text, at);
    }
    return words;
}

int SegFullTextIndexWriter::AddPoi(std::string_view province, std::string_view city, std::string_view name,
                                   const ueglobal_addr_t& poi)
{
    if (m_bWhole)
        province = city = std::string_view();
    auto p = std::find_if(m_provinces.begin(), m_provinces.end(), [&](const Province& x) { return x.name == province; });
    if (p == m_provinces.end()) {
        m_provinces.push_back(Province{std::string(province), {}});
        p = m_provinces.end() - 1;
    }
    auto c = std::find_if(p->cities.begin(), p->cities.end(), [&](const City& x) { return x.name == city; });
    if (c == p->cities.end()) {
        p->cities.push_back(City{std::string(city), {}});
        c = p->cities.end() - 1;
    }
    // A name's postings of one word go in descending position. The engine
    // moves a partial match along every posting of the next word in list
    // order, so in ascending order a repeated character (新新, 医医) would
    // carry the match past its first occurrence and lose the phrase.
    const auto words = Words(name);
    for (auto w = words.rbegin(); w != words.rend(); ++w)
        c->words[w->key].push_back({w->position, poi});
    return static_cast<int>(words.size());
}

bool SegFullTextIndexWriter::Write(const std::string& path)
{
    using Record = PageFileWriter::Record;
    PageFileWriter writer(m_nFileId, m_nTarget);
    if (!writer.Open(path)) {
        m_error = writer.GetError();
        return false;
    }
    auto fail = [&]() {
        m_error = writer.GetError();
        writer.Close();
        return false;
    };
    // A city's posting blocks, then its word table (a directory record and
    // the blocks of entries); gives the table's first record and the number
    // of words. The number of words, not of records, is the count a city
    // record shows, as it was when the table had a record per word: the
    // search returns it for the districts it lists.
    auto writeTable = [&](const City& c, ueglobal_addr_t& first, std::uint32_t& count) {
        std::vector<eNdfWordTable::Entry> entries;
        for (const auto& [key, postings] : c.words) {
            std::vector<Record> run;
            for (const auto& block : eNdfPostingBlock::Encode(postings)) {
                Record r;
                r.Set(3, block.data(), block.size());
                run.push_back(std::move(r));
            }
            ueglobal_addr_t postingsAt{};
            if (!writer.AppendRun(run, postingsAt))
                return false;
            entries.push_back({key, static_cast<std::uint32_t>(run.size()), postingsAt});
        }
        std::vector<unsigned char> directory;
        std::vector<std::vector<unsigned char>> blocks;
        eNdfWordTable::Encode(entries, directory, blocks);
        std::vector<Record> table;
        if (!blocks.empty()) {
            table.emplace_back().Set(5, directory.data(), directory.size());
            for (const auto& block : blocks)
                table.emplace_back().Set(6, block.data(), block.size());
        }
        count = static_cast<std::uint32_t>(entries.size());
        return writer.AppendRun(table, first);
    };
    auto writeRoot = [&](const ueglobal_addr_t& child, std::uint32_t childCount, int depth) {
        const auto block = FeatureBlockEncoder::Encode(child, childCount, {}, 0);
        Record root;
        root.Set(1, block.data(), block.size());
        ueglobal_addr_t rootAddr{};
        if (!writer.AppendRun({root}, rootAddr, true))
            return false;
        writer.SetIndexHeader(rootAddr, depth);
        return true;
    };
    auto close = [&]() {
        if (!writer.Close()) {
            m_error = writer.GetError();
            return false;
        }
        return true;
    };
    if (m_bWhole) {
        // The root names the word table itself.
        ueglobal_addr_t table{};
        std::uint32_t words = 0;
        if (!m_provinces.empty() && !writeTable(m_provinces[0].cities[0], table, words))
            return fail();
        if (!writeRoot(table, words, 0))
            return fail();
        return close();
    }

    // Bottom-up: each city's postings, then its word table, then the city
    // runs, the provinces and the root.
    std::vector<Record> provinces;
    for (const Province& p : m_provinces) {
        std::vector<Record> cities;
        for (const City& c : p.cities) {
            ueglobal_addr_t first{};
            std::uint32_t words = 0;
            if (!writeTable(c, first, words))
                return fail();
            Record r;
            r.SetText(0, c.name).SetInt(1, words).SetAddr(2, first);
            cities.push_back(std::move(r));
        }
        ueglobal_addr_t first{};
        if (!writer.AppendRun(cities, first))
            return fail();
        Record r;
        r.SetText(0, p.name).SetInt(1, static_cast<std::uint32_t>(cities.size())).SetAddr(2, first);
        provinces.push_back(std::move(r));
    }
    ueglobal_addr_t first{};
    if (!writer.AppendRun(provinces, first))
        return fail();
    if (!writeRoot(first, static_cast<std::uint32_t>(provinces.size()), 0))
        return fail();
    return close();
}

} // namespace Kest
