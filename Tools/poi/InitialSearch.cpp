// The searches of POI names: `initial` (pinyin initials, paged, with the
// letters that may come next) and `text` (Chinese words).

#include <cctype>

#include "CityNames.h"
#include "Compiler/GbkCodec.h"
#include "POIEngine/ePOIEngineManager.h"
#include "SearchKinds.h"
#include "SearchRun.h"

namespace Kest {

namespace {

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


const char kAreaOptions[] =
    "  --province NAME   the province to search, whole (北京市) or a part (北京);\n"
    "                    it picks the data set and narrows the hits. Required\n"
    "                    when DIR holds several data sets; default: the only one\n"
    "  --city NAME       only hits in cities whose names hold NAME (default: all)\n";

// The GBK keys of both searches: province, city, the initials or text, and
// the refinement.
int NameKeys(SearchRun& run, const std::string& what, std::string keys[4])
{
    const std::pair<std::string, std::string> texts[4] = {{"--province", run.Args().Value("--province", "*")},
                                                          {"--city", run.Args().Value("--city", "*")},
                                                          {what, run.Words()[0]},
                                                          {"--refine", run.Args().Value("--refine")}};
    for (int k = 0; k < 4; ++k)
        if (int status = run.ToGbk(texts[k].first, texts[k].second, keys[k]))
            return status;
    return 0;
}

// What both searches check before they open the data: one word, not empty,
// paging, a refinement that keeps something.
int CheckNameSearch(SearchRun& run, bool text, long long& offset, long long& limit)
{
    const std::string what = text ? "TEXT" : "INITIALS";
    if (run.Words().size() != 1)
        return run.ExpectWords(1, "one " + what);
    if (!run.Args().Has("--data"))
        return run.Fail(2, "--data DIR is required (a directory made by poi build)");
    if (int status = run.Paging(offset, limit))
        return status;
    if (run.Words()[0].empty())
        return run.Fail(2, text ? "TEXT is empty: type at least one word" : "INITIALS is empty: type at least one letter");
    if (run.Args().Has("--refine") && run.Args().Value("--refine").empty())
        return run.Fail(2, text ? "--refine needs some words to keep" : "--refine needs some initials to keep");
    return 0;
}

int RunInitial(SearchRun& run)
{
    long long offset = 0, limit = 10;
    std::string keys[4];
    DataSetList::DataSet set;
    if (int status = CheckNameSearch(run, false, offset, limit))
        return status;
    if (int status = NameKeys(run, "INITIALS", keys))
        return status;
    if (int status = run.OpenData())
        return status;
    if (int status = run.ChooseDataSet(set))
        return status;
    const std::string& dir = run.Dir();
    const bool refine = run.Args().Has("--refine");
    const std::string refineText = run.Args().Value("--refine");

    ePOIEngineManager engine;
    engine.SetPoiPath(dir.c_str());
    char* next = nullptr;
    int nextCount = 0;
    if (!engine.QueryByInitial(3, set.number, keys[0].c_str(), keys[1].c_str(), keys[2].c_str(), next, nextCount))
        return run.Damaged(engine) ? 1
                                   : run.Fail(1, "the index of data set " + std::to_string(set.number) + " (" +
                                                     set.province + ") in " + dir +
                                                     "/POI/ cannot be read (rebuild with poi build)");
    // One byte per next key: a key that starts with a Chinese character
    // (a name whose first character has no pinyin initial) shows as '?'.
    std::string nextLetters;
    for (int i = 0; i < nextCount; ++i)
        nextLetters += static_cast<unsigned char>(next[i]) < 0x80 ? next[i] : '?';
    const int total = engine.GetPOICount(0);
    run.Note(CityNote(dir, set.number, keys, false));
    if (total == 0)
        run.Note(NothingFoundHint(false, run.Words()[0]));

    std::vector<HitText> hits;
    ePoiInfo info{};
    std::string unreadable; // the first hit that could not be read, reported after those that could
    int listed = total;     // the hits that offset and limit apply to
    if (refine) {
        // The refinement filters the hits loaded so far: load every hit first
        // (the engine fetches up to the index asked for).
        // When that fails, the hits loaded are refined and printed all the
        // same, and the first one that cannot be read is reported after them.
        if (total > 0 && !engine.GetPOIInfo(0, total - 1, info)) {
            int first = 0;
            while (first < total - 1 && engine.GetPOIInfo(0, first, info))
                ++first;
            unreadable = SearchRun::Unreadable(first, total);
        }
        if (!engine.QueryFromPreByInitial(keys[3].c_str()))
            return run.Damaged(engine) ? 1 : run.Fail(1, "the refinement by '" + refineText + "' failed");
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
        hits = SearchRun::ReadHits(engine, total, offset, limit, unreadable);
    }

    if (run.Damaged(engine))
        return 1;
    std::string fields = "\"next\":" + HitText::JsonString(nextLetters) + ",\"count\":" + std::to_string(total);
    if (refine)
        fields += ",\"refine\":" + HitText::JsonString(refineText) + ",\"refined\":" + std::to_string(listed);
    if (!run.Json()) {
        std::ostream& out = run.Out();
        out << "data set " << set.number << " (" << set.province << ")\n";
        out << "next letters: " << (nextLetters.empty() ? "(none)" : nextLetters) << "\n";
        out << "hits: " << total;
        if (refine)
            out << "; " << listed << " begin with " << refineText;
        if (hits.empty() && offset > 0 && listed > 0)
            out << "; none from " << offset + 1;
        if (!hits.empty())
            out << "; showing " << offset + 1 << "-" << offset + static_cast<long long>(hits.size());
        out << "\n";
    }
    return run.PrintHits(fields, hits, offset, unreadable);
}

int RunText(SearchRun& run)
{
    long long offset = 0, limit = 10;
    std::string keys[4];
    DataSetList::DataSet set;
    if (int status = CheckNameSearch(run, true, offset, limit))
        return status;
    if (int status = NameKeys(run, "TEXT", keys))
        return status;
    if (int status = run.OpenData({"POI/CoreDict.dct"}))
        return status;
    if (int status = run.ChooseDataSet(set))
        return status;
    const std::string& dir = run.Dir();
    const bool refine = run.Args().Has("--refine");
    const std::string refineText = run.Args().Value("--refine");

    ePOIEngineManager engine;
    engine.SetPoiPath(dir.c_str());
    if (!engine.QueryByFullText(3, set.number, keys[0].c_str(), keys[1].c_str(), keys[2].c_str()))
        return run.Damaged(engine) ? 1
                                   : run.Fail(1, "the text index of data set " + std::to_string(set.number) + " (" +
                                                     set.province + ") in " + dir +
                                                     "/POI/ cannot be read, or the province or city is not in it");
    const int total = engine.GetPOICount(0);
    run.Note(CityNote(dir, set.number, keys, true));
    if (total == 0)
        run.Note(NothingFoundHint(true, GbkCodec::Utf8(keys[2])));
    int listed = total;
    if (refine) {
        if (!engine.QueryFromPreByFullText(keys[3].c_str()))
            return run.Damaged(engine) ? 1 : run.Fail(1, "the refinement by '" + refineText + "' failed");
        listed = engine.GetPOICount(0); // the text search counts what the record set holds
    }
    std::string unreadable;
    const std::vector<HitText> hits = SearchRun::ReadHits(engine, listed, offset, limit, unreadable);
    if (run.Damaged(engine))
        return 1;
    std::string fields = "\"count\":" + std::to_string(total);
    if (refine)
        fields += ",\"refine\":" + HitText::JsonString(refineText) + ",\"refined\":" + std::to_string(listed);
    if (!run.Json()) {
        std::ostream& out = run.Out();
        out << "data set " << set.number << " (" << set.province << ")\n";
        out << "hits: " << total << (total == ePOIEngineManager::kFirstBatch ? " (the most the search returns)" : "");
        if (refine)
            out << "; " << listed << " hold " << refineText;
        if (!hits.empty())
            out << "; showing " << offset + 1 << "-" << offset + static_cast<long long>(hits.size());
        out << "\n";
    }
    return run.PrintHits(fields, hits, offset, unreadable);
}

} // namespace

SearchKind InitialSearch()
{
    return {"initial",
            "initial [--province P] [--city C] [--refine TEXT] INITIALS",
            "initial: finds the POIs whose names' pinyin initials begin with INITIALS\n"
            "(BJDX for 北京大学; upper or lower case) in one data set of the data\n"
            "directory DIR (made by poi build). Prints the letters that may be typed\n"
            "next, the number of hits, and the hits from --offset on, at most --limit.\n" +
                std::string(kAreaOptions) +
                "  --refine TEXT     then keep the hits whose initials begin with TEXT. It\n"
                "                    filters the hits loaded so far, so every hit is loaded\n"
                "                    first; the count stays the index's, refined is shown\n"
                "                    apart\n"
                "  JSON summary: {\"next\":\"…\",\"count\":N} (with --refine also\n"
                "  \"refine\":\"TEXT\",\"refined\":M)\n",
            {"--province", "--city", "--refine"},
            {},
            RunInitial};
}

SearchKind TextSearch()
{
    return {"text",
            "text [--province P] [--city C] [--refine TEXT] TEXT",
            "text: finds the POIs whose names hold the words of TEXT (Chinese; words\n"
            "typed together must follow one another in the name, pieces split by a space\n"
            "may lie anywhere; digits and letters are searched in full width, digits\n"
            "also as Chinese numerals). At most 100 hits, best match first; no next\n"
            "letters.\n" +
                std::string(kAreaOptions) +
                "  --refine TEXT     then keep the hits whose names hold every word of TEXT\n"
                "                    (split at spaces)\n"
                "  JSON summary: {\"count\":N} (with --refine also \"refine\",\"refined\")\n",
            {"--province", "--city", "--refine"},
            {},
            RunText};
}

} // namespace Kest
