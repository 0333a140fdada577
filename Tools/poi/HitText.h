#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "Base/ePoiInfo.h"

namespace Kest {

// A POI record as the command prints it: UTF-8 text, as a table row or as
// one JSON object {"name","lon","lat","address","code"} per line.
class HitText {
public:
    // Converts the record's GBK name and area name (each up to its first zero
    // or the end of its field) to UTF-8.
    explicit HitText(const ePoiInfo& info);
    HitText(std::string name, double lon, double lat, std::string address, unsigned code);

    // {"name":"…","lon":116.397428,"lat":39.903741,"address":"…","code":1050};
    // a coordinate that is not finite is null.
    std::string Json() const;
    // A table of hits with a header row, numbered from `firstNumber`; columns
    // are padded to the width the text takes on a terminal.
    static void PrintTable(std::ostream& out, const std::vector<HitText>& hits, int firstNumber);

    // `text` as a JSON string, quotes included: '"' and '\' escaped, control
    // characters as \n, \t or \u00XX; other UTF-8 passes unchanged.
    static std::string JsonString(std::string_view text);
    // Columns `text` takes on a terminal: East Asian wide characters count two.
    static std::size_t DisplayWidth(std::string_view text);

    const std::string& Name() const { return m_name; }

private:
    std::string m_name;
    double m_lon = 0;
    double m_lat = 0;
    std::string m_address;
    unsigned m_code = 0;
};

} // namespace Kest
