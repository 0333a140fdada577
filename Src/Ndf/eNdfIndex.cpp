#include "Ndf/eNdfIndex.h"

#include <new>

#include "Ndf/eNdfFeatureIndex.h"
#include "Ndf/eNdfPageReader.h"
#include "Ndf/eNdfPool.h"

namespace Kest {

eNdfIndex::eNdfIndex() : m_gidIndex(MakeGlobalAddr(0xFFFF, 0, 0)) {}

eNdfIndex::~eNdfIndex() = default;

eNdfIndex::IndexType eNdfIndex::GetType()
{
    return NDF_INDEX_PLAIN;
}

unsigned char eNdfIndex::Query(const ePoint2D&, double, int, eArray<ueglobal_addr_t>&, eArray<unsigned int>&,
                               eArray<eString>&)
{
    return 0;
}

unsigned char eNdfIndex::Query(const eArray<eString>&, eArray<ueglobal_addr_t>&, eArray<unsigned int>&,
                               eArray<eString>&)
{
    return 0;
}

void eNdfIndex::SetMapBound(const eRect2D& bound)
{
    m_rcMapBound = bound;
}

void eNdfIndex::SetGridSize(const eSize2D& size)
{
    m_szGrid = size;
}

int eNdfIndex::GetLevelID()
{
    return m_nLevelID;
}

void eNdfIndex::SetGID(const ueglobal_addr_t& gid)
{
    m_gidIndex = gid;
    m_bOpen = 0;
}

unsigned char eNdfIndex::ReadRootPairs(ueglobal_addr_t& child, unsigned int& childCount, ueglobal_addr_t& leaf,
                                       unsigned int& leafCount)
{
    if (m_pPool == nullptr)
        return 0;
    ueaddr_t pid;
    GetPid(pid, m_gidIndex);
    const int size = m_pPool->GetPageSize(pid);
    if (size <= 0)
        return 0;
    unsigned char* page = new (std::nothrow) unsigned char[static_cast<std::size_t>(size)];
    if (page == nullptr)
        return 0;
    unsigned char ok = 0;
    if (m_pPool->GetPage(pid, page, size)) {
        // The page reader is given the page's real size, so a short page is
        // never read past its end.
        eNdfPageReader reader;
        reader.SetData(page, size);
        unsigned char* field = nullptr;
        const int length = reader.GetFieldValue(0, 1, field);
        eNdfFeatureIndex block(1);
        if (length > 0 && block.SetBuffer(field, length)) {
            block.GetChild(child, childCount);
            block.GetLeaf(leaf, leafCount);
            ok = 1;
        }
    }
    delete[] page;
    return ok;
}

unsigned char eNdfIndex::GetRoot()
{
    if (!ReadRootPairs(m_gidRoot, m_nRootCount, m_gidRootLeaf, m_nRootLeafCount))
        return 0;
    m_bOpen = 1;
    return 1;
}

} // namespace Kest
