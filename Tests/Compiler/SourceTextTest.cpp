#include "Compiler/SourceText.h"

#include <gtest/gtest.h>

using Kest::SourceText;

TEST(SourceText, QuotesAnyBytesAsOneReadableLine)
{
    EXPECT_EQ("''", SourceText::Quote(""));
    EXPECT_EQ("'北京市,东城区'", SourceText::Quote("北京市,东城区"));
    EXPECT_EQ("'😀'", SourceText::Quote("😀"));
    // Control characters, a stray continuation byte, a cut sequence at the
    // end, an overlong '/', a surrogate: each byte escaped on its own.
    EXPECT_EQ("'a\\x0Ab\\x09\\x00\\x7F'", SourceText::Quote(std::string_view("a\nb\t\0\x7F", 6)));
    EXPECT_EQ("'\\x80x\\xE5\\x8C'", SourceText::Quote("\x80x\xE5\x8C"));
    EXPECT_EQ("'\\xC0\\xAF\\xED\\xA0\\x80'", SourceText::Quote("\xC0\xAF\xED\xA0\x80"));
    // Cut after 80 characters, whole characters kept.
    std::string hanzi;
    for (int i = 0; i < 80; ++i)
        hanzi += "字";
    EXPECT_EQ("'" + hanzi + "'", SourceText::Quote(hanzi));
    EXPECT_EQ("'" + hanzi + "'...", SourceText::Quote(hanzi + "多"));
}
