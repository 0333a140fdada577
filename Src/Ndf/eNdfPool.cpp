#include "Ndf/eNdfPool.h"

#include <climits>
#include <cstring>

#include "Base/NdfFormat.h"
#include "Base/ReadAt.h"
#include "Base/eCrc32.h"
#include "Ndf/NdfBytes.h"
#include "Ndf/eNdfPageReader.h"

namespace Kest {

using namespace NdfFormat;
using NdfBytes::Get16;
using NdfBytes::Get32;
using NdfBytes::Get64;

eNdfPool::eNdfPool() = default;

eNdfPool::~eNdfPool()
{
    CloseAll();
}

void eNdfPool::SetSize(int nBytes)
{
    m_nBudget = nBytes > 0 ? static_cast<std::size_t>(nBytes) : 0;
    EvictDownTo(m_nBudget);
}

void eNdfPool::SetDataPath(const eString& path)
{
    if (path == m_strPath)
        return;
    CloseAll();
    m_strPath = path;
}

void eNdfPool::CloseAll()
{
    for (auto& f : m_files)
        if (f.second.fp != nullptr)
            std::fclose(f.second.fp);
    m_files.clear();
    // Pages held by record sets stay alive with their holders.
    m_lru.clear();
    m_index.clear();
    m_nCached = 0;
}

void eNdfPool::NoteDamage(std::uint16_t file, const char* what, std::uint32_t page)
{
    if (!m_strDamage.IsEmpty())
        return; // the first one found is the one reported
    if (std::strcmp(what, "page") == 0)
        m_strDamage.Format("%u.ndf page %u", static_cast<unsigned>(file), static_cast<unsigned>(page));
    else
        m_strDamage.Format("%u.ndf %s", static_cast<unsigned>(file), what);
}

std::uint64_t eNdfPool::Key(const ueaddr_t& page)
{
    return (static_cast<std::uint64_t>(page.nFile) << 32) | page.nPage;
}

eNdfPool::File* eNdfPool::OpenFile(std::uint16_t id)
{
    auto found = m_files.find(id);
    if (found != m_files.end())
        return &found->second;

    eString name;
    name.Format("%s%u.ndf", m_strPath.Cstr(), static_cast<unsigned>(id));
    std::FILE* fp = std::fopen(name.Cstr(), "rb");
    if (fp == nullptr)
        return nullptr;
    unsigned char head[kFileHeaderSize];
    bool ok = ReadAt(fp, 0, head, sizeof head) && std::fseek(fp, 0, SEEK_END) == 0;
    const long length = ok ? std::ftell(fp) : -1;
    File file;
    if (ok) {
        file.pageCount = Get32(head + kFilePageCountOffset);
        file.tableOffset = Get64(head + kFileTableOffsetOffset);
        const std::uint64_t tableEnd = file.tableOffset + std::uint64_t(file.pageCount) * kTableEntrySize;
        ok = length >= 0 && std::memcmp(head + kFileMagicOffset, kFileMagic, 4) == 0 &&
             Get16(head + kFileVersionOffset) == kFileVersion && Get16(head + kFileIdOffset) == id &&
             Get32(head + kFileHeaderCrcOffset) == eCrc32::Compute(head, kFileHeaderCrcOffset) &&
             file.tableOffset >= kFileHeaderSize && file.tableOffset <= (std::uint64_t(1) << 62) &&
             tableEnd <= static_cast<std::uint64_t>(length);
    }
    // The page table is kept in memory (12 bytes a page), so that loading a
    // page is one read. Its entries are checked when they are used.
    if (ok) {
        file.table.resize(std::size_t(file.pageCount) * kTableEntrySize);
        ok = file.table.empty() || ReadAt(fp, file.tableOffset, file.table.data(), file.table.size());
    }
    if (!ok) {
        std::fclose(fp);
        NoteDamage(id, "header", 0);
        return nullptr;
    }
    file.fp = fp;
    file.proven.assign(file.pageCount, false);
    return &m_files.emplace(id, file).first->second;
}

eNdfPool::PageRef eNdfPool::Load(const ueaddr_t& page)
{
    File* file = OpenFile(page.nFile);
    if (file == nullptr || page.nPage >= file->pageCount)
        return nullptr;
    const unsigned char* entry = file->table.data() + std::size_t(page.nPage) * kTableEntrySize;
    const std::uint64_t offset = Get64(entry);
    const std::uint32_t size = Get32(entry + 8);
    if (size < kPageHeaderSize || size > kMaxPageSize || offset < kFileHeaderSize ||
        offset > file->tableOffset || file->tableOffset - offset < size) {
        NoteDamage(page.nFile, "page", page.nPage);
        return nullptr;
    }
    auto bytes = std::make_shared<std::vector<unsigned char>>(size);
    unsigned char* p = bytes->data();
    if (!ReadAt(file->fp, offset, p, size)) {
        NoteDamage(page.nFile, "page", page.nPage);
        return nullptr;
    }
    if (file->proven[page.nPage])
        return bytes;
    // The checksum proves the bytes; the page's number and size prove that
    // the table pointed at the right page.
    if (Get32(p + kPageCrcOffset) != eCrc32::Compute(p + 4, size - 4) ||
        Get32(p + kPageNumberOffset) != page.nPage || !eNdfPageReader::IsWellFormed(p, size)) {
        NoteDamage(page.nFile, "page", page.nPage);
        return nullptr;
    }
    file->proven[page.nPage] = true;
    return bytes;
}

void eNdfPool::EvictDownTo(std::size_t limit)
{
    // Oldest first; pages that a record set still holds are skipped.
    for (auto it = m_lru.end(); it != m_lru.begin() && m_nCached > limit;) {
        --it;
        if (it->bytes.use_count() > 1)
            continue;
        m_nCached -= it->bytes->size();
        m_index.erase(it->key);
        it = m_lru.erase(it);
    }
}

void eNdfPool::Admit(std::uint64_t key, const PageRef& bytes)
{
    const std::size_t size = bytes->size();
    if (size > m_nLargestPage)
        m_nLargestPage = size;
    EvictDownTo(m_nBudget >= size ? m_nBudget - size : 0);
    // Cached when it fits in the budget, or when the cache is still within
    // the budget: then it goes over by this one page at most.
    if (m_nCached + size > m_nBudget && m_nCached > m_nBudget)
        return;
    m_lru.push_front(Entry{key, bytes});
    m_index[key] = m_lru.begin();
    m_nCached += size;
    if (m_nCached > m_nPeak)
        m_nPeak = m_nCached;
}

eNdfPool::PageRef eNdfPool::PinPage(const ueaddr_t& page)
{
    const std::uint64_t key = Key(page);
    auto found = m_index.find(key);
    if (found != m_index.end()) {
        ++m_nHits;
        m_lru.splice(m_lru.begin(), m_lru, found->second);
        return found->second->bytes;
    }
    ++m_nMisses;
    PageRef bytes = Load(page);
    if (bytes)
        Admit(key, bytes);
    return bytes;
}

int eNdfPool::GetPageSize(const ueaddr_t& page)
{
    PageRef bytes = PinPage(page);
    return bytes ? static_cast<int>(bytes->size()) : 0;
}

bool eNdfPool::GetPage(const ueaddr_t& page, unsigned char* buffer, int size)
{
    if (buffer == nullptr || size <= 0)
        return false;
    PageRef bytes = PinPage(page);
    if (!bytes || bytes->size() > static_cast<std::size_t>(size))
        return false;
    std::memcpy(buffer, bytes->data(), bytes->size());
    return true;
}

} // namespace Kest
