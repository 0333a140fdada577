#pragma once

#include "Base/KestExport.h"
#include "Base/ueglobal_addr_t.h"
#include "Ndf/eNdfIndex.h"

namespace Kest {

// District index: turns a coordinate into the code of the area (county) that
// contains it. The file holds a three-level tree of areas (province, city,
// county); at each level the reader scans the areas of the current range,
// tests the point against each area's bounding box and then against the
// first part of its boundary, and descends into the first area that holds
// it. The layout is in docs/format.md ("District index").
//
// The root range is the address given to SetGID and, as its count, the number
// of top-level areas given to SetDepth (the two words of the file's header).
// The engine facade does not create this reader; callers do.
class KEST_API eNdfIndexDistrict : public eNdfIndex {
public:
    eNdfIndexDistrict();
    ~eNdfIndexDistrict() override;

    IndexType GetType() override;
    using eNdfIndex::Query;

    // Sets code to 0, then runs QueryAdmin for levels 1, 2 and 3 on one range
    // that starts as the root range. False as soon as a level finds no area;
    // on true, code holds the area code of the third level.
    unsigned char Query(double x, double y, unsigned int& code);

    // Scans the range (address, count) for the first area holding (x, y).
    // On a hit at level 1 or 2, address and count become that area's child
    // range and code 0; at level 3 code becomes the area's code. False when no
    // area of the range holds the point, when the range cannot be read or one
    // of its records is malformed, and for a level other than 1 to 3 (then
    // nothing is changed).
    unsigned char QueryAdmin(double x, double y, ueglobal_addr_t& address, int& count, unsigned int& code,
                             int level);
};

} // namespace Kest
