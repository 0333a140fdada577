#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "Base/KestExport.h"

namespace Kest {

// Reads exactly `size` bytes at `offset` of an open file. Where the system
// offers pread it is one call (more only when the kernel returns less) that
// leaves the stream's position and buffer alone; otherwise a seek and a
// read. False on a short read, an error or an offset beyond a `long`.
KEST_API bool ReadAt(std::FILE* fp, std::uint64_t offset, unsigned char* buffer, std::size_t size);

} // namespace Kest
