#include "Ndf/eNdfPageReader.h"

#include "Base/NdfFormat.h"
#include "Ndf/NdfBytes.h"

namespace Kest {

using namespace NdfFormat;
using NdfBytes::Get16;
using NdfBytes::Get32;

std::uint32_t eNdfPageReader::RecordCount(const unsigned char* page, std::uint32_t size)
{
    if (page == nullptr || size < kPageHeaderSize)
        return 0;
    const std::uint32_t count = Get16(page + kPageRecordCountOffset);
    const std::uint64_t table = kPageHeaderSize + std::uint64_t(count + 1) * kPageOffsetEntrySize;
    return table <= size ? count : 0;
}

void eNdfPageReader::SetData(unsigned char* data, int size)
{
    m_pData = nullptr;
    m_nSize = 0;
    m_nRecords = 0;
    if (data == nullptr || size < static_cast<int>(kPageHeaderSize))
        return;
    std::uint32_t limit = static_cast<std::uint32_t>(size);
    const std::uint32_t own = Get32(data + kPageSizeOffset);
    if (own < limit)
        limit = own; // never read past the page itself
    m_pData = data;
    m_nSize = limit;
    m_nRecords = RecordCount(data, limit);
}

int eNdfPageReader::GetFieldValue(unsigned short record, unsigned char field, unsigned char*& value) const
{
    const unsigned char* found = nullptr;
    const int length = FindField(m_pData, m_nSize, record, field, found);
    value = const_cast<unsigned char*>(found);
    return length;
}

int eNdfPageReader::FindField(const unsigned char* page, std::uint32_t size, std::uint32_t record,
                              unsigned int field, const unsigned char*& value)
{
    value = nullptr;
    const std::uint32_t count = RecordCount(page, size);
    if (record >= count)
        return 0;
    const unsigned char* offsets = page + kPageHeaderSize;
    const std::uint32_t begin = Get32(offsets + record * kPageOffsetEntrySize);
    const std::uint32_t end = Get32(offsets + (record + 1) * kPageOffsetEntrySize);
    if (begin >= end || end > size)
        return 0;
    const unsigned char* rec = page + begin;
    const std::uint32_t span = end - begin;
    const std::uint32_t fields = rec[0];
    const std::uint64_t directory = kRecordHeaderSize + std::uint64_t(fields) * kFieldEntrySize;
    if (directory > span)
        return 0;
    // Field bytes follow the directory in directory order.
    std::uint64_t at = directory;
    for (std::uint32_t i = 0; i < fields; ++i) {
        const unsigned char* entry = rec + kRecordHeaderSize + i * kFieldEntrySize;
        const std::uint32_t length = Get32(entry + 1);
        if (at + length > span)
            return 0;
        if (entry[0] == field) {
            if (length == 0)
                return 0;
            value = rec + at;
            return static_cast<int>(length);
        }
        if (entry[0] > field)
            return 0; // numbers ascend: the field is absent
        at += length;
    }
    return 0;
}

bool eNdfPageReader::IsWellFormed(const unsigned char* page, std::uint32_t size)
{
    if (page == nullptr || size < kPageHeaderSize || size > kMaxPageSize)
        return false;
    if (Get32(page + kPageSizeOffset) != size || Get16(page + kPageReservedOffset) != 0)
        return false;
    const std::uint32_t count = Get16(page + kPageRecordCountOffset);
    const std::uint64_t table = kPageHeaderSize + std::uint64_t(count + 1) * kPageOffsetEntrySize;
    if (table > size)
        return false;
    const unsigned char* offsets = page + kPageHeaderSize;
    if (Get32(offsets) != table || Get32(offsets + count * kPageOffsetEntrySize) != size)
        return false;
    for (std::uint32_t r = 0; r < count; ++r) {
        const std::uint32_t begin = Get32(offsets + r * kPageOffsetEntrySize);
        const std::uint32_t end = Get32(offsets + (r + 1) * kPageOffsetEntrySize);
        if (begin >= end || end > size)
            return false;
        const unsigned char* rec = page + begin;
        const std::uint32_t fields = rec[0];
        std::uint64_t total = kRecordHeaderSize + std::uint64_t(fields) * kFieldEntrySize;
        if (total > end - begin)
            return false;
        for (std::uint32_t i = 0; i < fields; ++i) {
            const unsigned char* entry = rec + kRecordHeaderSize + i * kFieldEntrySize;
            if (i > 0 && entry[0] <= entry[-static_cast<int>(kFieldEntrySize)])
                return false;
            total += Get32(entry + 1);
        }
        if (total != end - begin)
            return false;
    }
    return true;
}

} // namespace Kest
