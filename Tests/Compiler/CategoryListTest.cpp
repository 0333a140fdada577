#include "Compiler/CategoryList.h"

#include <gtest/gtest.h>

#include "Compiler/GbkCodec.h"

using Kest::CategoryList;
using Kest::GbkCodec;

TEST(CategoryList, ConvertsToTheEngineForm)
{
    CategoryList list;
    std::string error;
    std::size_t line = 99;
    ASSERT_TRUE(list.Parse("\xEF\xBB\xBF餐饮服务\r\n"
                           "\t中餐厅\t2000\r\n"
                           "\n"
                           "\t快餐厅\t02005  \n"
                           "购物服务 \n"
                           "\t商场\t3000",
                           error, line))
        << error;
    EXPECT_EQ(GbkCodec::Gbk("餐饮服务\n\t中餐厅\t2000\n\t快餐厅\t2005\n购物服务\n\t商场\t3000\n"), list.GbkText());
    ASSERT_EQ(3u, list.GetLeafCount());
    EXPECT_EQ("快餐厅", list.Branches()[0].leaves[1].name);
    EXPECT_TRUE(list.HasCode(2005));
    EXPECT_FALSE(list.HasCode(2001));
}

TEST(CategoryList, RefusesWhatTheEngineCannotRead)
{
    const std::string longName(50, 'x');
    struct Case {
        std::string text;
        std::size_t line;
        std::string error;
    } cases[] = {
        {"\t中餐厅\t2000\n", 1, "leaf '中餐厅' comes before the first branch line"},
        {"餐饮\n\t中餐厅 2000\n", 2, "leaf line has no tab between name and code"},
        {"餐饮\n\t中 餐\t2000\n", 2, "leaf name '中 餐' holds a space or tab"},
        {"餐 饮\n", 1, "branch name '餐 饮' holds a space or tab"},
        {"餐饮\n\t\t2000\n", 2, "leaf name is empty"},
        {"餐饮\n\t中餐\t20x0\n", 2, "code '20x0' is not a number from 0 to 2147483647"},
        {"餐饮\n\t中餐\t2147483648\n", 2, "code '2147483648' is not a number from 0 to 2147483647"},
        {"餐饮\n\t中餐\t1\n\n\t西餐\t1\n", 4, "code 1 is already used on line 2"},
        {"餐饮\n\t" + longName + longName + "\t1\n", 2, "line takes 103 bytes in GBK, more than 98"},
        {"餐饮\n", 0, "no category: the list has no leaf line"},
        {"餐饮\n\t😀\t1\n", 2, "leaf name '😀': U+1F600 '😀' at byte 1 (character 1) cannot be encoded in GBK"},
    };
    for (const Case& c : cases) {
        CategoryList list;
        std::string error;
        std::size_t line = 0;
        EXPECT_FALSE(list.Parse(c.text, error, line)) << c.text;
        EXPECT_EQ(c.error, error) << c.text;
        EXPECT_EQ(c.line, line) << c.text;
    }
    CategoryList list;
    std::string error;
    std::size_t line = 0;
    // The longest line the engine's 100-byte buffer still reads whole.
    EXPECT_TRUE(list.Parse("b\n\t" + std::string(92, 'x') + "\t1234\n", error, line)) << error;
}
