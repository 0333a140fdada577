#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace Kest {

// Collects (area code, GBK name) pairs and writes "AdminIndex.ndf", which
// eAdminIndex reads (format in docs/format.md, "AdminIndex.ndf"). The bytes
// depend only on the pairs, not on the order they were added in.
class AdminIndexWriter {
public:
    // Adds one area. False, with `error` saying why, for a code added before
    // or a name longer than the format allows; nothing is added then.
    bool Add(std::uint16_t code, const std::string& gbkName, std::string* error = nullptr);

    std::size_t GetCount() const { return m_names.size(); }

    // The whole file: header, table sorted by code, names in code order.
    std::vector<unsigned char> Bytes() const;

    // Writes Bytes() to `path` (replacing it). False, with `error`, when the
    // file cannot be written completely.
    bool WriteFile(const std::string& path, std::string* error = nullptr) const;

private:
    std::map<std::uint16_t, std::string> m_names;
};

} // namespace Kest
