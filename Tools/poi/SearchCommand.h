#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace Kest {

// `poi search --data DIR KIND [options] ARGS`: every search of the engine,
// UTF-8 in and out, as a table or JSON Lines. The kinds are listed in
// SearchKinds.cpp; this class picks one and checks the options it takes.
class SearchCommand {
public:
    SearchCommand(std::ostream& out, std::ostream& err) : m_out(out), m_err(err) {}
    // `args` are the words after "search". Returns the exit status: 0 done,
    // 1 the search failed (message on `err`), 2 usage error.
    int Run(const std::vector<std::string>& args);
    // The text of `poi search --help`, made from every kind's lines.
    static std::string Usage();

private:
    int Fail(int status, const std::string& message);
    // `--batch FILE`: one search per line (tab-separated words after
    // `common`), each followed by a line of 0x1E and its exit status.
    int RunBatch(const std::string& file, const std::vector<std::string>& common);

    std::ostream& m_out;
    std::ostream& m_err;
};

} // namespace Kest
