#pragma once
// The constants of every on-disk format of the platform layer, in one place.
// docs/format.md describes the same formats byte by byte and names this file;
// the writers (Src/Compiler) and the readers use only these names.

#include <cstddef>
#include <cstdint>

namespace Kest {
namespace NdfFormat {

// ---- Page files ("N.ndf"): index header, file header, pages, page table ----
// File id N is the file "<data path>N.ndf". Little-endian throughout.

// Bytes 0-11: the index header (root ueglobal_addr_t, signed 32-bit depth).
constexpr std::uint32_t kIndexHeaderSize = 12;
// Bytes 12-35: the file header.
constexpr std::uint32_t kFileMagicOffset = 12;       // 4 bytes "KNDF"
constexpr std::uint32_t kFileVersionOffset = 16;     // u16 format version
constexpr std::uint32_t kFileIdOffset = 18;          // u16 the file's own id N
constexpr std::uint32_t kFilePageCountOffset = 20;   // u32 number of pages
constexpr std::uint32_t kFileTableOffsetOffset = 24; // u64 offset of the page table
constexpr std::uint32_t kFileHeaderCrcOffset = 32;   // u32 CRC-32 of bytes 0-31
constexpr std::uint32_t kFileHeaderSize = 36;        // the first page starts here
constexpr std::uint8_t kFileMagic[4] = {'K', 'N', 'D', 'F'};
constexpr std::uint16_t kFileVersion = 1;

// The page table, behind the last page: one entry per page, in page order.
constexpr std::uint32_t kTableEntrySize = 12; // u64 file offset, u32 byte size

// A page: 16-byte header, record offset table, records.
constexpr std::uint32_t kPageCrcOffset = 0;          // u32 CRC-32 of bytes 4..size-1
constexpr std::uint32_t kPageSizeOffset = 4;         // u32 byte size of the whole page
constexpr std::uint32_t kPageNumberOffset = 8;       // u32 the page's own number
constexpr std::uint32_t kPageRecordCountOffset = 12; // u16 number of records
constexpr std::uint32_t kPageReservedOffset = 14;    // u16 zero
constexpr std::uint32_t kPageHeaderSize = 16;
// Behind the header: (record count + 1) u32 offsets from the page start; record
// i spans [offset i, offset i+1) and the last offset is the page size.
constexpr std::uint32_t kPageOffsetEntrySize = 4;
constexpr std::uint32_t kMaxPageSize = 131072;
constexpr std::uint32_t kMaxRecordsPerPage = 65535;
constexpr std::uint32_t kDefaultTargetPageSize = 8192;

// A record: u8 field count n; n directory entries (u8 field number, strictly
// ascending; u32 byte length); then the field bytes in directory order.
constexpr std::uint32_t kRecordHeaderSize = 1;
constexpr std::uint32_t kFieldEntrySize = 5;

// ---- Feature blocks (child and leaf pairs of a tree node) ----
// u8 flags, then each pair whose flag is set as four unsigned LEB128 varints:
// file id, page number, element number, record count. A pair that is all
// zero is left out, and a pair present is never all zero, so each node has
// exactly one encoding. The block ends exactly after the last pair.

constexpr std::uint8_t kFeatureHasChild = 0x01;
constexpr std::uint8_t kFeatureHasLeaf = 0x02;
constexpr std::uint8_t kFeatureFlagMask = 0x03; // other flag bits must be zero
constexpr std::uint32_t kFeatureMaxVarintBytes = 5;
constexpr std::uint32_t kFeatureMaxBlockSize = 1 + 2 * 4 * kFeatureMaxVarintBytes;

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


// ---- Engine data files (docs/format.md, "POI record store" and the
// pinyin-initial indexes) ----
// The POI record store of a directory is page file 1 ("1.ndf"): one record per
// POI, field 0 the GBK name, 1 and 2 longitude and latitude as u32 millionths
// of a degree, 3 the u32 category code, 4 the u16 area code.
constexpr std::uint16_t kPoiStoreFileId = 1;
// Its pages are small: a hit is one record read at random, and a page is read
// and checked whole, so a small page makes each fetch cheap.
constexpr std::uint32_t kPoiStorePageSize = 1024;
// File numbers of a data set's indexes: the data set plus these.
constexpr int kInitialFileBase = 100;
constexpr int kFullTextFileBase = 200;
// File numbers of a data set's crossroad indexes in "POI/CrossRoad/": the
// full-text index and the pinyin-initial index (first form).
constexpr int kCrossTextFileBase = 300;
constexpr int kCrossInitialFileBase = 400;
// Letters of initials an index resolves unless its writer is told otherwise.
constexpr int kInitialDefaultDepth = 10;
// A result record of the second form counts at most this many further POIs
// and lists at most this many addresses (8 KB, one page of the default
// size); a district with more gets further records with the same code.
constexpr std::uint32_t kInitialMaxFurther = 0xFFFF;
constexpr std::size_t kInitialMaxAddresses = 1000;
// The most POIs the result run of one prefix lists as ending there, over all
// its districts together. The engine keeps the first 100 hits of a query and
// pages only below the prefix reached, so further POIs that end at the prefix
// go into a hidden branch below it (letter kInitialHiddenLetter), where
// paging finds them. 99, not 100: a first batch of exactly 100 hits is taken
// to be cut and loses its true next letters.
constexpr std::size_t kInitialMaxDirect = 99;
// The letter of that hidden branch: a zero byte, which no query can hold.
constexpr char kInitialHiddenLetter = '\0';

// ---- Telephone search (docs/format.md, "Telephone trie index") ----
// "POI/Tel/" holds its own POI record store, page file 1 as in "POI/", one
// record per (number, POI) sorted by number, and the digit trie over it.
constexpr std::uint16_t kTelStoreFileId = 1;
constexpr int kTelIndexFileId = 102;
// The most digits a number may have once normalised; a longer one is
// rejected by the compiler.
constexpr std::size_t kTelMaxDigits = 20;

} // namespace NdfFormat
} // namespace Kest

namespace Kest {
namespace NdfFormat {

// ---- "POI/POIAround.ndf", the around grid (docs/format.md, "Around grid") ----
// Header of 64 bytes, a directory of 8-byte cells, 20-byte records. Bytes 0-3
// of the header hold the magic and the format version, which the tools check
// and the search ignores.
constexpr char kAroundFileName[] = "POIAround.ndf";
constexpr std::uint8_t kAroundMagic[3] = {'K', 'A', 'R'};
constexpr std::uint8_t kAroundVersion = 1;
// The smallest cell side the compiler chooses, in degrees (about 250 m), so
// that a small data set does not get cells far below a search's radius: the
// largest radius (10000 units, 0.1 degree) then spans at most 80 cells a side.
constexpr double kAroundMinCellSize = 0.0025;
// ---- The category index of the search by address ("POI/100.ndf") ----
// Area records (field 0 the GBK name, field 1 a feature block whose child
// pair is the level below) for provinces, cities and counties; below each
// county its category records (field 0 the u32 code, ascending; field 1 a
// block whose child pair is the run of the county's POIs of that code in the
// POI store). The header's depth is the number of area levels.
constexpr std::uint16_t kCategoryIndexFileId = 100;
constexpr int kCategoryIndexDepth = 3;
// ---- Sights and place names: each set in its own directory below POI/,
// with its own record store (kPoiStoreFileId), "CoreDict.dct" and two
// indexes: a letter trie without district levels (first-form records) and a
// full-text index whose root names its one word table ----
constexpr const char* kSightDir = "Sight/";
constexpr const char* kPlaceNameDir = "PlaceName/";
constexpr int kSightPinyinFile = 105;
constexpr int kSightTextFile = 106;
constexpr int kPlaceNameTextFile = 107;
constexpr int kPlaceNamePinyinFile = 108;
// ---- District index ("POI/101.ndf", docs/format.md "District index") ----
// Header: the address of the first top-level area record and the number of
// top-level areas. Area records, fields by number: 0 the region blob, 1 least
// x, 2 greatest x, 3 greatest y, 4 least y (doubles), 5 the u32 area code
// (last level), 6 the child range's first record and 7 its signed 32-bit
// count (levels 1 and 2). Regions lie on the grid of the box's least corner,
// the scale below and kDistrictUnits.
constexpr std::uint16_t kDistrictFileId = 101;
constexpr int kDistrictLevels = 3;
constexpr unsigned char kDistrictFieldRegion = 0;
constexpr unsigned char kDistrictFieldMinX = 1;
constexpr unsigned char kDistrictFieldMaxX = 2;
constexpr unsigned char kDistrictFieldMaxY = 3;
constexpr unsigned char kDistrictFieldMinY = 4;
constexpr unsigned char kDistrictFieldCode = 5;
constexpr unsigned char kDistrictFieldChild = 6;
constexpr unsigned char kDistrictFieldChildCount = 7;
constexpr double kDistrictScaleX = 1.0;                 // 0x3FF0000000000000
constexpr double kDistrictScaleY = 0.6666666666666666;  // 0x3FE5555555555555
constexpr int kDistrictUnits = 4000;

} // namespace NdfFormat
} // namespace Kest
