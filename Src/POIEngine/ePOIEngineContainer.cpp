#include "POIEngine/ePOIEngineContainer.h"

#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

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

int RecordSize(ContainerType type)
{
    return type == CONTAINER_HISTORY ? kHistoryRecordSize : kRecordSize;
}

// The whole file, false when it cannot be opened or read.
bool ReadAll(const eString& path, std::string& bytes)
{
    File f = OpenFile(path, "rb");
    if (!f)
        return false;
    bytes.clear();
    char block[4096];
    std::size_t got;
    while ((got = std::fread(block, 1, sizeof block, f.get())) > 0)
        bytes.append(block, got);
    return !std::ferror(f.get());
}

// A name the store can hold: zero-terminated, or 64 bytes of GBK text (a
// search hit's full-length name, possibly cut after a lead byte).
bool IsPossibleName(const char* name)
{
    constexpr std::size_t kSize = sizeof(ePoiInfo::szName);
    if (std::memchr(name, 0, kSize))
        return true;
    for (std::size_t i = 0; i < kSize; ++i) {
        const unsigned char c = static_cast<unsigned char>(name[i]);
        if (c == 0xFF)
            return false;
        if (c >= 0x81) {
            if (++i == kSize)
                break;
            const unsigned char t = static_cast<unsigned char>(name[i]);
            if (t < 0x40 || t == 0x7F || t == 0xFF)
                return false;
        }
    }
    return true;
}

bool IsDamaged(ContainerType type, const std::string& bytes)
{
    const std::size_t size = static_cast<std::size_t>(RecordSize(type));
    if (bytes.size() % size != 0)
        return true;
    for (std::size_t at = 0; at < bytes.size(); at += size) {
        ePoiInfo info;
        std::memcpy(&info, bytes.data() + at, kRecordSize);
        if (!ePOIEngineContainer::IsPossibleRecord(info))
            return true;
    }
    return false;
}

// The directory a file name lies in, for flushing a rename inside it.
std::string DirectoryOf(const eString& path)
{
    const std::string p = path.Cstr();
    const std::size_t slash = p.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : p.substr(0, slash);
}

// Writes `bytes` to a new temporary file beside `path`, flushed to disk and
// closed. Its name, or "" when a step failed (nothing is left behind).
std::string WriteTemp(eFileSteps& steps, const eString& path, const std::string& bytes)
{
    std::string name = std::string(path.Cstr()) + ".XXXXXX";
    const int fd = steps.CreateTemp(&name[0]);
    if (fd < 0)
        return "";
    bool ok = steps.Write(fd, bytes.data(), bytes.size()) && steps.Sync(fd);
    ok = steps.Close(fd) && ok;
    if (!ok) {
        steps.Remove(name.c_str());
        return "";
    }
    return name;
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
            if (m_arHistoryFrequency[i] < INT_MAX) // a use count saturates
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
    const eArray<ePoiInfo>& store = *Store(type);
    std::string content;
    content.reserve(static_cast<std::size_t>(store.GetSize()) * static_cast<std::size_t>(RecordSize(type)));
    for (int i = 0; i < store.GetSize(); ++i) {
        content.append(reinterpret_cast<const char*>(&store[i]), kRecordSize);
        if (type == CONTAINER_HISTORY)
            content.append(reinterpret_cast<const char*>(&m_arHistoryFrequency[i]), 4);
    }

    // Both new files are complete on disk before either is renamed into
    // place; a failure until then leaves the old files as they were. The
    // previous file becomes the backup unless there is none or it is damaged
    // (a good backup is worth more than a damaged copy).
    const eString path = FilePath(type);
    const eString bak = path + "bak";
    eFileSteps& steps = *m_pFileSteps;
    std::string previous;
    const bool backUp = ReadAll(path, previous) && !IsDamaged(type, previous);
    const std::string temp = WriteTemp(steps, path, content);
    if (temp.empty())
        return false;
    std::string tempBak;
    if (backUp) {
        tempBak = WriteTemp(steps, bak, previous);
        if (tempBak.empty() || !steps.Rename(tempBak.c_str(), bak.Cstr())) {
            if (!tempBak.empty())
                steps.Remove(tempBak.c_str());
            steps.Remove(temp.c_str());
            return false;
        }
    }
    if (!steps.Rename(temp.c_str(), path.Cstr())) {
        steps.Remove(temp.c_str());
        return false;
    }
    return steps.SyncDirectory(DirectoryOf(path).c_str());
}

bool ePOIEngineContainer::LoadPOI(ContainerType type)
{
    m_bLoadDamaged = false;
    if (m_strDataPath.IsEmpty() || !IsValidType(type))
        return false;
    std::string bytes;
    if (!ReadAll(FilePath(type), bytes))
        return false;
    eArray<ePoiInfo>& store = *Store(type);
    store.RemoveAll();
    store.FreeExtra();
    // Deliberately whatever the type: loading favourites leaves history
    // without frequencies until history is loaded again.
    m_arHistoryFrequency.RemoveAll();
    // Every complete record; a trailing partial one is not a record.
    const std::size_t size = static_cast<std::size_t>(RecordSize(type));
    for (std::size_t at = 0; at + size <= bytes.size(); at += size) {
        ePoiInfo info;
        std::memcpy(&info, bytes.data() + at, kRecordSize);
        store.Add(info);
        if (type == CONTAINER_HISTORY) {
            int frequency;
            std::memcpy(&frequency, bytes.data() + at + kRecordSize, 4);
            m_arHistoryFrequency.Add(frequency);
        }
    }
    m_bLoadDamaged = IsDamaged(type, bytes);
    return true;
}

bool ePOIEngineContainer::RestorePOI(ContainerType type)
{
    if (m_strDataPath.IsEmpty() || !IsValidType(type))
        return false;
    const eString path = FilePath(type);
    bool damaged = false;
    if (InspectFile(type, path + "bak", damaged) < 0 || damaged || !BackupFile(path + "bak", path))
        return false;
    return LoadPOI(type);
}

bool ePOIEngineContainer::IsPossibleRecord(const ePoiInfo& info)
{
    return IsPossibleName(info.szName) && std::isfinite(info.dX) && std::isfinite(info.dY);
}

int ePOIEngineContainer::InspectFile(ContainerType type, const eString& file, bool& damaged)
{
    damaged = false;
    std::string bytes;
    if (!IsValidType(type) || !ReadAll(file, bytes))
        return -1;
    damaged = IsDamaged(type, bytes);
    return static_cast<int>(bytes.size() / static_cast<std::size_t>(RecordSize(type)));
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

// Copies a file whole: the copy replaces `to` in one step.
bool ePOIEngineContainer::BackupFile(const eString& from, const eString& to)
{
    std::string bytes;
    if (from.IsEmpty() || to.IsEmpty() || !ReadAll(from, bytes))
        return false;
    eFileSteps& steps = *m_pFileSteps;
    const std::string temp = WriteTemp(steps, to, bytes);
    if (temp.empty())
        return false;
    if (!steps.Rename(temp.c_str(), to.Cstr())) {
        steps.Remove(temp.c_str());
        return false;
    }
    return steps.SyncDirectory(DirectoryOf(to).c_str());
}

} // namespace Kest
