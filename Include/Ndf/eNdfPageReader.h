#pragma once

#include <cstdint>

#include "Base/KestExport.h"

namespace Kest {

// Reads the fields of the records of one page held in memory (see the page
// layout in docs/format.md). Every offset and length taken from the page is
// checked against the page's bounds: a malformed page yields absent fields,
// never a read outside the buffer.
class KEST_API eNdfPageReader {
public:
    eNdfPageReader() = default;

    // Puts the page at `data` under the reader. `size` is the most the reader
    // may read; the page's own size field narrows it further, so a caller
    // that passes a generous size (readers pass 131072) still stays inside
    // the page. A buffer whose header does not fit leaves the reader empty.
    void SetData(unsigned char* data, int size);

    // Points `value` at the bytes of field `field` of record `record` and
    // returns their length; 0 (and `value` null) when the record or field is
    // absent or the page is malformed there.
    int GetFieldValue(unsigned short record, unsigned char field, unsigned char*& value) const;

    // The number of records of the page (0 when none is attached).
    int GetRecordCount() const { return static_cast<int>(m_nRecords); }

    // Checks the whole structure of a page of `size` bytes: header, offset
    // table and every record's field directory (not the checksum). The pool
    // runs it on every page it loads.
    static bool IsWellFormed(const unsigned char* page, std::uint32_t size);

    // The field lookup itself, on a page of `size` bytes.
    static int FindField(const unsigned char* page, std::uint32_t size, std::uint32_t record,
                         unsigned int field, const unsigned char*& value);

    // The record count in a page's header, or 0 when the header or the
    // offset table does not fit in `size`.
    static std::uint32_t RecordCount(const unsigned char* page, std::uint32_t size);

private:
    unsigned char* m_pData = nullptr;
    std::uint32_t m_nSize = 0;
    std::uint32_t m_nRecords = 0;
};

} // namespace Kest
