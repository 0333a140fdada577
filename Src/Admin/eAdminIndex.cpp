#include "Admin/eAdminIndex.h"

#include <algorithm>
#include <cstring>

#include "Base/NdfFormat.h"
#include "Base/eCrc32.h"
#include "Base/eFileStream.h"

namespace Kest {
namespace {

std::uint16_t ReadU16(const unsigned char* p)
{
    return static_cast<std::uint16_t>(p[0] | (p[1] << 8));
}

std::uint32_t ReadU32(const unsigned char* p)
{
    return static_cast<std::uint32_t>(p[0]) | (static_cast<std::uint32_t>(p[1]) << 8) |
           (static_cast<std::uint32_t>(p[2]) << 16) | (static_cast<std::uint32_t>(p[3]) << 24);
}

} // namespace

void eAdminIndex::SetFilePath(const eString& path)
{
    if (path != m_strPath) {
        m_strPath = path;
        m_entries.clear();
        m_entries.shrink_to_fit();
        m_names.clear();
        m_names.shrink_to_fit();
        m_state = State::NotLoaded;
        m_bDamaged = false;
    } else if (m_state == State::Failed) {
        m_state = State::NotLoaded;
    }
}

bool eAdminIndex::GetAdminInfo(unsigned short code, eString& name)
{
    if (m_state == State::NotLoaded)
        Load();
    if (m_state != State::Loaded)
        return false;
    const auto it = std::lower_bound(m_entries.begin(), m_entries.end(), code,
                                     [](const Entry& e, unsigned short c) { return e.code < c; });
    if (it == m_entries.end() || it->code != code)
        return false;
    name = it->length == 0 ? eString() : eString(m_names.data() + it->offset, it->length);
    return true;
}

int eAdminIndex::GetCount()
{
    if (m_state == State::NotLoaded)
        Load();
    return m_state == State::Loaded ? static_cast<int>(m_entries.size()) : 0;
}

bool eAdminIndex::Load()
{
    m_state = State::Failed;
    m_bDamaged = false;
    if (m_strPath.IsEmpty())
        return false;
    eFileStream in;
    if (!in.Open(m_strPath.Cstr()))
        return false;
    // From here on the file is there: every failure is damage.
    m_bDamaged = true;
    const std::int64_t size = in.GetLength();
    if (size < NdfFormat::kAdminHeaderSize || size > NdfFormat::kAdminMaxFileSize)
        return false;
    std::vector<unsigned char> file(static_cast<std::size_t>(size));
    if (in.Load(file.data(), static_cast<int>(size)) != static_cast<int>(size))
        return false;
    if (!Parse(file)) {
        m_entries.clear();
        m_names.clear();
        return false;
    }
    m_state = State::Loaded;
    m_bDamaged = false;
    return true;
}

bool eAdminIndex::Parse(const std::vector<unsigned char>& file)
{
    using namespace NdfFormat;
    const unsigned char* p = file.data();
    const std::uint64_t size = file.size();
    if (size < static_cast<std::uint64_t>(kAdminHeaderSize) ||
        std::memcmp(p, kAdminMagic, sizeof kAdminMagic) != 0 || ReadU32(p + 4) != kAdminVersion)
        return false;
    const std::uint32_t count = ReadU32(p + 8);
    const std::uint32_t namesLength = ReadU32(p + 12);
    if (count > kAdminMaxEntries)
        return false;
    const std::uint64_t tableEnd =
        kAdminHeaderSize + static_cast<std::uint64_t>(count) * kAdminEntrySize;
    if (tableEnd + namesLength != size)
        return false;
    if (ReadU32(p + kAdminChecksumOffset) !=
        eCrc32::Compute(p + kAdminHeaderSize, static_cast<std::size_t>(size) - kAdminHeaderSize))
        return false;

    std::vector<Entry> entries(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        const unsigned char* e = p + kAdminHeaderSize + static_cast<std::size_t>(i) * kAdminEntrySize;
        Entry& entry = entries[i];
        entry.code = ReadU16(e);
        entry.length = ReadU16(e + 2);
        entry.offset = ReadU32(e + 4);
        if (i > 0 && entry.code <= entries[i - 1].code)
            return false; // codes must ascend strictly for the binary search
        if (static_cast<std::uint64_t>(entry.offset) + entry.length > namesLength)
            return false;
    }
    m_entries = std::move(entries);
    m_names.assign(p + tableEnd, p + size);
    return true;
}

} // namespace Kest
