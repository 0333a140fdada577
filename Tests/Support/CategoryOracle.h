#pragma once
// A plain model of the category index for its tests: the tree as nested
// vectors, and the query as straight loops over it, level by level, as the
// search by address walks the areas (single key by equality, the walk by
// substring with the first match winning, "*" at each level, the category
// filter that stops at a greater code).

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace KestTest {

struct CategoryNode {
    std::string key;                // field 0: an area's name, a category's code (4 bytes LE), a POI's name
    std::vector<CategoryNode> kids; // field 1's child range (areas and categories)
    bool poi = false;               // a POI record: it has no pointer block
    std::uint32_t code = 0;         // a POI's category
};

inline std::string CodeKey(std::uint32_t code)
{
    return std::string{static_cast<char>(code & 0xFF), static_cast<char>((code >> 8) & 0xFF),
                       static_cast<char>((code >> 16) & 0xFF), static_cast<char>(code >> 24)};
}

inline std::uint32_t KeyCode(const std::string& key)
{
    std::uint32_t code = 0;
    for (int i = 3; i >= 0; --i)
        code = code << 8 | static_cast<unsigned char>(key[static_cast<std::size_t>(i)]);
    return code;
}

struct CategoryAnswer {
    bool ok = false;
    std::vector<const std::vector<CategoryNode>*> ranges; // the POI runs found, in order
    std::uint32_t hitTotal = 0;
};

// `root.kids` are the provinces.
inline CategoryAnswer CategoryQuery(const CategoryNode& root, const std::vector<std::string>& keys)
{
    using Range = const std::vector<CategoryNode>*;
    CategoryAnswer answer;
    std::vector<Range> areas;
    const std::size_t n = keys.size();
    if (n == 0) {
        areas.push_back(&root.kids);
    } else if (n == 1 && keys[0] != "*") {
        // An empty key takes every province, a name the first equal to it.
        for (const CategoryNode& p : root.kids)
            if (keys[0].empty() || p.key == keys[0]) {
                areas.push_back(&p.kids);
                if (!keys[0].empty())
                    break;
            }
        if (areas.empty() && !keys[0].empty())
            return answer;
    } else {
        Range current = &root.kids;
        for (std::size_t i = 0; i + 1 < n; ++i) {
            bool matched = false, finished = false;
            const Range scan = current;
            for (const CategoryNode& node : *scan) {
                if (node.key.empty())
                    continue;
                if (node.poi) {
                    ADD_FAILURE() << "the model does not follow a POI record";
                    return answer;
                }
                if (keys[i] == "*") {
                    // Every node of the level; at the second the areas below each.
                    current = &node.kids;
                    matched = true;
                    finished = i == 1;
                    if (!finished)
                        areas.push_back(current);
                    for (std::size_t k = 0; finished && k < current->size(); ++k)
                        areas.push_back(&(*current)[k].kids);
                } else if (node.key.find(keys[i]) != std::string::npos) {
                    current = &node.kids;
                    if (i >= 2)
                        areas.push_back(current);
                    matched = true;
                    break;
                }
            }
            if (!matched)
                return answer;
            if (finished)
                break;
        }
    }

    const bool filter = n > 3 && !keys[3].empty() && keys[3] != "*";
    long value = filter ? std::strtol(keys[3].c_str(), nullptr, 10) : 0;
    value = value > INT_MAX ? INT_MAX : value < INT_MIN ? INT_MIN : value;
    const auto wanted = static_cast<std::uint32_t>(static_cast<int>(value));
    for (Range range : areas) {
        for (const CategoryNode& node : *range) {
            if (node.poi) {
                ADD_FAILURE() << "the model does not follow a POI record";
                return answer;
            }
            if (!filter) {
                answer.ranges.push_back(&node.kids);
                continue;
            }
            if (node.key.size() != 4 || KeyCode(node.key) > wanted)
                break;
            if (KeyCode(node.key) == wanted) {
                answer.ranges.push_back(&node.kids);
                answer.hitTotal += static_cast<std::uint32_t>(node.kids.size());
                break;
            }
        }
    }
    answer.ok = true;
    return answer;
}

} // namespace KestTest
