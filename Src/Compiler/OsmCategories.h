#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace Kest {

// The table that says what an OpenStreetMap object becomes (the data file
// Data/osm-categories.txt, built into the compiler; a source directory may
// bring its own). One rule a line, "KIND<TAB>KEY=VALUE<TAB>CODE", '#' starts
// a comment line; VALUE "*" matches any value. The first rule in file order
// that matches one of an object's tags decides.
class OsmCategories {
public:
    enum class Kind { Poi, Sight, Place };
    struct Rule {
        Kind kind = Kind::Poi;
        std::string key, value; // value "*": any
        std::uint32_t code = 0;
        std::size_t line = 0;
    };
    struct Match {
        const Rule* rule = nullptr; // null: no rule matched
        bool Wildcard() const { return rule && rule->value == "*"; }
    };

    // False, with `error` ("line N: reason"), for a line that is not a rule.
    bool Parse(const std::string& text, std::string& error);

    // The first rule matching one of the (key, value) tags: among the place
    // rules when `place` is set (for nodes only: place names are nodes),
    // else among the others. A node may so be a place name and a POI or
    // sight at once.
    template <typename Tags>
    Match Classify(const Tags& tags, bool place) const
    {
        Match best;
        for (const auto& tag : tags) {
            const auto it = m_byKey.find(tag.key());
            if (it == m_byKey.end())
                continue;
            for (std::size_t r : it->second) {
                const Rule& rule = m_rules[r];
                if ((best.rule && rule.line >= best.rule->line) || place != (rule.kind == Kind::Place))
                    continue;
                if (rule.value == "*" || rule.value == tag.value())
                    best.rule = &rule;
            }
        }
        return best;
    }

    const std::vector<Rule>& Rules() const { return m_rules; }

    // The table built into the compiler (Data/osm-categories.txt).
    static const char* BuiltIn();

private:
    std::vector<Rule> m_rules;
    std::map<std::string, std::vector<std::size_t>, std::less<>> m_byKey; // key -> rules, in file order
};

} // namespace Kest
