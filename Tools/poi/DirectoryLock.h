#pragma once

#include <chrono>
#include <string>

namespace Kest {

// An advisory lock (flock) on a lock file, held until destruction, so that
// commands changing the same directory run one after another. Shared locks
// (readers) may be held together; an exclusive one (a writer) excludes all.
class DirectoryLock {
public:
    enum class Result { kLocked, kTimedOut, kNoFile };

    DirectoryLock() = default;
    ~DirectoryLock();
    DirectoryLock(const DirectoryLock&) = delete;
    DirectoryLock& operator=(const DirectoryLock&) = delete;

    // Opens (creating it if need be) `file` and locks it, retrying until
    // `wait` has passed.
    Result Acquire(const std::string& file, bool exclusive, std::chrono::milliseconds wait);

private:
    int m_fd = -1;
};

} // namespace Kest
