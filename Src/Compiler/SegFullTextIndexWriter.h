#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Base/NdfFormat.h"
#include "Base/ueglobal_addr_t.h"

namespace Kest {

// Writes a segmented full-text index (read by eNdfIndexSegFullText;
// docs/format.md, "Full-text index"): district records for provinces and
// cities as in the first form of the initial index, and per city a word
// table in ascending key order whose records name posting runs of (byte
// position, POI address).
//
// A name is indexed as the engine reads a query: half-width digits and
// letters widened to full width (ToFullWidthDigits, ToFullWidthLetters),
// then cut into words by eMMWordSeg::SegmentHzStrMM over the loaded word
// dictionary, each word keyed by eDictionary::GetWordIndex (slot x 10000 +
// word number, slot x 10000 - 1 for a word number of -1). Words the
// dictionary cannot key are left out; positions are byte offsets in the
// widened name. The dictionary (eDictionary::GetInstance()) must be loaded
// with the "CoreDict.dct" the engine will load.
class SegFullTextIndexWriter {
public:
    explicit SegFullTextIndexWriter(std::uint16_t fileId,
                                    std::uint32_t targetPageSize = NdfFormat::kDefaultTargetPageSize);

    // Names are GBK. Provinces and cities keep the order of their first POI.
    // Returns the number of words indexed for the name.
    int AddPoi(std::string_view province, std::string_view city, std::string_view name, const ueglobal_addr_t& poi);

    // The words a name is indexed under, in order, with their byte positions
    // and keys (for tests and oracles that must agree with the writer).
    struct Word {
        std::string text;
        int position;
        int key;
    };
    static std::vector<Word> Words(std::string_view name);

    bool Write(const std::string& path);
    const std::string& GetError() const { return m_error; }

private:
    struct Posting {
        std::int32_t position;
        ueglobal_addr_t poi;
    };
    struct City {
        std::string name;
        std::map<std::int32_t, std::vector<Posting>> words; // key -> postings in the order added
    };
    struct Province {
        std::string name;
        std::vector<City> cities;
    };

    std::uint16_t m_nFileId;
    std::uint32_t m_nTarget;
    std::vector<Province> m_provinces;
    std::string m_error;
};

} // namespace Kest
