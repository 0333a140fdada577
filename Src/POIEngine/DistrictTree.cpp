#include "DistrictTree.h"

#include <algorithm>
#include <cstring>

#include "Ndf/eNdfRecordsetTabular.h"

namespace Kest {

// The child pair of a district record: field 1 exactly 4 bytes (the count),
// field 2 exactly 8 bytes (the address). False for any other length.
bool DistrictTree::ReadChild(eNdfRecordsetTabular& rs, ueglobal_addr_t& gid, unsigned int& count)
{
    unsigned char* value = nullptr;
    if (rs.GetFieldValue(1, value) != 4)
        return false;
    std::memcpy(&count, value, 4);
    if (rs.GetFieldValue(2, value) != 8)
        return false;
    std::memcpy(&gid, value, 8);
    return true;
}

unsigned char DistrictTree::Resolve(eNdfPool* pool, const ueglobal_addr_t& root, unsigned int rootCount,
                                    const eArray<eString>& keys, eArray<ueglobal_addr_t>& gids,
                                    eArray<unsigned int>& nums)
{
    if (keys.GetSize() == 0) {
        gids.Add(root);
        nums.Add(rootCount);
        return 1;
    }
    if (keys.GetSize() == 1 && keys[0].CompareNoCase("*") != 0) {
        // A single level is matched by the whole name, case-sensitively.
        eArray<eString> branchNames;
        eArray<ueglobal_addr_t> branchGids;
        eArray<unsigned int> branchNums;
        if (!ListBranches(pool, branchNames, branchGids, branchNums, root, rootCount))
            return 0;
        if (keys[0].IsEmpty()) {
            gids.Append(branchGids);
            nums.Append(branchNums);
            return 1;
        }
        for (int i = 0; i < branchNames.GetSize(); ++i) {
            if (branchNames[i] == keys[0]) {
                gids.Add(branchGids[i]);
                nums.Add(branchNums[i]);
                return 1;
            }
        }
        return 0;
    }

    // Province, then city, each matched by substring (or "*" for all).
    const int levels = std::min(keys.GetSize(), 2);
    ueglobal_addr_t node = root;
    unsigned int count = rootCount;
    eNdfRecordsetTabular rs;
    for (int level = 0; level < levels; ++level) {
        const eString& key = keys[level];
        rs.SetRun(pool, node, count);
        if (key.CompareNoCase("*") != 0) {
            bool found = false;
            for (rs.MoveFirst(); !rs.IsEOF(); rs.MoveNext()) {
                eString name;
                rs.GetFieldValue(0, name);
                if (name.Find(key.Cstr()) == -1)
                    continue;
                ueglobal_addr_t child{};
                unsigned int childCount = 0;
                if (!ReadChild(rs, child, childCount))
                    return 0;
                if (level == 0) {
                    node = child;
                    count = childCount;
                } else {
                    gids.Add(child);
                    nums.Add(childCount);
                }
                found = true;
                break;
            }
            if (!found)
                return 0;
            continue;
        }
        for (rs.MoveFirst(); !rs.IsEOF(); rs.MoveNext()) {
            ueglobal_addr_t child{};
            unsigned int childCount = 0;
            if (!ReadChild(rs, child, childCount))
                return 0;
            if (level == 0) {
                eArray<eString> branchNames;
                if (!ListBranches(pool, branchNames, gids, nums, child, childCount))
                    return 0;
            } else {
                gids.Add(child);
                nums.Add(childCount);
            }
        }
        if (level == 0)
            break; // every city of every province is listed; a second key is not used
    }
    return 1;
}

unsigned char DistrictTree::ListBranches(eNdfPool* pool, eArray<eString>& names, eArray<ueglobal_addr_t>& gids,
                                         eArray<unsigned int>& nums, const ueglobal_addr_t& node, unsigned int count)
{
    eNdfRecordsetTabular rs;
    rs.SetRun(pool, node, count);
    for (rs.MoveFirst(); !rs.IsEOF(); rs.MoveNext()) {
        eString name;
        rs.GetFieldValue(0, name);
        ueglobal_addr_t child{};
        unsigned int childCount = 0;
        if (!ReadChild(rs, child, childCount))
            return 0;
        names.Add(name);
        nums.Add(childCount);
        gids.Add(child);
    }
    return 1;
}

} // namespace Kest
