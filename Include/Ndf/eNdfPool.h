#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <list>
#include <map>
#include <memory>
#include <unordered_map>
#include <vector>

#include "Base/KestExport.h"
#include "Base/eString.h"
#include "Base/ueaddr_t.h"

namespace Kest {

// The page pool: reads pages of the page files "<data path>N.ndf" and keeps a
// least-recently-used cache of whole pages within a byte budget, with the
// file handles open. Every page is checked the first time it is loaded from
// an open file (checksum, its own number and size, its record structure); a
// page that fails is never handed out. A page that passed is marked (a bit a
// page) and not checked again while the file stays open: the files of a data
// directory are written once and replaced whole, and an open handle keeps the
// bytes it was opened on.
//
// Memory: the cached pages never take more than the budget plus one page;
// beside them the pool keeps each open file's page table (12 bytes a page)
// and its marks.
// A page still held by a record set (see PinPage) is never evicted; when the
// held pages leave no room, a newly loaded page goes to its holder alone and
// is not cached.
class KEST_API eNdfPool {
public:
    // Bytes of one page, shared between the cache and the record sets that
    // read from it.
    using PageRef = std::shared_ptr<const std::vector<unsigned char>>;

    static constexpr int kDefaultSize = 1048576;

    eNdfPool();
    ~eNdfPool();
    eNdfPool(const eNdfPool&) = delete;
    eNdfPool& operator=(const eNdfPool&) = delete;

    // The cache budget in bytes (negative counts as 0); shrinking evicts now.
    void SetSize(int nBytes);
    int GetSize() const { return static_cast<int>(m_nBudget); }

    // The directory of the page files, used as given ("%s%d.ndf"). A new
    // directory closes the files and empties the cache.
    void SetDataPath(const eString& path);
    const eString& GetDataPath() const { return m_strPath; }

    // The byte size of a page, or 0 when it cannot be read. Loads the page.
    int GetPageSize(const ueaddr_t& page);
    // Copies the page into `buffer`; false when it cannot be read or does
    // not fit in `size` bytes (nothing is written then).
    bool GetPage(const ueaddr_t& page, unsigned char* buffer, int size);

    // Zero-copy access: the page's bytes, valid as long as the caller keeps
    // the reference; null when the page cannot be read.
    PageRef PinPage(const ueaddr_t& page);

    // Damage: the first file header or page that failed its check since the
    // last ClearDamage ("12.ndf page 7", "12.ndf header"; empty when none).
    // A read that fails for another reason (a missing file, an address past
    // the file's pages) is not damage. Callers use it to tell a damaged data
    // directory from a search that found nothing.
    const eString& GetDamage() const { return m_strDamage; }
    void ClearDamage() { m_strDamage = eString(); }

    // Accounting, for tests and benchmarks.
    std::size_t GetCachedBytes() const { return m_nCached; }
    std::size_t GetPeakBytes() const { return m_nPeak; }
    std::size_t GetLargestPage() const { return m_nLargestPage; }
    std::size_t GetCachedPages() const { return m_lru.size(); }
    std::uint64_t GetHits() const { return m_nHits; }
    std::uint64_t GetMisses() const { return m_nMisses; }

private:
    struct File {
        std::FILE* fp = nullptr;
        std::uint32_t pageCount = 0;
        std::uint64_t tableOffset = 0;
        std::vector<unsigned char> table; // the page table, as in the file
        std::vector<bool> proven;         // pages that passed their check
    };
    struct Entry {
        std::uint64_t key;
        PageRef bytes;
    };

    static std::uint64_t Key(const ueaddr_t& page);
    File* OpenFile(std::uint16_t id);
    PageRef Load(const ueaddr_t& page);
    void Admit(std::uint64_t key, const PageRef& bytes);
    void EvictDownTo(std::size_t limit);
    void CloseAll();
    void NoteDamage(std::uint16_t file, const char* what, std::uint32_t page);

    eString m_strPath;
    eString m_strDamage;
    std::size_t m_nBudget = kDefaultSize;
    std::size_t m_nCached = 0;
    std::size_t m_nPeak = 0;
    std::size_t m_nLargestPage = 0;
    std::uint64_t m_nHits = 0;
    std::uint64_t m_nMisses = 0;
    std::map<std::uint16_t, File> m_files;
    std::list<Entry> m_lru; // most recently used first
    std::unordered_map<std::uint64_t, std::list<Entry>::iterator> m_index;
};

} // namespace Kest
