#pragma once

#include "Base/KestExport.h"
#include "Base/eArray.h"
#include "Base/eString.h"
#include "Base/ueglobal_addr_t.h"
#include "POIEngine/eNdfIndexSegFullText.h"

namespace Kest {

// The place names found by Chinese text, with the full-text machinery of
// eNdfIndexSegFullText over a file without districts: the root record names
// the one word table. Layout: docs/format.md ("Sight and place-name text
// indexes").
class KEST_API eNdfIndexPlaceName : public eNdfIndexSegFullText {
public:
    eNdfIndexPlaceName();
    ~eNdfIndexPlaceName() override;

    // texts: every element is a keyword. Hits are ordered by where the match
    // ends in the name; scores are all 1. True whenever the root can be read,
    // also when a keyword was refused or a word was missing.
    unsigned char Query(const eArray<eString>& texts, eArray<ueglobal_addr_t>& addrs, eArray<unsigned int>& scores,
                        eArray<eString>& names) override;
    using eNdfIndex::Query;
};

} // namespace Kest
