#pragma once

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Base/NdfFormat.h"
#include "Base/ueglobal_addr_t.h"

namespace Kest {

// Writes a page file "N.ndf" (docs/format.md, "Page files") record by record
// and tells the global address of each record as it is appended. Pages are
// written out as they fill, so memory stays at one page.
//
// Placement: a page is filled up to the target size (8 KB by default); a
// record that does not fit in the target on its own gets a page of its own,
// up to 131072 bytes. A run appended in one call is kept in one page when it
// fits in one (it starts a new page rather than be split); a longer run goes
// on over the following pages, which is how readers find it (a run that
// passes the last record of a page continues at element 0 of the next page).
// The same records in the same order always give the same bytes.
class PageFileWriter {
public:
    // A record: numbered fields of any length. An empty field reads back as
    // absent and is not stored.
    class Record {
    public:
        Record& Set(unsigned char field, const void* data, std::size_t size);
        Record& SetText(unsigned char field, std::string_view text);
        // A 4-byte field: how readers recognise an integer.
        Record& SetInt(unsigned char field, std::uint32_t value);
        // A 2-byte field (area codes and the like).
        Record& SetShort(unsigned char field, std::uint16_t value);
        // An 8-byte field: how readers recognise an address (u32 page,
        // u16 file, u16 element: the bytes of a ueglobal_addr_t).
        Record& SetAddr(unsigned char field, const ueglobal_addr_t& addr);

        const std::map<unsigned char, std::vector<unsigned char>>& Fields() const { return m_fields; }
        // The bytes this record takes in a page, its offset entry included.
        std::size_t EncodedSize() const;
        void EncodeTo(std::vector<unsigned char>& out) const;

    private:
        std::map<unsigned char, std::vector<unsigned char>> m_fields;
    };

    explicit PageFileWriter(std::uint16_t fileId, std::uint32_t targetPageSize = NdfFormat::kDefaultTargetPageSize);
    ~PageFileWriter();
    PageFileWriter(const PageFileWriter&) = delete;
    PageFileWriter& operator=(const PageFileWriter&) = delete;

    // Creates the file; false (see GetError) when it cannot.
    bool Open(const std::string& path);

    // Appends the records as one run and gives the address of its first
    // record (for an empty run: where the next record would go). With
    // `atPageStart` the run starts at element 0 of a fresh page, as the
    // root record of an index must. False, with nothing written, when a
    // record cannot be stored (larger than a page, or the file is not open).
    bool AppendRun(const std::vector<Record>& run, ueglobal_addr_t& first, bool atPageStart = false);
    bool Append(const Record& record, ueglobal_addr_t& addr) { return AppendRun({record}, addr); }

    // The 12 bytes at offset 0: the index's root address and depth (zeros
    // unless set).
    void SetIndexHeader(const ueglobal_addr_t& root, std::int32_t depth);

    // Writes the last page, the page table and the headers, and closes.
    bool Close();

    const std::string& GetError() const { return m_error; }
    std::uint16_t GetFileId() const { return m_nFileId; }
    std::uint32_t GetTargetPageSize() const { return m_nTarget; }
    // Pages written so far, the open page included when it holds records.
    std::uint32_t GetPageCount() const;

    // The largest record (EncodedSize) that a page can take.
    static std::size_t MaxRecordSize();

private:
    bool Fits(std::size_t recordSize) const;
    bool FlushPage();
    bool Fail(const std::string& message);

    std::uint16_t m_nFileId;
    std::uint32_t m_nTarget;
    std::FILE* m_fp = nullptr;
    std::string m_error;
    std::uint64_t m_nOffset = 0;
    std::vector<std::pair<std::uint64_t, std::uint32_t>> m_table; // offset, size per page
    std::vector<unsigned char> m_records;                          // the open page's records
    std::vector<std::uint32_t> m_recordEnds;                       // end of each, relative to m_records
    unsigned char m_indexHeader[NdfFormat::kIndexHeaderSize] = {};
};

} // namespace Kest
