#include "POIEngine/eNdfIndexDistrict.h"

#include <cstring>

#include "Base/NdfFormat.h"
#include "Base/ePoint2D.h"
#include "Base/eSize2D.h"
#include "Geo/eGeoRegion.h"
#include "Geo/eRelPointRegion.h"
#include "Ndf/eNdfRecordsetTabular.h"
#include "Ndf/eNdfRegion.h"

namespace Kest {

namespace {

// Moves a field byte for byte into its variable, taking the length the record
// set reports. A length other than the variable's own is a malformed record:
// false, the variable untouched (a longer field would overrun it).
template <typename T>
bool MoveField(eNdfRecordsetTabular& rs, int field, T& value)
{
    unsigned char* bytes = nullptr;
    const int length = rs.GetFieldValue(field, bytes);
    if (length != static_cast<int>(sizeof(T)) || bytes == nullptr)
        return false;
    std::memcpy(&value, bytes, sizeof(T));
    return true;
}

} // namespace

eNdfIndexDistrict::eNdfIndexDistrict() = default;

eNdfIndexDistrict::~eNdfIndexDistrict() = default;

eNdfIndex::IndexType eNdfIndexDistrict::GetType()
{
    return NDF_INDEX_DISTRICT;
}

unsigned char eNdfIndexDistrict::Query(double x, double y, unsigned int& code)
{
    code = 0;
    ueglobal_addr_t address = m_gidIndex;
    int count = m_nDepth;
    unsigned char found = 0;
    for (int level = 1; level <= NdfFormat::kDistrictLevels; ++level) {
        found = QueryAdmin(x, y, address, count, code, level);
        if (!found)
            return 0;
    }
    return found;
}

unsigned char eNdfIndexDistrict::QueryAdmin(double x, double y, ueglobal_addr_t& address, int& count,
                                            unsigned int& code, int level)
{
    using namespace NdfFormat;
    if (level < 1 || level > kDistrictLevels)
        return 0;
    // A range of no records holds nothing; a negative count (a corrupt child
    // count) is read as no records rather than as a huge unsigned one.
    if (m_pPool == nullptr || count <= 0)
        return 0;

    eNdfRecordsetTabular rs;
    rs.SetRun(m_pPool, address, static_cast<unsigned int>(count));
    const ePoint2D point(x, y);
    const eSize2D scale(kDistrictScaleX, kDistrictScaleY);
    eNdfRegion region(1);
    eGeoRegion geometry;
    rs.MoveFirst();
    while (!rs.IsEOF()) {
        // The box, in this order; each failed test leaves the record. Field 3
        // (greatest y) comes before field 4 (least y): the stored order, kept.
        // Points on the box's edge pass.
        double minX = 0, maxX = 0, maxY = 0, minY = 0;
        if (!MoveField(rs, kDistrictFieldMinX, minX))
            return 0;
        if (minX > x) {
            rs.MoveNext();
            continue;
        }
        if (!MoveField(rs, kDistrictFieldMaxX, maxX))
            return 0;
        if (maxX < x) {
            rs.MoveNext();
            continue;
        }
        if (!MoveField(rs, kDistrictFieldMinY, minY))
            return 0;
        if (minY > y) {
            rs.MoveNext();
            continue;
        }
        if (!MoveField(rs, kDistrictFieldMaxY, maxY))
            return 0;
        if (maxY < y) {
            rs.MoveNext();
            continue;
        }

        // The boundary, on the grid of the box's least corner.
        unsigned char* blob = nullptr;
        const int blobLength = rs.GetFieldValue(kDistrictFieldRegion, blob);
        region.SetBuffer(blob, blobLength);
        region.GetGeometry(ePoint2D(minX, minY), scale, kDistrictUnits, geometry);
        // Only the first part is tested: islands and holes in later parts are
        // not looked at.
        const ePoint2D* points = geometry.GetPoints(0);
        const int pointCount = geometry.GetSubPntCount(0);
        // Kept as it is: a region without points advances the record set here
        // and again after the failed test below, so the record behind it is
        // skipped.
        if (points == nullptr)
            rs.MoveNext();
        if (eRelPointRegion::IsWithin(point, points, pointCount, nullptr, true)) {
            if (level < kDistrictLevels) {
                ueglobal_addr_t child{};
                int childCount = 0;
                if (!MoveField(rs, kDistrictFieldChild, child) || !MoveField(rs, kDistrictFieldChildCount, childCount))
                    return 0;
                address = child;
                count = childCount;
                code = 0;
            } else {
                unsigned int value = 0;
                if (!MoveField(rs, kDistrictFieldCode, value))
                    return 0;
                code = value;
            }
            return 1;
        }
        rs.MoveNext();
    }
    return 0;
}

} // namespace Kest
