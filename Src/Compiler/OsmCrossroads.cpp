#include "Compiler/OsmCrossroads.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <tuple>

namespace Kest {

void OsmCrossroads::AddWay(const std::string& name, const std::vector<std::int64_t>& refs)
{
    const auto found = m_nameIds.emplace(name, static_cast<std::uint32_t>(m_names.size()));
    if (found.second)
        m_names.push_back(&found.first->first);
    const std::uint32_t id = found.first->second;
    for (std::int64_t node : refs)
        m_refs.push_back({node, id});
}

const std::vector<std::int64_t>& OsmCrossroads::Junctions()
{
    std::sort(m_refs.begin(), m_refs.end());
    m_refs.erase(std::unique(m_refs.begin(), m_refs.end(),
                             [](const Ref& a, const Ref& b) { return a.node == b.node && a.name == b.name; }),
                 m_refs.end());
    for (std::size_t i = 0; i < m_refs.size();) {
        std::size_t end = i;
        while (end < m_refs.size() && m_refs[end].node == m_refs[i].node)
            ++end;
        if (end - i >= 2) {
            m_junctions.push_back(m_refs[i].node);
            m_roads.emplace_back();
            for (std::size_t k = i; k < end; ++k)
                m_roads.back().push_back(m_refs[k].name);
        }
        i = end;
    }
    std::vector<Ref>().swap(m_refs);
    return m_junctions;
}

std::vector<OsmCrossroads::Crossroad> OsmCrossroads::Build(
    const std::function<bool(std::int64_t, double&, double&)>& locate, double mergeMetres) const
{
    // Every (pair of names, junction node) with the node's location.
    struct Point {
        std::string first, second;
        std::int64_t node;
        double lon, lat;
    };
    std::vector<Point> points;
    for (std::size_t j = 0; j < m_junctions.size(); ++j) {
        double lon = 0, lat = 0;
        if (!locate(m_junctions[j], lon, lat))
            continue;
        const auto& roads = m_roads[j];
        for (std::size_t a = 0; a < roads.size(); ++a)
            for (std::size_t b = a + 1; b < roads.size(); ++b) {
                std::string first = *m_names[roads[a]], second = *m_names[roads[b]];
                if (second < first)
                    std::swap(first, second);
                points.push_back({first, second, m_junctions[j], lon, lat});
            }
    }
    std::sort(points.begin(), points.end(), [](const Point& x, const Point& y) {
        return std::tie(x.first, x.second, x.node) < std::tie(y.first, y.second, y.node);
    });

    const auto near = [mergeMetres](const Point& x, const Point& y) {
        constexpr double kMetresPerDegree = 111320.0;
        const double dx = (x.lon - y.lon) * std::cos((x.lat + y.lat) / 2 * 3.14159265358979 / 180);
        const double dy = x.lat - y.lat;
        return std::sqrt(dx * dx + dy * dy) * kMetresPerDegree <= mergeMetres;
    };
    std::vector<Crossroad> out;
    for (std::size_t i = 0; i < points.size();) {
        std::size_t end = i;
        while (end < points.size() && points[end].first == points[i].first && points[end].second == points[i].second)
            ++end;
        // Nodes of one pair: few, so every two are compared; union-find
        // joins the chains.
        std::vector<std::size_t> parent(end - i);
        std::iota(parent.begin(), parent.end(), 0);
        const auto root = [&parent](std::size_t k) {
            while (parent[k] != k)
                k = parent[k] = parent[parent[k]];
            return k;
        };
        for (std::size_t a = i; a < end; ++a)
            for (std::size_t b = a + 1; b < end; ++b)
                if (near(points[a], points[b]))
                    parent[std::max(root(a - i), root(b - i))] = std::min(root(a - i), root(b - i));
        for (std::size_t a = i; a < end; ++a) {
            if (root(a - i) != a - i)
                continue; // each group once, from its smallest node
            double lon = 0, lat = 0;
            std::size_t count = 0;
            for (std::size_t b = a; b < end; ++b)
                if (root(b - i) == a - i) {
                    lon += points[b].lon;
                    lat += points[b].lat;
                    ++count;
                }
            out.push_back({points[a].first, points[a].second, lon / static_cast<double>(count),
                           lat / static_cast<double>(count), points[a].node});
        }
        i = end;
    }
    return out;
}

} // namespace Kest
