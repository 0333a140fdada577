#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Compiler/OsmCategories.h"

namespace Kest {

class SimplifiedChinese;

// One object taken from an OpenStreetMap file, before its area and its GBK
// name are checked.
struct OsmObject {
    enum class Kind { Poi, Sight, Place, Crossroad };
    Kind kind = Kind::Poi;
    std::string name;       // UTF-8, Simplified where a converter is given
    std::string written;    // the name as the file has it, when converted
    std::string phone;      // PhoneNormalise'd, numbers joined by ';'
    std::uint32_t code = 0; // category code (0 for crossroads)
    bool wildcard = false;  // the code came from a KEY=* rule
    double lon = 0, lat = 0;
    char type = 'n';        // 'n' node, 'w' way: with `id`, names the object in messages
    std::int64_t id = 0;
};

// Streams an OpenStreetMap file (.osm.pbf, .osm, .osm.bz2; libosmium reads
// each) into objects, reading it twice so that only the node locations that
// are needed are ever kept:
//  1. the ways: named highways give the junctions (OsmCrossroads); closed
//     ways that the table classifies give POIs and sights at the mean of
//     their nodes;
//  2. the nodes: those the table classifies, and the locations of the
//     junction nodes and of the nodes of those closed ways.
// Memory grows with the named roads' nodes and the objects taken, not with
// the file's nodes. Relations are not read.
//
// Names: "name:zh-Hans", else "name:zh", else "name"; the latter two are
// converted to Simplified characters. Objects without a name are left out.
class OsmReader {
public:
    // Metres within which junction nodes of one pair of road names merge.
    static constexpr double kMergeMetres = 100.0;

    OsmReader(const OsmCategories& table, const SimplifiedChinese* simplified);

    // Called now and then with the share read (0..1); false stops the read.
    void SetProgress(std::function<bool(double)> progress) { m_progress = std::move(progress); }

    // Appends the objects of the file at `path`: the classified nodes in
    // file order, then the closed ways, then the crossroads. False, with
    // `error` (one line naming the file and what libosmium reported), when
    // the file cannot be read or is damaged.
    bool Read(const std::string& path, std::vector<OsmObject>& out, std::string& error);

    // A phone tag as the telephone index takes it: numbers separated by ';',
    // ',' or '/'; spaces, '-', '.', '(' and ')' dropped; the Chinese country
    // code ("+86", "0086") replaced by the trunk prefix 0 except before an
    // 11-digit mobile number; another "+" country code written "00"; an
    // extension after "ext", "x" or "转" dropped.
    static std::string PhoneNormalise(const std::string& tag);

private:
    // The name of an object; `written` gets the tag's text when it was converted.
    template <typename Tags>
    std::string Name(const Tags& tags, std::string* written = nullptr) const;

    const OsmCategories& m_table;
    const SimplifiedChinese* m_simplified;
    std::function<bool(double)> m_progress;
};

} // namespace Kest
