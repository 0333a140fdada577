#include "StoreCommand.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "Compiler/GbkCodec.h"
#include "CommandArgs.h"
#include "DirectoryLock.h"
#include "HitText.h"
#include "POIEngine/ePOIEngineContainer.h"

namespace Kest {

const char StoreCommand::kUsage[] =
    "usage: poi store --data DIR fav|history ACTION [ARGS]\n"
    "\n"
    "Keeps the user's favourites (DIR/Favorite.poi, newest first) and history\n"
    "(DIR/History.poi, most used first). Every change is saved at once, whole\n"
    "(a crash leaves the old or the new file); the file before it is kept as\n"
    "Favorite.poibak or History.poibak. Runs on the same DIR take turns.\n"
    "\n"
    "actions:\n"
    "  add NAME LON LAT [--address A] [--code N]\n"
    "                 add a place (LON -180..180, LAT -90..90 degrees). Adding a\n"
    "                 name already in the history counts one more use of it\n"
    "  list [--json]  the entries, numbered from 0; --json prints one\n"
    "                 {\"name\",\"lon\",\"lat\",\"address\",\"code\"} per line\n"
    "  remove INDEX   remove the entry that list numbers INDEX\n"
    "  clear          remove every entry\n"
    "  restore        replace the store by its backup (the state before the\n"
    "                 last change), e.g. when the store file is damaged\n"
    "\n"
    "options:\n"
    "  --data DIR     the directory that holds the store files (required; it must exist)\n"
    "  --address A    the area or address shown with the place (add)\n"
    "  --code N       a number kept with the place, e.g. its category (add)\n"
    "  -h, --help     show this text\n"
    "\n"
    "Names and addresses take at most 63 bytes in GBK: 31 Chinese characters\n"
    "(2 bytes each), 63 ASCII characters.\n"
    "exit status: 0 done, 1 the store is damaged or could not be read or changed\n"
    "(or another run kept DIR busy too long), 2 usage error\n";

namespace {

bool ParseDegrees(const std::string& text, double limit, double& value)
{
    if (text.empty())
        return false;
    char* end = nullptr;
    value = std::strtod(text.c_str(), &end);
    return end == text.c_str() + text.size() && std::isfinite(value) && std::fabs(value) <= limit;
}

std::string Entries(long long n)
{
    return std::to_string(n) + (n == 1 ? " entry" : " entries");
}

// The engine's store, telling whether the saves that a change made reached
// the disk: every change ends in SavePOI through the virtual table.
class CheckedStore : public ePOIEngineContainer {
public:
    bool SavePOI(ContainerType type) override
    {
        ++saves;
        const bool saved = ePOIEngineContainer::SavePOI(type);
        failedSaves += saved ? 0 : 1;
        return saved;
    }
    int saves = 0;
    int failedSaves = 0;
};

// Deletes the temporary files that a run killed in the middle of a save left
// beside the store ("Favorite.poi.XXXXXX", "Favorite.poibak.XXXXXX"). Only
// files a minute old: a program using the engine may be writing one now.
void RemoveStrayTemporaries(const std::string& file)
{
    namespace fs = std::filesystem;
    std::error_code ec;
    const fs::path path(file);
    const auto old = fs::file_time_type::clock::now() - std::chrono::minutes(1);
    for (fs::directory_iterator it(path.parent_path(), ec), end; !ec && it != end; it.increment(ec)) {
        const std::string name = it->path().filename().string();
        const std::string base = path.filename().string();
        if (name.size() < base.size() + 7 || name[name.size() - 7] != '.')
            continue;
        const std::string owner = name.substr(0, name.size() - 7);
        const bool alphanumeric =
            std::all_of(name.end() - 6, name.end(), [](char c) { return std::isalnum(static_cast<unsigned char>(c)); });
        std::error_code ignored;
        if ((owner == base || owner == base + "bak") && alphanumeric && it->is_regular_file(ignored) &&
            fs::last_write_time(it->path(), ignored) < old)
            fs::remove(it->path(), ignored);
    }
}

} // namespace

int StoreCommand::Fail(int status, const std::string& message)
{
    m_err << "poi store: " << message << "\n";
    return status;
}

int StoreCommand::Run(const std::vector<std::string>& args)
{
    CommandArgs parsed({"--data", "--address", "--code"}, {"--json"});
    std::string error;
    if (!parsed.Parse(args, error))
        return Fail(2, error + " (see poi store --help)");
    if (parsed.Help()) {
        m_out << kUsage;
        return 0;
    }
    const auto& words = parsed.Positional();
    if (words.size() < 2)
        return Fail(2, "expected a store (fav or history) and an action (add, list, remove, clear)");
    int type = 0;
    if (words[0] == "fav" || words[0] == "favourites" || words[0] == "favorites")
        type = 1;
    else if (words[0] == "history")
        type = 2;
    else
        return Fail(2, "unknown store '" + words[0] + "' (use fav or history)");
    const char* storeName = type == 1 ? "favourites" : "history";
    const std::string& action = words[1];
    const std::size_t expected = action == "add" ? 5 : action == "remove" ? 3 : 2;
    if (action != "add" && action != "list" && action != "remove" && action != "clear" && action != "restore")
        return Fail(2, "unknown action '" + action + "' (use add, list, remove, clear or restore)");
    if (words.size() != expected)
        return Fail(2, "'" + action + "' takes " + std::to_string(expected - 2) + " argument(s), got " +
                           std::to_string(words.size() - 2) + " (see poi store --help)");
    if ((parsed.Has("--address") || parsed.Has("--code")) && action != "add")
        return Fail(2, "--address and --code go with add only");
    if (parsed.Has("--json") && action != "list")
        return Fail(2, "--json goes with list only");
    if (!parsed.Has("--data"))
        return Fail(2, "--data DIR is required (the directory that holds the store files)");

    // Check every argument before the store is touched.
    ePoiInfo info{};
    long long index = 0;
    if (action == "add") {
        std::string name, address;
        if (!GbkCodec::ToGbk(words[2], name, &error))
            return Fail(2, "NAME: " + error);
        if (name.empty() || name.size() > 63)
            return Fail(2, "NAME must be 1 to 63 bytes in GBK, '" + words[2] + "' takes " +
                               std::to_string(name.size()));
        if (!GbkCodec::ToGbk(parsed.Value("--address"), address, &error))
            return Fail(2, "--address: " + error);
        if (address.size() > 63)
            return Fail(2, "--address takes " + std::to_string(address.size()) + " bytes in GBK, more than 63");
        if (!ParseDegrees(words[3], 180, info.dX))
            return Fail(2, "LON must be a number of degrees from -180 to 180, not '" + words[3] + "'");
        if (!ParseDegrees(words[4], 90, info.dY))
            return Fail(2, "LAT must be a number of degrees from -90 to 90, not '" + words[4] + "'");
        long long code = 0;
        if (!CommandArgs::ParseCount(parsed.Value("--code", "0"), 4294967295LL, code))
            return Fail(2, "--code takes a whole number from 0 to 4294967295, not '" + parsed.Value("--code") + "'");
        std::memcpy(info.szName, name.data(), name.size());
        std::memcpy(info.szAddress, address.data(), address.size());
        info.nCode = static_cast<unsigned>(code);
    } else if (action == "remove" && !CommandArgs::ParseCount(words[2], 1000000000, index)) {
        return Fail(2, "INDEX must be a whole number from 0 (as list shows), not '" + words[2] + "'");
    }

    const std::string dir = parsed.Value("--data");
    std::error_code ec;
    if (!std::filesystem::is_directory(dir, ec))
        return Fail(1, dir + " is not a directory (create it, or give the data directory)");
    const ContainerType store = static_cast<ContainerType>(type);
    // The engine appends the file names to the path as given.
    const std::string prefix = dir.back() == '/' ? dir : dir + "/";
    const std::string file = prefix + (type == 1 ? "Favorite.poi" : "History.poi");
    const std::string backup = file + "bak";

    // One change at a time per directory: a run loads, changes and saves the
    // whole file, so two runs at once would lose one of the changes.
    DirectoryLock lock;
    const auto locked = lock.Acquire(prefix + kLockFile, action != "list", m_lockWait);
    if (locked == DirectoryLock::Result::kTimedOut)
        return Fail(1, dir + " is busy: another poi store kept it locked for " + std::to_string(m_lockWait.count()) +
                           " ms; try again");
    if (locked == DirectoryLock::Result::kNoFile && action != "list")
        return Fail(1, "cannot lock " + prefix + kLockFile + " (is " + dir + " writable?)");

    // Past a file-size limit a write then fails (and the save with it)
    // instead of the process being stopped halfway.
    std::signal(SIGXFSZ, SIG_IGN);
    CheckedStore engine;
    engine.SetDataPath(prefix.c_str());
    if (action == "restore") {
        bool damaged = false;
        const int entries = ePOIEngineContainer::InspectFile(store, backup.c_str(), damaged);
        if (entries < 0)
            return Fail(1, "no backup to restore: cannot read " + backup);
        if (damaged)
            return Fail(1, backup + " is damaged too; nothing restored");
        if (!engine.RestorePOI(store))
            return Fail(1, "cannot restore " + file + " from " + backup + "; the store is unchanged");
        m_out << storeName << ": restored " << Entries(entries) << " from " << backup << "\n";
        return 0;
    }
    if (action != "list")
        RemoveStrayTemporaries(file);
    if (!engine.LoadPOI(store) && std::filesystem::exists(file, ec))
        return Fail(1, "cannot read " + file);
    int count = engine.GetPOICount(store);

    if (engine.LastLoadFoundDamage()) {
        // The complete records were read; the backup is left as it was.
        bool bakDamaged = false;
        const int bakEntries = ePOIEngineContainer::InspectFile(store, backup.c_str(), bakDamaged);
        const bool usable = bakEntries >= 0 && !bakDamaged;
        std::string message = file + " is damaged; " + Entries(count) + " could be read";
        if (usable)
            message += "; 'poi store --data " + dir + " " + words[0] + " restore' brings back the " +
                       Entries(bakEntries) + " of " + backup;
        else
            message += "; there is no usable backup (" + backup + (bakEntries < 0 ? " is missing)" : " is damaged)");
        // A change would replace the damaged file: with a backup at hand the
        // user chooses first (restore, or remove the backup).
        if (usable && action != "list")
            return Fail(1, message + "; nothing changed");
        m_err << "poi store: " << message << "\n";
        // Without one the change goes ahead, minus the records that cannot
        // be right, so that the file is sound again and backed up from then on.
        for (int i = count - 1; action != "list" && i >= 0; --i) {
            ePoiInfo entry{};
            if (engine.GetPOIInfo(store, i, entry) && !ePOIEngineContainer::IsPossibleRecord(entry)) {
                if (!engine.RemovePOI(store, i) || engine.failedSaves > 0)
                    return Fail(1, "cannot save " + file);
                m_err << "poi store: dropped entry " << i << " of " << storeName << ", which could not be read\n";
            }
        }
        count = engine.GetPOICount(store);
        engine.saves = 0;
    }

    if (action == "list") {
        std::vector<HitText> entries;
        for (int i = 0; i < count && engine.GetPOIInfo(store, i, info = ePoiInfo{}); ++i)
            entries.emplace_back(info);
        if (parsed.Has("--json")) {
            for (const HitText& entry : entries)
                m_out << entry.Json() << "\n";
        } else {
            m_out << storeName << ": " << Entries(static_cast<long long>(entries.size())) << "\n";
            if (!entries.empty())
                HitText::PrintTable(m_out, entries, 0);
        }
        return engine.LastLoadFoundDamage() ? 1 : 0;
    }
    const std::string cannotSave = "cannot save " + file + " (is the disk full?); the store is unchanged";
    if (action == "add") {
        const int at = engine.AddPOI(store, info);
        // A repeated history entry gains a use in memory only; save it here.
        if (at >= 0 && engine.saves == 0)
            engine.SavePOI(store);
        if (at < 0 || engine.failedSaves > 0)
            return Fail(1, cannotSave);
        if (engine.GetPOICount(store) == count)
            m_out << storeName << ": " << words[2] << " used again, now at " << at << "\n";
        else
            m_out << storeName << ": added " << words[2] << " at " << (type == 1 ? 0 : at) << "; "
                  << Entries(engine.GetPOICount(store)) << "\n";
        return 0;
    }
    if (action == "remove") {
        if (index >= count)
            return Fail(1, std::string(storeName) + " has no entry " + words[2] + " (it holds " +
                               std::to_string(count) + "; see poi store --data " + dir + " " + words[0] + " list)");
        engine.GetPOIInfo(store, static_cast<int>(index), info = ePoiInfo{});
        if (!engine.RemovePOI(store, static_cast<int>(index)) || engine.failedSaves > 0)
            return Fail(1, cannotSave);
        m_out << storeName << ": removed " << HitText(info).Name() << "; " << Entries(engine.GetPOICount(store))
              << "\n";
        return 0;
    }
    if (!engine.RemoveAllPOI(store) || engine.failedSaves > 0)
        return Fail(1, cannotSave);
    m_out << storeName << ": cleared " << Entries(count) << "\n";
    return 0;
}

} // namespace Kest
