#include "Base/ePoiInfo.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>


using namespace Kest;

TEST(ePoiInfo, CoordinatesConvertInSinglePrecision)
{
    EXPECT_EQ(116.39742279052734375, PoiCoordinateFromMicroDegrees(116397428u));
    const unsigned char le[4] = {0x74, 0x15, 0xF0, 0x06}; // 116397428
    EXPECT_EQ(116.39742279052734375, PoiCoordinateFromField(le, 4));
    EXPECT_NE(116.397428, PoiCoordinateFromField(le, 4));
    // Any other width is copied byte for byte.
    const double exact = 39.90923;
    unsigned char raw[8];
    std::memcpy(raw, &exact, 8);
    EXPECT_EQ(exact, PoiCoordinateFromField(raw, 8));
    EXPECT_EQ(0.0, PoiCoordinateFromField(nullptr, 4));
}

TEST(ePoiInfo, AreaNamesLongerThan64BytesAreCutTo62)
{
    for (int length : {0, 10, 63, 64, 65, 100}) {
        ePoiInfo info;
        std::memset(&info, 0x5A, sizeof info);
        const std::string name(static_cast<std::size_t>(length), 'n');
        PoiSetAreaName(info, name.data(), length);
        const int copied = length > 64 ? 62 : length;
        const unsigned char* bytes = reinterpret_cast<const unsigned char*>(&info);
        for (int i = 0; i < copied; ++i)
            ASSERT_EQ('n', bytes[84 + i]) << length;
        EXPECT_EQ(0, bytes[84 + copied]) << length;    // the zero behind
        EXPECT_EQ(0x5A, bytes[84 + copied + 1]) << length;
    }
    // A 64-byte name: its zero lands on nCode, which the caller sets afterwards.
    ePoiInfo info;
    std::memset(&info, 0, sizeof info);
    info.nCode = 0xFFFFFFFFu;
    const std::string name(64, 'x');
    PoiSetAreaName(info, name.data(), 64);
    EXPECT_EQ(0xFFFFFF00u, info.nCode);
    EXPECT_EQ(0, std::memcmp(info.szAddress, name.data(), 64));
}
