#include "Compiler/Manifest.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "Base/eCrc32.h"

namespace Kest {
namespace fs = std::filesystem;

namespace {

const char kMagicLine[] = "kest-manifest 1\n";

bool ReadWhole(const std::string& file, std::string& bytes)
{
    std::ifstream in(file, std::ios::binary);
    if (!in)
        return false;
    bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return !in.bad();
}

std::uint32_t Crc(const std::string& bytes)
{
    return eCrc32::Compute(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
}

std::string Hex(std::uint32_t value)
{
    char text[9];
    std::snprintf(text, sizeof text, "%08x", static_cast<unsigned>(value));
    return text;
}

} // namespace

bool Manifest::Measure(const std::string& file, std::uint64_t& size, std::uint32_t& crc)
{
    std::string bytes;
    if (!ReadWhole(file, bytes))
        return false;
    size = bytes.size();
    crc = Crc(bytes);
    return true;
}

bool Manifest::Write(const std::string& dir, std::string& error)
{
    std::vector<std::string> paths;
    std::error_code ec;
    for (fs::recursive_directory_iterator it(dir + "/POI", ec), end; !ec && it != end; it.increment(ec))
        if (it->is_regular_file(ec)) {
            const std::string path = fs::relative(it->path(), dir, ec).generic_string();
            if (path != kFileName)
                paths.push_back(path);
        }
    if (ec) {
        error = "cannot list '" + dir + "/POI': " + ec.message();
        return false;
    }
    std::sort(paths.begin(), paths.end()); // same input, same bytes
    std::string text = kMagicLine;
    for (const std::string& path : paths) {
        std::uint64_t size = 0;
        std::uint32_t crc = 0;
        if (!Measure(dir + "/" + path, size, crc)) {
            error = "cannot read '" + dir + "/" + path + "'";
            return false;
        }
        text += path + "\t" + std::to_string(size) + "\t" + Hex(crc) + "\n";
    }
    text += "end\t" + Hex(Crc(text)) + "\n";
    std::ofstream out(dir + "/" + kFileName, std::ios::binary);
    out << text;
    out.close();
    if (!out) {
        error = "cannot write '" + dir + "/" + kFileName + "'";
        return false;
    }
    return true;
}

bool Manifest::Load(const std::string& dir, std::string& error)
{
    m_entries.clear();
    const std::string name = dir + "/" + kFileName;
    std::string text;
    if (!ReadWhole(name, text)) {
        error = name + " is missing (rebuild with poi build)";
        return false;
    }
    // The last line checks every byte before it.
    const std::size_t last = text.size() >= 2 ? text.rfind('\n', text.size() - 2) : std::string::npos;
    const std::string body = last == std::string::npos ? std::string() : text.substr(0, last + 1);
    if (body.compare(0, sizeof kMagicLine - 1, kMagicLine) != 0 ||
        text.substr(last + 1) != "end\t" + Hex(Crc(body)) + "\n") {
        error = name + " is damaged (it fails its checksum)";
        return false;
    }
    std::istringstream lines(body.substr(sizeof kMagicLine - 1));
    std::string line;
    while (std::getline(lines, line)) {
        const std::size_t a = line.find('\t');
        const std::size_t b = a == std::string::npos ? a : line.find('\t', a + 1);
        Entry entry;
        if (b == std::string::npos || b + 9 != line.size()) {
            error = name + " is damaged (a line is not 'path<TAB>size<TAB>crc')";
            return false;
        }
        entry.path = line.substr(0, a);
        entry.size = std::strtoull(line.c_str() + a + 1, nullptr, 10);
        entry.crc = static_cast<std::uint32_t>(std::strtoul(line.c_str() + b + 1, nullptr, 16));
        m_entries.push_back(entry);
    }
    return true;
}

bool Manifest::Verify(const std::string& dir, const std::string& path, std::string& error) const
{
    const auto it = std::find_if(m_entries.begin(), m_entries.end(), [&](const Entry& e) { return e.path == path; });
    const std::string name = dir + "/" + path;
    if (it == m_entries.end()) {
        error = name + " is not in the manifest";
        return false;
    }
    std::uint64_t size = 0;
    std::uint32_t crc = 0;
    if (!Measure(name, size, crc)) {
        error = name + " is missing";
        return false;
    }
    if (size != it->size) {
        error = name + " is damaged (" + std::to_string(size) + " bytes, the manifest says " +
                std::to_string(it->size) + ")";
        return false;
    }
    if (crc != it->crc) {
        error = name + " is damaged (it fails its checksum)";
        return false;
    }
    return true;
}

} // namespace Kest
