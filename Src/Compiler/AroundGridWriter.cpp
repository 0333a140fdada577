#include "Compiler/AroundGridWriter.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <tuple>

#include "Base/NdfFormat.h"
#include "Ndf/NdfBytes.h"
#include "POIEngine/eNdfQueryAround.h"

namespace Kest {

namespace {

constexpr int kColumns = eNdfQueryAround::kColumns;

void PutDouble(unsigned char* p, double value)
{
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    NdfBytes::Put64(p, bits);
}

// A cell side that puts `span` into `cells` steps or fewer, the largest
// coordinate in the last one: span / side truncates to at most cells - 1.
double ChooseSide(double span, int cells)
{
    double side = std::max(span / cells, NdfFormat::kAroundMinCellSize);
    while (static_cast<long long>(span / side) > cells - 1)
        side = std::nextafter(side, 2 * side);
    return side;
}

} // namespace

int AroundGridWriter::Geometry::Cell(std::uint32_t x, std::int32_t y) const
{
    // The reader's own arithmetic: coordinates as x * 1e-6 degrees, cells by
    // truncation, so that every POI lies in the cell a search rectangle
    // around it reaches.
    const auto column = static_cast<int>((x * 1e-6 - minX) / cellWidth);
    const auto row = static_cast<int>((y * 1e-6 - minY) / cellHeight);
    return row * kColumns + column;
}

void AroundGridWriter::Add(std::uint32_t x, std::int32_t y, std::int32_t code, const ueglobal_addr_t& addr)
{
    Poi poi;
    poi.x = x;
    poi.y = y;
    poi.code = code;
    poi.addr = addr;
    m_pois.push_back(poi);
}

AroundGridWriter::Geometry AroundGridWriter::ChooseGeometry(std::uint32_t minX, std::int32_t minY,
                                                            std::uint32_t maxX, std::int32_t maxY)
{
    Geometry g;
    g.minX = minX * 1e-6;
    g.minY = minY * 1e-6;
    g.maxX = maxX * 1e-6;
    g.maxY = maxY * 1e-6;
    g.cellWidth = ChooseSide(g.maxX - g.minX, kColumns);
    g.cellHeight = ChooseSide(g.maxY - g.minY, kColumns);
    g.rows = static_cast<int>((g.maxY - g.minY) / g.cellHeight) + 1;
    return g;
}

AroundGridWriter::Geometry AroundGridWriter::GetGeometry() const
{
    if (m_pois.empty())
        return ChooseGeometry(0, 0, 0, 0);
    std::uint32_t minX = m_pois[0].x, maxX = m_pois[0].x;
    std::int32_t minY = m_pois[0].y, maxY = m_pois[0].y;
    for (const Poi& p : m_pois) {
        minX = std::min(minX, p.x);
        maxX = std::max(maxX, p.x);
        minY = std::min(minY, p.y);
        maxY = std::max(maxY, p.y);
    }
    return ChooseGeometry(minX, minY, maxX, maxY);
}

bool AroundGridWriter::Bytes(std::string& out, std::string* error) const
{
    const Geometry g = GetGeometry();
    const std::size_t cellCount = static_cast<std::size_t>(g.rows) * kColumns;
    const std::uint64_t directory = eNdfQueryAround::kHeaderSize;
    const std::uint64_t records = directory + cellCount * eNdfQueryAround::kDirectoryEntrySize;
    const std::uint64_t size = records + m_pois.size() * static_cast<std::uint64_t>(eNdfQueryAround::kRecordSize);
    if (size > 0xFFFFFFFFull) {
        if (error)
            *error = "the around grid of " + std::to_string(m_pois.size()) + " POIs passes 4 GB";
        return false;
    }

    // By cell, then x as the reader's binary search needs; the rest only
    // makes the order total, so the bytes never depend on the input order.
    std::vector<std::pair<int, const Poi*>> sorted;
    sorted.reserve(m_pois.size());
    for (const Poi& p : m_pois)
        sorted.emplace_back(g.Cell(p.x, p.y), &p);
    auto key = [](const std::pair<int, const Poi*>& e) {
        const Poi& p = *e.second;
        return std::make_tuple(e.first, p.x, p.y, p.code, p.addr.page.nFile, p.addr.page.nPage, p.addr.nElement);
    };
    std::sort(sorted.begin(), sorted.end(), [&](const auto& a, const auto& b) { return key(a) < key(b); });

    out.assign(static_cast<std::size_t>(size), '\0');
    auto* bytes = reinterpret_cast<unsigned char*>(&out[0]);
    std::memcpy(bytes, NdfFormat::kAroundMagic, sizeof NdfFormat::kAroundMagic);
    bytes[3] = NdfFormat::kAroundVersion;
    NdfBytes::Put32(bytes + 4, static_cast<std::uint32_t>(directory));
    NdfBytes::Put32(bytes + 8, static_cast<std::uint32_t>(records));
    PutDouble(bytes + 16, g.minX);
    PutDouble(bytes + 24, g.minY);
    PutDouble(bytes + 32, g.maxX);
    PutDouble(bytes + 40, g.maxY);
    PutDouble(bytes + 48, g.cellWidth);
    PutDouble(bytes + 56, g.cellHeight);

    // Empty cells have count 0 and offset 0.
    for (std::size_t i = 0; i < sorted.size();) {
        const int cell = sorted[i].first;
        std::size_t end = i;
        while (end < sorted.size() && sorted[end].first == cell)
            ++end;
        unsigned char* entry = bytes + directory + static_cast<std::uint64_t>(cell) * 8;
        NdfBytes::Put32(entry, static_cast<std::uint32_t>(end - i));
        NdfBytes::Put32(entry + 4, static_cast<std::uint32_t>(i * eNdfQueryAround::kRecordSize));
        for (; i < end; ++i) {
            const Poi& p = *sorted[i].second;
            unsigned char* r = bytes + records + i * eNdfQueryAround::kRecordSize;
            NdfBytes::Put32(r, p.x);
            NdfBytes::Put32(r + 4, static_cast<std::uint32_t>(p.y));
            NdfBytes::Put32(r + 8, static_cast<std::uint32_t>(p.code));
            NdfBytes::Put32(r + 12, p.addr.page.nPage);
            NdfBytes::Put16(r + 16, p.addr.page.nFile);
            NdfBytes::Put16(r + 18, p.addr.nElement);
        }
    }
    return true;
}

bool AroundGridWriter::WriteFile(const std::string& path, std::string* error) const
{
    std::string bytes;
    if (!Bytes(bytes, error))
        return false;
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.close();
    if (!out) {
        if (error)
            *error = path + ": cannot write: " + std::strerror(errno);
        return false;
    }
    return true;
}

} // namespace Kest
