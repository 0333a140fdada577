#include "Compiler/CsvReader.h"

#include <gtest/gtest.h>

using Kest::CsvReader;

namespace {

using Fields = std::vector<std::string>;

using Records = std::vector<std::tuple<Fields, std::size_t, std::string>>; // fields, line, error

Records ReadAll(std::string_view text)
{
    CsvReader reader(text);
    Records records;
    for (CsvReader::Record r; reader.Next(r);)
        records.emplace_back(r.fields, r.line, r.error);
    return records;
}

} // namespace

TEST(CsvReader, QuotingLineEndsAndLineNumbers)
{
    // BOM, CRLF and LF mixed, a quoted comma, a doubled quote, a line break
    // inside quotes (the next record's line number must count it), empty
    // fields, a blank line, no line end at the end of the text; a lone CR is
    // data, not a line end.
    EXPECT_EQ(ReadAll("\xEF\xBB\xBFh1,h2\r\n"
                      "\"a,b\",\"say \"\"hi\"\"\"\n"
                      "\"two\nlines\",\r\n"
                      "\n"
                      ",x\n"
                      "a\rb,\"\"\n"
                      "\"\",last"),
              (Records{{{"h1", "h2"}, 1, ""},
                                      {{"a,b", "say \"hi\""}, 2, ""},
                                      {{"two\nlines", ""}, 3, ""},
                                      {{"", "x"}, 6, ""},
                                      {{"a\rb", ""}, 7, ""},
                                      {{"", "last"}, 8, ""}}));
    // Empty and blank text hold no record.
    for (const char* blank : {"", "\xEF\xBB\xBF", "\n\r\n\n"})
        EXPECT_TRUE(ReadAll(blank).empty());
}

TEST(CsvReader, MalformedRecordCostsOnlyItself)
{
    // An open quote swallows the rest of the text; the error says so and
    // points at the line where the record starts.
    EXPECT_EQ(ReadAll("ok,1\n"
                      "bad\"quote,2\n"
                      "\"closed\"junk,3\n"
                      "\"fine\",4\n"
                      "x,\"never closed\n"
                      "y,5\n"),
              (Records{{{"ok", "1"}, 1, ""},
                                      {{}, 2, "field 1: quote inside an unquoted field"},
                                      {{}, 3, "field 1: text after the closing quote"},
                                      {{"fine", "4"}, 4, ""},
                                      {{}, 5,
                                       "field 2: quote opened here is never closed, so the rest of the file is read "
                                       "as this field"}}));
}
