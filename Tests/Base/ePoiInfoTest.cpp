#include "Base/ePoiInfo.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

using namespace Kest;

// A 4-byte field is micro-degrees through single precision; any other
// width is a double copied byte for byte.
TEST(ePoiInfo, CoordinatesConvertInSinglePrecision)
{
    const unsigned char le[4] = {0x74, 0x15, 0xF0, 0x06}; // 116397428
    EXPECT_EQ(116.39742279052734375, PoiCoordinateFromMicroDegrees(116397428u));
    EXPECT_EQ(116.39742279052734375, PoiCoordinateFromField(le, 4));
    const double exact = 39.90923;
    EXPECT_EQ(exact, PoiCoordinateFromField(reinterpret_cast<const unsigned char*>(&exact), 8));
    EXPECT_EQ(0.0, PoiCoordinateFromField(nullptr, 4));
}

// Names longer than 64 bytes are cut to 62 with a zero behind; a 64-byte
// name's zero lands on nCode, which the caller sets afterwards.
TEST(ePoiInfo, AreaNamesLongerThan64BytesAreCutTo62)
{
    for (int length : {0, 10, 63, 64, 65, 100}) {
        ePoiInfo info;
        std::memset(&info, 0x5A, sizeof info);
        const std::string name(static_cast<std::size_t>(length), 'n');
        PoiSetAreaName(info, name.data(), length);
        const int copied = length > 64 ? 62 : length;
        const std::string area(info.szAddress, static_cast<std::size_t>(copied) + 2);
        EXPECT_EQ(std::string(static_cast<std::size_t>(copied), 'n') + '\0' + '\x5A', area) << length;
    }
    ePoiInfo info{};
    info.nCode = 0xFFFFFFFFu;
    PoiSetAreaName(info, std::string(64, 'x').data(), 64);
    EXPECT_EQ(0xFFFFFF00u, info.nCode);
}
