#include "DirectoryLock.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <thread>
#include <unistd.h>

namespace Kest {

DirectoryLock::~DirectoryLock()
{
    if (m_fd >= 0)
        close(m_fd); // releases the lock
}

DirectoryLock::Result DirectoryLock::Acquire(const std::string& file, bool exclusive, std::chrono::milliseconds wait)
{
    if (m_fd < 0)
        m_fd = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (m_fd < 0)
        m_fd = open(file.c_str(), O_RDONLY | O_CLOEXEC); // a read-only directory can still be read
    if (m_fd < 0)
        return Result::kNoFile;
    const auto deadline = std::chrono::steady_clock::now() + wait;
    for (;;) {
        if (flock(m_fd, (exclusive ? LOCK_EX : LOCK_SH) | LOCK_NB) == 0)
            return Result::kLocked;
        if (errno != EWOULDBLOCK && errno != EINTR)
            return Result::kNoFile;
        if (std::chrono::steady_clock::now() >= deadline)
            return Result::kTimedOut;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

} // namespace Kest
