#include "POIEngine/eNdfIndexCategory.h"

#include "Ndf/NdfBytes.h"
#include "Ndf/eNdfFeatureIndex.h"

namespace Kest {

namespace {

// Field 0 of an area record is its name, of a category record its code;
// field 1 is the pointer block whose child pair is the level below.
constexpr int kFieldKey = 0;
constexpr int kFieldBlock = 1;
// Key 3 is the category code.
constexpr int kCategoryKey = 3;

bool IsAny(const eString& key)
{
    return key.CompareNoCase("*") == 0;
}

void AppendRange(eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums, const ueglobal_addr_t& gid,
                 unsigned int num)
{
    gids.Add(gid);
    nums.Add(num);
}

} // namespace

eNdfIndexCategory::eNdfIndexCategory()
{
    m_arUnusedGids.RemoveAll();
    m_arUnusedNums.RemoveAll();
}

eNdfIndexCategory::~eNdfIndexCategory() = default;

eNdfIndex::IndexType eNdfIndexCategory::GetType()
{
    return NDF_INDEX_CATEGORY;
}

bool eNdfIndexCategory::ReadChild(eNdfRecordsetTabular& rs, bool& present, ueglobal_addr_t& child,
                                  unsigned int& count)
{
    child = ueglobal_addr_t{};
    count = 0;
    unsigned char* value = nullptr;
    const int length = rs.GetFieldValue(kFieldBlock, value);
    present = length > 0;
    if (!present)
        return true;
    eNdfFeatureIndex block(1);
    return block.SetBuffer(value, length) && block.GetChild(child, count);
}

unsigned char eNdfIndexCategory::Query(const eArray<eString>& keys, eArray<ueglobal_addr_t>& gids,
                                       eArray<unsigned int>& nums, eArray<eString>& names)
{
    m_nHitCount = 0;
    if (!IsOpen() && !GetRoot())
        return 0;
    gids.RemoveAll();
    nums.RemoveAll();
    names.RemoveAll();

    eArray<ueglobal_addr_t> areaGids;
    eArray<unsigned int> areaNums;
    if (!QueryDistrict(areaGids, areaNums, keys))
        return 0;

    // "0" is a real code; a key that is not a number reads as what base-10
    // conversion makes of it (0 for none).
    const bool filter = keys.GetSize() > kCategoryKey && !keys[kCategoryKey].IsEmpty() &&
                        keys[kCategoryKey] != "*";
    const unsigned int wanted = filter ? static_cast<unsigned int>(keys[kCategoryKey].ToInt(10)) : 0u;

    eNdfRecordsetTabular rs;
    for (int r = 0; r < areaGids.GetSize(); ++r) {
        rs.SetRun(m_pPool, areaGids[r], areaNums[r]);
        for (rs.MoveFirst(); !rs.IsEOF(); rs.MoveNext()) {
            bool present = false;
            ueglobal_addr_t child{};
            unsigned int count = 0;
            if (!filter) {
                // Every category of the area gives its POI run; a record
                // without a block ends the area.
                if (!ReadChild(rs, present, child, count))
                    return 0;
                if (!present)
                    break;
                AppendRange(gids, nums, child, count);
                continue;
            }
            unsigned char* value = nullptr;
            if (rs.GetFieldValue(kFieldKey, value) != 4)
                break;
            const unsigned int code = NdfBytes::Get32(value);
            if (code > wanted)
                break; // codes ascend: the wanted one is not in this area
            if (code < wanted)
                continue;
            if (!ReadChild(rs, present, child, count))
                return 0;
            if (!present)
                continue;
            AppendRange(gids, nums, child, count);
            m_nHitCount += count;
            break;
        }
    }
    return 1;
}

unsigned char eNdfIndexCategory::QueryDistrict(eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums,
                                               const eArray<eString>& keys)
{
    const int n = keys.GetSize();
    if (n == 0) {
        AppendRange(gids, nums, m_gidRoot, m_nRootCount);
        return 1;
    }
    if (n == 1 && !IsAny(keys[0])) {
        // A single key is matched by equality, not by substring as in the
        // walk below.
        eArray<eString> names;
        eArray<ueglobal_addr_t> childGids;
        eArray<unsigned int> childNums;
        if (!GetBranchs(names, childGids, childNums, m_gidRoot, static_cast<int>(m_nRootCount)))
            return 0;
        if (keys[0].IsEmpty()) {
            gids.Append(childGids);
            nums.Append(childNums);
            return 1;
        }
        for (int i = 0; i < names.GetSize(); ++i) {
            if (names[i] == keys[0]) {
                AppendRange(gids, nums, childGids[i], childNums[i]);
                return 1;
            }
        }
        return 0;
    }

    // The last key is never walked: with four keys it is the category (and a
    // single "*" walks nothing and succeeds with no range).
    ueglobal_addr_t current = m_gidRoot;
    unsigned int currentCount = m_nRootCount;
    eNdfRecordsetTabular rs;
    for (int i = 0; i <= n - 2; ++i) {
        const eString& key = keys[i];
        const bool any = IsAny(key);
        bool matched = false;
        bool finished = false;
        // The scan runs over the range as it was when the level began, even
        // where "*" moves the current range on.
        rs.SetRun(m_pPool, current, currentCount);
        for (rs.MoveFirst(); !rs.IsEOF(); rs.MoveNext()) {
            eString name;
            if (!rs.GetFieldValue(kFieldKey, name))
                continue;
            bool present = false;
            ueglobal_addr_t child{};
            unsigned int count = 0;
            if (any) {
                if (!ReadChild(rs, present, child, count))
                    return 0;
                if (present) {
                    current = child;
                    currentCount = count;
                }
                matched = true;
                if (i == 1) {
                    // Every city: the category ranges of all its counties,
                    // and the walk ends after this level.
                    eArray<eString> workNames;
                    eArray<ueglobal_addr_t> workGids;
                    eArray<unsigned int> workNums;
                    if (!GetBranchs(workNames, workGids, workNums, current, static_cast<int>(currentCount)))
                        return 0;
                    gids.Append(workGids);
                    nums.Append(workNums);
                    finished = true;
                } else {
                    // At level 0 this appends each province's cities, and
                    // the last province's cities become the range of level
                    // 1: the levels mix, and are kept so.
                    AppendRange(gids, nums, current, currentCount);
                }
                continue;
            }
            if (name.Find(key.Cstr()) < 0)
                continue;
            // The first record whose name holds the key wins.
            if (!ReadChild(rs, present, child, count))
                return 0;
            if (present) {
                current = child;
                currentCount = count;
            }
            if (i >= 2)
                AppendRange(gids, nums, current, currentCount);
            matched = true;
            break;
        }
        if (!matched)
            return 0;
        if (finished)
            break;
    }
    return 1;
}

unsigned char eNdfIndexCategory::GetBranchs(eArray<eString>& names, eArray<ueglobal_addr_t>& gids,
                                            eArray<unsigned int>& nums, const ueglobal_addr_t& start,
                                            int startCount)
{
    eNdfRecordsetTabular rs;
    rs.SetRun(m_pPool, start, static_cast<unsigned int>(startCount));
    for (rs.MoveFirst(); !rs.IsEOF(); rs.MoveNext()) {
        eString name;
        rs.GetFieldValue(kFieldKey, name);
        bool present = false;
        ueglobal_addr_t child{};
        unsigned int count = 0;
        if (!ReadChild(rs, present, child, count))
            return 0;
        names.Add(name);
        AppendRange(gids, nums, child, count);
    }
    return 1;
}

} // namespace Kest
