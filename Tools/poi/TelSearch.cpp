// The search by telephone number: `tel` (the digits typed so far, with the
// digits that may come next).

#include <filesystem>

#include "POIEngine/ePOIEngineManager.h"
#include "SearchKinds.h"
#include "SearchRun.h"

namespace Kest {

namespace {

int RunTel(SearchRun& run)
{
    if (run.Words().size() != 1)
        return run.ExpectWords(1, "DIGITS");
    if (!run.Args().Has("--data"))
        return run.Fail(2, "--data DIR is required (a directory made by poi build)");
    long long offset = 0, limit = 10;
    if (int status = run.Paging(offset, limit))
        return status;
    const std::string& digits = run.Words()[0];
    for (char c : digits)
        if (c < '0' || c > '9')
            return run.Fail(2, "DIGITS '" + digits + "' holds '" + std::string(1, c) +
                                   "': type only the digits 0 to 9, without spaces, '-' or a country code");
    if (int status = run.OpenData())
        return status;
    const std::string& dir = run.Dir();
    std::error_code ec;
    if (!std::filesystem::is_regular_file(dir + "/POI/Tel/102.ndf", ec))
        return run.Fail(1, dir + " has no telephone index (POI/Tel/102.ndf): rebuild it with poi build");

    ePOIEngineManager engine;
    engine.SetPoiPath(dir.c_str());
    char* next = nullptr;
    int nextCount = 0;
    int total = 0;
    if (engine.QueryByTelephone(digits.c_str(), next, nextCount)) {
        total = engine.GetPOICount(0);
    } else {
        // False also when no number begins with the digits: the index
        // answering for nothing typed tells that from an unreadable index.
        if (run.Damaged(engine))
            return 1;
        if (!engine.QueryByTelephone("", next, nextCount))
            return run.Damaged(engine) ? 1
                                       : run.Fail(1, "the telephone index in " + dir +
                                                         "/POI/Tel/ cannot be read (rebuild with poi build)");
        nextCount = 0;
        run.Note("no number begins with " + digits);
    }
    const std::string nextDigits(next != nullptr ? next : "", next != nullptr ? static_cast<std::size_t>(nextCount) : 0);

    std::string unreadable;
    const std::vector<HitText> hits = SearchRun::ReadHits(engine, total, offset, limit, unreadable);
    if (run.Damaged(engine))
        return 1;
    const std::string fields = "\"next\":" + HitText::JsonString(nextDigits) + ",\"count\":" + std::to_string(total);
    if (!run.Json()) {
        std::ostream& out = run.Out();
        out << "next digits: " << (nextDigits.empty() ? "(none)" : nextDigits) << "\n";
        out << "hits: " << total;
        if (hits.empty() && offset > 0 && total > 0)
            out << "; none from " << offset + 1;
        if (!hits.empty())
            out << "; showing " << offset + 1 << "-" << offset + static_cast<long long>(hits.size());
        out << "\n";
    }
    return run.PrintHits(fields, hits, offset, unreadable);
}

} // namespace

SearchKind TelSearch()
{
    return {"tel",
            "tel DIGITS",
            "tel: finds the POIs whose telephone number begins with DIGITS (the digits\n"
            "typed so far, 0 to 9 only; numbers are indexed without spaces, '-', '(',\n"
            "')' and a leading +86 or 0086). Prints the digits that may be typed next,\n"
            "the number of hits, and the hits from --offset on, at most --limit: first\n"
            "those whose number is DIGITS, then shorter numbers before longer ones,\n"
            "numbers of one length in ascending order. '' lists every POI with a number.\n"
            "  JSON summary: {\"next\":\"…\",\"count\":N}\n",
            {},
            {},
            RunTel};
}

} // namespace Kest
