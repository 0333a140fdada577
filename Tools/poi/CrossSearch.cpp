// The crossroad searches: `cross initial` (pinyin initials of the road
// names, paged, with the letters that may come next) and `cross text` (road
// names as Chinese words), over "POI/CrossRoad/" of the data directory.

#include <cerrno>
#include <climits>
#include <cstdlib>

#include "Compiler/GbkCodec.h"
#include "Compiler/SegFullTextIndexWriter.h"
#include "POIEngine/ePOIEngineManager.h"
#include "SearchKinds.h"
#include "SearchRun.h"

namespace Kest {

namespace {

// --mode: which keys the engine is given (default 3: province, city and what
// was typed). Above 3 the engine refuses, so it is a usage error here.
int ReadMode(SearchRun& run, int& mode)
{
    mode = 3;
    if (!run.Args().Has("--mode"))
        return 0;
    const std::string text = run.Args().Value("--mode");
    char* end = nullptr;
    errno = 0;
    const long value = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || errno != 0 || value > 3 || value < INT_MIN)
        return run.Fail(2, "--mode '" + text +
                               "' is not a mode: give 0 (no keys), 1 (the province only) or 2, 3 or a negative "
                               "number (province, city and what is typed; the default)");
    mode = static_cast<int>(value);
    return 0;
}

int RunCross(SearchRun& run)
{
    if (run.Words().size() != 2 || (run.Words()[0] != "initial" && run.Words()[0] != "text"))
        return run.Fail(2, "cross takes 'initial' or 'text', then what to search for (poi search --data DIR cross "
                           "initial TYGL, or cross text 体育馆路)");
    const bool text = run.Words()[0] == "text";
    if (!run.Args().Has("--data"))
        return run.Fail(2, "--data DIR is required (a directory made by poi build)");
    long long offset = 0, limit = 10;
    if (int status = run.Paging(offset, limit))
        return status;
    if (run.Words()[1].empty())
        return run.Fail(2, text ? "TEXT is empty: type at least one road name"
                                : "INITIALS is empty: type at least one letter");
    int mode = 3;
    if (int status = ReadMode(run, mode))
        return status;
    std::string keys[3];
    const std::pair<std::string, std::string> texts[3] = {{"--province", run.Args().Value("--province", "*")},
                                                          {"--city", run.Args().Value("--city", "*")},
                                                          {text ? "TEXT" : "INITIALS", run.Words()[1]}};
    for (int k = 0; k < 3; ++k)
        if (int status = run.ToGbk(texts[k].first, texts[k].second, keys[k]))
            return status;
    // Names are indexed with their digits and letters in full width; what
    // is typed is searched in the same form.
    if (text)
        keys[2] = SegFullTextIndexWriter::Widen(keys[2]);
    const std::vector<std::string> verify =
        text ? std::vector<std::string>{"POI/CrossRoad/CoreDict.dct"} : std::vector<std::string>{};
    if (int status = run.OpenData(verify))
        return status;
    DataSetList::DataSet set;
    if (int status = run.ChooseDataSet(set))
        return status;
    const std::string& dir = run.Dir();

    ePOIEngineManager engine;
    engine.SetPoiPath(dir.c_str());
    char* next = nullptr;
    int nextCount = 0;
    const bool ok =
        text ? engine.QueryCrossRoadByText(mode, set.number, keys[0].c_str(), keys[1].c_str(), keys[2].c_str())
             : engine.QueryCrossRoadByPY(mode, set.number, keys[0].c_str(), keys[1].c_str(), keys[2].c_str(), next,
                                         nextCount);
    if (!ok)
        return run.Damaged(engine) ? 1
                                   : run.Fail(1, "the crossroad index of data set " + std::to_string(set.number) + " (" +
                                                     set.province + ") in " + dir +
                                                     "/POI/CrossRoad/ cannot be read, or it has no crossroads in the "
                                                     "province or city asked for (rebuild with poi build)");
    std::string nextLetters;
    for (int i = 0; i < nextCount; ++i)
        nextLetters += static_cast<unsigned char>(next[i]) < 0x80 ? next[i] : '?';
    const int total = engine.GetPOICount(0);
    std::string unreadable;
    const std::vector<HitText> hits = SearchRun::ReadHits(engine, total, offset, limit, unreadable);
    if (run.Damaged(engine))
        return 1;
    std::string fields = "\"count\":" + std::to_string(total);
    if (!text)
        fields = "\"next\":" + HitText::JsonString(nextLetters) + "," + fields;
    if (!run.Json()) {
        std::ostream& out = run.Out();
        out << "data set " << set.number << " (" << set.province << ")\n";
        if (!text)
            out << "next letters: " << (nextLetters.empty() ? "(none)" : nextLetters) << "\n";
        out << "hits: " << total;
        if (text && total == ePOIEngineManager::kFirstBatch)
            out << " (the most the search returns)";
        if (!hits.empty())
            out << "; showing " << offset + 1 << "-" << offset + static_cast<long long>(hits.size());
        out << "\n";
    }
    return run.PrintHits(fields, hits, offset, unreadable);
}

} // namespace

SearchKind CrossSearch()
{
    return {"cross",
            "cross initial|text [--province P] [--city C] [--mode N] INITIALS|TEXT",
            "cross: finds crossroads. 'cross initial' takes the pinyin initials of the\n"
            "road names, either road first (TYGLDWDJ and DWDJTYGL both find\n"
            "体育馆路与东外大街交叉口), paged, with the letters that may be typed next;\n"
            "'cross text' takes road names as Chinese words, in either order (at most\n"
            "100 hits; a crossroad can be listed once per order of its roads).\n"
            "  --province NAME   the province to search, whole or a part; it picks the\n"
            "                    data set. Required when DIR holds several data sets\n"
            "  --city NAME       only crossroads in cities whose names hold NAME\n"
            "  --mode N          the keys the engine is given: 3 (default; also 2 or a\n"
            "                    negative number) province, city and what is typed; 1\n"
            "                    the province alone; 0 none\n"
            "  JSON summary: {\"next\":\"…\",\"count\":N} (initial), {\"count\":N} (text)\n",
            {"--province", "--city", "--mode"},
            {},
            RunCross};
}

} // namespace Kest
