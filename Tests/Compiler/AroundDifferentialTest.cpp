// The around and nearest searches on the bundled sample against a plain
// oracle: random points (near POIs, anywhere in the data, near and beyond the
// edges of the grid, below it) with random radii and types must give, through
// the engine, the POIs that straight loops over the rows of pois.csv give: the
// same window (x inclusive, y strict), distance truncation, category ranges
// and cell rectangle, the same -1/0 outcomes, nearest first.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "Base/NdfFormat.h"
#include "Base/ePoiInfo.h"
#include "Compiler/SourceFileReader.h"
#include "POIEngine/eNdfQueryAround.h"
#include "Support/Differential.h"

using namespace Kest;
using namespace KestTest;

namespace {

struct Row {
    std::string name; // GBK
    std::uint32_t x = 0;
    std::int32_t y = 0;
    int code = 0;
};

struct Rect {
    long long c0, c1, r0, r1;
};

bool Accepts(int type, int code)
{
    static const std::map<int, int> ranges = {{1050, 1055}, {2000, 2040}, {3000, 3090}, {7000, 7038},
                                              {9030, 9050}, {11000, 11051}, {12050, 12060}};
    const auto it = ranges.find(type);
    return type == 65536 || (it != ranges.end() ? code >= type && code <= it->second : code == type);
}

int Distance(const Row& row, double x, double y)
{
    return static_cast<int>(std::hypot(row.y * 1e-6 - y, row.x * 1e-6 - x) * 100000.0);
}

struct Oracle {
    Oracle()
    {
        for (const auto& row : CompiledSample::Get().Rows()) {
            std::int64_t x = 0, y = 0;
            EXPECT_TRUE(SourceFileReader::ParseDegrees(row.fields[1], x) &&
                        SourceFileReader::ParseDegrees(row.fields[2], y));
            rows.push_back({row.name, static_cast<std::uint32_t>(x), static_cast<std::int32_t>(y),
                            std::stoi(row.fields[3])});
        }
        // By x, so that the loops can start at the window's left end.
        std::sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) { return a.x < b.x; });
        lowest = rows;
        std::partial_sort(lowest.begin(), lowest.begin() + 50, lowest.end(),
                          [](const Row& a, const Row& b) { return a.y < b.y; });
        lowest.resize(50);
        // The grid the file says it has: min x, min y, max x, max y, cell width, cell height.
        std::ifstream file(CompiledSample::Get().Root() + "/POI/" + NdfFormat::kAroundFileName, std::ios::binary);
        double h[6];
        file.seekg(16);
        file.read(reinterpret_cast<char*>(h), sizeof h);
        EXPECT_TRUE(file.good());
        std::tie(minX, minY, maxX, maxY, width, height) = std::tie(h[0], h[1], h[2], h[3], h[4], h[5]);
    }

    // The around search: -1, or the hits (index into rows) in any order.
    int Around(double x, double y, double radius, int type, std::vector<std::size_t>& hits) const
    {
        hits.clear();
        Rect rect{};
        if (radius > 10000.0 || RectOf(x, y, radius, rect) < 1 || rect.c1 < rect.c0)
            return -1;
        for (std::size_t i : Window(x, y, radius, type))
            for (long long line = rect.r0; line <= rect.r1; ++line) // a row of the walk that passes the cell
                if (CellOf(rows[i]) >= line * 800 + rect.c0 && CellOf(rows[i]) <= line * 800 + rect.c1)
                    hits.push_back(i);
        return static_cast<int>(hits.size());
    }

    // The nearest search: false, or the hits of the first radius with any.
    bool Nearest(double x, double y, std::vector<std::size_t>& hits) const
    {
        hits.clear();
        std::set<long long> searched;
        for (double radius : {500.0, 2000.0, 8000.0}) {
            Rect rect{};
            std::multiset<long long> fresh;
            const bool some = RectOf(x, y, radius, rect) == 1;
            for (long long line = rect.r0; some && line <= rect.r1; ++line) {
                const long long first = line * 800 + rect.c0;
                if (first < 0 || first > 639999)
                    break;
                for (long long cell = first; cell <= line * 800 + rect.c1 && cell <= 639999; ++cell)
                    if (searched.count(cell) == 0)
                        fresh.insert(cell);
            }
            searched.insert(fresh.begin(), fresh.end());
            for (std::size_t i : Window(x, y, radius, 65536))
                hits.insert(hits.end(), fresh.count(CellOf(rows[i])), i);
            if (!hits.empty())
                return true;
        }
        return false;
    }

    std::vector<Row> rows, lowest;
    double minX, minY, maxX, maxY, width, height;

    long long CellOf(const Row& row) const
    {
        return static_cast<long long>((row.y * 1e-6 - minY) / height) * 800 +
               static_cast<long long>((row.x * 1e-6 - minX) / width);
    }

    // The cell rectangle: -1 outside, 0 no rows, 1 set. Below the grid the
    // minimum y goes to x0, as the grid does it.
    int RectOf(double x, double y, double radius, Rect& rect) const
    {
        const double r = radius * 1e-5;
        if (x - r > maxX || y - r > maxY || x + r < minX || y + r < minY)
            return -1;
        const double x0 = y - r < minY ? minY : std::max(x - r, minX);
        rect = {static_cast<long long>((x0 - minX) / width),
                static_cast<long long>((std::min(x + r, maxX) - minX) / width),
                static_cast<long long>((y - r - minY) / height),
                static_cast<long long>((std::min(y + r, maxY) - minY) / height)};
        return rect.r1 < rect.r0 ? 0 : 1;
    }

    // The rows in the window (x inclusive, y strict) within the distance.
    std::vector<std::size_t> Window(double x, double y, double radius, int type) const
    {
        const auto X = static_cast<long long>(x * 1e6), Y = static_cast<long long>(y * 1e6);
        const long long s = static_cast<long long>(radius) * 10;
        std::vector<std::size_t> in;
        const auto from = std::lower_bound(rows.begin(), rows.end(), X - s, [](const Row& r, long long v) {
            return static_cast<long long>(r.x) < v;
        });
        for (auto i = static_cast<std::size_t>(from - rows.begin()); i < rows.size() && rows[i].x <= X + s; ++i)
            if (rows[i].y > Y - s && rows[i].y < Y + s && Accepts(type, rows[i].code) &&
                Distance(rows[i], x, y) <= static_cast<int>(radius))
                in.push_back(i);
        return in;
    }
};

// What GetPOIInfo shows of a row: name, coordinates as read, code.
using Shown = std::tuple<std::string, double, double, int>;

// The engine's hits as shown against the oracle's rows: the same multiset,
// nearest first, nothing past the last.
void ExpectHits(ePOIEngineManager& engine, const Oracle& oracle, const std::vector<std::size_t>& want, double x,
                double y)
{
    std::map<Shown, int> distance;
    std::multiset<Shown> wanted;
    for (std::size_t i : want) {
        const Row& r = oracle.rows[i];
        const Shown key(r.name, PoiCoordinateFromMicroDegrees(r.x),
                        PoiCoordinateFromMicroDegrees(static_cast<std::uint32_t>(r.y)), r.code);
        distance[key] = Distance(r, x, y);
        wanted.insert(key);
    }
    ASSERT_EQ(engine.GetPOICount(0), static_cast<int>(want.size()));
    std::vector<Shown> got;
    for (const ePoiInfo& info : HitInfos(engine, static_cast<int>(want.size()) + 1))
        got.emplace_back(NameOf(info), info.dX, info.dY, static_cast<int>(info.nCode));
    ASSERT_EQ(std::multiset<Shown>(got.begin(), got.end()), wanted);
    EXPECT_TRUE(std::is_sorted(got.begin(), got.end(), [&](const Shown& a, const Shown& b) {
        return distance.at(a) < distance.at(b);
    })) << "not nearest first";
}

TEST(AroundDifferential, RandomPointsMatchTheOracle)
{
    const Oracle oracle;
    ASSERT_EQ(oracle.rows.size(), 50000u);
    const std::string root = CompiledSample::Get().Root();
    ePOIEngineManager engine;
    engine.SetPoiPath(root.c_str());
    eNdfQueryAround reader;
    ASSERT_TRUE(reader.InitQueryAround(eString((root + "/POI/" + NdfFormat::kAroundFileName).c_str())));
    const int kRangeTypes[] = {1050, 2000, 3000, 7000, 9030, 11000, 12050};

    // Every outcome, including circles below the grid whose walk passes cells twice.
    const Tally floors = {{"refused", 100}, {"empty", 100}, {"with hits", 300}, {"below", 5}, {"repeated", 0}};
    RunQueries(1000, 20261125, floors, [&](Draw& draw, Tally& tally, int q) {
        // Radii spread over the scale, half of them whole, some at or past the largest.
        const double drawn = std::exp(draw.Uniform(0.0, std::log(10000.0)));
        const unsigned shape = draw.Below(20);
        const double radius = shape == 0   ? 10000.0
                              : shape == 1 ? 10000.0 + draw.Uniform(0.1, 10000.0)
                              : shape < 10 ? std::floor(drawn)
                                           : drawn;
        const double reach = std::min(radius, 10000.0) * 1.2e-5;
        double x = 0, y = 0;
        const unsigned where = draw.Below(10);
        const Row& near = draw.Pick(oracle.rows);
        if (where < 6) { // around a POI
            x = near.x * 1e-6 + draw.Uniform(-reach, reach);
            y = near.y * 1e-6 + draw.Uniform(-reach, reach);
        } else if (where == 6) { // anywhere in the grid's box
            x = draw.Uniform(oracle.minX, oracle.maxX);
            y = draw.Uniform(oracle.minY, oracle.maxY);
        } else if (where == 7) { // across the left, right or upper edge
            const bool top = draw.OneIn(3);
            x = top ? near.x * 1e-6 : (draw.OneIn(2) ? oracle.minX : oracle.maxX) + draw.Uniform(-reach, reach);
            y = top ? oracle.maxY + draw.Uniform(-reach, reach) : near.y * 1e-6;
        } else if (where == 8) { // near the lowest POIs, the circle reaching below the grid
            x = draw.Pick(oracle.lowest).x * 1e-6 + draw.Uniform(-reach, reach);
            y = oracle.minY + draw.Uniform(-reach, reach / 2);
        } else { // far outside
            x = draw.Uniform(-10.0, 200.0);
            y = draw.Uniform(-10.0, 100.0);
        }
        const unsigned kind = draw.Below(10);
        int type = kind < 5 ? 65536 : kind < 8 ? draw.Pick(kRangeTypes) : draw.Pick(oracle.rows).code;
        SCOPED_TRACE(testing::Message() << "at " << x << "," << y << " r " << radius << " type " << type);

        std::vector<std::size_t> want;
        const int outcome = oracle.Around(x, y, radius, type, want);
        eArray<ueglobal_addr_t> addrs;
        eArray<unsigned int> scores;
        ASSERT_EQ(reader.QueryByAround(addrs, scores, x, y, radius, type), outcome);
        ASSERT_EQ(engine.QueryByAround(x, y, radius, type), outcome > 0 ? 1 : 0);
        if (outcome > 0)
            ExpectHits(engine, oracle, want, x, y);
        tally[outcome < 0 ? "refused" : outcome == 0 ? "empty" : "with hits"] += 1;
        tally["below"] += y - radius * 1e-5 < oracle.minY && outcome > 0;
        tally["repeated"] += std::set<std::size_t>(want.begin(), want.end()).size() < want.size();

        // The nearest search from the same point, one query in three.
        if (q % 3 != 0)
            return;
        int maxDistance = 0;
        const bool found = oracle.Nearest(x, y, want);
        ASSERT_EQ(engine.QueryNearestPOI(x, y, maxDistance), found ? 1 : 0) << "nearest";
        if (found) {
            EXPECT_EQ(maxDistance, 10000);
            SCOPED_TRACE("nearest");
            ExpectHits(engine, oracle, want, x, y);
        }
    });
}

} // namespace
