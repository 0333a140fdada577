// The POI category list of the engine: "P/POI/Around/POI_SORT.txt" read into
// branches and leaves on first use, the name lists handed to the caller, and
// the code of a leaf by name.

#include "POIEngine/ePOIEngineManager.h"

#include <cstdio>
#include <cstring>
#include <new>

namespace Kest {

namespace {

// The file is read line by line into a buffer of this size: a longer line
// is read as several lines (the data compiler keeps lines shorter).
constexpr int kSortLineSize = 100;

// The part of [first, first + count) that lies in an array of `size`
// entries; a negative count (a branch of a load that failed) is empty.
void ClampRange(int size, int& first, int& count)
{
    if (first < 0 || first > size || count < 0)
        first = count = 0;
    else if (count > size - first)
        count = size - first;
}

} // namespace

bool ePOIEngineManager::LoadPoiSort()
{
    eString path;
    path.Format("%s/POI/Around/POI_SORT.txt", m_strPoiPath.Cstr());
    std::FILE* fp = std::fopen(path.Cstr(), "r");
    if (fp == nullptr)
        return false;
    m_arSortBranch.RemoveAll();
    m_arSortBranch.FreeExtra();
    m_arSortLeaf.RemoveAll();
    m_arSortLeaf.FreeExtra();
    m_nCurBranch = -1;

    // A failure below returns at once and leaves what was read so far (with
    // leaf counts of -1) in the arrays.
    char line[kSortLineSize];
    char name[kSortLineSize]; // a word of the line is never longer than it
    eArray<int> counts;
    int count = 0;
    while (std::fgets(line, sizeof line, fp) != nullptr) {
        if (line[0] == '\t') {
            int code = 0;
            if (std::sscanf(line, "\t%s\t%d", name, &code) != 2) {
                std::fclose(fp);
                return false;
            }
            POISortLeaf leaf;
            leaf.strName = name;
            leaf.nSortCode = code;
            m_arSortLeaf.Add(leaf);
            ++count;
            continue;
        }
        // A line with no word (a blank line) ends the load as a failure.
        if (std::sscanf(line, "%s", name) != 1) {
            std::fclose(fp);
            return false;
        }
        POISortBranch branch;
        branch.strName = name;
        branch.nFirstLeaf = m_arSortLeaf.GetSize();
        branch.nLeafCount = -1;
        m_arSortBranch.Add(branch);
        // The count is recorded and restarted from the second branch on
        // only, so leaves above the first branch are counted with the first
        // branch (which still starts after them): kept as it is.
        if (m_arSortBranch.GetSize() > 1) {
            counts.Add(count);
            count = 0;
        }
    }
    std::fclose(fp);
    counts.Add(count);
    if (counts.GetSize() != m_arSortBranch.GetSize())
        return false;
    for (int i = 0; i < counts.GetSize(); ++i)
        m_arSortBranch[i].nLeafCount = counts[i];
    return true;
}

bool ePOIEngineManager::EnsurePoiSort()
{
    if (m_arSortBranch.GetSize() > 0 && m_arSortLeaf.GetSize() > 0)
        return true;
    return LoadPoiSort();
}

void ePOIEngineManager::FreeTypeList()
{
    for (int i = 0; m_ppTypeList != nullptr && i < m_nTypeCount; ++i)
        delete[] m_ppTypeList[i];
    delete[] m_ppTypeList;
    m_ppTypeList = nullptr;
    m_nTypeCount = 0;
}

bool ePOIEngineManager::HandOutTypeList(const eArray<eString>& names, char**& list, int& count)
{
    count = names.GetSize();
    FreeTypeList();
    m_ppTypeList = new (std::nothrow) char*[static_cast<std::size_t>(count)];
    if (m_ppTypeList == nullptr) {
        count = 0;
        return false;
    }
    for (int i = 0; i < count; ++i) {
        const std::size_t length = static_cast<std::size_t>(names[i].GetLength());
        char* copy = new (std::nothrow) char[length + 1];
        if (copy == nullptr) {
            m_nTypeCount = i;
            FreeTypeList();
            count = 0;
            return false;
        }
        std::memcpy(copy, names[i].Cstr(), length);
        copy[length] = '\0';
        m_ppTypeList[i] = copy;
    }
    m_nTypeCount = count;
    list = m_ppTypeList;
    return true;
}

bool ePOIEngineManager::GetBranchPoiTypes(char**& list, int& count)
{
    if (!EnsurePoiSort())
        return false;
    eArray<eString> names;
    for (int i = 0; i < m_arSortBranch.GetSize(); ++i)
        names.Add(m_arSortBranch[i].strName);
    return HandOutTypeList(names, list, count);
}

bool ePOIEngineManager::GetPoiTypes(const char* branch, char**& list, int& count)
{
    if (branch == nullptr)
        return GetBranchPoiTypes(list, count);
    if (!EnsurePoiSort())
        return false;
    m_nCurBranch = -1;
    for (int i = 0; i < m_arSortBranch.GetSize(); ++i) {
        if (m_arSortBranch[i].strName.CompareNoCase(branch) == 0) {
            m_nCurBranch = i;
            break;
        }
    }
    if (m_nCurBranch < 0)
        return false;
    // The leaves of the branch as far as the leaf array reaches (the first
    // branch's count can reach past it, see LoadPoiSort).
    int first = m_arSortBranch[m_nCurBranch].nFirstLeaf;
    int leaves = m_arSortBranch[m_nCurBranch].nLeafCount;
    ClampRange(m_arSortLeaf.GetSize(), first, leaves);
    eArray<eString> names;
    for (int i = first; i < first + leaves; ++i)
        names.Add(m_arSortLeaf[i].strName);
    return HandOutTypeList(names, list, count);
}

bool ePOIEngineManager::GetAllPoiTypes(char**& list, int& count)
{
    if (!EnsurePoiSort())
        return false;
    eArray<eString> names;
    for (int i = 0; i < m_arSortLeaf.GetSize(); ++i)
        names.Add(m_arSortLeaf[i].strName);
    return HandOutTypeList(names, list, count);
}

int ePOIEngineManager::GetPoiCode(const char* name)
{
    if (!EnsurePoiSort())
        return -1;
    const char* wanted = name != nullptr ? name : "";
    // The current branch first, so that a name under several branches
    // takes the code of the branch last listed.
    if (m_nCurBranch >= 0 && m_nCurBranch < m_arSortBranch.GetSize()) {
        int first = m_arSortBranch[m_nCurBranch].nFirstLeaf;
        int leaves = m_arSortBranch[m_nCurBranch].nLeafCount;
        ClampRange(m_arSortLeaf.GetSize(), first, leaves);
        for (int i = first; i < first + leaves; ++i)
            if (m_arSortLeaf[i].strName.CompareNoCase(wanted) == 0)
                return m_arSortLeaf[i].nSortCode;
    }
    for (int i = 0; i < m_arSortLeaf.GetSize(); ++i)
        if (m_arSortLeaf[i].strName.CompareNoCase(wanted) == 0)
            return m_arSortLeaf[i].nSortCode;
    return -1;
}

} // namespace Kest
