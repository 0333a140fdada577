#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace Kest {

// Crossroads of OpenStreetMap roads: a node shared by ways of two
// differently named highways is a junction of that pair of names. A junction
// of dual carriageways, or of a road with both carriageways of another, is
// drawn as several nodes close together: the nodes of one pair of names that
// lie within a merge distance of each other (directly or through a chain of
// such nodes) make one crossroad, placed at their mean.
//
// Fed in two steps, as the reader streams a file: the ways first (their
// names and node ids), then, for the nodes asked for, their locations.
class OsmCrossroads {
public:
    struct Crossroad {
        std::string first, second; // the road names, first < second (bytes)
        double lon = 0, lat = 0;   // degrees
        std::int64_t node = 0;     // the smallest node id of the junction
    };

    // A highway way named `name` through the nodes `refs`.
    void AddWay(const std::string& name, const std::vector<std::int64_t>& refs);

    // Ends the ways: finds the junction nodes, and returns their ids in
    // ascending order (the nodes whose locations Build needs). The pairs of
    // (node, road) kept until now are released.
    const std::vector<std::int64_t>& Junctions();

    // The crossroads, ordered by names and then position; `locate` gives a
    // junction node's location (false: the node is missing from the file,
    // and is left out).
    std::vector<Crossroad> Build(const std::function<bool(std::int64_t, double&, double&)>& locate,
                                 double mergeMetres) const;

private:
    std::map<std::string, std::uint32_t> m_nameIds;
    std::vector<const std::string*> m_names; // by id
    struct Ref {
        std::int64_t node;
        std::uint32_t name;
        bool operator<(const Ref& o) const { return node != o.node ? node < o.node : name < o.name; }
    };
    std::vector<Ref> m_refs;
    std::vector<std::int64_t> m_junctions;           // ascending
    std::vector<std::vector<std::uint32_t>> m_roads; // by junction: its road names, ascending
};

} // namespace Kest
