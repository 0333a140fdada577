#include "Compiler/CategoryList.h"

#include <map>

#include "Compiler/GbkCodec.h"
#include "Compiler/SourceText.h"

namespace Kest {
namespace {

bool ParseCode(const std::string& text, std::uint32_t& code)
{
    if (text.empty() || text.size() > 10)
        return false;
    std::uint64_t value = 0;
    for (char c : text) {
        if (c < '0' || c > '9')
            return false;
        value = value * 10 + static_cast<std::uint64_t>(c - '0');
    }
    if (value > 2147483647u)
        return false;
    code = static_cast<std::uint32_t>(value);
    return true;
}

// Checks a name and gives its GBK bytes.
bool CheckName(const std::string& name, const char* what, std::string& gbk, std::string& error)
{
    if (name.empty()) {
        error = std::string(what) + " name is empty";
        return false;
    }
    if (name.find_first_of(" \t\v\f") != std::string::npos) {
        error = std::string(what) + " name " + SourceText::Quote(name) + " holds a space or tab";
        return false;
    }
    std::string why;
    if (!GbkCodec::ToGbk(name, gbk, &why)) {
        error = std::string(what) + " name " + SourceText::Quote(name) + ": " + why;
        return false;
    }
    return true;
}

} // namespace

bool CategoryList::Parse(const std::string& text, std::string& error, std::size_t& line)
{
    *this = CategoryList();
    line = 0;
    std::map<std::uint32_t, std::size_t> codeLine;
    std::size_t start = text.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
    for (std::size_t lineNo = 1; start < text.size(); ++lineNo) {
        std::size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        std::string row = text.substr(start, end - start);
        start = end + 1;
        // Trailing blanks (and the CR of a CRLF) belong to no name or code.
        while (!row.empty() && (row.back() == '\r' || row.back() == ' ' || row.back() == '\t'))
            row.pop_back();
        line = lineNo;
        if (row.empty())
            continue;

        std::string gbkLine;
        if (row[0] == '\t') {
            const std::size_t tab = row.find('\t', 1);
            if (tab == std::string::npos) {
                error = "leaf line has no tab between name and code";
                return false;
            }
            Leaf leaf;
            leaf.name = row.substr(1, tab - 1);
            const std::string codeText = row.substr(tab + 1);
            std::string gbkName, why;
            if (!CheckName(leaf.name, "leaf", gbkName, why)) {
                error = why;
                return false;
            }
            if (!ParseCode(codeText, leaf.code)) {
                error = "code " + SourceText::Quote(codeText) + " is not a number from 0 to 2147483647";
                return false;
            }
            if (m_branches.empty()) {
                error = "leaf " + SourceText::Quote(leaf.name) + " comes before the first branch line";
                return false;
            }
            const auto used = codeLine.emplace(leaf.code, lineNo);
            if (!used.second) {
                error = "code " + codeText + " is already used on line " + std::to_string(used.first->second);
                return false;
            }
            gbkLine = "\t" + gbkName + "\t" + std::to_string(leaf.code);
            m_codes.insert(leaf.code);
            m_branches.back().leaves.push_back(leaf);
        } else {
            Branch branch;
            branch.name = row;
            std::string why;
            if (!CheckName(branch.name, "branch", gbkLine, why)) {
                error = why;
                return false;
            }
            m_branches.push_back(branch);
        }
        if (gbkLine.size() > kMaxLineBytes) {
            error = "line takes " + std::to_string(gbkLine.size()) + " bytes in GBK, more than " +
                    std::to_string(kMaxLineBytes);
            return false;
        }
        m_gbk += gbkLine;
        m_gbk += '\n';
    }
    line = 0;
    if (m_codes.empty()) {
        error = "no category: the list has no leaf line";
        return false;
    }
    return true;
}

} // namespace Kest
