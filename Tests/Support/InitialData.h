#pragma once
// Small data directories for the pinyin-initial search: the POI store, the
// area names and one initial index per data set, written with the real
// writers. Names are given in UTF-8 and stored in GBK.

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "Compiler/AdminIndexWriter.h"
#include "Compiler/GbkCodec.h"
#include "Compiler/Initial2IndexWriter.h"
#include "Compiler/PoiStoreWriter.h"
#include "Support/TempDir.h"

namespace KestTest {

struct PoiRow {
    std::string name; // UTF-8
    std::string province;
    std::string city;
    std::uint32_t lon = 116000000;
    std::uint32_t lat = 39000000;
    std::uint32_t code = 1050;
    std::uint16_t area = 1;
};

// Rows with the same place, one per name.
inline std::vector<PoiRow> Rows(const std::vector<std::string>& names, const std::string& province = "北京市",
                                const std::string& city = "北京市")
{
    std::vector<PoiRow> rows;
    for (const auto& n : names)
        rows.push_back(PoiRow{n, province, city});
    return rows;
}

// `count` rows named `name`.
inline std::vector<PoiRow> Repeat(const std::string& name, int count, const std::string& province = "北京市",
                                  const std::string& city = "北京市")
{
    return Rows(std::vector<std::string>(static_cast<std::size_t>(count), name), province, city);
}

inline void AppendRows(std::vector<PoiRow>& to, const std::vector<PoiRow>& from)
{
    to.insert(to.end(), from.begin(), from.end());
}

// The data directory "<dir>/data": POI/1.ndf with every row of every data
// set, POI/AdminIndex.ndf with `areas`, and POI/<100 + set>.ndf per data set.
// Cities are numbered from 1 in the order they first appear in a set.
class InitialData {
public:
    explicit InitialData(const TempDir& dir) : m_root(dir.Path("data")) {}

    const std::string& Root() const { return m_root; }
    std::string PoiDir() const { return m_root + "/POI/"; }

    void Write(const std::map<int, std::vector<PoiRow>>& sets, const std::map<std::uint16_t, std::string>& areas = {},
               int depth = Kest::NdfFormat::kInitialDefaultDepth)
    {
        std::filesystem::create_directories(PoiDir());
        Kest::PoiStoreWriter store;
        ASSERT_TRUE(store.Open(PoiDir() + "1.ndf"));
        for (const auto& [set, rows] : sets) {
            Kest::Initial2IndexWriter index(static_cast<std::uint16_t>(100 + set), depth);
            std::map<std::string, std::uint16_t> codes;
            for (const auto& row : rows) {
                const std::string key = row.province + "/" + row.city;
                if (codes.count(key) == 0) {
                    const auto code = static_cast<std::uint16_t>(codes.size() + 1);
                    codes[key] = code;
                    index.AddDistrict(Kest::GbkCodec::Gbk(row.province), Kest::GbkCodec::Gbk(row.city), code);
                }
                Kest::PoiStoreRecord record{Kest::GbkCodec::Gbk(row.name), row.lon, row.lat, row.code, row.area};
                Kest::ueglobal_addr_t addr{};
                ASSERT_TRUE(store.Add(record, addr)) << store.GetError();
                index.AddPoi(record.name, codes[key], addr);
            }
            ASSERT_TRUE(index.Write(PoiDir() + std::to_string(100 + set) + ".ndf")) << index.GetError();
        }
        ASSERT_TRUE(store.Close()) << store.GetError();
        Kest::AdminIndexWriter admin;
        for (const auto& [code, name] : areas)
            ASSERT_TRUE(admin.Add(code, Kest::GbkCodec::Gbk(name)));
        ASSERT_TRUE(admin.WriteFile(PoiDir() + "AdminIndex.ndf"));
    }

private:
    std::string m_root;
};

} // namespace KestTest
