#pragma once

#include "Base/eArray.h"
#include "Base/eString.h"
#include "Base/ueglobal_addr_t.h"

namespace Kest {

class eNdfPool;
class eNdfRecordsetTabular;

// The district levels (province, then city) that head the first form of the
// pinyin-initial index and the full-text index: district records whose field
// 0 is the name, field 1 (4 bytes) the record count of the child node and
// field 2 (8 bytes) its first record. Internal to the engine.
class DistrictTree {
public:
    // The district nodes that `keys` choose under the root node: no keys,
    // the root itself; one key that is not "*", the province whose name is
    // exactly the key (every province for an empty key); otherwise province
    // then city, each the first record containing its key, or every record
    // for "*" (a "*" province lists every city of every province and ends
    // the walk). False when a key matches nothing or a record is malformed.
    static unsigned char Resolve(eNdfPool* pool, const ueglobal_addr_t& root, unsigned int rootCount,
                                 const eArray<eString>& keys, eArray<ueglobal_addr_t>& gids,
                                 eArray<unsigned int>& nums);
    // Every record of a node: its name and its child pair. False when a
    // record's field 1 or field 2 has the wrong length.
    static unsigned char ListBranches(eNdfPool* pool, eArray<eString>& names, eArray<ueglobal_addr_t>& gids,
                                      eArray<unsigned int>& nums, const ueglobal_addr_t& node, unsigned int count);
    // The child pair of the current record; false unless field 1 is 4 bytes
    // and field 2 is 8 bytes.
    static bool ReadChild(eNdfRecordsetTabular& rs, ueglobal_addr_t& gid, unsigned int& count);
};

} // namespace Kest
