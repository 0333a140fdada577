#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace Kest {

// `poi search --data DIR initial [options] INITIALS`: the search by pinyin
// initials through ePOIEngineManager, UTF-8 in and out, as a table or JSON.
class SearchCommand {
public:
    static const char kUsage[];

    SearchCommand(std::ostream& out, std::ostream& err) : m_out(out), m_err(err) {}
    // `args` are the words after "search". Returns the exit status: 0 done,
    // 1 the search failed (message on `err`), 2 usage error.
    int Run(const std::vector<std::string>& args);

private:
    int Fail(int status, const std::string& message);

    std::ostream& m_out;
    std::ostream& m_err;
};

} // namespace Kest
