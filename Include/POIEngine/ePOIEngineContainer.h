#pragma once

#include "Base/ContainerType.h"
#include "Base/KestExport.h"
#include "Base/eArray.h"
#include "Base/ePoiInfo.h"
#include "Base/eString.h"
#include "POIEngine/eFileSteps.h"

namespace Kest {

// The user's two stores of POI records, favourites and history, held in memory
// and saved in two files below the data path:
//   <path>Favorite.poi  152-byte ePoiInfo records, oldest first
//   <path>History.poi   156-byte records (ePoiInfo + signed 32-bit frequency),
//                       most frequent first
// Each save first copies the previous file to the same name + "bak".
//
// Every file is replaced whole: written to a temporary file in the same
// directory, flushed to disk and renamed over the old one, so that a crash at
// any instant leaves the old or the new file. A save whose write or flush
// fails leaves both old files as they were and returns false. A previous file
// that is damaged (see InspectFile) is not copied over the backup.
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

    // Whether the last LoadPOI found its file damaged (false when it read no
    // file). The load keeps every complete record all the same.
    bool LastLoadFoundDamage() const { return m_bLoadDamaged; }
    // Replaces the store's file by its backup (the same name + "bak") and
    // loads it. False, with nothing changed, when the backup is missing or
    // damaged or cannot be copied.
    bool RestorePOI(ContainerType type);
    // Reads a store file of the given type: its number of complete records
    // (-1 when it cannot be read) and whether it is damaged: a length that is
    // not a whole number of records, or a record that is not possible.
    static int InspectFile(ContainerType type, const eString& file, bool& damaged);
    // Whether a record can be one the store wrote: its name is zero-terminated
    // or 64 bytes of GBK text, and its coordinates are finite.
    static bool IsPossibleRecord(const ePoiInfo& info);
    // The calls the files are written through (the system's by default).
    void SetFileSteps(eFileSteps& steps) { m_pFileSteps = &steps; }

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
    bool m_bLoadDamaged = false;
    eFileSteps* m_pFileSteps = &eFileSteps::System();
};

} // namespace Kest
