#include "CityNames.h"

#include <cstdio>
#include <cstring>

#include "Base/NdfFormat.h"
#include "Base/eString.h"
#include "Base/ueglobal_addr_t.h"
#include "Ndf/eNdfFeatureIndex.h"
#include "Ndf/eNdfPool.h"
#include "Ndf/eNdfRecordsetTabular.h"

namespace Kest {

namespace {

bool Holds(const std::string& name, const std::string& key)
{
    return key == "*" || name.find(key) != std::string::npos;
}

// Opens the pool on the directory and gives the child and leaf pairs of the
// root record of "<fileNumber>.ndf".
bool ReadRoot(eNdfPool& pool, const std::string& poiDir, int fileNumber, ueglobal_addr_t& child,
              unsigned int& childCount, ueglobal_addr_t& leaf, unsigned int& leafCount)
{
    const std::string path = poiDir + std::to_string(fileNumber) + ".ndf";
    std::FILE* fp = std::fopen(path.c_str(), "rb");
    if (fp == nullptr)
        return false;
    ueglobal_addr_t root{};
    const bool read = std::fread(&root, 1, sizeof root, fp) == sizeof root;
    std::fclose(fp);
    if (!read)
        return false;
    pool.SetSize(1 << 20);
    pool.SetDataPath(eString(poiDir.c_str()));
    eNdfRecordsetTabular rs;
    rs.SetRun(&pool, root, 1);
    unsigned char* value = nullptr;
    eNdfFeatureIndex block(1);
    if (!rs.MoveFirst() || rs.IsEOF())
        return false;
    const int length = rs.GetFieldValue(1, value);
    if (length <= 0 || !block.SetBuffer(value, length))
        return false;
    block.GetChild(child, childCount);
    block.GetLeaf(leaf, leafCount);
    return true;
}

struct District {
    std::string name;
    ueglobal_addr_t child{};
    unsigned int count = 0;
};

// The records of a district node: name and child pair, the child read from
// a feature block in `blockField` or else from fields 1 (count) and 2
// (address).
std::vector<District> ReadDistricts(eNdfPool& pool, const ueglobal_addr_t& node, unsigned int count, int blockField)
{
    std::vector<District> out;
    eNdfRecordsetTabular rs;
    rs.SetRun(&pool, node, count);
    for (rs.MoveFirst(); !rs.IsEOF(); rs.MoveNext()) {
        District d;
        eString name;
        rs.GetFieldValue(0, name);
        d.name = name.Cstr();
        unsigned char* value = nullptr;
        if (blockField > 0) {
            eNdfFeatureIndex block(1);
            const int length = rs.GetFieldValue(blockField, value);
            if (length > 0 && block.SetBuffer(value, length))
                block.GetChild(d.child, d.count);
        } else if (rs.GetFieldValue(1, value) == 4) {
            std::memcpy(&d.count, value, 4);
            if (rs.GetFieldValue(2, value) == 8)
                std::memcpy(&d.child, value, 8);
            else
                d.count = 0;
        }
        out.push_back(d);
    }
    return out;
}

} // namespace

bool CityNames::ForInitials(const std::string& poiDir, int set, const std::string& province,
                            const std::string& city, std::vector<std::string>& names)
{
    eNdfPool pool;
    ueglobal_addr_t letters{}, districts{};
    unsigned int letterCount = 0, districtCount = 0;
    if (!ReadRoot(pool, poiDir, NdfFormat::kInitialFileBase + set, letters, letterCount, districts, districtCount))
        return false;
    for (const District& p : ReadDistricts(pool, districts, districtCount, 2))
        if (Holds(p.name, province))
            for (const District& c : ReadDistricts(pool, p.child, p.count, 2))
                if (Holds(c.name, city))
                    names.push_back(c.name);
    return true;
}

bool CityNames::ForText(const std::string& poiDir, int set, const std::string& province, const std::string& city,
                        std::vector<std::string>& names)
{
    eNdfPool pool;
    ueglobal_addr_t provinces{}, unused{};
    unsigned int provinceCount = 0, unusedCount = 0;
    if (!ReadRoot(pool, poiDir, NdfFormat::kFullTextFileBase + set, provinces, provinceCount, unused, unusedCount))
        return false;
    for (const District& p : ReadDistricts(pool, provinces, provinceCount, 0)) {
        if (!Holds(p.name, province))
            continue;
        for (const District& c : ReadDistricts(pool, p.child, p.count, 0)) {
            if (province == "*" || Holds(c.name, city)) {
                names.push_back(c.name);
                if (province != "*")
                    return true;
            }
        }
        if (province != "*")
            return true;
    }
    return true;
}

} // namespace Kest
