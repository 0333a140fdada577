#include "StoreCommand.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "Compiler/GbkCodec.h"
#include "CommandArgs.h"
#include "HitText.h"
#include "POIEngine/ePOIEngineManager.h"

namespace Kest {

const char StoreCommand::kUsage[] =
    "usage: poi store --data DIR fav|history ACTION [ARGS]\n"
    "\n"
    "Keeps the user's favourites (DIR/Favorite.poi, newest first) and history\n"
    "(DIR/History.poi, most used first). Every change is saved at once; the\n"
    "file before it is kept as Favorite.poibak or History.poibak.\n"
    "\n"
    "actions:\n"
    "  add NAME LON LAT [--address A] [--code N]\n"
    "                 add a place (LON -180..180, LAT -90..90 degrees). Adding a\n"
    "                 name already in the history counts one more use of it\n"
    "  list [--json]  the entries, numbered from 0; --json prints one\n"
    "                 {\"name\",\"lon\",\"lat\",\"address\",\"code\"} per line\n"
    "  remove INDEX   remove the entry that list numbers INDEX\n"
    "  clear          remove every entry\n"
    "\n"
    "options:\n"
    "  --data DIR     the directory that holds the store files (required; it must exist)\n"
    "  --address A    the area or address shown with the place (add)\n"
    "  --code N       a number kept with the place, e.g. its category (add)\n"
    "  -h, --help     show this text\n"
    "\n"
    "Names and addresses take at most 63 bytes in GBK (21 Chinese characters).\n"
    "exit status: 0 done, 1 the store could not be read or changed, 2 usage error\n";

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
    if (action != "add" && action != "list" && action != "remove" && action != "clear")
        return Fail(2, "unknown action '" + action + "' (use add, list, remove or clear)");
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
    const std::string file = dir + (type == 1 ? "/Favorite.poi" : "/History.poi");
    ePOIEngineManager engine;
    // The engine appends the file names to the path as given.
    engine.SetPoiPath((dir + "/").c_str());
    if (!engine.LoadPOI(type) && std::filesystem::exists(file, ec))
        return Fail(1, "cannot read " + file);
    const int count = engine.GetPOICount(type);

    if (action == "list") {
        std::vector<HitText> entries;
        for (int i = 0; i < count && engine.GetPOIInfo(type, i, info = ePoiInfo{}); ++i)
            entries.emplace_back(info);
        if (parsed.Has("--json")) {
            for (const HitText& entry : entries)
                m_out << entry.Json() << "\n";
        } else {
            m_out << storeName << ": " << Entries(static_cast<long long>(entries.size())) << "\n";
            if (!entries.empty())
                HitText::PrintTable(m_out, entries, 0);
        }
        return 0;
    }
    if (action == "add") {
        const int at = engine.AddPOI(type, info);
        // A repeated history entry gains a use in memory only; save it here.
        if (at < 0 || (engine.GetPOICount(type) == count && !engine.SavePOI(type)))
            return Fail(1, "cannot save " + file);
        if (engine.GetPOICount(type) == count)
            m_out << storeName << ": " << words[2] << " used again, now at " << at << "\n";
        else
            m_out << storeName << ": added " << words[2] << " at " << (type == 1 ? 0 : at) << "; "
                  << Entries(engine.GetPOICount(type)) << "\n";
        return 0;
    }
    if (action == "remove") {
        if (index >= count)
            return Fail(1, std::string(storeName) + " has no entry " + words[2] + " (it holds " +
                               std::to_string(count) + "; see poi store --data " + dir + " " + words[0] + " list)");
        engine.GetPOIInfo(type, static_cast<int>(index), info = ePoiInfo{});
        if (!engine.RemovePOI(type, static_cast<int>(index)))
            return Fail(1, "cannot save " + file);
        m_out << storeName << ": removed " << HitText(info).Name() << "; " << Entries(engine.GetPOICount(type))
              << "\n";
        return 0;
    }
    if (!engine.RemoveAllPOI(type))
        return Fail(1, "cannot save " + file);
    m_out << storeName << ": cleared " << Entries(count) << "\n";
    return 0;
}

} // namespace Kest
