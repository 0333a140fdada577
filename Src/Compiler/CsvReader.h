#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Kest {

// Reads CSV text as RFC 4180 writes it: fields separated by commas, records
// by line ends (LF or CRLF), a field in double quotes may hold commas, line
// breaks and doubled quotes. A UTF-8 byte order mark at the start is skipped
// and empty lines are passed over (a trailing blank line is common and
// holds no record).
//
// A malformed record (a quote inside an unquoted field, text after a closing
// quote, a quoted field left open at the end of the text) is handed out with
// an error instead of fields; reading goes on at the next line, so one bad
// record costs only itself.
class CsvReader {
public:
    struct Record {
        std::size_t line = 0;            // line where the record starts, from 1
        std::vector<std::string> fields; // empty when `error` is set
        std::string error;               // why the record is malformed
    };

    // The reader keeps a view of `text`, which must outlive it.
    explicit CsvReader(std::string_view text);

    // The next record; false at the end of the text.
    bool Next(Record& record);

    // Bytes consumed so far, for progress.
    std::size_t GetOffset() const { return m_pos; }

private:
    bool AtLineEnd(std::size_t at) const;
    std::size_t SkipLineEnd(std::size_t at);
    void SkipRestOfLine();

    std::string_view m_text;
    std::size_t m_pos = 0;
    std::size_t m_line = 1;
};

} // namespace Kest
