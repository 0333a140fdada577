#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Base/NdfFormat.h"
#include "Base/ePoint2D.h"

namespace Kest {

// Writes a district index (read by eNdfIndexDistrict; docs/format.md,
// "District index"): three levels of areas, each level a list of ranges, each
// range a list of area records written as one run. Range 0 of level 1 is the
// root; every area of levels 1 and 2 names a range of the level below.
//
// An area's region is stored on the grid of its box's least corner, which the
// writer puts on the grid of the whole file (a whole number of steps from 0),
// so that a vertex shared by two areas decodes to the same place in both;
// the rest of the box is the decoded region's extent. The reader tests the
// first part of a region only: callers put the outer ring there.
class DistrictIndexWriter {
public:
    using Part = std::vector<ePoint2D>;
    struct Area {
        std::vector<Part> parts;   // the first part is the boundary tested
        std::uint32_t code = 0;    // level 3: the area code
        int children = -1;         // levels 1 and 2: the range of the level below
    };
    using Range = std::vector<Area>;

    // What one area's record holds, as the reader will see it.
    struct Encoded {
        std::vector<unsigned char> blob;
        double minX = 0, maxX = 0, minY = 0, maxY = 0;
    };

    explicit DistrictIndexWriter(std::uint16_t fileId = NdfFormat::kDistrictFileId,
                                 std::uint32_t targetPageSize = NdfFormat::kDefaultTargetPageSize);

    // Adds a range to `level` (1..3) and returns its number within the level.
    int AddRange(int level, Range range);

    // Writes the whole index. False (see GetError) when a level-1 or level-2
    // area names a range that does not exist, an area has no point, a
    // region cannot be encoded or a record does not fit in a page.
    bool Write(const std::string& path);
    const std::string& GetError() const { return m_error; }

    // The region blob and box of one area (false, with `error`, when the
    // parts cannot be encoded).
    static bool Encode(const std::vector<Part>& parts, Encoded& out, std::string& error);

private:
    bool Fail(const std::string& message);

    std::uint16_t m_nFileId;
    std::uint32_t m_nTarget;
    std::vector<Range> m_levels[NdfFormat::kDistrictLevels];
    std::string m_error;
};

} // namespace Kest
