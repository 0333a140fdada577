#include "POIEngine/eFileSteps.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>

namespace Kest {

eFileSteps::~eFileSteps() = default;

eFileSteps& eFileSteps::System()
{
    static eFileSteps system;
    return system;
}

int eFileSteps::CreateTemp(char* pattern)
{
    // Like mkstemp, but with the mode an ordinary new file gets (0666 less
    // the umask), so that a replaced store file keeps the usual permissions.
    const std::size_t length = std::strlen(pattern);
    if (length < 6)
        return -1;
    char* x = pattern + length - 6;
    static const char kChars[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    static unsigned long long counter = 0;
    for (int attempt = 0; attempt < 100; ++attempt) {
        unsigned long long seed = (static_cast<unsigned long long>(getpid()) << 32) ^
                                  static_cast<unsigned long long>(std::time(nullptr)) ^
                                  (++counter * 0x9E3779B97F4A7C15ULL);
        for (int i = 0; i < 6; ++i, seed /= 62)
            x[i] = kChars[seed % 62];
        const int fd = open(pattern, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0 || errno != EEXIST)
            return fd;
    }
    return -1;
}

bool eFileSteps::Write(int fd, const void* data, std::size_t size)
{
    const char* p = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t n = write(fd, p, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        p += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

bool eFileSteps::Sync(int fd)
{
    return fsync(fd) == 0;
}

bool eFileSteps::Close(int fd)
{
    return close(fd) == 0;
}

bool eFileSteps::Rename(const char* from, const char* to)
{
    return std::rename(from, to) == 0;
}

bool eFileSteps::SyncDirectory(const char* directory)
{
    const int fd = open(directory, O_RDONLY | O_DIRECTORY);
    if (fd < 0)
        return false;
    const bool ok = fsync(fd) == 0;
    return close(fd) == 0 && ok;
}

void eFileSteps::Remove(const char* path)
{
    unlink(path);
}

} // namespace Kest
