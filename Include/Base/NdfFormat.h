#pragma once
// The constants of every on-disk format of the platform layer, in one place.
// docs/format.md describes the same formats byte by byte and names this file;
// the writers (Src/Build) and the readers use only these names.

#include <cstdint>

namespace Kest {
namespace NdfFormat {

// ---- Page files ("N.ndf"): index header, file header, pages, page table ----



// ---- Feature blocks (child and leaf pairs of a tree node) ----



// ---- Region blobs (polygon parts of an area) ----
// Tag, version, CRC-32 of the body (every byte after the header); the body
// is a varint part count, then per part a varint point count and
// that many points as zigzag varint (dx, dy) pairs of grid steps. A part's
// first point is relative to the grid origin, every later one to the point
// before it. One grid step is scale / (units * kRegionSubdivision) degrees.
constexpr std::uint8_t kRegionTag = 0x52;             // 'R'
constexpr std::uint8_t kRegionVersion = 1;
constexpr int kRegionChecksumOffset = 2;              // u32 CRC-32 of the body
constexpr int kRegionHeaderSize = 6;                  // tag, version, checksum
constexpr int kRegionSubdivision = 256;               // grid steps per scale/units
constexpr int kRegionMaxVarintBytes = 5;              // 35 bits: any zigzag delta of two grid values
constexpr std::int64_t kRegionMaxGrid = 2147483647;   // |grid coordinate| bound, both axes
constexpr std::uint32_t kRegionMaxParts = 65535;



// ---- "AdminIndex.ndf" (area code -> GBK name) ----
// Header, a table of entries sorted by strictly ascending code, the names.
constexpr char kAdminMagic[4] = {'K', 'A', 'D', 'I'};
constexpr std::uint32_t kAdminVersion = 1;
constexpr int kAdminHeaderSize = 20;       // magic, version, count, names length, checksum
constexpr int kAdminChecksumOffset = 16;   // CRC-32 of every byte after the header
constexpr int kAdminEntrySize = 8;         // code u16, name length u16, name offset u32
constexpr std::uint32_t kAdminMaxEntries = 65536;
constexpr std::uint32_t kAdminMaxNameLength = 65535;
constexpr std::uint32_t kAdminMaxFileSize = 64u << 20;



} // namespace NdfFormat
} // namespace Kest
