#include "Compiler/CoreDictWriter.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <vector>

#include "POIEngine/eDictionary.h"

namespace Kest {

namespace {

struct Choice {
    const std::string* word;
    long long frequency;
    CoreDictWriter::Group group;
};

void PutInt(std::string& out, std::int32_t value)
{
    const std::uint32_t u = static_cast<std::uint32_t>(value);
    for (int shift = 0; shift < 32; shift += 8)
        out += static_cast<char>((u >> shift) & 0xFF);
}

} // namespace

void CoreDictWriter::Add(const std::string& gbkWord, long long frequency)
{
    auto inserted = m_words.emplace(gbkWord, Entry());
    Entry& entry = inserted.first->second;
    if (inserted.second || frequency > entry.frequency)
        entry.frequency = frequency;
}

void CoreDictWriter::AddVocabulary(const std::string& gbkWord, Group group)
{
    Entry& entry = m_words[gbkWord];
    entry.group = std::min(entry.group, group);
}

int CoreDictWriter::ClampFrequency(long long frequency)
{
    return static_cast<int>(std::clamp<long long>(frequency, 1, 32767));
}

std::string CoreDictWriter::Build(Summary* summary) const
{
    Summary sum;
    std::vector<Choice> order;
    order.reserve(m_words.size());
    for (const auto& [word, entry] : m_words)
        order.push_back({&word, entry.frequency, entry.group});
    // m_words is sorted by bytes, so a stable sort leaves ties in byte order.
    std::stable_sort(order.begin(), order.end(), [](const Choice& a, const Choice& b) {
        if (a.group != b.group)
            return a.group < b.group;
        return a.frequency > b.frequency;
    });

    std::vector<std::map<std::string, int>> slots(eDictionary::kSlotCount); // stored text -> frequency
    std::int64_t arena = 0;
    for (const Choice& choice : order) {
        int slot = 0;
        eString key;
        if (choice.word->find('\0') != std::string::npos || !eDictionary::KeyWord(choice.word->c_str(), slot, key)) {
            ++sum.unkeyable;
            continue;
        }
        std::map<std::string, int>& texts = slots[static_cast<std::size_t>(slot)];
        const std::string text(key.Cstr(), static_cast<std::size_t>(key.GetLength()));
        if (texts.count(text)) {
            ++sum.duplicates;
            continue;
        }
        const std::int64_t cost = static_cast<std::int64_t>(text.size()) + 1;
        if (arena + cost > eDictionary::kArenaSize) {
            ++sum.noRoom;
            continue;
        }
        arena += cost;
        texts.emplace(text, ClampFrequency(choice.frequency));
        ++sum.words;
    }
    sum.arenaBytes = static_cast<int>(arena);

    // std::string orders by unsigned bytes, as the dictionary's lookups do.
    std::string out;
    for (const auto& texts : slots) {
        PutInt(out, static_cast<std::int32_t>(texts.size()));
        for (const auto& [text, frequency] : texts) {
            PutInt(out, frequency);
            PutInt(out, static_cast<std::int32_t>(text.size()));
            out += text;
        }
    }
    if (summary)
        *summary = sum;
    return out;
}

bool CoreDictWriter::Write(const std::string& path, Summary* summary, std::string* error) const
{
    const std::string bytes = Build(summary);
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    if (file)
        file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (file)
        file.close();
    if (!file) {
        if (error)
            *error = "cannot write " + path + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

} // namespace Kest
