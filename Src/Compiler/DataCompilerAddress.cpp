#include "Compiler/DataCompiler.h"

#include "Base/NdfFormat.h"
#include "Compiler/CategoryIndexWriter.h"

namespace Kest {

// "POI/100.ndf": every province, city and county of the gazetteer in its
// order, and below each county one record per category it has POIs of. The
// POI store is sorted by province, city, county, category and name (in that
// same area order), so the POIs of one county and category are one run of
// it, which the category record names.
bool DataCompiler::WriteAddressIndex(const std::string& dir)
{
    if (!Phase("writing the category index of the search by address"))
        return false;
    const auto& provinces = m_gazetteer.Provinces();
    const auto& cities = m_gazetteer.Cities();
    const auto& counties = m_gazetteer.Counties();
    const std::string path = dir + std::to_string(NdfFormat::kCategoryIndexFileId) + ".ndf";

    // Where each county's POIs start and end in the store.
    std::vector<std::size_t> begin(counties.size(), 0), end(counties.size(), 0);
    std::vector<bool> seen(counties.size(), false);
    for (std::size_t i = 0; i < m_pois.size();) {
        const auto county = static_cast<std::size_t>(m_pois[i].county);
        if (seen[county])
            return Fail(path + ": the POIs of a county are not one run of the store");
        seen[county] = true;
        begin[county] = i;
        while (i < m_pois.size() && static_cast<std::size_t>(m_pois[i].county) == county)
            ++i;
        end[county] = i;
    }

    CategoryIndexWriter writer;
    for (std::size_t p = 0; p < provinces.size(); ++p) {
        writer.AddProvince(m_gbkProvinces[p]);
        for (int c : provinces[p].cities) {
            writer.AddCity(m_gbkCities[static_cast<std::size_t>(c)]);
            for (int k : cities[static_cast<std::size_t>(c)].counties) {
                const auto county = static_cast<std::size_t>(k);
                writer.AddCounty(m_gbkCounties[county]);
                for (std::size_t i = begin[county]; i < end[county];) {
                    std::size_t j = i;
                    while (j < end[county] && m_pois[j].category == m_pois[i].category)
                        ++j;
                    if (!writer.AddCategory(m_pois[i].category, m_poiAddrs[i], static_cast<std::uint32_t>(j - i)))
                        return Fail(path + ": the categories of a county do not ascend in the store");
                    i = j;
                }
            }
        }
    }
    if (!writer.Write(path))
        return Fail(path + ": " + writer.GetError());
    return true;
}

} // namespace Kest
