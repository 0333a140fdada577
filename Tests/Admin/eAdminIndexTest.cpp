#include "Admin/eAdminIndex.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

#include "Base/NdfFormat.h"
#include "Base/eCrc32.h"
#include "Build/AdminIndexWriter.h"
#include "Support/TempDir.h"

using Kest::AdminIndexWriter;
using Kest::eAdminIndex;
using Kest::eString;
using KestTest::TempDir;
using Bytes = std::vector<unsigned char>;

namespace {

const std::string kHaidian = "\xB1\xB1\xBE\xA9\xCA\xD0\xBA\xA3\xB5\xED\xC7\xF8";          // 12 bytes
const std::string kPudong = "\xC9\xCF\xBA\xA3\xCA\xD0\xC6\xD6\xB6\xAB\xD0\xC2\xC7\xF8"; // 14 bytes

Bytes ThreeAreas()
{
    AdminIndexWriter writer;
    writer.Add(7, kHaidian);
    writer.Add(300, kPudong);
    writer.Add(65535, "x");
    return writer.Bytes();
}

std::string Lookup(eAdminIndex& index, unsigned short code)
{
    eString name("untouched");
    const bool found = index.GetAdminInfo(code, name);
    EXPECT_TRUE(found || name == "untouched"); // a failed lookup leaves the name alone
    return found ? std::string(name.Cstr()) : "-";
}

int CountOf(const std::string& path)
{
    eAdminIndex index;
    index.SetFilePath(path.c_str());
    return index.GetCount();
}

void PutU32(Bytes& bytes, std::size_t at, std::uint32_t value)
{
    for (std::size_t i = 0; i < 4; ++i)
        bytes[at + i] = static_cast<unsigned char>(value >> (8 * i));
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
    TempDir::Write(first, ThreeAreas());
    EXPECT_EQ("-", Lookup(index, 7));
    index.SetFilePath(first.c_str()); // the same path again: another attempt
    EXPECT_EQ(kHaidian, Lookup(index, 7));
    EXPECT_EQ(kPudong, Lookup(index, 300));
    EXPECT_EQ("x", Lookup(index, 65535));
    for (unsigned short unknown : {0, 8, 299, 65534})
        EXPECT_EQ("-", Lookup(index, unknown)) << unknown;

    // Once read, the same path keeps what it read; another path reads anew.
    AdminIndexWriter other;
    other.Add(7, "seven");
    TempDir::Write(first, other.Bytes());
    TempDir::Write(second, other.Bytes());
    index.SetFilePath(first.c_str());
    EXPECT_EQ(kHaidian, Lookup(index, 7));
    eAdminIndex copy = index; // the engine copies its members as they stand
    index.SetFilePath(second.c_str());
    EXPECT_EQ("seven", Lookup(index, 7));
    EXPECT_EQ("-", Lookup(index, 300));
    EXPECT_EQ(kPudong, Lookup(copy, 300));
}

TEST(eAdminIndex, EveryTruncationAndFlippedByteFails)
{
    TempDir dir;
    const std::string path = dir.Path("AdminIndex.ndf");
    const Bytes good = ThreeAreas();
    for (std::size_t length = 0; length < good.size(); ++length) {
        TempDir::Write(path, Bytes(good.begin(), good.begin() + static_cast<long>(length)));
        EXPECT_EQ(0, CountOf(path)) << length;
    }
    // Header, table and names: every byte of the file.
    for (std::size_t at = 0; at < good.size(); ++at) {
        Bytes bad = good;
        bad[at] ^= 0x20;
        TempDir::Write(path, bad);
        EXPECT_EQ(0, CountOf(path)) << at;
    }
    Bytes longer = good;
    longer.push_back(0);
    TempDir::Write(path, longer);
    EXPECT_EQ(0, CountOf(path));
}

// Files with a right checksum but a wrong structure, as a faulty writer makes.
TEST(eAdminIndex, RejectsMalformedTablesWithValidChecksums)
{
    using namespace Kest::NdfFormat;
    TempDir dir;
    const std::string path = dir.Path("AdminIndex.ndf");
    auto count = [&](Bytes bytes) {
        PutU32(bytes, kAdminChecksumOffset,
               Kest::eCrc32::Compute(bytes.data() + kAdminHeaderSize, bytes.size() - kAdminHeaderSize));
        TempDir::Write(path, bytes);
        return CountOf(path);
    };
    const Bytes good = ThreeAreas();
    ASSERT_EQ(3, count(good));
    const std::size_t second = kAdminHeaderSize + kAdminEntrySize; // code 300, offset 12, length 14
    auto with = [&](std::size_t at, std::uint32_t value, int width) {
        Bytes bytes = good;
        for (int i = 0; i < width; ++i)
            bytes[at + static_cast<std::size_t>(i)] = static_cast<unsigned char>(value >> (8 * i));
        return bytes;
    };
    EXPECT_EQ(0, count(with(4, 2, 4)));                  // version 2
    EXPECT_EQ(0, count(with(8, 2, 4)));                  // table ends before the names do
    EXPECT_EQ(0, count(with(8, 0x20000000, 4)));         // absurd count
    EXPECT_EQ(0, count(with(12, 0xFFFFFFF0, 4)));        // absurd names length
    EXPECT_EQ(0, count(with(second, 7, 2)));             // code equal to the one before
    EXPECT_EQ(0, count(with(second + 4, 14, 4)));        // 14 + 14 > 27 bytes of names
    EXPECT_EQ(0, count(with(second + 2, 16, 2)));        // 12 + 16 > 27
    EXPECT_EQ(3, count(with(second + 2, 15, 2)));        // ends exactly at the end: valid
}

// 3,000 counties with random codes and GBK names: every possible code looked
// up against a std::map of what was written.
TEST(eAdminIndex, AgreesWithAMapModelOnEveryCode)
{
    std::mt19937 random(3000);
    std::map<unsigned short, std::string> model;
    AdminIndexWriter writer;
    while (model.size() < 3000) {
        const auto code = static_cast<unsigned short>(random());
        std::string name;
        for (unsigned characters = random() % 12; characters > 0; --characters) {
            name += static_cast<char>(0xB0 + random() % 0x48);
            name += static_cast<char>(0xA1 + random() % 0x5E);
        }
        if (model.emplace(code, name).second) {
            ASSERT_TRUE(writer.Add(code, name));
        }
    }
    TempDir dir;
    ASSERT_TRUE(writer.WriteFile(dir.Path("AdminIndex.ndf")));
    eAdminIndex index;
    index.SetFilePath(dir.Path("AdminIndex.ndf").c_str());
    ASSERT_EQ(3000, index.GetCount());
    for (int code = 0; code <= 65535; ++code) {
        eString name;
        const auto it = model.find(static_cast<unsigned short>(code));
        ASSERT_EQ(it != model.end(), index.GetAdminInfo(static_cast<unsigned short>(code), name)) << code;
        if (it != model.end()) {
            ASSERT_EQ(it->second, std::string(name.Cstr(), static_cast<std::size_t>(name.GetLength()))) << code;
        }
    }
}
