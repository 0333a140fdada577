#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace KestTest {

// A fresh directory for one test, removed with everything in it afterwards.
// Its name holds the test's name and the process id, so that tests running
// in parallel never share one.
class TempDir {
public:
    TempDir()
    {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        std::string name = "kest-";
        if (info)
            name += std::string(info->test_suite_name()) + "-" + info->name() + "-";
        name += std::to_string(::getpid());
        m_path = std::filesystem::temp_directory_path() / name;
        std::filesystem::remove_all(m_path);
        std::filesystem::create_directories(m_path);
    }
    ~TempDir()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    std::string Path(const std::string& file) const { return (m_path / file).string(); }

    static void Write(const std::string& path, const std::vector<unsigned char>& bytes)
    {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
    static std::vector<unsigned char> Read(const std::string& path)
    {
        std::ifstream in(path, std::ios::binary);
        return std::vector<unsigned char>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }

private:
    std::filesystem::path m_path;
};

} // namespace KestTest
