#pragma once
// eArray<T>: the growable array of the whole system, a bounds-asserting wrapper
// around std::vector with a grow-by step.
//
// Bounds and sign violations are reported through Eassert with the condition
// text, this header's path and the line of the check, and then the operation
// carries on. The lines of the checks are part of the reports callers see,
// so each check is pinned to its line by a static_assert beside it.

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <vector>

#include "Base/Eassert.h"
#include "Base/KestExport.h"

#define E_ARRAY_FILE "..\\..\\..\\Include\\Base\\eArray.h"
#define E_ARRAY_ASSERT(expr) E_ASSERT_IN(expr, E_ARRAY_FILE)
namespace Kest {
typedef int eInt;
template <class T> class eArray {
public:
    eArray() : m_nGrowBy(0) {}
    explicit eArray(eInt nSize) : m_nGrowBy(0) { E_ARRAY_ASSERT(nSize>=0); static_assert(__LINE__ == 25, "line"); SetSize(nSize); }
    // Copies the elements and the grow-by step.
    eArray(const eArray& other);
    eArray& operator=(const eArray& other);
    ~eArray() {}

    eInt GetSize() const { return static_cast<eInt>(m_array.size()); }
    // The first element, or null when the array is empty.
    T* GetData();
    const T* GetData() const;

    T& operator[](eInt nIndex);
    const T& operator[](eInt nIndex) const;
    T GetAt(eInt nIndex) const;
    void SetAt(eInt nIndex, const T& value);

    // Appends one element; returns its index.
    eInt Add(const T& value);
    // Appends every element of `other`; returns the index of the first one.
    eInt Append(const eArray& other);
    // Appends `nCount` copies of `value`; returns the index of the first one.
    eInt Append(const T& value, eInt nCount);
    // Inserts `nCount` elements copied from `p` before `nIndex`, which is
    // clamped to 0..size. Nothing happens when `nCount` < 1 or `p` is null.
    void InsertAt(eInt nIndex, const T* p, eInt nCount = 1);
    // Inserts `nCount` copies of `value` before `nIndex`, clamped as above.
    void InsertAt(eInt nIndex, const T& value, eInt nCount = 1);
    eInt RemoveAt(eInt nIndex, eInt nCount = 1);
    // Empties the array; the capacity is kept.
    void RemoveAll() { m_array.clear(); }
    void SetSize(eInt nNewSize);
    // Gives back the capacity beyond the size.
    void FreeExtra();

protected:
    eInt Capacity() const { return static_cast<eInt>(m_array.capacity()); }
    void Grow(eInt nNeeded);
    void Reserve(eInt nCapacity);
    void CheckLength(eInt nNeeded) const;
    eInt Clamp(eInt nIndex) const;
    [[noreturn]] static void OutOfRange();

    std::vector<T> m_array;
    eInt m_nGrowBy; // grow-by step; every constructor sets 0 and no public member changes it
};

template <class T> eInt eArray<T>::Add(const T& value)
{
    if (GetSize() >= Capacity() && m_nGrowBy > 0)
        Reserve(Capacity() + m_nGrowBy);
    const T copy(value); // `value` may live in this array
    Grow(GetSize() + 1);
    m_array.push_back(copy);
    return GetSize() - 1;
}

template <class T> eInt eArray<T>::Append(const eArray& other)
{
    const eInt old = GetSize();
    const std::vector<T> items(other.m_array); // `other` may be this array
    Grow(old + static_cast<eInt>(items.size()));
    m_array.insert(m_array.end(), items.begin(), items.end());
    return old;
}

template <class T> eInt eArray<T>::Append(const T& value, eInt nCount)
{
    const eInt old = GetSize();
    if (nCount > 0) {
        const T copy(value);
        Grow(old + nCount);
        m_array.insert(m_array.end(), static_cast<std::size_t>(nCount), copy);
    }
    return old;
}

template <class T> void eArray<T>::InsertAt(eInt nIndex, const T* p, eInt nCount)
{
    if (nCount < 1 || p == nullptr)
        return;
    const std::vector<T> items(p, p + nCount); // `p` may point into this array
    const eInt at = Clamp(nIndex);
    Grow(GetSize() + nCount);
    m_array.insert(m_array.begin() + at, items.begin(), items.end());
}

template <class T> void eArray<T>::InsertAt(eInt nIndex, const T& value, eInt nCount)
{
    if (nCount < 1)
        return;
    const T copy(value);
    const eInt at = Clamp(nIndex);
    Grow(GetSize() + nCount);
    m_array.insert(m_array.begin() + at, static_cast<std::size_t>(nCount), copy);
}

// Makes room for `nNeeded` elements the way the array grows while the
// grow-by step is 0: the new capacity is the larger of what is needed and
// one and a half times the old capacity.
template <class T> void eArray<T>::Grow(eInt nNeeded)
{
    CheckLength(nNeeded);
    const std::size_t needed = static_cast<std::size_t>(nNeeded);
    const std::size_t cap = m_array.capacity();
    if (needed <= cap)
        return;
    const std::size_t grown = cap + cap / 2;
    m_array.reserve(std::max(needed, grown < m_array.max_size() ? grown : needed));
}
template <class T> eArray<T>::eArray(const eArray& other) : m_array(other.m_array), m_nGrowBy(other.m_nGrowBy)
{
}

template <class T> eArray<T>& eArray<T>::operator=(const eArray& other)
{
    if (this != &other) {
        m_array = other.m_array;
        m_nGrowBy = other.m_nGrowBy;
    }
    return *this;
}

template <class T> T* eArray<T>::GetData()
{
    return m_array.empty() ? nullptr : m_array.data();
}

template <class T> const T* eArray<T>::GetData() const
{
    return m_array.empty() ? nullptr : m_array.data();
}

template <class T> void eArray<T>::Reserve(eInt nCapacity)
{
    CheckLength(nCapacity);
    m_array.reserve(static_cast<std::size_t>(nCapacity));
}

// Growth beyond what the vector can hold (or a count that overflowed eInt)
// raises the vector's length error.
template <class T> void eArray<T>::CheckLength(eInt nNeeded) const
{
    if (nNeeded < 0 || static_cast<std::size_t>(nNeeded) > m_array.max_size())
        throw std::length_error("vector<T> too long");
}

// Insert positions are clamped to 0..size.
template <class T> eInt eArray<T>::Clamp(eInt nIndex) const
{
    return nIndex < 0 ? 0 : (nIndex > GetSize() ? GetSize() : nIndex);
}

template <class T> void eArray<T>::OutOfRange()
{
    throw std::out_of_range("invalid vector<T> subscript");
}

// The bounds-checked members. Each reports a bad index through Eassert with
// its condition text, E_ARRAY_FILE and its line, as listed here:
//   eArray(int)        "nSize>=0"                                   25
//   operator[]         "nIndex>=0 && nIndex<(eInt)m_array.size()"   198
//   operator[] const   the same                                     207
//   GetAt              the same                                     216
//   SetAt              the same                                     226
//   SetSize            "nNewSize>=0"                                252
//   RemoveAt           "nIndex>=0"                                  272
// A line that moves breaks the build at the static_assert beside it.
// An index still out of range after the report has returned raises the
// vector's out-of-range error; nothing is read or written outside.

// Returns a reference into the vector, valid until the array next grows.
template <class T> T& eArray<T>::operator[](eInt nIndex)
{
    E_ARRAY_ASSERT(nIndex>=0 && nIndex<(eInt)m_array.size()); static_assert(__LINE__ == 198, "line");
    if (nIndex < 0 || nIndex >= GetSize())
        OutOfRange();
    return m_array[static_cast<std::size_t>(nIndex)];
}

// The read-only form, for const arrays.
template <class T> const T& eArray<T>::operator[](eInt nIndex) const
{
    E_ARRAY_ASSERT(nIndex>=0 && nIndex<(eInt)m_array.size()); static_assert(__LINE__ == 207, "line");
    if (nIndex < 0 || nIndex >= GetSize())
        OutOfRange();
    return m_array[static_cast<std::size_t>(nIndex)];
}

// Returns a copy of the element.
template <class T> T eArray<T>::GetAt(eInt nIndex) const
{
    E_ARRAY_ASSERT(nIndex>=0 && nIndex<(eInt)m_array.size()); static_assert(__LINE__ == 216, "line");
    if (nIndex < 0 || nIndex >= GetSize())
        OutOfRange();
    return m_array[static_cast<std::size_t>(nIndex)];
}

// Overwrites the element; the size does not change (Add and SetSize grow
// the array).
template <class T> void eArray<T>::SetAt(eInt nIndex, const T& value)
{
    E_ARRAY_ASSERT(nIndex>=0 && nIndex<(eInt)m_array.size()); static_assert(__LINE__ == 226, "line");
    if (nIndex < 0 || nIndex >= GetSize())
        OutOfRange();
    m_array[static_cast<std::size_t>(nIndex)] = value;
}

template <class T> void eArray<T>::FreeExtra()
{
    if (m_array.capacity() > m_array.size())
        std::vector<T>(m_array.begin(), m_array.end()).swap(m_array);
}

// Sets the number of elements: new ones are default-constructed, trailing
// ones dropped, and shrinking keeps the capacity (FreeExtra gives it back).
//
// While the grow-by step is 0, as it always is in this system, growth
// follows Grow above. With a positive step, which only a derived class can
// set, the capacity first grows in whole steps:
// capacity + (nNewSize / step + 1) * step, in integer division.
//
// A negative size is reported and changes nothing; a size beyond what the
// vector can hold raises its length error ("vector<T> too long"), as does
// any other growth past that limit (Add, Append, InsertAt). Nothing is
// half done in either case.
template <class T> void eArray<T>::SetSize(eInt nNewSize)
{
    E_ARRAY_ASSERT(nNewSize>=0); static_assert(__LINE__ == 252, "line");
    if (nNewSize < 0)
        return;
    if (nNewSize > Capacity() && m_nGrowBy > 0)
        Reserve(Capacity() + (nNewSize / m_nGrowBy + 1) * m_nGrowBy);
    Grow(nNewSize);
    m_array.resize(static_cast<std::size_t>(nNewSize));
}

// Removes elements nIndex .. min(nIndex + nCount, size) - 1 by shifting the
// tail down, and returns how many were removed; the order of the rest and
// the capacity are kept (the history list relies on the order).
//
// A count of 0 or less, or an index at or past the end, removes nothing and
// returns 0; a count reaching past the end removes up to the end.
// A negative index removes nothing too, after it has been reported: the
// checked build this mirrors would have failed there, and removing nothing
// is the safe way to carry on.
template <class T> eInt eArray<T>::RemoveAt(eInt nIndex, eInt nCount)
{
    E_ARRAY_ASSERT(nIndex>=0); static_assert(__LINE__ == 272, "line");
    if (nIndex < 0 || nCount <= 0 || nIndex >= GetSize())
        return 0;
    const std::int64_t end = std::min<std::int64_t>(static_cast<std::int64_t>(nIndex) + nCount, GetSize());
    m_array.erase(m_array.begin() + nIndex, m_array.begin() + static_cast<eInt>(end));
    return static_cast<eInt>(end) - nIndex;
}

} // namespace Kest

// The instantiations the library exports for the element types of this layer;
// the layers above declare theirs beside their own types.
#include "Base/ePoiInfo.h"
#include "Base/eString.h"
#include "Base/ueglobal_addr_t.h"

namespace Kest {
extern template class KEST_API eArray<char>;
extern template class KEST_API eArray<unsigned char>;
extern template class KEST_API eArray<unsigned short>;
extern template class KEST_API eArray<int>;
extern template class KEST_API eArray<unsigned int>;
extern template class KEST_API eArray<std::uint64_t>;
extern template class KEST_API eArray<unsigned char*>;
extern template class KEST_API eArray<eString>;
extern template class KEST_API eArray<ePoiInfo>;
extern template class KEST_API eArray<ueglobal_addr_t>;
extern template class KEST_API eArray<ueaddr_t>;
} // namespace Kest
