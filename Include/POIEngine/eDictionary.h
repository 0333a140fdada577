#pragma once

#include "Base/KestExport.h"
#include "Base/eArray.h"
#include "Base/eString.h"

namespace Kest {

// The process-wide word dictionary of the full-text search, read from
// "CoreDict.dct" and kept in memory.
//
// A word is keyed by its first character: a GB2312 hanzi gives the slot
// (lead - 0xB0) * 94 + (trail - 0xA1) and the stored text is the rest of the
// word; punctuation is filed whole under slot 3755 (the unassigned cell
// 0xD7FA), other ASCII under 6768, full-width letters under 6769 and
// full-width digits under 6770. Anything else cannot be keyed. Every slot
// keeps its items sorted by stored text in unsigned byte order, and every
// stored text lives in one 131072-byte arena that is only reclaimed by UnLoad.
//
// Text is GBK, handled byte by byte. Lookups take the caller's buffer and trim
// its leading and trailing ASCII spaces in place. Nothing is locked: one
// thread at a time.
class KEST_API eDictionary {
public:
    // One word of a slot; `pWord` points into the arena (zero-terminated).
    struct tagWordItem {
        unsigned short nWordLen; // byte length of the stored text
        unsigned short nFreq;    // GetFreq returns it sign-extended
        char* pWord;
    };

    static constexpr int kSlotCount = 6771;
    static constexpr int kArenaSize = 131072;
    static constexpr int kPunctuationSlot = 3755; // cell 0xD7FA, unassigned in GB2312
    static constexpr int kAsciiSlot = 6768;
    static constexpr int kLetterSlot = 6769;
    static constexpr int kDigitSlot = 6770;

    // The one instance, created on first use.
    static eDictionary& GetInstance();
    virtual ~eDictionary();
    eDictionary(const eDictionary&) = delete;
    eDictionary& operator=(const eDictionary&) = delete;

    // Reads "CoreDict.dct" (see docs/format.md). False only when the file
    // cannot be opened. Loading stops silently when the arena is full or the
    // file ends early; what was read stays and the dictionary counts as
    // loaded. The arena use is not reset, so a second Load without UnLoad
    // keeps filling the same arena. With `bNoFreq` every frequency is 0.
    unsigned char Load(const char* path, bool bNoFreq);
    // Back to the empty state: no words, arena freed, not loaded.
    void UnLoad();
    unsigned char isLoaded();

    // Adds `freq` to a known word (a frequency of exactly 65535 is replaced
    // instead), or inserts a new one. False when the word cannot be keyed or
    // its text does not fit the arena.
    unsigned char AddItem(char* word, int freq);
    // Removes the word; its arena bytes stay used.
    unsigned char DelItem(char* word);
    // One pass that deletes a hanzi-slot item equal to the item before it.
    void Optimum();

    unsigned char IsGetWord(char* word);
    // The frequency sign-extended from 16 bits; 0 when absent and for words
    // outside the hanzi slots.
    int GetFreq(char* word);
    // Items of the word's hanzi slot whose text equals the word's stored text.
    int GetSameWordCount(char* word);
    int GetWordCount();
    int GetItemSize(int slot);
    // The numeric key of a word: its slot and its index in the slot, or
    // index -1 for a single hanzi and for a word of an empty slot.
    unsigned char GetWordIndex(eString word, int& slot, int& index);

    // The public character classes and positions; they number punctuation
    // 6772, unlike the keying, which files it under slot 3755.
    int GetCharPos(char* text);
    int CharType(unsigned char* text);
    int StringToInt(eString text);
    // Checks a query for forbidden characters and cuts it into pieces at
    // ASCII spaces, then the rest at full-width spaces.
    unsigned char PreStand(eString& text, eArray<eString>& words);

    // Keys a word as every lookup does (trimmed of ASCII spaces at both ends):
    // its slot and its stored text. False when it cannot be keyed. Used by
    // the dictionary's writer so that both sides agree.
    static unsigned char KeyWord(const char* word, int& slot, eString& key);

protected:
    // Binary search of `key` in the slot. Not found: `*pos` is one before the
    // midpoint of the final bounds, so an insert goes at `*pos` + 2.
    unsigned char FindInOriginalTable(int slot, char* key, int* pos);
    // Trims `word` in place (when `bTrim`) and keys it; `key` needs room for
    // strlen(word) + 1 bytes.
    unsigned char PreProcessing(char* word, int* slot, char* key, bool bTrim);
    static unsigned char IsAllChinese(const char* text);
    static int GetWordType(const char* text);
    // The keying classes: 5 ASCII, 6 punctuation, 7 hanzi, 8 full-width
    // letter, 9 full-width digit, 10 lead 0xA2, 17 anything else.
    static int GetCharType(const unsigned char* text);
    static const char* CCFind(const char* haystack, const char* needle);
    static int ComputeChnPos(const unsigned char* text);

private:
    eDictionary();

    // Index of `key` in the slot, or -1; `low` and `high` get the final bounds.
    int Search(int slot, const char* key, int& low, int& high) const;
    // The item's text, or null for an item that was never read.
    const char* ItemText(int slot, int index) const;
    unsigned char LookUp(char* word, int& slot, int& index);

    unsigned char m_bLoaded;
    int m_nItemCount[kSlotCount];
    eArray<tagWordItem>* m_arItems; // kSlotCount arrays
    char* m_pArena;
    int m_nArenaUsed;
};

extern template class KEST_API eArray<eDictionary::tagWordItem>;

} // namespace Kest
