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
    EXPECT_EQ(2, std::distance(fs::directory_iterator(dir.Path("")), fs::directory_iterator()));
}

// DataCompilerTest shows a build replacing an earlier one and a failed one
// leaving nothing behind; here the staging directory's own place and mode.
TEST(StagingDirectory, IsMadeBesideTheOutputAsAnOrdinaryDirectory)
{
    TempDir dir;
    std::string error;
    const std::string out = dir.Path("deep/er/out");
    StagingDirectory staging;
    ASSERT_TRUE(staging.Create(out + "/", error)) << error; // parents are made; a trailing slash is the same place
    EXPECT_EQ(dir.Path("deep/er/.out.build-"), staging.Path().substr(0, staging.Path().size() - 6));
    struct stat st {};
    ASSERT_EQ(0, stat(staging.Path().c_str(), &st));
    const mode_t mask = umask(0);
    umask(mask);
    EXPECT_EQ(0777 & ~mask, st.st_mode & 0777) << "an ordinary directory, not mkdtemp's 0700";
    fs::create_directories(staging.Path() + "/POI");
    ASSERT_TRUE(staging.Commit(error)) << error;
    EXPECT_TRUE(fs::is_directory(out + "/POI"));
}
