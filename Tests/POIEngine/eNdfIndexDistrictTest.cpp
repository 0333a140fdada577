// The district index on small hand-made trees: the box and boundary quirks,
// the level rule of QueryAdmin, the stored field order, broken records and a
// damaged file. Ordinary lookups are compared with a plain oracle over the
// sample by DistrictDifferentialTest.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "Compiler/DistrictIndexWriter.h"
#include "POIEngine/eNdfIndexDistrict.h"
#include "Support/IndexOpen.h"
#include "Support/NdfFiles.h"

using namespace Kest;
using namespace KestTest;

namespace {

using Part = DistrictIndexWriter::Part;
using Area = DistrictIndexWriter::Area;

Part Box(double x0, double y0, double x1, double y1)
{
    return {{x0, y0}, {x1, y0}, {x1, y1}, {x0, y1}};
}

Area County(std::vector<Part> parts, std::uint32_t code) { return Area{std::move(parts), code, -1}; }
Area Parent(std::vector<Part> parts, int children) { return Area{std::move(parts), 0, children}; }

// A reader over file 101 of a directory, with its header's root and count.
struct Opened {
    explicit Opened(const std::string& dir) { OpenIndex(index, pool, dir, NdfFormat::kDistrictFileId); }
    unsigned int Code(double x, double y)
    {
        unsigned int code = 12345;
        const bool found = index.Query(x, y, code);
        EXPECT_EQ(found, code != 0);
        return found ? code : 0;
    }
    eNdfPool pool;
    eNdfIndexDistrict index;
};

// One province and one city over the whole plane, then the given counties.
std::string WriteCounties(const TempDir& dir, const std::vector<Area>& counties)
{
    DistrictIndexWriter writer;
    writer.AddRange(3, counties);
    writer.AddRange(2, {Parent({Box(-100, -100, 100, 100)}, 0)});
    writer.AddRange(1, {Parent({Box(-100, -100, 100, 100)}, 0)});
    EXPECT_TRUE(writer.Write(NdfFile(dir, NdfFormat::kDistrictFileId))) << writer.GetError();
    return DataDir(dir);
}

// Each row: counties in record order, a point, the code expected (0: none).
TEST(eNdfIndexDistrict, BoxAndBoundaryRules)
{
    const Part triangle = {{0, 0}, {10, 0}, {0, 10}};
    struct Case {
        const char* what;
        std::vector<Area> counties;
        double x, y;
        unsigned int code;
    } cases[] = {
        {"on the box's left edge, on the boundary", {County({Box(0, 0, 10, 10)}, 7)}, 0, 5, 7},
        {"on the box's top edge, on the boundary", {County({Box(0, 0, 10, 10)}, 7)}, 5, 10, 7},
        {"on the box's corner, outside the triangle", {County({triangle}, 7)}, 10, 10, 0},
        {"on the triangle's slanted edge", {County({triangle}, 7)}, 5, 5, 7},
        {"a shared border goes to the first", {County({Box(0, 0, 10, 10)}, 1), County({Box(10, 0, 20, 10)}, 2)},
         10, 5, 1},
        {"on an island of the second part: not the area",
         {County({Box(0, 0, 10, 10), Box(20, 20, 30, 30)}, 1), County({Box(21, 21, 29, 29)}, 2)}, 25, 25, 2},
        {"an island alone finds nothing", {County({Box(0, 0, 10, 10), Box(20, 20, 30, 30)}, 1)}, 25, 25, 0},
        {"in a hole of the second part: the area", {County({Box(0, 0, 10, 10), Box(4, 4, 6, 6)}, 1),
                                                     County({Box(4, 4, 6, 6)}, 2)}, 5, 5, 1},
        {"an empty first part skips the record behind it",
         {County({{}, Box(0, 0, 10, 10)}, 1), County({Box(0, 0, 10, 10)}, 2), County({Box(0, 0, 10, 10)}, 3)}, 5, 5,
         3},
        {"an empty first part as the last record but one",
         {County({{}, Box(0, 0, 10, 10)}, 1), County({Box(0, 0, 10, 10)}, 2)}, 5, 5, 0},
    };
    for (const Case& c : cases) {
        TempDir dir;
        Opened opened(WriteCounties(dir, c.counties));
        EXPECT_EQ(opened.Code(c.x, c.y), c.code) << c.what;
    }
}

// QueryAdmin steps one level: a hit replaces the range and sets the code to
// 0 above the counties; levels outside 1..3 return false and change nothing.
TEST(eNdfIndexDistrict, QueryAdminStepsOneLevel)
{
    TempDir dir;
    Opened opened(WriteCounties(dir, {County({Box(0, 0, 10, 10)}, 21)}));
    ueglobal_addr_t address{};
    std::memcpy(&address, TempDir::Read(NdfFile(dir, NdfFormat::kDistrictFileId)).data(), 8);
    int count = 3;
    unsigned int code = 99;
    ASSERT_TRUE(opened.index.QueryAdmin(5, 5, address, count, code, 1));
    EXPECT_EQ(count, 1);
    EXPECT_EQ(code, 0u);
    ASSERT_TRUE(opened.index.QueryAdmin(5, 5, address, count, code, 2));
    ASSERT_TRUE(opened.index.QueryAdmin(5, 5, address, count, code, 3));
    EXPECT_EQ(code, 21u);
    for (int level : {0, 4, -1}) {
        ueglobal_addr_t before = MakeGlobalAddr(101, 0, 0), after = before;
        int n = 3;
        unsigned int c = 77;
        EXPECT_FALSE(opened.index.QueryAdmin(5, 5, after, n, c, level)) << level;
        EXPECT_TRUE(after == before);
        EXPECT_EQ(n, 3);
        EXPECT_EQ(c, 77u);
    }
}

// County records written by hand, the first spoilt one way; the fields as
// the reader takes them: 1 least x, 2 greatest x, 3 greatest y before 4
// least y, 5 the code.
TEST(eNdfIndexDistrict, MalformedRecordsFail)
{
    DistrictIndexWriter::Encoded e;
    std::string error;
    ASSERT_TRUE(DistrictIndexWriter::Encode({Box(0, 0, 10, 10)}, e, error));
    const double d = 0;
    // Each case: a county record spoiled one way, the code expected.
    struct Case {
        const char* what;
        std::function<void(PageFileWriter::Record&)> spoil;
        unsigned int code;
    } cases[] = {
        {"intact", [](PageFileWriter::Record&) {}, 6},
        {"y bounds swapped: a box without points, the next record answers",
         [&](PageFileWriter::Record& r) { r.Set(3, &e.minY, 8).Set(4, &e.maxY, 8); }, 5},
        {"a short box field", [&](PageFileWriter::Record& r) { r.Set(1, &d, 4); }, 0},
        {"no box field", [&](PageFileWriter::Record& r) { r.Set(3, &d, 0); }, 0},
        {"a code of 2 bytes", [&](PageFileWriter::Record& r) { r.SetShort(5, 5); }, 0},
        {"a flipped region byte: an empty region, the next record skipped",
         [&](PageFileWriter::Record& r) {
             std::vector<unsigned char> blob = e.blob;
             blob.back() ^= 1;
             r.Set(0, blob.data(), blob.size());
         },
         0},
    };
    for (const Case& c : cases) {
        TempDir dir;
        PageFileWriter file(NdfFormat::kDistrictFileId);
        ASSERT_TRUE(file.Open(NdfFile(dir, NdfFormat::kDistrictFileId)));
        PageFileWriter::Record county;
        county.Set(0, e.blob.data(), e.blob.size()).Set(1, &e.minX, 8).Set(2, &e.maxX, 8);
        county.Set(3, &e.maxY, 8).Set(4, &e.minY, 8).SetInt(5, 5);
        PageFileWriter::Record spoilt = county;
        spoilt.SetInt(5, 6);
        c.spoil(spoilt);
        ueglobal_addr_t first{}, city{}, province{};
        ASSERT_TRUE(file.AppendRun({spoilt, county}, first));
        PageFileWriter::Record parent = county;
        parent.SetAddr(6, first).SetInt(7, 2);
        ASSERT_TRUE(file.Append(parent, city));
        parent.SetAddr(6, city).SetInt(7, 1);
        ASSERT_TRUE(file.Append(parent, province));
        file.SetIndexHeader(province, 1);
        ASSERT_TRUE(file.Close());
        Opened opened(DataDir(dir));
        EXPECT_EQ(opened.Code(5, 5), c.code) << c.what;
        // A negative child count is an empty range.
        ueglobal_addr_t address = first;
        int count = -1;
        unsigned int code = 0;
        EXPECT_FALSE(opened.index.QueryAdmin(5, 5, address, count, code, 3)) << c.what;
    }
}

// A square with `n` points on each side, so that regions take some room.
Part Square(double x0, double y0, double size, int n)
{
    Part p;
    for (int side = 0; side < 4; ++side)
        for (int i = 0; i < n; ++i) {
            const double t = size * i / n;
            const double xs[4] = {x0 + t, x0 + size, x0 + size - t, x0};
            const double ys[4] = {y0, y0 + t, y0 + size, y0 + size - t};
            p.push_back({xs[side], ys[side]});
        }
    return p;
}

// A grid of 2 provinces x 2 cities x 4 counties over small pages, damaged:
// truncated, and a byte flipped in the header, the first, a middle and the
// last page. Every lookup answers as on the clean file or fails; none reads
// outside a buffer (the ASan build shows).
TEST(eNdfIndexDistrict, DamagedFileFailsOrAnswersAsBefore)
{
    TempDir cleanDir;
    DistrictIndexWriter writer(NdfFormat::kDistrictFileId, 1024);
    DistrictIndexWriter::Range provinces;
    for (int p = 0; p < 2; ++p) {
        DistrictIndexWriter::Range cities;
        for (int c = 0; c < 2; ++c) {
            DistrictIndexWriter::Range counties;
            for (int k = 0; k < 4; ++k)
                counties.push_back(County({Square(p * 4 + c * 2 + k % 2, k / 2, 1, 40)},
                                          static_cast<std::uint32_t>(1 + p * 8 + c * 4 + k)));
            cities.push_back(Parent({Square(p * 4 + c * 2, 0, 2, 80)}, writer.AddRange(3, counties)));
        }
        provinces.push_back(Parent({Square(p * 4, 0, 4, 160)}, writer.AddRange(2, cities)));
    }
    writer.AddRange(1, provinces);
    ASSERT_TRUE(writer.Write(NdfFile(cleanDir, NdfFormat::kDistrictFileId))) << writer.GetError();
    const std::vector<unsigned char> bytes = TempDir::Read(NdfFile(cleanDir, NdfFormat::kDistrictFileId));
    ASSERT_GT(bytes.size(), 8000u);

    std::mt19937 rng(101);
    std::vector<std::pair<double, double>> points;
    std::vector<unsigned int> want;
    Opened clean(DataDir(cleanDir));
    for (int i = 0; i < 40; ++i) {
        points.emplace_back((rng() % 8500) / 1000.0, (rng() % 2100) / 1000.0);
        want.push_back(clean.Code(points.back().first, points.back().second));
    }
    ASSERT_GT(std::count_if(want.begin(), want.end(), [](unsigned int c) { return c != 0; }), 30);

    std::vector<std::vector<unsigned char>> damaged;
    for (std::size_t cut : {std::size_t{11}, std::size_t{40}, bytes.size() / 2, bytes.size() - 1})
        damaged.emplace_back(bytes.begin(), bytes.begin() + static_cast<long>(cut));
    for (std::size_t at : {std::size_t{0}, std::size_t{3}, std::size_t{6}, std::size_t{8}, std::size_t{20},
                           std::size_t{60}, bytes.size() / 2, bytes.size() - 30, bytes.size() - 1}) {
        damaged.push_back(bytes);
        damaged.back()[at] ^= 0x24;
    }
    for (std::size_t d = 0; d < damaged.size(); ++d) {
        TempDir dir;
        TempDir::Write(NdfFile(dir, NdfFormat::kDistrictFileId), damaged[d]);
        Opened opened(DataDir(dir));
        for (std::size_t i = 0; i < points.size(); ++i) {
            const unsigned int got = opened.Code(points[i].first, points[i].second);
            EXPECT_TRUE(got == want[i] || got == 0) << "damage " << d << " point " << i;
        }
    }
}

} // namespace
