#include "Compiler/Gazetteer.h"

#include <nlohmann/json.hpp>

namespace Kest {

std::string Gazetteer::CityName(const std::string& province, const std::string& city)
{
    return city == "市辖区" || city == "县" ? province : city;
}

namespace {

using nlohmann::json;

// Why a feature cannot be used; thrown out of the parser's callback.
struct FeatureFault {
    std::string message;
};

// One linear ring: at least three positions of finite longitude -180..180
// and latitude -90..90 (further numbers of a position, such as an
// altitude, are ignored).
std::vector<ePoint2D> Ring(const json& ring, const std::string& where)
{
    if (!ring.is_array() || ring.size() < 3)
        throw FeatureFault{where + " is not a ring of at least 3 positions"};
    std::vector<ePoint2D> points;
    points.reserve(ring.size());
    for (const json& position : ring) {
        if (!position.is_array() || position.size() < 2 || !position[0].is_number() || !position[1].is_number())
            throw FeatureFault{where + " holds a position that is not [longitude, latitude]"};
        const double x = position[0].get<double>(), y = position[1].get<double>();
        if (!(x >= -180 && x <= 180 && y >= -90 && y <= 90))
            throw FeatureFault{where + " holds the position [" + position[0].dump() + ", " + position[1].dump() +
                               "], out of range"};
        points.emplace_back(x, y);
    }
    return points;
}

// A Polygon's rings (outer boundary, then holes) as parts of `region`.
void Polygon(const json& rings, eGeoRegion& region, std::vector<int>& starts, const std::string& where)
{
    if (!rings.is_array() || rings.empty())
        throw FeatureFault{where + " has no ring"};
    starts.push_back(region.GetPartCount());
    for (std::size_t i = 0; i < rings.size(); ++i)
        region.AddPart(Ring(rings[i], where + " ring " + std::to_string(i + 1)));
}

void Geometry(const json& feature, eGeoRegion& region, std::vector<int>& starts)
{
    const auto geometry = feature.find("geometry");
    const auto type = geometry == feature.end() || !geometry->is_object() ? geometry : geometry->find("type");
    const auto coordinates = geometry == feature.end() || !geometry->is_object() ? geometry : geometry->find("coordinates");
    if (geometry == feature.end() || !geometry->is_object() || type == geometry->end() ||
        coordinates == geometry->end())
        throw FeatureFault{"geometry must be a Polygon or MultiPolygon"};
    if (*type == "Polygon") {
        Polygon(*coordinates, region, starts, "polygon");
    } else if (*type == "MultiPolygon") {
        if (!coordinates->is_array() || coordinates->empty())
            throw FeatureFault{"multipolygon has no polygon"};
        for (std::size_t i = 0; i < coordinates->size(); ++i)
            Polygon((*coordinates)[i], region, starts, "polygon " + std::to_string(i + 1));
    } else {
        throw FeatureFault{"geometry is a " + type->dump() + ", not a Polygon or MultiPolygon"};
    }
}

} // namespace

bool Gazetteer::Parse(const std::string& text, std::string& error)
{
    *this = Gazetteer();
    // Each feature is taken as soon as the parser has read it and then
    // dropped, so that a country's polygons never sit in memory as JSON.
    std::string key;
    bool inFeatures = false, sawFeatures = false;
    int number = 0;
    const json::parser_callback_t take = [&](int depth, json::parse_event_t event, json& parsed) {
        using Event = json::parse_event_t;
        if (depth == 1 && event == Event::key)
            key = parsed.get<std::string>();
        if (depth == 1 && event == Event::array_start && key == "features")
            inFeatures = sawFeatures = true;
        if (depth == 1 && event == Event::array_end)
            inFeatures = false;
        if (!inFeatures || depth != 2 || (event != Event::object_end && event != Event::array_end && event != Event::value))
            return true;
        ++number;
        if (event != Event::object_end)
            throw FeatureFault{"not an object"};
        Feature(parsed);
        return false;
    };
    json rest; // what is left once the features are taken
    try {
        rest = json::parse(text, take);
    } catch (const json::parse_error& e) {
        // what() reads "[json.exception.parse_error.101] parse error at line
        // 3, column 5: ..."; the bracketed tag means nothing to a user.
        std::string what = e.what();
        const std::size_t tag = what.find("] ");
        error = "not valid JSON: " + (tag == std::string::npos ? what : what.substr(tag + 2));
        return false;
    } catch (const FeatureFault& fault) {
        error = "feature " + std::to_string(number) + ": " + fault.message;
        return false;
    }
    if (!rest.is_object() || !sawFeatures) {
        error = "not a GeoJSON FeatureCollection (no \"features\" array)";
        return false;
    }
    return true;
}

void Gazetteer::Feature(const json& feature)
{
    const auto props = feature.find("properties");
    if (props == feature.end() || !props->is_object())
        throw FeatureFault{"no \"properties\" object"};
    std::string names[3];
    const char* keys[3] = {"province", "city", "county"};
    for (int i = 0; i < 3; ++i) {
        const auto value = props->find(keys[i]);
        if (value == props->end() || !value->is_string())
            throw FeatureFault{std::string("property \"") + keys[i] + "\" is missing or not a string"};
        names[i] = value->get<std::string>();
        if (names[i].empty())
            throw FeatureFault{std::string("property \"") + keys[i] + "\" is empty"};
    }
    eGeoRegion region;
    std::vector<int> starts;
    Geometry(feature, region, starts);
    std::string error;
    const int county = Add(names[0], CityName(names[0], names[1]), names[2], error);
    if (county < 0)
        throw FeatureFault{error};
    Gazetteer::County& entry = m_counties[static_cast<std::size_t>(county)];
    for (int start : starts)
        entry.polygons.push_back(entry.boundary.GetPartCount() + start);
    for (int part = 0; part < region.GetPartCount(); ++part)
        entry.boundary.AddPart(region.GetPoints(part), region.GetSubPntCount(part));
}

int Gazetteer::Add(const std::string& province, const std::string& city, const std::string& county,
                   std::string& error)
{
    const auto known = m_countyIndex.find({province, city, county});
    if (known != m_countyIndex.end())
        return known->second;
    if (m_counties.size() >= 0xFFFF) {
        error = "more than 65535 counties";
        return false;
    }
    auto p = m_provinceIndex.find(province);
    if (p == m_provinceIndex.end()) {
        const int dataSet = kFirstDataSet + static_cast<int>(m_provinces.size());
        if (dataSet > kLastDataSet) {
            error = "more than " + std::to_string(kLastDataSet - kFirstDataSet + 1) + " provinces";
            return -1;
        }
        p = m_provinceIndex.emplace(province, static_cast<int>(m_provinces.size())).first;
        m_provinces.push_back({province, dataSet, {}});
    }
    auto c = m_cityIndex.find({p->second, city});
    if (c == m_cityIndex.end()) {
        if (m_cities.size() >= 0xFFFF) {
            error = "more than 65535 cities";
            return -1;
        }
        c = m_cityIndex.emplace(std::make_pair(p->second, city), static_cast<int>(m_cities.size())).first;
        m_cities.push_back({city, p->second, static_cast<std::uint16_t>(m_cities.size() + 1), {}});
        m_provinces[static_cast<std::size_t>(p->second)].cities.push_back(c->second);
    }
    const int index = static_cast<int>(m_counties.size());
    m_counties.push_back({county, c->second, static_cast<std::uint16_t>(index + 1), {}, {}});
    m_cities[static_cast<std::size_t>(c->second)].counties.push_back(index);
    m_countyIndex.emplace(std::make_tuple(province, city, county), index);
    return index;
}

int Gazetteer::FindCounty(const std::string& province, const std::string& city, const std::string& county) const
{
    const auto it = m_countyIndex.find({province, CityName(province, city), county});
    return it == m_countyIndex.end() ? -1 : it->second;
}

} // namespace Kest
