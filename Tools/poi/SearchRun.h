#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "CommandArgs.h"
#include "DataSetList.h"
#include "HitText.h"

namespace Kest {

class ePOIEngineManager;

// What every kind of `poi search` shares: the parsed arguments, the output
// streams and their messages, the data directory and its data sets, the GBK
// keys the engine takes, and the hits as a table or JSON Lines. Methods that
// can fail print one line on the error stream and return the exit status
// (0 when they did not fail), so a kind writes `if (int s = run.X(...)) return s;`.
class SearchRun {
public:
    SearchRun(std::ostream& out, std::ostream& err, const CommandArgs& args);

    std::ostream& Out() { return m_out; }
    const CommandArgs& Args() const { return m_args; }
    // The positional words after the kind's name.
    const std::vector<std::string>& Words() const { return m_words; }
    bool Json() const { return m_args.Has("--json"); }
    // The data directory (--data), valid after OpenData.
    const std::string& Dir() const { return m_dir; }
    const DataSetList& Sets() const { return m_sets; }

    // "poi search: MESSAGE" on the error stream; returns `status`.
    int Fail(int status, const std::string& message);
    // A line of advice (nothing for an empty line); the exit status stays.
    void Note(const std::string& line);
    // 2 unless there are exactly `count` words; `what` names them in the
    // message ("INITIALS", "LON LAT").
    int ExpectWords(std::size_t count, const std::string& what);

    // Checks that --data names a data directory, proves "POI/datasets.txt"
    // and each file of `verify` (paths below the directory) against the
    // manifest, and reads the data set list.
    int OpenData(const std::vector<std::string>& verify = {});
    // The data set --province chooses; without --province the only one.
    int ChooseDataSet(DataSetList::DataSet& set);
    // `utf8` (named `what` in messages) as GBK of at most 63 bytes.
    int ToGbk(const std::string& what, const std::string& utf8, std::string& gbk);
    // --offset and --limit (default 0 and 10).
    int Paging(long long& offset, long long& limit);
    // 1 with one line naming the damaged file (and page) when the last search
    // met damage in the data directory; 0 when it met none.
    int Damaged(const ePOIEngineManager& engine);

    // Hits [offset, offset + limit) of store 0 below `total`, stopping at the
    // first one that cannot be read; `unreadable` then says which.
    static std::vector<HitText> ReadHits(ePOIEngineManager& engine, long long total, long long offset,
                                         long long limit, std::string& unreadable);
    // The line that reports hit `index` (from 0) of `count` as unreadable.
    static std::string Unreadable(long long index, long long count);
    // The JSON summary line, `{` + `fields` + `}`, then one line per hit; or
    // the table numbered from `offset` + 1. Returns 1 with `unreadable` on
    // the error stream when it is not empty, else 0.
    int PrintHits(const std::string& fields, const std::vector<HitText>& hits, long long offset,
                  const std::string& unreadable);

private:
    std::ostream& m_out;
    std::ostream& m_err;
    const CommandArgs& m_args;
    std::vector<std::string> m_words;
    std::string m_dir;
    DataSetList m_sets;
};

} // namespace Kest
