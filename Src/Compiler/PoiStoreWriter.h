#pragma once

#include <cstdint>
#include <string>

#include "Base/NdfFormat.h"
#include "Base/ueglobal_addr_t.h"
#include "Compiler/PageFileWriter.h"

namespace Kest {

// One POI as the record store keeps it (docs/format.md, "POI record store").
struct PoiStoreRecord {
    std::string name;        // GBK, at most 63 bytes by the compiler's rule
    std::uint32_t lon = 0;   // millionths of a degree
    std::uint32_t lat = 0;   // millionths of a degree
    std::uint32_t code = 0;  // category code (the POI record's nCode)
    std::uint16_t area = 0;  // area code, the key of "AdminIndex.ndf"
};

// Writes the POI record store: one record per POI with columns 0 to 4, in the
// order added; tells each POI's global address, which the indexes store.
class PoiStoreWriter {
public:
    explicit PoiStoreWriter(std::uint16_t fileId = NdfFormat::kPoiStoreFileId,
                            std::uint32_t targetPageSize = NdfFormat::kPoiStorePageSize);

    bool Open(const std::string& path) { return m_writer.Open(path); }
    // False (see GetError) when the record cannot be written.
    bool Add(const PoiStoreRecord& poi, ueglobal_addr_t& addr);
    bool Close() { return m_writer.Close(); }
    const std::string& GetError() const { return m_writer.GetError(); }

private:
    PageFileWriter m_writer;
};

} // namespace Kest
