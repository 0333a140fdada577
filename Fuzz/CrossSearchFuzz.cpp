// Fuzzes the crossroad searches of the engine and the splitting of
// crossroad names.
//
// A small, well-formed "POI/CrossRoad/" directory is written once (record
// store, first-form initial index 410, full-text index 310). Each input then
// gives:
//   byte 0: the mode (as a signed byte); byte 1: n = the header length (mod
//   13); the next n bytes: the index header of the files 420.ndf and 320.ndf
//   (file number 20), which name the root of any page of any file (a short
//   header must fail); the rest: up to three keys split at '|'.
// Both searches run with those keys on file number 10 and on 20, every hit is
// fetched, and the rest of the input is split as a crossroad name.

#include "Compiler/CrossroadName.h"
#include "Compiler/InitialIndexWriter.h"
#include "Compiler/PoiStoreWriter.h"
#include "Compiler/SegFullTextIndexWriter.h"
#include "FuzzSupport.h"
#include "POIEngine/ePOIEngineManager.h"

using namespace Kest;

namespace {

// The data directory, written once.
std::string WriteData()
{
    const std::string dir = KestFuzz::ScratchDir() + "POI/CrossRoad/";
    std::filesystem::create_directories(dir);
    const char* names[] = {"\xCC\xE5\xD3\xFD\xB9\xDD\xC2\xB7\xD3\xEB\xB6\xAB\xCD\xE2\xB4\xF3\xBD\xD6", // 体育馆路与东外大街
                           "\xC8\xCB\xC3\xF1\xC2\xB7\xD3\xEB\xBD\xE2\xB7\xC5\xC2\xB7\xBF\xDA",         // 人民路与解放路口
                           "\xC8\xCB\xC3\xF1\xB9\xE3\xB3\xA1"};                                         // 人民广场
    PoiStoreWriter store;
    InitialIndexWriter initial(410);
    SegFullTextIndexWriter text(310);
    if (!store.Open(dir + "1.ndf"))
        std::abort();
    const std::string province = "P", city = "C";
    for (int copy = 0; copy < 40; ++copy)
        for (const char* name : names) {
            ueglobal_addr_t addr{};
            if (!store.Add(PoiStoreRecord{name, 116000000u + static_cast<unsigned>(copy), 39000000u, 0, 1}, addr))
                std::abort();
            const CrossroadName cross(name);
            for (const std::string& key : cross.InitialKeys(10))
                initial.AddPoi(province, city, key, addr);
            for (const std::string& form : cross.TextForms())
                text.AddPoi(province, city, form, addr);
        }
    if (!store.Close() || !initial.Write(dir + "410.ndf") || !text.Write(dir + "310.ndf"))
        std::abort();
    return KestFuzz::ScratchDir().substr(0, KestFuzz::ScratchDir().size() - 1);
}

void FetchAll(ePOIEngineManager& engine)
{
    const int count = engine.GetPOICount(0);
    for (int i = 0; i < count && i < 300; ++i) {
        ePoiInfo info{};
        if (!engine.GetPOIInfo(0, i, info))
            break;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const std::string root = WriteData();
    if (size < 2)
        return 0;
    const int mode = static_cast<signed char>(data[0]);
    const std::size_t headerLength = std::min<std::size_t>(data[1] % 13, size - 2);
    const std::string header(reinterpret_cast<const char*>(data + 2), headerLength);
    const std::string rest(reinterpret_cast<const char*>(data + 2 + headerLength), size - 2 - headerLength);
    for (const char* file : {"POI/CrossRoad/420.ndf", "POI/CrossRoad/320.ndf"})
        KestFuzz::WriteFile(file, header.data(), header.size());

    std::string keys[3] = {"*", "*", ""};
    for (std::size_t k = 0, from = 0; k < 3 && from <= rest.size(); ++k) {
        const std::size_t bar = std::min(rest.find('|', from), rest.size());
        keys[k] = rest.substr(from, bar - from);
        from = bar + 1;
    }
    ePOIEngineManager engine;
    engine.SetPoiPath(root.c_str());
    char* next = nullptr;
    int nextCount = 0;
    for (int fileNo : {10, 20}) {
        if (engine.QueryCrossRoadByPY(mode, fileNo, keys[0].c_str(), keys[1].c_str(), keys[2].c_str(), next, nextCount))
            FetchAll(engine);
        if (engine.QueryCrossRoadByText(mode, fileNo, keys[0].c_str(), keys[1].c_str(), keys[2].c_str()))
            FetchAll(engine);
    }
    engine.ReleaseQueryMem();

    const CrossroadName name(rest);
    name.TextForms();
    name.InitialKeys(data[0] % 12);
    return 0;
}
