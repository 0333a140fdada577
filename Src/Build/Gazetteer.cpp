#include "Build/Gazetteer.h"

#include <nlohmann/json.hpp>

namespace Kest {

std::string Gazetteer::CityName(const std::string& province, const std::string& city)
{
    return city == "市辖区" || city == "县" ? province : city;
}

bool Gazetteer::Parse(const std::string& text, std::string& error)
{
    using nlohmann::json;
    *this = Gazetteer();
    // Geometry is skipped while parsing, so a country's polygons never sit
    // in memory as JSON values.
    const json::parser_callback_t skipGeometry = [](int depth, json::parse_event_t event, json& parsed) {
        return !(event == json::parse_event_t::key && depth == 3 && parsed == "geometry");
    };
    json doc;
    try {
        doc = json::parse(text, skipGeometry);
    } catch (const json::parse_error& e) {
        // what() reads "[json.exception.parse_error.101] parse error at line
        // 3, column 5: ..."; the bracketed tag means nothing to a user.
        std::string what = e.what();
        const std::size_t tag = what.find("] ");
        error = "not valid JSON: " + (tag == std::string::npos ? what : what.substr(tag + 2));
        return false;
    }
    if (!doc.is_object() || !doc.contains("features") || !doc["features"].is_array()) {
        error = "not a GeoJSON FeatureCollection (no \"features\" array)";
        return false;
    }
    int number = 0;
    for (const json& feature : doc["features"]) {
        ++number;
        const std::string where = "feature " + std::to_string(number) + ": ";
        if (!feature.is_object() || !feature.contains("properties") || !feature["properties"].is_object()) {
            error = where + "no \"properties\" object";
            return false;
        }
        const json& props = feature["properties"];
        std::string names[3];
        const char* keys[3] = {"province", "city", "county"};
        for (int i = 0; i < 3; ++i) {
            if (!props.contains(keys[i]) || !props[keys[i]].is_string()) {
                error = where + "property \"" + keys[i] + "\" is missing or not a string";
                return false;
            }
            names[i] = props[keys[i]].get<std::string>();
            if (names[i].empty()) {
                error = where + "property \"" + keys[i] + "\" is empty";
                return false;
            }
        }
        if (!Add(names[0], CityName(names[0], names[1]), names[2], error)) {
            error = where + error;
            return false;
        }
    }
    return true;
}

bool Gazetteer::Add(const std::string& province, const std::string& city, const std::string& county,
                    std::string& error)
{
    if (m_countyIndex.count({province, city, county}))
        return true;
    if (m_counties.size() >= 0xFFFF) {
        error = "more than 65535 counties";
        return false;
    }
    auto p = m_provinceIndex.find(province);
    if (p == m_provinceIndex.end()) {
        const int dataSet = kFirstDataSet + static_cast<int>(m_provinces.size());
        if (dataSet > kLastDataSet) {
            error = "more than " + std::to_string(kLastDataSet - kFirstDataSet + 1) + " provinces";
            return false;
        }
        p = m_provinceIndex.emplace(province, static_cast<int>(m_provinces.size())).first;
        m_provinces.push_back({province, dataSet, {}});
    }
    auto c = m_cityIndex.find({p->second, city});
    if (c == m_cityIndex.end()) {
        if (m_cities.size() >= 0xFFFF) {
            error = "more than 65535 cities";
            return false;
        }
        c = m_cityIndex.emplace(std::make_pair(p->second, city), static_cast<int>(m_cities.size())).first;
        m_cities.push_back({city, p->second, static_cast<std::uint16_t>(m_cities.size() + 1), {}});
        m_provinces[static_cast<std::size_t>(p->second)].cities.push_back(c->second);
    }
    const int index = static_cast<int>(m_counties.size());
    m_counties.push_back({county, c->second, static_cast<std::uint16_t>(index + 1)});
    m_cities[static_cast<std::size_t>(c->second)].counties.push_back(index);
    m_countyIndex.emplace(std::make_tuple(province, city, county), index);
    return true;
}

int Gazetteer::FindCounty(const std::string& province, const std::string& city, const std::string& county) const
{
    const auto it = m_countyIndex.find({province, CityName(province, city), county});
    return it == m_countyIndex.end() ? -1 : it->second;
}

} // namespace Kest
