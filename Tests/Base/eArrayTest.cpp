#include "Base/eArray.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "Support/AssertRecorder.h"

using Kest::eArray;
using KestTest::AssertRecorder;

namespace {

const char kIndexCheck[] = "nIndex>=0 && nIndex<(eInt)m_array.size()";
const char kArrayFile[] = "..\\..\\..\\Include\\Base\\eArray.h";

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

// Exposes the grow-by step, which no public member sets, and the capacity.
template <class T> class SteppedArray : public eArray<T> {
public:
    explicit SteppedArray(int step) { this->m_nGrowBy = step; }
    int capacity() const { return this->Capacity(); }
};

} // namespace

TEST(eArray, AddReturnsIndexAndAppendReturnsOldSize)
{
    eArray<int> a;
    EXPECT_EQ(nullptr, a.GetData());
    EXPECT_EQ(0, a.Add(7));
    EXPECT_EQ(1, a.Add(8));
    eArray<int> b = Numbers(3);
    EXPECT_EQ(2, a.Append(b));
    EXPECT_EQ(5, a.Append(9, 3));
    EXPECT_EQ(8, a.Append(1, 0)); // no copies: size unchanged
    EXPECT_EQ("7,8,0,10,20,9,9,9", Dump(a));
    EXPECT_EQ(8, a.Append(a));    // appending itself doubles it
    EXPECT_EQ("7,8,0,10,20,9,9,9,7,8,0,10,20,9,9,9", Dump(a));
    a.Add(a[0]);                  // an element of the array itself
    EXPECT_EQ(7, a[a.GetSize() - 1]);
}

TEST(eArray, RemoveAtClampsCountAndIgnoresIndexPastEnd)
{
    eArray<int> a = Numbers(6);
    EXPECT_EQ(1, a.RemoveAt(5, 3));
    EXPECT_EQ("0,10,20,30,40", Dump(a));
    EXPECT_EQ(0, a.RemoveAt(5, 1));
    EXPECT_EQ(0, a.RemoveAt(1, 0));
    EXPECT_EQ(0, a.RemoveAt(1, -2));
    EXPECT_EQ(2, a.RemoveAt(1, 2));
    EXPECT_EQ("0,30,40", Dump(a));
}

TEST(eArray, RemoveAtNegativeIndexIsReportedAndRemovesNothing)
{
    AssertRecorder rec;
    eArray<int> a = Numbers(3);
    EXPECT_EQ(0, a.RemoveAt(-1, 2));
    EXPECT_EQ("0,10,20", Dump(a));
    ASSERT_EQ(1u, rec.reports().size());
    EXPECT_EQ("nIndex>=0", rec.reports()[0].expression);
    EXPECT_EQ(kArrayFile, rec.reports()[0].file);
    EXPECT_EQ(272, rec.reports()[0].line);
}

TEST(eArray, InsertAtClampsIndex)
{
    const int items[] = {1, 2};
    eArray<int> a = Numbers(3);
    a.InsertAt(-4, items, 2);
    EXPECT_EQ("1,2,0,10,20", Dump(a));
    a.InsertAt(100, items, 2);
    EXPECT_EQ("1,2,0,10,20,1,2", Dump(a));
    a.InsertAt(1, 5, 2);
    EXPECT_EQ("1,5,5,2,0,10,20,1,2", Dump(a));
    a.InsertAt(0, items, 0);          // count below 1
    a.InsertAt(0, static_cast<const int*>(nullptr), 3);
    a.InsertAt(0, 9, -1);
    EXPECT_EQ(9, a.GetSize());
    a.InsertAt(0, a.GetData() + 5, 2); // from the array itself
    EXPECT_EQ("10,20,1,5,5,2,0,10,20,1,2", Dump(a));
}

TEST(eArray, BadIndexIsReportedWithTextAndLineThenRaisesOutOfRange)
{
    AssertRecorder rec;
    eArray<int> a = Numbers(2);
    const eArray<int>& c = a;

    EXPECT_THROW(a[2], std::out_of_range);
    EXPECT_THROW(c[-1], std::out_of_range);
    EXPECT_THROW(a.GetAt(5), std::out_of_range);
    EXPECT_THROW(a.SetAt(2, 1), std::out_of_range);
    try {
        a[2];
    } catch (const std::out_of_range& e) {
        EXPECT_STREQ("invalid vector<T> subscript", e.what());
    }

    ASSERT_EQ(5u, rec.reports().size());
    const int lines[] = {198, 207, 216, 226, 198};
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(kIndexCheck, rec.reports()[i].expression);
        EXPECT_EQ(kArrayFile, rec.reports()[i].file);
        EXPECT_EQ(lines[i], rec.reports()[i].line);
    }
    EXPECT_EQ("0,10", Dump(a));
}

TEST(eArray, NegativeSizesAreReported)
{
    AssertRecorder rec;
    eArray<int> a(-3);
    EXPECT_EQ(0, a.GetSize());
    a = Numbers(2);
    a.SetSize(-1);
    EXPECT_EQ(2, a.GetSize());
    ASSERT_EQ(3u, rec.reports().size());
    EXPECT_EQ("nSize>=0", rec.reports()[0].expression);
    EXPECT_EQ(25, rec.reports()[0].line);
    // The sized constructor resizes through SetSize, which checks again.
    EXPECT_EQ("nNewSize>=0", rec.reports()[1].expression);
    EXPECT_EQ(252, rec.reports()[1].line);
    EXPECT_EQ(252, rec.reports()[2].line);
}

TEST(eArray, SetSizeDefaultConstructsAndTruncates)
{
    eArray<std::string> a(2);
    EXPECT_EQ(2, a.GetSize());
    EXPECT_EQ("", a[1]);
    a[0] = "x";
    a.SetSize(1);
    EXPECT_EQ(1, a.GetSize());
    EXPECT_EQ("x", a[0]);
    a.RemoveAll();
    EXPECT_EQ(0, a.GetSize());
}

TEST(eArray, GrowthAndCapacity)
{
    // Step 0: one and a half times the old capacity, or what is needed.
    SteppedArray<int> a(0);
    for (int i = 0; i < 4; ++i)
        a.Add(i);
    EXPECT_EQ(4, a.capacity()); // 1, 2, 3, 4
    a.Add(4);
    EXPECT_EQ(6, a.capacity());
    a.SetSize(20);
    EXPECT_EQ(20, a.capacity());
    a.SetSize(3);
    EXPECT_EQ(20, a.capacity()); // shrinking keeps the capacity
    a.FreeExtra();
    EXPECT_EQ(3, a.capacity());

    // A positive step reserves whole steps.
    SteppedArray<int> b(4);
    b.Add(1);
    EXPECT_EQ(4, b.capacity());
    b.SetSize(9); // capacity 4 + (9 / 4 + 1) * 4
    EXPECT_EQ(16, b.capacity());
}

TEST(eArray, CopyIsDeep)
{
    eArray<int> a = Numbers(3);
    eArray<int> b(a);
    b[0] = 99;
    eArray<int> c;
    c = b;
    c.Add(1);
    EXPECT_EQ("0,10,20", Dump(a));
    EXPECT_EQ("99,10,20", Dump(b));
    EXPECT_EQ("99,10,20,1", Dump(c));
}
