#pragma once
// A poi command run in-process: its exit status, stdout as lines, stderr.

#include <sstream>
#include <string>
#include <vector>

namespace KestTest {

struct CommandResult {
    int status;
    std::vector<std::string> lines; // stdout
    std::string err;
};

template <class Command>
CommandResult RunCommand(const std::vector<std::string>& args)
{
    std::ostringstream out, err;
    CommandResult r{Command(out, err).Run(args), {}, err.str()};
    std::istringstream lines(out.str());
    for (std::string line; std::getline(lines, line);)
        r.lines.push_back(line);
    return r;
}

} // namespace KestTest
