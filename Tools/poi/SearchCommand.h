#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "DataSetList.h"

namespace Kest {

class ePOIEngineManager;

// `poi search --data DIR initial|text [options] KEY`: the searches by pinyin
// initials and by Chinese text through ePOIEngineManager, UTF-8 in and out,
// as a table or JSON.
class SearchCommand {
public:
    static const char kUsage[];

    SearchCommand(std::ostream& out, std::ostream& err) : m_out(out), m_err(err) {}
    // `args` are the words after "search". Returns the exit status: 0 done,
    // 1 the search failed (message on `err`), 2 usage error.
    int Run(const std::vector<std::string>& args);

private:
    int Fail(int status, const std::string& message);
    // A line of advice on `err` (nothing for an empty line); the exit status
    // stays what the search gives.
    void Note(const std::string& line);
    // 1 with one line naming the damaged file (and page) when the search met
    // damage in DIR; 0 when it met none.
    int Damaged(const ePOIEngineManager& engine, const std::string& dir);
    // The text search: keys are province, city, text and the refinement, in GBK.
    int RunText(ePOIEngineManager& engine, const std::string& dir, const DataSetList::DataSet& set,
                const std::string keys[4], const std::string* refine, long long offset, long long limit, bool json);

    std::ostream& m_out;
    std::ostream& m_err;
};

} // namespace Kest
