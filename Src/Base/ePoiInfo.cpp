#include "Base/ePoiInfo.h"

#include <cstring>

namespace Kest {

double PoiCoordinateFromMicroDegrees(std::uint32_t microDegrees)
{
    // Both the conversion of the integer and the division are in single
    // precision; the loss of digits is intended.
    const float value = static_cast<float>(microDegrees) / 1000000.0f;
    return static_cast<double>(value);
}

double PoiCoordinateFromField(const unsigned char* value, int length)
{
    if (value == nullptr || length <= 0)
        return 0.0;
    if (length == 4) {
        const std::uint32_t micro = static_cast<std::uint32_t>(value[0]) |
                                    static_cast<std::uint32_t>(value[1]) << 8 |
                                    static_cast<std::uint32_t>(value[2]) << 16 |
                                    static_cast<std::uint32_t>(value[3]) << 24;
        return PoiCoordinateFromMicroDegrees(micro);
    }
    double result = 0.0;
    std::memcpy(&result, value, length < 8 ? static_cast<std::size_t>(length) : sizeof result);
    return result;
}

void PoiSetAreaName(ePoiInfo& info, const char* name, int length)
{
    if (name == nullptr || length < 0)
        length = 0;
    // The cut length for long names is 62, not 63 or 64.
    const int copied = length > 64 ? 62 : length;
    unsigned char* record = reinterpret_cast<unsigned char*>(&info);
    const std::size_t at = offsetof(ePoiInfo, szAddress);
    if (copied > 0)
        std::memcpy(record + at, name, static_cast<std::size_t>(copied));
    // Behind a 64-byte name this is the first byte of nCode.
    record[at + static_cast<std::size_t>(copied)] = 0;
}

} // namespace Kest
