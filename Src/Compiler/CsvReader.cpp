#include "Compiler/CsvReader.h"

namespace Kest {

CsvReader::CsvReader(std::string_view text) : m_text(text)
{
    if (m_text.substr(0, 3) == "\xEF\xBB\xBF")
        m_pos = 3;
}

bool CsvReader::AtLineEnd(std::size_t at) const
{
    return at >= m_text.size() || m_text[at] == '\n' ||
           (m_text[at] == '\r' && at + 1 < m_text.size() && m_text[at + 1] == '\n');
}

// Steps over the line end at `at` (if any) and counts the line.
std::size_t CsvReader::SkipLineEnd(std::size_t at)
{
    if (at >= m_text.size())
        return at;
    ++m_line;
    return at + (m_text[at] == '\r' ? 2 : 1);
}

void CsvReader::SkipRestOfLine()
{
    while (!AtLineEnd(m_pos))
        ++m_pos;
    m_pos = SkipLineEnd(m_pos);
}

bool CsvReader::Next(Record& record)
{
    while (m_pos < m_text.size() && AtLineEnd(m_pos))
        m_pos = SkipLineEnd(m_pos);
    if (m_pos >= m_text.size())
        return false;

    record.line = m_line;
    record.fields.clear();
    record.error.clear();
    auto fail = [&](std::string message) {
        record.fields.clear();
        record.error = std::move(message);
        return true;
    };

    for (;;) {
        std::string field;
        const std::size_t number = record.fields.size() + 1;
        if (m_pos < m_text.size() && m_text[m_pos] == '"') {
            ++m_pos;
            for (;;) {
                if (m_pos >= m_text.size())
                    return fail("field " + std::to_string(number) + ": quote opened here is never closed, so the rest of the file is read as this field");
                const char c = m_text[m_pos];
                if (c == '"') {
                    if (m_pos + 1 < m_text.size() && m_text[m_pos + 1] == '"') {
                        field += '"';
                        m_pos += 2;
                        continue;
                    }
                    ++m_pos;
                    break;
                }
                if (c == '\n')
                    ++m_line;
                field += c;
                ++m_pos;
            }
            if (!AtLineEnd(m_pos) && m_text[m_pos] != ',') {
                SkipRestOfLine();
                return fail("field " + std::to_string(number) + ": text after the closing quote");
            }
        } else {
            while (!AtLineEnd(m_pos) && m_text[m_pos] != ',') {
                if (m_text[m_pos] == '"') {
                    SkipRestOfLine();
                    return fail("field " + std::to_string(number) + ": quote inside an unquoted field");
                }
                field += m_text[m_pos++];
            }
        }
        record.fields.push_back(std::move(field));
        if (AtLineEnd(m_pos)) {
            m_pos = SkipLineEnd(m_pos);
            return true;
        }
        ++m_pos; // the comma
    }
}

} // namespace Kest
