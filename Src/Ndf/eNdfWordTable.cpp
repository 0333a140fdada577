#include "Ndf/eNdfWordTable.h"

#include "NdfVarint.h"

namespace Kest {

namespace {

// Keys as unsigned numbers in the same order, so that steps are positive.
std::uint64_t Biased(std::int32_t key)
{
    return static_cast<std::uint64_t>(static_cast<std::int64_t>(key) + 0x80000000LL);
}

} // namespace

void eNdfWordTable::Encode(const std::vector<Entry>& entries, std::vector<unsigned char>& directory,
                           std::vector<std::vector<unsigned char>>& blocks)
{
    // Each block starts from key 0 and address 0, so that it decodes on its own.
    directory.clear();
    blocks.clear();
    std::vector<std::uint64_t> firsts;
    NdfVarint::BlockCutter cutter(static_cast<std::size_t>(kMaxBlockBytes));
    std::vector<unsigned char> one;
    std::uint64_t previousKey = 0, previousAddr = 0;
    auto encode = [&](const Entry& e) {
        one.clear();
        NdfVarint::Put(one, Biased(e.key) - previousKey);
        NdfVarint::Put(one, e.count);
        NdfVarint::PutSigned(one, NdfVarint::AddrKey(e.postings) - previousAddr);
    };
    for (const Entry& e : entries) {
        encode(e);
        if (!cutter.Fits(one.size())) {
            cutter.Close(blocks);
            previousKey = previousAddr = 0;
            encode(e);
        }
        if (cutter.Count() == 0)
            firsts.push_back(Biased(e.key));
        cutter.Add(one);
        previousKey = Biased(e.key);
        previousAddr = NdfVarint::AddrKey(e.postings);
    }
    cutter.Close(blocks);
    NdfVarint::Put(directory, firsts.size());
    std::uint64_t previous = 0;
    for (std::uint64_t first : firsts) {
        NdfVarint::Put(directory, first - previous);
        previous = first;
    }
}

bool eNdfWordTable::CountBlocks(const unsigned char* directory, int length, int& blocks)
{
    blocks = 0;
    if (directory == nullptr || length <= 0)
        return false;
    const unsigned char* p = directory;
    std::uint64_t n = 0;
    // A block's first key takes at least one byte of the directory.
    if (!NdfVarint::Get(p, directory + length, n) || n == 0 || n > static_cast<std::uint64_t>(directory + length - p))
        return false;
    blocks = static_cast<int>(n);
    return true;
}

bool eNdfWordTable::FindBlock(const unsigned char* directory, int length, int blocks, std::int32_t key, int& block,
                              std::int32_t& firstKey)
{
    block = -1;
    if (directory == nullptr || length <= 0 || blocks <= 0)
        return false;
    const unsigned char* p = directory;
    const unsigned char* end = directory + length;
    std::uint64_t n = 0, first = 0;
    if (!NdfVarint::Get(p, end, n) || n != static_cast<std::uint64_t>(blocks))
        return false;
    const std::uint64_t wanted = Biased(key);
    for (int i = 0; i < blocks; ++i) {
        std::uint64_t step = 0;
        // Each first key is above the one before and within 32 bits.
        if (!NdfVarint::Get(p, end, step) || (i > 0 && step == 0) || step > 0xFFFFFFFFu - first)
            return false;
        first += step;
        if (first <= wanted) {
            block = i;
            firstKey = static_cast<std::int32_t>(static_cast<std::int64_t>(first) - 0x80000000LL);
        }
    }
    return p == end;
}

bool eNdfWordTable::FindInBlock(const unsigned char* bytes, int length, std::int32_t firstKey, std::int32_t key,
                                bool& found, Entry& entry)
{
    found = false;
    if (bytes == nullptr || length <= 0)
        return false;
    const unsigned char* p = bytes;
    const unsigned char* end = bytes + length;
    std::uint64_t n = 0, biased = 0, addr = 0;
    if (!NdfVarint::Get(p, end, n) || n == 0 || n > static_cast<std::uint64_t>(length))
        return false;
    const std::uint64_t wanted = Biased(key);
    for (std::uint64_t i = 0; i < n; ++i) {
        std::uint64_t step = 0, count = 0, addrStep = 0;
        if (!NdfVarint::Get(p, end, step) || !NdfVarint::Get(p, end, count) || !NdfVarint::Get(p, end, addrStep) ||
            (i > 0 && step == 0) || step > 0xFFFFFFFFu - biased || count > 0x7FFFFFFFu)
            return false;
        biased += step;
        addr += NdfVarint::Unzigzag(addrStep);
        if (i == 0 && biased != Biased(firstKey))
            return false;
        if (biased == wanted) {
            found = true;
            entry.key = key;
            entry.count = static_cast<std::uint32_t>(count);
            entry.postings = NdfVarint::AddrOf(addr);
            return true;
        }
        if (biased > wanted)
            return true;
    }
    return p == end;
}

} // namespace Kest
