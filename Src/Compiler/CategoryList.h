#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace Kest {

// The category list of a source ("categories.txt", UTF-8): branch lines, and
// below each branch its leaf lines "<TAB>name<TAB>code". Turned into the
// engine's "POI_SORT.txt" (GBK), which the engine reads line by line into a
// 100-byte buffer, takes names as whitespace-free words and stops at an
// empty line; so the list is checked here for what would break that:
//
// - every name is encodable in GBK and holds no space or tab;
// - a line (without its line end) takes at most 98 GBK bytes;
// - a code is a decimal number from 0 to 2147483647, used by one leaf only;
// - a leaf line comes after a branch line.
//
// Empty lines and trailing blanks are dropped, CRLF becomes LF.
class CategoryList {
public:
    static constexpr std::size_t kMaxLineBytes = 98;

    struct Leaf {
        std::string name;   // UTF-8
        std::uint32_t code = 0;
    };
    struct Branch {
        std::string name;   // UTF-8
        std::vector<Leaf> leaves;
    };

    // Reads the text. False with `error` at the first line that breaks a
    // rule, and `line` its number (from 1; 0 for a fault of the whole list).
    bool Parse(const std::string& text, std::string& error, std::size_t& line);

    bool HasCode(std::uint32_t code) const { return m_codes.count(code) != 0; }
    const std::vector<Branch>& Branches() const { return m_branches; }
    std::size_t GetLeafCount() const { return m_codes.size(); }

    // The text of "POI_SORT.txt": GBK, LF line ends, no empty line.
    const std::string& GbkText() const { return m_gbk; }

private:
    std::vector<Branch> m_branches;
    std::set<std::uint32_t> m_codes;
    std::string m_gbk;
};

} // namespace Kest
