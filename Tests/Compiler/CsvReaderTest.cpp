#include "Compiler/CsvReader.h"

#include <gtest/gtest.h>

using Kest::CsvReader;

namespace {

std::vector<CsvReader::Record> ReadAll(std::string_view text)
{
    CsvReader reader(text);
    std::vector<CsvReader::Record> records;
    CsvReader::Record r;
    while (reader.Next(r))
        records.push_back(r);
    return records;
}

using Fields = std::vector<std::string>;

} // namespace

TEST(CsvReader, QuotingLineEndsAndLineNumbers)
{
    // BOM, CRLF and LF mixed, a quoted comma, a doubled quote, a line break
    // inside quotes (the next record's line number must count it), empty
    // fields, a blank line, no line end at the end of the text.
    const auto records = ReadAll("\xEF\xBB\xBFh1,h2\r\n"
                                 "\"a,b\",\"say \"\"hi\"\"\"\n"
                                 "\"two\nlines\",\r\n"
                                 "\n"
                                 ",x\n"
                                 "\"\",last");
    ASSERT_EQ(5u, records.size());
    EXPECT_EQ((Fields{"h1", "h2"}), records[0].fields);
    EXPECT_EQ((Fields{"a,b", "say \"hi\""}), records[1].fields);
    EXPECT_EQ((Fields{"two\nlines", ""}), records[2].fields);
    EXPECT_EQ((Fields{"", "x"}), records[3].fields);
    EXPECT_EQ((Fields{"", "last"}), records[4].fields);
    const std::size_t lines[] = {1, 2, 3, 6, 7};
    // Empty and blank text hold no record; a lone CR is data, not a line end.
    for (const char* blank : {"", "\xEF\xBB\xBF", "\n\r\n\n"})
        EXPECT_TRUE(ReadAll(blank).empty());
    EXPECT_EQ((Fields{"a\rb", "c"}), ReadAll("a\rb,c\n").at(0).fields);
    for (std::size_t i = 0; i < records.size(); ++i) {
        EXPECT_EQ(lines[i], records[i].line) << i;
        EXPECT_EQ("", records[i].error) << i;
    }
}

TEST(CsvReader, MalformedRecordCostsOnlyItself)
{
    const auto records = ReadAll("ok,1\n"
                                 "bad\"quote,2\n"
                                 "\"closed\"junk,3\n"
                                 "\"fine\",4\n"
                                 "x,\"never closed\n"
                                 "y,5\n");
    ASSERT_EQ(5u, records.size());
    EXPECT_EQ((Fields{"ok", "1"}), records[0].fields);
    EXPECT_EQ("field 1: quote inside an unquoted field", records[1].error);
    EXPECT_TRUE(records[1].fields.empty());
    EXPECT_EQ(2u, records[1].line);
    EXPECT_EQ("field 1: text after the closing quote", records[2].error);
    EXPECT_EQ((Fields{"fine", "4"}), records[3].fields);
    EXPECT_EQ(4u, records[3].line);
    // An open quote swallows the rest of the text; the error says so and
    // points at the line where the record starts.
    EXPECT_EQ(5u, records[4].line);
    EXPECT_NE(std::string::npos, records[4].error.find("field 2: quote opened here is never closed"));
}
