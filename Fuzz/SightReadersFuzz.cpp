// Fuzzes the sight and place-name readers (by initials and by text) on
// records of any content, and the first-form writer's letter tries without
// district levels against the readers.
//
// Byte 0 chooses the mode. Even: the rest is records of file 110
// (FuzzSupport.h); pointer blocks inside them name file 110 (0x6E) and small
// element numbers to reach each other. Odd: the rest is names (letters and
// digits, split at any other byte) that InitialIndexWriter writes as a letter
// trie; every prefix the readers are asked for must then page out exactly the
// names below it. The depth is byte 0 / 2 mod 12. Work is bounded so that a
// loop in a file shows as a timeout.

#include <cctype>
#include <fstream>
#include <map>
#include <memory>
#include <set>

#include "Compiler/InitialIndexWriter.h"
#include "FuzzSupport.h"
#include "POIEngine/PinyinHelpers.h"
#include "POIEngine/eNdfIndexPlaceName.h"
#include "POIEngine/eNdfIndexPlaceNameByPY.h"
#include "POIEngine/eNdfIndexSightByPY.h"
#include "POIEngine/eNdfIndexSightbyText.h"

using namespace Kest;

namespace {

using KestFuzz::Open;

constexpr std::uint16_t kFile = 110;

// Every POI a query gives and pages out.
std::multiset<std::uint32_t> Ask(eNdfIndexInitial& index, const std::string& initials)
{
    eArray<ueglobal_addr_t> gids;
    eArray<unsigned int> nums;
    if (!KestFuzz::Ask(index, {"ignored", initials.c_str()}, gids, nums))
        return {};
    KestFuzz::Drain(index, gids, nums);
    std::multiset<std::uint32_t> pois;
    for (int i = 0; i < gids.GetSize(); ++i)
        pois.insert(static_cast<std::uint32_t>(gids[i].page.nPage) * 65536u + gids[i].nElement);
    return pois;
}

void Records(const std::uint8_t* data, std::size_t size, int depth)
{
    ueglobal_addr_t first{};
    if (!KestFuzz::WriteRecords(kFile, data + 1, size - 1, depth, first))
        return;
    KestFuzz::Pool pool;
    eNdfIndexSightByPY sight;
    eNdfIndexPlaceNameByPY place;
    for (eNdfIndexInitial* index : {static_cast<eNdfIndexInitial*>(&sight), static_cast<eNdfIndexInitial*>(&place)}) {
        Open(*index, pool, first, depth);
        for (const char* q : {"A", "ab", "zh", "", "A\xB1\xB1", "a{"})
            Ask(*index, q);
        index->ClearCache();
    }
    eNdfIndexSightbyText sightText;
    eNdfIndexPlaceName placeText;
    for (eNdfIndexSegFullText* index : {static_cast<eNdfIndexSegFullText*>(&sightText),
                                        static_cast<eNdfIndexSegFullText*>(&placeText)}) {
        Open(*index, pool, first, 0);
        KestFuzz::AskAll(*index, {{"\xB1\xB1\xBE\xA9"}, {"\xB1\xB1 \xBE\xA9", "\xA3\xB3"}, {"(x"}, {}, {"p", "c", "\xB1\xB1"}});
    }
}

void Names(const std::uint8_t* data, std::size_t size, int depth)
{
    // Runs of capitals and digits, split at any other byte.
    std::vector<std::string> names(1);
    for (std::size_t i = 1; i < size && names.size() < 2000; ++i) {
        if (std::isupper(data[i]) || std::isdigit(data[i]))
            names.back() += static_cast<char>(data[i]);
        else if (!names.back().empty())
            names.emplace_back();
    }
    if (names.back().empty())
        names.pop_back();
    const int levels = std::max(depth, 1);
    InitialIndexWriter writer(kFile, levels);
    writer.SetLettersOnly(true);
    // The POIs below each prefix of up to three of the initials the writer
    // indexes: the engine's, folded, cut at the depth.
    std::map<std::string, std::multiset<std::uint32_t>> want;
    for (std::size_t i = 0; i < names.size(); ++i) {
        std::unique_ptr<char[]> raw(GetPYInitials(names[i].c_str()));
        std::string key;
        for (const char* p = raw.get(); p != nullptr && *p != 0 && static_cast<int>(key.size()) < levels; ++p)
            key += static_cast<char>(eNdfIndexInitial::FoldLetter(static_cast<unsigned char>(*p)));
        const auto poi = MakeGlobalAddr(1, static_cast<std::uint32_t>(i / 1000), static_cast<std::uint16_t>(i % 1000));
        if (writer.AddPoi({}, {}, names[i], poi) != !key.empty())
            std::abort();
        for (std::size_t n = 1; n <= key.size() && n <= 3; ++n)
            want[key.substr(0, n)].insert(poi.page.nPage * 65536u + poi.nElement);
    }
    const std::string path = KestFuzz::ScratchDir() + "110.ndf";
    if (!writer.Write(path))
        std::abort();
    ueglobal_addr_t root{}; // the header's first 8 bytes
    std::ifstream(path, std::ios::binary).read(reinterpret_cast<char*>(&root), 8);
    KestFuzz::Pool pool;
    eNdfIndexSightByPY sight;
    Open(sight, pool, root, levels);
    for (const auto& [prefix, pois] : want)
        if (Ask(sight, prefix) != pois)
            std::abort(); // the writer and the reader disagree
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 1)
        return 0;
    const int depth = (data[0] / 2) % 12;
    if (data[0] % 2 == 0)
        Records(data, size, depth);
    else
        Names(data, size, depth);
    return 0;
}
