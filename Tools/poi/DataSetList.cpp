#include "DataSetList.h"

#include <fstream>
#include <sstream>

namespace Kest {

bool DataSetList::Load(const std::string& file, std::string& error)
{
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        error = "cannot read " + file;
        return false;
    }
    std::ostringstream text;
    text << in.rdbuf();
    if (!Parse(text.str(), error)) {
        error = file + ": " + error;
        return false;
    }
    return true;
}

bool DataSetList::Parse(const std::string& text, std::string& error)
{
    m_sets.clear();
    std::istringstream in(text);
    std::string line;
    for (int lineNumber = 1; std::getline(in, line); ++lineNumber) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (line.empty())
            continue;
        const std::size_t tab = line.find('\t');
        DataSet set;
        std::size_t used = 0;
        try {
            set.number = std::stoi(line.substr(0, tab), &used);
        } catch (const std::exception&) {
            used = std::string::npos;
        }
        if (tab == std::string::npos || used != tab || tab + 1 == line.size() || set.number < 0) {
            error = "line " + std::to_string(lineNumber) + " is not 'number<TAB>province'";
            m_sets.clear();
            return false;
        }
        set.province = line.substr(tab + 1);
        m_sets.push_back(set);
    }
    if (m_sets.empty()) {
        error = "lists no data set";
        return false;
    }
    return true;
}

DataSetList::Match DataSetList::Resolve(const std::string& name, DataSet& found) const
{
    for (const DataSet& set : m_sets) {
        if (set.province == name) {
            found = set;
            return Match::kFound;
        }
    }
    int matches = 0;
    for (const DataSet& set : m_sets) {
        if (!name.empty() && set.province.find(name) != std::string::npos) {
            found = set;
            ++matches;
        }
    }
    return matches == 1 ? Match::kFound : matches == 0 ? Match::kNone : Match::kAmbiguous;
}

std::string DataSetList::Names() const
{
    std::string names;
    for (const DataSet& set : m_sets)
        names += (names.empty() ? "" : ", ") + set.province;
    return names;
}

} // namespace Kest
