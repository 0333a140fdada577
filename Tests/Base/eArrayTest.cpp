#include "Base/eArray.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "Support/AssertRecorder.h"

using Kest::eArray;
using KestTest::AssertRecorder;

namespace {

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

} // namespace

TEST(eArray, AddAndAppendReturnIndexes)
{
    eArray<int> a;
    EXPECT_EQ(nullptr, a.GetData());
    EXPECT_EQ(0, a.Add(7));
    EXPECT_EQ(1, a.Append(Numbers(2)));
    EXPECT_EQ(3, a.Append(9, 2));
    EXPECT_EQ(5, a.Append(a)); // appending itself doubles it
    EXPECT_EQ("7,0,10,9,9,7,0,10,9,9", Dump(a));
}

TEST(eArray, RemoveAtAndInsertAtClamp)
{
    AssertRecorder rec;
    eArray<int> a = Numbers(6);
    EXPECT_EQ(1, a.RemoveAt(5, 3)); // count cut at the end
    EXPECT_EQ(0, a.RemoveAt(5, 1)); // index at the end
    EXPECT_EQ(0, a.RemoveAt(1, 0));
    EXPECT_EQ(0, a.RemoveAt(-1, 2)); // reported, removes nothing
    EXPECT_EQ("0,10,20,30,40", Dump(a));
    ASSERT_EQ(1u, rec.reports().size());
    EXPECT_EQ("nIndex>=0", rec.reports()[0].expression);
    EXPECT_EQ(272, rec.reports()[0].line);

    const int items[] = {1, 2};
    eArray<int> b = Numbers(3);
    b.InsertAt(-4, items, 2);
    b.InsertAt(100, items, 2);
    b.InsertAt(0, items, 0);
    b.InsertAt(0, static_cast<const int*>(nullptr), 3);
    EXPECT_EQ("1,2,0,10,20,1,2", Dump(b));
    b.InsertAt(1, b.GetData() + 3, 2); // from the array itself
    EXPECT_EQ("1,10,20,2,0,10,20,1,2", Dump(b));
}

TEST(eArray, BadIndexIsReportedWithTextAndLineThenRaisesOutOfRange)
{
    AssertRecorder rec;
    eArray<int> a = Numbers(2);
    const eArray<int>& c = a;
    EXPECT_THROW(a[2], std::out_of_range);
    EXPECT_THROW(c[-1], std::out_of_range);
    EXPECT_THROW(a.GetAt(5), std::out_of_range);
    try {
        a.SetAt(2, 1);
        FAIL();
    } catch (const std::out_of_range& e) {
        EXPECT_STREQ("invalid vector<T> subscript", e.what());
    }
    eArray<int> negative(-3);
    EXPECT_EQ(0, negative.GetSize());

    const int lines[] = {198, 207, 216, 226, 25, 252};
    ASSERT_EQ(6u, rec.reports().size());
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(lines[i], rec.reports()[i].line);
        EXPECT_EQ(kArrayFile, rec.reports()[i].file);
    }
    EXPECT_EQ("nIndex>=0 && nIndex<(eInt)m_array.size()", rec.reports()[3].expression);
    EXPECT_EQ("nSize>=0", rec.reports()[4].expression);
    EXPECT_EQ("nNewSize>=0", rec.reports()[5].expression); // the constructor resizes through SetSize
    EXPECT_EQ("0,10", Dump(a));
}
