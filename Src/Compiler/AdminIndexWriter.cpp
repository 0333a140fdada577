#include "Compiler/AdminIndexWriter.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "Base/NdfFormat.h"
#include "Base/eCrc32.h"

namespace Kest {
namespace {

void PutU16(std::vector<unsigned char>& out, std::uint32_t value)
{
    out.push_back(static_cast<unsigned char>(value));
    out.push_back(static_cast<unsigned char>(value >> 8));
}

void PutU32(std::vector<unsigned char>& out, std::uint32_t value)
{
    PutU16(out, value & 0xFFFF);
    PutU16(out, value >> 16);
}

void SetU32(std::vector<unsigned char>& out, std::size_t at, std::uint32_t value)
{
    for (int i = 0; i < 4; ++i)
        out[at + static_cast<std::size_t>(i)] = static_cast<unsigned char>(value >> (8 * i));
}

} // namespace

bool AdminIndexWriter::Add(std::uint16_t code, const std::string& gbkName, std::string* error)
{
    if (gbkName.size() > NdfFormat::kAdminMaxNameLength) {
        if (error)
            *error = "area code " + std::to_string(code) + ": name of " + std::to_string(gbkName.size()) +
                     " bytes is longer than " + std::to_string(NdfFormat::kAdminMaxNameLength);
        return false;
    }
    if (!m_names.emplace(code, gbkName).second) {
        if (error)
            *error = "duplicate area code " + std::to_string(code);
        return false;
    }
    return true;
}

std::vector<unsigned char> AdminIndexWriter::Bytes() const
{
    using namespace NdfFormat;
    std::uint32_t namesLength = 0;
    for (const auto& [code, name] : m_names)
        namesLength += static_cast<std::uint32_t>(name.size());

    std::vector<unsigned char> out(kAdminHeaderSize, 0);
    out.reserve(kAdminHeaderSize + m_names.size() * kAdminEntrySize + namesLength);
    for (std::size_t i = 0; i < sizeof kAdminMagic; ++i)
        out[i] = static_cast<unsigned char>(kAdminMagic[i]);
    SetU32(out, 4, kAdminVersion);
    SetU32(out, 8, static_cast<std::uint32_t>(m_names.size()));
    SetU32(out, 12, namesLength);
    // The checksum at kAdminChecksumOffset is filled in last.

    std::uint32_t offset = 0;
    for (const auto& [code, name] : m_names) {
        PutU16(out, code);
        PutU16(out, static_cast<std::uint32_t>(name.size()));
        PutU32(out, offset);
        offset += static_cast<std::uint32_t>(name.size());
    }
    for (const auto& entry : m_names)
        for (char c : entry.second)
            out.push_back(static_cast<unsigned char>(c));
    SetU32(out, kAdminChecksumOffset,
           eCrc32::Compute(out.data() + kAdminHeaderSize, out.size() - kAdminHeaderSize));
    return out;
}

bool AdminIndexWriter::WriteFile(const std::string& path, std::string* error) const
{
    const std::vector<unsigned char> bytes = Bytes();
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) {
        if (error)
            *error = path + ": cannot create: " + std::strerror(errno);
        return false;
    }
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    const bool closed = std::fclose(f) == 0;
    if (!written || !closed) {
        if (error)
            *error = path + ": cannot write all " + std::to_string(bytes.size()) + " bytes";
        return false;
    }
    return true;
}

} // namespace Kest
