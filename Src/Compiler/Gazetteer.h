#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "Geo/eGeoRegion.h"

namespace Kest {

// The areas of a source: provinces, cities and counties as the features of
// "districts.geojson" list them (properties `province`, `city`, `county`),
// numbered for the data directory:
//
// - a province is a data set, numbered from 10 in order of first appearance
//   (the data set's index files are 100+n, 200+n, ...; n stays below 100);
// - a city gets a 16-bit district code, 1.. over all provinces in order of
//   first appearance (the codes of the district trees of the indexes);
// - a county gets a 16-bit number, 1..N in feature order (column 4 of every
//   POI record and the key of "AdminIndex.ndf").
//
// Municipalities: a city named "市辖区" or "县" (as the open data names the
// county groups of Beijing, Tianjin, Shanghai and Chongqing) is the province
// itself, both in the gazetteer and in the rows looked up in it.
//
// Each county keeps its boundary: the rings of its Polygon or MultiPolygon
// geometry, in file order, as the parts of a region (a polygon's outer ring,
// then its holes), and where each polygon starts among them.
class Gazetteer {
public:
    static constexpr int kFirstDataSet = 10;
    static constexpr int kLastDataSet = 99;

    struct Province {
        std::string name;            // UTF-8
        int dataSet = 0;             // 10..99
        std::vector<int> cities;     // indexes into Cities(), in order
    };
    struct City {
        std::string name;            // UTF-8
        int province = 0;            // index into Provinces()
        std::uint16_t code = 0;      // district code, 1..
        std::vector<int> counties;   // indexes into Counties(), in order
    };
    struct County {
        std::string name;            // UTF-8
        int city = 0;                // index into Cities()
        std::uint16_t number = 0;    // 1..N
        eGeoRegion boundary;         // WGS84 degrees
        std::vector<int> polygons;   // the part of `boundary` that starts each polygon
    };

    // Reads the GeoJSON text. False, with `error` saying what is wrong and
    // where (feature numbers count from 1), for text that is not a GeoJSON
    // FeatureCollection, a feature without the three string properties, an
    // empty name, a geometry that is not a Polygon or MultiPolygon of rings
    // of at least three positions within -180..180 and -90..90, or more
    // provinces or counties than the numbering holds. A feature whose three
    // names repeat an earlier one (a county drawn in two features) adds its
    // rings to that county.
    bool Parse(const std::string& text, std::string& error);

    // The county of a (province, city, county) triple of UTF-8 names, or -1.
    int FindCounty(const std::string& province, const std::string& city, const std::string& county) const;

    const std::vector<Province>& Provinces() const { return m_provinces; }
    const std::vector<City>& Cities() const { return m_cities; }
    const std::vector<County>& Counties() const { return m_counties; }

    // The city name as the gazetteer keeps it (see the class comment).
    static std::string CityName(const std::string& province, const std::string& city);

private:
    // Takes one feature of the collection; throws when it cannot.
    void Feature(const nlohmann::json& feature);
    // The county of the triple, added when new; -1 (with `error`) when the
    // numbering has no room left.
    int Add(const std::string& province, const std::string& city, const std::string& county, std::string& error);

    std::vector<Province> m_provinces;
    std::vector<City> m_cities;
    std::vector<County> m_counties;
    std::map<std::string, int> m_provinceIndex;
    std::map<std::pair<int, std::string>, int> m_cityIndex;
    std::map<std::tuple<std::string, std::string, std::string>, int> m_countyIndex;
};

} // namespace Kest
