// `district LON LAT`: the county that holds a coordinate, from the district
// index "POI/101.ndf", named from "POI/AdminIndex.ndf".

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "Admin/eAdminIndex.h"
#include "Base/NdfFormat.h"
#include "Compiler/GbkCodec.h"
#include "Ndf/eNdfPool.h"
#include "POIEngine/eNdfIndexDistrict.h"
#include "SearchKinds.h"
#include "SearchRun.h"

namespace Kest {

namespace {

// A whole decimal number within [low, high]; false for anything else.
bool ParseCoordinate(const std::string& text, double low, double high, double& value)
{
    if (text.empty())
        return false;
    char* end = nullptr;
    errno = 0;
    value = std::strtod(text.c_str(), &end);
    return errno == 0 && end == text.c_str() + text.size() && std::isfinite(value) && value >= low && value <= high;
}

int RunDistrict(SearchRun& run)
{
    if (int status = run.ExpectWords(2, "LON LAT"))
        return status;
    double lon = 0, lat = 0;
    if (!ParseCoordinate(run.Words()[0], -180, 180, lon))
        return run.Fail(2, "LON '" + run.Words()[0] + "' is not a longitude in degrees (-180 to 180, e.g. 116.397)");
    if (!ParseCoordinate(run.Words()[1], -90, 90, lat))
        return run.Fail(2, "LAT '" + run.Words()[1] + "' is not a latitude in degrees (-90 to 90, e.g. 39.909)");
    const std::string file = "POI/" + std::to_string(NdfFormat::kDistrictFileId) + ".ndf";
    if (int status = run.OpenData({"POI/AdminIndex.ndf"}))
        return status;
    const std::string dir = run.Dir() + "/POI/";

    // The header: the first top-level area and the number of them.
    unsigned char header[NdfFormat::kIndexHeaderSize];
    std::ifstream in(run.Dir() + "/" + file, std::ios::binary);
    if (!in.read(reinterpret_cast<char*>(header), sizeof header))
        return run.Fail(1, run.Dir() + "/" + file + " is missing or cut short; rebuild the directory with poi build");
    ueglobal_addr_t root{};
    std::int32_t count = 0;
    std::memcpy(&root, header, sizeof root);
    std::memcpy(&count, header + sizeof root, sizeof count);

    eNdfPool pool;
    pool.SetSize(1048576);
    pool.SetDataPath(eString(dir.c_str()));
    eNdfIndexDistrict index;
    index.SetGID(root);
    index.SetDepth(count);
    index.SetDataPath(eString(dir.c_str()));
    index.SetPool(&pool);
    unsigned int code = 0;
    const bool found = index.Query(lon, lat, code);
    if (!pool.GetDamage().IsEmpty())
        return run.Fail(1, dir + pool.GetDamage().Cstr() +
                               " is damaged (it fails its checksum); no answer is given (see poi check, then rebuild "
                               "with poi build)");
    if (!found)
        return run.Fail(1, "no county of " + run.Dir() + " holds " + run.Words()[0] + ", " + run.Words()[1] +
                               " (longitude first, then latitude)");

    eAdminIndex admin;
    admin.SetFilePath(eString((dir + "AdminIndex.ndf").c_str()));
    eString name;
    if (!admin.GetAdminInfo(static_cast<unsigned short>(code), name))
        return run.Fail(1, "county " + std::to_string(code) + " has no name in " + dir + "AdminIndex.ndf" +
                               (admin.IsDamaged() ? " (the file is damaged)" : "") + "; rebuild with poi build");
    const std::string full = GbkCodec::Utf8(name.Cstr());
    if (!run.Json())
        run.Out() << "county " << code << ": " << full << "\n";
    return run.PrintHits("\"count\":1", {HitText(full, lon, lat, full, code)}, 0, "");
}

} // namespace

SearchKind DistrictSearch()
{
    return {"district",
            "district LON LAT",
            "district: the county that holds the point LON LAT (degrees, longitude\n"
            "first): its code (the area code of the POI records) and its full name,\n"
            "province, city and county. Fails (exit 1) when no county holds the point.\n"
            "  JSON summary: {\"count\":1}, then the county as a hit: name and address\n"
            "  the full name, lon and lat the point, code the county's code\n",
            {},
            {},
            RunDistrict};
}

} // namespace Kest
