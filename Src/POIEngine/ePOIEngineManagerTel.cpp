#include "POIEngine/ePOIEngineManager.h"

#include <new>

#include "Base/NdfFormat.h"
#include "Ndf/eNdfPool.h"
#include "Ndf/eNdfRecordsetTabular.h"
#include "POIEngine/eNdfIndexTelTrie.h"

namespace Kest {

namespace {

// m_nQueryType of telephone hits.
constexpr int kTelKind = 2;

} // namespace

bool ePOIEngineManager::QueryByTelephone(const char* number, char*& nextDigits, int& nextDigitCount)
{
    BeginSearch();
    m_nQueryType = kTelKind;
    eString directory;
    directory.Format("%s/POI/Tel/", m_strPoiPath.Cstr());
    if (!PreparePool(directory))
        return false;
    if (m_pIndexTel == nullptr) {
        // The reader is kept before its file is opened: when the file is
        // missing or short, the reader stays without root or depth, so this
        // and every later call fail without trying the file again.
        m_pIndexTel = new (std::nothrow) eNdfIndexTelTrie;
        if (m_pIndexTel == nullptr)
            return false;
        if (OpenIndex(*m_pIndexTel, directory, NdfFormat::kTelIndexFileId) == kIndexFailed)
            return false;
    }
    // ReleaseQueryMem keeps this reader but frees the pool it was given.
    m_pIndexTel->SetPool(m_pPool);
    if (number == nullptr)
        return false;

    // The runs form of the query: the same hits in the same order and the
    // same next digits as the node-by-node walk, at a cost that does not
    // grow with the POIs below the prefix. When the walk would have given
    // exactly kFirstBatch entries, the walk itself runs, so that the result
    // list treats the list as cut (every letter offered) exactly as then.
    auto& index = static_cast<eNdfIndexTelTrie&>(*m_pIndexTel);
    eArray<ueglobal_addr_t> hits;
    eArray<unsigned int> counts;
    eArray<eString> next;
    unsigned int entries = 0;
    if (!index.QueryRuns(eString(number), hits, counts, next, entries))
        return false;
    if (entries == static_cast<unsigned int>(kFirstBatch)) {
        eArray<eString> keys;
        keys.Add(eString(number));
        if (!index.Query(keys, hits, counts, next))
            return false;
    }
    if (!CreateRecordsetTabular(hits, counts, m_pPool, next))
        return false;

    // Exactly one byte per digit and no terminator: the count is the length.
    nextDigits = CopyNextLetters(nextDigitCount, false);
    return nextDigits != nullptr;
}

} // namespace Kest
