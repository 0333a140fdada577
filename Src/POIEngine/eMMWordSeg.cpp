#include "POIEngine/eMMWordSeg.h"

#include <algorithm>
#include <string>

#include "SentenceRuns.h"

namespace Kest {

namespace {
constexpr int kMaxWordBytes = 8; // four hanzi
}

eMMWordSeg::eMMWordSeg() : m_pDictionary(nullptr) {}

eMMWordSeg::~eMMWordSeg() {}

unsigned char eMMWordSeg::SetDict(eDictionary& dict)
{
    m_pDictionary = &dict;
    return 1;
}

eString eMMWordSeg::SegmentHzStrMM(eString hz)
{
    eString result;
    const char* p = hz.Cstr();
    const int n = hz.GetLength();
    std::string buffer; // the dictionary trims its argument in place: it gets a copy
    for (int i = 0; i < n;) {
        int length = std::min(n - i, kMaxWordBytes);
        bool found = false;
        if (m_pDictionary) {
            buffer.assign(p + i, static_cast<std::size_t>(length));
            found = m_pDictionary->IsGetWord(&buffer[0]) != 0;
            // The full candidate is tested for existence, the shorter ones for
            // a non-zero frequency.
            while (length > 2 && !found) {
                length -= 2;
                buffer.assign(p + i, static_cast<std::size_t>(length));
                found = m_pDictionary->GetFreq(&buffer[0]) != 0;
            }
        } else {
            length = std::min(length, 2);
        }
        result += eString(p + i, length);
        result += "*";
        i += length;
    }
    return result;
}

eString eMMWordSeg::SegmentSentenceMM(eString text)
{
    return SegmentSentence(text, [this](const eString& run) { return SegmentHzStrMM(run); });
}

unsigned char eMMWordSeg::GetAdressSeg(eString& seg, eArray<eString>& words)
{
    seg.TrimLeft("*");
    seg.TrimRight("*");
    words.SetSize(1);
    const int lastStar = seg.ReverseFind('*');
    const eString last = lastStar >= 0 ? seg.Mid(lastStar + 1) : seg;
    int next = 0;
    for (int at = seg.Find('*'); at >= 0; at = seg.Find('*')) {
        if (next >= words.GetSize())
            words.SetSize(next + 1);
        words[next++] = seg.Left(at);
        seg = seg.Mid(at + 1);
    }
    if (next >= words.GetSize())
        words.SetSize(next + 1);
    words[next] = last;
    return 1;
}

} // namespace Kest
