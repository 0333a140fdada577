#include "HitText.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "Compiler/GbkCodec.h"

namespace Kest {
namespace {

std::string Field(const char* gbk, std::size_t size)
{
    return GbkCodec::Utf8(std::string(gbk, strnlen(gbk, size)));
}

std::string Degrees(double value)
{
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%.6f", value);
    return buffer;
}

void Pad(std::ostream& out, const std::string& text, std::size_t width)
{
    out << text;
    for (std::size_t w = HitText::DisplayWidth(text); w < width; ++w)
        out << ' ';
}

} // namespace

HitText::HitText(const ePoiInfo& info)
    : m_name(Field(info.szName, sizeof info.szName)), m_lon(info.dX), m_lat(info.dY),
      m_address(Field(info.szAddress, sizeof info.szAddress)), m_code(info.nCode)
{
}

HitText::HitText(std::string name, double lon, double lat, std::string address, unsigned code)
    : m_name(std::move(name)), m_lon(lon), m_lat(lat), m_address(std::move(address)), m_code(code)
{
}

std::string HitText::Json() const
{
    // JSON has no NaN or infinity: a coordinate that is not finite is null.
    const auto number = [](double value) { return std::isfinite(value) ? Degrees(value) : std::string("null"); };
    return "{\"name\":" + JsonString(m_name) + ",\"lon\":" + number(m_lon) + ",\"lat\":" + number(m_lat) +
           ",\"address\":" + JsonString(m_address) + ",\"code\":" + std::to_string(m_code) + "}";
}

void HitText::PrintTable(std::ostream& out, const std::vector<HitText>& hits, int firstNumber)
{
    const char* headers[] = {"#", "name", "lon", "lat", "area", "code"};
    std::vector<std::vector<std::string>> rows;
    rows.push_back({headers, headers + 6});
    int number = firstNumber;
    for (const HitText& hit : hits)
        rows.push_back({std::to_string(number++), hit.m_name, Degrees(hit.m_lon), Degrees(hit.m_lat), hit.m_address,
                        std::to_string(hit.m_code)});
    std::size_t widths[6] = {};
    for (const auto& row : rows)
        for (int c = 0; c < 6; ++c)
            widths[c] = std::max(widths[c], DisplayWidth(row[c]));
    for (const auto& row : rows) {
        for (int c = 0; c < 5; ++c) {
            Pad(out, row[c], widths[c]);
            out << "  ";
        }
        out << row[5] << "\n";
    }
}

std::string HitText::JsonString(std::string_view text)
{
    std::string out = "\"";
    for (const char c : text) {
        const unsigned char u = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (c == '\n') {
            out += "\\n";
        } else if (c == '\t') {
            out += "\\t";
        } else if (u < 0x20 || u == 0x7F) {
            char buffer[8];
            std::snprintf(buffer, sizeof buffer, "\\u%04x", u);
            out += buffer;
        } else {
            out += c;
        }
    }
    return out + "\"";
}

std::size_t HitText::DisplayWidth(std::string_view text)
{
    std::size_t width = 0;
    for (std::size_t i = 0; i < text.size();) {
        const unsigned char lead = static_cast<unsigned char>(text[i]);
        const std::size_t length = lead < 0x80 ? 1 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
        unsigned long code = length == 1 ? lead : lead & (0x3F >> (length - 1));
        for (std::size_t k = 1; k < length && i + k < text.size(); ++k)
            code = (code << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3F);
        // Hangul Jamo, CJK (radicals to Yi), Hangul syllables, compatibility
        // ideographs, full-width forms and the supplementary ideographs.
        const bool wide = (code >= 0x1100 && code <= 0x115F) || (code >= 0x2E80 && code <= 0xA4CF) ||
                          (code >= 0xAC00 && code <= 0xD7A3) || (code >= 0xF900 && code <= 0xFAFF) ||
                          (code >= 0xFE30 && code <= 0xFE4F) || (code >= 0xFF00 && code <= 0xFF60) ||
                          (code >= 0xFFE0 && code <= 0xFFE6) || (code >= 0x20000 && code <= 0x3FFFD);
        width += wide ? 2 : 1;
        i += length;
    }
    return width;
}

} // namespace Kest
