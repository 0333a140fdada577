#pragma once
// Small source directories for the data compiler's tests: files written by
// name, compiled with the real compiler, the outcome kept whole; and damage
// done to one file of a compiled output.

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "Compiler/DataCompiler.h"
#include "Support/TempDir.h"

namespace KestTest {

const std::string kSampleSource = std::string(KEST_TEST_DATA) + "/../../Data/Sample";
const char kPoiHeader[] = "name,lon,lat,category,phone,province,city,county\n";

// Writes each file (name -> text) into `dir`, made first when missing.
inline void WriteFiles(const std::string& dir, const std::map<std::string, std::string>& files)
{
    std::filesystem::create_directories(dir);
    for (const auto& [name, text] : files)
        std::ofstream(dir + "/" + name, std::ios::binary) << text;
}

// `dir` as a source with the sample's districts and categories, CSV sources
// without rows, then `files` written over them.
inline std::string SampleSource(const std::string& dir, const std::map<std::string, std::string>& files)
{
    WriteFiles(dir, {{"pois.csv", kPoiHeader}, {"sights.csv", kPoiHeader}, {"placenames.csv", kPoiHeader},
                     {"crossroads.csv", "name,lon,lat,province,city,county\n"}});
    for (const char* file : {"districts.geojson", "categories.txt"})
        std::filesystem::copy_file(kSampleSource + "/" + file, dir + "/" + file,
                                   std::filesystem::copy_options::overwrite_existing);
    WriteFiles(dir, files);
    return dir;
}

struct BuildResult {
    bool ok = false;
    std::string report, error;
    Kest::DataCompiler::Summary summary;
};

// Runs the compiler once with `options`.
inline BuildResult Compile(const Kest::DataCompiler::Options& options)
{
    std::ostringstream report;
    Kest::DataCompiler compiler(options, report);
    BuildResult result;
    result.ok = compiler.Run();
    result.report = report.str();
    result.error = compiler.GetError();
    result.summary = compiler.GetSummary();
    return result;
}

// Damages the file at `path`: cut to `share` of its size, or four bytes
// flipped from there on.
inline void Damage(const std::string& path, double share, bool cut)
{
    std::vector<unsigned char> bytes = TempDir::Read(path);
    const std::size_t at = static_cast<std::size_t>(static_cast<double>(bytes.size()) * share);
    if (cut)
        bytes.resize(at);
    else
        for (std::size_t i = at; i < at + 4 && i < bytes.size(); ++i)
            bytes[i] ^= 0x5A;
    TempDir::Write(path, bytes);
}

} // namespace KestTest
