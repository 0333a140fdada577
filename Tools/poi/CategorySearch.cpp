// `categories`: the category list of a data directory, its branches or the
// leaves of one branch with their codes (the codes that `address
// --category` and the POI records' code column use).

#include "Compiler/GbkCodec.h"
#include "POIEngine/ePOIEngineManager.h"
#include "SearchKinds.h"
#include "SearchRun.h"

namespace Kest {

namespace {

const char kSortFile[] = "POI/Around/POI_SORT.txt";

int RunCategories(SearchRun& run)
{
    if (run.Words().size() > 1)
        return run.Fail(2, "categories takes at most one BRANCH, not " + std::to_string(run.Words().size()) +
                               " words (quote a name that holds spaces)");
    long long offset = 0, limit = 0;
    if (int status = run.Paging(offset, limit))
        return status;
    const bool branchGiven = run.Words().size() == 1;
    std::string branch;
    if (branchGiven)
        if (int status = run.ToGbk("BRANCH", run.Words()[0], branch))
            return status;
    if (int status = run.OpenData({kSortFile}))
        return status;

    ePOIEngineManager engine;
    engine.SetPoiPath(run.Dir().c_str());
    char** list = nullptr;
    int count = 0;
    if (!engine.GetBranchPoiTypes(list, count))
        return run.Fail(1, run.Dir() + "/" + kSortFile + " cannot be read (rebuild with poi build)");
    std::string branches;
    for (int i = 0; i < count; ++i)
        branches += (i ? ", " : "") + GbkCodec::Utf8(list[i]);
    if (branchGiven && !engine.GetPoiTypes(branch.c_str(), list, count))
        return run.Fail(1, "no branch '" + run.Words()[0] + "' (the branches: " + branches + ")");

    // Copies first: the codes are looked up through the engine, and each
    // list call replaces the list.
    std::vector<std::string> names(list, list + count);
    std::vector<int> codes;
    for (const std::string& name : names)
        codes.push_back(branchGiven ? engine.GetPoiCode(name.c_str()) : -1);

    std::ostream& out = run.Out();
    if (run.Json()) {
        out << "{" << (branchGiven ? "\"branch\":" + HitText::JsonString(run.Words()[0]) + "," : "")
            << "\"count\":" << count << "}\n";
        for (std::size_t i = 0; i < names.size(); ++i) {
            out << "{\"name\":" << HitText::JsonString(GbkCodec::Utf8(names[i]));
            if (branchGiven)
                out << ",\"code\":" << codes[i];
            out << "}\n";
        }
        return 0;
    }
    out << (branchGiven ? "categories of " + run.Words()[0] : std::string("branches")) << ": " << count << "\n";
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (branchGiven)
            out << "  " << codes[i] << "\t" << GbkCodec::Utf8(names[i]) << "\n";
        else
            out << "  " << GbkCodec::Utf8(names[i]) << "\n";
    }
    if (!branchGiven)
        out << "(poi search --data " << run.Dir() << " categories BRANCH lists a branch's categories and codes)\n";
    return 0;
}

} // namespace

SearchKind CategorySearch()
{
    return {"categories",
            "categories [BRANCH]",
            "categories: lists the branches of the POI category list, or with BRANCH\n"
            "(its name; upper or lower case alike) the categories of that branch with\n"
            "their codes, as address --category takes them.\n"
            "  JSON summary: {\"count\":N} (with BRANCH also \"branch\"), then one\n"
            "  {\"name\":\"…\"} per branch or {\"name\":\"…\",\"code\":C} per category\n",
            {},
            {},
            RunCategories};
}

} // namespace Kest
