#include "Compiler/DataCompiler.h"

#include "Base/NdfFormat.h"
#include "Compiler/AroundGridWriter.h"

namespace Kest {

// One grid over every POI of every data set, each pointing at its record in
// the POI store, so that a hit reads the record every other search reads.
bool DataCompiler::WriteAround(const std::string& dir)
{
    if (!Phase(std::string("writing ") + NdfFormat::kAroundFileName))
        return false;
    AroundGridWriter writer;
    for (std::size_t i = 0; i < m_pois.size(); ++i)
        writer.Add(m_pois[i].lon, static_cast<std::int32_t>(m_pois[i].lat), static_cast<std::int32_t>(m_pois[i].category),
                   m_poiAddrs[i]);
    std::string error;
    if (!writer.WriteFile(dir + NdfFormat::kAroundFileName, &error))
        return Fail(error);
    return true;
}

} // namespace Kest
