#pragma once
// Small helpers shared by the benchmark programs.

#include <algorithm>
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

} // namespace KestBench
