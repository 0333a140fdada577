#include "Compiler/PoiStoreWriter.h"

namespace Kest {

PoiStoreWriter::PoiStoreWriter(std::uint16_t fileId, std::uint32_t targetPageSize) : m_writer(fileId, targetPageSize) {}

bool PoiStoreWriter::Add(const PoiStoreRecord& poi, ueglobal_addr_t& addr)
{
    PageFileWriter::Record record;
    record.SetText(0, poi.name).SetInt(1, poi.lon).SetInt(2, poi.lat).SetInt(3, poi.code).SetShort(4, poi.area);
    return m_writer.Append(record, addr);
}

} // namespace Kest
