#pragma once

#include <cstddef>

#include "Base/KestExport.h"

namespace Kest {

// The file-system calls through which the user store replaces its files, one
// call per step. The user store writes a file as: create a temporary file
// beside it, write, flush to disk, close, rename over the old file, flush the
// directory. The default instance calls the system; a test substitutes one
// that fails or stops the process at a chosen step.
class KEST_API eFileSteps {
public:
    virtual ~eFileSteps();

    // The instance that calls the system.
    static eFileSteps& System();

    // Creates and opens for writing a new file named by `pattern`, whose
    // last six characters ("XXXXXX") are replaced in place by a name not yet
    // taken; its descriptor, or -1.
    virtual int CreateTemp(char* pattern);
    // Writes all `size` bytes; false on an error or a short write.
    virtual bool Write(int fd, const void* data, std::size_t size);
    // Flushes the file's data to the disk.
    virtual bool Sync(int fd);
    virtual bool Close(int fd);
    // Replaces `to` by `from` in one step.
    virtual bool Rename(const char* from, const char* to);
    // Flushes a directory, so that a rename inside it survives a power loss.
    virtual bool SyncDirectory(const char* directory);
    virtual void Remove(const char* path);
};

} // namespace Kest
