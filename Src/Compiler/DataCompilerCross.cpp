// The crossroad step of the data compiler: "POI/CrossRoad/" with its own
// record store, the word dictionary, and per data set the full-text index
// (300 + n) and the pinyin-initial index of the first form (400 + n).

#include "Compiler/DataCompiler.h"

#include <algorithm>
#include <filesystem>
#include <tuple>

#include "Base/NdfFormat.h"
#include "Compiler/CrossroadName.h"
#include "Compiler/InitialIndexWriter.h"
#include "Compiler/PoiStoreWriter.h"
#include "Compiler/SegFullTextIndexWriter.h"
#include "POIEngine/eDictionary.h"

namespace Kest {
namespace fs = std::filesystem;

// Each crossroad is one record of the store and is indexed under both
// orders of its two roads (CrossroadName): two entries in each index, one
// when its name is not split. Districts are the province and the city, as in
// the POI indexes. Every data set gets both files, even one without
// crossroads (whose searches then find no district and fail).
bool DataCompiler::WriteCrossroads(const std::string& dir)
{
    if (!Phase("writing the crossroads (" + std::to_string(m_crossroads.size()) + ")"))
        return false;
    const std::string crossDir = dir + "CrossRoad/";
    std::error_code ec;
    fs::create_directories(crossDir, ec);
    if (ec)
        return Fail("cannot create '" + crossDir + "': " + ec.message());

    // Province, city and county in gazetteer order, then name; the rest only
    // makes the order total.
    const auto& provinces = m_gazetteer.Provinces();
    const auto& cities = m_gazetteer.Cities();
    const auto& counties = m_gazetteer.Counties();
    auto cityOf = [&](const SourceRow& r) -> const Gazetteer::City& {
        return cities[static_cast<std::size_t>(counties[static_cast<std::size_t>(r.county)].city)];
    };
    auto key = [&](const SourceRow& r) {
        const Gazetteer::City& city = cityOf(r);
        return std::make_tuple(city.province, city.code, counties[static_cast<std::size_t>(r.county)].number,
                               std::cref(r.name), r.lon, r.lat, r.line);
    };
    std::sort(m_crossroads.begin(), m_crossroads.end(),
              [&](const SourceRow& a, const SourceRow& b) { return key(a) < key(b); });

    PoiStoreWriter store(NdfFormat::kPoiStoreFileId);
    const std::string storePath = crossDir + std::to_string(NdfFormat::kPoiStoreFileId) + ".ndf";
    if (!store.Open(storePath))
        return Fail(storePath + ": " + store.GetError());
    std::vector<ueglobal_addr_t> addrs(m_crossroads.size());
    for (std::size_t i = 0; i < m_crossroads.size(); ++i) {
        const SourceRow& r = m_crossroads[i];
        PoiStoreRecord record;
        record.name = r.name;
        record.lon = r.lon;
        record.lat = r.lat;
        record.area = counties[static_cast<std::size_t>(r.county)].number;
        if (!store.Add(record, addrs[i]))
            return Fail(storePath + ": " + store.GetError());
    }
    if (!store.Close())
        return Fail(storePath + ": " + store.GetError());
    m_summary.crossroads = m_crossroads.size();

    // The text search loads the dictionary of its own directory unless one
    // is loaded already, so both directories hold the same bytes: the keys
    // agree whichever was loaded first.
    const std::string dictPath = crossDir + "CoreDict.dct";
    fs::copy_file(dir + "CoreDict.dct", dictPath, fs::copy_options::overwrite_existing, ec);
    if (ec)
        return Fail("cannot write '" + dictPath + "': " + ec.message());
    eDictionary& dict = eDictionary::GetInstance();
    dict.UnLoad();
    if (!dict.Load(dictPath.c_str(), false))
        return Fail(dictPath + ": cannot be read back");

    bool ok = true;
    std::size_t next = 0; // the store is sorted by province: each province is one run
    for (std::size_t p = 0; p < provinces.size() && ok; ++p) {
        if (Cancelled()) {
            ok = Fail("interrupted");
            break;
        }
        const int dataSet = provinces[p].dataSet;
        InitialIndexWriter initial(static_cast<std::uint16_t>(NdfFormat::kCrossInitialFileBase + dataSet));
        SegFullTextIndexWriter text(static_cast<std::uint16_t>(NdfFormat::kCrossTextFileBase + dataSet));
        for (; next < m_crossroads.size() && static_cast<std::size_t>(cityOf(m_crossroads[next]).province) == p;
             ++next) {
            const SourceRow& r = m_crossroads[next];
            const std::string& city =
                m_gbkCities[static_cast<std::size_t>(counties[static_cast<std::size_t>(r.county)].city)];
            const CrossroadName name(r.name);
            m_summary.crossroadsSplit += name.IsSplit();
            // The writer reads initials off a name: upper-case ASCII letters
            // and digits stand for themselves, so the keys go in as names.
            for (const std::string& initials : name.InitialKeys(NdfFormat::kInitialDefaultDepth))
                initial.AddPoi(m_gbkProvinces[p], city, initials, addrs[next]);
            for (const std::string& form : name.TextForms())
                text.AddPoi(m_gbkProvinces[p], city, form, addrs[next]);
        }
        const std::string initialPath =
            crossDir + std::to_string(NdfFormat::kCrossInitialFileBase + dataSet) + ".ndf";
        const std::string textPath = crossDir + std::to_string(NdfFormat::kCrossTextFileBase + dataSet) + ".ndf";
        if (!initial.Write(initialPath))
            ok = Fail(initialPath + ": " + initial.GetError());
        else if (!text.Write(textPath))
            ok = Fail(textPath + ": " + text.GetError());
    }
    dict.UnLoad();
    return ok;
}

} // namespace Kest
