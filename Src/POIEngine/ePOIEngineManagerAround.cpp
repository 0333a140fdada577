// The around and nearest searches of the engine.

#include "POIEngine/ePOIEngineManager.h"

#include <new>

#include "Base/NdfFormat.h"
#include "POIEngine/eNdfQueryAround.h"

namespace Kest {

namespace {
constexpr int kAroundKind = 4;
} // namespace

bool ePOIEngineManager::PrepareAround()
{
    m_nQueryType = kAroundKind;
    eString directory;
    directory.Format("%s/POI/", m_strPoiPath.Cstr());
    if (!PreparePool(directory))
        return false;
    if (m_pQueryAround == nullptr) {
        m_pQueryAround = new (std::nothrow) eNdfQueryAround;
        if (m_pQueryAround == nullptr)
            return false;
        // A grid that cannot be opened is dropped, so the next search tries
        // again.
        if (!m_pQueryAround->InitQueryAround(directory + NdfFormat::kAroundFileName)) {
            delete m_pQueryAround;
            m_pQueryAround = nullptr;
            return false;
        }
    }
    return true;
}

int ePOIEngineManager::QueryByAround(double x, double y, double radius, int type)
{
    BeginSearch();
    if (radius > eNdfQueryAround::kMaxRadius)
        return 0;
    if (!PrepareAround())
        return 0;
    eArray<ueglobal_addr_t> addrs;
    eArray<unsigned int> scores;
    if (m_pQueryAround->QueryByAround(addrs, scores, x, y, radius, type) < 1)
        return 0;
    return CreateRecordsetTabular(addrs, scores, m_pPool, eArray<eString>()) ? 1 : 0;
}

int ePOIEngineManager::QueryNearestPOI(double x, double y, int& maxDistance)
{
    BeginSearch();
    if (!PrepareAround())
        return 0;
    eArray<ueglobal_addr_t> addrs;
    if (!m_pQueryAround->QueryNearestPOI(addrs, maxDistance, x, y))
        return 0;
    // Each hit is one record.
    eArray<unsigned int> counts;
    counts.Append(1u, addrs.GetSize());
    return CreateRecordsetTabular(addrs, counts, m_pPool, eArray<eString>()) ? 1 : 0;
}

} // namespace Kest
