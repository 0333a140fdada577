#include "Base/ReadAt.h"

#include <climits>

#if defined(__unix__) || defined(__APPLE__)
#include <unistd.h>
#endif

namespace Kest {

bool ReadAt(std::FILE* fp, std::uint64_t offset, unsigned char* buffer, std::size_t size)
{
    if (fp == nullptr || offset > static_cast<std::uint64_t>(LONG_MAX))
        return false;
#if defined(__unix__) || defined(__APPLE__)
    const int fd = fileno(fp);
    std::size_t done = 0;
    while (done < size) {
        const ssize_t n = pread(fd, buffer + done, size - done, static_cast<off_t>(offset + done));
        if (n <= 0)
            return false;
        done += static_cast<std::size_t>(n);
    }
    return true;
#else
    if (std::fseek(fp, static_cast<long>(offset), SEEK_SET) != 0)
        return false;
    return std::fread(buffer, 1, size, fp) == size;
#endif
}

} // namespace Kest
