#include "Compiler/PhoneNumbers.h"

#include <gtest/gtest.h>

using Kest::PhoneNumbers;

// Each field with the numbers it gives and the number of parts rejected.
TEST(PhoneNumbers, SplitsNormalisesAndRejects)
{
    struct Case {
        const char* field;
        std::vector<std::string> numbers;
        std::size_t rejected;
    } cases[] = {
        {"", {}, 0},
        {" ; ,/", {}, 0},
        {"(010) 6512-3456", {"01065123456"}, 0},
        {"+8613800138000", {"13800138000"}, 0},
        {"0086 10 1234", {"101234"}, 0},
        {"86123", {"86123"}, 0},                  // no '+' or "00": not a country code
        {"+86+86123", {}, 1},                     // only one country code is removed
        {"010086", {"010086"}, 0},                // only a leading one
        {"+86", {}, 1},                           // nothing left
        {"12345678901234567890", {"12345678901234567890"}, 0},
        {"123456789012345678901", {}, 1},
        {"110;120/119,110", {"110", "120", "119"}, 0},
        {"12a4;138", {"138"}, 1},
        {"１３８", {}, 1},                         // full-width digits are not digits
        {"ext.5", {}, 1},
    };
    for (const Case& c : cases) {
        std::vector<std::string> rejected;
        EXPECT_EQ(PhoneNumbers::Split(c.field, rejected), c.numbers) << c.field;
        EXPECT_EQ(rejected.size(), c.rejected) << c.field;
    }
}
