// The sight and place-name searches of the engine: two small sets of POIs,
// each in its own directory with its own record store, searched by pinyin
// initials (with next letters and paging, like the search by initials) or
// by Chinese text.

#include "POIEngine/ePOIEngineManager.h"

#include <cstdio>
#include <cstring>
#include <new>

#include "Base/NdfFormat.h"
#include "Ndf/NdfBytes.h"
#include "Ndf/eNdfPool.h"
#include "Ndf/eNdfRecordsetTabular.h"
#include "POIEngine/eNdfIndexPlaceName.h"
#include "POIEngine/eNdfIndexPlaceNameByPY.h"
#include "POIEngine/eNdfIndexSightByPY.h"
#include "POIEngine/eNdfIndexSightbyText.h"

namespace Kest {

namespace {

// The kinds of hits these searches leave (see m_nQueryType).
constexpr int kPinyinKind = 0;
constexpr int kTextKind = 1;

const char* const kSightDirectory = "%s/POI/Sight/";
const char* const kPlaceNameDirectory = "%s/POI/PlaceName/";
constexpr int kSightPinyinFile = NdfFormat::kSightPinyinFile;
constexpr int kSightTextFile = NdfFormat::kSightTextFile;
constexpr int kPlaceNameTextFile = NdfFormat::kPlaceNameTextFile;
constexpr int kPlaceNamePinyinFile = NdfFormat::kPlaceNamePinyinFile;

// The most hit runs a search leaves in the result list; each run may hold
// several POIs, so the cap is on runs, not on POIs.
constexpr int kMaxRuns = 100;

void CapRuns(eArray<ueglobal_addr_t>& hits, eArray<unsigned int>& counts)
{
    if (hits.GetSize() > kMaxRuns)
        hits.RemoveAt(kMaxRuns, hits.GetSize() - kMaxRuns);
    if (counts.GetSize() > kMaxRuns)
        counts.RemoveAt(kMaxRuns, counts.GetSize() - kMaxRuns);
}

} // namespace

bool ePOIEngineManager::QuerySightByPY(const char* initials, char*& nextChars, int& nextCount)
{
    return QuerySetByPY(m_pIndexSightPY, true, initials, nextChars, nextCount);
}

bool ePOIEngineManager::QueryPlaceNameByPY(const char* initials, char*& nextChars, int& nextCount)
{
    return QuerySetByPY(m_pIndexPlacePY, false, initials, nextChars, nextCount);
}

bool ePOIEngineManager::QuerySightByText(const char* text)
{
    return QuerySetByText(m_pIndexSightText, true, text);
}

bool ePOIEngineManager::QueryPlaceNameByText(const char* text)
{
    return QuerySetByText(m_pIndexPlaceText, false, text);
}

bool ePOIEngineManager::QuerySetByPY(eNdfIndex*& reader, bool sight, const char* initials, char*& nextChars,
                                     int& nextCount)
{
    BeginSearch();
    m_nQueryType = kPinyinKind;
    eString directory;
    directory.Format(sight ? kSightDirectory : kPlaceNameDirectory, m_strPoiPath.Cstr());
    if (!PreparePool(directory))
        return false;
    eNdfIndexInitial* trie = static_cast<eNdfIndexInitial*>(reader);
    if (reader == nullptr) {
        if (sight)
            trie = new (std::nothrow) eNdfIndexSightByPY;
        else
            trie = new (std::nothrow) eNdfIndexPlaceNameByPY;
        if (trie == nullptr)
            return false;
        reader = trie;
    }
    // Paging and the hit count go to this reader from now on (recorded on
    // every call: another pinyin search may have taken its place).
    m_pCurPYIndex = trie;
    if (!ReadIndexHeader(*trie, directory, sight ? kSightPinyinFile : kPlaceNamePinyinFile))
        return false;

    eArray<eString> keys;
    keys.Add(eString(initials != nullptr ? initials : ""));
    eArray<ueglobal_addr_t> hits;
    eArray<unsigned int> counts;
    eArray<eString> next;
    if (!trie->Query(keys, hits, counts, next))
        return false;
    CapRuns(hits, counts);
    // Whether the result list was built is not asked, as the next letters
    // are taken from it all the same.
    CreateRecordsetTabular(hits, counts, m_pPool, next);
    if (m_pRecordset == nullptr)
        return false;

    // The sight buffer ends with a zero byte; the place-name buffer, like
    // the telephone search's, holds exactly nextCount bytes and no end mark.
    nextChars = CopyNextLetters(nextCount, sight);
    return nextChars != nullptr;
}

bool ePOIEngineManager::QuerySetByText(eNdfIndex*& reader, bool sight, const char* text)
{
    BeginSearch();
    m_nQueryType = kTextKind;
    eString directory;
    directory.Format(sight ? kSightDirectory : kPlaceNameDirectory, m_strPoiPath.Cstr());
    if (!PreparePool(directory))
        return false;
    if (reader == nullptr) {
        if (sight)
            reader = new (std::nothrow) eNdfIndexSightbyText;
        else
            reader = new (std::nothrow) eNdfIndexPlaceName;
        if (reader == nullptr)
            return false;
    }
    if (!ReadIndexHeader(*reader, directory, sight ? kSightTextFile : kPlaceNameTextFile))
        return false;

    eArray<eString> texts;
    texts.Add(eString(text != nullptr ? text : ""));
    eArray<ueglobal_addr_t> hits;
    eArray<unsigned int> counts;
    eArray<eString> names;
    if (!reader->Query(texts, hits, counts, names))
        return false;
    CapRuns(hits, counts);
    return CreateRecordsetTabular(hits, counts, m_pPool, names);
}

} // namespace Kest
