#include "Compiler/InitialIndexWriter.h"

#include <map>
#include <memory>

#include "Compiler/FeatureBlockEncoder.h"
#include "Compiler/NameInitials.h"
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
    std::vector<std::string> keys;
    if (m_bVariants) {
        // Variants differ in their first letter, so no prefix reaches two of
        // them and no answer holds the POI twice.
        keys = NameInitials::Variants(name, m_nDepth);
    } else {
        // The initials as the reader folds the query: GetPYInitials ends at
        // the first character without an initial.
        const std::string text(name);
        std::unique_ptr<char[]> raw(GetPYInitials(text.c_str()));
        std::string initials;
        for (const char* p = raw.get(); p != nullptr && *p != 0 && static_cast<int>(initials.size()) < m_nDepth; ++p)
            initials += static_cast<char>(eNdfIndexInitial::FoldLetter(static_cast<unsigned char>(*p)));
        if (!initials.empty())
            keys.push_back(initials);
    }
    if (keys.empty())
        return false;

    const std::string provinceName(m_bLettersOnly ? std::string_view() : province);
    const std::string cityName(m_bLettersOnly ? std::string_view() : city);
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
    for (const std::string& key : keys)
        target.cities[c->second].rows.push_back(Row{key, poi});
    return true;
}

bool InitialIndexWriter::WriteNode(PageFileWriter& out, const City& city, const std::vector<std::size_t>& members,
                                   const std::vector<std::size_t>& hidden, std::size_t depth, ueglobal_addr_t& first,
                                   std::uint32_t& count)
{
    first = ueglobal_addr_t{};
    count = 0;
    // The rows by their next letter, ordered as the reader scans: the folded
    // byte taken as signed 8-bit, ascending. Each list keeps the order added.
    std::map<signed char, std::vector<std::size_t>> byLetter;
    for (std::size_t row : members)
        byLetter[static_cast<signed char>(city.rows[row].initials[depth])].push_back(row);
    if (byLetter.empty() && hidden.empty())
        return true;

    // One record per POI that ends at the letter (at least one): the first
    // names the child and the first leaf with the number of leaves, each later
    // one its leaf with the number still to come.
    std::vector<PageFileWriter::Record> run;
    const ueglobal_addr_t none{};
    auto addLetter = [&](unsigned char byte, const ueglobal_addr_t& child, std::uint32_t childCount,
                         const std::vector<std::size_t>& ending, std::size_t below) {
        const std::uint32_t k = static_cast<std::uint32_t>(ending.size());
        run.push_back(BlockRecord(byte, child, childCount, k > 0 ? city.rows[ending[0]].poi : none, k));
        for (std::uint32_t j = 1; j < k; ++j)
            run.push_back(BlockRecord(byte, none, 0, city.rows[ending[j]].poi, k - j));
        if (m_bDeeperCounts && below > 0)
            run.back().SetInt(2, static_cast<std::uint32_t>(below));
    };
    // POIs that end at this node's prefix beyond those its letter lists
    // follow the records of the first letter, under that letter; with no
    // letter, under the hidden one.
    if (byLetter.empty())
        addLetter(static_cast<unsigned char>(NdfFormat::kInitialHiddenLetter), none, 0, hidden, 0);
    for (const auto& [letter, rows] : byLetter) {
        std::vector<std::size_t> ending, deeper;
        for (std::size_t row : rows)
            (city.rows[row].initials.size() == depth + 1 ? ending : deeper).push_back(row);
        std::vector<std::size_t> beyond;
        const std::size_t listed = deeper.empty() ? kMaxDirect : kMaxDirect - 1;
        if (ending.size() > listed) {
            beyond.assign(ending.begin() + static_cast<std::ptrdiff_t>(listed), ending.end());
            ending.resize(listed);
        }
        // Children first: a letter record names its child node's pair.
        ueglobal_addr_t child{};
        std::uint32_t childCount = 0;
        if (!WriteNode(out, city, deeper, beyond, depth + 1, child, childCount))
            return false;
        addLetter(static_cast<unsigned char>(letter), child, childCount, ending, deeper.size() + beyond.size());
        if (!hidden.empty() && run.size() > 0 && letter == byLetter.begin()->first)
            addLetter(static_cast<unsigned char>(letter), none, 0, hidden, 0);
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
    const ueglobal_addr_t none{};
    auto writeRoot = [&](const ueglobal_addr_t& child, std::uint32_t childCount) {
        const std::vector<unsigned char> block =
            FeatureBlockEncoder::Encode(childCount > 0 ? child : none, childCount, none, 0);
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
    };
    auto allRows = [](const City& city) {
        std::vector<std::size_t> all(city.rows.size());
        for (std::size_t i = 0; i < all.size(); ++i)
            all[i] = i;
        return all;
    };
    if (m_bLettersOnly) {
        // The root names the letter trie itself.
        ueglobal_addr_t letters{};
        std::uint32_t letterCount = 0;
        if (!m_provinces.empty() &&
            !WriteNode(out, m_provinces[0].cities[0], allRows(m_provinces[0].cities[0]), {}, 0, letters, letterCount))
            return false;
        return writeRoot(letters, letterCount);
    }

    // Bottom-up: each city's trie, then the cities of a province, then the
    // provinces, then the root record.
    std::vector<PageFileWriter::Record> provinces;
    for (const Province& province : m_provinces) {
        std::vector<PageFileWriter::Record> cities;
        for (const City& city : province.cities) {
            ueglobal_addr_t letters{};
            std::uint32_t letterCount = 0;
            if (!WriteNode(out, city, allRows(city), {}, 0, letters, letterCount))
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
    return writeRoot(firstProvince, static_cast<std::uint32_t>(provinces.size()));
}

} // namespace Kest
