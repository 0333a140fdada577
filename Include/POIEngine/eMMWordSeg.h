#pragma once

#include "Base/KestExport.h"
#include "Base/eArray.h"
#include "Base/eString.h"
#include "POIEngine/eDictionary.h"

namespace Kest {

// Forward maximum matching over the word dictionary. Segmented text lists
// every word followed by "*". SetDict must be called before segmenting; the
// dictionary is not owned.
class KEST_API eMMWordSeg {
public:
    eMMWordSeg();
    virtual ~eMMWordSeg();
    eMMWordSeg(const eMMWordSeg&) = default;
    eMMWordSeg& operator=(const eMMWordSeg&) = default;

    unsigned char SetDict(eDictionary& dict);
    // Segments a run of hanzi, longest dictionary word first (at most 4
    // hanzi); the result ends in "*".
    eString SegmentHzStrMM(eString hz);
    // Segments a whole text: hanzi runs by SegmentHzStrMM, full-width symbol
    // runs and ASCII runs as words of their own, spaces dropped; the trailing
    // "*" is trimmed.
    eString SegmentSentenceMM(eString text);
    // Splits a "*"-separated text into its words.
    unsigned char GetAdressSeg(eString& seg, eArray<eString>& words);

private:
    eDictionary* m_pDictionary;
};

} // namespace Kest
