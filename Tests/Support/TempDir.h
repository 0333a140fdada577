#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace KestTest {

// A fresh directory of its own (mkdtemp), removed with everything in it afterwards.
class TempDir {
public:
    TempDir() : m_path((std::filesystem::temp_directory_path() / "kest-XXXXXX").string())
    {
        if (!mkdtemp(m_path.data()))
            ADD_FAILURE() << "cannot create " << m_path;
    }
    ~TempDir() { std::error_code ignored; std::filesystem::remove_all(m_path, ignored); }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    std::string Path(const std::string& file) const { return m_path + "/" + file; }
    static void Write(const std::string& path, const std::vector<unsigned char>& bytes)
    {
        std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
    static std::vector<unsigned char> Read(const std::string& path)
    {
        std::ifstream in(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }

private:
    std::string m_path;
};

} // namespace KestTest
