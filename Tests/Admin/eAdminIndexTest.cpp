#include "Admin/eAdminIndex.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

#include "Base/NdfFormat.h"
#include "Base/eCrc32.h"
#include "Compiler/AdminIndexWriter.h"
#include "Ndf/NdfBytes.h"
#include "Support/TempDir.h"

using namespace Kest;
using KestTest::TempDir;
using Bytes = std::vector<unsigned char>;

namespace {

const std::string kHaidian = "\xB1\xB1\xBE\xA9\xCA\xD0\xBA\xA3\xB5\xED\xC7\xF8";          // 12 bytes
const std::string kPudong = "\xC9\xCF\xBA\xA3\xCA\xD0\xC6\xD6\xB6\xAB\xD0\xC2\xC7\xF8"; // 14 bytes

Bytes Areas(const std::map<std::uint16_t, std::string>& areas)
{
    AdminIndexWriter writer;
    for (const auto& [code, name] : areas)
        EXPECT_TRUE(writer.Add(code, name));
    return writer.Bytes();
}

// The name found, or "-" (and the name left alone) for none.
std::string Lookup(eAdminIndex& index, unsigned short code)
{
    eString name("untouched");
    const bool found = index.GetAdminInfo(code, name);
    EXPECT_TRUE(found || name == "untouched");
    return found ? std::string(name.Cstr(), static_cast<std::size_t>(name.GetLength())) : "-";
}

} // namespace

TEST(eAdminIndex, ReadsLazilyFollowsThePathAndRetriesOnlyWhenAsked)
{
    TempDir dir;
    const std::string first = dir.Path("first.ndf"), second = dir.Path("second.ndf");
    eAdminIndex index;
    EXPECT_EQ("-", Lookup(index, 7)); // no path at all
    index.SetFilePath(first.c_str());
    EXPECT_EQ("-", Lookup(index, 7)); // missing; the failure is remembered
    TempDir::Write(first, Areas({{7, kHaidian}, {300, kPudong}}));
    EXPECT_EQ("-", Lookup(index, 7));
    index.SetFilePath(first.c_str()); // the same path again: another attempt
    EXPECT_EQ(kHaidian, Lookup(index, 7));
    // Once read, the same path keeps what it read; another path reads anew.
    TempDir::Write(first, Areas({{7, "seven"}}));
    TempDir::Write(second, Areas({{7, "seven"}}));
    index.SetFilePath(first.c_str());
    EXPECT_EQ(kPudong, Lookup(index, 300));
    index.SetFilePath(second.c_str());
    EXPECT_EQ("seven", Lookup(index, 7));
    EXPECT_EQ("-", Lookup(index, 300));
}

// Every prefix, every flipped byte, a byte too many, and files with a right
// checksum but a wrong structure, as a faulty writer makes: no areas at all.
TEST(eAdminIndex, RejectsTruncatedCorruptAndMalformedFiles)
{
    using namespace NdfFormat;
    TempDir dir;
    const std::string path = dir.Path("AdminIndex.ndf");
    auto count = [&](const Bytes& bytes) {
        TempDir::Write(path, bytes);
        eAdminIndex index;
        index.SetFilePath(path.c_str());
        return index.GetCount();
    };
    const Bytes good = Areas({{7, kHaidian}, {300, kPudong}, {65535, "x"}});
    for (std::size_t at = 0; at < good.size(); ++at) {
        Bytes flipped = good;
        flipped[at] ^= 0x20;
        EXPECT_EQ(0, count(flipped)) << "flipped " << at;
        EXPECT_EQ(0, count(Bytes(good.begin(), good.begin() + static_cast<long>(at)))) << "cut at " << at;
    }
    Bytes longer = good;
    longer.push_back(0);
    EXPECT_EQ(0, count(longer));
    // Sets `width` bytes at `at` to `value`, and the checksum to match.
    auto with = [&](std::size_t at, std::uint32_t value, int width) {
        Bytes bytes = good;
        for (int i = 0; i < width; ++i)
            bytes[at + static_cast<std::size_t>(i)] = static_cast<unsigned char>(value >> (8 * i));
        NdfBytes::Put32(&bytes[kAdminChecksumOffset],
                        eCrc32::Compute(bytes.data() + kAdminHeaderSize, bytes.size() - kAdminHeaderSize));
        return count(bytes);
    };
    const std::size_t second = kAdminHeaderSize + kAdminEntrySize; // code 300, offset 12, length 14
    EXPECT_EQ(3, with(0, 'K', 1));         // nothing changed
    EXPECT_EQ(0, with(4, 2, 4));           // version 2
    EXPECT_EQ(0, with(8, 2, 4));           // table ends before the names do
    EXPECT_EQ(0, with(8, 0x20000000, 4));  // absurd count
    EXPECT_EQ(0, with(12, 0xFFFFFFF0, 4)); // absurd names length
    EXPECT_EQ(0, with(second, 7, 2));      // code equal to the one before
    EXPECT_EQ(0, with(second + 4, 14, 4)); // 14 + 14 > 27 bytes of names
    EXPECT_EQ(0, with(second + 2, 16, 2)); // 12 + 16 > 27
    EXPECT_EQ(3, with(second + 2, 15, 2)); // ends exactly at the end: valid
}

// 3,000 counties with random codes and GBK names, written to a file: every
// possible code looked up against a std::map of what was written.
TEST(eAdminIndex, AgreesWithAMapModelOnEveryCode)
{
    std::mt19937 random(3000);
    std::map<std::uint16_t, std::string> model;
    while (model.size() < 3000) {
        std::string name;
        for (unsigned characters = random() % 12; characters > 0; --characters)
            name += {static_cast<char>(0xB0 + random() % 0x48), static_cast<char>(0xA1 + random() % 0x5E)};
        model.emplace(static_cast<std::uint16_t>(random()), name);
    }
    TempDir dir;
    TempDir::Write(dir.Path("AdminIndex.ndf"), Areas(model));
    eAdminIndex index;
    index.SetFilePath(dir.Path("AdminIndex.ndf").c_str());
    ASSERT_EQ(3000, index.GetCount());
    for (int code = 0; code <= 65535; ++code) {
        const auto it = model.find(static_cast<std::uint16_t>(code));
        ASSERT_EQ(it == model.end() ? "-" : it->second, Lookup(index, static_cast<std::uint16_t>(code))) << code;
    }
}
