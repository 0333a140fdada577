#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

namespace Kest {

// The arguments of one poi command: options (with a value, "--limit 5" or
// "--limit=5", or without one, "--json") anywhere among the positional
// arguments; "--" ends the options. A word that starts with '-' and a digit
// ("-73.9") is positional.
class CommandArgs {
public:
    CommandArgs(std::set<std::string> valueOptions, std::set<std::string> flags);

    // False with a one-line reason on an unknown option, a missing value or
    // an option given twice. "-h" and "--help" are always known.
    bool Parse(const std::vector<std::string>& args, std::string& error);

    bool Help() const { return m_help; }
    bool Has(const std::string& option) const { return m_values.count(option) != 0; }
    std::string Value(const std::string& option, const std::string& otherwise = "") const;
    const std::vector<std::string>& Positional() const { return m_positional; }

    // A whole decimal number from 0 to `max`, nothing else.
    static bool ParseCount(const std::string& text, long long max, long long& value);

private:
    std::set<std::string> m_valueOptions;
    std::set<std::string> m_flags;
    std::map<std::string, std::string> m_values;
    std::vector<std::string> m_positional;
    bool m_help = false;
};

} // namespace Kest
