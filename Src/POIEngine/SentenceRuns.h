#pragma once
// The sentence loop shared by the segmenters: cuts a GBK text into runs by
// the kind of its first byte and hands each hanzi run to the segmenter.

#include "Base/eString.h"

namespace Kest {

// True for a two-byte character that ends a run of full-width symbols.
inline bool EndsSymbolRun(unsigned char lead, unsigned char trail)
{
    if (lead >= 0xB0 || lead < 0xA1)
        return true;
    if (lead == 0xA1 && ((trail >= 0xA2 && trail <= 0xA8) || (trail >= 0xAB && trail <= 0xBF)))
        return true;
    if (lead == 0xA3 && (trail == 0xAC || trail == 0xA1))
        return true;
    return trail == 0xA8 || trail == 0xA9 || trail == 0xBA || trail == 0xBB || trail == 0xBF;
}

// Result: every word followed by "*", with the trailing "*" trimmed.
//  - lead byte >= 0xB0: the run of byte pairs whose lead bytes are >= 0xB0,
//    segmented by `segmentRun` (whose result already ends in "*"). A lone
//    lead byte at the very end is a run of one byte.
//  - 0x80..0xAF: full-width symbols up to the first character that ends such
//    a run (at least one character); a run starting with the full-width
//    space is dropped.
//  - ASCII: the byte and the ASCII bytes after it up to a line feed, a
//    carriage return or a space, kept as a word; a run starting with a line
//    feed or carriage return is kept without "*". Spaces form runs of their
//    own, which are dropped, so "ABC 北京" gives "ABC*北京".
template <class SegmentRun>
eString SegmentSentence(const eString& text, SegmentRun segmentRun)
{
    const char* s = text.Cstr();
    const unsigned char* p = reinterpret_cast<const unsigned char*>(s);
    const int n = text.GetLength();
    eString result;
    int i = 0;
    while (i < n) {
        const unsigned char b0 = p[i];
        int end = i;
        if (b0 >= 0xB0) {
            while (end + 1 < n && p[end] >= 0xB0)
                end += 2;
            if (end == i)
                end = i + 1;
            result += segmentRun(eString(s + i, end - i));
        } else if (b0 >= 0x80) {
            while (end + 1 < n && !EndsSymbolRun(p[end], p[end + 1]))
                end += 2;
            if (end == i)
                end = i + 2 <= n ? i + 2 : n;
            if (!(b0 == 0xA1 && i + 1 < n && p[i + 1] == 0xA1)) {
                result += eString(s + i, end - i);
                result += "*";
            }
        } else {
            end = i + 1;
            if (b0 == ' ') {
                while (end < n && p[end] == ' ')
                    ++end;
            } else {
                while (end < n && p[end] < 0x80 && p[end] != '\n' && p[end] != '\r' && p[end] != ' ')
                    ++end;
            }
            if (b0 == '\n' || b0 == '\r') {
                result += eString(s + i, end - i);
            } else if (b0 != ' ') {
                result += eString(s + i, end - i);
                result += "*";
            }
        }
        i = end;
    }
    result.TrimRight("*");
    return result;
}

} // namespace Kest
