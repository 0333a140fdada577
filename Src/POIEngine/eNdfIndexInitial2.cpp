#include "POIEngine/eNdfIndexInitial2.h"

#include <cstring>

#include "Ndf/NdfBytes.h"
#include "Ndf/eNdfFeatureIndex.h"
#include "Ndf/eNdfPool.h"

namespace Kest {

namespace {

// Field 0 of a result record: the district code, then the number of that
// district's POIs that lie deeper than the record's letter.
constexpr int kResultHeadSize = 4;

unsigned char LowerLetter(unsigned char c)
{
    return (c >= 'A' && c <= 'Z') ? static_cast<unsigned char>(c + 32) : c;
}

} // namespace

eNdfIndexInitial2::eNdfIndexInitial2() = default;

eNdfIndexInitial2::~eNdfIndexInitial2() = default;

bool eNdfIndexInitial2::PassesFilter(unsigned short code) const
{
    if (m_bAllDistricts)
        return true;
    for (int i = 0; i < m_arDistrictCodes.GetSize(); ++i)
        if (m_arDistrictCodes[i] == code)
            return true;
    return false;
}

unsigned char eNdfIndexInitial2::GetRoot()
{
    // The root's child is the letter trie, its leaf the district tree.
    if (!ReadRootPairs(m_gidRoot, m_nRootCount, m_gidDistrictRoot, m_nDistrictRootCount))
        return 0;
    m_bOpen = 1;
    return 1;
}

unsigned char eNdfIndexInitial2::Query(const eArray<eString>& keys, eArray<ueglobal_addr_t>& gids,
                                       eArray<unsigned int>& nums, eArray<eString>& names)
{
    m_nQueryedCount2 = 0;
    m_arPendingGids.RemoveAll();
    m_arPendingNums.RemoveAll();
    m_arDistrictCodes.RemoveAll();
    if (!IsOpen() && !GetRoot())
        return 0;
    gids.RemoveAll();
    nums.RemoveAll();
    names.RemoveAll();

    eArray<ueglobal_addr_t> districtGids;
    eArray<unsigned int> districtNums;
    if (!QueryDistrict(districtGids, districtNums, keys))
        return 0;
    if (keys.GetSize() >= 2) {
        eArray<eString> initials;
        initials.Add(keys[keys.GetSize() - 1]);
        QueryByPY(gids, nums, names, initials);
    } else {
        gids.Append(districtGids);
        nums.Append(districtNums);
    }
    return 1;
}

unsigned char eNdfIndexInitial2::QueryDistrict(eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums,
                                               const eArray<eString>& keys)
{
    m_bAllDistricts = false;
    const int levels = keys.GetSize() < 2 ? keys.GetSize() : 2;
    if (levels == 0) {
        gids.Add(m_gidDistrictRoot);
        nums.Add(m_nDistrictRootCount);
        m_nQueryedCount2 = static_cast<int>(m_nDistrictRootCount);
        return 1;
    }
    if (levels == 2 && keys[0] == "*" && keys[1] == "*") {
        m_bAllDistricts = true;
        return 1;
    }

    eArray<ueglobal_addr_t> level;
    eArray<unsigned int> levelNums;
    level.Add(m_gidDistrictRoot);
    levelNums.Add(m_nDistrictRootCount);
    for (int l = 0; l < levels; ++l) {
        const eString& key = keys[l];
        const bool any = key == "*";
        const bool last = l == levels - 1;
        eArray<ueglobal_addr_t> next;
        eArray<unsigned int> nextNums;
        for (int n = 0; n < level.GetSize(); ++n) {
            m_rsNode.SetRun(m_pPool, level[n], levelNums[n]);
            for (m_rsNode.MoveFirst(); !m_rsNode.IsEOF(); m_rsNode.MoveNext()) {
                eString name;
                m_rsNode.GetFieldValue(0, name);
                if (!any && name.Find(key.Cstr()) == -1)
                    continue;
                unsigned char* value = nullptr;
                if (last && levels == 2) {
                    // A city: its 16-bit district code.
                    if (m_rsNode.GetFieldValue(1, value) != 2)
                        return 0;
                    m_arDistrictCodes.Add(NdfBytes::Get16(value));
                    continue;
                }
                // A province: its pointer block names its city node.
                const int length = m_rsNode.GetFieldValue(2, value);
                eNdfFeatureIndex block(1);
                ueglobal_addr_t child{};
                unsigned int childCount = 0;
                if (length <= 0 || !block.SetBuffer(value, length) || !block.GetChild(child, childCount))
                    return 0;
                if (last) {
                    gids.Add(child);
                    nums.Add(childCount);
                } else {
                    next.Add(child);
                    nextNums.Add(childCount);
                }
            }
        }
        level = next;
        levelNums = nextNums;
    }
    return 1;
}

unsigned char eNdfIndexInitial2::QueryByPY(eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums,
                                           eArray<eString>& names, const eArray<eString>& key)
{
    if (key.GetSize() == 0 || m_nDepth < 1)
        return 0;
    const eString& initials = key[0];
    const int length = initials.GetLength() < m_nDepth ? initials.GetLength() : m_nDepth;
    ueglobal_addr_t node = m_gidRoot;
    unsigned int nodeCount = m_nRootCount;
    ueglobal_addr_t leaf{};
    unsigned int leafCount = 0;
    for (int i = 0; i < length; ++i) {
        const unsigned char ch = FoldLetter(static_cast<unsigned char>(initials.Cstr()[i]));
        if (i < m_arPathLetters.GetSize() && m_arPathLetters[i] == ch) {
            node = m_arPathNodes[i];
            nodeCount = m_arPathNodeCounts[i];
            leaf = m_arPathLeafs[i];
            leafCount = m_arPathLeafCounts[i];
            continue;
        }
        m_arPathLetters.SetSize(i < m_arPathLetters.GetSize() ? i : m_arPathLetters.GetSize());
        m_arPathNodes.SetSize(m_arPathLetters.GetSize());
        m_arPathNodeCounts.SetSize(m_arPathLetters.GetSize());
        m_arPathLeafs.SetSize(m_arPathLetters.GetSize());
        m_arPathLeafCounts.SetSize(m_arPathLetters.GetSize());
        if (nodeCount == 0)
            return 0;
        ++m_nWalkNodeReads;
        m_rsNode.SetRun(m_pPool, node, nodeCount);
        bool found = false;
        for (m_rsNode.MoveFirst(); !m_rsNode.IsEOF(); m_rsNode.MoveNext()) {
            unsigned char* letter = nullptr;
            if (m_rsNode.GetFieldValue(0, letter) <= 0)
                return 0;
            const unsigned char stored = FoldLetter(letter[0]);
            if (static_cast<signed char>(stored) < static_cast<signed char>(ch))
                continue;
            found = stored == ch;
            break;
        }
        if (!found)
            return 0;
        unsigned char* value = nullptr;
        const int blockLength = m_rsNode.GetFieldValue(1, value);
        eNdfFeatureIndex block(1);
        if (blockLength <= 0 || !block.SetBuffer(value, blockLength))
            return 0;
        block.GetChild(node, nodeCount);
        block.GetLeaf(leaf, leafCount);
        m_arPathLetters.Add(ch);
        m_arPathNodes.Add(node);
        m_arPathNodeCounts.Add(nodeCount);
        m_arPathLeafs.Add(leaf);
        m_arPathLeafCounts.Add(leafCount);
    }
    // Only the letters that resolved go into the cache, so a cache that is
    // longer than this walk (a shorter query after a longer one) stays valid.
    if (leafCount != 0)
        GetResult(gids, nums, leaf, leafCount, true);
    if (nodeCount != 0) {
        m_arPendingGids.Add(node);
        m_arPendingNums.Add(nodeCount);
        GetBranchsKey(names, node, nodeCount);
    }
    return 1;
}

unsigned char eNdfIndexInitial2::GetResult(eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums,
                                           const ueglobal_addr_t& leafAddr, unsigned int leafCount, bool count)
{
    m_rsResult.SetRun(m_pPool, leafAddr, leafCount);
    for (m_rsResult.MoveFirst(); !m_rsResult.IsEOF(); m_rsResult.MoveNext()) {
        unsigned char* head = nullptr;
        if (m_rsResult.GetFieldValue(0, head) != kResultHeadSize)
            return 0;
        if (!PassesFilter(NdfBytes::Get16(head)))
            continue;
        unsigned char* list = nullptr;
        int length = m_rsResult.GetFieldValue(1, list);
        if (length < 0)
            length = 0;
        if (length % sizeof(ueglobal_addr_t) != 0)
            continue; // a record whose address list is cut is refused whole
        const int added = length / static_cast<int>(sizeof(ueglobal_addr_t));
        for (int i = 0; i < added; ++i) {
            ueglobal_addr_t gid;
            std::memcpy(&gid, list + i * sizeof(ueglobal_addr_t), sizeof gid);
            gids.Add(gid);
            nums.Add(1);
        }
        if (count)
            m_nQueryedCount2 += NdfBytes::Get16(head + 2) + added;
    }
    return 1;
}

unsigned char eNdfIndexInitial2::HasResult(const ueglobal_addr_t& leafAddr, unsigned int leafCount)
{
    m_rsResult.SetRun(m_pPool, leafAddr, leafCount);
    for (m_rsResult.MoveFirst(); !m_rsResult.IsEOF(); m_rsResult.MoveNext()) {
        unsigned char* head = nullptr;
        if (m_rsResult.GetFieldValue(0, head) != kResultHeadSize || !PassesFilter(NdfBytes::Get16(head)))
            continue;
        unsigned char* list = nullptr;
        const int length = m_rsResult.GetFieldValue(1, list);
        if (length > 0 && length % sizeof(ueglobal_addr_t) != 0)
            continue;
        if (NdfBytes::Get16(head + 2) != 0 || length > 0)
            return 1;
    }
    return 0;
}

unsigned char eNdfIndexInitial2::GetBranchsKey(eArray<eString>& names, const ueglobal_addr_t& node,
                                               unsigned int count)
{
    m_rsNode.SetRun(m_pPool, node, count);
    for (m_rsNode.MoveFirst(); !m_rsNode.IsEOF(); m_rsNode.MoveNext()) {
        unsigned char* letter = nullptr;
        if (m_rsNode.GetFieldValue(0, letter) <= 0)
            return 0;
        const char lower[2] = {static_cast<char>(LowerLetter(FoldLetter(letter[0]))), '\0'};
        bool known = false;
        for (int i = 0; i < names.GetSize() && !known; ++i)
            known = names[i] == lower;
        if (known)
            continue;
        unsigned char* value = nullptr;
        const int length = m_rsNode.GetFieldValue(1, value);
        eNdfFeatureIndex block(1);
        ueglobal_addr_t leaf{};
        unsigned int leafCount = 0;
        if (length <= 0 || !block.SetBuffer(value, length))
            return 0;
        block.GetLeaf(leaf, leafCount);
        if (leafCount != 0 && HasResult(leaf, leafCount))
            names.Add(eString(lower));
    }
    return 1;
}

int eNdfIndexInitial2::GetQueryedCount()
{
    return m_nQueryedCount2;
}

int eNdfIndexInitial2::GetNextResult(int count, eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums)
{
    if (m_arPendingGids.GetSize() == 0)
        return 0;
    int total = gids.GetSize();
    for (int q = 0; q < m_arPendingGids.GetSize(); ++q) {
        // The node is copied: appending children may move the queue.
        const ueglobal_addr_t node = m_arPendingGids[q];
        const unsigned int nodeCount = m_arPendingNums[q];
        eNdfRecordsetTabular& rs = m_rsNode;
        rs.SetRun(m_pPool, node, nodeCount);
        for (rs.MoveFirst(); !rs.IsEOF(); rs.MoveNext()) {
            unsigned char* letter = nullptr;
            unsigned char* value = nullptr;
            const int length = rs.GetFieldValue(1, value);
            if (rs.GetFieldValue(0, letter) <= 0 || length <= 0)
                return 0;
            eNdfFeatureIndex block(1);
            if (!block.SetBuffer(value, length))
                return 0;
            ueglobal_addr_t leaf{}, child{};
            unsigned int leafCount = 0, childCount = 0;
            block.GetLeaf(leaf, leafCount);
            block.GetChild(child, childCount);
            // A letter marked as listing no POI (field 3, one zero byte)
            // would add nothing here, so its result run is not read.
            unsigned char* none = nullptr;
            const bool empty = rs.GetFieldValue(3, none) == 1 && none[0] == 0;
            if (leafCount != 0 && !empty)
                GetResult(gids, nums, leaf, leafCount, false);
            total = gids.GetSize();
            // A child lies before its parent in the file; one that does not
            // would make the walk loop on a corrupt file, so it is dropped.
            if (childCount != 0 && IsBefore(child, node)) {
                m_arPendingGids.Add(child);
                m_arPendingNums.Add(childCount);
            }
        }
        if (total >= count) {
            m_arPendingGids.RemoveAt(0, q + 1);
            m_arPendingNums.RemoveAt(0, q + 1);
            return total;
        }
    }
    m_arPendingGids.RemoveAll();
    m_arPendingNums.RemoveAll();
    return total;
}

void eNdfIndexInitial2::ClearCache()
{
    m_arPathLetters.RemoveAll();
    m_arPathNodes.RemoveAll();
    m_arPathNodeCounts.RemoveAll();
    m_arPathLeafs.RemoveAll();
    m_arPathLeafCounts.RemoveAll();
}

} // namespace Kest
