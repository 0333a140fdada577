#pragma once
// The bundled sample (Data/Sample) compiled with the real data compiler, and
// its POI rows read straight from pois.csv, for the differential tests'
// oracles. Under ctest the sample is compiled once for the whole run (the
// directory in KEST_SAMPLE_DATA, read only); otherwise once per test program.

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <algorithm>
#include <map>
#include <set>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "Compiler/DataCompiler.h"
#include "Compiler/GbkCodec.h"
#include "Ndf/eNdfRecordsetTabular.h"
#include "POIEngine/eNdfIndexInitial.h"
#include "POIEngine/ePOIEngineManager.h"
#include "Support/TempDir.h"

namespace KestTest {

// The engine, with the number of hits its first batch loaded.
class LoadedEngine : public Kest::ePOIEngineManager {
public:
    int Loaded() const { return m_pRecordset != nullptr ? m_pRecordset->GetRecordCount() : -1; }
};

// Typed initials as the initial searches fold them.
inline std::string Fold(std::string typed)
{
    for (char& c : typed)
        c = static_cast<char>(Kest::eNdfIndexInitial::FoldLetter(static_cast<unsigned char>(c)));
    return typed;
}

// The next letters the initial searches offer: by signed byte, lower case.
inline std::string NextLetters(const std::set<char>& letters)
{
    std::string next(letters.begin(), letters.end());
    std::sort(next.begin(), next.end(), [](signed char a, signed char b) { return a < b; });
    for (char& c : next)
        c = static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
    return next;
}

// The last search's hits as GetPOIInfo gives them, up to `limit` of them.
inline std::vector<Kest::ePoiInfo> HitInfos(Kest::ePOIEngineManager& engine, int limit = INT_MAX)
{
    std::vector<Kest::ePoiInfo> infos;
    for (Kest::ePoiInfo info{}; static_cast<int>(infos.size()) < limit; info = Kest::ePoiInfo{}) {
        if (!engine.GetPOIInfo(0, static_cast<int>(infos.size()), info))
            break;
        infos.push_back(info);
    }
    return infos;
}

inline std::string NameOf(const Kest::ePoiInfo& info)
{
    return std::string(info.szName, strnlen(info.szName, sizeof info.szName));
}

// The names of the last search's hits, in order (UTF-8, or GBK as stored).
inline std::vector<std::string> HitNames(Kest::ePOIEngineManager& engine, bool utf8 = true)
{
    std::vector<std::string> names;
    for (const Kest::ePoiInfo& info : HitInfos(engine, engine.GetPOICount(0)))
        names.push_back(utf8 ? Kest::GbkCodec::Utf8(NameOf(info)) : NameOf(info));
    return names;
}

struct SampleRow {
    std::string name, province, city; // GBK
    std::vector<std::string> fields; // the eight fields of pois.csv as written (UTF-8)
};

// The same names as a multiset, in GBK, for comparing with an oracle's.
inline std::multiset<std::string> HitSet(Kest::ePOIEngineManager& engine)
{
    const std::vector<std::string> names = HitNames(engine, false);
    return {names.begin(), names.end()};
}

class CompiledSample {
public:
    // Compiles on first use; later calls give the same directory.
    static const CompiledSample& Get()
    {
        static const std::unique_ptr<CompiledSample> sample(new CompiledSample);
        return *sample;
    }

    const std::string& Root() const { return m_root; }
    const std::map<int, std::string>& DataSets() const { return m_sets; } // number -> GBK province
    const std::vector<SampleRow>& Rows() const { return m_rows; }

    // One CSV line split by RFC 4180 (the sample never breaks a field over lines).
    static std::vector<std::string> SplitCsv(const std::string& line)
    {
        std::vector<std::string> out(1);
        bool quoted = false;
        for (std::size_t i = 0; i < line.size(); ++i) {
            const char c = line[i];
            if (quoted && c == '"' && i + 1 < line.size() && line[i + 1] == '"')
                out.back() += line[++i];
            else if (c == '"')
                quoted = !quoted;
            else if (c == ',' && !quoted)
                out.emplace_back();
            else
                out.back() += c;
        }
        return out;
    }

    // The rows of a source file of the sample, split, header left out (UTF-8).
    static std::vector<std::vector<std::string>> Csv(const std::string& file)
    {
        std::ifstream csv(std::string(KEST_TEST_DATA) + "/../../Data/Sample/" + file);
        std::vector<std::vector<std::string>> rows;
        std::string line;
        for (std::getline(csv, line); std::getline(csv, line);) // the header first
            rows.push_back(SplitCsv(line));
        return rows;
    }

private:
    CompiledSample() : m_root(m_dir.Path("out"))
    {
        const std::string sample = std::string(KEST_TEST_DATA) + "/../../Data/Sample";
        const char* shared = std::getenv("KEST_SAMPLE_DATA");
        if (shared && *shared) {
            m_root = shared;
        } else {
            Kest::DataCompiler::Options options;
            options.source = sample;
            options.output = m_root;
            std::ostringstream report;
            Kest::DataCompiler compiler(options, report);
            EXPECT_TRUE(compiler.Run()) << compiler.GetError();
            EXPECT_EQ(compiler.GetSummary().Rejected(), 0u) << report.str();
        }

        std::ifstream sets(m_root + "/POI/datasets.txt");
        int number = 0;
        for (std::string province; sets >> number >> province;)
            m_sets[number] = Kest::GbkCodec::Gbk(province);

        for (const auto& f : Csv("pois.csv")) {
            EXPECT_EQ(f.size(), 8u) << f[0];
            if (f.size() == 8)
                m_rows.push_back({Kest::GbkCodec::Gbk(f[0]), Kest::GbkCodec::Gbk(f[5]), Kest::GbkCodec::Gbk(f[6]), f});
        }
    }

    TempDir m_dir;
    std::string m_root;
    std::map<int, std::string> m_sets;
    std::vector<SampleRow> m_rows;
};

} // namespace KestTest
