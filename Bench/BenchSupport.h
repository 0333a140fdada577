#pragma once
// Small helpers shared by the benchmark programs.

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace KestBench {

// The value below which a share `p` of the samples lie (0.5 the median).
inline double Percentile(std::vector<double> v, double p)
{
    if (v.empty())
        return 0;
    std::sort(v.begin(), v.end());
    return v[static_cast<std::size_t>(p * static_cast<double>(v.size() - 1))];
}

// One line of the generator's CSV files, whose fields hold no commas.
inline std::vector<std::string> SplitCsv(const std::string& line)
{
    std::vector<std::string> f;
    std::string cell;
    for (char c : line) {
        if (c == ',') {
            f.push_back(cell);
            cell.clear();
        } else if (c != '\r') {
            cell += c;
        }
    }
    f.push_back(cell);
    return f;
}

// One row of a pois.csv (UTF-8), the columns the benchmarks use.
struct PoiRow {
    std::string name, category, phone, province, city, county;
    double lon = 0, lat = 0;
};

// The rows of `csvPath` in file order (the header skipped, short lines
// dropped); false when the file cannot be read.
inline bool ReadPoiRows(const std::string& csvPath, std::vector<PoiRow>& rows)
{
    std::ifstream csv(csvPath);
    if (!csv)
        return false;
    std::string line;
    std::getline(csv, line);
    while (std::getline(csv, line)) {
        const auto f = SplitCsv(line);
        if (f.size() < 8)
            continue;
        PoiRow r;
        r.name = f[0];
        r.lon = std::atof(f[1].c_str());
        r.lat = std::atof(f[2].c_str());
        r.category = f[3];
        r.phone = f[4];
        r.province = f[5];
        r.city = f[6];
        r.county = f[7];
        rows.push_back(std::move(r));
    }
    return true;
}

} // namespace KestBench
