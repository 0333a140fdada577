#include "POIEngine/eDictionary.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <string>

#include "Base/eFileStream.h"

namespace Kest {

template class eArray<eDictionary::tagWordItem>;

namespace {

constexpr int kHanziSlots = 6768; // slots 0..6767 are GB2312 cells
constexpr int kFileBuffer = 8192;

// ASCII punctuation of the keying classes (the space included) and of the
// public classes (no space). Searched with memchr so that a zero byte never
// matches the terminator.
constexpr char kKeyPunctuation[] = "\"!,.?()[]{}+= ";
constexpr char kPublicPunctuation[] = "\"!,.?()[]{}+=";

// Characters that make a query invalid: 31 ASCII bytes (the quote doubled)
// and 40 two-byte GBK characters (three doubled), as the query checks have
// always listed them.
constexpr char kRejectedAscii[] = "`\\~!@#$%^&*(|)-_=}]+':'[{.<;>/?";
constexpr char kRejectedGbk[] =
    "\xA3\xC0\xA3\xA3\xA1\xE7\xA3\xA5\xA3\xDE\xA3\xAA\xA3\xDF\xA3\xAB\xA3\xBD\xA3\xFC"
    "\xA3\xDC\xA3\xA4\xA1\xAA\xA1\xA2\xA1\xB6\xA3\xBC\xA3\xBE\xA1\xB4\xA1\xB5\xA3\xAF"
    "\xA3\xFB\xA3\xFD\xA1\xB7\xA3\xDB\xA3\xDD\xA3\xA7\xA3\xA2\xA3\xA2\xA3\xBB\xA1\xB0"
    "\xA1\xB1\xA1\xAE\xA1\xAF\xA1\xA3\xA1\xAD\xA1\xAD\xA1\xAB\xA3\xE0\xA3\xBF\xA1\xA4";
static_assert(sizeof(kRejectedAscii) - 1 == 31, "31 ASCII characters");
static_assert(sizeof(kRejectedGbk) - 1 == 80, "40 two-byte characters");

constexpr char kFullWidthSpace[] = "\xA1\xA1";

bool InSet(unsigned char c, const char* set, std::size_t n)
{
    return c != 0 && std::memchr(set, c, n) != nullptr;
}

// Unsigned byte order of two zero-terminated texts; a text that was never
// read (null) sorts after every key, so the unread tail of a slot cut short
// by a full arena or a short file keeps the slot in order.
int CompareText(const char* item, const char* key)
{
    if (!item)
        return 1;
    return std::strcmp(item, key);
}

// Trims leading and trailing ASCII spaces of a zero-terminated buffer in place.
void TrimSpaces(char* word)
{
    std::size_t n = std::strlen(word);
    std::size_t first = 0;
    while (first < n && word[first] == ' ')
        ++first;
    while (n > first && word[n - 1] == ' ')
        --n;
    if (first > 0)
        std::memmove(word, word + first, n - first);
    word[n - first] = '\0';
}

// Keys an already trimmed, non-empty word: its slot and the offset of its
// stored text (2 for a hanzi, whose first character is the slot; 0 otherwise).
bool KeyTrimmed(const char* word, int cls, int& slot, std::size_t& offset)
{
    const unsigned char* b = reinterpret_cast<const unsigned char*>(word);
    switch (cls) {
    case 7: {
        if (b[1] == 0)
            return false; // a lone lead byte has no character to take
        const int s = (b[0] - 0xB0) * 94 + (b[1] - 0xA1);
        if (s < 0 || s >= kHanziSlots)
            return false; // trail bytes outside the GB2312 cells can reach beyond the hanzi slots
        slot = s;
        offset = 2;
        return true;
    }
    case 6: slot = eDictionary::kPunctuationSlot; offset = 0; return true;
    case 5: slot = eDictionary::kAsciiSlot; offset = 0; return true;
    case 8: slot = eDictionary::kLetterSlot; offset = 0; return true;
    case 9: slot = eDictionary::kDigitSlot; offset = 0; return true;
    default: return false;
    }
}

} // namespace

eDictionary& eDictionary::GetInstance()
{
    static eDictionary instance;
    return instance;
}

eDictionary::eDictionary()
    : m_bLoaded(0), m_nItemCount(), m_arItems(new eArray<tagWordItem>[kSlotCount]), m_pArena(nullptr),
      m_nArenaUsed(0)
{
}

eDictionary::~eDictionary()
{
    delete[] m_arItems;
    delete[] m_pArena;
}

unsigned char eDictionary::Load(const char* path, bool bNoFreq)
{
    eFileStream file;
    if (!file.Open(path, kFileBuffer))
        return 0;
    for (int slot = 0; slot < kSlotCount; ++slot) {
        m_nItemCount[slot] = 0;
        m_arItems[slot].RemoveAll();
    }
    if (!m_pArena)
        m_pArena = new char[kArenaSize]();

    bool fileEnded = false;
    for (int slot = 0; slot < kSlotCount && !fileEnded; ++slot) {
        if (m_nArenaUsed >= kArenaSize)
            break;
        std::int32_t count = 0;
        if (!file.ReadInt(count))
            break;
        if (count < 0)
            count = 0;
        m_nItemCount[slot] = count;
        // The array grows as items are read; items of the count that were
        // never read (the arena filled up or the file ended) lie past its
        // end and read as empty. A huge count in a corrupt file thus costs
        // no memory, and the arena bounds how many items can be read.
        eArray<tagWordItem>& items = m_arItems[slot];
        for (std::int32_t i = 0; i < count; ++i) {
            std::int32_t freq = 0;
            std::int32_t length = 0;
            if (!file.ReadInt(freq) || !file.ReadInt(length) || length < 0) {
                fileEnded = true; // short or corrupt: keep what was read
                break;
            }
            const std::int64_t used = static_cast<std::int64_t>(m_nArenaUsed) + length + 1;
            m_nArenaUsed = static_cast<int>(std::min<std::int64_t>(used, INT_MAX));
            if (used > kArenaSize)
                break; // the rest of this slot stays unread; the outer test ends the load
            char* text = m_pArena + (used - length - 1);
            if (file.Load(text, length) != length) {
                fileEnded = true;
                break;
            }
            text[length] = '\0';
            const tagWordItem item = {static_cast<unsigned short>(length),
                                      bNoFreq ? static_cast<unsigned short>(0) : static_cast<unsigned short>(freq), text};
            items.Add(item);
        }
    }
    file.Close();
    m_bLoaded = 1;
    return 1;
}

void eDictionary::UnLoad()
{
    for (int slot = 0; slot < kSlotCount; ++slot) {
        m_nItemCount[slot] = 0;
        m_arItems[slot].RemoveAll();
        m_arItems[slot].FreeExtra();
    }
    delete[] m_pArena;
    m_pArena = nullptr;
    m_nArenaUsed = 0;
    m_bLoaded = 0;
}

unsigned char eDictionary::isLoaded()
{
    return m_bLoaded;
}

const char* eDictionary::ItemText(int slot, int index) const
{
    const eArray<tagWordItem>& items = m_arItems[slot];
    if (index < 0 || index >= items.GetSize())
        return nullptr;
    return items.GetData()[index].pWord;
}

int eDictionary::Search(int slot, const char* key, int& low, int& high) const
{
    const tagWordItem* items = m_arItems[slot].GetData();
    const int size = m_arItems[slot].GetSize();
    low = 0;
    high = m_nItemCount[slot] - 1;
    while (low <= high) {
        // Signed midpoint truncating toward zero; 64-bit so that a huge count
        // cannot overflow the sum.
        const int mid = static_cast<int>((static_cast<std::int64_t>(low) + high) / 2);
        const int cmp = CompareText(mid < size ? items[mid].pWord : nullptr, key);
        if (cmp == 0)
            return mid;
        if (cmp < 0)
            low = mid + 1;
        else
            high = mid - 1;
    }
    return -1;
}

unsigned char eDictionary::FindInOriginalTable(int slot, char* key, int* pos)
{
    if (slot < 0 || slot >= kSlotCount || !key)
        return 0;
    int low = 0;
    int high = 0;
    const int found = Search(slot, key, low, high);
    if (found >= 0) {
        *pos = found;
        return 1;
    }
    // With low = high + 1 this is high - 1, except for high = -1, where the
    // truncating division gives 0 and so -1: a key that sorts first in a
    // non-empty slot is inserted at index 1.
    *pos = static_cast<int>((static_cast<std::int64_t>(low) + high) / 2) - 1;
    return 0;
}

unsigned char eDictionary::PreProcessing(char* word, int* slot, char* key, bool bTrim)
{
    if (!word)
        return 0;
    if (bTrim)
        TrimSpaces(word);
    if (!*word)
        return 0;
    std::size_t offset = 0;
    if (!KeyTrimmed(word, GetCharType(reinterpret_cast<unsigned char*>(word)), *slot, offset))
        return 0;
    std::strcpy(key, word + offset);
    return 1;
}

unsigned char eDictionary::KeyWord(const char* word, int& slot, eString& key)
{
    if (!word)
        return 0;
    std::string buffer(word);
    TrimSpaces(&buffer[0]);
    const char* trimmed = buffer.c_str();
    std::size_t offset = 0;
    if (!*trimmed || !KeyTrimmed(trimmed, GetCharType(reinterpret_cast<const unsigned char*>(trimmed)), slot, offset))
        return 0;
    key = trimmed + offset;
    return 1;
}

// Trims and keys `word`; `index` is the item's index or -1. The key is the
// tail of the trimmed buffer itself, so no copy is made.
unsigned char eDictionary::LookUp(char* word, int& slot, int& index)
{
    index = -1;
    if (!word)
        return 0;
    TrimSpaces(word);
    std::size_t offset = 0;
    if (!*word || !KeyTrimmed(word, GetCharType(reinterpret_cast<unsigned char*>(word)), slot, offset))
        return 0;
    int low = 0;
    int high = 0;
    index = Search(slot, word + offset, low, high);
    return 1;
}

unsigned char eDictionary::AddItem(char* word, int freq)
{
    if (!word)
        return 0;
    std::string key(std::strlen(word) + 1, '\0');
    int slot = 0;
    if (!PreProcessing(word, &slot, &key[0], true))
        return 0;
    int pos = 0;
    if (FindInOriginalTable(slot, &key[0], &pos)) {
        tagWordItem& item = m_arItems[slot][pos];
        if (item.nFreq < 65535)
            item.nFreq = static_cast<unsigned short>(item.nFreq + freq);
        else
            item.nFreq = static_cast<unsigned short>(freq);
        return 1;
    }
    if (m_nItemCount[slot] == INT_MAX)
        return 0; // a corrupt count leaves no room to count one more
    if (!m_pArena)
        m_pArena = new char[kArenaSize]();
    const std::size_t length = std::strlen(key.c_str());
    const std::int64_t used = static_cast<std::int64_t>(m_nArenaUsed) + static_cast<std::int64_t>(length) + 1;
    m_nArenaUsed = static_cast<int>(std::min<std::int64_t>(used, INT_MAX));
    if (used > kArenaSize)
        return 0; // the use count stays advanced
    char* text = m_pArena + (used - static_cast<std::int64_t>(length) - 1);
    std::memcpy(text, key.c_str(), length + 1);
    const tagWordItem item = {static_cast<unsigned short>(length), static_cast<unsigned short>(freq), text};
    const int at = std::max(0, std::min(pos + 2, m_nItemCount[slot]));
    m_arItems[slot].InsertAt(at, item);
    ++m_nItemCount[slot];
    return 1;
}

unsigned char eDictionary::DelItem(char* word)
{
    int slot = 0;
    int index = -1;
    if (!LookUp(word, slot, index) || index < 0)
        return 0;
    tagWordItem& item = m_arItems[slot][index];
    item.nFreq = 0;
    item.pWord = nullptr;
    m_arItems[slot].RemoveAt(index);
    --m_nItemCount[slot];
    return 1;
}

void eDictionary::Optimum()
{
    std::string previous;
    std::string word;
    for (int c = 0; c < kSlotCount; ++c) {
        for (int j = 0; j < m_nItemCount[c] && j < m_arItems[c].GetSize(); ++j) {
            const char* text = ItemText(c, j);
            if (!text)
                continue; // never read (cut short by the arena or the file): no word to compare
            word.assign(1, static_cast<char>(c / 94 + 0xB0));
            word += static_cast<char>(c % 94 + 0xA1);
            word += text;
            if (word == previous) {
                std::string buffer(word); // DelItem trims its argument in place
                DelItem(&buffer[0]);
            }
            previous = word;
        }
    }
}

unsigned char eDictionary::IsGetWord(char* word)
{
    int slot = 0;
    int index = -1;
    return LookUp(word, slot, index) && index >= 0 ? 1 : 0;
}

int eDictionary::GetFreq(char* word)
{
    int slot = 0;
    int index = -1;
    if (!LookUp(word, slot, index) || index < 0 || slot >= kHanziSlots)
        return 0;
    return static_cast<short>(m_arItems[slot].GetData()[index].nFreq);
}

int eDictionary::GetSameWordCount(char* word)
{
    if (!word)
        return 0;
    std::string key(std::strlen(word) + 1, '\0');
    int slot = 0;
    if (!PreProcessing(word, &slot, &key[0], true) || slot >= kHanziSlots)
        return 0;
    int same = 0;
    for (int j = 0; j < m_nItemCount[slot]; ++j) {
        const char* text = ItemText(slot, j);
        if (!text)
            break; // the rest of the slot was never read
        if (std::strcmp(text, key.c_str()) == 0)
            ++same;
    }
    return same;
}

int eDictionary::GetWordCount()
{
    std::int64_t total = 0;
    for (int slot = 0; slot < kSlotCount; ++slot)
        total += m_nItemCount[slot];
    return static_cast<int>(std::min<std::int64_t>(total, INT_MAX));
}

int eDictionary::GetItemSize(int slot)
{
    if (slot < 0 || slot >= kSlotCount)
        return 0;
    return m_nItemCount[slot];
}

unsigned char eDictionary::GetWordIndex(eString word, int& slot, int& index)
{
    slot = 0;
    index = 0;
    if (word.IsEmpty())
        return 0;
    std::string buffer(word.Cstr());
    TrimSpaces(&buffer[0]);
    const char* w = buffer.c_str();
    const std::size_t length = std::strlen(w);
    std::size_t offset = 0;
    int s = 0;
    if (!*w || !KeyTrimmed(w, GetCharType(reinterpret_cast<const unsigned char*>(w)), s, offset))
        return 0;
    slot = s;
    if (length < 4 && s < kHanziSlots && s != kPunctuationSlot) {
        index = -1; // a single hanzi
        return 1;
    }
    const int count = m_nItemCount[s];
    if (count == 0) {
        index = -1;
        return 1;
    }
    int low = 0;
    int high = 0;
    if (s == kPunctuationSlot) {
        // A linear scan that stops before the last item.
        for (int j = 0; j < count - 1; ++j) {
            const char* text = ItemText(s, j);
            if (!text)
                break;
            if (std::strcmp(text, w) == 0) {
                index = j;
                return 1;
            }
        }
    } else if (s >= kHanziSlots) {
        const int found = Search(s, w, low, high);
        if (found >= 0) {
            index = found;
            return 1;
        }
    }
    // The word without its first two bytes (empty for a shorter word).
    const int found = Search(s, w + std::min<std::size_t>(2, length), low, high);
    if (found < 0)
        return 0;
    index = found;
    return 1;
}

int eDictionary::CharType(unsigned char* text)
{
    if (!text)
        return 7;
    const unsigned char b0 = text[0];
    const unsigned char b1 = b0 ? text[1] : 0;
    if (b0 < 0x80)
        return InSet(b0, kPublicPunctuation, sizeof(kPublicPunctuation) - 1) ? 2 : 1;
    if (b0 == 0xA1)
        return 2;
    if (b0 == 0xA3) {
        if (b1 >= 0xB0 && b1 <= 0xB9)
            return 5;
        if ((b1 >= 0xC1 && b1 <= 0xDA) || (b1 >= 0xE1 && b1 <= 0xFA))
            return 4;
        return 2;
    }
    if (b0 == 0xA2)
        return 6;
    if (b0 >= 0xB0 && b0 <= 0xF7)
        return 3;
    return 7;
}

int eDictionary::GetCharPos(char* text)
{
    unsigned char* t = reinterpret_cast<unsigned char*>(text);
    switch (CharType(t)) {
    case 1: return 6768;
    case 2: return 6772;
    case 3: return ComputeChnPos(t);
    case 4: return 6769;
    case 5: return 6770;
    case 6: return 6771;
    default: return 6773;
    }
}

int eDictionary::ComputeChnPos(const unsigned char* text)
{
    const unsigned char b0 = text[0];
    const unsigned char b1 = b0 ? text[1] : 0;
    return (b0 - 0xB0) * 94 + (b1 - 0xA1);
}

int eDictionary::GetCharType(const unsigned char* text)
{
    const unsigned char b0 = text[0];
    const unsigned char b1 = b0 ? text[1] : 0;
    if (b0 < 0x80)
        return InSet(b0, kKeyPunctuation, sizeof(kKeyPunctuation) - 1) ? 6 : 5;
    if (b0 == 0xA2)
        return 10;
    if (b0 == 0xA3) {
        if (b1 >= 0xB0 && b1 <= 0xB9)
            return 9;
        if ((b1 >= 0xC1 && b1 <= 0xDA) || (b1 >= 0xE1 && b1 <= 0xFA))
            return 8;
        return 6;
    }
    if (b0 == 0xA1)
        return 6;
    if (b0 >= 0xB0 && b0 <= 0xF7)
        return 7;
    return 17;
}

int eDictionary::StringToInt(eString text)
{
    return text.ToInt(10);
}

const char* eDictionary::CCFind(const char* haystack, const char* needle)
{
    if (!haystack || !needle)
        return nullptr;
    const char* found = std::strstr(haystack, needle);
    if (found && (found - haystack) % 2 != 0)
        return nullptr; // a match straddling two characters; no later one is tried
    return found;
}

unsigned char eDictionary::IsAllChinese(const char* text)
{
    if (!text)
        return 1;
    const std::size_t n = std::strlen(text);
    if (n % 2 != 0)
        return 0;
    for (std::size_t i = 0; i < n; i += 2) {
        const unsigned char lead = static_cast<unsigned char>(text[i]);
        if (lead < 0xB0 || lead > 0xF7)
            return 0;
    }
    return 1;
}

int eDictionary::GetWordType(const char* text)
{
    if (!text || !*text)
        return 2;
    const int cls = GetCharType(reinterpret_cast<const unsigned char*>(text));
    if (cls == 7 && IsAllChinese(text))
        return 1;
    if (cls == 6)
        return 0;
    return 2;
}

unsigned char eDictionary::PreStand(eString& text, eArray<eString>& words)
{
    text.TrimLeft(' ');
    text.TrimRight(' ');
    if (text.IsEmpty())
        return 0;
    const char* t = text.Cstr();
    for (std::size_t i = 0; i < sizeof(kRejectedAscii) - 1; ++i)
        if (std::strchr(t, kRejectedAscii[i]))
            return 0;
    for (std::size_t i = 0; i + 1 < sizeof(kRejectedGbk) - 1; i += 2) {
        const char needle[3] = {kRejectedGbk[i], kRejectedGbk[i + 1], '\0'};
        const int at = text.Find(needle);
        if (at >= 0 && at % 2 == 0)
            return 0; // an odd position straddles two characters and is no match
    }
    for (int at = text.Find(' '); at >= 0; at = text.Find(' ')) {
        words.Add(text.Left(at));
        text.Delete(0, at);
        text.TrimLeft(' ');
    }
    // What is left is cut at full-width spaces; parts cut at ASCII spaces
    // above are not cut again.
    for (int at = text.Find(kFullWidthSpace); at >= 0; at = text.Find(kFullWidthSpace)) {
        words.Add(text.Left(at));
        text.Delete(0, at);
        text.TrimLeft(' ');
        text.TrimLeft(kFullWidthSpace);
    }
    words.Add(text);
    return 1;
}

} // namespace Kest
