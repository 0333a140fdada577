// Loads arbitrary bytes as "CoreDict.dct", then looks words up, edits the
// dictionary and segments a text taken from the end of the input.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "Base/eArray.h"
#include "Base/eString.h"
#include "POIEngine/eDictionary.h"
#include "POIEngine/eMMWordSeg.h"
#include "POIEngine/eMPWordSeg.h"

using namespace Kest;

namespace {

const std::string& DictPath()
{
    static const std::string path = "/tmp/DictionaryFuzz-" + std::to_string(getpid()) + ".dct";
    return path;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::FILE* f = std::fopen(DictPath().c_str(), "wb");
    if (!f)
        return 0;
    if (size)
        std::fwrite(data, 1, size, f);
    std::fclose(f);

    eDictionary& dict = eDictionary::GetInstance();
    dict.UnLoad();
    dict.Load(DictPath().c_str(), size % 2 == 0);
    if (size % 3 == 0)
        dict.Load(DictPath().c_str(), false); // a second Load fills the same arena

    // The text: up to the last 48 bytes, zero bytes cut it short as in a C string.
    const std::size_t take = size < 48 ? size : 48;
    const std::string tail(reinterpret_cast<const char*>(data) + size - take, take);
    const eString text(tail.c_str());

    std::string word(tail.c_str());
    dict.IsGetWord(&word[0]);
    word = tail.c_str();
    dict.GetFreq(&word[0]);
    word = tail.c_str();
    dict.GetSameWordCount(&word[0]);
    int slot = 0, index = 0;
    dict.GetWordIndex(text, slot, index);
    dict.GetItemSize(slot);
    dict.GetWordCount();

    eMMWordSeg mm;
    mm.SetDict(dict);
    eMPWordSeg mp;
    mp.SetDict(dict);
    eString seg = mm.SegmentSentenceMM(text);
    eArray<eString> words;
    mm.GetAdressSeg(seg, words);
    for (int i = 0; i < words.GetSize(); ++i)
        dict.GetWordIndex(words[i], slot, index);
    mp.SegmentSentenceMP(text);
    mp.AtomSegment(text);

    eString query(text);
    eArray<eString> pieces;
    dict.PreStand(query, pieces);

    word = tail.c_str();
    dict.AddItem(&word[0], static_cast<int>(size));
    word = tail.c_str();
    dict.DelItem(&word[0]);
    if (size % 5 == 0)
        dict.Optimum();
    dict.UnLoad();
    return 0;
}
