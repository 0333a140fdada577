#include "Compiler/CategoryIndexWriter.h"

#include "Compiler/FeatureBlockEncoder.h"
#include "Compiler/PageFileWriter.h"

namespace Kest {

namespace {

using Record = PageFileWriter::Record;

struct Pair {
    ueglobal_addr_t addr{};
    unsigned int count = 0;
};

Record WithChild(Record record, const Pair& child)
{
    const auto block = FeatureBlockEncoder::Encode(child.addr, child.count, {}, 0);
    record.Set(1, block.data(), block.size());
    return record;
}

// Appends the records as one run; an empty run is the zero pair.
bool WriteRun(PageFileWriter& writer, const std::vector<Record>& run, Pair& pair)
{
    pair = Pair{};
    if (run.empty())
        return true;
    pair.count = static_cast<unsigned int>(run.size());
    return writer.AppendRun(run, pair.addr);
}

} // namespace

CategoryIndexWriter::CategoryIndexWriter(std::uint16_t fileId, std::uint32_t targetPageSize)
    : m_nFileId(fileId), m_nTarget(targetPageSize)
{
}

void CategoryIndexWriter::AddProvince(std::string_view name)
{
    m_provinces.push_back(Area{std::string(name), {}, {}});
}

bool CategoryIndexWriter::AddCity(std::string_view name)
{
    if (m_provinces.empty())
        return false;
    m_provinces.back().below.push_back(Area{std::string(name), {}, {}});
    return true;
}

bool CategoryIndexWriter::AddCounty(std::string_view name)
{
    if (m_provinces.empty() || m_provinces.back().below.empty())
        return false;
    m_provinces.back().below.back().below.push_back(Area{std::string(name), {}, {}});
    return true;
}

bool CategoryIndexWriter::AddCategory(std::uint32_t code, const ueglobal_addr_t& first, std::uint32_t count)
{
    if (m_provinces.empty() || m_provinces.back().below.empty() || m_provinces.back().below.back().below.empty())
        return false;
    std::vector<Category>& categories = m_provinces.back().below.back().below.back().categories;
    // The reader stops at the first code above the one it wants.
    if (!categories.empty() && categories.back().code >= code)
        return false;
    categories.push_back(Category{code, first, count});
    return true;
}

bool CategoryIndexWriter::Write(const std::string& path)
{
    PageFileWriter writer(m_nFileId, m_nTarget);
    if (!writer.Open(path)) {
        m_error = writer.GetError();
        return false;
    }
    auto fail = [&]() {
        m_error = writer.GetError();
        writer.Close();
        return false;
    };

    // Children first, so that every record can name the run below it; the
    // category runs of a city's counties lie next to the city's county run,
    // as one walk reads them.
    std::vector<Record> provinces;
    for (const Area& province : m_provinces) {
        std::vector<Record> cities;
        for (const Area& city : province.below) {
            std::vector<Record> counties;
            for (const Area& county : city.below) {
                std::vector<Record> categories;
                for (const Category& c : county.categories) {
                    Record r;
                    r.SetInt(0, c.code);
                    categories.push_back(WithChild(std::move(r), Pair{c.first, c.count}));
                }
                Pair run;
                if (!WriteRun(writer, categories, run))
                    return fail();
                Record r;
                r.SetText(0, county.name);
                counties.push_back(WithChild(std::move(r), run));
            }
            Pair run;
            if (!WriteRun(writer, counties, run))
                return fail();
            Record r;
            r.SetText(0, city.name);
            cities.push_back(WithChild(std::move(r), run));
        }
        Pair run;
        if (!WriteRun(writer, cities, run))
            return fail();
        Record r;
        r.SetText(0, province.name);
        provinces.push_back(WithChild(std::move(r), run));
    }
    Pair top;
    if (!WriteRun(writer, provinces, top))
        return fail();

    // The root record, at the start of a page: the provinces as its child.
    ueglobal_addr_t rootAddr{};
    if (!writer.AppendRun({WithChild(Record(), top)}, rootAddr, true))
        return fail();
    writer.SetIndexHeader(rootAddr, NdfFormat::kCategoryIndexDepth);
    if (!writer.Close()) {
        m_error = writer.GetError();
        return false;
    }
    return true;
}

} // namespace Kest
