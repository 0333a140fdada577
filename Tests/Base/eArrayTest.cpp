#include "Base/eArray.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "Support/AssertRecorder.h"

using Kest::eArray;
using KestTest::AssertRecorder;

namespace {

eArray<int> Numbers(int n)
{
    eArray<int> a;
    for (int i = 0; i < n; ++i)
        a.Add(i * 10);
    return a;
}

std::string Dump(const eArray<int>& a)
{
    std::string s;
    for (int i = 0; i < a.GetSize(); ++i)
        s += (i ? "," : "") + std::to_string(a[i]);
    return s;
}

} // namespace

// Adding gives indexes, appending itself doubles; removal and insertion clamp
// to the array (a negative index is reported and removes nothing), and an
// insertion may take its items from the array itself.
TEST(eArray, AddAppendInsertAndRemoveClampToTheArray)
{
    AssertRecorder rec;
    eArray<int> a;
    EXPECT_EQ(0, a.Add(7));
    EXPECT_EQ(1, a.Append(Numbers(2)));
    EXPECT_EQ(3, a.Append(9, 2));
    EXPECT_EQ(5, a.Append(a));
    EXPECT_EQ("7,0,10,9,9,7,0,10,9,9", Dump(a));

    a = Numbers(6);
    EXPECT_EQ(1, a.RemoveAt(5, 3));
    EXPECT_EQ(0, a.RemoveAt(5, 1));
    EXPECT_EQ(0, a.RemoveAt(1, 0));
    EXPECT_EQ(0, a.RemoveAt(-1, 2));
    EXPECT_EQ("0,10,20,30,40", Dump(a));
    ASSERT_EQ(1u, rec.reports().size());
    EXPECT_EQ("nIndex>=0", rec.reports()[0].expression);

    const int items[] = {1, 2};
    a = Numbers(3);
    a.InsertAt(-4, items, 2);
    a.InsertAt(100, items, 2);
    a.InsertAt(0, items, 0);
    a.InsertAt(0, static_cast<const int*>(nullptr), 3);
    EXPECT_EQ("1,2,0,10,20,1,2", Dump(a));
    a.InsertAt(1, a.GetData() + 3, 2);
    EXPECT_EQ("1,10,20,2,0,10,20,1,2", Dump(a));
}

// The lines of the reports are pinned in the header itself; here, that each
// bad index is reported with its text and the legacy file name, then raises.
TEST(eArray, BadIndexIsReportedThenRaisesOutOfRange)
{
    AssertRecorder rec;
    eArray<int> a = Numbers(2);
    const eArray<int>& c = a;
    EXPECT_THROW(a[2], std::out_of_range);
    EXPECT_THROW(c[-1], std::out_of_range);
    EXPECT_THROW(a.GetAt(5), std::out_of_range);
    EXPECT_THROW(a.SetAt(2, 1), std::out_of_range);
    eArray<int> negative(-3);
    EXPECT_EQ(0, negative.GetSize());
    EXPECT_EQ("0,10", Dump(a));
    ASSERT_EQ(6u, rec.reports().size());
    for (const auto& report : rec.reports())
        EXPECT_EQ("..\\..\\..\\Include\\Base\\eArray.h", report.file);
    EXPECT_EQ("nIndex>=0 && nIndex<(eInt)m_array.size()", rec.reports()[3].expression);
    EXPECT_EQ("nSize>=0", rec.reports()[4].expression);
    EXPECT_EQ("nNewSize>=0", rec.reports()[5].expression); // the constructor resizes through SetSize
}
