// "POIAround.ndf": eNdfQueryAround on arbitrary file contents must refuse the
// file or answer every query with -1, 0 or hits it can account for, and read
// nothing outside its buffers.
//
// The first input byte picks the mode: even writes the rest as the file; odd
// reads the rest as POIs (10 bytes each: u16 east and u16 north offsets in
// millionths of a degree from 116, 39.9, u16 code, u32 address) and writes
// them with the real grid writer, so that searches on sound grids of any
// shape get explored too. The queries are placed by the header's own bounds:
// the centre, the corners, below and beside the grid.
#include <cmath>

#include "Compiler/AroundGridWriter.h"
#include "FuzzSupport.h"
#include "Ndf/NdfBytes.h"
#include "POIEngine/eNdfQueryAround.h"

using namespace Kest;

namespace {

double HeaderDouble(const std::string& file, std::size_t at)
{
    if (file.size() < at + 8)
        return 0.0;
    const std::uint64_t bits = NdfBytes::Get64(reinterpret_cast<const unsigned char*>(file.data()) + at);
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return std::isfinite(value) && std::fabs(value) < 1000 ? value : 0.0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 1 || size > (1u << 20))
        return 0;
    std::string file;
    if (data[0] & 1) {
        AroundGridWriter writer;
        for (std::size_t at = 1; at + 10 <= size; at += 10) {
            const unsigned char* p = data + at;
            writer.Add(116000000u + NdfBytes::Get16(p), 39900000 + NdfBytes::Get16(p + 2), NdfBytes::Get16(p + 4),
                       MakeGlobalAddr(1, NdfBytes::Get32(p + 6), 0));
        }
        if (!writer.Bytes(file))
            return 0;
    } else {
        file.assign(reinterpret_cast<const char*>(data + 1), size - 1);
    }
    const std::string path = KestFuzz::WriteFile("POIAround.ndf", file.data(), file.size());

    eNdfQueryAround grid;
    const bool open = grid.InitQueryAround(eString(path.c_str())) != 0;
    const double x0 = HeaderDouble(file, 16), y0 = HeaderDouble(file, 24);
    const double x1 = HeaderDouble(file, 32), y1 = HeaderDouble(file, 40);
    const double points[][2] = {{(x0 + x1) / 2, (y0 + y1) / 2}, {x0, y0}, {x1, y1},     {x0, y0 - 0.0004},
                                {x1 + 0.0003, y0}, {116.0, 39.9}, {x0, y1 + 0.05}};
    const double radii[] = {0, 100, 1000, 10000, 10000.5, -3};
    const int types[] = {65536, 1050, 3000, 7};
    int round = 0;
    for (const auto& point : points) {
        eArray<ueglobal_addr_t> addrs;
        eArray<unsigned int> scores;
        int type = types[round % 4];
        const double radius = radii[round++ % 6];
        const int n = grid.QueryByAround(addrs, scores, point[0], point[1], radius, type);
        // Every hit scores 1.
        if (n < -1 || (!open && n != -1) || (n >= 0 && (addrs.GetSize() != n || scores.GetSize() != n)) ||
            std::count(scores.GetData(), scores.GetData() + scores.GetSize(), 1u) != scores.GetSize())
            __builtin_trap();
        int maxDistance = 0;
        eArray<ueglobal_addr_t> nearest;
        if (grid.QueryNearestPOI(nearest, maxDistance, point[0], point[1]) && (nearest.GetSize() == 0 || maxDistance != 10000))
            __builtin_trap();
    }
    return 0;
}
