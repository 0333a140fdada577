#include "Compiler/SimplifiedChinese.h"

#include <opencc/opencc.h>

namespace Kest {

SimplifiedChinese::SimplifiedChinese()
{
    opencc_t od = opencc_open("t2s.json");
    if (od != reinterpret_cast<opencc_t>(-1))
        m_converter = od;
}

SimplifiedChinese::~SimplifiedChinese()
{
    if (m_converter)
        opencc_close(static_cast<opencc_t>(m_converter));
}

std::string SimplifiedChinese::Convert(const std::string& utf8) const
{
    bool ascii = true;
    for (char c : utf8)
        ascii = ascii && static_cast<unsigned char>(c) < 0x80;
    if (!m_converter || ascii)
        return utf8;
    char* converted = opencc_convert_utf8(static_cast<opencc_t>(m_converter), utf8.data(), utf8.size());
    if (!converted)
        return utf8;
    std::string out(converted);
    opencc_convert_utf8_free(converted);
    return out;
}

} // namespace Kest
