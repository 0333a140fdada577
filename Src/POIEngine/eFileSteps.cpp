#include "POIEngine/eFileSteps.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
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
    return mkstemp(pattern);
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
