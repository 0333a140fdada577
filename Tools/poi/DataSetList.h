#pragma once

#include <string>
#include <vector>

namespace Kest {

// The data sets of a data directory as POI/datasets.txt lists them (number,
// TAB, province name; UTF-8), and the lookup of a province name typed by the
// user.
class DataSetList {
public:
    struct DataSet {
        int number = 0;
        std::string province; // UTF-8
    };
    enum class Match { kFound, kNone, kAmbiguous };

    // Reads the list; false with a one-line reason in `error` when the file
    // cannot be read, a line is not "number<TAB>name", or it lists nothing.
    bool Load(const std::string& file, std::string& error);
    // Parses the file's text (what Load reads).
    bool Parse(const std::string& text, std::string& error);

    const std::vector<DataSet>& Sets() const { return m_sets; }
    // A name equal to a province wins; otherwise the one province that holds
    // the name as a part ("北京" for "北京市"). Several such provinces make
    // the name ambiguous.
    Match Resolve(const std::string& name, DataSet& found) const;
    // The province names joined by ", ", for messages.
    std::string Names() const;

private:
    std::vector<DataSet> m_sets;
};

} // namespace Kest
