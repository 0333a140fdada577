// The around and nearest searches on the bundled sample against a plain
// oracle: the sample is compiled with the real data compiler, and random
// points (near POIs, anywhere in the data, near and beyond the edges of the
// grid, below it) with random radii and types must give, through the engine,
// the POIs that straight loops over the rows of pois.csv give: the same
// window (x inclusive, y strict), distance truncation, category ranges and
// cell rectangle, the same -1/0 outcomes, nearest first.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "Base/NdfFormat.h"
#include "Base/ePoiInfo.h"
#include "Compiler/SourceFileReader.h"
#include "POIEngine/ePOIEngineManager.h"
#include "POIEngine/eNdfQueryAround.h"
#include "Support/CompiledSample.h"

using namespace Kest;

namespace {

struct Row {
    std::string name; // UTF-8; only compared with itself
    std::uint32_t x = 0;
    std::int32_t y = 0;
    int code = 0;
};

// What GetPOIInfo shows of a row: name, coordinates as read, code.
using Shown = std::tuple<std::string, double, double, int>;

struct Grid {
    double minX, minY, maxX, maxY, width, height;
};

struct Rect {
    long long c0, c1, r0, r1;
};

const int kRangeTypes[] = {1050, 2000, 3000, 7000, 9030, 11000, 12050};

bool Accepts(int type, int code)
{
    const std::map<int, int> ranges = {{1050, 1055}, {2000, 2040}, {3000, 3090}, {7000, 7038},
                                       {9030, 9050}, {11000, 11051}, {12050, 12060}};
    if (type == 65536)
        return true;
    const auto it = ranges.find(type);
    return it != ranges.end() ? code >= type && code <= it->second : code == type;
}

class AroundDifferential : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        const auto& sample = KestTest::CompiledSample::Get();
        s_root = sample.Root();
        for (const auto& row : sample.Rows()) {
            std::int64_t x = 0, y = 0;
            ASSERT_TRUE(SourceFileReader::ParseDegrees(row.fields[1], x) && SourceFileReader::ParseDegrees(row.fields[2], y));
            s_rows.push_back({row.fields[0], static_cast<std::uint32_t>(x), static_cast<std::int32_t>(y),
                              std::stoi(row.fields[3])});
        }
        ASSERT_EQ(s_rows.size(), 50000u);
        // By x, so that the oracle can start at the window's left end.
        std::sort(s_rows.begin(), s_rows.end(), [](const Row& a, const Row& b) { return a.x < b.x; });
        s_lowest = s_rows;
        std::partial_sort(s_lowest.begin(), s_lowest.begin() + 50, s_lowest.end(),
                          [](const Row& a, const Row& b) { return a.y < b.y; });
        s_lowest.resize(50);
        // The grid the file says it has.
        std::ifstream grid(s_root + "/POI/" + NdfFormat::kAroundFileName, std::ios::binary);
        double header[6];
        grid.seekg(16);
        grid.read(reinterpret_cast<char*>(header), sizeof header);
        ASSERT_TRUE(grid.good());
        s_grid = {header[0], header[1], header[2], header[3], header[4], header[5]};
    }

    static int Distance(const Row& row, double x, double y)
    {
        return static_cast<int>(std::hypot(row.y * 1e-6 - y, row.x * 1e-6 - x) * 100000.0);
    }

    static int CellOf(const Row& row)
    {
        const auto column = static_cast<long long>((row.x * 1e-6 - s_grid.minX) / s_grid.width);
        const auto line = static_cast<long long>((row.y * 1e-6 - s_grid.minY) / s_grid.height);
        return static_cast<int>(line * 800 + column);
    }

    // The cell rectangle: -1 outside, 0 no rows, 1 set. Below the grid the
    // minimum y goes to x0, as the grid does it.
    static int RectOf(double x, double y, double radius, Rect& rect)
    {
        const double r = radius * 1e-5;
        double x0 = x - r, y0 = y - r, x1 = x + r, y1 = y + r;
        if (x0 > s_grid.maxX || y0 > s_grid.maxY || x1 < s_grid.minX || y1 < s_grid.minY)
            return -1;
        x0 = std::max(x0, s_grid.minX);
        if (y0 < s_grid.minY)
            x0 = s_grid.minY;
        x1 = std::min(x1, s_grid.maxX);
        y1 = std::min(y1, s_grid.maxY);
        rect = {static_cast<long long>((x0 - s_grid.minX) / s_grid.width),
                static_cast<long long>((x1 - s_grid.minX) / s_grid.width),
                static_cast<long long>((y0 - s_grid.minY) / s_grid.height),
                static_cast<long long>((y1 - s_grid.minY) / s_grid.height)};
        return rect.r1 < rect.r0 ? 0 : 1;
    }

    static bool InWindow(const Row& row, double x, double y, double radius, int type)
    {
        const auto X = static_cast<long long>(x * 1e6);
        const auto Y = static_cast<long long>(y * 1e6);
        const long long s = static_cast<long long>(radius) * 10;
        return row.x >= X - s && row.x <= X + s && row.y > Y - s && row.y < Y + s && Accepts(type, row.code) &&
               Distance(row, x, y) <= static_cast<int>(radius);
    }

    // The rows are sorted by x: the first that can lie in the x window, and
    // the window's right end.
    static std::size_t First(double x, double radius)
    {
        const long long left = static_cast<long long>(x * 1e6) - static_cast<long long>(radius) * 10;
        return static_cast<std::size_t>(
            std::lower_bound(s_rows.begin(), s_rows.end(), left,
                             [](const Row& r, long long v) { return static_cast<long long>(r.x) < v; }) -
            s_rows.begin());
    }
    static long long Right(double x, double radius)
    {
        return static_cast<long long>(x * 1e6) + static_cast<long long>(radius) * 10;
    }

    // The around search: -1, or the hits (index into s_rows) in any order.
    static int Around(double x, double y, double radius, int type, std::vector<std::size_t>& hits)
    {
        hits.clear();
        Rect rect;
        if (radius > 10000.0 || RectOf(x, y, radius, rect) < 1 || rect.c1 < rect.c0)
            return -1;
        for (std::size_t i = First(x, radius); i < s_rows.size() && s_rows[i].x <= Right(x, radius); ++i) {
            if (!InWindow(s_rows[i], x, y, radius, type))
                continue;
            const long long cell = CellOf(s_rows[i]);
            for (long long line = rect.r0; line <= rect.r1; ++line) // a row of the walk that passes the cell
                if (cell >= line * 800 + rect.c0 && cell <= line * 800 + rect.c1)
                    hits.push_back(i);
        }
        return static_cast<int>(hits.size());
    }

    // The nearest search: false, or the hits of the first radius with any.
    static bool Nearest(double x, double y, std::vector<std::size_t>& hits)
    {
        hits.clear();
        std::set<long long> searched;
        for (double radius : {500.0, 2000.0, 8000.0}) {
            Rect rect;
            std::multiset<long long> fresh;
            if (RectOf(x, y, radius, rect) == 1) {
                for (long long line = rect.r0; line <= rect.r1; ++line) {
                    const long long first = line * 800 + rect.c0;
                    if (first < 0 || first > 639999)
                        break;
                    for (long long cell = first; cell <= line * 800 + rect.c1 && cell <= 639999; ++cell)
                        if (searched.count(cell) == 0)
                            fresh.insert(cell);
                }
            }
            searched.insert(fresh.begin(), fresh.end());
            for (std::size_t i = First(x, radius); i < s_rows.size() && s_rows[i].x <= Right(x, radius); ++i)
                if (InWindow(s_rows[i], x, y, radius, 65536))
                    hits.insert(hits.end(), fresh.count(CellOf(s_rows[i])), i);
            if (!hits.empty())
                return true;
        }
        return false;
    }

    static std::string s_root;
    static std::vector<Row> s_rows;
    static std::vector<Row> s_lowest;
    static Grid s_grid;
};

std::string AroundDifferential::s_root;
std::vector<Row> AroundDifferential::s_rows;
std::vector<Row> AroundDifferential::s_lowest;
Grid AroundDifferential::s_grid;

// The engine's hits as shown, checked against the oracle's rows: the same
// multiset, nearest first, nothing past the last.
void ExpectHits(ePOIEngineManager& engine, const std::vector<std::size_t>& want, const std::vector<Row>& rows,
                double x, double y, const std::string& context)
{
    std::map<Shown, int> distance;
    std::multiset<Shown> wanted, got;
    for (std::size_t i : want) {
        const Row& r = rows[i];
        const Shown key(GbkCodec::Gbk(r.name), PoiCoordinateFromMicroDegrees(r.x),
                        PoiCoordinateFromMicroDegrees(static_cast<std::uint32_t>(r.y)), r.code);
        distance[key] = static_cast<int>(std::hypot(r.y * 1e-6 - y, r.x * 1e-6 - x) * 100000.0);
        wanted.insert(key);
    }
    ASSERT_EQ(engine.GetPOICount(0), static_cast<int>(want.size())) << context;
    int last = -1;
    for (int i = 0; i <= static_cast<int>(want.size()); ++i) {
        ePoiInfo info{};
        ASSERT_EQ(engine.GetPOIInfo(0, i, info) != 0, i < static_cast<int>(want.size())) << context << " hit " << i;
        if (i == static_cast<int>(want.size()))
            break;
        const Shown key(std::string(info.szName, strnlen(info.szName, sizeof info.szName)), info.dX, info.dY,
                        static_cast<int>(info.nCode));
        got.insert(key);
        ASSERT_TRUE(distance.count(key)) << context << " hit " << i << " is no oracle hit";
        EXPECT_GE(distance[key], last) << context << " hit " << i << " out of order";
        last = distance[key];
    }
    EXPECT_TRUE(got == wanted) << context;
}

TEST_F(AroundDifferential, RandomPointsMatchTheOracle)
{
    ePOIEngineManager engine;
    engine.SetPoiPath(s_root.c_str());
    eNdfQueryAround reader;
    ASSERT_TRUE(reader.InitQueryAround(eString((s_root + "/POI/" + NdfFormat::kAroundFileName).c_str())));
    std::mt19937 rng(20261125);
    auto uniform = [&](double a, double b) { return std::uniform_real_distribution<double>(a, b)(rng); };

    int refused = 0, empty = 0, withHits = 0, below = 0, repeated = 0;
    for (int q = 0; q < 1000; ++q) {
        double radius = std::exp(uniform(0.0, std::log(10000.0)));
        const int shape = static_cast<int>(rng() % 20);
        if (shape == 0)
            radius = 10000.0;
        else if (shape == 1)
            radius = 10000.0 + uniform(0.1, 10000.0);
        else if (shape < 10)
            radius = std::floor(radius);
        const double reach = std::min(radius, 10000.0) * 1.2e-5;
        double x = 0, y = 0;
        const int where = static_cast<int>(rng() % 10);
        const Row& near = s_rows[rng() % s_rows.size()];
        if (where < 6) { // around a POI
            x = near.x * 1e-6 + uniform(-reach, reach);
            y = near.y * 1e-6 + uniform(-reach, reach);
        } else if (where == 6) { // anywhere in the grid's box
            x = uniform(s_grid.minX, s_grid.maxX);
            y = uniform(s_grid.minY, s_grid.maxY);
        } else if (where == 7) { // across the left, right or upper edge
            const double edge[] = {s_grid.minX, s_grid.maxX};
            const bool top = rng() % 3 == 0;
            x = top ? near.x * 1e-6 : edge[rng() % 2] + uniform(-reach, reach);
            y = top ? s_grid.maxY + uniform(-reach, reach) : near.y * 1e-6;
        } else if (where == 8) { // near the lowest POIs, the circle reaching below the grid
            const Row& low = s_lowest[rng() % s_lowest.size()];
            x = low.x * 1e-6 + uniform(-reach, reach);
            y = s_grid.minY + uniform(-reach, reach / 2);
        } else { // far outside
            x = uniform(-10.0, 200.0);
            y = uniform(-10.0, 100.0);
        }
        const int kind = static_cast<int>(rng() % 10);
        int type = kind < 5 ? 65536 : kind < 8 ? kRangeTypes[rng() % 7] : s_rows[rng() % s_rows.size()].code;
        const std::string context = "query " + std::to_string(q) + " at " + std::to_string(x) + "," +
                                    std::to_string(y) + " r " + std::to_string(radius) + " type " +
                                    std::to_string(type);

        std::vector<std::size_t> want;
        const int outcome = Around(x, y, radius, type, want);
        eArray<ueglobal_addr_t> addrs;
        eArray<unsigned int> scores;
        ASSERT_EQ(reader.QueryByAround(addrs, scores, x, y, radius, type), outcome) << context;
        ASSERT_EQ(engine.QueryByAround(x, y, radius, type), outcome > 0 ? 1 : 0) << context;
        if (outcome > 0)
            ExpectHits(engine, want, s_rows, x, y, context);
        refused += outcome < 0;
        empty += outcome == 0;
        withHits += outcome > 0;
        below += y - radius * 1e-5 < s_grid.minY && outcome > 0;
        repeated += std::set<std::size_t>(want.begin(), want.end()).size() < want.size();

        // The nearest search from the same point, one query in three.
        if (q % 3 == 0) {
            const bool found = Nearest(x, y, want);
            int maxDistance = 0;
            ASSERT_EQ(engine.QueryNearestPOI(x, y, maxDistance), found ? 1 : 0) << "nearest " << context;
            if (found) {
                EXPECT_EQ(maxDistance, 10000);
                ExpectHits(engine, want, s_rows, x, y, "nearest " + context);
            }
        }
    }
    // The queries reached every outcome, including circles below the grid
    // whose walk passes cells twice.
    EXPECT_GT(refused, 100);
    EXPECT_GT(empty, 100);
    EXPECT_GT(withHits, 300);
    EXPECT_GT(below, 5);
    EXPECT_GT(repeated, 0);
}

} // namespace
