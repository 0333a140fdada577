#pragma once

#include <map>
#include <string>

namespace Kest {

// Writes the word dictionary file "CoreDict.dct" (docs/format.md) from GBK
// words and their frequencies, choosing the words that fit the dictionary's
// 131072-byte text arena: a loaded word takes its stored text's length + 1
// bytes (the stored text is the word without its first character when that
// is a hanzi, the whole word otherwise).
//
// Order of choice, group by group: the words marked First, then the other
// vocabulary (words that should go in, e.g. the data set's own words), then
// the rest; within each group by descending frequency, then by ascending GBK
// bytes. A word that does not fit
// the space left is passed over and smaller ones are still tried. Words that
// the dictionary cannot key are dropped, and of several words with the same
// key (slot and stored text) only the first in that order is kept.
// Frequencies are clamped to 1..32767: the file keeps 16 bits and the
// dictionary returns them sign-extended. Same input, same bytes.
class CoreDictWriter {
public:
    struct Summary {
        int words = 0;      // words written
        int arenaBytes = 0; // arena bytes they take once loaded
        int unkeyable = 0;  // dropped: cannot be keyed
        int duplicates = 0; // dropped: same key as a word chosen before
        int noRoom = 0;     // dropped: no room left in the arena
    };

    // The groups words are chosen in, every word of one before any of the next.
    enum class Group { First, Vocabulary, Rest };

    // Adds a word (of the group Rest unless marked); a word added twice keeps
    // its highest frequency.
    void Add(const std::string& gbkWord, long long frequency);
    // Marks a word as vocabulary of `group` (a word marked twice keeps the
    // earlier group); one never given to Add gets frequency 1.
    void AddVocabulary(const std::string& gbkWord, Group group = Group::Vocabulary);

    // The file's bytes.
    std::string Build(Summary* summary = nullptr) const;
    // Writes the file; false with a message in `error` when it cannot.
    bool Write(const std::string& path, Summary* summary = nullptr, std::string* error = nullptr) const;

    static int ClampFrequency(long long frequency);

private:
    struct Entry {
        long long frequency = 1;
        Group group = Group::Rest;
    };
    std::map<std::string, Entry> m_words;
};

} // namespace Kest
