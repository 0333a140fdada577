#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Base/NdfFormat.h"
#include "Base/ueglobal_addr_t.h"

namespace Kest {

class PageFileWriter;

// Writes a pinyin-initial index of the first form (read by eNdfIndexInitial;
// docs/format.md, "Pinyin-initial index, first form"): district records for
// provinces and cities, and below each city a letter trie over the initials
// of its POI names as the engine computes them (GetPYInitials, folded, cut at
// the depth; not the variants of NameInitials: `poi build` writes only the
// second form, and this form keeps the reader's full byte range testable).
// Provinces and cities keep the order of their first POI; the
// POIs of one trie node keep the order in which they were added.
//
// A prefix at which more POIs end than a query delivers keeps the rest in
// the node of the prefix, where paging (which walks that node) finds them,
// as further records of that node's first letter, behind that letter's own
// records: a walk stops at the letter's first record and the next letters
// are listed once, so the extra records change neither. The prefix's letter
// then lists kMaxDirect - 1 of them and counts the rest as lying deeper, so
// a query stops short of 100 direct hits, reads the count and offers the
// true next letters. A node without letters of its own takes the rest under
// the hidden letter NdfFormat::kInitialHiddenLetter (which no query holds),
// and its prefix lists kMaxDirect: a query stops at the limit there before
// it would read that node's letters.
class InitialIndexWriter {
public:
    // `deeperCounts`: store in each letter record the number of POIs below
    // it, which spares the reader from collecting them during a query.
    explicit InitialIndexWriter(std::uint16_t fileId, int depth = NdfFormat::kInitialDefaultDepth,
                                bool deeperCounts = true,
                                std::uint32_t targetPageSize = NdfFormat::kDefaultTargetPageSize);

    // The most POIs the records of one letter list as ending at its prefix:
    // the reader's query limit.
    static constexpr std::size_t kMaxDirect = 100;

    // Index every name under each of its NameInitials variants (as the
    // second form does) instead of the engine's one reading. Set before the
    // first AddPoi.
    void SetVariants(bool variants) { m_bVariants = variants; }
    // No district levels: the root names the letter trie of every POI added
    // (the province and city given to AddPoi are ignored), as the sight and
    // place-name indexes are. Set before the first AddPoi.
    void SetLettersOnly(bool lettersOnly) { m_bLettersOnly = lettersOnly; }

    // Names are GBK. False when the name has no initials (its first
    // character has no pinyin initial): such a POI is not indexed.
    bool AddPoi(std::string_view province, std::string_view city, std::string_view name,
                const ueglobal_addr_t& poi);

    // Writes the whole index to `path` (the file "<dir><fileId>.ndf").
    bool Write(const std::string& path);
    const std::string& GetError() const { return m_error; }

private:
    struct Row {
        std::string initials; // folded, cut at the depth
        ueglobal_addr_t poi;
    };
    struct City {
        std::string name;
        std::vector<Row> rows; // in the order added
    };
    struct Province {
        std::string name;
        std::vector<City> cities;
        std::unordered_map<std::string, std::size_t> cityIndex;
    };

    // Writes the letter node of `city` whose prefix is `depth` letters long;
    // `members` are the rows below that prefix, in the order added, and
    // `hidden` the rows that end at the prefix beyond those its letter lists.
    // Gives the node's pair (count 0 when it has no records).
    bool WriteNode(PageFileWriter& out, const City& city, const std::vector<std::size_t>& members,
                   const std::vector<std::size_t>& hidden, std::size_t depth, ueglobal_addr_t& first,
                   std::uint32_t& count);

    std::uint16_t m_nFileId;
    int m_nDepth;
    bool m_bDeeperCounts;
    std::uint32_t m_nTarget;
    bool m_bVariants = false;
    bool m_bLettersOnly = false;
    std::vector<Province> m_provinces;
    std::unordered_map<std::string, std::size_t> m_provinceIndex;
    std::string m_error;
};

} // namespace Kest
