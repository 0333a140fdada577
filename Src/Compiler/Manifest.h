#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Kest {

// "POI/manifest.txt" of a data directory: the byte size and CRC-32 of every
// file the data compiler wrote (format in docs/format.md, "manifest.txt").
// The compiler writes it last; `poi search` checks the small unpaged files
// against it before use and `poi check` verifies every file it lists.
class Manifest {
public:
    static constexpr const char* kFileName = "POI/manifest.txt";

    struct Entry {
        std::string path; // below the data directory, '/'-separated
        std::uint64_t size = 0;
        std::uint32_t crc = 0;
    };

    // Lists every file below `dir`/POI (the manifest itself excepted), in
    // byte order of their paths, and writes the manifest. False with
    // `error` set when a file cannot be read or the manifest written.
    static bool Write(const std::string& dir, std::string& error);

    // Reads and checks the manifest of `dir`; false with `error` set when it
    // is missing or damaged.
    bool Load(const std::string& dir, std::string& error);
    const std::vector<Entry>& Entries() const { return m_entries; }

    // Whether the file `path` (below `dir`) has the size and checksum the
    // manifest gives it; false with `error` naming the fault.
    bool Verify(const std::string& dir, const std::string& path, std::string& error) const;

    // The size and CRC-32 of a whole file; false when it cannot be read.
    static bool Measure(const std::string& file, std::uint64_t& size, std::uint32_t& crc);

private:
    std::vector<Entry> m_entries;
};

} // namespace Kest
