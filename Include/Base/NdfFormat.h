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



// ---- "AdminIndex.ndf" (area code -> GBK name) ----



} // namespace NdfFormat
} // namespace Kest
