#include "Compiler/SourceFileReader.h"

#include "Compiler/CountyLocator.h"
#include "Compiler/CsvReader.h"
#include "Compiler/GbkCodec.h"
#include "Compiler/SourceText.h"

namespace Kest {

SourceFileReader::SourceFileReader(const Gazetteer& gazetteer, const CategoryList& categories)
    : m_gazetteer(gazetteer), m_categories(categories)
{
}

const char* SourceFileReader::Header(Kind kind)
{
    return kind == Kind::Poi ? "name,lon,lat,category,phone,province,city,county" : "name,lon,lat,province,city,county";
}

bool SourceFileReader::ParseDegrees(const std::string& text, std::int64_t& micro)
{
    std::size_t i = 0;
    bool negative = false;
    if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
        negative = text[0] == '-';
        i = 1;
    }
    std::int64_t whole = 0;
    std::size_t wholeDigits = 0;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i, ++wholeDigits) {
        whole = whole * 10 + (text[i] - '0');
        if (whole > 1000000000)
            return false;
    }
    std::int64_t fraction = 0; // millionths
    std::size_t fractionDigits = 0;
    bool roundUp = false;
    if (i < text.size() && text[i] == '.') {
        for (++i; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i, ++fractionDigits) {
            if (fractionDigits < 6)
                fraction = fraction * 10 + (text[i] - '0');
            else if (fractionDigits == 6)
                roundUp = text[i] >= '5';
        }
    }
    if (i != text.size() || wholeDigits + fractionDigits == 0)
        return false;
    for (std::size_t d = fractionDigits; d < 6; ++d)
        fraction *= 10;
    micro = whole * 1000000 + fraction + (roundUp ? 1 : 0);
    if (negative)
        micro = -micro;
    return true;
}

bool SourceFileReader::CheckRow(const std::vector<std::string>& fields, Kind kind, SourceRow& row,
                                std::string& reason) const
{
    const std::size_t expected = kind == Kind::Poi ? 8 : 6;
    if (fields.size() != expected) {
        reason = "expected " + std::to_string(expected) + " fields, found " + std::to_string(fields.size());
        return false;
    }
    const std::string& name = fields[0];
    if (name.empty()) {
        reason = "name is empty";
        return false;
    }
    for (char c : name) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
            reason = "name holds a control character (a tab or line break)";
            return false;
        }
    }
    std::string why;
    if (!GbkCodec::ToGbk(name, row.name, &why)) {
        reason = "name " + SourceText::Quote(name) + ": " + why;
        return false;
    }
    if (row.name.size() > kMaxNameBytes) {
        reason = "name " + SourceText::Quote(name) + " takes " + std::to_string(row.name.size()) + " bytes in GBK, more than " +
                 std::to_string(kMaxNameBytes);
        return false;
    }

    const char* axis[2] = {"longitude", "latitude"};
    const std::int64_t limit[2] = {180000000, 90000000};
    std::uint32_t* value[2] = {&row.lon, &row.lat};
    for (int i = 0; i < 2; ++i) {
        const std::string& text = fields[static_cast<std::size_t>(1 + i)];
        std::int64_t micro = 0;
        if (!ParseDegrees(text, micro)) {
            reason = std::string(axis[i]) + " " + SourceText::Quote(text) + " is not a number of degrees";
            return false;
        }
        if (micro < 0 || micro > limit[i]) {
            reason = std::string(axis[i]) + " " + text + " is out of range 0 to " + std::to_string(limit[i] / 1000000) +
                     (micro < 0 ? " (the data holds east longitudes and north latitudes only)" : "");
            return false;
        }
        *value[i] = static_cast<std::uint32_t>(micro);
    }

    std::size_t areaAt = 3;
    row.category = 0;
    row.phone.clear();
    if (kind == Kind::Poi) {
        const std::string& code = fields[3];
        std::uint64_t number = 0;
        bool digits = !code.empty() && code.size() <= 10;
        for (char c : code) {
            digits = digits && c >= '0' && c <= '9';
            if (digits)
                number = number * 10 + static_cast<std::uint64_t>(c - '0');
        }
        if (!digits || number > 2147483647u) {
            reason = "category " + SourceText::Quote(code) + " is not a category code";
            return false;
        }
        if (!m_categories.HasCode(static_cast<std::uint32_t>(number))) {
            reason = "unknown category " + code + " (not in categories.txt)";
            return false;
        }
        row.category = static_cast<std::uint32_t>(number);
        row.phone = fields[4];
        areaAt = 5;
    }
    const std::string& province = fields[areaAt];
    const std::string& city = fields[areaAt + 1];
    const std::string& county = fields[areaAt + 2];
    if (m_locator && province.empty() && city.empty() && county.empty()) {
        row.county = m_locator->Locate(row.lon / 1e6, row.lat / 1e6);
        if (row.county < 0) {
            reason = "no county of districts.geojson holds " + fields[1] + "," + fields[2];
            return false;
        }
        return true;
    }
    // A row that names its county keeps it, whatever its coordinate says.
    row.county = m_gazetteer.FindCounty(province, city, county);
    if (row.county < 0) {
        reason = "unknown county " + SourceText::Quote(province + "," + city + "," + county) + " (not in districts.geojson)";
        return false;
    }
    return true;
}

bool SourceFileReader::Read(const std::string& path, const std::string& text, Kind kind,
                            std::vector<SourceRow>& rows, Counts& counts, std::ostream& report, std::string& error)
{
    counts = Counts();
    CsvReader reader(text);
    CsvReader::Record record;
    const std::string header = Header(kind);
    if (!reader.Next(record)) {
        error = path + ": empty file, expected the header row '" + header + "'";
        return false;
    }
    std::string found;
    for (std::size_t i = 0; i < record.fields.size(); ++i)
        found += (i ? "," : "") + record.fields[i];
    if (!record.error.empty() || found != header) {
        error = path + ":" + std::to_string(record.line) + ": the header row must be '" + header + "'";
        return false;
    }

    SourceRow row;
    while (reader.Next(record)) {
        ++counts.rows;
        if (m_progress && counts.rows % 4096 == 0 &&
            !m_progress(text.empty() ? 1.0 : static_cast<double>(reader.GetOffset()) / static_cast<double>(text.size()))) {
            error = path + ": interrupted";
            return false;
        }
        std::string reason = record.error;
        if (reason.empty() && CheckRow(record.fields, kind, row, reason)) {
            row.line = record.line;
            rows.push_back(row);
            ++counts.accepted;
            continue;
        }
        ++counts.rejected;
        report << path << ':' << record.line << ": " << reason << '\n';
    }
    return true;
}

} // namespace Kest
