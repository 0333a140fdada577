#include "POIEngine/eNdfQueryAround.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>

#include "Base/ReadAt.h"
#include "Ndf/NdfBytes.h"

namespace Kest {

template class eArray<UE_AROUND_POI_INDEX>;

namespace {

// Header fields (docs/format.md, "Around grid").
constexpr int kDirectoryOffsetAt = 4;
constexpr int kRecordOffsetAt = 8;
constexpr int kMinXAt = 16;
constexpr int kMinYAt = 24;
constexpr int kMaxXAt = 32;
constexpr int kMaxYAt = 40;
constexpr int kCellWidthAt = 48;
constexpr int kCellHeightAt = 56;

// Grid coordinates beyond this are refused: only a damaged header (cells
// far too small for its bounds) leads there, and it keeps every cell number
// of a walk within 64-bit arithmetic and every loop short.
constexpr double kMaxGridSteps = 268435456.0; // 2^28
// Bounds of a sound header, in degrees.
constexpr double kMaxDegrees = 10000.0;

double GetDouble(const unsigned char* p)
{
    const std::uint64_t bits = NdfBytes::Get64(p);
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// Floor and ceiling of a / b for b > 0.
std::int64_t FloorDiv(std::int64_t a, std::int64_t b)
{
    return a >= 0 ? a / b : -((-a + b - 1) / b);
}

std::int64_t CeilDiv(std::int64_t a, std::int64_t b)
{
    return -FloorDiv(-a, b);
}

// Truncation of a grid coordinate, or false when it is out of reach.
bool GridStep(double value, std::int64_t& step)
{
    if (!(std::fabs(value) < kMaxGridSteps))
        return false;
    step = static_cast<std::int64_t>(value);
    return true;
}

int CompareDistance(const void* a, const void* b)
{
    const int da = static_cast<const UE_AROUND_POI_INDEX*>(a)->nDistance;
    const int db = static_cast<const UE_AROUND_POI_INDEX*>(b)->nDistance;
    return da < db ? -1 : da > db ? 1 : 0;
}

std::uint32_t RecordX(const unsigned char* record) { return NdfBytes::Get32(record); }

} // namespace

eNdfQueryAround::eNdfQueryAround() = default;

eNdfQueryAround::~eNdfQueryAround() { ReleaseQueryAround(); }

void eNdfQueryAround::ReleaseQueryAround()
{
    if (m_pFile != nullptr)
        std::fclose(m_pFile);
    m_pFile = nullptr;
    FreeMemory();
    m_arSearchedCells.RemoveAll();
    m_bSearched.clear();
    m_arWalk.clear();
    m_nDirectoryRunFirst = -1;
    m_nDirectoryRunCount = 0;
    m_bOpen = 0;
}

void eNdfQueryAround::FreeMemory()
{
    delete[] m_pCellBuffer;
    m_pCellBuffer = nullptr;
    m_pCellRecords = nullptr;
    m_nCellBufferSize = 0;
    m_nCellCount = 0;
    m_nCurCell = -1;
    m_nBlockFirst = m_nBlockLast = -1;
}

void eNdfQueryAround::ForgetCells()
{
    // The next search reads its cells again; a buffer of ordinary size is
    // kept for it rather than allocated anew.
    if (m_nCellBufferSize > kKeptBuffer) {
        FreeMemory();
        return;
    }
    m_nCellCount = 0;
    m_nCurCell = -1;
    m_nBlockFirst = m_nBlockLast = -1;
}

unsigned char eNdfQueryAround::InitQueryAround(const eString& path)
{
    if (m_bOpen)
        return 1;
    m_pFile = std::fopen(path.Cstr(), "rb");
    if (m_pFile == nullptr)
        return 0;
    bool ok = std::fread(m_Header, 1, kHeaderSize, m_pFile) == static_cast<std::size_t>(kHeaderSize) &&
              std::fseek(m_pFile, 0, SEEK_END) == 0;
    const long size = ok ? std::ftell(m_pFile) : -1;
    if (size < kHeaderSize)
        ok = false;
    // The first four bytes (magic and version) are the tools' to check; the
    // search does not read them.
    if (ok) {
        m_nFileSize = static_cast<std::uint64_t>(size);
        m_nDirectoryOffset = NdfBytes::Get32(m_Header + kDirectoryOffsetAt);
        m_nRecordOffset = NdfBytes::Get32(m_Header + kRecordOffsetAt);
        m_dMinX = GetDouble(m_Header + kMinXAt);
        m_dMinY = GetDouble(m_Header + kMinYAt);
        m_dMaxX = GetDouble(m_Header + kMaxXAt);
        m_dMaxY = GetDouble(m_Header + kMaxYAt);
        m_dCellWidth = GetDouble(m_Header + kCellWidthAt);
        m_dCellHeight = GetDouble(m_Header + kCellHeightAt);
        const double bounds[4] = {m_dMinX, m_dMinY, m_dMaxX, m_dMaxY};
        for (double b : bounds)
            ok = ok && std::fabs(b) <= kMaxDegrees;
        ok = ok && m_dCellWidth > 0 && m_dCellHeight > 0 && m_dCellWidth <= kMaxDegrees &&
             m_dCellHeight <= kMaxDegrees && m_dMaxX >= m_dMinX && m_dMaxY >= m_dMinY &&
             (m_dMaxX - m_dMinX) / m_dCellWidth < kMaxGridSteps &&
             (m_dMaxY - m_dMinY) / m_dCellHeight < kMaxGridSteps;
        ok = ok && m_nDirectoryOffset >= static_cast<std::uint64_t>(kHeaderSize) &&
             m_nRecordOffset >= m_nDirectoryOffset && m_nRecordOffset <= m_nFileSize;
        m_nDirectoryCells = static_cast<std::int64_t>((m_nRecordOffset - m_nDirectoryOffset) / kDirectoryEntrySize);
    }
    if (!ok) {
        std::fclose(m_pFile);
        m_pFile = nullptr;
        return 0;
    }
    m_nCurCell = -1;
    m_bOpen = 1;
    return 1;
}

void eNdfQueryAround::SetFilter(int type)
{
    // A type names a range of category codes, or that code alone.
    static const int kRanges[][3] = {{1050, 1050, 1055}, {2000, 2000, 2040},   {3000, 3000, 3090},
                                     {7000, 7000, 7038}, {9030, 9030, 9050},   {11000, 11000, 11051},
                                     {12050, 12050, 12060}};
    m_nTypeLow = type;
    m_nTypeHigh = type;
    for (const auto& range : kRanges)
        if (range[0] == type) {
            m_nTypeLow = range[1];
            m_nTypeHigh = range[2];
        }
}

bool eNdfQueryAround::PassesFilter(int code) const
{
    return code >= m_nTypeLow && code <= m_nTypeHigh;
}

int eNdfQueryAround::GetCellRect(CellRect& rect, const double& x, const double& y, const double& radius) const
{
    if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(radius))
        return -1;
    const double r = radius * 1e-5;
    double x0 = x - r;
    if (x0 > m_dMaxX)
        return -1;
    if (x0 < m_dMinX)
        x0 = m_dMinX;
    const double y0 = y - r;
    if (y0 > m_dMaxY)
        return -1;
    // Kept as the grid has always done it: below the grid the minimum y is
    // given to x0, not y0, so a circle reaching below the grid walks from a
    // column far to the side (and, through the row wrap, other cells).
    if (y0 < m_dMinY)
        x0 = m_dMinY;
    double x1 = x + r;
    if (x1 < m_dMinX)
        return -1;
    if (x1 > m_dMaxX)
        x1 = m_dMaxX;
    double y1 = y + r;
    if (y1 < m_dMinY)
        return -1;
    if (y1 > m_dMaxY)
        y1 = m_dMaxY;
    if (!GridStep((x0 - m_dMinX) / m_dCellWidth, rect.column0) ||
        !GridStep((x1 - m_dMinX) / m_dCellWidth, rect.column1) ||
        !GridStep((y0 - m_dMinY) / m_dCellHeight, rect.row0) || !GridStep((y1 - m_dMinY) / m_dCellHeight, rect.row1))
        return -1;
    return rect.row1 < rect.row0 ? 0 : 1;
}

// The walk passes, for each row from row0 to row1, the cells row * 800 +
// column0 to row * 800 + column1. When the columns span more than a row
// (only below the grid, see GetCellRect) consecutive rows pass the same
// cells again; instead of walking them one by one, each cell the directory
// holds is listed once, in walk order, with the number of rows that pass it.
// The hits come out the same, each as often as the walk would give it.
void eNdfQueryAround::WalkQueryCells(const CellRect& rect)
{
    m_arWalk.clear();
    const std::int64_t c0 = rect.column0, c1 = rect.column1;
    if (c1 < c0 || m_nDirectoryCells <= 0)
        return;
    const std::int64_t first = std::max(rect.row0, CeilDiv(-c1, kColumns));
    const std::int64_t last = std::min(rect.row1, FloorDiv(m_nDirectoryCells - 1 - c0, kColumns));
    std::int64_t done = -1; // the highest cell listed so far
    for (std::int64_t row = first; row <= last; ++row) {
        const std::int64_t low = std::max({row * kColumns + c0, done + 1, std::int64_t{0}});
        const std::int64_t high = std::min(row * kColumns + c1, m_nDirectoryCells - 1);
        for (std::int64_t cell = low; cell <= high; ++cell) {
            const std::int64_t rows = std::min(rect.row1, FloorDiv(cell - c0, kColumns)) -
                                      std::max(rect.row0, CeilDiv(cell - c1, kColumns)) + 1;
            m_arWalk.push_back({static_cast<int>(cell), static_cast<int>(rows)});
        }
        done = std::max(done, high);
    }
}

int eNdfQueryAround::GetQueryGrid(eArray<int>& cells, const double& x, const double& y, const double& radius)
{
    cells.RemoveAll();
    m_arWalk.clear();
    CellRect rect;
    const int outcome = GetCellRect(rect, x, y, radius);
    if (outcome < 1)
        return outcome;
    WalkQueryCells(rect);
    for (const CellVisit& visit : m_arWalk)
        cells.Add(visit.cell);
    // The number of cells the walk passes, repeats included.
    const std::int64_t columns = rect.column1 >= rect.column0 ? rect.column1 - rect.column0 + 1 : 0;
    const std::int64_t total = (rect.row1 - rect.row0 + 1) * columns;
    return total > INT_MAX ? INT_MAX : static_cast<int>(total);
}

int eNdfQueryAround::GetFilterGrid(eArray<int>& cells, const double& x, const double& y, const double& radius)
{
    cells.RemoveAll();
    m_arWalk.clear();
    CellRect rect;
    const int outcome = GetCellRect(rect, x, y, radius);
    if (outcome < 1)
        return outcome;
    // A row whose first cell lies outside [0, 639999] ends the walk; first
    // cells grow with the row, so the walk ends at the first row past it or
    // does not start. A cell past 639999 ends its row. Cells searched at an
    // earlier radius are skipped; a cell two rows pass is still taken twice.
    const std::int64_t c0 = rect.column0, c1 = rect.column1;
    if (rect.row0 * kColumns + c0 < 0 || c1 < c0)
        return 0;
    const std::int64_t lastRow = std::min(rect.row1, FloorDiv(kLastNearestCell - c0, kColumns));
    // Cells past the directory hold no POIs: they are neither searched nor
    // counted, which changes no answer (the count only tells whether there
    // is anything to search).
    const std::int64_t lastCell = std::min<std::int64_t>(kLastNearestCell, m_nDirectoryCells - 1);
    if (m_bSearched.empty())
        m_bSearched.assign(static_cast<std::size_t>(kLastNearestCell) + 1, false);
    std::int64_t done = -1, total = 0;
    for (std::int64_t row = rect.row0; row <= lastRow && row * kColumns + c0 <= lastCell; ++row) {
        const std::int64_t low = std::max(row * kColumns + c0, done + 1);
        const std::int64_t high = std::min(row * kColumns + c1, lastCell);
        for (std::int64_t cell = low; cell <= high; ++cell) {
            if (m_bSearched[static_cast<std::size_t>(cell)])
                continue;
            const std::int64_t rows = std::min(lastRow, FloorDiv(cell - c0, kColumns)) -
                                      std::max(rect.row0, CeilDiv(cell - c1, kColumns)) + 1;
            m_arWalk.push_back({static_cast<int>(cell), static_cast<int>(rows)});
            total += rows;
        }
        done = std::max(done, high);
    }
    for (const CellVisit& visit : m_arWalk) {
        cells.Add(visit.cell);
        m_arSearchedCells.Add(visit.cell);
        m_bSearched[static_cast<std::size_t>(visit.cell)] = true;
    }
    return total > INT_MAX ? INT_MAX : static_cast<int>(total);
}

bool eNdfQueryAround::ReadDirectory(std::int64_t cell, std::int64_t last)
{
    if (cell >= m_nDirectoryRunFirst && last < m_nDirectoryRunFirst + m_nDirectoryRunCount)
        return true;
    // This cell's entry and those of the cells after it, at least to `last`.
    const auto count = static_cast<int>(std::min<std::int64_t>(kDirectoryRun, m_nDirectoryCells - cell));
    const std::uint64_t at = m_nDirectoryOffset + static_cast<std::uint64_t>(cell) * kDirectoryEntrySize;
    m_nDirectoryRunCount = 0;
    if (!ReadAt(m_pFile, at, m_DirectoryRun, static_cast<std::size_t>(count) * kDirectoryEntrySize))
        return false;
    m_nDirectoryRunFirst = cell;
    m_nDirectoryRunCount = count;
    return true;
}

bool eNdfQueryAround::CellSpan(std::int64_t cell, std::int32_t& count, std::uint64_t& start) const
{
    const unsigned char* entry =
        m_DirectoryRun + static_cast<std::size_t>(cell - m_nDirectoryRunFirst) * kDirectoryEntrySize;
    count = static_cast<std::int32_t>(NdfBytes::Get32(entry));
    if (count < 1)
        return false;
    // The records must lie wholly inside the file.
    start = m_nRecordOffset + NdfBytes::Get32(entry + 4);
    const std::uint64_t bytes = static_cast<std::uint64_t>(count) * kRecordSize;
    return start <= m_nFileSize && bytes <= m_nFileSize - start && bytes <= static_cast<std::uint64_t>(INT_MAX);
}

// The cells of a walk along a row are neighbours in the directory, and the
// writer lays their records one after the other. So the first cell of such
// a run reads the directory entries of the whole run and the records of all
// its cells in one read each; the later cells of the run are then taken from
// the buffer. Which records each cell gives, and the outcome of a load, are
// those of reading the cell on its own.
unsigned char eNdfQueryAround::LoadGridData(const int& cell)
{
    if (cell == m_nCurCell && m_nCurCell >= 0)
        return 1;
    if (cell < 0 || cell >= m_nDirectoryCells || m_pFile == nullptr)
        return 0;
    m_nCurCell = -1;
    const bool inBlock = cell >= m_nBlockFirst && cell <= m_nBlockLast;
    std::int64_t last = inBlock ? m_nBlockLast : std::max<std::int64_t>(cell, std::min(m_nRunLast, m_nDirectoryCells - 1));
    last = std::min<std::int64_t>(last, cell + kDirectoryRun - 1);
    if (!ReadDirectory(cell, last))
        return 0;
    std::int32_t count = 0;
    std::uint64_t start = 0;
    if (!CellSpan(cell, count, start))
        return 0;
    if (!inBlock) {
        // One read from this cell's records to the end of the last sound
        // cell of the run, when the run's records lie together.
        std::uint64_t end = start + static_cast<std::uint64_t>(count) * kRecordSize, useful = end - start;
        std::int64_t through = cell;
        for (std::int64_t next = cell + 1; next <= last; ++next) {
            std::int32_t n = 0;
            std::uint64_t at = 0;
            if (!CellSpan(next, n, at))
                continue;
            const std::uint64_t nextEnd = at + static_cast<std::uint64_t>(n) * kRecordSize;
            useful += nextEnd - at;
            if (at < start || nextEnd - start > 2 * useful + kBlockSlack || nextEnd - start > kMaxBlock)
                break;
            end = std::max(end, nextEnd);
            through = next;
        }
        const std::uint64_t bytes = end - start;
        if (bytes > static_cast<std::uint64_t>(m_nCellBufferSize)) {
            delete[] m_pCellBuffer;
            m_nCellBufferSize = 0;
            m_pCellBuffer = new (std::nothrow) unsigned char[bytes];
            if (m_pCellBuffer == nullptr)
                return 0;
            m_nCellBufferSize = static_cast<int>(bytes);
        }
        m_nBlockFirst = m_nBlockLast = -1;
        if (!ReadAt(m_pFile, start, m_pCellBuffer, static_cast<std::size_t>(bytes)))
            return 0;
        m_nBlockFirst = cell;
        m_nBlockLast = through;
        m_nBlockStart = start;
    } else if (start < m_nBlockStart ||
               start - m_nBlockStart + static_cast<std::uint64_t>(count) * kRecordSize >
                   static_cast<std::uint64_t>(m_nCellBufferSize)) {
        return 0;
    }
    m_pCellRecords = m_pCellBuffer + (start - m_nBlockStart);
    m_nCellCount = count;
    m_nCurCell = cell;
    return 1;
}

bool eNdfQueryAround::TestRecord(eArray<UE_AROUND_POI_INDEX>& out, const unsigned char* record, double x, double y,
                                 std::int64_t yLow, std::int64_t yHigh, int radius, int type) const
{
    const auto recordY = static_cast<std::int32_t>(NdfBytes::Get32(record + 4));
    // The y window is strict at both ends, as the grid has always had it.
    if (!(recordY > yLow && recordY < yHigh))
        return false;
    if (type != kAllTypes && !PassesFilter(static_cast<std::int32_t>(NdfBytes::Get32(record + 8))))
        return false;
    const double dy = recordY * 1e-6 - y;
    const double dx = RecordX(record) * 1e-6 - x;
    const double scaled = std::sqrt(dy * dy + dx * dx) * 100000.0;
    if (!(scaled < 2147483648.0))
        return false;
    const int distance = static_cast<int>(scaled);
    if (distance > radius)
        return false;
    UE_AROUND_POI_INDEX hit;
    hit.nDistance = distance;
    hit.addr = MakeGlobalAddr(NdfBytes::Get16(record + 16), NdfBytes::Get32(record + 12), NdfBytes::Get16(record + 18));
    out.Add(hit);
    return true;
}

unsigned char eNdfQueryAround::DimSearch(eArray<UE_AROUND_POI_INDEX>& out, const int& cell, const double& radius,
                                         const double& x, const double& y, const int& slack, int& type)
{
    if (!LoadGridData(cell))
        return 0;
    // Whole 1e-6 degrees; the point lies inside the grid's reach here, so
    // the products are far from the 64-bit limits.
    const auto X = static_cast<std::int64_t>(x * 1e6);
    const auto Y = static_cast<std::int64_t>(y * 1e6);
    const std::int64_t xLow = X - slack, xHigh = X + slack;
    const std::int64_t yLow = Y - slack, yHigh = Y + slack;
    const int limit = radius >= INT_MAX ? INT_MAX : radius <= INT_MIN ? INT_MIN : static_cast<int>(radius);
    const unsigned char* records = m_pCellRecords;
    auto at = [records](int i) { return records + static_cast<std::size_t>(i) * kRecordSize; };

    // Binary search for a record inside the x window, then the run around it.
    int lo = 0, hi = m_nCellCount - 1;
    while (hi - lo > 1) {
        const int mid = lo + (hi - lo) / 2;
        const std::int64_t xm = RecordX(at(mid));
        if (xm < xLow) {
            lo = mid;
        } else if (xm > xHigh) {
            hi = mid;
        } else {
            TestRecord(out, at(mid), x, y, yLow, yHigh, limit, type);
            for (int i = mid + 1; i < m_nCellCount && RecordX(at(i)) <= xHigh; ++i)
                TestRecord(out, at(i), x, y, yLow, yHigh, limit, type);
            for (int i = mid - 1; i >= 0 && RecordX(at(i)) >= xLow; --i)
                TestRecord(out, at(i), x, y, yLow, yHigh, limit, type);
            return 1;
        }
    }
    // No probe fell inside: only the two records left can, and they are
    // taken with the x window strict at both ends. A cell of one record
    // has one record left, tested once.
    const std::int64_t xh = RecordX(at(hi));
    if (xh > xLow && xh < xHigh)
        TestRecord(out, at(hi), x, y, yLow, yHigh, limit, type);
    const std::int64_t xl = RecordX(at(lo));
    if (lo != hi && xl > xLow && xl < xHigh)
        TestRecord(out, at(lo), x, y, yLow, yHigh, limit, type);
    return 1;
}

bool eNdfQueryAround::SearchWalk(eArray<UE_AROUND_POI_INDEX>& out, const double& radius, const double& x,
                                 const double& y, int type)
{
    // The slack is the radius in 1e-6 degree units.
    const double whole = std::trunc(radius);
    const int slack = whole >= INT_MAX / 10 ? INT_MAX / 10 * 10
                      : whole <= INT_MIN / 10 ? INT_MIN / 10 * 10
                                              : static_cast<int>(whole) * 10;
    for (std::size_t v = 0; v < m_arWalk.size(); ++v) {
        const CellVisit& visit = m_arWalk[v];
        // Where this run of neighbouring cells ends, for LoadGridData.
        if (v == 0 || m_arWalk[v - 1].cell + 1 != visit.cell) {
            std::size_t end = v;
            while (end + 1 < m_arWalk.size() && m_arWalk[end + 1].cell == m_arWalk[end].cell + 1)
                ++end;
            m_nRunLast = m_arWalk[end].cell;
        }
        const int before = out.GetSize();
        DimSearch(out, visit.cell, radius, x, y, slack, type);
        const int after = out.GetSize();
        for (int again = 1; again < visit.times; ++again)
            for (int i = before; i < after; ++i)
                out.Add(out[i]);
    }
    return out.GetSize() > 0;
}

int eNdfQueryAround::QueryByAround(eArray<ueglobal_addr_t>& addrs, eArray<unsigned int>& scores, const double& x,
                                   const double& y, const double& radius, int& type)
{
    if (!m_bOpen)
        return -1;
    SetFilter(type);
    if (radius > kMaxRadius)
        return -1;
    eArray<int> cells;
    if (GetQueryGrid(cells, x, y, radius) < 1)
        return -1;
    eArray<UE_AROUND_POI_INDEX> candidates;
    SearchWalk(candidates, radius, x, y, type);
    if (candidates.GetSize() >= 2)
        std::qsort(candidates.GetData(), static_cast<std::size_t>(candidates.GetSize()), sizeof(UE_AROUND_POI_INDEX),
                   CompareDistance);
    addrs.RemoveAll();
    scores.RemoveAll();
    for (int i = 0; i < candidates.GetSize(); ++i) {
        addrs.Add(candidates[i].addr);
        // Every hit scores 1: the distances are not handed out.
        scores.Add(1u);
    }
    ForgetCells();
    return candidates.GetSize();
}

unsigned char eNdfQueryAround::QueryNearestPOI(eArray<ueglobal_addr_t>& addrs, int& maxDistance, const double& x,
                                               const double& y)
{
    if (!m_bOpen)
        return 0;
    for (int i = 0; i < m_arSearchedCells.GetSize(); ++i)
        m_bSearched[static_cast<std::size_t>(m_arSearchedCells[i])] = false;
    m_arSearchedCells.RemoveAll();
    maxDistance = 10000;
    int type = kAllTypes;
    SetFilter(type);
    eArray<UE_AROUND_POI_INDEX> candidates;
    eArray<int> cells;
    // 500, 2000, 8000, then give up. Each larger rectangle searches only the
    // cells the smaller ones did not: a POI in an inner cell that lies
    // beyond the smaller radius is not found at the larger one. Kept so.
    for (double radius = 500.0;; radius *= 4) {
        if (radius > kMaxRadius)
            return 0;
        if (GetFilterGrid(cells, x, y, radius) > 0) {
            candidates.RemoveAll();
            SearchWalk(candidates, radius, x, y, type);
        }
        if (candidates.GetSize() > 0)
            break;
    }
    // Exchange sort, nearest first.
    UE_AROUND_POI_INDEX* c = candidates.GetData();
    for (int i = 0; i < candidates.GetSize(); ++i)
        for (int j = i + 1; j < candidates.GetSize(); ++j)
            if (c[i].nDistance > c[j].nDistance) {
                const UE_AROUND_POI_INDEX swap = c[i];
                c[i] = c[j];
                c[j] = swap;
            }
    for (int i = 0; i < candidates.GetSize(); ++i)
        addrs.Add(candidates[i].addr);
    return 1;
}

} // namespace Kest
