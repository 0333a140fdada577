#pragma once

#include "Base/ContainerType.h"
#include "Base/KestExport.h"
#include "Base/eArray.h"
#include "Base/ePoiInfo.h"
#include "Base/eString.h"

namespace Kest {

// The user's two stores of POI records, favourites and history, held in memory
// and saved in two files below the data path:
//   <path>Favorite.poi  152-byte ePoiInfo records, oldest first
//   <path>History.poi   156-byte records (ePoiInfo + signed 32-bit frequency),
//                       most frequent first
// Each save first copies the previous file to the same name + "bak".
//
// Callers see favourites newest first: a favourite's index is mapped to
// position count - 1 - index. History indexes are positions.
//
// Operations call one another through the virtual table (every change ends in
// SavePOI; AppendPOI adds through AddPOI), so a derived class can redirect
// saving or adding.
class KEST_API ePOIEngineContainer {
public:
    ePOIEngineContainer();
    virtual ~ePOIEngineContainer();

    // Stores the prefix the file names are appended to, with no separator
    // added: "D:/map" gives "D:/mapFavorite.poi". Nothing is loaded.
    virtual void SetDataPath(const eString& path);
    // Favourites: appended (duplicates allowed), saved; returns the position
    // in memory (count - 1). History: an existing name gains one use and moves
    // up past entries of no greater frequency, without saving; a new name goes
    // first among the entries used once, saved. Returns the entry's position,
    // or -2 for an unknown store.
    virtual int AddPOI(ContainerType type, const ePoiInfo& info);
    virtual bool ModifyPOI(ContainerType type, int index, const ePoiInfo& info);
    virtual bool RemovePOI(ContainerType type, int index);
    virtual bool RemoveAllPOI(ContainerType type);
    // Adds every complete record of another store file through AddPOI.
    virtual bool AppendPOI(ContainerType type, const eString& file);
    virtual bool SavePOI(ContainerType type);
    // Replaces the store by the file's complete records. Loading favourites
    // also clears the history frequencies.
    virtual bool LoadPOI(ContainerType type);
    // Number of entries, -1 for an unknown store.
    virtual int GetPOICount(ContainerType type);
    virtual bool GetPOIInfo(ContainerType type, int index, ePoiInfo& info);

    ePOIEngineContainer(const ePOIEngineContainer&) = default;
    ePOIEngineContainer& operator=(const ePOIEngineContainer&) = default;

private:
    int GetPoiInContainerByName(ContainerType type, const eString& name, ePoiInfo& info);
    bool UpDatePoiContainer(ContainerType type);
    bool BackupFile(const eString& from, const eString& to);

    // Maps a caller's index to a position in the array, or -1 when it is out of range.
    int MapIndex(ContainerType type, int index) const;
    eArray<ePoiInfo>* Store(ContainerType type);
    eString FilePath(ContainerType type) const;

    eString m_strDataPath;
    eArray<ePoiInfo> m_arContainerFavorite; // oldest first
    eArray<ePoiInfo> m_arContainerHistory;  // most frequent first
    eArray<int> m_arHistoryFrequency;       // parallel to m_arContainerHistory
};

} // namespace Kest
