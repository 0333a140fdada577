#pragma once

#include <cstdint>
#include <cstdio>
#include <vector>

#include "Base/KestExport.h"
#include "Base/eArray.h"
#include "Base/eString.h"
#include "Base/ueglobal_addr_t.h"

namespace Kest {

// One candidate of an around or nearest search: its distance from the point
// (1e-5 degree units, truncated) and the data address of its POI record.
struct UE_AROUND_POI_INDEX {
    int nDistance;
    ueglobal_addr_t addr;
};

// The around grid "POIAround.ndf" (docs/format.md, "Around grid"): a regular
// grid of 800 columns over the covered area, a directory of cells and, per
// cell, its POIs sorted by x with their coordinates, category code and data
// address. Finds the POIs within a radius of a point and the POIs nearest to
// a point. Distances are planar in degrees, scaled by 100000, with no
// correction for latitude.
//
// The file is read with stdio, one cell at a time into one reused buffer.
// Every offset and count taken from the file is checked against its size: a
// damaged grid gives no hits (-1 or false), never a read outside a buffer.
class KEST_API eNdfQueryAround {
public:
    // The grid is fixed at this many columns; cell = row * kColumns + column.
    static constexpr int kColumns = 800;
    // Cells above this number lie outside the grid for the nearest search.
    static constexpr int kLastNearestCell = kColumns * kColumns - 1;
    // The category filter value that lets every category through.
    static constexpr int kAllTypes = 65536;
    // The largest radius a search accepts (1e-5 degree units).
    static constexpr double kMaxRadius = 10000.0;
    static constexpr int kHeaderSize = 64;
    static constexpr int kRecordSize = 20;
    static constexpr int kDirectoryEntrySize = 8;

    eNdfQueryAround();
    virtual ~eNdfQueryAround();
    eNdfQueryAround(const eNdfQueryAround&) = delete;
    eNdfQueryAround& operator=(const eNdfQueryAround&) = delete;

    // Opens the grid file and reads its header, unless already open. False,
    // and the object stays closed, when the file cannot be opened, its header
    // is short or its geometry and offsets do not fit the file.
    unsigned char InitQueryAround(const eString& path);

    // The data addresses of the POIs of category `type` (kAllTypes: any)
    // within `radius` of (x, y), nearest first; `scores` gets 1 for each.
    // The number of hits, or -1 when the grid is not open, the radius is
    // above kMaxRadius or the search rectangle misses the grid.
    int QueryByAround(eArray<ueglobal_addr_t>& addrs, eArray<unsigned int>& scores, const double& x,
                      const double& y, const double& radius, int& type);

    // The POIs nearest to (x, y): those within 500 units, else within 2000,
    // else within 8000, nearest first. False when there are none within 8000
    // or the grid is not open. `maxDistance` is set to 10000.
    unsigned char QueryNearestPOI(eArray<ueglobal_addr_t>& addrs, int& maxDistance, const double& x, const double& y);

private:
    // A run of the cell walk: a cell and how many times the walk passes it.
    struct CellVisit {
        int cell;
        int times;
    };
    // The cell rectangle of a search, before the walk.
    struct CellRect {
        std::int64_t column0, column1, row0, row1;
    };

    int GetQueryGrid(eArray<int>& cells, const double& x, const double& y, const double& radius);
    int GetFilterGrid(eArray<int>& cells, const double& x, const double& y, const double& radius);
    unsigned char DimSearch(eArray<UE_AROUND_POI_INDEX>& out, const int& cell, const double& radius, const double& x,
                            const double& y, const int& slack, int& type);
    unsigned char LoadGridData(const int& cell);
    void FreeMemory();
    // Ends a search: no cell is cached; the buffer stays unless it is large.
    void ForgetCells();
    // Makes the directory entries of cells `cell` to `last` (at most
    // kDirectoryRun of them) available in m_DirectoryRun.
    bool ReadDirectory(std::int64_t cell, std::int64_t last);
    // A cell's record count and file offset from m_DirectoryRun; false for an
    // empty cell or records that do not lie wholly inside the file.
    bool CellSpan(std::int64_t cell, std::int32_t& count, std::uint64_t& start) const;
    void ReleaseQueryAround();

    // -1 outside the grid, 0 no rows, 1 with `rect` set.
    int GetCellRect(CellRect& rect, const double& x, const double& y, const double& radius) const;
    // The cells of GetQueryGrid with their repeat counts (m_arWalk).
    void WalkQueryCells(const CellRect& rect);
    void SetFilter(int type);
    bool PassesFilter(int code) const;
    bool TestRecord(eArray<UE_AROUND_POI_INDEX>& out, const unsigned char* record, double x, double y,
                    std::int64_t yLow, std::int64_t yHigh, int radius, int type) const;
    bool SearchWalk(eArray<UE_AROUND_POI_INDEX>& out, const double& radius, const double& x, const double& y,
                    int type);

    unsigned char m_bOpen = 0;
    std::FILE* m_pFile = nullptr;
    unsigned char* m_pCellBuffer = nullptr;
    int m_nCellBufferSize = 0;
    int m_nCellCount = 0;
    int m_nCurCell = -1;
    int m_nTypeLow = 0;
    int m_nTypeHigh = 0;
    unsigned char m_Header[kHeaderSize] = {};
    eArray<int> m_arSearchedCells;

    // Taken from the header at open and checked against the file.
    double m_dMinX = 0, m_dMinY = 0, m_dMaxX = 0, m_dMaxY = 0, m_dCellWidth = 0, m_dCellHeight = 0;
    std::uint64_t m_nFileSize = 0;
    std::uint64_t m_nDirectoryOffset = 0;
    std::uint64_t m_nRecordOffset = 0;
    // Cells the directory holds: (record area - directory) / 8.
    std::int64_t m_nDirectoryCells = 0;
    // The cells of the current walk, each once, with the number of times the
    // walk passes it (a cell passed twice gives its hits twice).
    std::vector<CellVisit> m_arWalk;
    // Cells of m_arSearchedCells, by number, for the nearest search.
    std::vector<bool> m_bSearched;
    // A run of directory entries read at once: walks go up the cell numbers
    // along a row, so the next cells' entries are usually in it.
    static constexpr int kDirectoryRun = 64;
    unsigned char m_DirectoryRun[kDirectoryRun * kDirectoryEntrySize] = {};
    std::int64_t m_nDirectoryRunFirst = -1;
    int m_nDirectoryRunCount = 0;
    // The cells whose records the buffer holds (read together, see
    // LoadGridData), the file offset of its first byte, and where the cell
    // of the current search lies in it. m_nRunLast: the last cell of the run
    // of neighbouring cells the walk is in.
    std::int64_t m_nBlockFirst = -1, m_nBlockLast = -1, m_nRunLast = -1;
    std::uint64_t m_nBlockStart = 0;
    const unsigned char* m_pCellRecords = nullptr;
    // A block holds at most this much, and gaps between its cells' records
    // at most kBlockSlack beyond the records themselves.
    static constexpr std::uint64_t kMaxBlock = 1u << 20;
    static constexpr std::uint64_t kBlockSlack = 4096;
    static constexpr int kKeptBuffer = 64 * 1024;
};

extern template class KEST_API eArray<UE_AROUND_POI_INDEX>;

} // namespace Kest
