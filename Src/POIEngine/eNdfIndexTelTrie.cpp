#include "POIEngine/eNdfIndexTelTrie.h"

#include <cstdint>

#include "Ndf/eNdfFeatureIndex.h"
#include "Ndf/eNdfRecordsetTabular.h"

namespace Kest {

namespace {

// The fields of a trie record.
constexpr int kFieldDigit = 0;
constexpr int kFieldBlock = 1;
constexpr int kFieldBelow = 2;

bool GetVarint(const std::vector<unsigned char>& bytes, std::size_t& at, std::uint64_t& value)
{
    value = 0;
    for (int shift = 0; shift < 35; shift += 7) {
        if (at >= bytes.size())
            return false;
        const unsigned char b = bytes[at++];
        value |= static_cast<std::uint64_t>(b & 0x7F) << shift;
        if ((b & 0x80) == 0)
            return true;
    }
    return false;
}

// Address order within the index file: page, then element.
bool Before(const ueglobal_addr_t& a, const ueglobal_addr_t& b)
{
    if (a.page.nFile != b.page.nFile)
        return a.page.nFile < b.page.nFile;
    if (a.page.nPage != b.page.nPage)
        return a.page.nPage < b.page.nPage;
    return a.nElement < b.nElement;
}

} // namespace

eNdfIndexTelTrie::eNdfIndexTelTrie() = default;

eNdfIndexTelTrie::~eNdfIndexTelTrie() = default;

eNdfIndex::IndexType eNdfIndexTelTrie::GetType()
{
    return NDF_INDEX_TELTRIE;
}

unsigned char eNdfIndexTelTrie::Walk(const eString& number, ueglobal_addr_t& range, unsigned int& rangeCount,
                                     eNdfFeatureIndex& matched, bool& anyMatched, std::vector<unsigned char>* below)
{
    range = m_gidRoot;
    rangeCount = m_nRootCount;
    anyMatched = false;
    eNdfRecordsetTabular rs;
    const char* digits = number.Cstr();
    // Characters past the depth are never looked at: the walk stops there
    // and the shorter prefix stands for the whole number.
    for (int at = 0; digits[at] != '\0' && at < m_nDepth; ++at) {
        const char ch = digits[at];
        if (ch < '0' || ch > '9')
            return 0;
        rs.SetRun(m_pPool, range, rangeCount);
        rs.MoveFirst();
        const int first = rs.GetID();
        int low = first;
        int high = first + rs.GetRecordCount() - 1;
        bool found = false;
        while (low <= high) {
            const int mid = low + (high - low) / 2;
            rs.MoveTo(mid);
            unsigned char* key = nullptr;
            if (rs.GetFieldValue(kFieldDigit, key) < 1)
                return 0;
            const char digit = static_cast<char>(key[0]);
            if (digit < ch) {
                low = mid + 1;
            } else if (digit > ch) {
                high = mid - 1;
            } else {
                found = true;
                break;
            }
        }
        if (!found)
            return 0;
        unsigned char* block = nullptr;
        const int length = rs.GetFieldValue(kFieldBlock, block);
        if (length < 1 || !matched.SetBuffer(block, length))
            return 0;
        anyMatched = true;
        matched.GetChild(range, rangeCount);
        if (below != nullptr) {
            unsigned char* runs = nullptr;
            const int size = rs.GetFieldValue(kFieldBelow, runs);
            below->assign(runs, runs + (size > 0 ? size : 0));
        }
    }
    if (below != nullptr && !anyMatched) {
        // Nothing typed: the root record lists every POI.
        rs.SetRun(m_pPool, m_gidIndex, 1);
        unsigned char* runs = nullptr;
        const int size = rs.MoveFirst() ? rs.GetFieldValue(kFieldBelow, runs) : 0;
        below->assign(runs, runs + (size > 0 ? size : 0));
    }
    return 1;
}

unsigned char eNdfIndexTelTrie::Query(const eArray<eString>& keys, eArray<ueglobal_addr_t>& gids,
                                      eArray<unsigned int>& nums, eArray<eString>& names)
{
    if (keys.GetSize() == 0 || m_nDepth < 1)
        return 0;
    if (!IsOpen() && !GetRoot())
        return 0;
    gids.RemoveAll();
    nums.RemoveAll();
    names.RemoveAll();

    ueglobal_addr_t range{};
    unsigned int rangeCount = 0;
    eNdfFeatureIndex matched(1);
    bool anyMatched = false;
    if (!Walk(keys[0], range, rangeCount, matched, anyMatched, nullptr))
        return 0;
    // The POIs whose number is exactly the one typed always come first.
    AddExact(gids, nums, matched, anyMatched);
    if (rangeCount != 0) {
        // A failure below keeps what was gathered so far: the query still
        // answers true with those hits and the next digits.
        QueryAll(gids, nums, range, rangeCount);
        GetName(names, range, rangeCount);
    }
    return 1;
}

unsigned char eNdfIndexTelTrie::QueryRuns(const eString& number, eArray<ueglobal_addr_t>& gids,
                                          eArray<unsigned int>& nums, eArray<eString>& names, unsigned int& entries)
{
    entries = 0;
    if (m_nDepth < 1)
        return 0;
    if (!IsOpen() && !GetRoot())
        return 0;
    gids.RemoveAll();
    nums.RemoveAll();
    names.RemoveAll();

    ueglobal_addr_t range{};
    unsigned int rangeCount = 0;
    eNdfFeatureIndex matched(1);
    bool anyMatched = false;
    std::vector<unsigned char> below;
    if (!Walk(number, range, rangeCount, matched, anyMatched, &below))
        return 0;
    AddExact(gids, nums, matched, anyMatched);
    entries = static_cast<unsigned int>(gids.GetSize());
    if (rangeCount == 0)
        return 1;
    // The node's list: the number of numbers below it, then its runs, one
    // per length; a malformed list fails the query rather than give a part
    // of the POIs.
    std::size_t at = 0;
    std::uint64_t belowNumbers = 0;
    if (!below.empty() && (!GetVarint(below, at, belowNumbers) || belowNumbers > 0xFFFFFFFFu - entries))
        return 0;
    entries += static_cast<unsigned int>(belowNumbers);
    while (at < below.size()) {
        std::uint64_t value[4];
        for (std::uint64_t& v : value)
            if (!GetVarint(below, at, v))
                return 0;
        if (value[0] > 0xFFFF || value[1] > 0xFFFFFFFFu || value[2] > 0xFFFF || value[3] == 0 ||
            value[3] > 0xFFFFFFFFu)
            return 0;
        gids.Add(MakeGlobalAddr(static_cast<std::uint16_t>(value[0]), static_cast<std::uint32_t>(value[1]),
                                static_cast<std::uint16_t>(value[2])));
        nums.Add(static_cast<unsigned int>(value[3]));
    }
    GetName(names, range, rangeCount);
    return 1;
}

void eNdfIndexTelTrie::AddExact(eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums,
                                const eNdfFeatureIndex& matched, bool anyMatched)
{
    if (!anyMatched)
        return;
    ueglobal_addr_t leaf{};
    unsigned int leafCount = 0;
    matched.GetLeaf(leaf, leafCount);
    if (leafCount > 0) {
        gids.Add(leaf);
        nums.Add(leafCount);
    }
}

unsigned char eNdfIndexTelTrie::QueryAll(eArray<ueglobal_addr_t>& gids, eArray<unsigned int>& nums,
                                         const ueglobal_addr_t& start, unsigned int startCount)
{
    eArray<ueglobal_addr_t> queue;
    eArray<unsigned int> queueCounts;
    queue.Add(start);
    queueCounts.Add(startCount);
    eNdfRecordsetTabular rs;
    eNdfFeatureIndex block(1);
    // Level bookkeeping that keeps a damaged file from looping: the writer
    // puts each level's runs in ascending order and every level before the
    // one above it, so a record must lie after the previous record of its
    // level and before the first record of the level above.
    int levelEnd = 1;
    ueglobal_addr_t upperFirst{};
    bool hasUpper = false;
    ueglobal_addr_t levelFirst{};
    ueglobal_addr_t last{};
    bool levelStarted = false;
    for (int i = 0; i < queue.GetSize(); ++i) {
        if (i == levelEnd) {
            upperFirst = levelFirst;
            hasUpper = true;
            levelStarted = false;
            levelEnd = queue.GetSize();
        }
        rs.SetRun(m_pPool, queue[i], queueCounts[i]);
        if (!rs.MoveFirst())
            return 0;
        for (; !rs.IsEOF(); rs.MoveNext()) {
            const ueglobal_addr_t here = rs.GetGID();
            if ((levelStarted && !Before(last, here)) || (hasUpper && !Before(here, upperFirst)))
                return 0;
            if (!levelStarted)
                levelFirst = here;
            levelStarted = true;
            last = here;
            unsigned char* key = nullptr;
            if (rs.GetFieldValue(kFieldDigit, key) < 1)
                return 0;
            unsigned char* value = nullptr;
            const int length = rs.GetFieldValue(kFieldBlock, value);
            if (length < 1 || !block.SetBuffer(value, length))
                return 0;
            ueglobal_addr_t addr{};
            unsigned int count = 0;
            block.GetLeaf(addr, count);
            if (count > 0) {
                gids.Add(addr);
                nums.Add(count);
            }
            block.GetChild(addr, count);
            if (count > 0) {
                queue.Add(addr);
                queueCounts.Add(count);
            }
        }
    }
    return 1;
}

unsigned char eNdfIndexTelTrie::GetName(eArray<eString>& names, const ueglobal_addr_t& start, unsigned int startCount)
{
    eNdfRecordsetTabular rs;
    rs.SetRun(m_pPool, start, startCount);
    for (rs.MoveFirst(); !rs.IsEOF(); rs.MoveNext()) {
        unsigned char* key = nullptr;
        if (rs.GetFieldValue(kFieldDigit, key) != 0) {
            const char digit[2] = {static_cast<char>(key[0]), '\0'};
            names.Add(eString(digit));
        }
    }
    return 1;
}

} // namespace Kest
