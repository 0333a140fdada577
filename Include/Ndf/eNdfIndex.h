#pragma once

#include <cstdint>

#include "Base/KestExport.h"
#include "Base/eArray.h"
#include "Base/ePoint2D.h"
#include "Base/eRect2D.h"
#include "Base/eSize2D.h"
#include "Base/eString.h"
#include "Base/ueglobal_addr_t.h"

namespace Kest {

class eNdfPool;

// The base of every index reader: the pool, the directory, the address of
// the page that holds the index's root record, the depth, the open flag and
// the root's node pair and leaf pair. The virtual operations are declared in
// their fixed slot order; keep it.
class KEST_API eNdfIndex {
public:
    // The kinds of index. The readers of the engine report 2, 3, 4, 5 and 8;
    // the others are kinds of this library (this base reports a plain one).
    enum IndexType {
        NDF_INDEX_PLAIN = 0,
        NDF_INDEX_GRID = 1,
        NDF_INDEX_FULLTEXT = 2,
        NDF_INDEX_INITIAL = 3,
        NDF_INDEX_TELTRIE = 4,
        NDF_INDEX_CATEGORY = 5,
        NDF_INDEX_RTREE = 6,
        NDF_INDEX_REGION = 7,
        NDF_INDEX_DISTRICT = 8
    };

    eNdfIndex();
    // Slot 0.
    virtual ~eNdfIndex();
    // Slot 1.
    virtual IndexType GetType();
    // Slot 2: the spatial query. No spatial index stands behind this base:
    // it answers false and leaves the outputs alone.
    virtual unsigned char Query(const ePoint2D& point, double radius, int count, eArray<ueglobal_addr_t>& gids,
                                eArray<unsigned int>& nums, eArray<eString>& names);
    // Slot 3: the keyed query. The base answers false and leaves the outputs
    // alone; each reader brings its own.
    virtual unsigned char Query(const eArray<eString>& keys, eArray<ueglobal_addr_t>& gids,
                                eArray<unsigned int>& nums, eArray<eString>& names);
    // Slots 4 to 6, for the library's spatial kinds: stored and reported.
    virtual void SetMapBound(const eRect2D& bound);
    virtual void SetGridSize(const eSize2D& size);
    virtual int GetLevelID();

    eNdfIndex(const eNdfIndex&) = delete;
    eNdfIndex& operator=(const eNdfIndex&) = delete;

    void SetPool(eNdfPool* pool) { m_pPool = pool; }
    void SetDataPath(const eString& path) { m_strDataPath = path; }
    // A new root address closes the reader: the next query reads the root.
    void SetGID(const ueglobal_addr_t& gid);
    void SetDepth(int depth) { m_nDepth = depth; }
    // The file id of the address given to SetGID (0xFFFF before any).
    unsigned short GetCurrentFid() const { return m_gidIndex.page.nFile; }

protected:
    unsigned char IsOpen() const { return m_bOpen; }
    // Reads the root record (record 0 of the page the index address names):
    // its field 1 is a feature block whose child pair becomes the root node
    // and whose leaf pair the root leaf. Sets the open flag on success; a
    // page that cannot be read, a missing field 1 or a malformed block
    // answer false and leave the reader closed.
    unsigned char GetRoot();
    // The child and leaf pairs of the root record's block, for readers whose
    // root loader keeps them elsewhere; does not open the reader.
    unsigned char ReadRootPairs(ueglobal_addr_t& child, unsigned int& childCount, ueglobal_addr_t& leaf,
                                unsigned int& leafCount);

    eNdfPool* m_pPool = nullptr;
    eString m_strDataPath;
    ueglobal_addr_t m_gidIndex;
    unsigned char m_bOpen = 0;
    int m_nDepth = 0;
    ueglobal_addr_t m_gidRoot{};
    unsigned int m_nRootCount = 0;
    ueglobal_addr_t m_gidRootLeaf{};
    unsigned int m_nRootLeafCount = 0;
    eRect2D m_rcMapBound{};
    eSize2D m_szGrid{};
    int m_nLevelID = 0;
};

} // namespace Kest
