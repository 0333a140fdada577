#include "POIEngine/ePOIEngineContainer.h"

#include <cstdio>
#include <cstring>
#include <memory>

#include "Base/Eassert.h"

// The path the size-invariant check reports, as the rest of the system spells it.
#define E_CONTAINER_FILE "..\\..\\..\\Src\\POIEngine\\ePOIEngineContainer.cpp"

namespace Kest {
namespace {

constexpr int kRecordSize = static_cast<int>(sizeof(ePoiInfo)); // 152
constexpr int kHistoryRecordSize = kRecordSize + 4;             // + frequency

struct FileCloser {
    void operator()(std::FILE* f) const
    {
        if (f)
            std::fclose(f);
    }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

File OpenFile(const eString& path, const char* mode)
{
    return File(path.IsEmpty() ? nullptr : std::fopen(path.Cstr(), mode));
}

bool IsValidType(ContainerType type)
{
    return type == CONTAINER_FAVORITE || type == CONTAINER_HISTORY;
}

// A record's name as a string: at most 64 bytes, up to its first zero.
eString NameOf(const ePoiInfo& info)
{
    return eString(info.szName, static_cast<int>(strnlen(info.szName, sizeof info.szName)));
}

// Reads one store record (and, for history, its frequency word). False on a
// short read: a trailing partial record is not a record.
bool ReadRecord(std::FILE* f, bool withFrequency, ePoiInfo& info, int& frequency)
{
    unsigned char raw[kHistoryRecordSize];
    const std::size_t size = withFrequency ? kHistoryRecordSize : kRecordSize;
    if (std::fread(raw, 1, size, f) != size)
        return false;
    std::memcpy(&info, raw, kRecordSize);
    frequency = 0;
    if (withFrequency)
        std::memcpy(&frequency, raw + kRecordSize, 4);
    return true;
}

} // namespace

ePOIEngineContainer::ePOIEngineContainer() = default;

ePOIEngineContainer::~ePOIEngineContainer() = default;

void ePOIEngineContainer::SetDataPath(const eString& path)
{
    m_strDataPath = path;
}

eArray<ePoiInfo>* ePOIEngineContainer::Store(ContainerType type)
{
    if (type == CONTAINER_FAVORITE)
        return &m_arContainerFavorite;
    if (type == CONTAINER_HISTORY)
        return &m_arContainerHistory;
    return nullptr;
}

eString ePOIEngineContainer::FilePath(ContainerType type) const
{
    return m_strDataPath + (type == CONTAINER_FAVORITE ? "Favorite.poi" : "History.poi");
}

int ePOIEngineContainer::MapIndex(ContainerType type, int index) const
{
    if (type == CONTAINER_FAVORITE) {
        const int count = m_arContainerFavorite.GetSize();
        const long long pos = static_cast<long long>(count) - 1 - index;
        return pos >= 0 && pos < count ? static_cast<int>(pos) : -1;
    }
    if (type == CONTAINER_HISTORY)
        return index >= 0 && index < m_arContainerHistory.GetSize() ? index : -1;
    return -1;
}

int ePOIEngineContainer::AddPOI(ContainerType type, const ePoiInfo& info)
{
    if (type == CONTAINER_FAVORITE) {
        m_arContainerFavorite.Add(info);
        SavePOI(CONTAINER_FAVORITE);
        return m_arContainerFavorite.GetSize() - 1;
    }
    if (type != CONTAINER_HISTORY)
        return -2;

    int position;
    ePoiInfo found;
    const int i = GetPoiInContainerByName(CONTAINER_HISTORY, NameOf(info), found);
    if (i >= 0) {
        // One more use: move up past every entry used no more often, so the
        // latest use wins ties. The stored record is kept; not saved here.
        // (After favourites were loaded the frequencies are gone; then the
        // entry stays where it is and the invariant check below reports it.)
        int j = i - 1;
        if (i < m_arHistoryFrequency.GetSize()) {
            m_arHistoryFrequency[i] += 1;
            for (; j >= 0 && m_arHistoryFrequency[j] <= m_arHistoryFrequency[j + 1]; --j) {
                const int f = m_arHistoryFrequency[j];
                m_arHistoryFrequency[j] = m_arHistoryFrequency[j + 1];
                m_arHistoryFrequency[j + 1] = f;
                const ePoiInfo r = m_arContainerHistory[j];
                m_arContainerHistory[j] = m_arContainerHistory[j + 1];
                m_arContainerHistory[j + 1] = r;
            }
        }
        position = j + 1;
    } else {
        // A new place comes first among the places used once.
        int k = m_arHistoryFrequency.GetSize() - 1;
        while (k >= 0 && m_arHistoryFrequency[k] <= 1)
            --k;
        m_arContainerHistory.InsertAt(k + 1, info, 1);
        m_arHistoryFrequency.InsertAt(k + 1, 1, 1);
        SavePOI(CONTAINER_HISTORY);
        position = k + 1;
    }
    E_ASSERT_IN(m_arContainerHistory.GetSize() == m_arHistoryFrequency.GetSize(), E_CONTAINER_FILE);
    return position;
}

bool ePOIEngineContainer::ModifyPOI(ContainerType type, int index, const ePoiInfo& info)
{
    const int pos = MapIndex(type, index);
    if (pos < 0)
        return false;
    Store(type)->SetAt(pos, info);
    SavePOI(type);
    return true;
}

bool ePOIEngineContainer::RemovePOI(ContainerType type, int index)
{
    const int pos = MapIndex(type, index);
    if (pos < 0)
        return false;
    Store(type)->RemoveAt(pos, 1);
    if (type == CONTAINER_HISTORY)
        m_arHistoryFrequency.RemoveAt(pos, 1);
    SavePOI(type);
    return true;
}

bool ePOIEngineContainer::RemoveAllPOI(ContainerType type)
{
    eArray<ePoiInfo>* store = Store(type);
    if (!store)
        return false;
    store->RemoveAll();
    store->FreeExtra();
    if (type == CONTAINER_HISTORY)
        m_arHistoryFrequency.RemoveAll();
    SavePOI(type);
    return true;
}

bool ePOIEngineContainer::AppendPOI(ContainerType type, const eString& file)
{
    File f = OpenFile(file, "rb");
    if (!f)
        return false;
    // Frequencies are rebuilt by the adding rules, not copied.
    ePoiInfo info;
    int frequency;
    while (ReadRecord(f.get(), type == CONTAINER_HISTORY, info, frequency)) {
        if (AddPOI(type, info) == -1)
            break;
    }
    f.reset();
    return SavePOI(type);
}

bool ePOIEngineContainer::SavePOI(ContainerType type)
{
    if (m_strDataPath.IsEmpty() || !IsValidType(type))
        return false;
    if (type == CONTAINER_HISTORY && m_arContainerHistory.GetSize() != m_arHistoryFrequency.GetSize())
        return false;
    const eString path = FilePath(type);
    BackupFile(path, path + "bak"); // no file yet is fine

    File f = OpenFile(path, "wb");
    if (!f)
        return false;
    const eArray<ePoiInfo>& store = *Store(type);
    bool ok = true;
    for (int i = 0; i < store.GetSize() && ok; ++i) {
        ok = std::fwrite(&store[i], 1, kRecordSize, f.get()) == kRecordSize;
        if (ok && type == CONTAINER_HISTORY)
            ok = std::fwrite(&m_arHistoryFrequency[i], 1, 4, f.get()) == 4;
    }
    // A failed write (a full disk) is a failed save; the backup keeps the old file.
    return std::fclose(f.release()) == 0 && ok;
}

bool ePOIEngineContainer::LoadPOI(ContainerType type)
{
    if (m_strDataPath.IsEmpty() || !IsValidType(type))
        return false;
    File f = OpenFile(FilePath(type), "rb");
    if (!f)
        return false;
    eArray<ePoiInfo>& store = *Store(type);
    store.RemoveAll();
    store.FreeExtra();
    // Deliberately whatever the type: loading favourites leaves history
    // without frequencies until history is loaded again.
    m_arHistoryFrequency.RemoveAll();
    ePoiInfo info;
    int frequency;
    while (ReadRecord(f.get(), type == CONTAINER_HISTORY, info, frequency)) {
        store.Add(info);
        if (type == CONTAINER_HISTORY)
            m_arHistoryFrequency.Add(frequency);
    }
    return true;
}

int ePOIEngineContainer::GetPOICount(ContainerType type)
{
    const eArray<ePoiInfo>* store = Store(type);
    return store ? store->GetSize() : -1;
}

bool ePOIEngineContainer::GetPOIInfo(ContainerType type, int index, ePoiInfo& info)
{
    const int pos = MapIndex(type, index);
    if (pos < 0)
        return false;
    info = (*Store(type))[pos];
    return true;
}

int ePOIEngineContainer::GetPoiInContainerByName(ContainerType type, const eString& name, ePoiInfo& info)
{
    const eArray<ePoiInfo>* store = Store(type);
    if (!store || store->GetSize() == 0)
        return -1;
    for (int i = 0; i < store->GetSize(); ++i) {
        const ePoiInfo& rec = (*store)[i];
        if (name == NameOf(rec)) {
            // Name and address by their zero-terminated lengths, the rest as it is.
            const std::size_t nameLen = strnlen(rec.szName, sizeof rec.szName);
            const std::size_t addrLen = strnlen(rec.szAddress, sizeof rec.szAddress);
            std::memcpy(info.szName, rec.szName, nameLen);
            if (nameLen < sizeof info.szName)
                info.szName[nameLen] = 0;
            std::memcpy(info.szAddress, rec.szAddress, addrLen);
            if (addrLen < sizeof info.szAddress)
                info.szAddress[addrLen] = 0;
            info.dX = rec.dX;
            info.dY = rec.dY;
            info.nUserData = rec.nUserData;
            info.nCode = rec.nCode;
            return i;
        }
    }
    return -1;
}

bool ePOIEngineContainer::UpDatePoiContainer(ContainerType type)
{
    if (!IsValidType(type))
        return false;
    SavePOI(type);
    return true;
}

bool ePOIEngineContainer::BackupFile(const eString& from, const eString& to)
{
    if (from.IsEmpty() || to.IsEmpty())
        return false;
    File in = OpenFile(from, "rb");
    if (!in)
        return false;
    File out = OpenFile(to, "wb");
    if (!out)
        return false;
    unsigned char block[512];
    for (;;) {
        const std::size_t got = std::fread(block, 1, sizeof block, in.get());
        if (got == 0)
            break;
        if (std::fwrite(block, 1, got, out.get()) != got)
            return false;
    }
    return std::fclose(out.release()) == 0;
}

} // namespace Kest
