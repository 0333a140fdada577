#pragma once

#include <ostream>
#include <string>

namespace Kest {

// The tour of the user store that `poi demo` runs: favourites and history are
// added, reordered, listed, saved and loaded again in a scratch directory,
// and everything is printed as UTF-8.
class StoreTour {
public:
    explicit StoreTour(std::ostream& out) : m_out(out) {}
    // Runs the tour in `directory` (which must exist); false when a step failed.
    bool Run(const std::string& directory);

private:
    std::ostream& m_out;
};

} // namespace Kest
