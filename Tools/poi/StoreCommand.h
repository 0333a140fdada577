#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace Kest {

// `poi store --data DIR fav|history add|list|remove|clear ...`: the user's
// favourites and history, kept by the engine in DIR/Favorite.poi and
// DIR/History.poi, through ePOIEngineManager's store calls.
class StoreCommand {
public:
    static const char kUsage[];

    StoreCommand(std::ostream& out, std::ostream& err) : m_out(out), m_err(err) {}
    // `args` are the words after "store". Returns the exit status: 0 done,
    // 1 the store could not be read or changed, 2 usage error.
    int Run(const std::vector<std::string>& args);

private:
    int Fail(int status, const std::string& message);

    std::ostream& m_out;
    std::ostream& m_err;
};

} // namespace Kest
