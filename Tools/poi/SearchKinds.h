#pragma once

#include <set>
#include <string>
#include <vector>

namespace Kest {

class SearchRun;

// One kind of `poi search`: its name, its lines of `poi search --help`, the
// options it takes beside those of every kind (--data, --limit, --offset,
// --json), and what runs it. Each kind lives in its own <Kind>Search.cpp.
struct SearchKind {
    std::string name;
    // The synopsis after "poi search --data DIR" ("initial [options] INITIALS").
    std::string synopsis;
    // What it finds and its own options, as lines of the help text.
    std::string help;
    std::set<std::string> valueOptions;
    std::set<std::string> flags;
    // The exit status: 0 searched, 1 failed, 2 usage error.
    int (*run)(SearchRun& run);
};

// Every kind, in the order --help lists them.
const std::vector<SearchKind>& SearchKinds();

// The entries, each defined in its kind's file.
SearchKind InitialSearch(); // InitialSearch.cpp
SearchKind TextSearch();    // InitialSearch.cpp
SearchKind AroundSearch();  // AroundSearch.cpp
SearchKind NearestSearch(); // AroundSearch.cpp
SearchKind TelSearch();     // TelSearch.cpp
SearchKind AddressSearch(); // AddressSearch.cpp
SearchKind CategorySearch(); // CategorySearch.cpp
SearchKind SightSearch();   // SightSearch.cpp
SearchKind PlaceSearch();   // SightSearch.cpp
SearchKind CrossSearch();   // CrossSearch.cpp
SearchKind DistrictSearch(); // DistrictSearch.cpp

} // namespace Kest
