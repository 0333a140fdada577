#include "POIEngine/eNdfIndexSegFullText.h"

#include <algorithm>
#include <climits>
#include <numeric>
#include <vector>

#include "Ndf/eNdfPool.h"
#include "Ndf/eNdfPostingBlock.h"
#include "Ndf/eNdfWordTable.h"
#include "Ndf/eNdfRecordsetTabular.h"
#include "POIEngine/eDictionary.h"

#include "DistrictTree.h"

namespace Kest {

namespace {

// The file the dictionary is loaded from, in the index's directory.
const char* const kDictFile = "CoreDict.dct";

// Word table and posting fields.
enum { kWordDirectory = 5, kWordBlock = 6 };
enum { kPostingBlock = 3 };

std::uint64_t AddrKey(const ueglobal_addr_t& a)
{
    return (static_cast<std::uint64_t>(a.page.nFile) << 48) | (static_cast<std::uint64_t>(a.page.nPage) << 16) |
           a.nElement;
}

} // namespace

eNdfIndexSegFullText::eNdfIndexSegFullText()
{
    m_MMSeg.SetDict(eDictionary::GetInstance());
}

eNdfIndexSegFullText::~eNdfIndexSegFullText() = default;

eNdfIndex::IndexType eNdfIndexSegFullText::GetType()
{
    return NDF_INDEX_FULLTEXT;
}

unsigned char eNdfIndexSegFullText::Query(const eArray<eString>& texts, eArray<ueglobal_addr_t>& addrs,
                                          eArray<unsigned int>& scores, eArray<eString>& names)
{
    if (!IsOpen() && !GetRoot())
        return 0;
    addrs.RemoveAll();
    scores.RemoveAll();
    names.RemoveAll();

    eArray<eString> districtKeys;
    for (int i = 0; i < texts.GetSize() && i < 2; ++i)
        districtKeys.Add(texts[i]);
    eArray<ueglobal_addr_t> districts;
    eArray<unsigned int> infos;
    const bool found = DistrictTree::Resolve(m_pPool, m_gidRoot, m_nRootCount, districtKeys, districts, infos) != 0;
    if (texts.GetSize() < 2) {
        addrs.Append(districts);
        scores.Append(infos);
        return found ? 1 : 0;
    }
    eArray<eString> keywords;
    for (int i = 2; i < texts.GetSize(); ++i)
        keywords.Add(texts[i]);
    eArray<int> ranks;
    for (int d = 0; d < districts.GetSize() && d < infos.GetSize(); ++d) {
        QueryByText(addrs, scores, ranks, names, districts[d], infos[d], keywords);
        if (addrs.GetSize() >= 100)
            break;
    }
    SortResult(addrs, scores, ranks);
    return found ? 1 : 0;
}

unsigned char eNdfIndexSegFullText::QueryByText(eArray<ueglobal_addr_t>& addrs, eArray<unsigned int>& scores,
                                                eArray<int>& ranks, eArray<eString>& /*names*/,
                                                ueglobal_addr_t& district, unsigned int& districtInfo,
                                                const eArray<eString>& keywords)
{
    if (keywords.GetSize() == 0)
        return 0;
    eDictionary& dict = eDictionary::GetInstance();
    for (int k = 0; k < keywords.GetSize(); ++k) {
        eString keyword = keywords[k];
        eArray<eString> pieces;
        if (!dict.PreStand(keyword, pieces))
            return 0;
        if (!dict.isLoaded()) {
            eString path;
            path.Format("%s%s", m_strDataPath.Cstr(), kDictFile);
            dict.Load(path.Cstr(), false);
        }
        m_bLoose = pieces.GetSize() > 1;
        m_arHitGids.RemoveAll();
        m_arHitPos.RemoveAll();
        m_arHitFlag.RemoveAll();
        m_arHitLen.RemoveAll();
        for (int p = 0; p < pieces.GetSize(); ++p) {
            if (p == 0)
                m_nWordCount = 0;
            eString seg = m_MMSeg.SegmentHzStrMM(pieces[p]);
            eArray<eString> words;
            m_MMSeg.GetAdressSeg(seg, words);
            for (int w = 0; w < words.GetSize(); ++w) {
                int slot = 0;
                int index = 0;
                if (!dict.GetWordIndex(words[w], slot, index))
                    continue; // a word the dictionary does not know does not narrow the search
                if (!DoQuery(words[w], slot, index, district, districtInfo))
                    return 0;
            }
        }
        if (addrs.GetSize() >= 100)
            return 1;
        addrs.Append(m_arHitGids);
        scores.Append(1u, m_arHitGids.GetSize());
        ranks.Append(m_arHitPos);
    }
    return 1;
}

bool eNdfIndexSegFullText::FindWord(int key, const ueglobal_addr_t& district, unsigned int districtInfo,
                                    ueglobal_addr_t& postings, unsigned int& postingCount)
{
    // The directory names the one block that can hold the key; the keys
    // ascend through the blocks, so this finds what a scan of the whole
    // table would. The district's count is its number of words, so the
    // directory and its blocks, at most one a word, lie within one more
    // record than that. A malformed directory or block finds nothing.
    if (districtInfo == 0 || districtInfo == UINT_MAX)
        return false;
    eNdfRecordsetTabular rs;
    rs.SetRun(m_pPool, district, districtInfo + 1);
    unsigned char* bytes = nullptr;
    if (!rs.MoveFirst())
        return false;
    int length = rs.GetFieldValue(kWordDirectory, bytes);
    int blocks = 0;
    int block = -1;
    std::int32_t first = 0;
    if (!eNdfWordTable::CountBlocks(bytes, length, blocks) || static_cast<unsigned int>(blocks) > districtInfo ||
        !eNdfWordTable::FindBlock(bytes, length, blocks, key, block, first) || block < 0 || !rs.MoveTo(block + 1))
        return false;
    length = rs.GetFieldValue(kWordBlock, bytes);
    bool found = false;
    eNdfWordTable::Entry entry{};
    if (!eNdfWordTable::FindInBlock(bytes, length, first, key, found, entry) || !found)
        return false;
    postings = entry.postings;
    postingCount = entry.count;
    return true;
}

unsigned char eNdfIndexSegFullText::DoQuery(const eString& word, int slot, int index, ueglobal_addr_t& district,
                                            unsigned int& districtInfo)
{
    const int key = index == -1 ? slot * 10000 - 1 : slot * 10000 + index;
    ueglobal_addr_t postings{};
    unsigned int postingCount = 0;
    if (!FindWord(key, district, districtInfo, postings, postingCount))
        return 0;

    const int n = m_arHitGids.GetSize();
    const int length = word.GetLength();
    // The first n hits by address (then by number), so that the hits of one
    // posting are visited in list order as a plain scan would. The array is
    // kept from query to query.
    std::vector<std::pair<std::uint64_t, int>>& byAddr = m_byAddr;
    byAddr.resize(static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i)
        byAddr[static_cast<std::size_t>(i)] = {AddrKey(m_arHitGids[i]), i};
    std::sort(byAddr.begin(), byAddr.end());
    // With loose matching a posting only marks hits: once every one of the
    // n hits is marked, the rest of the list changes nothing.
    int marked = 0;

    // The word's postings, block by block, each posting as a record of its
    // own would give it.
    eNdfRecordsetTabular rs;
    rs.SetRun(m_pPool, postings, postingCount);
    if (postingCount > 0 && !rs.MoveFirst())
        return 0; // the posting table cannot be read
    eNdfPostingBlock block;
    eNdfPostingBlock::Posting posting{};
    bool done = false;
    // Once every earlier hit is marked no further record is read, not even
    // the next one.
    for (; !rs.IsEOF(); rs.MoveNext()) {
        unsigned char* bytes = nullptr;
        const int size = rs.GetFieldValue(kPostingBlock, bytes);
        if (!block.SetBuffer(bytes, size))
            return 0;
        while (!done && block.Next(posting)) {
            const int pos = posting.position;
            const ueglobal_addr_t& addr = posting.poi;
            if (n == 0) {
                m_arHitGids.Add(addr);
                m_arHitPos.Add(pos);
                m_arHitFlag.Add(0);
                m_arHitLen.Add(length);
                continue;
            }
            const std::uint64_t addrKey = AddrKey(addr);
            auto at = std::lower_bound(byAddr.begin(), byAddr.end(), std::make_pair(addrKey, 0));
            for (; at != byAddr.end() && at->first == addrKey; ++at) {
                const int i = at->second;
                if (m_bLoose) {
                    marked += m_arHitFlag[i] == 0 ? 1 : 0;
                    m_arHitFlag[i] = 1;
                } else if (pos == m_arHitPos[i] + m_arHitLen[i]) {
                    m_arHitPos[i] = pos;
                    m_arHitLen[i] = length;
                    m_arHitFlag[i] = 1;
                }
            }
            done = m_bLoose && marked == n;
        }
        if (done)
            break;
        if (!block.AtEnd())
            return 0; // a malformed block fails the word
    }
    ++m_nWordCount;
    // Of the first n hits the marked ones stay (unmarked again) and the others
    // go; compacting in one pass leaves the same list as removing them one
    // by one from the last to the first.
    int kept = 0;
    for (int i = 0; i < m_arHitGids.GetSize(); ++i) {
        if (i < n && m_arHitFlag[i] == 0)
            continue;
        m_arHitGids[kept] = m_arHitGids[i];
        m_arHitPos[kept] = m_arHitPos[i];
        m_arHitFlag[kept] = i < n ? 0 : m_arHitFlag[i];
        m_arHitLen[kept] = m_arHitLen[i];
        ++kept;
    }
    m_arHitGids.SetSize(kept);
    m_arHitPos.SetSize(kept);
    m_arHitFlag.SetSize(kept);
    m_arHitLen.SetSize(kept);
    if (m_nWordCount > 1 && m_arHitGids.GetSize() == 0)
        return 0;
    return 1;
}

void eNdfIndexSegFullText::SortResult(eArray<ueglobal_addr_t>& addrs, eArray<unsigned int>& /*scores*/,
                                      eArray<int>& ranks)
{
    // A bubble sort that swaps neighbours only when the left rank is greater
    // is a stable sort by rank; std::stable_sort gives the same order.
    const int n = std::min(addrs.GetSize(), ranks.GetSize());
    std::vector<int> order(static_cast<std::size_t>(n));
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return ranks[a] < ranks[b]; });
    eArray<ueglobal_addr_t> sortedAddrs(addrs);
    eArray<int> sortedRanks(ranks);
    for (int i = 0; i < n; ++i) {
        sortedAddrs[i] = addrs[order[static_cast<std::size_t>(i)]];
        sortedRanks[i] = ranks[order[static_cast<std::size_t>(i)]];
    }
    addrs = sortedAddrs;
    ranks = sortedRanks;
}

unsigned char eNdfIndexSegFullText::QueryWholeIndex(const eArray<eString>& texts, eArray<ueglobal_addr_t>& addrs,
                                                    eArray<unsigned int>& scores, eArray<eString>& names)
{
    if (!IsOpen() && !GetRoot())
        return 0;
    addrs.RemoveAll();
    scores.RemoveAll();
    names.RemoveAll();
    // The keywords are searched one after another and their hits appended in
    // keyword order; the sort then orders them all by rank.
    eArray<int> ranks;
    ueglobal_addr_t district = m_gidRoot;
    unsigned int districtInfo = m_nRootCount;
    QueryByText(addrs, scores, ranks, names, district, districtInfo, texts);
    SortResult(addrs, scores, ranks);
    // True also when the text search failed: the hits are then empty or
    // only those of the keywords before the failing one.
    return 1;
}

} // namespace Kest
