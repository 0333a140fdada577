// Loads arbitrary bytes as "CoreDict.dct", then looks words up, edits the
// dictionary and segments a text taken from the end of the input.
#include "FuzzSupport.h"
#include "POIEngine/eDictionary.h"
#include "POIEngine/eMMWordSeg.h"
#include "POIEngine/eMPWordSeg.h"

using namespace Kest;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string path = KestFuzz::WriteFile("CoreDict.dct", data, size);

    eDictionary& dict = eDictionary::GetInstance();
    dict.UnLoad();
    dict.Load(path.c_str(), size % 2 == 0);
    if (size % 3 == 0)
        dict.Load(path.c_str(), false); // a second Load fills the same arena
    std::remove(path.c_str());

    // The text: up to the last 48 bytes, cut short at a zero byte as in a C string.
    const std::size_t take = size < 48 ? size : 48;
    const std::string tail(reinterpret_cast<const char*>(data) + size - take, take);
    const eString text(tail.c_str());
    std::string word; // each call trims its own copy in place
    int slot = 0, index = 0;
    dict.IsGetWord(&(word = tail.c_str())[0]);
    dict.GetFreq(&(word = tail.c_str())[0]);
    dict.GetSameWordCount(&(word = tail.c_str())[0]);
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
    dict.PreStand(query, words);

    dict.AddItem(&(word = tail.c_str())[0], static_cast<int>(size));
    dict.DelItem(&(word = tail.c_str())[0]);
    if (size % 5 == 0)
        dict.Optimum();
    dict.UnLoad();
    return 0;
}
