#include "Compiler/CrossroadName.h"

#include "Compiler/NameInitials.h"

namespace Kest {

namespace {

// GBK spellings (UTF-8 in the comments).
const char* const kJoiners[][2] = {
    {"\xD3\xEB", nullptr}, // 与
    {"\xBA\xCD", nullptr}, // 和
    {"\xA3\xA6", "&"},     // ＆ &
    {"\xA3\xAF", "/"},     // ／ /
    {"\xA1\xA2", nullptr}, // 、
};
const char* const kSuffixes[] = {
    "\xCA\xAE\xD7\xD6\xC2\xB7\xBF\xDA", // 十字路口
    "\xBD\xBB\xB2\xE6\xC2\xB7\xBF\xDA", // 交叉路口
    "\xBD\xBB\xB2\xE6\xBF\xDA",         // 交叉口
    "\xBD\xBB\xBB\xE3\xB4\xA6",         // 交汇处
    "\xBD\xBB\xBF\xDA",                 // 交口
    "\xC2\xB7\xBF\xDA",                 // 路口
};
const char kRoad[] = "\xC2\xB7";     // 路
const char kCorner[] = "\xBF\xDA";   // 口
const char* const kRoadEnds[] = {"\xC2\xB7", "\xBD\xD6", "\xB5\xC0", "\xCF\xEF"}; // 路 街 道 巷

// The byte offsets at which the characters of `s` start.
std::vector<std::size_t> CharStarts(std::string_view s)
{
    std::vector<std::size_t> starts;
    for (std::size_t at = 0; at < s.size();
         at += static_cast<unsigned char>(s[at]) >= 0x81 && at + 1 < s.size() ? 2 : 1)
        starts.push_back(at);
    return starts;
}

// Whether `s` ends in `tail` and the tail starts on a character boundary.
bool EndsWith(std::string_view s, std::string_view tail)
{
    if (s.size() < tail.size() || s.substr(s.size() - tail.size()) != tail)
        return false;
    for (std::size_t at : CharStarts(s))
        if (at == s.size() - tail.size())
            return true;
    return tail.empty();
}

bool EndsInRoad(std::string_view s)
{
    for (const char* end : kRoadEnds)
        if (EndsWith(s, end))
            return true;
    return false;
}

// The preferred typed initials of a road, or "" when it has none.
std::string Initials(const std::string& road)
{
    // Long enough for any name the compiler accepts (63 bytes).
    const std::vector<std::string> variants = NameInitials::Variants(road, 64);
    return variants.empty() ? std::string() : variants.front();
}

} // namespace

CrossroadName::CrossroadName(std::string_view gbkName) : m_name(gbkName), m_first(gbkName)
{
    std::string body(gbkName);
    std::string suffix;
    for (const char* s : kSuffixes) {
        const std::string_view tail(s);
        if (body.size() > tail.size() && EndsWith(body, tail)) {
            suffix = body.substr(body.size() - tail.size());
            body.resize(body.size() - tail.size());
            break;
        }
    }
    // "B路口": the 路 belongs to the road when the road ends in no road word
    // without it.
    if (suffix == std::string(kRoad) + kCorner && !EndsInRoad(body)) {
        body += kRoad;
        suffix = kCorner;
    }

    const std::vector<std::size_t> starts = CharStarts(body);
    for (const auto& joiner : kJoiners) {
        for (std::size_t at : starts) {
            for (const char* form : joiner) {
                if (form == nullptr)
                    continue;
                const std::string_view j(form);
                if (at == 0 || body.compare(at, j.size(), j) != 0 || at + j.size() >= body.size())
                    continue;
                m_first = body.substr(0, at);
                m_joiner = std::string(j);
                m_second = body.substr(at + j.size());
                m_suffix = suffix;
                m_bSplit = true;
                return;
            }
        }
    }
}

std::vector<std::string> CrossroadName::TextForms() const
{
    if (!m_bSplit)
        return {m_name};
    // Both forms post under one record address, and the search joins the
    // words of a phrase by address and byte position: the swapped form
    // starts past the end of the name, so that no phrase joins a word of one
    // form to a word of the other.
    return {m_name, std::string(m_name.size() + 1, ' ') + m_second + m_joiner + m_first + m_suffix};
}

std::vector<std::string> CrossroadName::InitialKeys(int depth) const
{
    const std::size_t cut = depth > 0 ? static_cast<std::size_t>(depth) : 0;
    std::vector<std::string> keys;
    auto add = [&](const std::string& key) {
        const std::string cutKey = key.substr(0, cut);
        if (!cutKey.empty() && (keys.empty() || keys.front() != cutKey))
            keys.push_back(cutKey);
    };
    if (!m_bSplit) {
        add(Initials(m_name));
        return keys;
    }
    const std::string a = Initials(m_first), b = Initials(m_second);
    add(a + b);
    add(b + a);
    return keys;
}

} // namespace Kest
