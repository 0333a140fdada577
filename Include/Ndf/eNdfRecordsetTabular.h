#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "Base/KestExport.h"
#include "Base/eArray.h"
#include "Base/eString.h"
#include "Base/ueglobal_addr_t.h"
#include "Ndf/eNdfPool.h"

namespace Kest {

// A record set over runs of consecutive records. Run i starts at element
// EIDs[i] of page PIDs[i] and holds EIDCounts[i] records; a run that passes
// the last record of a page goes on at element 0 of the next page of the same
// file. Records are numbered 0.. through the runs in order (GetID, MoveTo).
//
// Fields are read in place from the pool's pages (no copy); the pointer a
// GetFieldValue hands out stays valid until the record set moves to another
// page, is given new lists or is destroyed. The record set holds one page of
// the pool at a time, and holds it on its own, so it may outlive the pool.
class KEST_API eNdfRecordsetTabular {
public:
    eNdfRecordsetTabular();
    virtual ~eNdfRecordsetTabular();
    eNdfRecordsetTabular(const eNdfRecordsetTabular&) = delete;
    eNdfRecordsetTabular& operator=(const eNdfRecordsetTabular&) = delete;

    // The pool the pages come from (not owned). Resets the position.
    void SetPool(eNdfPool* pool);
    eNdfPool* GetPool() const { return m_pPool; }

    // The three parallel lists; the runs are as many as the shortest list.
    // Setting a list resets the position; appending keeps it.
    void SetPIDs(const eArray<ueaddr_t>& pids);
    void SetEIDs(const eArray<unsigned short>& eids);
    void SetEIDCounts(const eArray<unsigned int>& counts);
    // One run of `count` records from `first`, read from `pool`: the three
    // lists in one step, as the index readers walk their nodes.
    void SetRun(eNdfPool* pool, const ueglobal_addr_t& first, unsigned int count);
    void AppendPIDs(const eArray<ueaddr_t>& pids);
    void AppendEIDs(const eArray<unsigned short>& eids);
    void AppendEIDCounts(const eArray<unsigned int>& counts);

    // The keys the index offered with the hits (next letters and the like).
    void SetKey(const eArray<eString>& keys);
    // The key at `index`; the empty string outside the list.
    eString GetKey(int index) const;
    int GetKeyCount() const { return m_arKeys.GetSize(); }

    // Positioning. Each returns false, and leaves the record set at its end,
    // when the record does not exist or its page cannot be read.
    bool MoveFirst();
    bool MoveNext();
    bool MoveTo(int id);
    bool IsEOF() const { return m_nPos < 0; }
    // The number of the current record (0 for the first), -1 at the end.
    int GetID() const { return m_nPos < 0 ? -1 : static_cast<int>(m_nPos); }
    // The number of records of all runs (capped at the largest int).
    int GetRecordCount() const;

    // Positions the record set on every record in turn, in the order the
    // records lie in their files (file, page, element) rather than by
    // number, and calls `visit` with the record's number: a walk over many
    // scattered records then reads each page once. Only for lists of
    // single-record runs (where a record lies is known without its page);
    // false, having visited nothing, for any other list, and false when a
    // record cannot be read (the walk stops there). The position is at the
    // end afterwards.
    bool VisitInPageOrder(const std::function<void(int id)>& visit);

    // Points `value` at the current record's field and returns its length;
    // 0 (and null) when the field is absent or there is no current record.
    int GetFieldValue(int field, unsigned char*& value);
    // The field as text; false (and `text` empty) when it is absent.
    bool GetFieldValue(int field, eString& text);
    // The current record's global address (the zero address at the end).
    ueglobal_addr_t GetGID() const;

    // Narrows the hits by a text; this base version keeps every hit and
    // answers true. Refinements that read the records themselves follow it.
    virtual bool Filter(const char* text);
    // Empties the three lists and the position; the pool and the keys stay.
    void Clear();

private:
    // Where a run's records lie, page by page, for runs that leave their
    // first page: start[j] is the run position of the first record in page
    // first+j, avail[j] the run's records in that page.
    struct RunPages {
        std::vector<std::uint64_t> start;
        std::vector<std::uint32_t> avail;
    };

    void ListsChanged(bool keepPosition);
    void Prepare() const;
    bool Locate(std::int64_t pos);
    bool LocateInRun(std::size_t run, std::uint64_t offset);
    std::uint32_t RecordsOf(const ueaddr_t& page, eNdfPool::PageRef& bytes);
    void Release();

    eNdfPool* m_pPool = nullptr;
    eArray<ueaddr_t> m_arPIDs;
    eArray<unsigned short> m_arEIDs;
    eArray<unsigned int> m_arEIDCounts;
    eArray<eString> m_arKeys;

    // Derived from the lists: record number of each run's first record, and
    // the total behind the last run.
    mutable std::vector<std::uint64_t> m_runStart;
    mutable bool m_bDirty = true;
    std::map<std::size_t, RunPages> m_runPages;

    // The current record.
    std::int64_t m_nPos = -1;
    std::size_t m_nRun = 0;
    std::uint64_t m_nInRun = 0;
    ueaddr_t m_pidCur{};
    std::uint16_t m_nElement = 0;
    std::uint32_t m_nPageRecords = 0;
    eNdfPool::PageRef m_page;
};

} // namespace Kest
