#include "Compiler/TelTrieWriter.h"

#include <algorithm>

#include "Compiler/FeatureBlockEncoder.h"
#include "Compiler/PageFileWriter.h"

namespace Kest {

namespace {

using Record = PageFileWriter::Record;

// The fields of a trie record (the root record has no digit).
constexpr unsigned char kFieldDigit = 0;
constexpr unsigned char kFieldBlock = 1;
constexpr unsigned char kFieldBelow = 2;

struct Pair {
    ueglobal_addr_t addr{};
    unsigned int count = 0;
};

// A node of level d (its number prefix has d digits): the numbers
// [lo, hi), in byte order, that begin with that prefix. The number equal to
// the prefix, if any, sorts first, at lo.
struct Node {
    std::size_t lo;
    std::size_t hi;
};

// A node's POIs below it, one run per number length (ascending): the store
// keeps the numbers of one length together and in order, so the POIs of one
// length below one node are consecutive records.
// With them, how many numbers lie below (the leaf runs a walk of every
// node below would meet).
struct BelowRun {
    std::size_t length;
    Pair run;
};
struct Below {
    std::vector<BelowRun> runs;
    std::uint64_t numbers = 0;
};

void AddBelow(Below& below, std::size_t length, const Pair& run)
{
    if (run.count == 0)
        return;
    for (BelowRun& b : below.runs)
        if (b.length == length) {
            b.run.count += run.count;
            return;
        }
    below.runs.push_back(BelowRun{length, run});
}

void PutVarint(std::vector<unsigned char>& out, std::uint64_t value)
{
    while (value >= 0x80) {
        out.push_back(static_cast<unsigned char>(value | 0x80u));
        value >>= 7;
    }
    out.push_back(static_cast<unsigned char>(value));
}

std::vector<unsigned char> EncodeBelow(Below below)
{
    std::vector<unsigned char> out;
    if (below.numbers == 0)
        return out;
    std::sort(below.runs.begin(), below.runs.end(),
              [](const BelowRun& a, const BelowRun& b) { return a.length < b.length; });
    PutVarint(out, below.numbers);
    for (const BelowRun& b : below.runs) {
        PutVarint(out, b.run.addr.page.nFile);
        PutVarint(out, b.run.addr.page.nPage);
        PutVarint(out, b.run.addr.nElement);
        PutVarint(out, b.run.count);
    }
    return out;
}

} // namespace

bool TelTrieWriter::StoreOrder(std::string_view a, std::string_view b)
{
    return a.size() != b.size() ? a.size() < b.size() : a < b;
}

TelTrieWriter::TelTrieWriter(std::uint16_t fileId, int depth, std::uint32_t targetPageSize)
    : m_nFileId(fileId), m_nDepth(depth), m_nTarget(targetPageSize)
{
}

bool TelTrieWriter::Add(std::string_view digits, const ueglobal_addr_t& record)
{
    // With a fixed depth a number is cut now, so that cut numbers that
    // become equal (neighbours in the store) join into one run.
    if (m_nDepth > 0 && digits.size() > static_cast<std::size_t>(m_nDepth))
        digits = digits.substr(0, static_cast<std::size_t>(m_nDepth));
    if (!m_numbers.empty()) {
        Number& last = m_numbers.back();
        if (digits == last.digits) {
            ++last.count;
            return true;
        }
        if (!StoreOrder(last.digits, digits)) {
            m_error = "numbers out of order: '" + std::string(digits) + "' after '" + last.digits + "'";
            return false;
        }
    }
    m_numbers.push_back(Number{std::string(digits), record, 1});
    return true;
}

bool TelTrieWriter::Write(const std::string& path)
{
    std::size_t longest = 0;
    for (const Number& n : m_numbers)
        longest = std::max(longest, n.digits.size());
    if (m_nDepth <= 0)
        m_nDepth = static_cast<int>(std::max<std::size_t>(longest, 1));

    // The trie is built over the numbers in plain byte order, where the
    // numbers below one prefix are neighbours (the store keeps them by
    // length first).
    std::vector<const Number*> numbers;
    numbers.reserve(m_numbers.size());
    for (const Number& n : m_numbers)
        numbers.push_back(&n);
    std::sort(numbers.begin(), numbers.end(), [](const Number* a, const Number* b) { return a->digits < b->digits; });
    const std::size_t total = numbers.size();
    auto nodesOf = [&](std::size_t level) {
        std::vector<Node> nodes;
        if (level == 0) {
            nodes.push_back(Node{0, total});
            return nodes;
        }
        for (std::size_t i = 0; i < total;) {
            if (numbers[i]->digits.size() < level) {
                ++i;
                continue;
            }
            std::size_t j = i + 1;
            while (j < total && numbers[j]->digits.size() >= level &&
                   numbers[j]->digits.compare(0, level, numbers[i]->digits, 0, level) == 0)
                ++j;
            nodes.push_back(Node{i, j});
            i = j;
        }
        return nodes;
    };

    PageFileWriter writer(m_nFileId, m_nTarget);
    if (!writer.Open(path)) {
        m_error = writer.GetError();
        return false;
    }
    // Deepest level first, so that every record can name the run below it;
    // within a level the runs follow their parents' order, which is the
    // order a breadth-first walk of the trie reads them.
    std::vector<Node> level = nodesOf(longest);
    std::vector<Pair> levelChild(level.size());
    std::vector<Below> levelBelow(level.size());
    for (std::size_t d = longest; d >= 1; --d) {
        std::vector<Node> parents = nodesOf(d - 1);
        std::vector<Pair> parentChild(parents.size());
        std::vector<Below> parentBelow(parents.size());
        std::size_t p = 0;
        for (std::size_t k = 0; k < level.size();) {
            while (!(parents[p].lo <= level[k].lo && level[k].lo < parents[p].hi))
                ++p;
            std::vector<Record> run;
            for (; k < level.size() && level[k].lo < parents[p].hi; ++k) {
                const Number& first = *numbers[level[k].lo];
                Pair leaf;
                if (first.digits.size() == d)
                    leaf = Pair{first.first, first.count};
                Record record;
                record.SetText(kFieldDigit, std::string_view(first.digits).substr(d - 1, 1));
                const std::vector<unsigned char> block =
                    FeatureBlockEncoder::Encode(levelChild[k].addr, levelChild[k].count, leaf.addr, leaf.count);
                record.Set(kFieldBlock, block.data(), block.size());
                const std::vector<unsigned char> below = EncodeBelow(levelBelow[k]);
                if (!below.empty())
                    record.Set(kFieldBelow, below.data(), below.size());
                run.push_back(std::move(record));
                Below& up = parentBelow[p];
                AddBelow(up, d, leaf);
                for (const BelowRun& b : levelBelow[k].runs)
                    AddBelow(up, b.length, b.run);
                up.numbers += levelBelow[k].numbers + (leaf.count > 0 ? 1 : 0);
            }
            Pair& child = parentChild[p];
            child.count = static_cast<unsigned int>(run.size());
            if (!writer.AppendRun(run, child.addr)) {
                m_error = writer.GetError();
                return false;
            }
        }
        level = std::move(parents);
        levelChild = std::move(parentChild);
        levelBelow = std::move(parentBelow);
    }

    // The root record: element 0 of its page, its block naming the run of
    // first digits.
    Record root;
    const std::vector<unsigned char> block =
        FeatureBlockEncoder::Encode(levelChild[0].addr, levelChild[0].count, ueglobal_addr_t{}, 0);
    root.Set(kFieldBlock, block.data(), block.size());
    const std::vector<unsigned char> below = EncodeBelow(levelBelow[0]);
    if (!below.empty())
        root.Set(kFieldBelow, below.data(), below.size());
    ueglobal_addr_t rootAddr{};
    if (!writer.AppendRun({root}, rootAddr, true)) {
        m_error = writer.GetError();
        return false;
    }
    writer.SetIndexHeader(rootAddr, m_nDepth);
    if (!writer.Close()) {
        m_error = writer.GetError();
        return false;
    }
    return true;
}

} // namespace Kest
