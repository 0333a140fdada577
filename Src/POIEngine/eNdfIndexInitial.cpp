#include "POIEngine/eNdfIndexInitial.h"

// Placeholder until the first form's reader lands: construction and type only.
namespace Kest {
eNdfIndexInitial::eNdfIndexInitial() = default;
eNdfIndexInitial::~eNdfIndexInitial() = default;
eNdfIndex::IndexType eNdfIndexInitial::GetType() { return NDF_INDEX_INITIAL; }
unsigned char eNdfIndexInitial::Query(const eArray<eString>&, eArray<ueglobal_addr_t>&, eArray<unsigned int>&,
                                      eArray<eString>&) { return 0; }
int eNdfIndexInitial::GetQueryedCount() { return m_nQueryedCount; }
int eNdfIndexInitial::GetNextResult(int, eArray<ueglobal_addr_t>&, eArray<unsigned int>&) { return 0; }
void eNdfIndexInitial::ClearCache() {}
} // namespace Kest
