#pragma once

#include "Base/KestExport.h"
#include "Base/eString.h"
#include "POIEngine/eDictionary.h"

namespace Kest {

// Maximum probability segmentation over the word dictionary: the cheapest
// path through the candidate words, a word costing -ln((frequency + 1) /
// 200000). Segmented text lists every word followed by "*". SetDict must be
// called before segmenting; the dictionary is not owned.
//
// The candidate table (100 records) is shared by every instance: one thread
// at a time.
class KEST_API eMPWordSeg {
public:
    eMPWordSeg();
    virtual ~eMPWordSeg();
    eMPWordSeg(const eMPWordSeg&) = default;
    eMPWordSeg& operator=(const eMPWordSeg&) = default;

    unsigned char SetDict(eDictionary& dict);
    // Segments a run of hanzi; the result ends in "*".
    eString SegmentHzStrMP(eString hz);
    // Upper-cases the text, then segments it as eMMWordSeg::SegmentSentenceMM
    // does, with hanzi runs by SegmentHzStrMP.
    eString SegmentSentenceMP(eString text);
    // Every two-byte unit a word (an odd last byte is dropped).
    eString CHWordAtomSegment(eString hz);
    // Upper-cases the text, then segments it with hanzi runs by CHWordAtomSegment.
    eString AtomSegment(eString text);

    static constexpr int kMaxCandidates = 100;

private:
    // Fills the candidate table with the words of `hz`; returns their number.
    short GetTmpWords(eString hz);
    // Finds the cheapest predecessor of candidate i.
    void GetPrev(int i);
    // Length in bytes of the longest prefix of `hz` whose candidates fit the table.
    int FittingPrefix(const eString& hz);
    // Segments a piece whose candidates fit the table.
    eString SegmentPiece(const eString& hz);

    eDictionary* m_pDictionary;
};

} // namespace Kest
