#pragma once

#include "Admin/eAdminIndex.h"
#include "Base/KestExport.h"
#include "Base/NdfFormat.h"
#include "Base/eArray.h"
#include "Base/ePoiInfo.h"
#include "Base/eString.h"
#include "Base/ueglobal_addr_t.h"
#include "POIEngine/POISort.h"

namespace Kest {

class eNdfIndex;
class eNdfIndexInitial;
class eNdfIndexInitial2;
class eNdfPool;
class eNdfQueryAround;
class eNdfRecordsetTabular;
class ePOIEngineContainer;

// The engine: the data directory, the one page pool, the index readers made
// on first use, every search, the list of hits with its paging, and the
// user's favourites and history. One engine serves one thread at a time.
//
// Data directory layout below the path P given to SetPoiPath (P is used as
// given, no separator added): "P/POI/" holds the POI records and the
// pinyin-initial index of each data set ("P/POI/<100 + data set>.ndf"),
// "P/POI/AdminIndex.ndf" the area names; the user stores are
// "PFavorite.poi" and "PHistory.poi".
class KEST_API ePOIEngineManager {
public:
    // The page cache every query gives the pool.
    static constexpr int kPoolSize = 1048576;
    // The first batch of a pinyin query; further hits are fetched on demand,
    // at least kPageStep at a time.
    static constexpr int kFirstBatch = 100;
    static constexpr int kPageStep = 5;
    // File number of a data set's pinyin-initial index: the city plus this.
    static constexpr int kInitialFileBase = NdfFormat::kInitialFileBase;
    // File number of a data set's full-text index: the city plus this.
    static constexpr int kFullTextFileBase = NdfFormat::kFullTextFileBase;

    ePOIEngineManager();
    ~ePOIEngineManager();
    // Copies share the pool, the readers, the record set and the user store
    // with their source, so only one of them may be destroyed; they are not
    // offered.
    ePOIEngineManager(const ePOIEngineManager&) = delete;
    ePOIEngineManager& operator=(const ePOIEngineManager&) = delete;

    // Remembers the data directory and gives it to the user store and the
    // area index. Opens nothing.
    void SetPoiPath(const char* path);
    // Drops the pool, the record set, the readers of the frequent searches,
    // the next-letter buffer, the category lists and the dictionary. Safe to
    // repeat; the next query makes what it needs again.
    void ReleaseQueryMem();

    // ---- The hits of the last search; store 1 favourites, 2 history ----
    bool CreateRecordsetTabular(const eArray<ueglobal_addr_t>& hits, const eArray<unsigned int>& counts,
                                eNdfPool* pool, const eArray<eString>& keys);
    bool AppendRecordsetTabular(const eArray<ueglobal_addr_t>& hits, const eArray<unsigned int>& counts);
    int GetPOICount(int nType);
    bool GetPOIInfo(int nType, int nIndex, ePoiInfo& info);

    // ---- Search by pinyin initials ----
    // Keys: none (0), the province (1), or province, city and initials (2 or
    // 3); "*" for province and city means every district. `nCity` chooses
    // the data set. On success `szNextLetters` holds the letters that may be
    // typed next (engine-owned, valid until the next pinyin query).
    bool QueryByInitial(int nKeyCount, int nCity, const char* szKey1, const char* szKey2, const char* szKey3,
                        char*& szNextLetters, int& nNextCount);
    // Keeps the current hits whose initials begin with `szText`.
    bool QueryFromPreByInitial(const char* szText);

    // ---- Search by Chinese text ----
    // Keys: none (0), a province (1), or province, city and the text (2 or
    // 3). Half-width digits and letters in the text are searched in the
    // forms the data writes them (full-width, and Chinese numerals for
    // digits). At most kFirstBatch hits; there is no paging.
    bool QueryByFullText(int nKeyCount, int nCity, const char* szKey1, const char* szKey2, const char* szKey3);
    // Keeps the current hits whose names contain every word of `szText`
    // (words split at half-width or full-width spaces), each first found at
    // an even byte position.
    bool QueryFromPreByFullText(const char* szText);

    // ---- Search around a point ----
    // The POIs of category `type` within `radius` (1e-5 degree units, at
    // most 10000) of longitude `x`, latitude `y`, nearest first, read from
    // "P/POI/POIAround.ndf". Category types 1050, 2000, 3000, 7000, 9030,
    // 11000 and 12050 take a range of codes, 65536 takes every code, any
    // other value that code alone. Nonzero when there are hits.
    int QueryByAround(double x, double y, double radius, int type);
    // The POIs nearest to (x, y): within 500 units, else 2000, else 8000,
    // nearest first. Zero when there is none within 8000. `maxDistance` is
    // set to 10000.
    int QueryNearestPOI(double x, double y, int& maxDistance);
    // ---- Search by telephone number ----
    // `number`: the digits typed so far. True when they are a path of the
    // telephone index ("P/POI/Tel/102.ndf"): the hits are the POIs whose
    // number is exactly that, then those whose number continues it (shorter
    // numbers first, then by number), and `nextDigits` holds the
    // `nextDigitCount` digits that may be typed next, ascending, without a
    // terminator (engine-owned, valid until the next search that fills it).
    // The index file is tried once per engine: if it is missing, this and
    // every later call answer false. On false the outputs are untouched.
    bool QueryByTelephone(const char* number, char*& nextDigits, int& nextDigitCount);
    // ---- POI categories: branches and their leaves with codes, read from
    // "P/POI/Around/POI_SORT.txt" on first use and kept ----
    // Reads the file into the branch and leaf arrays. False for a missing
    // file, a blank line, a malformed leaf line or a count mismatch; what was
    // read before stays, and is not read again while both arrays hold some.
    bool LoadPoiSort();
    // The lists below are engine-owned (each name a zero-terminated copy),
    // valid until the next list call or ReleaseQueryMem.
    // The names of all branches.
    bool GetBranchPoiTypes(char**& list, int& count);
    // The names of one branch's leaves (branch matched ignoring ASCII case),
    // which becomes the current branch; a null branch lists the branches.
    bool GetPoiTypes(const char* branch, char**& list, int& count);
    // The names of all leaves, in file order.
    bool GetAllPoiTypes(char**& list, int& count);
    // The code of a leaf, looked up in the current branch first, then among
    // all leaves (ignoring ASCII case); -1 when none is named so.
    int GetPoiCode(const char* name);

    // ---- Search by address ----
    // POIs by province, city and county (each a part of the area's name, or
    // "*" for any) and category (a code in decimal; "*" or empty for all).
    // `level` 1 to 4: at 1 and 2 GetPOIInfo reads only the name of a hit.
    bool QueryByAddress(int level, const char* province, const char* city, const char* county,
                        const char* category);
    // ---- Sights and place names, each its own small set of POIs ----
    // By the pinyin initials typed so far ("POI/Sight/105.ndf",
    // "POI/PlaceName/108.ndf"): at most 100 hit runs, paged like the
    // search by initials; `nextChars` gets the letters that may be typed
    // next (engine-owned, valid until the next search that gives next
    // characters), `nextCount` their number. The sight buffer ends with a
    // zero byte; the place-name buffer holds exactly `nextCount` bytes.
    bool QuerySightByPY(const char* initials, char*& nextChars, int& nextCount);
    bool QueryPlaceNameByPY(const char* initials, char*& nextChars, int& nextCount);
    // By Chinese text ("POI/Sight/106.ndf", "POI/PlaceName/107.ndf"): the
    // names holding the text's words in order, by where the match ends; at
    // most 100 hit runs, no paging.
    bool QuerySightByText(const char* text);
    bool QueryPlaceNameByText(const char* text);
    // ---- Crossroads (data in "P/POI/CrossRoad/", its own record store) ----
    // File number of a data set's crossroad indexes: `nFileNo` plus these.
    static constexpr int kCrossInitialFileBase = NdfFormat::kCrossInitialFileBase;
    static constexpr int kCrossTextFileBase = NdfFormat::kCrossTextFileBase;
    // By the pinyin initials of the road names. `nMode` chooses the keys:
    // none (0), `szFirst` (1: a province, whose crossroads' district nodes
    // come back rather than crossroads), or all three (2, 3 or any negative
    // value: province, city, initials; "*" for every district); above 3 the
    // call fails at once. Each crossroad is indexed under the initials of
    // both of its roads in both orders. The first batch holds kFirstBatch
    // hits, the rest is paged in as for QueryByInitial; `szNextLetters`
    // (engine-owned) holds the letters that may be typed next.
    bool QueryCrossRoadByPY(int nMode, int nFileNo, const char* szFirst, const char* szSecond, const char* szThird,
                            char*& szNextLetters, int& nNextCount);
    // By road-name text: the same modes, the text third (searched as given:
    // no widening of digits or letters). At most kFirstBatch hits.
    bool QueryCrossRoadByText(int nMode, int nFileNo, const char* szFirst, const char* szSecond,
                              const char* szThird);

    // ---- Damage (beside the searches; their results are unchanged) ----
    // The first file or page of the data directory that failed its check
    // since the last search began (QueryByInitial, QueryByFullText; a
    // refinement filters that search's hits and so keeps its damage), named
    // below the data path ("POI/12.ndf page 7", "POI/CrossRoad/410.ndf page
    // 3", "POI/AdminIndex.ndf"); empty when none did. A search or a
    // record read that met damage may have answered with fewer hits, no
    // hits or an empty area name instead of failing: a caller that must
    // not show such an answer asks here after reading what it shows.
    eString GetLastDamage() const;

    // ---- The user store, passed through (1 favourites, 2 history) ----
    int AddPOI(int nType, const ePoiInfo& info);
    bool ModifyPOI(int nType, int nIndex, const ePoiInfo& info);
    bool RemovePOI(int nType, int nIndex);
    bool RemoveAllPOI(int nType);
    bool AppendPOI(int nType, const char* szFile);
    bool SavePOI(int nType);
    bool LoadPOI(int nType);

protected:
    // What OpenIndex did.
    enum { kIndexFailed = -1, kIndexUnchanged = 0, kIndexReopened = 1 };

    // Makes the pool on first use and points it at `directory`.
    bool PreparePool(const eString& directory);
    // Reads the header of "<directory><fileNumber>.ndf" into `index` unless
    // that file is the one it already reads.
    int OpenIndex(eNdfIndex& index, const eString& directory, int fileNumber);
    // Reads the header of "<directory><fileNumber>.ndf" into `index`
    // whatever it read before (the searches that decide themselves when to
    // read it call this directly); false when the file is missing or short.
    bool ReadIndexHeader(eNdfIndex& index, const eString& directory, int fileNumber);
    // Sets the kind and pool of an around search and opens the grid.
    bool PrepareAround();
    // The sight and place-name searches (ePOIEngineManagerSight.cpp):
    // `reader` is the method's own member, `sight` tells the set.
    bool QuerySetByPY(eNdfIndex*& reader, bool sight, const char* initials, char*& nextChars, int& nextCount);
    bool QuerySetByText(eNdfIndex*& reader, bool sight, const char* text);
    // The key list of a crossroad search's mode (0 none, 1 the first, else
    // all three).
    static void CrossKeys(int nMode, const char* szFirst, const char* szSecond, const char* szThird,
                          eArray<eString>& keys);
    // Forgets the damage found before a new search (see GetLastDamage).
    void BeginSearch();
    // The first character of each key of the result list, in the buffer the
    // manager keeps until the next such search, followed by a zero byte when
    // `endMark`; `count` gets their number. Null when it cannot be allocated.
    char* CopyNextLetters(int& count, bool endMark);
    // A refinement's result: the record set over the kept hits, one each.
    void KeepHits(const eArray<ueglobal_addr_t>& kept);
    // Loads the category arrays unless both hold entries.
    bool EnsurePoiSort();
    // Frees the list handed out last (m_ppTypeList).
    void FreeTypeList();
    // Replaces that list by copies of `names` and hands it out.
    bool HandOutTypeList(const eArray<eString>& names, char**& list, int& count);

    int m_nQueryType = 0;
    int m_nAddressLevel = 0;
    eNdfRecordsetTabular* m_pRecordset = nullptr;
    eString m_strPoiPath;
    char* m_pNextLetters = nullptr;
    char** m_ppTypeList = nullptr;
    int m_nTypeCount = 0;
    eNdfPool* m_pPool = nullptr;
    // Repeats the index of the last pinyin query, for paging; not owned.
    eNdfIndexInitial* m_pCurPYIndex = nullptr;
    eNdfIndexInitial2* m_pIndexInitial = nullptr;
    eNdfIndex* m_pIndexFullText = nullptr;
    eNdfIndex* m_pIndexSightPY = nullptr;
    eNdfIndex* m_pIndexSightText = nullptr;
    eNdfIndex* m_pIndexTel = nullptr;
    eNdfIndex* m_pIndexCrossText = nullptr;
    eNdfIndexInitial* m_pIndexCrossPY = nullptr;
    eNdfIndex* m_pIndexAddress = nullptr;
    eNdfIndex* m_pIndexPlaceText = nullptr;
    eNdfIndex* m_pIndexPlacePY = nullptr;
    eNdfQueryAround* m_pQueryAround = nullptr;
    eArray<POISortBranch> m_arSortBranch;
    eArray<POISortLeaf> m_arSortLeaf;
    int m_nCurBranch = -1;
    ePOIEngineContainer* m_pContainer = nullptr;
    eAdminIndex m_AdminIndex;
};

} // namespace Kest
