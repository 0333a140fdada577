#include "Ndf/eNdfRecordsetTabular.h"

#include <algorithm>
#include <climits>

#include "Ndf/eNdfPageReader.h"

namespace Kest {

eNdfRecordsetTabular::eNdfRecordsetTabular() = default;

eNdfRecordsetTabular::~eNdfRecordsetTabular() = default;

void eNdfRecordsetTabular::SetPool(eNdfPool* pool)
{
    m_pPool = pool;
    ListsChanged(false);
}

void eNdfRecordsetTabular::SetPIDs(const eArray<ueaddr_t>& pids)
{
    m_arPIDs = pids;
    ListsChanged(false);
}

void eNdfRecordsetTabular::SetEIDs(const eArray<unsigned short>& eids)
{
    m_arEIDs = eids;
    ListsChanged(false);
}

void eNdfRecordsetTabular::SetEIDCounts(const eArray<unsigned int>& counts)
{
    m_arEIDCounts = counts;
    ListsChanged(false);
}

void eNdfRecordsetTabular::SetRun(eNdfPool* pool, const ueglobal_addr_t& first, unsigned int count)
{
    m_pPool = pool;
    m_arPIDs.SetSize(1);
    m_arEIDs.SetSize(1);
    m_arEIDCounts.SetSize(1);
    GetPid(m_arPIDs[0], first);
    m_arEIDs[0] = GetEid(first);
    m_arEIDCounts[0] = count;
    ListsChanged(false);
}

void eNdfRecordsetTabular::AppendPIDs(const eArray<ueaddr_t>& pids)
{
    m_arPIDs.Append(pids);
    ListsChanged(true);
}

void eNdfRecordsetTabular::AppendEIDs(const eArray<unsigned short>& eids)
{
    m_arEIDs.Append(eids);
    ListsChanged(true);
}

void eNdfRecordsetTabular::AppendEIDCounts(const eArray<unsigned int>& counts)
{
    m_arEIDCounts.Append(counts);
    ListsChanged(true);
}

void eNdfRecordsetTabular::SetKey(const eArray<eString>& keys)
{
    m_arKeys = keys;
}

eString eNdfRecordsetTabular::GetKey(int index) const
{
    if (index < 0 || index >= m_arKeys.GetSize())
        return eString();
    return m_arKeys.GetData()[index];
}

void eNdfRecordsetTabular::Clear()
{
    m_arPIDs.RemoveAll();
    m_arEIDs.RemoveAll();
    m_arEIDCounts.RemoveAll();
    ListsChanged(false);
}

bool eNdfRecordsetTabular::Filter(const char* /*text*/)
{
    return true;
}

void eNdfRecordsetTabular::ListsChanged(bool keepPosition)
{
    m_bDirty = true;
    if (!keepPosition) {
        // Appending leaves the earlier runs as they were, so their page maps
        // and the position stay true; anything else drops them.
        m_runPages.clear();
        Release();
    }
}

void eNdfRecordsetTabular::Release()
{
    m_nPos = -1;
    m_page.reset();
    m_nPageRecords = 0;
}

void eNdfRecordsetTabular::Prepare() const
{
    if (!m_bDirty)
        return;
    const std::size_t runs = static_cast<std::size_t>(
        std::min({m_arPIDs.GetSize(), m_arEIDs.GetSize(), m_arEIDCounts.GetSize()}));
    m_runStart.resize(runs + 1);
    m_runStart[0] = 0;
    const unsigned int* counts = m_arEIDCounts.GetData();
    for (std::size_t i = 0; i < runs; ++i)
        m_runStart[i + 1] = m_runStart[i] + counts[i];
    m_bDirty = false;
}

int eNdfRecordsetTabular::GetRecordCount() const
{
    Prepare();
    const std::uint64_t total = m_runStart.back();
    return total > static_cast<std::uint64_t>(INT_MAX) ? INT_MAX : static_cast<int>(total);
}

bool eNdfRecordsetTabular::VisitInPageOrder(const std::function<void(int id)>& visit)
{
    Prepare();
    const std::size_t runs = m_runStart.size() - 1;
    const unsigned int* counts = m_arEIDCounts.GetData();
    if (runs > static_cast<std::size_t>(INT_MAX) ||
        std::any_of(counts, counts + runs, [](unsigned int n) { return n != 1; })) {
        Release();
        return false; // a run of several records, or of none
    }
    const int count = static_cast<int>(runs);
    // Where record i lies, as one sortable number: file, page, element.
    const ueaddr_t* pids = m_arPIDs.GetData();
    const unsigned short* eids = m_arEIDs.GetData();
    std::vector<std::pair<std::uint64_t, int>> order(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        order[static_cast<std::size_t>(i)] = {(std::uint64_t(pids[i].nFile) << 48) |
                                                  (std::uint64_t(pids[i].nPage) << 16) | eids[i],
                                              i};
    std::sort(order.begin(), order.end());
    for (const auto& entry : order) {
        if (!Locate(entry.second))
            return false;
        visit(entry.second);
    }
    Release();
    return true;
}

bool eNdfRecordsetTabular::MoveFirst()
{
    return Locate(0);
}

bool eNdfRecordsetTabular::MoveTo(int id)
{
    return Locate(id);
}

bool eNdfRecordsetTabular::MoveNext()
{
    if (m_nPos < 0)
        return false;
    Prepare();
    // The common step: the next record of the same run in the same page.
    const std::uint64_t runCount = m_arEIDCounts.GetData()[m_nRun];
    if (m_nInRun + 1 < runCount && std::uint32_t(m_nElement) + 1 < m_nPageRecords) {
        ++m_nPos;
        ++m_nInRun;
        ++m_nElement;
        return true;
    }
    return Locate(m_nPos + 1);
}

std::uint32_t eNdfRecordsetTabular::RecordsOf(const ueaddr_t& page, eNdfPool::PageRef& bytes)
{
    bytes = m_pPool->PinPage(page);
    if (!bytes)
        return 0;
    return eNdfPageReader::RecordCount(bytes->data(), static_cast<std::uint32_t>(bytes->size()));
}

bool eNdfRecordsetTabular::Locate(std::int64_t pos)
{
    Prepare();
    if (m_pPool == nullptr || pos < 0 || static_cast<std::uint64_t>(pos) >= m_runStart.back()) {
        Release();
        return false;
    }
    const auto upper = std::upper_bound(m_runStart.begin(), m_runStart.end(), static_cast<std::uint64_t>(pos));
    const std::size_t run = static_cast<std::size_t>(upper - m_runStart.begin()) - 1;
    if (!LocateInRun(run, static_cast<std::uint64_t>(pos) - m_runStart[run])) {
        Release();
        return false;
    }
    m_nPos = pos;
    return true;
}

bool eNdfRecordsetTabular::LocateInRun(std::size_t run, std::uint64_t offset)
{
    const ueaddr_t first = m_arPIDs.GetData()[run];
    const std::uint32_t firstElement = m_arEIDs.GetData()[run];
    eNdfPool::PageRef bytes;
    std::uint32_t records = 0;
    ueaddr_t page = first;
    std::uint32_t element = 0;

    auto known = m_runPages.find(run);
    if (known == m_runPages.end()) {
        records = RecordsOf(first, bytes);
        if (firstElement >= records)
            return false;
        if (offset < records - firstElement) {
            element = firstElement + static_cast<std::uint32_t>(offset);
        } else {
            RunPages map;
            map.start.push_back(0);
            map.avail.push_back(records - firstElement);
            known = m_runPages.emplace(run, std::move(map)).first;
            bytes.reset();
        }
    }
    if (known != m_runPages.end()) {
        // Extend the page map until it reaches the offset, then search it.
        RunPages& map = known->second;
        while (map.start.back() + map.avail.back() <= offset) {
            const std::uint64_t next = std::uint64_t(first.nPage) + map.start.size();
            if (next > 0xFFFFFFFFu)
                return false;
            const ueaddr_t nextPage{static_cast<std::uint32_t>(next), first.nFile};
            eNdfPool::PageRef nextBytes;
            const std::uint32_t n = RecordsOf(nextPage, nextBytes);
            if (!nextBytes)
                return false; // the run goes past the file's last readable page
            map.start.push_back(map.start.back() + map.avail.back());
            map.avail.push_back(n);
        }
        // Pages without records share their start with the next page, so
        // the last page starting at or before the offset is the one holding it.
        const auto upper = std::upper_bound(map.start.begin(), map.start.end(), offset);
        const std::size_t j = static_cast<std::size_t>(upper - map.start.begin()) - 1;
        page.nPage = first.nPage + static_cast<std::uint32_t>(j);
        element = static_cast<std::uint32_t>(offset - map.start[j]) + (j == 0 ? firstElement : 0);
        records = RecordsOf(page, bytes);
        if (element >= records)
            return false;
    }
    m_nRun = run;
    m_nInRun = offset;
    m_pidCur = page;
    m_nElement = static_cast<std::uint16_t>(element);
    m_nPageRecords = records;
    m_page = std::move(bytes);
    return true;
}

int eNdfRecordsetTabular::GetFieldValue(int field, unsigned char*& value)
{
    value = nullptr;
    if (m_nPos < 0 || !m_page || field < 0 || field > 255)
        return 0;
    const unsigned char* found = nullptr;
    const int length = eNdfPageReader::FindField(m_page->data(), static_cast<std::uint32_t>(m_page->size()),
                                                 m_nElement, static_cast<unsigned int>(field), found);
    value = const_cast<unsigned char*>(found);
    return length;
}

bool eNdfRecordsetTabular::GetFieldValue(int field, eString& text)
{
    unsigned char* value = nullptr;
    const int length = GetFieldValue(field, value);
    if (length <= 0) {
        text.Empty();
        return false;
    }
    text = eString(reinterpret_cast<const char*>(value), length);
    return true;
}

ueglobal_addr_t eNdfRecordsetTabular::GetGID() const
{
    if (m_nPos < 0)
        return ueglobal_addr_t{};
    return MakeGlobalAddr(m_pidCur.nFile, m_pidCur.nPage, m_nElement);
}

} // namespace Kest
