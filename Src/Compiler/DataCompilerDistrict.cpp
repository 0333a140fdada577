// The district index of a data directory: "POI/101.ndf" from the counties of
// districts.geojson (docs/format.md, "District index").

#include "Base/NdfFormat.h"
#include "Compiler/DataCompiler.h"
#include "Compiler/DistrictIndexWriter.h"
#include "Compiler/DistrictOutlines.h"

namespace Kest {

namespace {

using Polygon = DistrictOutlines::Polygon;

// The most points a record's region holds: a larger polygon is cut into
// pieces (DistrictOutlines::Split). A lookup decodes the whole region of
// every record whose box holds the point, so small pieces keep it quick,
// and a page (131072 bytes) holds any region of this size.
constexpr std::size_t kMaxRegionPoints = 2000;

// A county's polygons (outer ring, then holes), largest first.
std::vector<Polygon> CountyPolygons(const Gazetteer::County& county)
{
    std::vector<Polygon> polygons;
    const int parts = county.boundary.GetPartCount();
    for (std::size_t i = 0; i < county.polygons.size(); ++i) {
        const int end = i + 1 < county.polygons.size() ? county.polygons[i + 1] : parts;
        Polygon polygon;
        for (int part = county.polygons[i]; part < end; ++part) {
            const ePoint2D* points = county.boundary.GetPoints(part);
            polygon.emplace_back(points, points + county.boundary.GetSubPntCount(part));
        }
        polygons.push_back(std::move(polygon));
    }
    DistrictOutlines::LargestFirst(polygons);
    return polygons;
}

// One record per polygon, or per piece of a large one: every polygon of an
// area is the first part of a record of its own, so that a point on any
// island of the area is found.
bool AddRecords(const std::vector<Polygon>& polygons, std::uint32_t code, int children,
                DistrictIndexWriter::Range& range, std::string& error)
{
    for (const Polygon& polygon : polygons) {
        std::vector<Polygon> pieces;
        if (!DistrictOutlines::Split(polygon, kMaxRegionPoints, pieces, error))
            return false;
        for (Polygon& piece : pieces) {
            DistrictIndexWriter::Area area;
            area.parts = std::move(piece);
            area.code = code;
            area.children = children;
            range.push_back(std::move(area));
        }
    }
    return true;
}

} // namespace

// Three levels: the provinces (one range), the cities of each province (a
// range per province), the counties of each city (a range per city), each in
// gazetteer order. A county's code is its number, the key of
// "AdminIndex.ndf". The outlines of cities and provinces are the unions of
// their counties, not simplified: the lookup takes the first area that holds
// a point and never goes back, so an outline that strayed from its counties'
// borders would lose the points between them.
bool DataCompiler::WriteDistrict(const std::string& dir)
{
    if (!Phase("writing the district index (" + std::to_string(m_gazetteer.Counties().size()) + " counties)"))
        return false;
    const auto& provinces = m_gazetteer.Provinces();
    const auto& cities = m_gazetteer.Cities();
    const auto& counties = m_gazetteer.Counties();
    DistrictIndexWriter writer;
    DistrictIndexWriter::Range top;
    std::string error;
    for (const Gazetteer::Province& province : provinces) {
        if (Cancelled())
            return Fail("interrupted");
        DistrictIndexWriter::Range cityRange;
        std::vector<Polygon> provinceParts;
        for (int c : province.cities) {
            const Gazetteer::City& city = cities[static_cast<std::size_t>(c)];
            DistrictIndexWriter::Range countyRange;
            std::vector<Polygon> cityParts;
            for (int k : city.counties) {
                const Gazetteer::County& county = counties[static_cast<std::size_t>(k)];
                const std::vector<Polygon> polygons = CountyPolygons(county);
                if (!AddRecords(polygons, county.number, -1, countyRange, error))
                    return Fail("districts.geojson: county " + county.name + ": " + error);
                cityParts.insert(cityParts.end(), polygons.begin(), polygons.end());
            }
            const int countyRangeId = writer.AddRange(3, std::move(countyRange));
            std::vector<Polygon> outline;
            if (!DistrictOutlines::Union(cityParts, outline, error))
                return Fail("districts.geojson: city " + city.name + ": " + error);
            if (!AddRecords(outline, 0, countyRangeId, cityRange, error))
                return Fail("districts.geojson: city " + city.name + ": " + error);
            provinceParts.insert(provinceParts.end(), outline.begin(), outline.end());
        }
        const int cityRangeId = writer.AddRange(2, std::move(cityRange));
        std::vector<Polygon> outline;
        if (!DistrictOutlines::Union(provinceParts, outline, error))
            return Fail("districts.geojson: province " + province.name + ": " + error);
        if (!AddRecords(outline, 0, cityRangeId, top, error))
            return Fail("districts.geojson: province " + province.name + ": " + error);
    }
    writer.AddRange(1, std::move(top));
    const std::string path = dir + std::to_string(NdfFormat::kDistrictFileId) + ".ndf";
    if (!writer.Write(path))
        return Fail(path + ": " + writer.GetError());
    return true;
}

} // namespace Kest
