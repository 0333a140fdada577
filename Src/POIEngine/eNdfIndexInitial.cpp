#include "POIEngine/eNdfIndexInitial.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <vector>

#include "Base/Eassert.h"
#include "Ndf/eNdfFeatureIndex.h"
#include "Ndf/eNdfPool.h"
#include "Ndf/eNdfRecordsetTabular.h"

#include "DistrictTree.h"

namespace Kest {

namespace {

// The source path the query's consistency check reports.
const char* const kAssertFile = "..\\..\\..\\Src\\POIEngine\\eNdfIndexInitial";
constexpr int kAssertLine = 460;

// Attaches the pointer block in `field` of the current record. False when
// the field is absent. A block that does not decode reads as empty pairs,
// as eNdfFeatureIndex gives them.
bool ReadBlock(eNdfRecordsetTabular& rs, int field, eNdfFeatureIndex& block)
{
    unsigned char* value = nullptr;
    const int length = rs.GetFieldValue(field, value);
    if (length <= 0)
        return false;
    block.SetBuffer(value, length);
    return true;
}

// The first byte of field 0 of the current record; false when it is absent.
bool ReadLetter(eNdfRecordsetTabular& rs, unsigned char& letter)
{
    unsigned char* value = nullptr;
    if (rs.GetFieldValue(0, value) <= 0)
        return false;
    letter = value[0];
    return true;
}

// Field 2 of a letter record: the number of POIs below it, when the field
// holds exactly one 32-bit integer.
bool ReadDeeperCount(eNdfRecordsetTabular& rs, unsigned int& deeper)
{
    unsigned char* value = nullptr;
    if (rs.GetFieldValue(2, value) != 4)
        return false;
    std::memcpy(&deeper, value, 4);
    return true;
}

enum class Leaves { Done, Limit, Malformed };

// Delivers the leaves that start at the current record, whose block is
// `block`, each as (address, 1): a leaf counter n > 1 means the next record
// of the node carries the next leaf, 1 marks the last, 0 no leaf. Every
// delivered leaf raises `counter`; reaching `limit` stops at once. The
// record set is left on the last record read.
Leaves DeliverLeaves(eNdfRecordsetTabular& rs, const eNdfFeatureIndex& block, eArray<ueglobal_addr_t>& gids,
                     eArray<unsigned int>& nums, int& counter, int limit)
{
    ueglobal_addr_t leaf{};
    unsigned int left = 0;
    block.GetLeaf(leaf, left);
    while (left > 1) {
        gids.Add(leaf);
        nums.Add(1);
        if (++counter >= limit)
            return Leaves::Limit;
        rs.MoveNext();
        eNdfFeatureIndex next(1);
        if (!ReadBlock(rs, 1, next))
            return Leaves::Malformed;
        next.GetLeaf(leaf, left);
    }
    if (left == 1) {
        gids.Add(leaf);
        nums.Add(1);
        if (++counter >= limit)
            return Leaves::Limit;
    }
    return Leaves::Done;
}

// Breadth-first walks keep, for each queued node, the queue position of the
// node whose record named it (-1 for a starting node). In the tree a file
// holds, no node lies below itself; a child that equals one of its own
// ancestors means the file is corrupt, and the walk stops instead of going
// round for ever. This sees only nodes named by the file, so every
// well-formed index is walked unchanged.
bool IsOwnAncestor(const eArray<ueglobal_addr_t>& queue, const std::vector<int>& parents, int from,
                   const ueglobal_addr_t& child)
{
    for (int at = from; at >= 0; at = parents[static_cast<std::size_t>(at)]) {
        if (queue[at] == child)
            return true;
    }
    return false;
}

} // namespace

eNdfIndexInitial::eNdfIndexInitial() = default;

eNdfIndexInitial::~eNdfIndexInitial() = default;

eNdfIndex::IndexType eNdfIndexInitial::GetType()
{
    return NDF_INDEX_INITIAL;
}

unsigned char eNdfIndexInitial::Query(const eArray<eString>& keys, eArray<ueglobal_addr_t>& gids,
                                      eArray<unsigned int>& nums, eArray<eString>& names)
{
    m_nQueryedCount = 0;
    m_arCacheGids.RemoveAll();
    m_arCacheNums.RemoveAll();
    if (!IsOpen() && !GetRoot())
        return 0;
    gids.RemoveAll();
    nums.RemoveAll();
    names.RemoveAll();

    eArray<ueglobal_addr_t> arrQueryGids;
    eArray<unsigned int> arrQueryNums;
    if (!QueryDistrict(arrQueryGids, arrQueryNums, keys))
        return 0;
    if (keys.GetSize() < 2) {
        // District nodes themselves, not POIs.
        gids.Append(arrQueryGids);
        nums.Append(arrQueryNums);
        return 1;
    }

    eArray<eString> initials;
    initials.Add(keys[keys.GetSize() - 1]);
    if (!(arrQueryGids.GetSize() == arrQueryNums.GetSize()))
        Eassert("arrQueryGids.GetSize()==arrQueryNums.GetSize()", kAssertFile, kAssertLine);

    // Direct hits go to the outputs as they are found; the POIs collected
    // below the reached nodes follow all of them.
    eArray<ueglobal_addr_t> deepGids;
    eArray<unsigned int> deepNums;
    const int districts = std::min(arrQueryGids.GetSize(), arrQueryNums.GetSize());
    for (int i = 0; i < districts; ++i) {
        ueglobal_addr_t node = arrQueryGids[i];
        unsigned int count = arrQueryNums[i];
        QueryByPY(gids, nums, deepGids, deepNums, names, node, count, initials);
        if (m_nQueryedCount >= kQueryLimit) {
            // So many results: every letter is offered, whatever really
            // follows, and the later districts are not searched.
            gids.Append(deepGids);
            nums.Append(deepNums);
            names.RemoveAll();
            for (char letter = 'a'; letter <= 'z'; ++letter)
                names.Add(eString(letter, 1));
            return 1;
        }
    }
    gids.Append(deepGids);
    nums.Append(deepNums);
    return 1;
}

int eNdfIndexInitial::GetQueryedCount()
{
    return m_nQueryedCount;
}

int eNdfIndexInitial::GetNextResult(int count, eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums)
{
    if (m_arCacheGids.GetSize() == 0)
        return 0;
    int total = 0;
    // Queue positions of the parents of the nodes appended by this call.
    std::vector<int> parents(static_cast<std::size_t>(m_arCacheGids.GetSize()), -1);
    eNdfRecordsetTabular rs;
    for (int i = 0; i < m_arCacheGids.GetSize() && i < m_arCacheNums.GetSize(); ++i) {
        rs.SetRun(m_pPool, m_arCacheGids[i], m_arCacheNums[i]);
        for (rs.MoveFirst(); !rs.IsEOF(); rs.MoveNext()) {
            unsigned char letter = 0;
            eNdfFeatureIndex block(1);
            if (!ReadLetter(rs, letter) || !ReadBlock(rs, 1, block))
                return 0;
            // The child is taken from the letter's own record: the records
            // that carry further leaves of the letter name no child.
            ueglobal_addr_t child{};
            unsigned int childCount = 0;
            block.GetChild(child, childCount);
            if (DeliverLeaves(rs, block, gids, nums, total, INT_MAX) == Leaves::Malformed)
                return 0;
            if (childCount > 0) {
                if (IsOwnAncestor(m_arCacheGids, parents, i, child))
                    return 0;
                m_arCacheGids.Add(child);
                m_arCacheNums.Add(childCount);
                parents.push_back(i);
            }
        }
        if (total >= count) {
            // Whole nodes are finished; the next call resumes behind this one.
            m_arCacheGids.RemoveAt(0, i + 1);
            m_arCacheNums.RemoveAt(0, std::min(i + 1, m_arCacheNums.GetSize()));
            return total;
        }
    }
    m_arCacheGids.RemoveAll();
    m_arCacheNums.RemoveAll();
    return total;
}

void eNdfIndexInitial::ClearCache()
{
    // Nothing: Query empties the pending nodes itself when it starts.
}

unsigned char eNdfIndexInitial::QueryDistrict(eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums,
                                              const eArray<eString>& keys)
{
    return DistrictTree::Resolve(m_pPool, m_gidRoot, m_nRootCount, keys, gids, nums);
}

unsigned char eNdfIndexInitial::GetBranchs(eArray<eString>& names, eArray<ueglobal_addr_t>& gids,
                                           eArray<unsigned int>& nums, const ueglobal_addr_t& node,
                                           unsigned int count)
{
    return DistrictTree::ListBranches(m_pPool, names, gids, nums, node, count);
}

unsigned char eNdfIndexInitial::QueryByPY(eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums,
                                          eArray<ueglobal_addr_t>& deepGids, eArray<unsigned int>& deepNums,
                                          eArray<eString>& names, ueglobal_addr_t& node, unsigned int& count,
                                          const eArray<eString>& key)
{
    if (key.GetSize() == 0 || m_nDepth < 1)
        return 0;
    const eString& initials = key[0];
    const int letters = std::min(initials.GetLength(), m_nDepth);
    ueglobal_addr_t current = node;
    unsigned int currentCount = count;
    bool deeperCounted = false;
    eNdfRecordsetTabular rs;
    for (int i = 0; i < letters; ++i) {
        const unsigned char raw = static_cast<unsigned char>(initials.GetAt(i));
        if (raw == 0)
            break;
        const unsigned char wanted = FoldLetter(raw);
        if (currentCount == 0)
            return 0;
        // Letters are sorted by folded byte as signed 8-bit: the first one
        // not below the wanted one is the only candidate.
        rs.SetRun(m_pPool, current, currentCount);
        bool reached = false;
        unsigned char stored = 0;
        for (rs.MoveFirst(); !rs.IsEOF(); rs.MoveNext()) {
            if (!ReadLetter(rs, stored))
                return 0;
            stored = FoldLetter(stored);
            if (static_cast<signed char>(stored) >= static_cast<signed char>(wanted)) {
                reached = true;
                break;
            }
        }
        if (!reached || stored != wanted)
            return 0;
        eNdfFeatureIndex block(1);
        if (!ReadBlock(rs, 1, block))
            return 0;
        block.GetChild(current, currentCount);
        if (i + 1 < letters) {
            if (m_nQueryedCount >= kQueryLimit)
                break;
            continue;
        }

        // The last letter: the reached node waits for paging, the POIs that
        // end here are direct hits.
        m_arCacheGids.Add(current);
        m_arCacheNums.Add(currentCount);
        switch (DeliverLeaves(rs, block, gids, nums, m_nQueryedCount, kQueryLimit)) {
        case Leaves::Limit:
            return 1;
        case Leaves::Malformed:
            return 0;
        case Leaves::Done:
            break;
        }
        unsigned int deeper = 0;
        if (ReadDeeperCount(rs, deeper)) {
            // Saturates rather than wraps on a count no real file holds.
            m_nQueryedCount = static_cast<int>(
                std::min<long long>(INT_MAX, static_cast<long long>(m_nQueryedCount) + deeper));
            deeperCounted = true;
        }
        if (m_nQueryedCount >= kQueryLimit && currentCount == 0)
            return 0;
    }

    if (currentCount > 0) {
        if (!deeperCounted)
            GetAllLeafs(deepGids, deepNums, current, currentCount);
        GetBranchsName(names, current, currentCount);
    }
    return 1;
}

unsigned char eNdfIndexInitial::GetAllLeafs(eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums,
                                            const ueglobal_addr_t& node, unsigned int count)
{
    eArray<ueglobal_addr_t> queueGids;
    std::vector<unsigned int> queueNums;
    std::vector<int> parents;
    queueGids.Add(node);
    queueNums.push_back(count);
    parents.push_back(-1);
    eNdfRecordsetTabular rs;
    for (int i = 0; i < queueGids.GetSize(); ++i) {
        rs.SetRun(m_pPool, queueGids[i], queueNums[static_cast<std::size_t>(i)]);
        for (rs.MoveFirst(); !rs.IsEOF(); rs.MoveNext()) {
            unsigned char letter = 0;
            eNdfFeatureIndex block(1);
            if (!ReadLetter(rs, letter) || !ReadBlock(rs, 1, block))
                return 0;
            ueglobal_addr_t child{};
            unsigned int childCount = 0;
            block.GetChild(child, childCount);
            switch (DeliverLeaves(rs, block, gids, nums, m_nQueryedCount, kQueryLimit)) {
            case Leaves::Limit:
                return 1;
            case Leaves::Malformed:
                return 0;
            case Leaves::Done:
                break;
            }
            if (childCount > 0) {
                if (IsOwnAncestor(queueGids, parents, i, child))
                    return 0;
                queueGids.Add(child);
                queueNums.push_back(childCount);
                parents.push_back(i);
            }
        }
    }
    return 1;
}

unsigned char eNdfIndexInitial::GetBranchsName(eArray<eString>& names, const ueglobal_addr_t& node,
                                               unsigned int count)
{
    eNdfRecordsetTabular rs;
    rs.SetRun(m_pPool, node, count);
    for (rs.MoveFirst(); !rs.IsEOF(); rs.MoveNext()) {
        unsigned char letter = 0;
        if (!ReadLetter(rs, letter))
            return 0;
        const eString name(static_cast<char>(letter), 1);
        bool known = false;
        for (int i = 0; i < names.GetSize() && !known; ++i)
            known = names[i].CompareNoCase(name.Cstr()) == 0;
        if (!known) {
            eString lower(name);
            names.Add(lower.MakeLower());
        }
    }
    return 1;
}

unsigned char eNdfIndexInitial::QueryLetterTrie(const eArray<eString>& keys, eArray<ueglobal_addr_t>& gids,
                                                eArray<unsigned int>& nums, eArray<eString>& names)
{
    m_nQueryedCount = 0;
    m_arCacheGids.RemoveAll();
    m_arCacheNums.RemoveAll();
    if (!IsOpen() && !GetRoot())
        return 0;
    gids.RemoveAll();
    nums.RemoveAll();
    names.RemoveAll();
    // Only the last key counts; an empty list raises the array's assertion.
    eArray<eString> initials;
    initials.Add(keys[keys.GetSize() - 1]);
    // The walk takes a copy of the root pair, so the reader stays reusable.
    ueglobal_addr_t node = m_gidRoot;
    unsigned int count = m_nRootCount;
    eArray<ueglobal_addr_t> deepGids;
    eArray<unsigned int> deepNums;
    QueryByPY(gids, nums, deepGids, deepNums, names, node, count, initials);
    // True whatever the walk gave, and, unlike the district query, the real
    // next letters stay even when 100 results were reached.
    gids.Append(deepGids);
    nums.Append(deepNums);
    return 1;
}

} // namespace Kest
