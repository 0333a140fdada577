// The searches by coordinate: `around` (POIs within a radius, nearest first,
// of one category or all) and `nearest` (the POIs nearest to a point). Both
// read "POI/POIAround.ndf", one grid over every data set. The engine gives
// no distances: the command computes each hit's distance in metres from the
// coordinates it reads back and shows it beside the engine's order.

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

#include "Base/NdfFormat.h"
#include "POIEngine/ePOIEngineManager.h"
#include "POIEngine/eNdfQueryAround.h"
#include "SearchKinds.h"
#include "SearchRun.h"

namespace Kest {

namespace {

const std::string kGrid = std::string("POI/") + NdfFormat::kAroundFileName;
constexpr double kPi = 3.14159265358979323846;
constexpr double kEarthRadius = 6371008.8;      // metres, the mean radius
constexpr double kMetresPerDegree = 111319.49; // along a meridian or the equator, on that sphere

// A finite decimal number, the whole of `text`.
bool ParseNumber(const std::string& text, double& value)
{
    if (text.empty() || std::isspace(static_cast<unsigned char>(text[0])) != 0)
        return false;
    char* end = nullptr;
    errno = 0;
    value = std::strtod(text.c_str(), &end);
    return errno == 0 && end == text.c_str() + text.size() && std::isfinite(value);
}

// Great-circle distance in metres (haversine).
double Metres(double lon1, double lat1, double lon2, double lat2)
{
    const double rad = kPi / 180.0;
    const double dLat = (lat2 - lat1) * rad, dLon = (lon2 - lon1) * rad;
    const double a = std::sin(dLat / 2) * std::sin(dLat / 2) +
                     std::cos(lat1 * rad) * std::cos(lat2 * rad) * std::sin(dLon / 2) * std::sin(dLon / 2);
    return 2 * kEarthRadius * std::asin(std::sqrt(std::min(1.0, a)));
}

int ReadPoint(SearchRun& run, double& lon, double& lat)
{
    if (!ParseNumber(run.Words()[0], lon) || lon < -180 || lon > 180)
        return run.Fail(2, "LON '" + run.Words()[0] + "' is not a longitude in degrees (-180 to 180, as 116.397428)");
    if (!ParseNumber(run.Words()[1], lat) || lat < -90 || lat > 90)
        return run.Fail(2, "LAT '" + run.Words()[1] + "' is not a latitude in degrees (-90 to 90, as 39.90923)");
    return 0;
}

// RADIUS in the engine's units (1e-5 degree), or in metres ("500m") or
// kilometres ("2km"): the degrees a metre spans east-west at the point's
// latitude, so that the search reaches that far in every direction.
int ReadRadius(SearchRun& run, double lat, double& units)
{
    std::string text = run.Words()[2];
    double scale = 0; // metres per unit of the number; 0: engine units
    for (const auto& [suffix, metres] : {std::pair<const char*, double>{"km", 1000.0}, {"m", 1.0}}) {
        const std::size_t n = std::strlen(suffix);
        if (scale == 0 && text.size() > n && text.compare(text.size() - n, n, suffix) == 0) {
            scale = metres;
            text.resize(text.size() - n);
        }
    }
    double value = 0;
    if (!ParseNumber(text, value) || value < 0)
        return run.Fail(2, "RADIUS '" + run.Words()[2] +
                               "' is not a distance: give units of 1e-5 degree (500), metres (500m) or kilometres (2km)");
    const double eastWest = kMetresPerDegree * std::cos(lat * kPi / 180.0);
    units = scale == 0 ? value : value * scale / std::max(eastWest, 1.0) * 100000.0;
    if (units > eNdfQueryAround::kMaxRadius) {
        std::ostringstream most;
        most.precision(3);
        most << eNdfQueryAround::kMaxRadius / 100000.0 * eastWest / 1000.0;
        return run.Fail(2, "RADIUS '" + run.Words()[2] + "' is above the largest the search takes, 10000 units " +
                               "(0.1 degree, about " + most.str() + " km east-west at this latitude)");
    }
    return 0;
}

// The data directory with its grid proved by the manifest and of this
// format (the search itself does not read the magic).
int OpenGrid(SearchRun& run)
{
    if (int status = run.OpenData({kGrid}))
        return status;
    std::ifstream in(run.Dir() + "/" + kGrid, std::ios::binary);
    char head[4] = {};
    in.read(head, sizeof head);
    if (!in || std::memcmp(head, NdfFormat::kAroundMagic, sizeof NdfFormat::kAroundMagic) != 0 ||
        static_cast<unsigned char>(head[3]) != NdfFormat::kAroundVersion)
        return run.Fail(1, run.Dir() + "/" + kGrid + " is not an around grid this poi reads (rebuild with poi build)");
    return 0;
}

// The hits with their distances: the table gets a first column "metres",
// each JSON object a last field "metres".
int PrintWithDistances(SearchRun& run, ePOIEngineManager& engine, double lon, double lat, const std::string& fields,
                       const std::string& heading)
{
    long long offset = 0, limit = 10;
    if (int status = run.Paging(offset, limit))
        return status;
    const int total = engine.GetPOICount(0);
    std::vector<std::string> metres;
    std::vector<HitText> hits;
    ePoiInfo info{};
    std::string unreadable;
    for (long long i = offset; i < total && i < offset + limit; ++i) {
        // The engine copies a name without its zero: clear the record first.
        if (!engine.GetPOIInfo(0, static_cast<int>(i), info = ePoiInfo{})) {
            unreadable = SearchRun::Unreadable(i, total);
            break;
        }
        hits.emplace_back(info);
        metres.push_back(std::to_string(std::lround(Metres(lon, lat, info.dX, info.dY))));
    }
    if (run.Damaged(engine))
        return 1;
    std::ostream& out = run.Out();
    if (run.Json()) {
        out << "{\"count\":" << total << fields << "}\n";
        for (std::size_t i = 0; i < hits.size(); ++i) {
            std::string line = hits[i].Json();
            line.insert(line.size() - 1, ",\"metres\":" + metres[i]);
            out << line << "\n";
        }
    } else {
        out << heading << "hits: " << total;
        if (!hits.empty())
            out << "; showing " << offset + 1 << "-" << offset + static_cast<long long>(hits.size());
        out << "\n";
        std::ostringstream table;
        HitText::PrintTable(table, hits, static_cast<int>(offset) + 1);
        std::size_t width = 6; // "metres"
        for (const std::string& m : metres)
            width = std::max(width, m.size());
        std::istringstream lines(table.str());
        std::string line;
        for (std::size_t row = 0; std::getline(lines, line); ++row) {
            const std::string cell = row == 0 ? "metres" : metres[row - 1];
            out << std::string(width - cell.size(), ' ') << cell << "  " << line << "\n";
        }
    }
    return unreadable.empty() ? 0 : run.Fail(1, unreadable);
}

int RunAround(SearchRun& run)
{
    if (run.Words().size() != 3)
        return run.ExpectWords(3, "LON LAT RADIUS");
    double lon = 0, lat = 0, radius = 0;
    if (int status = ReadPoint(run, lon, lat))
        return status;
    if (int status = ReadRadius(run, lat, radius))
        return status;
    int type = eNdfQueryAround::kAllTypes;
    if (run.Args().Has("--type")) {
        long long code = 0;
        if (!CommandArgs::ParseCount(run.Args().Value("--type"), 2147483647, code))
            return run.Fail(2, "--type takes a category code (a whole number, as 2000; see poi search categories), not '" +
                                   run.Args().Value("--type") + "'");
        type = static_cast<int>(code);
    }
    long long offset = 0, limit = 10;
    if (int status = run.Paging(offset, limit))
        return status;
    if (int status = OpenGrid(run))
        return status;

    ePOIEngineManager engine;
    engine.SetPoiPath(run.Dir().c_str());
    if (!engine.QueryByAround(lon, lat, radius, type)) {
        // The grid was proved above, so the search found nothing.
        if (run.Damaged(engine))
            return 1;
        if (!run.Json())
            run.Out() << "hits: 0\n";
        else
            run.Out() << "{\"count\":0,\"radius\":" << radius << "}\n";
        run.Note("no POI" + std::string(type == eNdfQueryAround::kAllTypes ? "" : " of that type") +
                 " within the radius (a point outside the data finds none)");
        return 0;
    }
    std::ostringstream heading;
    heading << "within " << radius << " units (1e-5 degree) of " << run.Words()[0] << ", " << run.Words()[1]
            << ", nearest first\n";
    std::ostringstream fields;
    fields << ",\"radius\":" << radius;
    return PrintWithDistances(run, engine, lon, lat, fields.str(), heading.str());
}

int RunNearest(SearchRun& run)
{
    if (run.Words().size() != 2)
        return run.ExpectWords(2, "LON LAT");
    double lon = 0, lat = 0;
    if (int status = ReadPoint(run, lon, lat))
        return status;
    long long offset = 0, limit = 10;
    if (int status = run.Paging(offset, limit))
        return status;
    if (int status = OpenGrid(run))
        return status;
    ePOIEngineManager engine;
    engine.SetPoiPath(run.Dir().c_str());
    int maxDistance = 0;
    if (!engine.QueryNearestPOI(lon, lat, maxDistance)) {
        if (run.Damaged(engine))
            return 1;
        return run.Fail(1, "no POI within 8000 units (0.08 degree) of " + run.Words()[0] + ", " + run.Words()[1] +
                               "; try around with a radius up to 10000");
    }
    return PrintWithDistances(run, engine, lon, lat, "", "nearest to " + run.Words()[0] + ", " + run.Words()[1] + "\n");
}

} // namespace

SearchKind AroundSearch()
{
    return {"around",
            "around [--type CODE] LON LAT RADIUS",
            "around: finds the POIs within RADIUS of the point LON LAT (degrees east\n"
            "and north), nearest first, in every data set of DIR. RADIUS is in units of\n"
            "1e-5 degree (the engine's, at most 10000), measured flat in degrees with no\n"
            "correction for latitude; or in metres (500m) or kilometres (2km), turned\n"
            "into units with the length of a degree of longitude at LAT, so that the\n"
            "search reaches that far east and west (and further north and south). Each\n"
            "hit shows its distance in metres along the earth (haversine), beside the\n"
            "engine's order.\n"
            "  --type CODE       only POIs of this category code; 1050, 2000, 3000, 7000,\n"
            "                    9030, 11000 and 12050 take their whole ranges (2000:\n"
            "                    2000-2040, ...); default: every category\n"
            "  JSON summary: {\"count\":N,\"radius\":UNITS}; each hit also \"metres\"\n",
            {"--type"},
            {},
            RunAround};
}

SearchKind NearestSearch()
{
    return {"nearest",
            "nearest LON LAT",
            "nearest: finds the POIs nearest to the point LON LAT: those within 500\n"
            "units (1e-5 degree), else within 2000, else within 8000, nearest first,\n"
            "each with its distance in metres. Fails when none is within 8000 (and,\n"
            "as the grid searches ring by ring, it can miss a POI of a cell searched\n"
            "at a smaller ring; around finds it).\n"
            "  JSON summary: {\"count\":N}; each hit also \"metres\"\n",
            {},
            {},
            RunNearest};
}

} // namespace Kest
