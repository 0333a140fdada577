#pragma once

#include "Base/eString.h"

namespace Kest {

// One first-level entry of the POI category list ("POI_SORT.txt").
struct POISortBranch {
    eString strName;      // GBK, without spaces
    int nFirstLeaf = 0;   // position of the branch's first leaf
    int nLeafCount = -1;  // its number of leaves (-1 until the file is read to its end)
};

// One second-level entry: a category and its code.
struct POISortLeaf {
    eString strName;  // GBK, without spaces
    int nSortCode = 0;
};

} // namespace Kest
