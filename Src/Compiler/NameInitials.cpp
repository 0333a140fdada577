#include "Compiler/NameInitials.h"

#include <algorithm>
#include <cctype>
#include <unordered_map>

#include "Compiler/PinyinVariantTable.h"
#include "POIEngine/PinyinHelpers.h"

namespace Kest {

namespace {

// The generated entries split into GBK text and initials.
struct VariantData {
    std::unordered_map<std::string, std::string> chars, phrases;
    std::size_t longestPhrase = 0; // in characters

    VariantData()
    {
        auto split = [](const char* entry, std::unordered_map<std::string, std::string>& into) {
            const char* p = entry; // two-byte characters, whose second byte may be ASCII
            while (static_cast<unsigned char>(*p) >= 0x80 && p[1] != '\0')
                p += 2;
            into.emplace(std::string(entry, p), std::string(p));
            return static_cast<std::size_t>(p - entry) / 2;
        };
        for (int i = 0; i < kPinyinVariantCharCount; ++i)
            split(kPinyinVariantChars[i], chars);
        for (int i = 0; i < kPinyinVariantPhraseCount; ++i)
            longestPhrase = std::max(longestPhrase, split(kPinyinVariantPhrases[i], phrases));
    }
};

const VariantData& Data()
{
    static const VariantData data;
    return data;
}

// One typed position of a name: where it stands in the name and its letters,
// the default one first.
struct Unit {
    std::size_t offset;
    std::size_t size;
    std::string letters;
};

bool IsAsciiKey(unsigned char c)
{
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// The typed positions of the name, up to the first Chinese character without
// a reading.
std::vector<Unit> Units(std::string_view name)
{
    const VariantData& data = Data();
    std::vector<Unit> units;
    for (std::size_t i = 0; i < name.size();) {
        const auto lead = static_cast<unsigned char>(name[i]);
        if (lead < 0x80 || i + 1 == name.size()) {
            if (IsAsciiKey(lead))
                units.push_back({i, 1, std::string(1, static_cast<char>(std::toupper(lead)))});
            ++i; // other ASCII, and a lone lead byte at the end, are not typed
            continue;
        }
        const auto trail = static_cast<unsigned char>(name[i + 1]);
        if (trail < 0x40) { // not a two-byte character: the lead byte alone
            ++i;
            continue;
        }
        std::string letters;
        if (lead >= 0xA1 && lead <= 0xA9) {
            // The symbol rows: full-width digits and letters are typed as
            // their half-width forms, the rest is skipped.
            if (lead == 0xA3 && trail >= 0xB0 && trail <= 0xB9)
                letters = std::string(1, static_cast<char>('0' + trail - 0xB0));
            else if (lead == 0xA3 && trail >= 0xC1 && trail <= 0xDA)
                letters = std::string(1, static_cast<char>('A' + trail - 0xC1));
            else if (lead == 0xA3 && trail >= 0xE1 && trail <= 0xFA)
                letters = std::string(1, static_cast<char>('A' + trail - 0xE1));
            if (!letters.empty())
                units.push_back({i, 2, letters});
            i += 2;
            continue;
        }
        const auto entry = data.chars.find(std::string(name.substr(i, 2)));
        if (entry != data.chars.end()) {
            letters = entry->second;
        } else {
            const char own = GetPYInitial(name.data() + i);
            if (own == 0)
                break; // a character nobody knows how to type
            letters = std::string(1, own);
        }
        units.push_back({i, 2, letters});
        i += 2;
    }
    return units;
}

// The name read with the phrases of the phrase data, longest phrase first,
// from the left; characters outside phrases take their default letter.
std::string PhraseReading(std::string_view name, const std::vector<Unit>& units)
{
    const VariantData& data = Data();
    std::string out;
    for (std::size_t i = 0; i < units.size();) {
        std::size_t taken = 0;
        const std::size_t most = std::min(data.longestPhrase, units.size() - i);
        for (std::size_t n = most; n >= 2 && taken == 0; --n) {
            const Unit& last = units[i + n - 1];
            const std::size_t bytes = last.offset + last.size - units[i].offset;
            if (bytes != 2 * n)
                continue; // not n consecutive two-byte characters
            const auto phrase = data.phrases.find(std::string(name.substr(units[i].offset, bytes)));
            if (phrase != data.phrases.end()) {
                out += phrase->second;
                taken = n;
            }
        }
        if (taken == 0) {
            out += units[i].letters[0];
            taken = 1;
        }
        i += taken;
    }
    return out;
}

} // namespace

std::vector<std::string> NameInitials::Variants(std::string_view gbkName, int depth)
{
    const std::vector<Unit> units = Units(gbkName);
    std::vector<std::string> variants;
    if (units.empty() || depth < 1)
        return variants;
    const std::string phrased = PhraseReading(gbkName, units);
    std::string plain;
    for (const Unit& u : units)
        plain += u.letters[0];
    std::vector<std::string> candidates = {phrased, plain};
    for (std::size_t k = 1; k < units[0].letters.size(); ++k)
        candidates.push_back(units[0].letters[k] + phrased.substr(1));
    for (std::string& c : candidates) {
        c.resize(std::min(c.size(), static_cast<std::size_t>(depth)));
        const bool sameFirst = std::any_of(variants.begin(), variants.end(),
                                           [&](const std::string& v) { return v[0] == c[0]; });
        if (!sameFirst && variants.size() < kMaxVariants)
            variants.push_back(c);
    }
    return variants;
}

} // namespace Kest
