#pragma once

#include <chrono>
#include <ostream>
#include <string>
#include <vector>

namespace Kest {

// `poi store --data DIR fav|history add|list|remove|clear|restore ...`: the
// user's favourites and history, kept by the engine's user store
// (ePOIEngineContainer) in DIR/Favorite.poi and DIR/History.poi. Runs on the
// same DIR take turns through a lock on DIR/<kLockFile>.
class StoreCommand {
public:
    static const char kUsage[];
    static constexpr const char* kLockFile = "UserStore.lock";

    StoreCommand(std::ostream& out, std::ostream& err) : m_out(out), m_err(err) {}
    // `args` are the words after "store". Returns the exit status: 0 done,
    // 1 the store could not be read or changed, 2 usage error.
    int Run(const std::vector<std::string>& args);
    // How long a run waits for another run on the same directory (10 s).
    void SetLockWait(std::chrono::milliseconds wait) { m_lockWait = wait; }

private:
    int Fail(int status, const std::string& message);

    std::ostream& m_out;
    std::ostream& m_err;
    std::chrono::milliseconds m_lockWait{10000};
};

} // namespace Kest
