#include "Compiler/PageFileWriter.h"

#include <cstring>

#include "Base/eCrc32.h"
#include "Ndf/NdfBytes.h"

namespace Kest {

using namespace NdfFormat;
using NdfBytes::Put16;
using NdfBytes::Put32;
using NdfBytes::Put64;

PageFileWriter::Record& PageFileWriter::Record::Set(unsigned char field, const void* data, std::size_t size)
{
    if (size == 0) {
        m_fields.erase(field);
        return *this;
    }
    const auto* p = static_cast<const unsigned char*>(data);
    m_fields[field].assign(p, p + size);
    return *this;
}

PageFileWriter::Record& PageFileWriter::Record::SetText(unsigned char field, std::string_view text)
{
    return Set(field, text.data(), text.size());
}

PageFileWriter::Record& PageFileWriter::Record::SetInt(unsigned char field, std::uint32_t value)
{
    unsigned char b[4];
    Put32(b, value);
    return Set(field, b, sizeof b);
}

PageFileWriter::Record& PageFileWriter::Record::SetShort(unsigned char field, std::uint16_t value)
{
    unsigned char b[2];
    Put16(b, value);
    return Set(field, b, sizeof b);
}

PageFileWriter::Record& PageFileWriter::Record::SetAddr(unsigned char field, const ueglobal_addr_t& addr)
{
    unsigned char b[8];
    Put32(b, addr.page.nPage);
    Put16(b + 4, addr.page.nFile);
    Put16(b + 6, addr.nElement);
    return Set(field, b, sizeof b);
}

std::size_t PageFileWriter::Record::EncodedSize() const
{
    std::size_t size = kPageOffsetEntrySize + kRecordHeaderSize + m_fields.size() * kFieldEntrySize;
    for (const auto& f : m_fields)
        size += f.second.size();
    return size;
}

void PageFileWriter::Record::EncodeTo(std::vector<unsigned char>& out) const
{
    out.push_back(static_cast<unsigned char>(m_fields.size()));
    for (const auto& f : m_fields) {
        unsigned char entry[kFieldEntrySize];
        entry[0] = f.first;
        Put32(entry + 1, static_cast<std::uint32_t>(f.second.size()));
        out.insert(out.end(), entry, entry + kFieldEntrySize);
    }
    for (const auto& f : m_fields)
        out.insert(out.end(), f.second.begin(), f.second.end());
}

PageFileWriter::PageFileWriter(std::uint16_t fileId, std::uint32_t targetPageSize)
    : m_nFileId(fileId),
      m_nTarget(targetPageSize < 64 ? 64 : (targetPageSize > kMaxPageSize ? kMaxPageSize : targetPageSize))
{
}

PageFileWriter::~PageFileWriter()
{
    if (m_fp != nullptr)
        std::fclose(m_fp);
}

std::size_t PageFileWriter::MaxRecordSize()
{
    // One record alone: header, two offsets, the record.
    return kMaxPageSize - kPageHeaderSize - kPageOffsetEntrySize;
}

bool PageFileWriter::Fail(const std::string& message)
{
    m_error = message;
    return false;
}

bool PageFileWriter::Open(const std::string& path)
{
    if (m_fp != nullptr)
        return Fail("already open");
    m_fp = std::fopen(path.c_str(), "wb");
    if (m_fp == nullptr)
        return Fail("cannot create " + path);
    const unsigned char zeros[kFileHeaderSize] = {};
    if (std::fwrite(zeros, 1, sizeof zeros, m_fp) != sizeof zeros)
        return Fail("cannot write " + path);
    m_nOffset = kFileHeaderSize;
    m_table.clear();
    m_records.clear();
    m_recordEnds.clear();
    return true;
}

std::uint32_t PageFileWriter::GetPageCount() const
{
    return static_cast<std::uint32_t>(m_table.size() + (m_recordEnds.empty() ? 0 : 1));
}

bool PageFileWriter::Fits(std::size_t recordSize) const
{
    const std::size_t used = kPageHeaderSize + (m_recordEnds.size() + 1) * kPageOffsetEntrySize + m_records.size();
    return m_recordEnds.size() < kMaxRecordsPerPage && used + recordSize <= m_nTarget;
}

bool PageFileWriter::FlushPage()
{
    if (m_recordEnds.empty())
        return true;
    if (m_table.size() >= 0xFFFFFFFFu)
        return Fail("too many pages");
    const std::uint32_t count = static_cast<std::uint32_t>(m_recordEnds.size());
    const std::uint32_t table = kPageHeaderSize + (count + 1) * kPageOffsetEntrySize;
    const std::uint32_t size = table + static_cast<std::uint32_t>(m_records.size());
    std::vector<unsigned char> page(size);
    Put32(&page[kPageSizeOffset], size);
    Put32(&page[kPageNumberOffset], static_cast<std::uint32_t>(m_table.size()));
    Put16(&page[kPageRecordCountOffset], static_cast<std::uint16_t>(count));
    Put32(&page[kPageHeaderSize], table);
    for (std::uint32_t i = 0; i < count; ++i)
        Put32(&page[kPageHeaderSize + (i + 1) * kPageOffsetEntrySize], table + m_recordEnds[i]);
    std::memcpy(&page[table], m_records.data(), m_records.size());
    Put32(&page[kPageCrcOffset], eCrc32::Compute(page.data() + 4, size - 4));
    if (std::fwrite(page.data(), 1, size, m_fp) != size)
        return Fail("cannot write a page");
    m_table.emplace_back(m_nOffset, size);
    m_nOffset += size;
    m_records.clear();
    m_recordEnds.clear();
    return true;
}

bool PageFileWriter::AppendRun(const std::vector<Record>& run, ueglobal_addr_t& first, bool atPageStart)
{
    if (m_fp == nullptr)
        return Fail("not open");
    std::size_t total = 0;
    for (const Record& r : run) {
        if (r.Fields().size() > 255)
            return Fail("a record has more than 255 fields");
        if (r.EncodedSize() > MaxRecordSize())
            return Fail("a record is larger than a page");
        total += r.EncodedSize();
    }
    // Keep the run in one page when it fits in one.
    const bool fitsAlone = total + kPageHeaderSize + kPageOffsetEntrySize <= m_nTarget &&
                           run.size() <= kMaxRecordsPerPage;
    if (!m_recordEnds.empty() && (atPageStart || (!Fits(total) && fitsAlone) || (run.size() > 0 && !Fits(run[0].EncodedSize()))))
        if (!FlushPage())
            return false;
    first = MakeGlobalAddr(m_nFileId, static_cast<std::uint32_t>(m_table.size()),
                           static_cast<std::uint16_t>(m_recordEnds.size()));
    for (const Record& r : run) {
        if (!m_recordEnds.empty() && !Fits(r.EncodedSize()) && !FlushPage())
            return false;
        r.EncodeTo(m_records);
        m_recordEnds.push_back(static_cast<std::uint32_t>(m_records.size()));
    }
    return true;
}

void PageFileWriter::SetIndexHeader(const ueglobal_addr_t& root, std::int32_t depth)
{
    Put32(m_indexHeader, root.page.nPage);
    Put16(m_indexHeader + 4, root.page.nFile);
    Put16(m_indexHeader + 6, root.nElement);
    Put32(m_indexHeader + 8, static_cast<std::uint32_t>(depth));
}

bool PageFileWriter::Close()
{
    if (m_fp == nullptr)
        return Fail("not open");
    bool ok = FlushPage();
    const std::uint64_t tableOffset = m_nOffset;
    for (std::size_t i = 0; ok && i < m_table.size(); ++i) {
        unsigned char entry[kTableEntrySize];
        Put64(entry, m_table[i].first);
        Put32(entry + 8, m_table[i].second);
        ok = std::fwrite(entry, 1, sizeof entry, m_fp) == sizeof entry;
    }
    unsigned char head[kFileHeaderSize] = {};
    std::memcpy(head, m_indexHeader, kIndexHeaderSize);
    std::memcpy(head + kFileMagicOffset, kFileMagic, 4);
    Put16(head + kFileVersionOffset, kFileVersion);
    Put16(head + kFileIdOffset, m_nFileId);
    Put32(head + kFilePageCountOffset, static_cast<std::uint32_t>(m_table.size()));
    Put64(head + kFileTableOffsetOffset, tableOffset);
    Put32(head + kFileHeaderCrcOffset, eCrc32::Compute(head, kFileHeaderCrcOffset));
    ok = ok && std::fseek(m_fp, 0, SEEK_SET) == 0 && std::fwrite(head, 1, sizeof head, m_fp) == sizeof head;
    ok = (std::fclose(m_fp) == 0) && ok;
    m_fp = nullptr;
    return ok ? true : Fail(m_error.empty() ? "cannot write the file" : m_error);
}

} // namespace Kest
