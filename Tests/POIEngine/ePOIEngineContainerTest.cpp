#include "POIEngine/ePOIEngineContainer.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <csignal>
#include <cstring>
#include <functional>
#include <map>
#include <set>
#include <sys/wait.h>
#include <unistd.h>

#include "Support/AssertRecorder.h"
#include "Support/TempDir.h"

using namespace Kest;
using KestTest::TempDir;
namespace fs = std::filesystem;

namespace {

ePoiInfo Poi(const std::string& name, int userData = 0)
{
    ePoiInfo info;
    std::memset(&info, 0, sizeof info); // the padding too: records are compared byte for byte
    std::memcpy(info.szName, name.data(), std::min<std::size_t>(name.size(), 64));
    std::snprintf(info.szAddress, sizeof info.szAddress, "area of %s", name.c_str());
    info.dX = 116.25;
    info.dY = 39.5;
    info.nUserData = userData;
    info.nCode = 7010;
    return info;
}

// A stored record: the 152 bytes of the place, and for history its use count.
std::string Record(const ePoiInfo& info, int frequency = 0)
{
    std::string r(reinterpret_cast<const char*>(&info), 152);
    return frequency ? r + std::string(reinterpret_cast<const char*>(&frequency), 4) : r;
}

std::string Bytes(const fs::path& file)
{
    const std::vector<unsigned char> b = TempDir::Read(file.string());
    return std::string(b.begin(), b.end());
}

void WriteBytes(const fs::path& file, const std::string& bytes) { std::ofstream(file, std::ios::binary) << bytes; }

// Counts the adds that go through the virtual table, and records whether
// the last save succeeded.
class ProbedContainer : public ePOIEngineContainer {
public:
    int AddPOI(ContainerType type, const ePoiInfo& info) override
    {
        ++adds;
        return ePOIEngineContainer::AddPOI(type, info);
    }
    bool SavePOI(ContainerType type) override { return (saved = ePOIEngineContainer::SavePOI(type)); }
    int adds = 0;
    bool saved = false;
};

class ePOIEngineContainerTest : public ::testing::Test {
protected:
    void SetUp() override { store.SetDataPath(prefix.c_str()); }

    std::string Names(ContainerType type)
    {
        std::string s;
        for (int i = 0; i < store.GetPOICount(type); ++i) {
            ePoiInfo info;
            EXPECT_TRUE(store.GetPOIInfo(type, i, info));
            s += (i ? "," : "") + std::string(info.szName, strnlen(info.szName, 64));
        }
        return s;
    }
    // The frequencies as History.poi holds them.
    std::vector<int> FileFrequencies(const char* name = "History.poi")
    {
        const std::string b = Bytes(dir / name);
        std::vector<int> f;
        for (std::size_t at = 152; at + 4 <= b.size(); at += 156) {
            f.push_back(0);
            std::memcpy(&f.back(), b.data() + at, 4);
        }
        return f;
    }
    // Uses history entries so that they get the given frequencies, in order.
    void UseHistory(const std::vector<std::pair<std::string, int>>& uses)
    {
        for (const auto& [name, times] : uses)
            for (int i = 0; i < times; ++i)
                store.AddPOI(CONTAINER_HISTORY, Poi(name));
        store.SavePOI(CONTAINER_HISTORY);
    }

    TempDir tmp;
    const std::string prefix = tmp.Path("");
    const fs::path dir = prefix;
    ePOIEngineContainer store;
};

} // namespace

// Favourites: newest first, duplicates kept, every change saved in memory
// order (oldest first). History: a new place comes first among the places
// used once; a reused one passes those of equal use, not the more used; its
// stored record is kept and it is saved only by the next saving change.
TEST_F(ePOIEngineContainerTest, OrderAndSavingRules)
{
    EXPECT_EQ(0, store.AddPOI(CONTAINER_FAVORITE, Poi("a")));
    EXPECT_EQ(1, store.AddPOI(CONTAINER_FAVORITE, Poi("b")));
    EXPECT_EQ(2, store.AddPOI(CONTAINER_FAVORITE, Poi("a"))); // memory position, not index
    EXPECT_TRUE(store.ModifyPOI(CONTAINER_FAVORITE, 0, Poi("c")));
    EXPECT_TRUE(store.RemovePOI(CONTAINER_FAVORITE, 2)); // the oldest
    EXPECT_FALSE(store.RemovePOI(CONTAINER_FAVORITE, -1));
    EXPECT_EQ("c,b", Names(CONTAINER_FAVORITE));
    EXPECT_EQ(2u * 152u, Bytes(dir / "Favorite.poi").size());
    EXPECT_EQ('b', Bytes(dir / "Favorite.poi")[0]);

    UseHistory({{"x", 3}, {"y", 1}, {"z", 1}});
    EXPECT_EQ(1, store.AddPOI(CONTAINER_HISTORY, Poi("n")));
    EXPECT_EQ("x,n,z,y", Names(CONTAINER_HISTORY));
    EXPECT_EQ((std::vector<int>{3, 1, 1, 1}), FileFrequencies());
    const std::string saved = Bytes(dir / "History.poi");
    ePoiInfo changed = Poi("z", 777);
    std::strcpy(changed.szAddress, "ignored");
    EXPECT_EQ(1, store.AddPOI(CONTAINER_HISTORY, changed)); // z: 2, passes n and y (1), not x (3)
    EXPECT_EQ(1, store.AddPOI(CONTAINER_HISTORY, Poi("y"))); // y: 2, passes z (2, equal)
    EXPECT_EQ("x,y,z,n", Names(CONTAINER_HISTORY));
    ePoiInfo kept;
    ASSERT_TRUE(store.GetPOIInfo(CONTAINER_HISTORY, 2, kept));
    EXPECT_STREQ("area of z", kept.szAddress);
    EXPECT_EQ(0, kept.nUserData);
    store.AddPOI(CONTAINER_FAVORITE, Poi("f")); // saves favourites only
    EXPECT_EQ(saved, Bytes(dir / "History.poi"));
    EXPECT_TRUE(store.RemovePOI(CONTAINER_HISTORY, 3));
    EXPECT_EQ((std::vector<int>{3, 2, 2}), FileFrequencies());

    // When every use count is 1, a new place goes to position 0.
    store.RemoveAllPOI(CONTAINER_HISTORY);
    EXPECT_EQ(0, store.AddPOI(CONTAINER_HISTORY, Poi("p")));
    EXPECT_EQ(0, store.AddPOI(CONTAINER_HISTORY, Poi("q")));
    EXPECT_EQ("q,p", Names(CONTAINER_HISTORY));

    // The use count saturates at the largest integer.
    WriteBytes(dir / "History.poi", Record(Poi("often"), INT_MAX));
    ASSERT_TRUE(store.LoadPOI(CONTAINER_HISTORY));
    EXPECT_EQ(0, store.AddPOI(CONTAINER_HISTORY, Poi("often")));
    ASSERT_TRUE(store.SavePOI(CONTAINER_HISTORY));
    EXPECT_EQ((std::vector<int>{INT_MAX}), FileFrequencies());
}

TEST_F(ePOIEngineContainerTest, StoreFilesRoundTripByteForByte)
{
    ePoiInfo odd = Poi("full name");
    std::memset(odd.szName, 'N', 64); // unterminated 64-byte name
    odd.nUserData = -123456;
    odd.dX = -0.0;
    store.AddPOI(CONTAINER_FAVORITE, odd);
    store.AddPOI(CONTAINER_FAVORITE, Poi("f", 42));
    UseHistory({{"h1", 2}, {"h2", 1}});
    const std::string fav = Bytes(dir / "Favorite.poi");
    const std::string his = Bytes(dir / "History.poi");
    ASSERT_EQ(2u * 156u, his.size());
    EXPECT_EQ(0, std::memcmp(fav.data(), &odd, 152));

    ePOIEngineContainer again;
    again.SetDataPath(prefix.c_str());
    ASSERT_TRUE(again.LoadPOI(CONTAINER_HISTORY));
    ASSERT_TRUE(again.LoadPOI(CONTAINER_FAVORITE));
    ASSERT_TRUE(again.LoadPOI(CONTAINER_HISTORY)); // frequencies back after favourites
    ASSERT_TRUE(again.SavePOI(CONTAINER_FAVORITE));
    ASSERT_TRUE(again.SavePOI(CONTAINER_HISTORY));
    EXPECT_EQ(fav, Bytes(dir / "Favorite.poi"));
    EXPECT_EQ(his, Bytes(dir / "History.poi"));

    // An unwritable path fails the save and keeps memory; no path fails both.
    store.SetDataPath((prefix + "missing/").c_str());
    EXPECT_FALSE(store.SavePOI(CONTAINER_FAVORITE));
    EXPECT_FALSE(store.LoadPOI(CONTAINER_FAVORITE));
    EXPECT_EQ(2, store.GetPOICount(CONTAINER_FAVORITE));
    ePOIEngineContainer noPath;
    EXPECT_FALSE(noPath.SavePOI(CONTAINER_FAVORITE));
    EXPECT_FALSE(noPath.LoadPOI(CONTAINER_HISTORY));
}

TEST_F(ePOIEngineContainerTest, LoadingFavouritesClearsHistoryFrequencies)
{
    KestTest::AssertRecorder rec;
    UseHistory({{"a", 2}, {"b", 1}});
    store.AddPOI(CONTAINER_FAVORITE, Poi("f"));
    ASSERT_TRUE(store.LoadPOI(CONTAINER_HISTORY));
    ASSERT_TRUE(store.LoadPOI(CONTAINER_FAVORITE));
    EXPECT_EQ(2, store.GetPOICount(CONTAINER_HISTORY)); // records stay
    EXPECT_FALSE(store.SavePOI(CONTAINER_HISTORY));      // sizes differ
    EXPECT_TRUE(rec.reports().empty());

    // Adding to history in that state breaks the size invariant, which is reported.
    store.AddPOI(CONTAINER_HISTORY, Poi("new"));
    ASSERT_EQ(1u, rec.reports().size());
    EXPECT_EQ("..\\..\\..\\Src\\POIEngine\\ePOIEngineContainer.cpp", rec.reports()[0].file);
    store.AddPOI(CONTAINER_HISTORY, Poi("a")); // an existing name: no crash, reported again
    EXPECT_EQ(2u, rec.reports().size());
    ASSERT_TRUE(store.LoadPOI(CONTAINER_HISTORY));
    EXPECT_TRUE(store.SavePOI(CONTAINER_HISTORY));
}

// AppendPOI adds each whole record of a file through the virtual table; use
// counts come from the adding rules (1 each), not from the file.
TEST_F(ePOIEngineContainerTest, AppendPOIAddsThroughTheVirtualTableAndRebuildsFrequencies)
{
    UseHistory({{"a", 3}, {"b", 1}});
    const fs::path other = dir / "other.poi";
    WriteBytes(other, Bytes(dir / "History.poi") + std::string(100, 'x')); // a trailing partial record
    ProbedContainer target;
    target.SetDataPath((prefix + "t_").c_str());
    EXPECT_FALSE(target.AppendPOI(CONTAINER_HISTORY, ""));
    EXPECT_FALSE(target.AppendPOI(CONTAINER_HISTORY, (dir / "missing.poi").string().c_str()));
    ASSERT_TRUE(target.AppendPOI(CONTAINER_HISTORY, other.string().c_str()));
    EXPECT_EQ(2, target.adds);
    EXPECT_EQ((std::vector<int>{1, 1}), FileFrequencies("t_History.poi"));
}

// ---- Crash safety -------------------------------------------------------

namespace {

// File steps that stop at the n-th step (counted from 1): either the step
// fails (a full disk, an I/O error) or the process is killed there, a write
// being cut halfway. At a kill, what was written but not yet flushed is lost
// too, as in a power loss.
class FaultySteps : public eFileSteps {
public:
    FaultySteps(bool kill, int at) : m_kill(kill), m_at(at) {}

    int CreateTemp(char* pattern) override
    {
        if (Cut("create"))
            return -1;
        const int fd = eFileSteps::CreateTemp(pattern);
        m_names[fd] = pattern;
        return fd;
    }
    bool Write(int fd, const void* data, std::size_t size) override
    {
        m_unflushed.insert(m_names[fd]);
        if (m_kill && step + 1 == m_at)
            eFileSteps::Write(fd, data, size / 2);
        return !Cut("write") && eFileSteps::Write(fd, data, size);
    }
    bool Sync(int fd) override
    {
        if (Cut("flush"))
            return false;
        m_unflushed.erase(m_names[fd]);
        return eFileSteps::Sync(fd);
    }
    bool Close(int fd) override { return !Cut("close") && eFileSteps::Close(fd); }
    bool Rename(const char* from, const char* to) override
    {
        if (Cut("rename"))
            return false;
        if (m_unflushed.erase(from))
            m_unflushed.insert(to);
        return eFileSteps::Rename(from, to);
    }
    bool SyncDirectory(const char* directory) override
    {
        return !Cut("directory flush") && eFileSteps::SyncDirectory(directory);
    }

    int step = 0;    // steps taken so far
    std::string cut; // the step that failed

private:
    bool Cut(const char* what)
    {
        if (++step != m_at)
            return false;
        cut = what;
        if (m_kill) {
            for (const std::string& name : m_unflushed)
                truncate(name.c_str(), 0);
            raise(SIGKILL);
        }
        return true;
    }

    bool m_kill;
    int m_at;
    std::map<int, std::string> m_names;
    std::set<std::string> m_unflushed;
};

// The saved state of one store: file and backup, byte for byte.
struct Files {
    std::string main, bak;
    bool operator==(const Files& o) const { return main == o.main && bak == o.bak; }
};


} // namespace

TEST_F(ePOIEngineContainerTest, EveryCutOfASaveLeavesTheOldOrTheNewFiles)
{
    struct Change {
        const char* what;
        ContainerType type;
        std::function<void(ePOIEngineContainer&)> apply;
    };
    // Removing and clearing save as adding does: the adds stand for them.
    const std::vector<Change> changes = {
        {"add favourite", CONTAINER_FAVORITE, [](ePOIEngineContainer& s) { s.AddPOI(CONTAINER_FAVORITE, Poi("new")); }},
        {"add history", CONTAINER_HISTORY, [](ePOIEngineContainer& s) { s.AddPOI(CONTAINER_HISTORY, Poi("new")); }},
        {"restore favourites", CONTAINER_FAVORITE, [](ePOIEngineContainer& s) { s.RestorePOI(CONTAINER_FAVORITE); }},
    };
    int kills = 0, failures = 0;
    for (const Change& change : changes) {
        const fs::path main = dir / (change.type == CONTAINER_FAVORITE ? "Favorite.poi" : "History.poi");
        const auto Read = [&] { return Files{Bytes(main), Bytes(main.string() + "bak")}; };
        // Before: three entries saved, the backup one change older.
        fs::remove_all(dir);
        fs::create_directory(dir);
        ePOIEngineContainer setup;
        setup.SetDataPath(prefix.c_str());
        for (const char* name : {"a", "b", "c"})
            setup.AddPOI(change.type, Poi(name));
        const Files before = Read();
        // After: the change made without faults, counting its steps.
        FaultySteps counter(false, INT_MAX);
        setup.SetFileSteps(counter);
        change.apply(setup);
        const Files after = Read();
        ASSERT_NE(before.main, after.main) << change.what;

        for (const bool kill : {true, false}) {
            for (int at = 1;; ++at) {
                SCOPED_TRACE(testing::Message() << change.what << ", cut " << at);
                WriteBytes(main, before.main);
                WriteBytes(main.string() + "bak", before.bak);
                FaultySteps steps(kill, at);
                ProbedContainer victim;
                victim.SetDataPath(prefix.c_str());
                victim.SetFileSteps(steps);
                ASSERT_TRUE(victim.LoadPOI(change.type));
                bool fired = false;
                if (kill) {
                    const pid_t child = fork();
                    if (child == 0) {
                        change.apply(victim);
                        _exit(0);
                    }
                    int status = 0;
                    waitpid(child, &status, 0);
                    fired = WIFSIGNALED(status);
                    kills += fired;
                } else {
                    change.apply(victim);
                    fired = steps.step >= at;
                    failures += fired;
                    // A failed write or flush fails the save and leaves both
                    // old files. A failed rename leaves the old store file
                    // (the backup may already hold it too); a failed
                    // directory flush comes after the renames.
                    if (fired) {
                        EXPECT_FALSE(victim.saved) << steps.cut;
                        if (steps.cut == "rename") {
                            EXPECT_EQ(before.main, Read().main);
                        } else if (steps.cut != "directory flush") {
                            EXPECT_EQ(before, Read()) << steps.cut;
                        }
                    }
                }
                const Files now = Read();
                EXPECT_TRUE(now.main == before.main || now.main == after.main);
                EXPECT_TRUE(now.bak == before.bak || now.bak == before.main);
                if (!fired)
                    break; // the change completed before step `at`
            }
        }
    }
    EXPECT_GE(kills, 24); // three changes of about ten steps each
    EXPECT_EQ(kills, failures);
}

TEST_F(ePOIEngineContainerTest, DamagedFileIsReportedKeptFromTheBackupAndRestored)
{
    ePoiInfo gbk64 = Poi(""), badTrail = Poi(""), cutGbk = Poi(""), notGbk = Poi(""), nan = Poi("nan"), inf = Poi("inf");
    for (int i = 0; i < 64; i += 2)
        std::memcpy(gbk64.szName + i, "\xB1\xB1", 2); // 32 characters, no terminator
    std::memcpy(badTrail.szName, gbk64.szName, 64);
    badTrail.szName[33] = '\x7F';
    std::memset(cutGbk.szName, 'a', 63);
    cutGbk.szName[63] = '\xB1'; // a long name cut after a lead byte
    std::memset(notGbk.szName, '\xFF', 64);
    nan.dY = std::nan("");
    inf.dX = -HUGE_VAL;
    const struct {
        const char* what;
        ContainerType type;
        std::string tail; // behind two good records
        bool damaged;
    } cases[] = {
        {"whole records", CONTAINER_FAVORITE, "", false},
        {"64 bytes of GBK", CONTAINER_FAVORITE, Record(gbk64) + Record(cutGbk), false},
        {"partial record", CONTAINER_FAVORITE, std::string(100, 'x'), true},
        {"one byte over", CONTAINER_FAVORITE, "x", true},
        {"0x7F as a trail byte", CONTAINER_FAVORITE, Record(badTrail), true},
        {"name not terminated", CONTAINER_FAVORITE, Record(notGbk), true},
        {"latitude NaN", CONTAINER_FAVORITE, Record(nan), true},
        {"longitude infinite", CONTAINER_FAVORITE, Record(inf), true},
        {"history whole", CONTAINER_HISTORY, Record(Poi("h"), INT_MAX), false},
        {"history name not terminated", CONTAINER_HISTORY, Record(Poi("h"), 2) + Record(notGbk, 1), true},
        {"history cut", CONTAINER_HISTORY, Record(Poi("h"), 1).substr(0, 155), true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const fs::path main = dir / (c.type == CONTAINER_FAVORITE ? "Favorite.poi" : "History.poi");
        const std::string bak = main.string() + "bak";
        const int f = c.type == CONTAINER_HISTORY ? 1 : 0;
        const std::string good = Record(Poi("a"), f) + Record(Poi("b"), f) + Record(Poi("c"), f);
        WriteBytes(bak, good);
        WriteBytes(main, good.substr(0, good.size() / 3 * 2) + c.tail);
        const int complete = static_cast<int>(fs::file_size(main) / (152 + 4 * f));

        ASSERT_TRUE(store.LoadPOI(c.type));
        EXPECT_EQ(c.damaged, store.LastLoadFoundDamage());
        EXPECT_EQ(complete, store.GetPOICount(c.type)); // loaded all the same
        bool damaged = !c.damaged;
        EXPECT_EQ(complete, ePOIEngineContainer::InspectFile(c.type, main.c_str(), damaged));
        EXPECT_EQ(c.damaged, damaged);

        // A change saves the complete records; a damaged file is not copied
        // over the backup, a sound one is.
        const std::string loaded = Bytes(main).substr(0, static_cast<std::size_t>(complete) * (152 + 4 * f));
        ASSERT_TRUE(store.ModifyPOI(c.type, 0, Poi("changed")));
        EXPECT_EQ(c.damaged ? good : loaded, Bytes(bak));
        // Restoring brings the backup back, in the file and in memory.
        ASSERT_TRUE(store.RestorePOI(c.type));
        EXPECT_EQ(Bytes(bak), Bytes(main));
        EXPECT_EQ(c.damaged ? 3 : complete, store.GetPOICount(c.type));
    }
    // Nothing to restore from: no backup, or a damaged one.
    fs::remove(dir / "Favorite.poibak");
    EXPECT_FALSE(store.RestorePOI(CONTAINER_FAVORITE));
    WriteBytes(dir / "Favorite.poibak", std::string(151, 'x'));
    EXPECT_FALSE(store.RestorePOI(CONTAINER_FAVORITE));
    EXPECT_EQ(3, store.GetPOICount(CONTAINER_FAVORITE));
}
