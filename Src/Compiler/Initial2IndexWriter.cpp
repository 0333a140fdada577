#include "Compiler/Initial2IndexWriter.h"

#include <algorithm>
#include <map>

#include "Compiler/FeatureBlockEncoder.h"
#include "Compiler/NameInitials.h"
#include "Compiler/PageFileWriter.h"
#include "POIEngine/eNdfIndexInitial.h"

namespace Kest {

namespace {

using Record = PageFileWriter::Record;

const unsigned char kNoneEnds = 0;

// Letters compare as the reader orders them: folded bytes taken as signed.
bool InitialsLess(const std::string& a, const std::string& b)
{
    return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
        return static_cast<signed char>(x) < static_cast<signed char>(y);
    });
}

struct Pair {
    ueglobal_addr_t addr{};
    unsigned int count = 0;
};

// The POIs of one prefix by district code: those whose key ends at the prefix
// (in the order added) and the number whose key is longer.
struct DistrictHits {
    std::vector<ueglobal_addr_t> ends;
    std::uint32_t further = 0;
};
using ByCode = std::map<std::uint16_t, DistrictHits>;

// The trie is built from the rows sorted by initials: the rows below one
// prefix are one range, the rows ending at it come first, the rest fall into
// one sub-range per next letter.
//
// It is built whole, then written children first, so that every record can
// name what lies below it: each subtree from the fourth level down in one
// piece (its children's subtrees in letter order, then its own node), in the
// order of their prefixes; then the nodes of the first levels level by level,
// the deepest first, each level in prefix order. The paging walk takes the
// nodes below a prefix level by level; so below a short prefix it finds each
// level's share as neighbouring records, and below a longer one the whole
// subtree lies together. A node's letter run comes right after the result
// runs of its letters, so that the next letters of a node read neighbouring
// records too.
//
// A prefix at which more than kInitialMaxDirect POIs end lists only the first
// of them (in result-record order) and counts the rest as further POIs; the
// rest hang below it, in the node of the prefix, as a hidden letter
// (kInitialHiddenLetter, which no query holds) without a result run of its
// own, whose child node has one record of the same letter listing them. The
// next letters skip a letter without results, so the hidden one is never
// offered, and paging, which walks the node of the prefix, delivers them.
class Initial2TrieBuilder {
public:
    struct Row {
        const std::string* initials;
        std::uint16_t code;
        ueglobal_addr_t poi;
    };

    Initial2TrieBuilder(PageFileWriter& writer, int depth) : m_writer(writer), m_nDepth(depth) {}

    // Builds the trie of the sorted rows and writes it; gives the pair of the
    // root node (none when no row has a letter).
    bool Write(const std::vector<Row>& rows, Pair& root)
    {
        root = Pair{};
        if (Build(rows, 0, rows.size(), 0, {}) < 0)
            return true;
        // From kWholeLevel down each subtree lies in one piece, children
        // first, so that a longer prefix pages through neighbouring records;
        // above it level by level.
        if (m_levels.size() > kWholeLevel)
            for (std::size_t n : m_levels[kWholeLevel])
                if (!WriteSubtree(n))
                    return false;
        for (std::size_t level = std::min(m_levels.size(), kWholeLevel); level-- > 0;)
            for (std::size_t n : m_levels[level])
                if (!WriteNode(m_nodes[n]))
                    return false;
        root = m_nodes[0].pair;
        return true;
    }

private:
    struct Letter {
        char letter;
        int child; // node number, -1 for none
        Pair results;
        bool endsHere; // some POI's key is exactly the prefix + letter
        ByCode hits;
    };
    struct Node {
        std::vector<Letter> letters;
        Pair pair;
    };

    int AddNode(std::size_t level)
    {
        if (m_levels.size() <= level)
            m_levels.resize(level + 1);
        m_levels[level].push_back(m_nodes.size());
        m_nodes.emplace_back();
        return static_cast<int>(m_nodes.size() - 1);
    }

    // Adds the letter node of the prefix shared by rows[lo, hi) (all at
    // least `level` letters long, those of exactly `level` letters first),
    // with the hidden letter when `overflow` (POIs ending at the prefix that
    // its result run does not list) is not empty; its number, or -1 when the
    // node has no letter. Children are added in letter order, so each level
    // lists its nodes in the order of their prefixes.
    int Build(const std::vector<Row>& rows, std::size_t lo, std::size_t hi, std::size_t level,
              const ByCode& overflow)
    {
        while (lo < hi && rows[lo].initials->size() == level)
            ++lo;
        struct Range {
            char letter;
            std::size_t lo, hi;
        };
        std::vector<Range> ranges;
        if (!overflow.empty())
            ranges.push_back({NdfFormat::kInitialHiddenLetter, 0, 0});
        for (std::size_t i = lo; i < hi && static_cast<int>(level) < m_nDepth;) {
            const char c = (*rows[i].initials)[level];
            std::size_t j = i;
            while (j < hi && (*rows[j].initials)[level] == c)
                ++j;
            ranges.push_back({c, i, j});
            i = j;
        }
        if (ranges.empty())
            return -1;
        // The hidden letter, a zero byte, sorts (as a signed byte) after the
        // GBK bytes and before everything else.
        std::stable_sort(ranges.begin(), ranges.end(), [](const Range& a, const Range& b) {
            return static_cast<signed char>(a.letter) < static_cast<signed char>(b.letter);
        });
        const int node = AddNode(level);
        std::vector<Letter> letters;
        for (const Range& r : ranges) {
            if (r.lo == r.hi) {
                // The hidden letter: no result run; its child lists the overflow.
                const int inner = AddNode(level + 1);
                m_nodes[static_cast<std::size_t>(inner)].letters.push_back(
                    Letter{NdfFormat::kInitialHiddenLetter, -1, {}, true, overflow});
                letters.push_back(Letter{r.letter, inner, {}, true, {}});
                continue;
            }
            Letter letter{r.letter, -1, {}, rows[r.lo].initials->size() == level + 1, {}};
            ByCode moved;
            letter.hits = Gather(rows, r.lo, r.hi, level + 1, moved);
            letter.child = Build(rows, r.lo, r.hi, level + 1, moved);
            letters.push_back(std::move(letter));
        }
        m_nodes[static_cast<std::size_t>(node)].letters = std::move(letters);
        return node;
    }

    // The level from which subtrees are written whole.
    static constexpr std::size_t kWholeLevel = 4;

    // A node's children's subtrees in letter order, then the node.
    bool WriteSubtree(std::size_t n)
    {
        for (const Letter& l : m_nodes[n].letters)
            if (l.child >= 0 && !WriteSubtree(static_cast<std::size_t>(l.child)))
                return false;
        return WriteNode(m_nodes[n]);
    }

    // A node: the result runs of its letters, then its letter run.
    bool WriteNode(Node& node)
    {
        for (Letter& l : node.letters) {
            if (!l.hits.empty() && !WriteResults(l.hits, l.results))
                return false;
            ByCode().swap(l.hits);
        }
        return WriteLetterRun(node.letters, node.pair);
    }

private:
    // The POIs of rows[lo, hi) by district for the prefix `length` letters
    // long, capped at kInitialMaxDirect ending there in all: the ones beyond
    // (codes ascending, then as added) move to `moved` and count as further.
    static ByCode Gather(const std::vector<Row>& rows, std::size_t lo, std::size_t hi, std::size_t length,
                         ByCode& moved)
    {
        ByCode byCode;
        for (std::size_t i = lo; i < hi; ++i) {
            DistrictHits& entry = byCode[rows[i].code];
            if (rows[i].initials->size() == length)
                entry.ends.push_back(rows[i].poi);
            else
                ++entry.further;
        }
        std::size_t kept = 0;
        for (auto& [code, entry] : byCode) {
            const std::size_t keep = std::min(entry.ends.size(), NdfFormat::kInitialMaxDirect - kept);
            if (keep < entry.ends.size()) {
                moved[code].ends.assign(entry.ends.begin() + static_cast<std::ptrdiff_t>(keep), entry.ends.end());
                entry.further += static_cast<std::uint32_t>(entry.ends.size() - keep);
                entry.ends.resize(keep);
            }
            kept += keep;
        }
        return byCode;
    }

    // A node's letter run: letter, pointer block, and the mark of a letter
    // at which no POI ends.
    bool WriteLetterRun(const std::vector<Letter>& letters, Pair& node)
    {
        std::vector<Record> run;
        for (const Letter& l : letters) {
            Record r;
            r.Set(0, &l.letter, 1);
            const Pair child = l.child >= 0 ? m_nodes[static_cast<std::size_t>(l.child)].pair : Pair{};
            const auto block = FeatureBlockEncoder::Encode(child.addr, child.count, l.results.addr, l.results.count);
            r.Set(1, block.data(), block.size());
            // Tells the paging walk that this letter's result run lists no
            // POI, so it need not read it.
            if (!l.endsHere)
                r.Set(3, &kNoneEnds, 1);
            run.push_back(std::move(r));
        }
        node.count = static_cast<unsigned int>(run.size());
        return m_writer.AppendRun(run, node.addr);
    }

    // A result run: one record per district, ascending code, with the POIs
    // that end at the prefix and the number of that district's POIs that
    // lie deeper.
    bool WriteResults(const ByCode& byCode, Pair& out)
    {
        std::vector<Record> run;
        for (const auto& [code, entry] : byCode) {
            // A district with more POIs than one record can carry goes on in
            // further records of the same code: the reader appends their
            // addresses in order and adds up their counts, so nothing changes.
            std::uint32_t further = entry.further;
            std::size_t next = 0;
            bool first = true;
            while (first || further > 0 || next < entry.ends.size()) {
                const std::uint32_t part = std::min(further, NdfFormat::kInitialMaxFurther);
                const std::size_t take = std::min(entry.ends.size() - next, NdfFormat::kInitialMaxAddresses);
                unsigned char head[4] = {static_cast<unsigned char>(code), static_cast<unsigned char>(code >> 8),
                                         static_cast<unsigned char>(part), static_cast<unsigned char>(part >> 8)};
                Record r;
                r.Set(0, head, sizeof head);
                if (take > 0)
                    r.Set(1, entry.ends.data() + next, take * sizeof(ueglobal_addr_t));
                run.push_back(std::move(r));
                further -= part;
                next += take;
                first = false;
            }
        }
        out.count = static_cast<unsigned int>(run.size());
        return m_writer.AppendRun(run, out.addr);
    }

    PageFileWriter& m_writer;
    int m_nDepth;
    std::vector<Node> m_nodes;
    std::vector<std::vector<std::size_t>> m_levels; // node numbers by level
};

} // namespace

Initial2IndexWriter::Initial2IndexWriter(std::uint16_t fileId, int depth, std::uint32_t targetPageSize)
    : m_nFileId(fileId), m_nDepth(depth < 1 ? 1 : depth), m_nTarget(targetPageSize)
{
}

void Initial2IndexWriter::AddDistrict(std::string_view province, std::string_view city, std::uint16_t code)
{
    auto it = std::find_if(m_provinces.begin(), m_provinces.end(),
                           [&](const Province& p) { return p.name == province; });
    if (it == m_provinces.end()) {
        m_provinces.push_back(Province{std::string(province), {}});
        it = m_provinces.end() - 1;
    }
    it->cities.emplace_back(std::string(city), code);
}

bool Initial2IndexWriter::AddPoi(std::string_view name, std::uint16_t code, const ueglobal_addr_t& poi)
{
    // One row per variant: they differ in their first letter, so no prefix
    // reaches two of them and no answer holds the POI twice.
    const std::vector<std::string> variants = NameInitials::Variants(name, m_nDepth);
    for (const std::string& initials : variants)
        m_rows.push_back(Row{initials, code, poi});
    return !variants.empty();
}

bool Initial2IndexWriter::Write(const std::string& path)
{
    PageFileWriter writer(m_nFileId, m_nTarget);
    if (!writer.Open(path)) {
        m_error = writer.GetError();
        return false;
    }
    auto fail = [&]() {
        m_error = writer.GetError();
        writer.Close();
        return false;
    };

    // The letter trie. The sort is stable, so POIs with equal initials keep
    // the order in which they were added.
    std::vector<Initial2TrieBuilder::Row> rows;
    rows.reserve(m_rows.size());
    for (const Row& r : m_rows)
        rows.push_back({&r.initials, r.code, r.poi});
    std::stable_sort(rows.begin(), rows.end(), [](const auto& a, const auto& b) {
        return InitialsLess(*a.initials, *b.initials);
    });
    Initial2TrieBuilder builder(writer, m_nDepth);
    Pair letterRoot;
    if (!builder.Write(rows, letterRoot))
        return fail();

    // The district tree: a run of cities per province, then the provinces.
    std::vector<Record> provinces;
    for (const Province& p : m_provinces) {
        std::vector<Record> cities;
        for (const auto& [name, code] : p.cities) {
            Record r;
            r.SetText(0, name).SetShort(1, code);
            cities.push_back(std::move(r));
        }
        ueglobal_addr_t first{};
        if (!writer.AppendRun(cities, first))
            return fail();
        const auto block = FeatureBlockEncoder::Encode(first, static_cast<unsigned int>(cities.size()), {}, 0);
        Record r;
        r.SetText(0, p.name).Set(2, block.data(), block.size());
        provinces.push_back(std::move(r));
    }
    Pair districtRoot;
    districtRoot.count = static_cast<unsigned int>(provinces.size());
    if (!writer.AppendRun(provinces, districtRoot.addr))
        return fail();

    // The root record, at the start of a page: the letter trie as its child,
    // the district tree as its leaf.
    const auto block =
        FeatureBlockEncoder::Encode(letterRoot.addr, letterRoot.count, districtRoot.addr, districtRoot.count);
    Record root;
    root.Set(1, block.data(), block.size());
    ueglobal_addr_t rootAddr{};
    if (!writer.AppendRun({root}, rootAddr, true))
        return fail();
    writer.SetIndexHeader(rootAddr, m_nDepth);
    if (!writer.Close()) {
        m_error = writer.GetError();
        return false;
    }
    return true;
}

} // namespace Kest
