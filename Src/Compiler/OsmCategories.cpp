#include "Compiler/OsmCategories.h"

#include <sstream>

namespace Kest {

bool OsmCategories::Parse(const std::string& text, std::string& error)
{
    m_rules.clear();
    m_byKey.clear();
    std::istringstream in(text);
    std::string line;
    for (std::size_t number = 1; std::getline(in, line); ++number) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (line.empty() || line[0] == '#')
            continue;
        const auto fail = [&](const std::string& why) {
            error = "line " + std::to_string(number) + ": " + why;
            return false;
        };
        const std::size_t tab1 = line.find('\t');
        const std::size_t tab2 = tab1 == std::string::npos ? tab1 : line.find('\t', tab1 + 1);
        if (tab2 == std::string::npos || line.find('\t', tab2 + 1) != std::string::npos)
            return fail("expected 'KIND<TAB>KEY=VALUE<TAB>CODE'");
        Rule rule;
        rule.line = number;
        const std::string kind = line.substr(0, tab1);
        if (kind == "poi")
            rule.kind = Kind::Poi;
        else if (kind == "sight")
            rule.kind = Kind::Sight;
        else if (kind == "place")
            rule.kind = Kind::Place;
        else
            return fail("unknown kind '" + kind + "' (poi, sight or place)");
        const std::string tag = line.substr(tab1 + 1, tab2 - tab1 - 1);
        const std::size_t eq = tag.find('=');
        if (eq == 0 || eq == std::string::npos || eq + 1 == tag.size())
            return fail("expected KEY=VALUE, found '" + tag + "'");
        rule.key = tag.substr(0, eq);
        rule.value = tag.substr(eq + 1);
        const std::string code = line.substr(tab2 + 1);
        if (code.empty() || code.size() > 9 || code.find_first_not_of("0123456789") != std::string::npos)
            return fail("'" + code + "' is not a category code");
        rule.code = static_cast<std::uint32_t>(std::stoul(code));
        m_byKey[rule.key].push_back(m_rules.size());
        m_rules.push_back(rule);
    }
    if (m_rules.empty()) {
        error = "no rule";
        return false;
    }
    return true;
}

} // namespace Kest
