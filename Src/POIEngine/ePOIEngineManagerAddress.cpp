// The search by address: POIs by province, city, county and category through
// the category index "P/POI/100.ndf".

#include "POIEngine/ePOIEngineManager.h"

#include <new>

#include "POIEngine/eNdfIndexCategory.h"

namespace Kest {

namespace {

// m_nQueryType of the hits of this search.
constexpr int kAddressKind = 3;

} // namespace

bool ePOIEngineManager::QueryByAddress(int level, const char* province, const char* city, const char* county,
                                       const char* category)
{
    // A level out of range changes nothing, the query kind included.
    if (level < 1 || level > 4)
        return false;
    BeginSearch();
    eString directory;
    directory.Format("%s/POI/", m_strPoiPath.Cstr());
    // Set before anything can fail, so a failed search still leaves its kind.
    m_nQueryType = kAddressKind;
    if (!PreparePool(directory))
        return false;
    if (m_pIndexAddress == nullptr) {
        // The reader is kept at once and its file read only now: when that
        // fails, the unconfigured reader stays, later searches fail on it
        // and the file is not tried again until ReleaseQueryMem drops it.
        m_pIndexAddress = new (std::nothrow) eNdfIndexCategory;
        if (m_pIndexAddress == nullptr)
            return false;
        if (OpenIndex(*m_pIndexAddress, directory, NdfFormat::kCategoryIndexFileId) == kIndexFailed)
            return false;
    }

    // Always four keys, passed as given (no folding): empty ones stay empty.
    eArray<eString> keys;
    keys.Add(eString(province != nullptr ? province : ""));
    keys.Add(eString(city != nullptr ? city : ""));
    keys.Add(eString(county != nullptr ? county : ""));
    keys.Add(eString(category != nullptr ? category : ""));
    eArray<ueglobal_addr_t> hits;
    eArray<unsigned int> counts;
    eArray<eString> names;
    if (!m_pIndexAddress->Query(keys, hits, counts, names))
        return false;
    if (!CreateRecordsetTabular(hits, counts, m_pPool, names))
        return false;
    // Only a search that succeeded decides how GetPOIInfo reads its hits.
    m_nAddressLevel = level;
    return true;
}

} // namespace Kest
