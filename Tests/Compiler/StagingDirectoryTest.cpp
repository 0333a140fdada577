#include "Compiler/StagingDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sys/stat.h>

#include "Support/TempDir.h"

using Kest::StagingDirectory;
using KestTest::TempDir;
namespace fs = std::filesystem;

TEST(StagingDirectory, RefusesAnOutputThatIsNotADataDirectory)
{
    TempDir dir;
    std::string error;
    TempDir::Write(dir.Path("file"), {'x'});
    fs::create_directories(dir.Path("notes"));
    TempDir::Write(dir.Path("notes/todo.txt"), {'x'});
    {
        StagingDirectory staging;
        EXPECT_FALSE(staging.Create(dir.Path("file"), error));
        EXPECT_EQ("output '" + dir.Path("file") + "' exists and is not a directory", error);
        EXPECT_FALSE(staging.Create(dir.Path("notes"), error));
        EXPECT_EQ("output directory '" + dir.Path("notes") +
                      "' is not empty and holds no earlier build (no POI/); choose another or empty it",
                  error);
        EXPECT_FALSE(staging.Create(dir.Path("."), error));
    }
    // Nothing was created and the refused output is untouched.
    EXPECT_EQ(std::vector<unsigned char>{'x'}, TempDir::Read(dir.Path("notes/todo.txt")));
    std::size_t entries = 0;
    for (const auto& entry : fs::directory_iterator(dir.Path("")))
        entries += entry.path().filename() == "file" || entry.path().filename() == "notes" ? 1 : 100;
    EXPECT_EQ(2u, entries);
}

TEST(StagingDirectory, CommitReplacesAnEarlierBuildAndDropIsClean)
{
    TempDir dir;
    std::string error;
    const std::string out = dir.Path("deep/er/out");
    {
        StagingDirectory staging;
        ASSERT_TRUE(staging.Create(out, error)) << error; // parents are made
        EXPECT_EQ(dir.Path("deep/er/.out.build-"), staging.Path().substr(0, staging.Path().size() - 6));
        struct stat st {};
        ASSERT_EQ(0, stat(staging.Path().c_str(), &st));
        const mode_t mask = umask(0);
        umask(mask);
        EXPECT_EQ(0777 & ~mask, st.st_mode & 0777) << "an ordinary directory, not mkdtemp's 0700";
        fs::create_directories(staging.Path() + "/POI");
        TempDir::Write(staging.Path() + "/POI/1.ndf", {1});
        ASSERT_TRUE(staging.Commit(error)) << error;
    }
    EXPECT_EQ(std::vector<unsigned char>{1}, TempDir::Read(out + "/POI/1.ndf"));
    {
        StagingDirectory staging;
        ASSERT_TRUE(staging.Create(out + "/", error)) << error; // a trailing slash names the same directory
        fs::create_directories(staging.Path() + "/POI");
        TempDir::Write(staging.Path() + "/POI/2.ndf", {2});
        ASSERT_TRUE(staging.Commit(error)) << error;
    }
    EXPECT_FALSE(fs::exists(out + "/POI/1.ndf"));
    EXPECT_EQ(std::vector<unsigned char>{2}, TempDir::Read(out + "/POI/2.ndf"));
    {
        StagingDirectory staging; // dropped without Commit
        ASSERT_TRUE(staging.Create(out, error)) << error;
        TempDir::Write(staging.Path() + "/x", {3});
    }
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir.Path("deep/er")))
        names.push_back(entry.path().filename().string());
    EXPECT_EQ(std::vector<std::string>{"out"}, names);
    EXPECT_EQ(std::vector<unsigned char>{2}, TempDir::Read(out + "/POI/2.ndf"));
}
