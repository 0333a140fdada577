#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Base/NdfFormat.h"
#include "Base/ueglobal_addr_t.h"

namespace Kest {

// Writes the category index of the search by address (read by
// eNdfIndexCategory; docs/format.md, "Category index"): the areas level by
// level (province, city, county) and below each county its category records,
// each naming the run of that county's POIs of that category in the POI
// store. Areas keep the order added; the categories of a county must be
// added in ascending code.
class CategoryIndexWriter {
public:
    explicit CategoryIndexWriter(std::uint16_t fileId = NdfFormat::kCategoryIndexFileId,
                                 std::uint32_t targetPageSize = NdfFormat::kDefaultTargetPageSize);

    // A province; the cities added next are its own. Names are GBK.
    void AddProvince(std::string_view name);
    // A city of the last province; false when there is none.
    bool AddCity(std::string_view name);
    // A county of the last city; false when there is none.
    bool AddCounty(std::string_view name);
    // The run of `count` POIs of category `code` in the last county, from
    // `first`. False when there is no county, or the code does not ascend.
    bool AddCategory(std::uint32_t code, const ueglobal_addr_t& first, std::uint32_t count);

    // Writes the whole index to `path` (the file "<dir><fileId>.ndf").
    bool Write(const std::string& path);
    const std::string& GetError() const { return m_error; }

private:
    struct Category {
        std::uint32_t code;
        ueglobal_addr_t first;
        std::uint32_t count;
    };
    struct Area {
        std::string name;
        std::vector<Area> below;          // cities of a province, counties of a city
        std::vector<Category> categories; // of a county
    };

    std::uint16_t m_nFileId;
    std::uint32_t m_nTarget;
    std::vector<Area> m_provinces;
    std::string m_error;
};

} // namespace Kest
