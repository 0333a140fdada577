#include "SearchCommand.h"

#include <cctype>
#include <filesystem>

#include "Compiler/GbkCodec.h"
#include "CityNames.h"
#include "Compiler/Manifest.h"
#include "CommandArgs.h"
#include "DataSetList.h"
#include "HitText.h"
#include "POIEngine/ePOIEngineManager.h"

namespace Kest {

namespace {

// The line that reports hit `index` (from 0) of `count` as unreadable.
std::string Unreadable(long long index, long long count)
{
    return "hit " + std::to_string(index + 1) + " of " + std::to_string(count) +
           " cannot be read (the data directory may be damaged; poi build it again)";
}

// A hint for a search that found nothing, when what was typed suits the
// other search better: Chinese characters given as initials, or letters with
// punctuation ("bj-dx") given as text. Empty when there is none.
std::string NothingFoundHint(bool text, const std::string& typed)
{
    bool chinese = false, letters = false, punctuation = false;
    std::string initials;
    for (unsigned char c : typed) {
        chinese = chinese || c >= 0x80;
        if (std::isalpha(c) != 0) {
            letters = true;
            initials += static_cast<char>(std::toupper(c));
        }
        punctuation = punctuation || std::ispunct(c) != 0;
    }
    if (!text && chinese)
        return "hint: initial takes pinyin initials (BJDX for 北京大学); to search for Chinese words use: poi "
               "search text '" + typed + "'";
    if (text && !chinese && letters && punctuation)
        return "hint: text searches for the words of names, and '" + typed +
               "' is none; to search by pinyin initials use: poi search initial " + initials;
    return "";
}

// A note when the city key does not choose what it seems to: the text
// search without a province key takes every city and ignores the city key,
// and a city key that names several cities makes the search by initials
// take them all and the text search the first only. Empty otherwise, or
// when the names cannot be read.
std::string CityNote(const std::string& dir, int set, const std::string keys[4], bool text)
{
    if (keys[1] == "*")
        return "";
    const std::string city = GbkCodec::Utf8(keys[1]);
    std::vector<std::string> all, used;
    if (text && keys[0] == "*")
        return CityNames::ForText(dir + "/POI/", set, keys[0], keys[1], used) && used.size() > 1
                   ? "note: without --province, text does not apply --city '" + city + "': it searched every city"
                   : "";
    if (!CityNames::ForInitials(dir + "/POI/", set, keys[0], keys[1], all) || all.size() < 2)
        return "";
    std::string list;
    for (const std::string& name : all)
        list += (list.empty() ? "" : ", ") + GbkCodec::Utf8(name);
    const std::string note =
        "note: --city '" + city + "' matches " + std::to_string(all.size()) + " cities (" + list + "); ";
    if (!text)
        return note + "initial searched them all";
    if (!CityNames::ForText(dir + "/POI/", set, keys[0], keys[1], used) || used.empty())
        return "";
    return note + "text searched only the first, " + GbkCodec::Utf8(used[0]);
}

} // namespace

const char SearchCommand::kUsage[] =
    "usage: poi search --data DIR initial [options] INITIALS\n"
    "       poi search --data DIR text [options] TEXT\n"
    "\n"
    "initial: finds the POIs whose names' pinyin initials begin with INITIALS\n"
    "(BJDX for 北京大学; upper or lower case) in one data set of the data\n"
    "directory DIR (made by poi build). Prints the letters that may be typed\n"
    "next, the number of hits, and the hits from --offset on, at most --limit.\n"
    "\n"
    "text: finds the POIs whose names hold the words of TEXT (Chinese; words\n"
    "typed together must follow one another in the name, pieces split by a space\n"
    "may lie anywhere; digits and letters are searched in full width, digits\n"
    "also as Chinese numerals). At most 100 hits, best match first; no next\n"
    "letters.\n"
    "\n"
    "options:\n"
    "  --data DIR        the data directory (required)\n"
    "  --province NAME   the province to search, whole (北京市) or a part (北京);\n"
    "                    it picks the data set and narrows the hits. Required\n"
    "                    when DIR holds several data sets; default: the only one\n"
    "  --city NAME       only hits in cities whose names hold NAME (default: all)\n"
    "  --limit N         print at most N hits (default 10; 0 prints the summary)\n"
    "  --offset K        skip the first K hits (default 0)\n"
    "  --refine TEXT     initial: then keep the hits whose initials begin with\n"
    "                    TEXT. It filters the hits loaded so far, so every hit\n"
    "                    is loaded first; the count stays the index's, refined\n"
    "                    is shown apart. text: then keep the hits whose names\n"
    "                    hold every word of TEXT (split at spaces)\n"
    "  --json            one JSON object per line: first\n"
    "                    {\"next\":\"…\",\"count\":N} (text: no \"next\"; with --refine also\n"
    "                    \"refine\":\"TEXT\",\"refined\":M), then one\n"
    "                    {\"name\",\"lon\",\"lat\",\"address\",\"code\"} per hit\n"
    "  -h, --help        show this text\n"
    "\n"
    "exit status: 0 searched (even with no hits), 1 the search failed or met a\n"
    "damaged file or page (named; no hits are printed then: see poi check),\n"
    "2 usage error\n";

int SearchCommand::Fail(int status, const std::string& message)
{
    m_err << "poi search: " << message << "\n";
    return status;
}

void SearchCommand::Note(const std::string& line)
{
    if (!line.empty())
        m_err << "poi search: " << line << "\n";
}

int SearchCommand::Damaged(const ePOIEngineManager& engine, const std::string& dir)
{
    const eString damage = engine.GetLastDamage();
    if (damage.IsEmpty())
        return 0;
    return Fail(1, dir + "/" + damage.Cstr() +
                       " is damaged (it fails its checksum); no answer is given (see poi check, then rebuild with poi "
                       "build)");
}

int SearchCommand::Run(const std::vector<std::string>& args)
{
    CommandArgs parsed({"--data", "--province", "--city", "--limit", "--offset", "--refine"}, {"--json"});
    std::string error;
    if (!parsed.Parse(args, error))
        return Fail(2, error + " (see poi search --help)");
    if (parsed.Help()) {
        m_out << kUsage;
        return 0;
    }
    const auto& words = parsed.Positional();
    if (words.empty())
        return Fail(2, "no search given: expected 'initial INITIALS' or 'text TEXT' (see poi search --help)");
    if (words[0] != "initial" && words[0] != "text")
        return Fail(2, "unknown search '" + words[0] + "' (this poi offers: initial, text)");
    const bool text = words[0] == "text";
    const std::string what = text ? "TEXT" : "INITIALS";
    if (words.size() != 2)
        return Fail(2, "expected one " + what + " after '" + words[0] + "', got " + std::to_string(words.size() - 1) +
                           " (usage: poi search --data DIR " + words[0] + " [options] " + what + ")");
    if (!parsed.Has("--data"))
        return Fail(2, "--data DIR is required (a directory made by poi build)");
    long long limit = 10, offset = 0;
    if (!CommandArgs::ParseCount(parsed.Value("--limit", "10"), 1000000000, limit))
        return Fail(2, "--limit takes a whole number from 0, not '" + parsed.Value("--limit") + "'");
    if (!CommandArgs::ParseCount(parsed.Value("--offset", "0"), 1000000000, offset))
        return Fail(2, "--offset takes a whole number from 0, not '" + parsed.Value("--offset") + "'");
    if (words[1].empty())
        return Fail(2, text ? "TEXT is empty: type at least one word" : "INITIALS is empty: type at least one letter");
    const bool refine = parsed.Has("--refine");
    if (refine && parsed.Value("--refine").empty())
        return Fail(2, text ? "--refine needs some words to keep" : "--refine needs some initials to keep");
    const bool json = parsed.Has("--json");

    // UTF-8 arguments become the GBK keys the engine takes.
    std::string province = parsed.Value("--province", "*");
    std::string keys[4];
    const std::pair<const char*, std::string> texts[4] = {{"--province", province},
                                                          {"--city", parsed.Value("--city", "*")},
                                                          {what.c_str(), words[1]},
                                                          {"--refine", parsed.Value("--refine")}};
    for (int k = 0; k < 4; ++k) {
        if (!GbkCodec::ToGbk(texts[k].second, keys[k], &error))
            return Fail(2, std::string(texts[k].first) + ": " + error);
        if (keys[k].size() > 63)
            return Fail(2, std::string(texts[k].first) + " is longer than a name can be (63 GBK bytes)");
    }

    const std::string dir = parsed.Value("--data");
    namespace fs = std::filesystem;
    std::error_code ec;
    if (!fs::is_regular_file(dir + "/POI/datasets.txt", ec) || !fs::is_regular_file(dir + "/POI/1.ndf", ec))
        return Fail(1, dir + " is not a data directory (build one with: poi build SRC " + dir + ")");
    // The small unpaged files carry no checksum of their own: the manifest's
    // proves them before they are used.
    Manifest manifest;
    if (!manifest.Load(dir, error) || !manifest.Verify(dir, "POI/datasets.txt", error) ||
        (text && !manifest.Verify(dir, "POI/CoreDict.dct", error)))
        return Fail(1, error + "; no answer is given (see poi check, then rebuild with poi build)");
    DataSetList sets;
    if (!sets.Load(dir + "/POI/datasets.txt", error))
        return Fail(1, error + " (rebuild the directory with poi build)");

    DataSetList::DataSet set;
    if (province == "*") {
        if (sets.Sets().size() > 1)
            return Fail(2, dir + " holds " + std::to_string(sets.Sets().size()) + " data sets (" + sets.Names() +
                               "): choose one with --province NAME");
        set = sets.Sets()[0];
    } else {
        switch (sets.Resolve(province, set)) {
        case DataSetList::Match::kFound:
            break;
        case DataSetList::Match::kNone:
            return Fail(1, "no data set for province '" + province + "' in " + dir + " (it holds: " +
                               sets.Names() + ")");
        case DataSetList::Match::kAmbiguous:
            return Fail(1, "province '" + province + "' matches several data sets (" + sets.Names() +
                               "): give more of the name");
        }
    }

    ePOIEngineManager engine;
    engine.SetPoiPath(dir.c_str());
    if (text)
        return RunText(engine, dir, set, keys, refine ? &texts[3].second : nullptr, offset, limit, json);
    char* next = nullptr;
    int nextCount = 0;
    if (!engine.QueryByInitial(3, set.number, keys[0].c_str(), keys[1].c_str(), keys[2].c_str(), next, nextCount))
        return Damaged(engine, dir) ? 1 : Fail(1, "the index of data set " + std::to_string(set.number) + " (" + set.province + ") in " + dir +
                           "/POI/ cannot be read (rebuild with poi build)");
    // One byte per next key: a key that starts with a Chinese character
    // (a name whose first character has no pinyin initial) shows as '?'.
    std::string nextLetters;
    for (int i = 0; i < nextCount; ++i)
        nextLetters += static_cast<unsigned char>(next[i]) < 0x80 ? next[i] : '?';
    const int total = engine.GetPOICount(0);
    Note(CityNote(dir, set.number, keys, false));
    if (total == 0)
        Note(NothingFoundHint(false, words[1]));

    std::vector<HitText> hits;
    ePoiInfo info{};
    std::string unreadable; // the first hit that could not be read, reported after those that could
    int listed = total; // the hits that offset and limit apply to
    if (refine) {
        // The refinement filters the hits loaded so far: load every hit first
        // (the engine fetches up to the index asked for).
        // When that fails, the hits loaded are refined and printed all the
        // same, and the first one that cannot be read is reported after them.
        if (total > 0 && !engine.GetPOIInfo(0, total - 1, info)) {
            int first = 0;
            while (first < total - 1 && engine.GetPOIInfo(0, first, info))
                ++first;
            unreadable = Unreadable(first, total);
        }
        if (!engine.QueryFromPreByInitial(keys[3].c_str()))
            return Damaged(engine, dir) ? 1 : Fail(1, "the refinement by '" + texts[3].second + "' failed");
        // The count still answers the index's total; the refined hits end
        // where reading fails, since the index has nothing left to page in.
        listed = 0;
        // The engine copies a name without its zero: clear the record first.
        while (listed < total && engine.GetPOIInfo(0, listed, info = ePoiInfo{})) {
            if (listed >= offset && listed < offset + limit)
                hits.emplace_back(info);
            ++listed;
        }
    } else {
        for (long long i = offset; i < total && i < offset + limit && unreadable.empty(); ++i) {
            if (engine.GetPOIInfo(0, static_cast<int>(i), info = ePoiInfo{}))
                hits.emplace_back(info);
            else
                unreadable = Unreadable(i, total);
        }
    }

    if (Damaged(engine, dir))
        return 1;
    if (json) {
        m_out << "{\"next\":" << HitText::JsonString(nextLetters) << ",\"count\":" << total;
        if (refine)
            m_out << ",\"refine\":" << HitText::JsonString(texts[3].second) << ",\"refined\":" << listed;
        m_out << "}\n";
        for (const HitText& hit : hits)
            m_out << hit.Json() << "\n";
        return unreadable.empty() ? 0 : Fail(1, unreadable);
    }
    m_out << "data set " << set.number << " (" << set.province << ")\n";
    m_out << "next letters: " << (nextLetters.empty() ? "(none)" : nextLetters) << "\n";
    m_out << "hits: " << total;
    if (refine)
        m_out << "; " << listed << " begin with " << texts[3].second;
    if (hits.empty() && offset > 0 && listed > 0)
        m_out << "; none from " << offset + 1;
    if (!hits.empty())
        m_out << "; showing " << offset + 1 << "-" << offset + static_cast<long long>(hits.size());
    m_out << "\n";
    if (!hits.empty())
        HitText::PrintTable(m_out, hits, static_cast<int>(offset) + 1);
    return unreadable.empty() ? 0 : Fail(1, unreadable);
}

int SearchCommand::RunText(ePOIEngineManager& engine, const std::string& dir, const DataSetList::DataSet& set,
                           const std::string keys[4], const std::string* refine, long long offset, long long limit,
                           bool json)
{
    if (!engine.QueryByFullText(3, set.number, keys[0].c_str(), keys[1].c_str(), keys[2].c_str()))
        return Damaged(engine, dir) ? 1 : Fail(1, "the text index of data set " + std::to_string(set.number) + " (" + set.province + ") in " +
                           dir + "/POI/ cannot be read, or the province or city is not in it");
    const int total = engine.GetPOICount(0);
    Note(CityNote(dir, set.number, keys, true));
    if (total == 0)
        Note(NothingFoundHint(true, GbkCodec::Utf8(keys[2])));
    int listed = total;
    if (refine != nullptr) {
        if (!engine.QueryFromPreByFullText(keys[3].c_str()))
            return Damaged(engine, dir) ? 1 : Fail(1, "the refinement by '" + *refine + "' failed");
        listed = engine.GetPOICount(0); // the text search counts what the record set holds
    }
    std::vector<HitText> hits;
    ePoiInfo info{};
    std::string unreadable;
    for (long long i = offset; i < listed && i < offset + limit && unreadable.empty(); ++i) {
        // The engine copies a name without its zero: clear the record first.
        if (engine.GetPOIInfo(0, static_cast<int>(i), info = ePoiInfo{}))
            hits.emplace_back(info);
        else
            unreadable = Unreadable(i, listed);
    }
    if (Damaged(engine, dir))
        return 1;
    if (json) {
        m_out << "{\"count\":" << total;
        if (refine != nullptr)
            m_out << ",\"refine\":" << HitText::JsonString(*refine) << ",\"refined\":" << listed;
        m_out << "}\n";
        for (const HitText& hit : hits)
            m_out << hit.Json() << "\n";
        return unreadable.empty() ? 0 : Fail(1, unreadable);
    }
    m_out << "data set " << set.number << " (" << set.province << ")\n";
    m_out << "hits: " << total << (total == ePOIEngineManager::kFirstBatch ? " (the most the search returns)" : "");
    if (refine != nullptr)
        m_out << "; " << listed << " hold " << *refine;
    if (!hits.empty())
        m_out << "; showing " << offset + 1 << "-" << offset + static_cast<long long>(hits.size());
    m_out << "\n";
    if (!hits.empty())
        HitText::PrintTable(m_out, hits, static_cast<int>(offset) + 1);
    return unreadable.empty() ? 0 : Fail(1, unreadable);
}

} // namespace Kest
