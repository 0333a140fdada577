#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Base/NdfFormat.h"
#include "Base/ueglobal_addr_t.h"
#include "Ndf/eNdfPostingBlock.h"
#include "Ndf/eNdfWordTable.h"

namespace Kest {

// Writes a segmented full-text index (read by eNdfIndexSegFullText;
// docs/format.md, "Full-text index"): district records for provinces and
// cities as in the first form of the initial index, and per city a word
// table (eNdfWordTable) in ascending key order that names each word's run of
// posting blocks of (byte position, POI address).
//
// A name is indexed so that whatever the engine cuts a typed text into is
// found wherever that text lies in the name. The name is widened as a typed
// query is (Widen), then every dictionary word (at most 8 bytes, the longest
// word the engine's maximum matching takes) is posted at every position where
// it occurs, and every single two-byte character that
// eDictionary::GetWordIndex keys (every hanzi; letters and digits, which the
// compiler puts into the dictionary) at its position. Each key is posted once
// per position, as GetWordIndex keys it (slot x 10000 + word number, slot x
// 10000 - 1 for a word number of -1). Positions are byte offsets in the
// widened name. Letters and digits split by a joiner the engine refuses in a
// query (7-11) are also posted written together (７１１) where the dictionary
// holds that form. The dictionary (eDictionary::GetInstance()) must be loaded
// with the "CoreDict.dct" the engine will load.
class SegFullTextIndexWriter {
public:
    explicit SegFullTextIndexWriter(std::uint16_t fileId,
                                    std::uint32_t targetPageSize = NdfFormat::kDefaultTargetPageSize);

    // No districts: the root names the one word table of every POI added
    // (the province and city given to AddPoi are ignored), as the sight and
    // place-name text indexes are. Set before the first AddPoi.
    void SetWholeIndex(bool whole) { m_bWhole = whole; }

    // Names are GBK. Provinces and cities keep the order of their first POI.
    // Returns the number of postings made for the name.
    int AddPoi(std::string_view province, std::string_view city, std::string_view name, const ueglobal_addr_t& poi);

    // The words a name is indexed under, by ascending position, with their
    // byte positions in the widened name and their keys (for tests and
    // oracles that must agree with the writer).
    struct Word {
        std::string text;
        int position;
        int key;
    };
    static std::vector<Word> Words(std::string_view name);

    // The name in the form a typed query is searched in: half-width digits
    // and letters widened as the engine widens a query (ToFullWidthDigits,
    // ToFullWidthLetters), and full-width lower-case letters folded to upper
    // case.
    static std::string Widen(std::string_view name);

    // The letter and digit words of a name that the dictionary should hold,
    // in their widened form: every run of 2 to 4 letters and digits, and
    // every run of letters and digits split by single joiners (- . & / _ + ')
    // written together, when 2 to 4 characters long (7-11 gives １１ and
    // ７１１). Longer runs are left out: maximum matching takes at most 4
    // full-width characters as one word, and a longer run is found through
    // the single letters and digits (and any shorter words) it holds.
    static std::vector<std::string> LatinWords(std::string_view name);

    bool Write(const std::string& path);
    const std::string& GetError() const { return m_error; }

private:
    using Posting = eNdfPostingBlock::Posting;
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
    bool m_bWhole = false;
    std::vector<Province> m_provinces;
    std::string m_error;
};

} // namespace Kest
