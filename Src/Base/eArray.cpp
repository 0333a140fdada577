#include "Base/eArray.h"

// The exported instantiations of this layer's element types.
namespace Kest {
template class eArray<char>;
template class eArray<unsigned char>;
template class eArray<unsigned short>;
template class eArray<int>;
template class eArray<unsigned int>;
template class eArray<std::uint64_t>;
template class eArray<unsigned char*>;
template class eArray<eString>;
template class eArray<ePoiInfo>;
template class eArray<ueglobal_addr_t>;
template class eArray<ueaddr_t>;
} // namespace Kest
