#pragma once
// The engine's answers as plain values, so that a test compares a whole
// answer at once: a keyed reader's outputs, and the names of the manager's
// hits. POI number i stands for element i % 1000 of page i / 1000 of file 1.

#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "Base/ePoiInfo.h"
#include "Compiler/GbkCodec.h"
#include "Ndf/eNdfIndex.h"
#include "Ndf/eNdfRecordsetTabular.h"
#include "POIEngine/ePOIEngineManager.h"
#include "Support/IndexOpen.h"
#include "Support/NdfFiles.h"

namespace KestTest {

template <class T>
std::vector<T> Values(const Kest::eArray<T>& a)
{
    return std::vector<T>(a.GetData(), a.GetData() + a.GetSize());
}

inline std::vector<std::string> Texts(const Kest::eArray<Kest::eString>& a)
{
    std::vector<std::string> out;
    for (int i = 0; i < a.GetSize(); ++i)
        out.emplace_back(a[i].Cstr(), static_cast<std::size_t>(a[i].GetLength()));
    return out;
}

inline Kest::ueglobal_addr_t PoiAt(std::size_t i)
{
    return Kest::MakeGlobalAddr(1, static_cast<std::uint32_t>(i / 1000), static_cast<std::uint16_t>(i % 1000));
}

inline std::vector<int> PoiNumbers(const Kest::eArray<Kest::ueglobal_addr_t>& gids)
{
    std::vector<int> out;
    for (int i = 0; i < gids.GetSize(); ++i)
        out.push_back(static_cast<int>(gids[i].page.nPage) * 1000 + gids[i].nElement);
    return out;
}

// What a keyed query returned; `letters` joins the names it gave.
struct KeyedAnswer {
    bool ok = false;
    Kest::eArray<Kest::ueglobal_addr_t> gids;
    std::vector<int> pois;
    std::vector<unsigned int> nums;
    std::vector<std::string> names;
    std::string letters;
};

inline KeyedAnswer Ask(Kest::eNdfIndex& index, const std::vector<std::string>& keys)
{
    Kest::eArray<unsigned int> nums;
    Kest::eArray<Kest::eString> names;
    KeyedAnswer a;
    a.ok = index.Query(KeyArray(keys), a.gids, nums, names) != 0;
    EXPECT_EQ(a.gids.GetSize(), nums.GetSize());
    a.pois = PoiNumbers(a.gids);
    a.nums = Values(nums);
    a.names = Texts(names);
    for (const std::string& name : a.names)
        a.letters += name;
    return a;
}

// GetNextResult of an initial reader as POI numbers.
template <class Reader>
std::vector<int> NextPois(Reader& reader, int count)
{
    Kest::eArray<Kest::ueglobal_addr_t> gids;
    Kest::eArray<unsigned int> nums;
    reader.GetNextResult(count, gids, nums);
    EXPECT_EQ(gids.GetSize(), nums.GetSize());
    return PoiNumbers(gids);
}

// The manager on a data directory, with what the tests look at inside it.
class ProbedEngine : public Kest::ePOIEngineManager {
public:
    ProbedEngine() = default;
    explicit ProbedEngine(const std::string& root) { SetPoiPath(root.c_str()); }
    int Loaded() const { return m_pRecordset != nullptr ? m_pRecordset->GetRecordCount() : -1; }
    int KeyCount() const { return m_pRecordset != nullptr ? m_pRecordset->GetKeyCount() : -1; }
    int CurrentBranch() const { return m_nCurBranch; }
    using ePOIEngineManager::m_pPool;
};

// The UTF-8 names of the search hits (list 0) in order, paging through the
// whole count; and the same as a set, where the order is not the point.
inline std::vector<std::string> HitList(Kest::ePOIEngineManager& engine)
{
    std::vector<std::string> names;
    for (int i = 0; i < engine.GetPOICount(0); ++i) {
        Kest::ePoiInfo info{};
        EXPECT_TRUE(engine.GetPOIInfo(0, i, info)) << i;
        names.push_back(Kest::GbkCodec::Utf8(std::string(info.szName, strnlen(info.szName, sizeof info.szName))));
    }
    return names;
}
inline std::multiset<std::string> HitNames(Kest::ePOIEngineManager& engine)
{
    const std::vector<std::string> list = HitList(engine);
    return std::multiset<std::string>(list.begin(), list.end());
}

} // namespace KestTest
