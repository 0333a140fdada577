#include "CommandArgs.h"

#include <cctype>

namespace Kest {

CommandArgs::CommandArgs(std::set<std::string> valueOptions, std::set<std::string> flags)
    : m_valueOptions(std::move(valueOptions)), m_flags(std::move(flags))
{
}

bool CommandArgs::Parse(const std::vector<std::string>& args, std::string& error)
{
    bool optionsEnded = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        const bool looksLikeOption = arg.size() > 1 && arg[0] == '-' && !std::isdigit(static_cast<unsigned char>(arg[1])) && arg[1] != '.';
        if (optionsEnded || !looksLikeOption) {
            m_positional.push_back(arg);
            continue;
        }
        if (arg == "--") {
            optionsEnded = true;
            continue;
        }
        if (arg == "-h" || arg == "--help") {
            m_help = true;
            continue;
        }
        const std::size_t equals = arg.find('=');
        const std::string name = arg.substr(0, equals);
        if (m_values.count(name)) {
            error = "option " + name + " given twice";
            return false;
        }
        if (m_flags.count(name) && equals == std::string::npos) {
            m_values[name] = "";
        } else if (m_valueOptions.count(name)) {
            if (equals != std::string::npos) {
                m_values[name] = arg.substr(equals + 1);
            } else if (i + 1 < args.size()) {
                m_values[name] = args[++i];
            } else {
                error = "option " + name + " needs a value";
                return false;
            }
        } else {
            error = "unknown option '" + arg + "'";
            return false;
        }
    }
    return true;
}

std::string CommandArgs::Value(const std::string& option, const std::string& otherwise) const
{
    const auto found = m_values.find(option);
    return found == m_values.end() ? otherwise : found->second;
}

bool CommandArgs::ParseCount(const std::string& text, long long max, long long& value)
{
    if (text.empty() || text.size() > 18)
        return false;
    long long result = 0;
    for (const char c : text) {
        if (c < '0' || c > '9')
            return false;
        result = result * 10 + (c - '0');
    }
    if (result > max)
        return false;
    value = result;
    return true;
}

} // namespace Kest
