#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace Kest {

// `poi demo`: builds the bundled sample once into a cache directory and
// tours the commands on it: a name typed letter by letter, a refinement, the
// same initials in each province, then favourites and history.
class DemoTour {
public:
    static const char kUsage[];

    DemoTour(std::ostream& out, std::ostream& err) : m_out(out), m_err(err) {}
    // `args` are the words after "demo". Returns the exit status: 0 done,
    // 1 a step failed, 2 usage error.
    int Run(const std::vector<std::string>& args);

private:
    int Fail(int status, const std::string& message);
    // Builds `sample` into `cache`/data unless the stamp written by the last
    // build still describes the sample's files and this program.
    bool Prepare(const std::string& sample, const std::string& cache, std::string& data);
    // Prints the command, runs it, and reports whether it succeeded.
    bool Show(const std::string& command, const std::vector<std::string>& args);
    // A real number of the sample typed digit by digit.
    bool TelSteps(const std::string& data);
    // The category list and the search by area and category.
    bool AddressSteps(const std::string& data);
    // The sights and place names, by initials and by text.
    bool SightStep(const std::string& data);
    // Crossroads found from either road, by initials and by text.
    bool CrossroadStep(const std::string& data);
    // Which county holds a few well-known places.
    bool DistrictStep(const std::string& data);

    std::ostream& m_out;
    std::ostream& m_err;
};

} // namespace Kest
