#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "Compiler/CategoryList.h"
#include "Compiler/Gazetteer.h"

namespace Kest {

// One accepted row of a POI-like source file.
struct SourceRow {
    std::string name;          // GBK, 1..63 bytes
    std::uint32_t lon = 0;     // millionths of a degree, 0..180000000
    std::uint32_t lat = 0;     // millionths of a degree, 0..90000000
    std::uint32_t category = 0; // 0 for crossroads, which have none
    std::string phone;         // as given (ASCII digits in practice)
    int county = 0;            // index into Gazetteer::Counties()
    std::size_t line = 0;      // line of the row in its file
};

// Reads and checks the rows of one source CSV file against the gazetteer and
// the category list. Every rejected row is written to the report stream as
// "<path>:<line>: <reason>" and counted; accepted rows are appended.
//
// Checks, in order (the first failing one is the reason given): the CSV form
// and the number of fields; the name (not empty, no control character,
// encodable in GBK, at most 63 GBK bytes); longitude and latitude (decimal
// degrees; east and north only, as the record store keeps them unsigned:
// 0..180 and 0..90; rounded to millionths); the category code (listed in
// categories.txt); the county (the province, city, county triple named in
// districts.geojson).
class CountyLocator;

class SourceFileReader {
public:
    enum class Kind {
        Poi,      // name,lon,lat,category,phone,province,city,county
        Crossroad // name,lon,lat,province,city,county
    };
    struct Counts {
        std::size_t rows = 0;
        std::size_t accepted = 0;
        std::size_t rejected = 0;
    };

    static constexpr std::size_t kMaxNameBytes = 63;

    SourceFileReader(const Gazetteer& gazetteer, const CategoryList& categories);

    // Called every few thousand rows with the share of the text read so far
    // (0..1); returning false stops the reading as failed.
    void SetProgress(std::function<bool(double)> progress) { m_progress = std::move(progress); }

    // With a locator, a row whose province, city and county are all empty
    // takes the county that holds its coordinate (rejected when none does).
    void SetLocator(const CountyLocator* locator) { m_locator = locator; }

    // Reads the CSV text of the file `path` (the path only names it in
    // messages). False, with `error`, when the file cannot be read as a whole
    // (no header row, a header that differs from the expected one) or the
    // progress callback stopped it; rejected rows do not make it fail.
    bool Read(const std::string& path, const std::string& text, Kind kind, std::vector<SourceRow>& rows,
              Counts& counts, std::ostream& report, std::string& error);

    // The header row a file of this kind must start with.
    static const char* Header(Kind kind);

    // Parses decimal degrees ("116.397230", "-0.5", "7") into millionths,
    // rounding half away from zero. False for anything else (exponents,
    // spaces, empty text, more than a billion degrees).
    static bool ParseDegrees(const std::string& text, std::int64_t& micro);

private:
    bool CheckRow(const std::vector<std::string>& fields, Kind kind, SourceRow& row, std::string& reason) const;

    const Gazetteer& m_gazetteer;
    const CategoryList& m_categories;
    std::function<bool(double)> m_progress;
    const CountyLocator* m_locator = nullptr;
};

} // namespace Kest
