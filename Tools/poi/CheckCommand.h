#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace Kest {

// `poi check DIR`: verifies a data directory made by poi build, as
// `PRAGMA integrity_check` does a database: every file the manifest lists
// (size and CRC-32), every page of every page file (checksum, number,
// structure), the area index, and the manifest itself. Prints each fault
// found, one a line, or one "ok" line.
class CheckCommand {
public:
    static const char kUsage[];

    CheckCommand(std::ostream& out, std::ostream& err) : m_out(out), m_err(err) {}
    // `args` are the words after "check". Returns 0 clean, 1 damaged, 2
    // usage error.
    int Run(const std::vector<std::string>& args);

private:
    // Checks every page of the page file `path` (below `dir`); returns the
    // number of pages checked and prints a line per fault into `faults`.
    long long CheckPages(const std::string& dir, const std::string& path, int& faults);
    void Fault(int& faults, const std::string& line);

    std::ostream& m_out;
    std::ostream& m_err;
};

} // namespace Kest
