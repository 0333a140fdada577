#pragma once

#include <cstddef>
#include <cstdint>

#include "Base/KestExport.h"

namespace Kest {

// The fixed 152-byte POI record that crosses the exported interface and that
// the user store writes to its files byte for byte. Plain data, no padding.
struct ePoiInfo {
    char szName[64];        // GBK; zero-terminated when shorter than 64 bytes
    double dX;              // longitude, degrees
    double dY;              // latitude, degrees
    int nUserData;          // the caller's word; the engine never sets or reads it
    char szAddress[64];     // GBK name of the administrative area
    unsigned int nCode;     // the record's code column, passed through
};

static_assert(sizeof(ePoiInfo) == 152, "ePoiInfo is 152 bytes");
static_assert(offsetof(ePoiInfo, szName) == 0, "szName at 0");
static_assert(offsetof(ePoiInfo, dX) == 64, "dX at 64");
static_assert(offsetof(ePoiInfo, dY) == 72, "dY at 72");
static_assert(offsetof(ePoiInfo, nUserData) == 80, "nUserData at 80");
static_assert(offsetof(ePoiInfo, szAddress) == 84, "szAddress at 84");
static_assert(offsetof(ePoiInfo, nCode) == 148, "nCode at 148");

// A coordinate column becomes a double. A 4-byte value is an unsigned count of
// millionths of a degree, divided in single precision and then widened, so that
// coordinates agree to the last bit with the rest of the system
// (116397428 -> 116.39742279052734375). A value of any other width is copied
// byte for byte into the double (at most 8 bytes; missing bytes stay zero).
KEST_API double PoiCoordinateFromField(const unsigned char* value, int length);

// The single-precision conversion itself, for a 4-byte value already read.
KEST_API double PoiCoordinateFromMicroDegrees(std::uint32_t microDegrees);

// Copies an area name into `info.szAddress`: up to 64 bytes whole, a longer
// name cut to 62 bytes, and a zero written behind the copied bytes. For a
// 64-byte name that zero lands on the first byte of nCode, so callers set
// nCode afterwards (the field is then full and unterminated).
KEST_API void PoiSetAreaName(ePoiInfo& info, const char* name, int length);

} // namespace Kest
