#include "POIEngine/eMPWordSeg.h"

#include <cmath>
#include <cstring>

#include "SentenceRuns.h"

namespace Kest {

namespace {

constexpr int kMaxWordBytes = 8; // four hanzi

struct Candidate {
    int start;       // byte offset in the run
    int length;      // 2, 4, 6 or 8 bytes
    int previous;    // best preceding candidate, -1 for none
    double cost;     // -ln((frequency + 1) / 200000)
    double total;    // cost of the best path ending with this candidate
};

// The one candidate table of every eMPWordSeg.
Candidate s_candidates[eMPWordSeg::kMaxCandidates];

// A run of up to this many bytes always fits the table: a run of n hanzi has
// at most n + (n-1) + (n-2) + (n-3) = 4n - 6 candidates, 98 for 26 hanzi.
constexpr int kAlwaysFits = 52;

} // namespace

eMPWordSeg::eMPWordSeg() : m_pDictionary(nullptr) {}

eMPWordSeg::~eMPWordSeg() {}

unsigned char eMPWordSeg::SetDict(eDictionary& dict)
{
    m_pDictionary = &dict;
    return 1;
}

namespace {

// The dictionary frequency of hz[start, start + length), through a buffer
// the dictionary may trim.
int FrequencyOf(eDictionary* dict, const char* hz, int start, int length)
{
    if (!dict)
        return 0;
    char word[kMaxWordBytes + 1];
    std::memcpy(word, hz + start, static_cast<std::size_t>(length));
    word[length] = '\0';
    return dict->GetFreq(word);
}

// A longer word is a candidate only with a non-zero frequency; a single
// hanzi always is.
bool IsCandidate(int length, int freq)
{
    return length == 2 || freq != 0;
}

} // namespace

short eMPWordSeg::GetTmpWords(eString hz)
{
    const char* p = hz.Cstr();
    const int n = hz.GetLength();
    int count = 0;
    for (int s = 0; s < n; s += 2) {
        for (int length = 2; length <= kMaxWordBytes && s + length <= n; length += 2) {
            const int freq = FrequencyOf(m_pDictionary, p, s, length);
            if (!IsCandidate(length, freq))
                continue;
            if (count == kMaxCandidates)
                return static_cast<short>(count); // callers pass pieces that fit
            // The sign-extended 0xFFFF counts as 0.
            const int f = freq == -1 ? 0 : freq;
            Candidate& c = s_candidates[count++];
            c.start = s;
            c.length = length;
            c.previous = -1;
            c.cost = -std::log((f + 1) / 200000.0);
            c.total = 0;
        }
    }
    return static_cast<short>(count);
}

void eMPWordSeg::GetPrev(int i)
{
    Candidate& c = s_candidates[i];
    if (c.start == 0) {
        c.previous = -1;
        c.total = c.cost;
        return;
    }
    int best = -1;
    for (int j = i - 1; j >= 0; --j) {
        const Candidate& d = s_candidates[j];
        // Ties go to the lower index, met later in this downward scan.
        if (d.start + d.length == c.start && (best < 0 || !(d.total > s_candidates[best].total)))
            best = j;
        if (c.start - d.start >= kMaxWordBytes)
            break;
    }
    c.previous = best;
    c.total = (best >= 0 ? s_candidates[best].total : 0) + c.cost;
}

int eMPWordSeg::FittingPrefix(const eString& hz)
{
    const int n = hz.GetLength();
    if (n <= kAlwaysFits)
        return n;
    // Candidates of the prefix [0, end) are those ending at or before `end`.
    const char* p = hz.Cstr();
    int count = 0;
    for (int end = 2; end <= n; end += 2) {
        for (int length = 2; length <= kMaxWordBytes && length <= end; length += 2)
            if (IsCandidate(length, FrequencyOf(m_pDictionary, p, end - length, length)))
                ++count;
        if (count > kMaxCandidates)
            return end - 2;
    }
    return n;
}

eString eMPWordSeg::SegmentPiece(const eString& hz)
{
    const int count = GetTmpWords(hz);
    if (count == 0)
        return eString();
    const int n = hz.GetLength();
    int best = -1;
    for (int i = 0; i < count; ++i) {
        GetPrev(i);
        const Candidate& c = s_candidates[i];
        if (c.start + c.length == n && (best < 0 || c.total < s_candidates[best].total))
            best = i;
    }
    int path[kMaxCandidates];
    int steps = 0;
    for (int i = best; i >= 0 && steps < kMaxCandidates; i = s_candidates[i].previous)
        path[steps++] = i;
    eString result;
    const char* p = hz.Cstr();
    while (steps > 0) {
        const Candidate& c = s_candidates[path[--steps]];
        result += eString(p + c.start, c.length);
        result += "*";
    }
    return result;
}

// The candidate table holds 100 records. A run whose candidates fit (every run
// of up to 26 hanzi does) is segmented exactly as by the unbounded search.
// A longer run is cut into pieces: each piece is the longest prefix of what
// is left, ending on a character, whose own candidates (the words lying
// wholly inside it) number at most 100; each piece is segmented on its own,
// so no word crosses a cut and each piece's words are exactly what the
// unbounded search gives for that piece alone. A lone byte after the last
// whole character is a word of its own.
eString eMPWordSeg::SegmentHzStrMP(eString hz)
{
    const int whole = hz.GetLength() & ~1;
    eString result;
    eString rest = hz.Left(whole);
    while (!rest.IsEmpty()) {
        const int piece = FittingPrefix(rest);
        result += SegmentPiece(rest.Left(piece));
        rest = rest.Mid(piece);
    }
    if (hz.GetLength() > whole) {
        result += hz.Mid(whole);
        result += "*";
    }
    return result;
}

eString eMPWordSeg::SegmentSentenceMP(eString text)
{
    text.MakeUpper();
    return SegmentSentence(text, [this](const eString& run) { return SegmentHzStrMP(run); });
}

eString eMPWordSeg::CHWordAtomSegment(eString hz)
{
    hz.MakeUpper();
    eString result;
    const char* p = hz.Cstr();
    for (int i = 0; i + 1 < hz.GetLength(); i += 2) {
        result += eString(p + i, 2);
        result += "*";
    }
    return result;
}

eString eMPWordSeg::AtomSegment(eString text)
{
    text.MakeUpper();
    return SegmentSentence(text, [this](const eString& run) { return CHWordAtomSegment(run); });
}

} // namespace Kest
