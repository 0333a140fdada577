// The searches of the two small sets beside the POIs: `sight` (scenic
// sights) and `place` (place names), each `initial INITIALS` (pinyin
// initials, paged, with the letters that may come next) or `text TEXT`
// (Chinese words). Neither set is divided into data sets.

#include <string>

#include "POIEngine/ePOIEngineManager.h"
#include "SearchKinds.h"
#include "SearchRun.h"

namespace Kest {

namespace {

int RunSet(SearchRun& run, bool sight)
{
    const std::string kind = sight ? "sight" : "place";
    const std::string dirName = sight ? "Sight" : "PlaceName";
    if (run.Words().size() != 2 || (run.Words()[0] != "initial" && run.Words()[0] != "text"))
        return run.Fail(2, kind + " takes 'initial INITIALS' or 'text TEXT' (poi search --help shows how)");
    const bool text = run.Words()[0] == "text";
    if (run.Words()[1].empty())
        return run.Fail(2, text ? "TEXT is empty: type at least one word" : "INITIALS is empty: type at least one letter");
    if (run.Args().Has("--refine") && run.Args().Value("--refine").empty())
        return run.Fail(2, text ? "--refine needs some words to keep" : "--refine needs some initials to keep");
    long long offset = 0, limit = 10;
    if (int status = run.Paging(offset, limit))
        return status;
    std::string typed, refineGbk;
    if (int status = run.ToGbk(text ? "TEXT" : "INITIALS", run.Words()[1], typed))
        return status;
    if (int status = run.ToGbk("--refine", run.Args().Value("--refine"), refineGbk))
        return status;
    if (int status = run.OpenData(text ? std::vector<std::string>{"POI/" + dirName + "/CoreDict.dct"}
                                       : std::vector<std::string>{}))
        return status;
    const std::string& dir = run.Dir();
    const bool refine = run.Args().Has("--refine");
    const std::string refineText = run.Args().Value("--refine");

    ePOIEngineManager engine;
    engine.SetPoiPath(dir.c_str());
    char* next = nullptr;
    int nextCount = 0;
    bool ok = false;
    if (text)
        ok = sight ? engine.QuerySightByText(typed.c_str()) : engine.QueryPlaceNameByText(typed.c_str());
    else
        ok = sight ? engine.QuerySightByPY(typed.c_str(), next, nextCount)
                   : engine.QueryPlaceNameByPY(typed.c_str(), next, nextCount);
    if (!ok)
        return run.Damaged(engine) ? 1
                                   : run.Fail(1, "the " + std::string(text ? "text" : "initials") + " index in " +
                                                     dir + "/POI/" + dirName +
                                                     "/ cannot be read (rebuild with poi build)");
    // One byte per next key, as the engine gives them (the place-name
    // buffer has no end mark: exactly nextCount bytes are read).
    std::string nextLetters;
    for (int i = 0; i < nextCount; ++i)
        nextLetters += static_cast<unsigned char>(next[i]) < 0x80 ? next[i] : '?';
    const int total = engine.GetPOICount(0);

    std::vector<HitText> hits;
    std::string unreadable;
    int listed = total;
    ePoiInfo info{};
    if (refine && !text) {
        // The refinement filters the hits loaded so far: load them all first.
        if (total > 0 && !engine.GetPOIInfo(0, total - 1, info))
            unreadable = SearchRun::Unreadable(total - 1, total);
        if (!engine.QueryFromPreByInitial(refineGbk.c_str()))
            return run.Damaged(engine) ? 1 : run.Fail(1, "the refinement by '" + refineText + "' failed");
        // The count stays the index's; the refined hits end where reading fails.
        listed = 0;
        while (listed < total && engine.GetPOIInfo(0, listed, info = ePoiInfo{})) {
            if (listed >= offset && listed < offset + limit)
                hits.emplace_back(info);
            ++listed;
        }
    } else {
        if (refine) {
            if (!engine.QueryFromPreByFullText(refineGbk.c_str()))
                return run.Damaged(engine) ? 1 : run.Fail(1, "the refinement by '" + refineText + "' failed");
            listed = engine.GetPOICount(0);
        }
        hits = SearchRun::ReadHits(engine, listed, offset, limit, unreadable);
    }
    if (run.Damaged(engine))
        return 1;

    std::string fields = (text ? "" : "\"next\":" + HitText::JsonString(nextLetters) + ",") +
                         "\"count\":" + std::to_string(total);
    if (refine)
        fields += ",\"refine\":" + HitText::JsonString(refineText) + ",\"refined\":" + std::to_string(listed);
    if (!run.Json()) {
        std::ostream& out = run.Out();
        out << (sight ? "sights" : "place names") << " by " << (text ? "text" : "initials") << "\n";
        if (!text)
            out << "next letters: " << (nextLetters.empty() ? "(none)" : nextLetters) << "\n";
        out << "hits: " << total << (text && total == 100 ? " (the most the search returns)" : "");
        if (refine)
            out << "; " << listed << (text ? " hold " : " begin with ") << refineText;
        if (!hits.empty())
            out << "; showing " << offset + 1 << "-" << offset + static_cast<long long>(hits.size());
        out << "\n";
    }
    return run.PrintHits(fields, hits, offset, unreadable);
}

int RunSight(SearchRun& run) { return RunSet(run, true); }
int RunPlace(SearchRun& run) { return RunSet(run, false); }

const char kSetHelp[] =
    "  initial INITIALS  names whose pinyin initials begin with INITIALS (GY for\n"
    "                    故宫; upper or lower case), with the letters that may be\n"
    "                    typed next; paged by --offset and --limit\n"
    "  text TEXT         names that hold the words of TEXT (Chinese; words typed\n"
    "                    together must follow one another, pieces split by a space\n"
    "                    may lie anywhere); at most 100 hits, best match first\n"
    "  --refine TEXT     then keep the hits whose initials begin with TEXT\n"
    "                    (initial), or whose names hold every word of TEXT (text)\n"
    "  JSON summary: {\"next\":\"…\",\"count\":N} (text: no \"next\"; with --refine\n"
    "  also \"refine\",\"refined\")\n";

} // namespace

SearchKind SightSearch()
{
    return {"sight",
            "sight [--refine TEXT] initial INITIALS | text TEXT",
            "sight: finds scenic sights (sights.csv of the build) by name.\n" + std::string(kSetHelp),
            {"--refine"},
            {},
            RunSight};
}

SearchKind PlaceSearch()
{
    return {"place",
            "place [--refine TEXT] initial INITIALS | text TEXT",
            "place: finds place names (placenames.csv of the build) by name.\n" + std::string(kSetHelp),
            {"--refine"},
            {},
            RunPlace};
}

} // namespace Kest
