#include "Base/ReadAt.h"

#include <gtest/gtest.h>

#include <cstdio>

// Exactly the bytes asked for, or false: a read that would pass the end of
// the file fails even when part of it could be read.
TEST(ReadAt, ReadsWholeRangesAndRefusesShortOnes)
{
    std::FILE* f = std::tmpfile();
    ASSERT_NE(nullptr, f);
    std::fputs("0123456789", f);
    std::fflush(f);
    const struct {
        std::uint64_t offset;
        std::size_t size;
        bool ok;
    } cases[] = {{0, 10, true}, {4, 6, true}, {5, 6, false}, {9, 2, false}, {10, 1, false}, {10, 0, true}};
    for (const auto& c : cases) {
        unsigned char buffer[16] = {};
        EXPECT_EQ(c.ok, Kest::ReadAt(f, c.offset, buffer, c.size)) << c.offset << "+" << c.size;
        if (c.ok && c.size > 0) {
            EXPECT_EQ('0' + static_cast<int>(c.offset), buffer[0]);
        }
    }
    std::fclose(f);
}
