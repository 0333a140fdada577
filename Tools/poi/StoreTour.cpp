#include "StoreTour.h"

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <vector>

#include "Compiler/GbkCodec.h"
#include "POIEngine/ePOIEngineContainer.h"

namespace Kest {
namespace {

ePoiInfo MakePoi(const char* utf8Name, double lon, double lat, const char* utf8Area, unsigned code)
{
    ePoiInfo info;
    std::memset(&info, 0, sizeof info);
    const std::string name = GbkCodec::Gbk(utf8Name);
    const std::string area = GbkCodec::Gbk(utf8Area);
    std::memcpy(info.szName, name.data(), std::min(name.size(), sizeof info.szName - 1));
    std::memcpy(info.szAddress, area.data(), std::min(area.size(), sizeof info.szAddress - 1));
    info.dX = lon;
    info.dY = lat;
    info.nCode = code;
    return info;
}

std::string Field(const char* gbk, std::size_t size)
{
    return GbkCodec::Utf8(std::string(gbk, strnlen(gbk, size)));
}

void List(std::ostream& out, ePOIEngineContainer& store, ContainerType type, const char* title)
{
    out << title << " (" << store.GetPOICount(type) << "):\n";
    ePoiInfo info;
    for (int i = 0; store.GetPOIInfo(type, i, info); ++i) {
        out << "  " << i << "  " << Field(info.szName, sizeof info.szName) << "  (" << std::fixed
            << std::setprecision(6) << info.dX << ", " << info.dY << ")  "
            << Field(info.szAddress, sizeof info.szAddress) << "\n";
    }
}

// The frequencies as History.poi holds them: the word behind each 152-byte record.
std::vector<int> FrequenciesOnDisk(const std::string& file)
{
    std::vector<int> result;
    std::ifstream in(file, std::ios::binary);
    char record[sizeof(ePoiInfo) + 4];
    while (in.read(record, sizeof record)) {
        int f;
        std::memcpy(&f, record + sizeof(ePoiInfo), 4);
        result.push_back(f);
    }
    return result;
}

void PrintFrequencies(std::ostream& out, const std::string& file)
{
    out << "  History.poi holds the frequencies:";
    for (int f : FrequenciesOnDisk(file))
        out << ' ' << f;
    out << "\n";
}

} // namespace

bool StoreTour::Run(const std::string& directory)
{
    std::string prefix = directory;
    if (prefix.empty() || prefix.back() != '/')
        prefix += '/';
    m_out << "User store tour in " << prefix << "\n\n";

    ePOIEngineContainer store;
    store.SetDataPath(prefix.c_str());
    bool ok = true;

    m_out << "-- Favourites: three added, shown newest first\n";
    ok &= store.AddPOI(CONTAINER_FAVORITE, MakePoi("天安门广场", 116.397428, 39.903741, "北京市东城区", 1050)) >= 0;
    ok &= store.AddPOI(CONTAINER_FAVORITE, MakePoi("故宫博物院", 116.403414, 39.924091, "北京市东城区", 7010)) >= 0;
    ok &= store.AddPOI(CONTAINER_FAVORITE, MakePoi("颐和园", 116.275179, 39.999617, "北京市海淀区", 7010)) >= 0;
    List(m_out, store, CONTAINER_FAVORITE, "favourites");

    m_out << "\n-- The newest favourite renamed, the middle one removed\n";
    ok &= store.ModifyPOI(CONTAINER_FAVORITE, 0, MakePoi("颐和园北宫门", 116.270812, 40.005337, "北京市海淀区", 7010));
    ok &= store.RemovePOI(CONTAINER_FAVORITE, 1);
    List(m_out, store, CONTAINER_FAVORITE, "favourites");

    m_out << "\n-- History: places used, ordered by how often\n";
    const ePoiInfo south = MakePoi("北京南站", 116.378517, 39.865246, "北京市丰台区", 3010);
    const ePoiInfo airport = MakePoi("首都机场T3航站楼", 116.614975, 40.052448, "北京市顺义区", 3020);
    const ePoiInfo wangfujing = MakePoi("王府井步行街", 116.411794, 39.914427, "北京市东城区", 2010);
    const ePoiInfo bund = MakePoi("外滩", 121.490317, 31.241701, "上海市黄浦区", 7020);
    for (const ePoiInfo& p : {south, airport, south, wangfujing, bund}) {
        const int at = store.AddPOI(CONTAINER_HISTORY, p);
        m_out << "  used " << Field(p.szName, sizeof p.szName) << " -> position " << at << "\n";
    }
    List(m_out, store, CONTAINER_HISTORY, "history");
    PrintFrequencies(m_out, prefix + "History.poi");

    m_out << "\n-- A second use moves an entry up past equal ones; it is saved with the next change\n";
    const int at = store.AddPOI(CONTAINER_HISTORY, airport);
    m_out << "  used " << Field(airport.szName, sizeof airport.szName) << " again -> position " << at << "\n";
    PrintFrequencies(m_out, prefix + "History.poi");
    ok &= store.SavePOI(CONTAINER_HISTORY);
    m_out << "  after SavePOI:\n";
    PrintFrequencies(m_out, prefix + "History.poi");

    m_out << "\n-- Loaded again by a fresh store\n";
    ePOIEngineContainer reloaded;
    reloaded.SetDataPath(prefix.c_str());
    ok &= reloaded.LoadPOI(CONTAINER_FAVORITE);
    ok &= reloaded.LoadPOI(CONTAINER_HISTORY);
    List(m_out, reloaded, CONTAINER_FAVORITE, "favourites");
    List(m_out, reloaded, CONTAINER_HISTORY, "history");

    m_out << "\nFiles:";
    for (const char* name : {"Favorite.poi", "Favorite.poibak", "History.poi", "History.poibak"}) {
        std::error_code ec;
        const auto size = std::filesystem::file_size(prefix + name, ec);
        m_out << "  " << name << " " << (ec ? 0 : size) << " bytes";
    }
    m_out << "\n" << (ok ? "Tour complete.\n" : "A step of the tour failed.\n");
    return ok;
}

} // namespace Kest
