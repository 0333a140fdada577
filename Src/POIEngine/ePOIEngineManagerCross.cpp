// The crossroad searches of the engine: by the pinyin initials of road names
// and by road-name text, each with its own reader over the numbered files of
// "P/POI/CrossRoad/".

#include "POIEngine/ePOIEngineManager.h"

#include <cstdio>
#include <cstring>
#include <new>

#include "Ndf/NdfBytes.h"
#include "Ndf/eNdfPool.h"
#include "Ndf/eNdfRecordsetTabular.h"
#include "POIEngine/eNdfIndexInitial.h"
#include "POIEngine/eNdfIndexSegFullText.h"

namespace Kest {

namespace {

// The kinds of hits the crossroad searches leave (m_nQueryType).
constexpr int kPinyinKind = 0;
constexpr int kTextKind = 1;

} // namespace

void ePOIEngineManager::CrossKeys(int nMode, const char* szFirst, const char* szSecond, const char* szThird,
                                  eArray<eString>& keys)
{
    // Deliberately only mode 0 and 1 are told apart from the rest: 2, 3 and
    // any negative mode all pass the three keys (the callers' test is a
    // signed "greater than 3" alone).
    keys.RemoveAll();
    if (nMode == 0)
        return;
    keys.Add(eString(szFirst != nullptr ? szFirst : ""));
    if (nMode == 1)
        return;
    keys.Add(eString(szSecond != nullptr ? szSecond : ""));
    keys.Add(eString(szThird != nullptr ? szThird : ""));
}

bool ePOIEngineManager::QueryCrossRoadByPY(int nMode, int nFileNo, const char* szFirst, const char* szSecond,
                                           const char* szThird, char*& szNextLetters, int& nNextCount)
{
    BeginSearch();
    if (nMode > 3)
        return false;
    m_nQueryType = kPinyinKind;
    eString directory;
    directory.Format("%s/POI/CrossRoad/", m_strPoiPath.Cstr());
    if (!PreparePool(directory))
        return false;
    if (m_pIndexCrossPY == nullptr) {
        m_pIndexCrossPY = new (std::nothrow) eNdfIndexInitial;
        if (m_pIndexCrossPY == nullptr)
            return false;
    }
    m_pCurPYIndex = m_pIndexCrossPY;
    // Deliberately compared with the caller's number without the 400 added:
    // the file's own id is 400 + nFileNo, so in practice the header is read
    // again on every call. A kept reader is given the current pool either
    // way (ReleaseQueryMem frees the pool but keeps this reader).
    if (m_pIndexCrossPY->GetCurrentFid() != nFileNo) {
        if (!ReadIndexHeader(*m_pIndexCrossPY, directory, nFileNo + kCrossInitialFileBase))
            return false;
    } else {
        m_pIndexCrossPY->SetPool(m_pPool);
    }

    eArray<eString> keys;
    CrossKeys(nMode, szFirst, szSecond, szThird, keys);
    eArray<ueglobal_addr_t> hits;
    eArray<unsigned int> counts;
    eArray<eString> next;
    if (!m_pIndexCrossPY->Query(keys, hits, counts, next))
        return false;
    // The first batch: the rest is paged in from the reader (GetPOIInfo).
    if (hits.GetSize() > kFirstBatch) {
        hits.SetSize(kFirstBatch);
        counts.SetSize(kFirstBatch);
    }
    if (!CreateRecordsetTabular(hits, counts, m_pPool, next))
        return false;

    szNextLetters = CopyNextLetters(nNextCount, true);
    return szNextLetters != nullptr;
}

bool ePOIEngineManager::QueryCrossRoadByText(int nMode, int nFileNo, const char* szFirst, const char* szSecond,
                                             const char* szThird)
{
    BeginSearch();
    if (nMode > 3)
        return false;
    m_nQueryType = kTextKind;
    eString directory;
    directory.Format("%s/POI/CrossRoad/", m_strPoiPath.Cstr());
    if (!PreparePool(directory))
        return false;
    if (m_pIndexCrossText == nullptr) {
        m_pIndexCrossText = new (std::nothrow) eNdfIndexSegFullText;
        if (m_pIndexCrossText == nullptr)
            return false;
    }
    // The header is read on every call, so the reader always has the
    // current pool too.
    if (!ReadIndexHeader(*m_pIndexCrossText, directory, nFileNo + kCrossTextFileBase))
        return false;

    eArray<eString> keys;
    CrossKeys(nMode, szFirst, szSecond, szThird, keys);
    eArray<ueglobal_addr_t> hits;
    eArray<unsigned int> counts;
    eArray<eString> names;
    if (!m_pIndexCrossText->Query(keys, hits, counts, names))
        return false;
    if (hits.GetSize() > kFirstBatch) {
        hits.SetSize(kFirstBatch);
        counts.SetSize(kFirstBatch);
    }
    return CreateRecordsetTabular(hits, counts, m_pPool, names);
}

} // namespace Kest
