// `address`: the POIs of a province, city and county, of one category or of
// all, through the category index of the data directory ("POI/100.ndf").

#include <cctype>

#include "Compiler/GbkCodec.h"
#include "POIEngine/ePOIEngineManager.h"
#include "SearchKinds.h"
#include "SearchRun.h"

namespace Kest {

namespace {

bool AllDigits(const std::string& text)
{
    if (text.empty() || text.size() > 10)
        return false;
    for (unsigned char c : text)
        if (std::isdigit(c) == 0)
            return false;
    return true;
}

// The category key: "*" for all, a code as given, or a name turned into its
// code with the category list. Exit status as SearchRun's methods give it.
int CategoryKey(SearchRun& run, ePOIEngineManager& engine, std::string& key)
{
    const std::string given = run.Args().Value("--category", "*");
    if (given == "*" || AllDigits(given)) {
        key = given;
        return 0;
    }
    std::string gbk;
    if (int status = run.ToGbk("--category", given, gbk))
        return status;
    const int code = engine.GetPoiCode(gbk.c_str());
    if (code < 0)
        return run.Fail(1, "no category named '" + given + "' (list them with: poi search --data " + run.Dir() +
                               " categories)");
    key = std::to_string(code);
    return 0;
}

int RunAddress(SearchRun& run)
{
    if (!run.Words().empty())
        return run.Fail(2, "address takes no word, got '" + run.Words()[0] +
                               "' (the areas and the category are options: --province P --county X --category C)");
    if (!run.Args().Has("--province"))
        return run.Fail(2, "--province NAME is required (a part of the name will do: 北京)");
    const std::string texts[3] = {run.Args().Value("--province"), run.Args().Value("--city", "*"),
                                  run.Args().Value("--county", "*")};
    if (texts[0] == "*")
        return run.Fail(2, "--province '*' is not offered: the search then mixes area levels in its hits; "
                           "name a province");
    long long level = 0;
    if (!CommandArgs::ParseCount(run.Args().Value("--level", "4"), 4, level) || level < 1)
        return run.Fail(2, "--level takes 1 to 4 (1 and 2 give names only), not '" + run.Args().Value("--level") +
                               "'");
    long long offset = 0, limit = 10;
    if (int status = run.Paging(offset, limit))
        return status;
    std::string keys[4];
    const char* names[3] = {"--province", "--city", "--county"};
    for (int k = 0; k < 3; ++k)
        if (int status = run.ToGbk(names[k], texts[k], keys[k]))
            return status;
    const bool byName = run.Args().Has("--category") && !AllDigits(run.Args().Value("--category")) &&
                        run.Args().Value("--category") != "*";
    if (int status = byName ? run.OpenData({"POI/Around/POI_SORT.txt"}) : run.OpenData())
        return status;

    ePOIEngineManager engine;
    engine.SetPoiPath(run.Dir().c_str());
    if (int status = CategoryKey(run, engine, keys[3]))
        return status;
    if (!engine.QueryByAddress(static_cast<int>(level), keys[0].c_str(), keys[1].c_str(), keys[2].c_str(),
                               keys[3].c_str()))
        return run.Damaged(engine)
                   ? 1
                   : run.Fail(1, "no area matches --province '" + texts[0] + "' --city '" + texts[1] +
                                     "' --county '" + texts[2] + "' in " + run.Dir() +
                                     " (each is a part of an area's name, or '*')");
    // "*" for the city takes every county of every city of the province and
    // ends the walk there: the county key is not looked at.
    if (texts[1] == "*" && texts[2] != "*")
        run.Note("note: without --city, address takes every county of the province and does not apply --county '" +
                 texts[2] + "'; give --city too (a municipality's city is the municipality: --city " + texts[0] + ")");
    const int total = engine.GetPOICount(0);
    std::string unreadable;
    const std::vector<HitText> hits = SearchRun::ReadHits(engine, total, offset, limit, unreadable);
    if (run.Damaged(engine))
        return 1;
    if (!run.Json()) {
        std::ostream& out = run.Out();
        out << "category " << (keys[3] == "*" ? std::string("all") : keys[3]) << ", level " << level
            << (level < 3 ? " (names only)" : "") << "\n";
        out << "hits: " << total;
        if (!hits.empty())
            out << "; showing " << offset + 1 << "-" << offset + static_cast<long long>(hits.size());
        out << "\n";
    }
    return run.PrintHits("\"count\":" + std::to_string(total) + ",\"category\":" +
                             HitText::JsonString(keys[3]) + ",\"level\":" + std::to_string(level),
                         hits, offset, unreadable);
}

} // namespace

SearchKind AddressSearch()
{
    return {"address",
            "address --province P [--city C] [--county X] [--category NAME|CODE] [--level N]",
            "address: finds the POIs of an area and a category. Each area option is a\n"
            "part of the area's name (北京 finds 北京市; the first area that holds it is\n"
            "taken) or '*' for every area of its level; the city of a municipality is\n"
            "the municipality itself (--province 北京 --city 北京 --county 朝阳).\n"
            "  --province NAME   required\n"
            "  --city NAME       default '*'\n"
            "  --county NAME     default '*'\n"
            "  --category C      a category name or code (see categories), or '*'\n"
            "                    for all (the default); hits are grouped by county,\n"
            "                    then category, then name\n"
            "  --level N         1 to 4 (default 4): at 1 and 2 the hits carry their\n"
            "                    names only, no coordinates, area or code\n"
            "  JSON summary: {\"count\":N,\"category\":\"C\",\"level\":N}\n",
            {"--province", "--city", "--county", "--category", "--level"},
            {},
            RunAddress};
}

} // namespace Kest
