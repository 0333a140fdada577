#pragma once

#include <cstdint>
#include <cstdio>
#include <vector>

#include "Base/KestExport.h"

namespace Kest {

// A buffered read-only file: 32-bit little-endian integers and blocks of bytes
// read in sequence. The buffer is 8192 bytes unless the opener asks otherwise.
class KEST_API eFileStream {
public:
    static constexpr int kDefaultBufferSize = 8192;

    eFileStream() = default;
    ~eFileStream();
    eFileStream(const eFileStream&) = delete;
    eFileStream& operator=(const eFileStream&) = delete;

    // Opens `path` for reading; an open stream is closed first. False when the
    // file cannot be opened.
    bool Open(const char* path, int bufferSize = kDefaultBufferSize);
    bool IsOpen() const { return m_file != nullptr; }
    void Close();

    // Reads a 32-bit little-endian integer; false (and `value` untouched) when
    // fewer than 4 bytes are left.
    bool ReadInt(std::int32_t& value);
    // Reads up to `size` bytes; returns how many were read (0 at the end).
    int Load(void* buffer, int size);
    // Moves to an absolute offset; false when it cannot.
    bool Seek(std::int64_t offset);
    // The current offset, as read by the caller.
    std::int64_t Tell() const { return m_fileOffset - (m_end - m_pos); }
    // The file's size in bytes, or -1.
    std::int64_t GetLength() const;

private:
    bool Fill();

    std::FILE* m_file = nullptr;
    std::vector<unsigned char> m_buffer;
    std::int64_t m_pos = 0;        // next unread byte in m_buffer
    std::int64_t m_end = 0;        // bytes valid in m_buffer
    std::int64_t m_fileOffset = 0; // file offset just behind the buffered bytes
};

} // namespace Kest
