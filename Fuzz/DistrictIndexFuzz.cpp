// Fuzzes the district index reader on area records of any content.
//
// The input is a list of records, which the harness writes with the real
// page-file writer (so page checksums always hold and mutations reach the
// reader's own checks): byte 0 is the root count (signed); then per record
//   a flags byte: bit 0 region from raw bytes (a length byte and that many
//   bytes, checksum and all as given), otherwise from points (a count byte,
//   then per point two bytes, the coordinates 0..15.9, through the real
//   region encoder, with a second part when bit 1 is set); bit 2 box from
//   raw bytes (4 x 8), otherwise 4 bytes for least x, greatest x, greatest
//   y, least y; bit 3 drops a box field, bit 4 writes a 2-byte code;
//   then 4 code bytes, a child element byte and a signed child count byte.
// Record 0 is the root, at element 0 of page 0 of file 101; child ranges
// name small elements of the same page. Every lookup of a grid of points and
// every level of QueryAdmin then runs; the three levels bound the work.

#include "Base/NdfFormat.h"
#include "Compiler/RegionEncoder.h"
#include "FuzzSupport.h"
#include "POIEngine/eNdfIndexDistrict.h"

using namespace Kest;
using KestFuzz::Input;

namespace {

constexpr std::uint16_t kFile = NdfFormat::kDistrictFileId;

PageFileWriter::Record ReadRecord(Input& in)
{
    using namespace NdfFormat;
    PageFileWriter::Record r;
    const std::uint8_t flags = in.Byte();
    double box[4];
    for (double& v : box) {
        v = flags & 4 ? 0 : in.Byte() / 16.0;
        const std::vector<unsigned char> raw = in.Bytes(flags & 4 ? 8 : 0);
        std::memcpy(&v, raw.data(), raw.size());
    }
    if (flags & 1) {
        const std::vector<unsigned char> blob = in.Bytes(in.Byte());
        r.Set(kDistrictFieldRegion, blob.data(), blob.size());
    } else {
        std::vector<std::vector<ePoint2D>> parts(flags & 2 ? 2 : 1);
        for (auto& part : parts)
            for (int n = in.Byte() % 24; n > 0; --n) {
                const double x = in.Byte() / 16.0, y = in.Byte() / 16.0;
                part.emplace_back(x, y);
            }
        RegionEncoder encoder(ePoint2D(box[0], box[3]), eSize2D(kDistrictScaleX, kDistrictScaleY), kDistrictUnits);
        std::vector<unsigned char> blob;
        if (encoder.Encode(parts, blob))
            r.Set(kDistrictFieldRegion, blob.data(), blob.size());
    }
    const unsigned char fields[4] = {kDistrictFieldMinX, kDistrictFieldMaxX, kDistrictFieldMaxY, kDistrictFieldMinY};
    for (int i = 0; i < 4; ++i)
        if (!(flags & 8) || i != (flags >> 5) % 4)
            r.Set(fields[i], &box[i], sizeof(double));
    std::uint32_t code = 0;
    for (int i = 0; i < 4; ++i)
        code |= static_cast<std::uint32_t>(in.Byte()) << (8 * i);
    if (flags & 16)
        r.SetShort(kDistrictFieldCode, static_cast<std::uint16_t>(code));
    else
        r.SetInt(kDistrictFieldCode, code);
    r.SetAddr(kDistrictFieldChild, MakeGlobalAddr(kFile, 0, in.Byte() % 32));
    r.SetInt(kDistrictFieldChildCount, static_cast<std::uint32_t>(static_cast<std::int32_t>(static_cast<std::int8_t>(in.Byte()))));
    return r;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input in(data, size);
    const int rootCount = static_cast<std::int8_t>(in.Byte());
    std::vector<PageFileWriter::Record> records;
    while (in.More() && records.size() < 64)
        records.push_back(ReadRecord(in));
    ueglobal_addr_t root{};
    if (!KestFuzz::WriteRun(kFile, records, rootCount, root))
        return 0;
    KestFuzz::Pool pool;
    eNdfIndexDistrict index;
    KestFuzz::Open(index, pool, root, rootCount);
    for (int y = 0; y < 16; y += 3)
        for (int x = 0; x < 16; x += 3) {
            unsigned int code = 0;
            index.Query(x + 0.5, y + 0.5, code);
        }
    for (int level = 0; level <= 4; ++level) {
        ueglobal_addr_t address = root;
        int count = rootCount;
        unsigned int code = 0;
        index.QueryAdmin(4.0, 4.0, address, count, code, level);
    }
    return 0;
}
