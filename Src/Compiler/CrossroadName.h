#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Kest {

// A crossroad's name taken apart into its two roads, so that the crossroad
// indexes can hold it under both orders of the roads ("A路与B街交叉口" is
// typed as A then B by one user and as B then A by another).
//
// A name is split at the first joiner that has text on both sides, joiners
// tried in this order: 与, 和, ＆ or &, ／ or /, 、 (a joiner is matched on
// character boundaries only, so the trail byte of a character never counts).
// Before that, one suffix that names the crossing itself is taken off the
// end: 十字路口, 交叉路口, 交叉口, 交汇处, 交口, 路口 (for 路口 the 路 stays
// with the road when the road would otherwise not end in 路, 街, 道 or 巷:
// "A路与B路口" is the roads A路 and B路). A name without a joiner (or with
// nothing on one side of it) is not split: it is one road, the whole name.
class CrossroadName {
public:
    // `gbkName`: the name in GBK.
    explicit CrossroadName(std::string_view gbkName);

    bool IsSplit() const { return m_bSplit; }
    // The roads (the whole name as the first road when not split), the joiner
    // and the suffix as they stand in the name.
    const std::string& First() const { return m_first; }
    const std::string& Second() const { return m_second; }
    const std::string& Joiner() const { return m_joiner; }
    const std::string& Suffix() const { return m_suffix; }

    // The texts the crossroad is indexed under for a search by text: the name
    // as written and, when split, the name with its roads swapped (B街与A路
    // 交叉口), so that a phrase typed in either order is found. The swapped
    // form is led by spaces (one more than the name has bytes), which nothing
    // is posted for: its byte positions lie past the name's.
    std::vector<std::string> TextForms() const;

    // The initials the crossroad is indexed under: the initials a person types
    // for the first road followed by those of the second, and the same in the
    // other order (NameInitials, the preferred reading of each road), each cut
    // at `depth`. Not split: the initials of the whole name. Empty strings and
    // a repeat of the first are left out.
    std::vector<std::string> InitialKeys(int depth) const;

private:
    std::string m_name, m_first, m_second, m_joiner, m_suffix;
    bool m_bSplit = false;
};

} // namespace Kest
