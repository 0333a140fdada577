#include "POIEngine/ePOIEngineManager.h"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <vector>

#include "Base/ContainerType.h"
#include "Ndf/NdfBytes.h"
#include "Ndf/eNdfPool.h"
#include "Ndf/eNdfRecordsetTabular.h"
#include "POIEngine/PinyinHelpers.h"
#include "POIEngine/eDictionary.h"
#include "POIEngine/eNdfIndexInitial2.h"
#include "POIEngine/eNdfIndexSegFullText.h"
#include "POIEngine/eNdfQueryAround.h"
#include "POIEngine/ePOIEngineContainer.h"

namespace Kest {

namespace {

// Record columns of the POI store.
enum PoiColumn { kColName = 0, kColLon = 1, kColLat = 2, kColCode = 3, kColArea = 4 };

// The kinds of hits the engine can hold (m_nQueryType).
enum QueryKind { kPinyinKind = 0, kTextKind = 1, kTelKind = 2, kAddressKind = 3, kAroundKind = 4, kNoKind = 5 };

// The record set's page and element lists of a hit list.
void SplitHits(const eArray<ueglobal_addr_t>& hits, eArray<ueaddr_t>& pids, eArray<unsigned short>& eids)
{
    pids.SetSize(hits.GetSize());
    eids.SetSize(hits.GetSize());
    for (int i = 0; i < hits.GetSize(); ++i) {
        GetPid(pids[i], hits[i]);
        eids[i] = GetEid(hits[i]);
    }
}

bool IsStore(int nType)
{
    return nType == CONTAINER_FAVORITE || nType == CONTAINER_HISTORY;
}

} // namespace

ePOIEngineManager::ePOIEngineManager() : m_pContainer(new ePOIEngineContainer) {}

ePOIEngineManager::~ePOIEngineManager()
{
    // m_pCurPYIndex repeats one of the index members, so it is not deleted
    // through itself: every object is destroyed exactly once.
    delete m_pPool;
    delete m_pRecordset;
    delete m_pIndexInitial;
    delete m_pIndexFullText;
    delete m_pIndexSightPY;
    delete m_pIndexSightText;
    delete m_pIndexTel;
    delete m_pIndexCrossText;
    delete m_pIndexCrossPY;
    delete m_pIndexAddress;
    delete m_pIndexPlaceText;
    delete m_pIndexPlacePY;
    delete m_pQueryAround;
    delete m_pContainer;
    delete[] m_pNextLetters;
    for (int i = 0; m_ppTypeList != nullptr && i < m_nTypeCount; ++i)
        delete[] m_ppTypeList[i];
    delete[] m_ppTypeList;
}

void ePOIEngineManager::SetPoiPath(const char* path)
{
    m_strPoiPath = path != nullptr ? path : "";
    m_pContainer->SetDataPath(m_strPoiPath);
    m_AdminIndex.SetFilePath(m_strPoiPath + "/POI/AdminIndex.ndf");
}

void ePOIEngineManager::ReleaseQueryMem()
{
    eDictionary::GetInstance().UnLoad();
    delete m_pPool;
    m_pPool = nullptr;
    delete m_pRecordset;
    m_pRecordset = nullptr;
    delete m_pIndexInitial;
    m_pIndexInitial = nullptr;
    delete m_pIndexFullText;
    m_pIndexFullText = nullptr;
    delete m_pQueryAround;
    m_pQueryAround = nullptr;
    delete m_pIndexAddress;
    m_pIndexAddress = nullptr;
    delete m_pIndexSightPY;
    m_pIndexSightPY = nullptr;
    delete m_pIndexSightText;
    m_pIndexSightText = nullptr;
    m_pCurPYIndex = nullptr;
    delete[] m_pNextLetters;
    m_pNextLetters = nullptr;
    for (int i = 0; m_ppTypeList != nullptr && i < m_nTypeCount; ++i)
        delete[] m_ppTypeList[i];
    delete[] m_ppTypeList;
    m_ppTypeList = nullptr;
    m_nTypeCount = 0;
}

void ePOIEngineManager::BeginSearch()
{
    if (m_pPool != nullptr)
        m_pPool->ClearDamage();
}

eString ePOIEngineManager::GetLastDamage() const
{
    // The pool names the first bad page of this search. The area index is
    // read once, so its damage stays until the path is set again.
    if (m_pPool != nullptr && !m_pPool->GetDamage().IsEmpty()) {
        // The pool reads one directory below the data path at a time ("P/POI/",
        // "P/POI/Sight/", "P/POI/CrossRoad/"): the damage is named below the
        // data path, with that directory.
        const eString base = m_strPoiPath + "/";
        const eString& dir = m_pPool->GetDataPath();
        if (dir.GetLength() >= base.GetLength() && std::strncmp(dir.Cstr(), base.Cstr(), static_cast<std::size_t>(base.GetLength())) == 0)
            return dir.Mid(base.GetLength()) + m_pPool->GetDamage();
        return eString("POI/") + m_pPool->GetDamage();
    }
    if (m_AdminIndex.IsDamaged())
        return eString("POI/AdminIndex.ndf");
    return eString();
}

bool ePOIEngineManager::PreparePool(const eString& directory)
{
    if (m_pPool == nullptr) {
        m_pPool = new (std::nothrow) eNdfPool;
        if (m_pPool == nullptr)
            return false;
        m_pPool->SetSize(kPoolSize);
    }
    m_pPool->SetDataPath(directory);
    return true;
}

int ePOIEngineManager::OpenIndex(eNdfIndex& index, const eString& directory, int fileNumber)
{
    // The header is read only when the file changes; otherwise the reader
    // goes on as it stands, caches included. A reader that ReleaseQueryMem
    // keeps still holds the freed pool: it always gets the current one.
    if (index.GetCurrentFid() == static_cast<unsigned short>(fileNumber)) {
        index.SetPool(m_pPool);
        return kIndexUnchanged;
    }
    return ReadIndexHeader(index, directory, fileNumber) ? kIndexReopened : kIndexFailed;
}

bool ePOIEngineManager::ReadIndexHeader(eNdfIndex& index, const eString& directory, int fileNumber)
{
    eString file;
    file.Format("%s%d.ndf", directory.Cstr(), fileNumber);
    std::FILE* fp = std::fopen(file.Cstr(), "rb");
    if (fp == nullptr)
        return false;
    unsigned char root[sizeof(ueglobal_addr_t)];
    unsigned char depth[4];
    const bool ok =
        std::fread(root, 1, sizeof root, fp) == sizeof root && std::fread(depth, 1, sizeof depth, fp) == sizeof depth;
    std::fclose(fp);
    if (!ok)
        return false;
    ueglobal_addr_t gid;
    std::memcpy(&gid, root, sizeof gid);
    index.SetGID(gid);
    index.SetDepth(static_cast<int>(NdfBytes::Get32(depth)));
    index.SetDataPath(directory);
    // Also for a reader ReleaseQueryMem keeps: it frees the pool they read
    // through.
    index.SetPool(m_pPool);
    return true;
}

// ---- The result list ----

bool ePOIEngineManager::CreateRecordsetTabular(const eArray<ueglobal_addr_t>& hits, const eArray<unsigned int>& counts,
                                               eNdfPool* pool, const eArray<eString>& keys)
{
    if (m_pRecordset == nullptr) {
        m_pRecordset = new (std::nothrow) eNdfRecordsetTabular;
        if (m_pRecordset == nullptr)
            return false;
    }
    m_pRecordset->SetPool(pool);
    eArray<ueaddr_t> pids;
    eArray<unsigned short> eids;
    SplitHits(hits, pids, eids);
    m_pRecordset->SetPIDs(pids);
    m_pRecordset->SetEIDs(eids);
    m_pRecordset->SetEIDCounts(counts);
    m_pRecordset->SetKey(keys);
    // A list of exactly the first batch's size is taken to be cut, so its
    // true next letters are unknown and every letter is offered. The test is
    // for equality on purpose: an uncut list of that size is treated alike.
    if (hits.GetSize() == kFirstBatch) {
        eArray<eString> alphabet;
        for (char c = 'a'; c <= 'z'; ++c) {
            const char letter[2] = {c, '\0'};
            alphabet.Add(eString(letter));
        }
        m_pRecordset->SetKey(alphabet);
    }
    return true;
}

bool ePOIEngineManager::AppendRecordsetTabular(const eArray<ueglobal_addr_t>& hits,
                                               const eArray<unsigned int>& counts)
{
    if (m_pRecordset == nullptr)
        return false;
    eArray<ueaddr_t> pids;
    eArray<unsigned short> eids;
    SplitHits(hits, pids, eids);
    m_pRecordset->AppendPIDs(pids);
    m_pRecordset->AppendEIDs(eids);
    m_pRecordset->AppendEIDCounts(counts);
    return true;
}

int ePOIEngineManager::GetPOICount(int nType)
{
    if (IsStore(nType))
        return m_pContainer->GetPOICount(static_cast<ContainerType>(nType));
    if (m_nQueryType == kPinyinKind)
        return m_pCurPYIndex != nullptr ? m_pCurPYIndex->GetQueryedCount() : -1;
    if (m_nQueryType == kNoKind || m_pRecordset == nullptr)
        return -1;
    return m_pRecordset->GetRecordCount();
}

bool ePOIEngineManager::GetPOIInfo(int nType, int nIndex, ePoiInfo& info)
{
    if (IsStore(nType))
        return m_pContainer->GetPOIInfo(static_cast<ContainerType>(nType), nIndex, info);
    if (nIndex < 0 || nIndex >= GetPOICount(nType) || m_pRecordset == nullptr)
        return false;

    // Paging: hits of a pinyin query beyond the record set are fetched from
    // the index, exactly as many as reach nIndex but at least kPageStep.
    const int loaded = m_pRecordset->GetRecordCount();
    if (m_nQueryType == kPinyinKind && nIndex >= loaded && m_pCurPYIndex != nullptr &&
        m_pCurPYIndex->GetQueryedCount() > loaded) {
        const int wanted = nIndex - loaded + 1 < kPageStep ? kPageStep : nIndex - loaded + 1;
        eArray<ueglobal_addr_t> hits;
        eArray<unsigned int> counts;
        if (m_pCurPYIndex->GetNextResult(wanted, hits, counts) <= 0 || hits.GetSize() == 0)
            return false;
        AppendRecordsetTabular(hits, counts);
    }
    if (!m_pRecordset->MoveTo(nIndex))
        return false;

    eString name;
    m_pRecordset->GetFieldValue(kColName, name);
    double dX = 0.0;
    double dY = 0.0;
    int nCode = 0;
    eString area;
    if (!(m_nQueryType == kAddressKind && m_nAddressLevel < 3)) {
        unsigned char* value = nullptr;
        int length = m_pRecordset->GetFieldValue(kColLon, value);
        dX = PoiCoordinateFromField(value, length);
        length = m_pRecordset->GetFieldValue(kColLat, value);
        dY = PoiCoordinateFromField(value, length);
        if (m_pRecordset->GetFieldValue(kColCode, value) == 4)
            nCode = static_cast<int>(NdfBytes::Get32(value));
        if (m_pRecordset->GetFieldValue(kColArea, value) == 2)
            m_AdminIndex.GetAdminInfo(NdfBytes::Get16(value), area);
    }

    // The name is copied at its full length without a terminator (the store
    // keeps names below the field's size); nUserData is left as it was.
    const int nameLength = name.GetLength() < static_cast<int>(sizeof info.szName)
                               ? name.GetLength()
                               : static_cast<int>(sizeof info.szName);
    std::memcpy(info.szName, name.Cstr(), static_cast<std::size_t>(nameLength));
    info.dX = dX;
    info.dY = dY;
    PoiSetAreaName(info, area.Cstr(), area.GetLength());
    info.nCode = nCode;
    return true;
}

void ePOIEngineManager::KeepHits(const eArray<ueglobal_addr_t>& kept)
{
    eArray<ueaddr_t> pids;
    eArray<unsigned short> eids;
    eArray<unsigned int> counts;
    SplitHits(kept, pids, eids);
    counts.Append(1u, kept.GetSize());
    m_pRecordset->Clear();
    m_pRecordset->SetPIDs(pids);
    m_pRecordset->SetEIDs(eids);
    m_pRecordset->SetEIDCounts(counts);
}

// ---- Search by pinyin initials ----

bool ePOIEngineManager::QueryByInitial(int nKeyCount, int nCity, const char* szKey1, const char* szKey2,
                                       const char* szKey3, char*& szNextLetters, int& nNextCount)
{
    BeginSearch();
    if (nKeyCount > 3)
        return false;
    m_nQueryType = kPinyinKind;
    eString directory;
    directory.Format("%s/POI/", m_strPoiPath.Cstr());
    if (!PreparePool(directory))
        return false;
    if (m_pIndexInitial == nullptr) {
        m_pIndexInitial = new (std::nothrow) eNdfIndexInitial2;
        if (m_pIndexInitial == nullptr)
            return false;
    }
    m_pCurPYIndex = m_pIndexInitial;
    const int opened = OpenIndex(*m_pIndexInitial, directory, nCity + kInitialFileBase);
    if (opened == kIndexFailed)
        return false;
    if (opened == kIndexReopened)
        m_pIndexInitial->ClearCache();

    // With two keys all three are passed, as with three.
    eArray<eString> keys;
    if (nKeyCount >= 1)
        keys.Add(eString(szKey1 != nullptr ? szKey1 : ""));
    if (nKeyCount >= 2) {
        keys.Add(eString(szKey2 != nullptr ? szKey2 : ""));
        keys.Add(eString(szKey3 != nullptr ? szKey3 : ""));
    }
    eArray<ueglobal_addr_t> hits;
    eArray<unsigned int> counts;
    eArray<eString> next;
    if (!m_pIndexInitial->Query(keys, hits, counts, next))
        return false;
    // The first batch stops at kFirstBatch; the rest stays in the index and
    // is fetched as the caller pages past it.
    if (hits.GetSize() > kFirstBatch) {
        hits.SetSize(kFirstBatch);
        counts.SetSize(kFirstBatch);
    }
    if (!CreateRecordsetTabular(hits, counts, m_pPool, next))
        return false;

    szNextLetters = CopyNextLetters(nNextCount, true);
    return szNextLetters != nullptr;
}

char* ePOIEngineManager::CopyNextLetters(int& count, bool endMark)
{
    count = m_pRecordset->GetKeyCount();
    delete[] m_pNextLetters;
    m_pNextLetters = new (std::nothrow) char[static_cast<std::size_t>(count) + (endMark ? 1 : 0)];
    if (m_pNextLetters == nullptr)
        return nullptr;
    for (int i = 0; i < count; ++i)
        m_pNextLetters[i] = m_pRecordset->GetKey(i).Cstr()[0];
    if (endMark)
        m_pNextLetters[count] = '\0';
    return m_pNextLetters;
}

// ---- Refinement ----

namespace {

// The hits of `rs` whose names pass `keep`, in the record set's order. The
// names are read page by page (each page of the store once), which gives the
// same hits as reading them by number; when that walk cannot be taken (runs
// of several records) or meets a record it cannot read, they are read by
// number, stopping at the first unreadable one, and the damage the pool
// reports is the one that walk meets.
eArray<ueglobal_addr_t> RefineHits(eNdfRecordsetTabular& rs, const std::function<bool(const eString&)>& keep)
{
    eArray<ueglobal_addr_t> kept;
    eNdfPool* pool = rs.GetPool();
    const bool clean = pool == nullptr || pool->GetDamage().IsEmpty();
    std::vector<char> passed(static_cast<std::size_t>(rs.GetRecordCount()), 0);
    std::vector<ueglobal_addr_t> gids(passed.size());
    eString name;
    const bool walked = rs.VisitInPageOrder([&](int id) {
        rs.GetFieldValue(kColName, name);
        passed[static_cast<std::size_t>(id)] = keep(name) ? 1 : 0;
        gids[static_cast<std::size_t>(id)] = rs.GetGID();
    });
    if (walked) {
        for (std::size_t i = 0; i < passed.size(); ++i)
            if (passed[i] != 0)
                kept.Add(gids[i]);
        return kept;
    }
    if (clean && pool != nullptr)
        pool->ClearDamage();
    for (rs.MoveFirst(); !rs.IsEOF(); rs.MoveNext()) {
        rs.GetFieldValue(kColName, name);
        if (keep(name))
            kept.Add(rs.GetGID());
    }
    return kept;
}

} // namespace

bool ePOIEngineManager::QueryFromPreByInitial(const char* szText)
{
    if (m_pRecordset == nullptr)
        return false;
    const char* text = szText != nullptr ? szText : "";
    if (!m_pRecordset->Filter(text))
        return false;
    if (*text == '\0')
        return false;
    eString upper(text);
    upper.MakeUpper();
    const std::size_t length = std::strlen(upper.Cstr());

    // A record is kept when its name's initials begin with the typed text,
    // compared as bytes: a typed Chinese character never matches.
    KeepHits(RefineHits(*m_pRecordset, [&](const eString& name) {
        std::unique_ptr<char[]> initials(GetPYInitials(name.Cstr()));
        return initials[0] != '\0' && std::strncmp(initials.get(), upper.Cstr(), length) == 0;
    }));
    return true;
}

// ---- Search by Chinese text ----

bool ePOIEngineManager::QueryByFullText(int nKeyCount, int nCity, const char* szKey1, const char* szKey2,
                                        const char* szKey3)
{
    BeginSearch();
    if (nKeyCount > 3)
        return false;
    m_nQueryType = kTextKind;
    eString directory;
    directory.Format("%s/POI/", m_strPoiPath.Cstr());
    if (!PreparePool(directory))
        return false;
    if (m_pIndexFullText == nullptr) {
        m_pIndexFullText = new (std::nothrow) eNdfIndexSegFullText;
        if (m_pIndexFullText == nullptr)
            return false;
    }
    if (OpenIndex(*m_pIndexFullText, directory, nCity + kFullTextFileBase) == kIndexFailed)
        return false;

    eArray<eString> keys;
    if (nKeyCount >= 1)
        keys.Add(eString(szKey1 != nullptr ? szKey1 : ""));
    if (nKeyCount >= 2) {
        keys.Add(eString(szKey2 != nullptr ? szKey2 : ""));
        // The text is searched in the forms the data writes: full-width
        // letters, and for digits full-width digits and Chinese numerals
        // (the typed half-width digits themselves are not searched).
        const char* text = szKey3 != nullptr ? szKey3 : "";
        bool letter = false;
        bool digit = false;
        for (const unsigned char* p = reinterpret_cast<const unsigned char*>(text); *p != 0;) {
            if (*p >= 0x80) {
                p += p[1] != 0 ? 2 : 1;
                continue;
            }
            letter = letter || std::isalpha(*p) != 0;
            digit = digit || (std::isalnum(*p) != 0 && std::isalpha(*p) == 0);
            ++p;
        }
        eString copy(text);
        if (letter)
            copy = ToFullWidthLetters(copy.Cstr());
        if (digit) {
            keys.Add(ToFullWidthDigits(copy.Cstr()));
            keys.Add(ToChineseDigits(copy.Cstr()));
        } else {
            keys.Add(copy);
        }
    }
    eArray<ueglobal_addr_t> hits;
    eArray<unsigned int> counts;
    eArray<eString> names;
    if (!m_pIndexFullText->Query(keys, hits, counts, names))
        return false;
    // No paging here: hits past the first batch are dropped.
    if (hits.GetSize() > kFirstBatch) {
        hits.SetSize(kFirstBatch);
        counts.SetSize(kFirstBatch);
    }
    return CreateRecordsetTabular(hits, counts, m_pPool, names);
}

bool ePOIEngineManager::QueryFromPreByFullText(const char* szText)
{
    if (m_pRecordset == nullptr)
        return false;
    eString text(szText != nullptr ? szText : "");
    text.TrimLeft(' ');
    text.TrimRight(' ');
    if (text.IsEmpty())
        return false;
    // Words at half-width spaces; a part without one is cut at full-width
    // spaces.
    static const char kFullWidthSpace[] = "\xA1\xA1";
    eArray<eString> words;
    for (;;) {
        int at = text.Find(' ');
        int skip = 1;
        if (at < 0) {
            at = text.Find(kFullWidthSpace);
            skip = 2;
        }
        if (at < 0)
            break;
        words.Add(text.Left(at));
        text = text.Mid(at + skip);
        text.TrimLeft(' ');
    }
    words.Add(text);

    // A word counts only where it is first found, and only at an even byte
    // position (a match that straddles two characters is refused).
    KeepHits(RefineHits(*m_pRecordset, [&](const eString& name) {
        bool all = true;
        for (int i = 0; i < words.GetSize() && all; ++i) {
            const int at = name.Find(words[i].Cstr());
            all = at >= 0 && at % 2 == 0;
        }
        return all;
    }));
    return true;
}

// ---- The user store ----

int ePOIEngineManager::AddPOI(int nType, const ePoiInfo& info)
{
    return m_pContainer->AddPOI(static_cast<ContainerType>(nType), info);
}

bool ePOIEngineManager::ModifyPOI(int nType, int nIndex, const ePoiInfo& info)
{
    return m_pContainer->ModifyPOI(static_cast<ContainerType>(nType), nIndex, info);
}

bool ePOIEngineManager::RemovePOI(int nType, int nIndex)
{
    return m_pContainer->RemovePOI(static_cast<ContainerType>(nType), nIndex);
}

bool ePOIEngineManager::RemoveAllPOI(int nType)
{
    return m_pContainer->RemoveAllPOI(static_cast<ContainerType>(nType));
}

bool ePOIEngineManager::AppendPOI(int nType, const char* szFile)
{
    return m_pContainer->AppendPOI(static_cast<ContainerType>(nType), eString(szFile != nullptr ? szFile : ""));
}

bool ePOIEngineManager::SavePOI(int nType)
{
    return m_pContainer->SavePOI(static_cast<ContainerType>(nType));
}

bool ePOIEngineManager::LoadPOI(int nType)
{
    return m_pContainer->LoadPOI(static_cast<ContainerType>(nType));
}

} // namespace Kest
