#include "Compiler/InitialIndexWriter.h"

#include <map>
#include <memory>

#include "Compiler/FeatureBlockEncoder.h"
#include "Compiler/PageFileWriter.h"
#include "POIEngine/PinyinHelpers.h"
#include "POIEngine/eNdfIndexInitial.h"

namespace Kest {

namespace {

PageFileWriter::Record BlockRecord(unsigned char letter, const ueglobal_addr_t& child, std::uint32_t childCount,
                                   const ueglobal_addr_t& leaf, std::uint32_t leafCount)
{
    PageFileWriter::Record record;
    const std::vector<unsigned char> block = FeatureBlockEncoder::Encode(child, childCount, leaf, leafCount);
    record.Set(0, &letter, 1).Set(1, block.data(), block.size());
    return record;
}

} // namespace

InitialIndexWriter::InitialIndexWriter(std::uint16_t fileId, int depth, bool deeperCounts,
                                       std::uint32_t targetPageSize)
    : m_nFileId(fileId), m_nDepth(depth), m_bDeeperCounts(deeperCounts), m_nTarget(targetPageSize)
{
}

bool InitialIndexWriter::AddPoi(std::string_view province, std::string_view city, std::string_view name,
                                const ueglobal_addr_t& poi)
{
    // The initials as the reader folds the query: GetPYInitials ends at the
    // first character without an initial.
    const std::string text(name);
    std::unique_ptr<char[]> raw(GetPYInitials(text.c_str()));
    std::string initials;
    for (const char* p = raw.get(); p != nullptr && *p != 0 && static_cast<int>(initials.size()) < m_nDepth; ++p)
        initials += static_cast<char>(eNdfIndexInitial::FoldLetter(static_cast<unsigned char>(*p)));
    if (initials.empty())
        return false;

    const std::string provinceName(province), cityName(city);
    auto p = m_provinceIndex.find(provinceName);
    if (p == m_provinceIndex.end()) {
        p = m_provinceIndex.emplace(provinceName, m_provinces.size()).first;
        m_provinces.push_back(Province{provinceName, {}, {}});
    }
    Province& target = m_provinces[p->second];
    auto c = target.cityIndex.find(cityName);
    if (c == target.cityIndex.end()) {
        c = target.cityIndex.emplace(cityName, target.cities.size()).first;
        target.cities.push_back(City{cityName, {}});
    }
    target.cities[c->second].rows.push_back(Row{initials, poi});
    return true;
}

bool InitialIndexWriter::WriteNode(PageFileWriter& out, const City& city, const std::vector<std::size_t>& members,
                                   std::size_t depth, ueglobal_addr_t& first, std::uint32_t& count)
{
    first = ueglobal_addr_t{};
    count = 0;
    // The rows by their next letter, ordered as the reader scans: the folded
    // byte taken as signed 8-bit, ascending. Each list keeps the order added.
    std::map<signed char, std::vector<std::size_t>> byLetter;
    for (std::size_t row : members)
        byLetter[static_cast<signed char>(city.rows[row].initials[depth])].push_back(row);
    if (byLetter.empty())
        return true;

    // Children first: a letter record names its child node's pair.
    std::vector<PageFileWriter::Record> run;
    for (const auto& [letter, rows] : byLetter) {
        std::vector<std::size_t> ending, deeper;
        for (std::size_t row : rows)
            (city.rows[row].initials.size() == depth + 1 ? ending : deeper).push_back(row);
        ueglobal_addr_t child{};
        std::uint32_t childCount = 0;
        if (!WriteNode(out, city, deeper, depth + 1, child, childCount))
            return false;

        // One record per POI that ends here (at least one): the first names
        // the child and the first leaf with the number of leaves, each later
        // one its leaf with the number still to come.
        const unsigned char byte = static_cast<unsigned char>(letter);
        const std::uint32_t k = static_cast<std::uint32_t>(ending.size());
        const ueglobal_addr_t none{};
        run.push_back(BlockRecord(byte, child, childCount, k > 0 ? city.rows[ending[0]].poi : none, k));
        for (std::uint32_t j = 1; j < k; ++j)
            run.push_back(BlockRecord(byte, none, 0, city.rows[ending[j]].poi, k - j));
        if (m_bDeeperCounts && !deeper.empty())
            run.back().SetInt(2, static_cast<std::uint32_t>(deeper.size()));
    }
    if (!out.AppendRun(run, first)) {
        m_error = out.GetError();
        return false;
    }
    count = static_cast<std::uint32_t>(run.size());
    return true;
}

bool InitialIndexWriter::Write(const std::string& path)
{
    PageFileWriter out(m_nFileId, m_nTarget);
    if (!out.Open(path)) {
        m_error = out.GetError();
        return false;
    }
    // Bottom-up: each city's trie, then the cities of a province, then the
    // provinces, then the root record.
    std::vector<PageFileWriter::Record> provinces;
    for (const Province& province : m_provinces) {
        std::vector<PageFileWriter::Record> cities;
        for (const City& city : province.cities) {
            std::vector<std::size_t> all(city.rows.size());
            for (std::size_t i = 0; i < all.size(); ++i)
                all[i] = i;
            ueglobal_addr_t letters{};
            std::uint32_t letterCount = 0;
            if (!WriteNode(out, city, all, 0, letters, letterCount))
                return false;
            PageFileWriter::Record record;
            record.SetText(0, city.name).SetInt(1, letterCount).SetAddr(2, letters);
            cities.push_back(record);
        }
        ueglobal_addr_t firstCity{};
        if (!out.AppendRun(cities, firstCity)) {
            m_error = out.GetError();
            return false;
        }
        PageFileWriter::Record record;
        record.SetText(0, province.name)
            .SetInt(1, static_cast<std::uint32_t>(cities.size()))
            .SetAddr(2, firstCity);
        provinces.push_back(record);
    }
    ueglobal_addr_t firstProvince{};
    if (!out.AppendRun(provinces, firstProvince)) {
        m_error = out.GetError();
        return false;
    }
    const ueglobal_addr_t none{};
    const std::uint32_t provinceCount = static_cast<std::uint32_t>(provinces.size());
    const std::vector<unsigned char> block =
        FeatureBlockEncoder::Encode(provinceCount > 0 ? firstProvince : none, provinceCount, none, 0);
    PageFileWriter::Record root;
    root.Set(1, block.data(), block.size());
    ueglobal_addr_t rootAddr{};
    if (!out.AppendRun({root}, rootAddr, true)) {
        m_error = out.GetError();
        return false;
    }
    out.SetIndexHeader(rootAddr, m_nDepth);
    if (!out.Close()) {
        m_error = out.GetError();
        return false;
    }
    return true;
}

} // namespace Kest
