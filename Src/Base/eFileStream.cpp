#include "Base/eFileStream.h"

#include <algorithm>
#include <cstring>

namespace Kest {

eFileStream::~eFileStream()
{
    Close();
}

bool eFileStream::Open(const char* path, int bufferSize)
{
    Close();
    if (!path || !*path)
        return false;
    m_file = std::fopen(path, "rb");
    if (!m_file)
        return false;
    m_buffer.assign(static_cast<std::size_t>(bufferSize > 0 ? bufferSize : kDefaultBufferSize), 0);
    m_pos = m_end = m_fileOffset = 0;
    return true;
}

void eFileStream::Close()
{
    if (m_file) {
        std::fclose(m_file);
        m_file = nullptr;
    }
    m_buffer.clear();
    m_buffer.shrink_to_fit();
    m_pos = m_end = m_fileOffset = 0;
}

bool eFileStream::Fill()
{
    if (!m_file)
        return false;
    const std::size_t got = std::fread(m_buffer.data(), 1, m_buffer.size(), m_file);
    m_pos = 0;
    m_end = static_cast<std::int64_t>(got);
    m_fileOffset += m_end;
    return got > 0;
}

int eFileStream::Load(void* buffer, int size)
{
    if (!m_file || !buffer || size <= 0)
        return 0;
    unsigned char* out = static_cast<unsigned char*>(buffer);
    int done = 0;
    while (done < size) {
        if (m_pos == m_end) {
            // A large remainder bypasses the buffer.
            const int left = size - done;
            if (left >= static_cast<int>(m_buffer.size())) {
                const std::size_t got = std::fread(out + done, 1, static_cast<std::size_t>(left), m_file);
                m_fileOffset += static_cast<std::int64_t>(got);
                done += static_cast<int>(got);
                break;
            }
            if (!Fill())
                break;
        }
        const std::int64_t chunk = std::min<std::int64_t>(m_end - m_pos, size - done);
        std::memcpy(out + done, m_buffer.data() + m_pos, static_cast<std::size_t>(chunk));
        m_pos += chunk;
        done += static_cast<int>(chunk);
    }
    return done;
}

bool eFileStream::ReadInt(std::int32_t& value)
{
    unsigned char b[4];
    const std::int64_t at = Tell();
    if (Load(b, 4) != 4) {
        Seek(at);
        return false;
    }
    const std::uint32_t u = static_cast<std::uint32_t>(b[0]) | static_cast<std::uint32_t>(b[1]) << 8 |
                            static_cast<std::uint32_t>(b[2]) << 16 | static_cast<std::uint32_t>(b[3]) << 24;
    value = static_cast<std::int32_t>(u);
    return true;
}

bool eFileStream::Seek(std::int64_t offset)
{
    if (!m_file || offset < 0)
        return false;
    if (std::fseek(m_file, static_cast<long>(offset), SEEK_SET) != 0)
        return false;
    m_pos = m_end = 0;
    m_fileOffset = offset;
    return true;
}

std::int64_t eFileStream::GetLength() const
{
    if (!m_file)
        return -1;
    const long here = std::ftell(m_file);
    if (here < 0 || std::fseek(m_file, 0, SEEK_END) != 0)
        return -1;
    const long size = std::ftell(m_file);
    std::fseek(m_file, here, SEEK_SET);
    return size;
}

} // namespace Kest
