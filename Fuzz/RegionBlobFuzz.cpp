// Region blobs: eNdfRegion::GetGeometry on arbitrary bytes must fail cleanly
// or give a region that encodes back to the same points, whose vertices the
// point-in-polygon test finds on the border.
//
// The first input byte picks the mode: even takes the rest as a whole blob;
// odd takes it as a blob body and puts a valid header and checksum in front,
// so that the structure behind the checksum gets explored too.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "Base/NdfFormat.h"
#include "Base/eCrc32.h"
#include "Build/RegionEncoder.h"
#include "Geo/eRelPointRegion.h"
#include "Ndf/eNdfRegion.h"

using namespace Kest;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 1 || size > (1u << 20))
        return 0;
    std::vector<unsigned char> blob;
    if (data[0] & 1) {
        blob.assign(NdfFormat::kRegionHeaderSize, 0);
        blob[0] = NdfFormat::kRegionTag;
        blob[1] = NdfFormat::kRegionVersion;
        blob.insert(blob.end(), data + 1, data + size);
        const std::uint32_t sum = eCrc32::Compute(blob.data() + NdfFormat::kRegionHeaderSize,
                                                  blob.size() - NdfFormat::kRegionHeaderSize);
        for (int i = 0; i < 4; ++i)
            blob[static_cast<std::size_t>(NdfFormat::kRegionChecksumOffset + i)] =
                static_cast<unsigned char>(sum >> (8 * i));
    } else {
        blob.assign(data + 1, data + size);
    }

    const ePoint2D origin(116.0, 39.0);
    const eSize2D scale(1.0, 0.6666666666666666);
    eNdfRegion reader(1);
    reader.SetBuffer(blob.data(), static_cast<int>(blob.size()));
    eGeoRegion region;
    if (!reader.GetGeometry(origin, scale, 4000, region)) {
        if (region.GetPartCount() != 0)
            std::abort();
        return 0;
    }

    RegionEncoder encoder(origin, scale, 4000);
    std::vector<unsigned char> again;
    if (!encoder.Encode(region, again))
        std::abort();
    eNdfRegion rereader(0);
    rereader.SetBuffer(again.data(), static_cast<int>(again.size()));
    eGeoRegion second;
    if (!rereader.GetGeometry(origin, scale, 4000, second) || second.GetPartCount() != region.GetPartCount())
        std::abort();
    for (int part = 0; part < region.GetPartCount(); ++part) {
        const int count = region.GetSubPntCount(part);
        const ePoint2D* points = region.GetPoints(part);
        if (count != second.GetSubPntCount(part))
            std::abort();
        for (int i = 0; i < count; ++i)
            if (points[i] != second.GetPoints(part)[i])
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
