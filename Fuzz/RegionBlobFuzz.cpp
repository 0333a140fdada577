// Region blobs: eNdfRegion::GetGeometry on arbitrary bytes must fail cleanly
// or give a region that encodes back to the same points, whose vertices the
// point-in-polygon test finds on the border.
//
// The first input byte picks the mode: even takes the rest as a whole blob;
// odd takes it as a blob body and puts a valid header and checksum in front,
// so that the structure behind the checksum gets explored too.
#include "Base/NdfFormat.h"
#include "Base/eCrc32.h"
#include "Compiler/RegionEncoder.h"
#include "FuzzSupport.h"
#include "Geo/eRelPointRegion.h"
#include "Ndf/NdfBytes.h"
#include "Ndf/eNdfRegion.h"

using namespace Kest;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 1 || size > (1u << 20))
        return 0;
    const std::size_t header = (data[0] & 1) ? NdfFormat::kRegionHeaderSize : 0;
    std::vector<unsigned char> blob(header, 0);
    blob.insert(blob.end(), data + 1, data + size);
    if (header) {
        blob[0] = NdfFormat::kRegionTag;
        blob[1] = NdfFormat::kRegionVersion;
        NdfBytes::Put32(&blob[NdfFormat::kRegionChecksumOffset], eCrc32::Compute(blob.data() + header, blob.size() - header));
    }
    const ePoint2D origin(116.0, 39.0);
    const eSize2D scale(1.0, 0.6666666666666666);
    auto decode = [&](const std::vector<unsigned char>& bytes, int mode, eGeoRegion& region) {
        eNdfRegion reader(mode);
        reader.SetBuffer(bytes.data(), static_cast<int>(bytes.size()));
        return reader.GetGeometry(origin, scale, 4000, region);
    };
    eGeoRegion region, second;
    if (!decode(blob, 1, region)) {
        if (region.GetPartCount() != 0)
            std::abort();
        return 0;
    }
    std::vector<unsigned char> again;
    if (!RegionEncoder(origin, scale, 4000).Encode(region, again) || !decode(again, 0, second) ||
        second.GetPartCount() != region.GetPartCount())
        std::abort();
    for (int part = 0; part < region.GetPartCount(); ++part) {
        const int count = region.GetSubPntCount(part);
        const ePoint2D* points = region.GetPoints(part);
        if (count != second.GetSubPntCount(part) || !std::equal(points, points + count, second.GetPoints(part)))
            std::abort();
        if (count >= 3) {
            if (!eRelPointRegion::IsWithin(points[count / 2], points, count, nullptr, true) ||
                eRelPointRegion::IsWithin(points[0], points, count, nullptr, false))
                std::abort();
            eRelPointRegion::IsWithin(origin, points, count, nullptr, true);
        }
    }
    return 0;
}
