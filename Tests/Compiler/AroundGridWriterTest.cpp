// The around grid, writer against reader: hand-placed POIs for the edges the
// differential test cannot aim at (strict y window, x window ends where no
// probe lands, radius limit, circles below the grid), damaged files, and the
// engine's lifecycle around it.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "Base/NdfFormat.h"
#include "Compiler/AroundGridWriter.h"
#include "Ndf/NdfBytes.h"
#include "POIEngine/ePOIEngineManager.h"
#include "POIEngine/eNdfQueryAround.h"
#include "Support/CompiledSample.h"
#include "Support/TempDir.h"

using namespace Kest;

namespace {

struct Placed {
    std::uint32_t x;
    std::int32_t y;
    int code;
};

std::string Grid(const std::vector<Placed>& pois)
{
    AroundGridWriter writer;
    for (std::size_t i = 0; i < pois.size(); ++i)
        writer.Add(pois[i].x, pois[i].y, pois[i].code, MakeGlobalAddr(1, static_cast<std::uint32_t>(i), 7));
    std::string bytes;
    EXPECT_TRUE(writer.Bytes(bytes));
    return bytes;
}

class AroundGrid : public ::testing::Test {
protected:
    // Writes `bytes` and opens them; false when the reader refuses the file.
    bool Open(const std::string& bytes)
    {
        const std::string path = m_dir.Path("POIAround.ndf");
        KestTest::TempDir::Write(path, std::vector<unsigned char>(bytes.begin(), bytes.end()));
        m_reader = std::make_unique<eNdfQueryAround>();
        return m_reader->InitQueryAround(eString(path.c_str())) != 0;
    }

    // The hits as indexes into the POIs written, in the order given.
    int Around(double x, double y, double radius, int type, std::vector<std::uint32_t>& hits)
    {
        eArray<ueglobal_addr_t> addrs;
        eArray<unsigned int> scores;
        const int n = m_reader->QueryByAround(addrs, scores, x, y, radius, type);
        hits.clear();
        for (int i = 0; i < addrs.GetSize(); ++i)
            hits.push_back(addrs[i].page.nPage);
        return n;
    }

    KestTest::TempDir m_dir;
    std::unique_ptr<eNdfQueryAround> m_reader;
};

// Around (116.0, 39.9): 1e-5 degree is one unit, 1e-6 degree one step.
const std::vector<Placed> kPlaced = {
    {116000000, 39900000, 1050},  // 0: the centre
    {116000950, 39900000, 1055},  // 1: 95 east, last code of the 1050 range
    {116001500, 39900000, 1056},  // 2: 150 east, outside the range
    {116000000, 39901000, 2040},  // 3: 100 north, on the strict y edge at radius 100
    {116090000, 39900000, 1051},  // 4: 9000 east
    {116100000, 39980000, 7000},  // 5: the far corner
    {115900000, 39800000, 9999},  // 6: the near corner, the grid's minimum
};

TEST_F(AroundGrid, AroundAnswersAsPlaced)
{
    ASSERT_TRUE(Open(Grid(kPlaced)));
    struct Case {
        const char* what;
        double x, y, radius;
        int type;
        int count;
        std::vector<std::uint32_t> hits; // nearest first
    };
    const std::vector<Case> cases = {
        {"the y window is strict: 100 north is out at radius 100", 116.0, 39.9, 100.9, 65536, 2, {0, 1}},
        {"and in at radius 101", 116.0, 39.9, 101, 65536, 3, {0, 1, 3}},
        {"range 1050 takes 1050 to 1055", 116.0, 39.9, 200, 1050, 2, {0, 1}},
        {"radius 10000.0 is accepted", 116.0, 39.9, 10000.0, 65536, 5, {0, 1, 3, 2, 4}},
        {"radius 10000.5 is refused", 116.0, 39.9, 10000.5, 65536, -1, {}},
        {"a negative radius makes an empty rectangle", 116.05, 39.95, -5, 65536, -1, {}},
        {"not a number", std::nan(""), 39.9, 100, 65536, -1, {}},
        // Below the grid the minimum y goes to x0: the walk starts far to the
        // side and four of its rows wrap onto the near corner's cell.
        {"a circle reaching below the grid", 115.9, 39.7995, 1000, 65536, 4, {6, 6, 6, 6}},
    };
    for (const Case& c : cases) {
        std::vector<std::uint32_t> hits;
        EXPECT_EQ(Around(c.x, c.y, c.radius, c.type, hits), c.count) << c.what;
        EXPECT_EQ(hits, c.hits) << c.what;
    }
    // At most 800 columns and rows however the box is shaped.
    const auto g = AroundGridWriter::ChooseGeometry(0, 0, 180000000, 90000000);
    EXPECT_LE(static_cast<long long>((g.maxX - g.minX) / g.cellWidth), 799);
    EXPECT_LT(g.Cell(180000000, 90000000), 640000);
}

TEST_F(AroundGrid, WindowEndsNoProbeReachedAreStrict)
{
    // Two POIs in a cell: the binary search has nothing to probe and takes
    // the records only strictly inside the x window, so one exactly a radius
    // east is left out, while one a step inside is found.
    const Placed corners[] = {{115900000, 39800000, 1}, {116100000, 39980000, 1}};
    ASSERT_TRUE(Open(Grid({{116000000, 39900000, 1}, {116001000, 39900000, 1}, corners[0], corners[1]})));
    std::vector<std::uint32_t> hits;
    EXPECT_EQ(Around(116.0, 39.9, 100, 65536, hits), 1);
    EXPECT_EQ(Around(116.0000015, 39.9, 100, 65536, hits), 2);
    // In a cell of many records the probe lands inside and the run is taken
    // with the x window inclusive.
    std::vector<Placed> row(std::begin(corners), std::end(corners));
    for (std::uint32_t i = 0; i < 9; ++i)
        row.push_back({116000100u + i * 10, 39900000, 1});
    ASSERT_TRUE(Open(Grid(row)));
    EXPECT_EQ(Around(116.0001405, 39.9, 4, 65536, hits), 9);
    EXPECT_EQ(Around(116.0001405, 39.9, 3, 65536, hits), 7);
}

TEST_F(AroundGrid, DamagedFilesGiveNoHitsAndNoStrayReads)
{
    const std::string good = Grid(kPlaced);
    const auto* head = reinterpret_cast<const unsigned char*>(good.data());
    const std::uint32_t directory = NdfBytes::Get32(head + 4), records = NdfBytes::Get32(head + 8);
    // The file with the bytes of `value` (host order, as the reader takes them) at `at`.
    auto with = [&](std::size_t at, auto value) {
        std::string bytes = good;
        std::memcpy(&bytes[at], &value, sizeof value);
        return bytes;
    };
    // The directory entry of the centre's cell, which holds POIs 0, 1 and 2.
    const auto geometry = AroundGridWriter::ChooseGeometry(115900000, 39800000, 116100000, 39980000);
    const std::size_t centre = directory + static_cast<std::size_t>(geometry.Cell(116000000, 39900000)) * 8;
    const struct {
        const char* what;
        std::string bytes;
        bool opens;
        int centreHits; // QueryByAround at POI 0, radius 100; -2: anything
    } cases[] = {
        {"empty file", "", false, 0},
        {"short header", good.substr(0, 63), false, 0},
        {"cut in the directory", good.substr(0, directory + 16), false, 0},
        {"last record cut short", good.substr(0, good.size() - 1), true, 2},
        {"zero cell width", with(48, 0.0), false, 0},
        {"not-a-number cell height", with(56, std::nan("")), false, 0},
        {"infinite minimum x", with(16, double(INFINITY)), false, 0},
        {"maximum below minimum", with(32, 10.0), false, 0},
        {"cells far too small", with(48, 1e-300), false, 0},
        {"directory inside the header", with(4, 8u), false, 0},
        {"record area past the end", with(8, static_cast<std::uint32_t>(good.size() + 1)), false, 0},
        {"count past the end", with(centre, 0x7FFFFFFFu), true, 0},
        {"count negative", with(centre, 0x80000000u), true, 0},
        {"offset past the end", with(centre + 4, 0xFFFFFFF0u), true, 0},
        {"records moved to the directory's last bytes", with(8, records - 8), true, -2},
    };
    std::vector<std::uint32_t> hits;
    int maxDistance = 0;
    eArray<ueglobal_addr_t> addrs;
    for (const auto& c : cases) {
        ASSERT_EQ(Open(c.bytes), c.opens) << c.what;
        const int n = Around(116.0, 39.9, 100, 65536, hits);
        EXPECT_TRUE(n == (c.opens ? c.centreHits : -1) || c.centreHits == -2) << c.what;
        EXPECT_FALSE(m_reader->QueryNearestPOI(addrs, maxDistance, 116.0, 39.9) && !c.opens) << c.what;
        Around(116.1, 39.98, 10000, 65536, hits);
    }
}

// The engine over the compiled sample: the around kind across
// ReleaseQueryMem and other searches, and a grid that appears after a failed
// open.
TEST(AroundEngine, LifecycleAcrossReleaseAndOtherSearches)
{
    const std::string root = KestTest::CompiledSample::Get().Root();
    const double x = 116.397428, y = 39.90923;
    ePOIEngineManager engine;
    engine.SetPoiPath(root.c_str());
    ASSERT_EQ(engine.QueryByAround(x, y, 1000, 65536), 1);
    const std::vector<std::string> first = KestTest::HitNames(engine);
    engine.ReleaseQueryMem();
    char* letters = nullptr;
    int letterCount = 0, maxDistance = 0;
    ASSERT_TRUE(engine.QueryByInitial(3, 10, "*", "*", "B", letters, letterCount));
    ASSERT_EQ(engine.QueryByAround(x, y, 1000, 65536), 1);
    EXPECT_EQ(KestTest::HitNames(engine), first);
    engine.ReleaseQueryMem();
    engine.ReleaseQueryMem();
    ASSERT_EQ(engine.QueryNearestPOI(x, y, maxDistance), 1);

    // Without the grid the search fails, and tries again next time.
    KestTest::TempDir dir;
    std::filesystem::copy(root, dir.Path("data"), std::filesystem::copy_options::recursive);
    const std::string grid = dir.Path("data") + "/POI/" + NdfFormat::kAroundFileName;
    std::filesystem::rename(grid, grid + ".away");
    ePOIEngineManager other;
    other.SetPoiPath(dir.Path("data").c_str());
    EXPECT_EQ(other.QueryByAround(x, y, 1000, 65536), 0);
    EXPECT_EQ(other.QueryNearestPOI(x, y, maxDistance), 0);
    std::filesystem::rename(grid + ".away", grid);
    EXPECT_EQ(other.QueryByAround(x, y, 1000, 65536), 1);
    EXPECT_EQ(KestTest::HitNames(other), first);
}

} // namespace
