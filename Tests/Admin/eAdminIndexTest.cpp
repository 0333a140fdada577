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

const std::string kHaidian = "\xB1\xB1\xBE\xA9\xCA\xD0\xBA\xA3\xB5\xED\xC7\xF8"; // 北京市海淀区
const std::string kPudong = "\xC9\xCF\xBA\xA3\xCA\xD0\xC6\xD6\xB6\xAB\xD0\xC2\xC7\xF8"; // 上海市浦东新区

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
    return index.GetAdminInfo(code, name) ? std::string(name.Cstr()) : "-";
}

void PutU32(Bytes& bytes, std::size_t at, std::uint32_t value)
{
    for (int i = 0; i < 4; ++i)
        bytes[at + static_cast<std::size_t>(i)] = static_cast<unsigned char>(value >> (8 * i));
}

// Recomputes the checksum, so that a test can reach the structural checks.
void Reseal(Bytes& bytes)
{
    PutU32(bytes, Kest::NdfFormat::kAdminChecksumOffset,
           Kest::eCrc32::Compute(bytes.data() + Kest::NdfFormat::kAdminHeaderSize,
                                 bytes.size() - Kest::NdfFormat::kAdminHeaderSize));
}

} // namespace

TEST(eAdminIndex, LooksUpNamesByCode)
{
    TempDir dir;
    TempDir::Write(dir.Path("AdminIndex.ndf"), ThreeAreas());
    eAdminIndex index;
    index.SetFilePath(dir.Path("AdminIndex.ndf").c_str());
    EXPECT_EQ(kHaidian, Lookup(index, 7));
    EXPECT_EQ(kPudong, Lookup(index, 300));
    EXPECT_EQ("x", Lookup(index, 65535));
    EXPECT_EQ(3, index.GetCount());
    eString name("kept");
    EXPECT_FALSE(index.GetAdminInfo(0, name));
    EXPECT_FALSE(index.GetAdminInfo(8, name));
    EXPECT_FALSE(index.GetAdminInfo(65534, name));
    EXPECT_EQ(eString("kept"), name); // a failed lookup leaves the name alone

    // The engine copies its members as they stand.
    eAdminIndex copy = index;
    EXPECT_EQ(kPudong, Lookup(copy, 300));
}

TEST(eAdminIndex, ReadsLazilyAndFollowsThePath)
{
    TempDir dir;
    const std::string first = dir.Path("first.ndf"), second = dir.Path("second.ndf");
    eAdminIndex index;
    EXPECT_EQ("-", Lookup(index, 7)); // no path at all
    index.SetFilePath(first.c_str());  // opens nothing: the file does not exist yet
    TempDir::Write(first, ThreeAreas());
    EXPECT_EQ(kHaidian, Lookup(index, 7));

    // Once read, the same path keeps what it read.
    AdminIndexWriter other;
    other.Add(7, "seven");
    TempDir::Write(first, other.Bytes());
    index.SetFilePath(first.c_str());
    EXPECT_EQ(kHaidian, Lookup(index, 7));

    // Another path reads the other file.
    TempDir::Write(second, other.Bytes());
    index.SetFilePath(second.c_str());
    EXPECT_EQ("seven", Lookup(index, 7));
    EXPECT_EQ("-", Lookup(index, 300));
    EXPECT_EQ(eString(second.c_str()), index.GetFilePath());
}

TEST(eAdminIndex, AFailedReadIsRetriedOnlyAfterSetFilePath)
{
    TempDir dir;
    const std::string path = dir.Path("AdminIndex.ndf");
    eAdminIndex index;
    index.SetFilePath(path.c_str());
    EXPECT_EQ("-", Lookup(index, 7)); // missing
    EXPECT_EQ(0, index.GetCount());
    TempDir::Write(path, ThreeAreas());
    EXPECT_EQ("-", Lookup(index, 7)); // the failure is remembered
    index.SetFilePath(path.c_str());
    EXPECT_EQ(kHaidian, Lookup(index, 7));
}

TEST(eAdminIndex, EveryTruncationAndFlippedByteFails)
{
    TempDir dir;
    const std::string path = dir.Path("AdminIndex.ndf");
    const Bytes good = ThreeAreas();
    for (std::size_t length = 0; length < good.size(); ++length) {
        TempDir::Write(path, Bytes(good.begin(), good.begin() + static_cast<long>(length)));
        eAdminIndex index;
        index.SetFilePath(path.c_str());
        EXPECT_EQ("-", Lookup(index, 7)) << length;
        EXPECT_EQ(0, index.GetCount()) << length;
    }
    // Header, table (middle) and the last name byte, each byte of the file.
    for (std::size_t at = 0; at < good.size(); ++at) {
        Bytes bad = good;
        bad[at] ^= 0x20;
        TempDir::Write(path, bad);
        eAdminIndex index;
        index.SetFilePath(path.c_str());
        EXPECT_EQ(0, index.GetCount()) << at;
        EXPECT_EQ("-", Lookup(index, 300)) << at;
    }
    Bytes longer = good;
    longer.push_back(0);
    TempDir::Write(path, longer);
    eAdminIndex index;
    index.SetFilePath(path.c_str());
    EXPECT_EQ(0, index.GetCount());
}

// Files whose checksum is right but whose structure is not.
TEST(eAdminIndex, RejectsMalformedTablesWithValidChecksums)
{
    using namespace Kest::NdfFormat;
    TempDir dir;
    const std::string path = dir.Path("AdminIndex.ndf");
    auto loads = [&](Bytes bytes) {
        Reseal(bytes);
        TempDir::Write(path, bytes);
        eAdminIndex index;
        index.SetFilePath(path.c_str());
        return index.GetCount();
    };
    const Bytes good = ThreeAreas();
    ASSERT_EQ(3, loads(good));
    const std::size_t entry1 = kAdminHeaderSize + kAdminEntrySize; // second entry

    Bytes version = good;
    PutU32(version, 4, 2);
    EXPECT_EQ(0, loads(version));
    Bytes count = good;
    PutU32(count, 8, 2); // the table no longer ends where the names start
    EXPECT_EQ(0, loads(count));
    Bytes huge = good;
    PutU32(huge, 8, 0x20000000);
    EXPECT_EQ(0, loads(huge));
    Bytes namesLength = good;
    PutU32(namesLength, 12, 0xFFFFFFF0);
    EXPECT_EQ(0, loads(namesLength));
    Bytes unsorted = good;
    unsorted[entry1] = 7; // code 300 -> 7: equal to the one before
    unsorted[entry1 + 1] = 0;
    EXPECT_EQ(0, loads(unsorted));
    Bytes pastNames = good;
    PutU32(pastNames, entry1 + 4, 14); // offset 14 + length 14 > 27 bytes of names
    EXPECT_EQ(0, loads(pastNames));
    Bytes longName = good;
    longName[entry1 + 2] = 16; // length 16 from offset 12
    EXPECT_EQ(0, loads(longName));
    Bytes lastName = good;
    lastName[entry1 + 2] = 15; // ends exactly at the end of the names: valid
    EXPECT_EQ(3, loads(lastName));
}

// 3,000 counties with random codes and GBK-looking names, every possible code
// looked up against a std::map of what was written.
TEST(eAdminIndex, AgreesWithAMapModelOnEveryCode)
{
    std::mt19937 random(3000);
    std::map<unsigned short, std::string> model;
    AdminIndexWriter writer;
    while (model.size() < 3000) {
        const auto code = static_cast<unsigned short>(random());
        std::string name;
        const int characters = static_cast<int>(random() % 12);
        for (int i = 0; i < characters; ++i) {
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
