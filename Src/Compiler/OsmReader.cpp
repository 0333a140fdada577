#include "Compiler/OsmReader.h"

#include <algorithm>
#include <exception>

#include <osmium/io/any_input.hpp>
#include <osmium/osm/node.hpp>
#include <osmium/osm/way.hpp>

#include "Compiler/OsmCrossroads.h"
#include "Compiler/SimplifiedChinese.h"

namespace Kest {

namespace {

OsmObject::Kind KindOf(OsmCategories::Kind kind)
{
    switch (kind) {
    case OsmCategories::Kind::Sight:
        return OsmObject::Kind::Sight;
    case OsmCategories::Kind::Place:
        return OsmObject::Kind::Place;
    default:
        return OsmObject::Kind::Poi;
    }
}

// A way object waiting for the locations of its nodes.
struct PendingWay {
    OsmObject object;
    std::size_t firstRef = 0, refCount = 0; // into the flat list of refs
};

} // namespace

OsmReader::OsmReader(const OsmCategories& table, const SimplifiedChinese* simplified)
    : m_table(table), m_simplified(simplified)
{
}

template <typename Tags>
std::string OsmReader::Name(const Tags& tags, std::string* written) const
{
    if (const char* hans = tags.get_value_by_key("name:zh-Hans"); hans && *hans)
        return hans;
    const char* name = tags.get_value_by_key("name:zh");
    if (!name || !*name)
        name = tags.get_value_by_key("name");
    if (!name || !*name)
        return std::string();
    std::string simplified = m_simplified ? m_simplified->Convert(name) : std::string(name);
    if (written && simplified != name)
        *written = name;
    return simplified;
}

std::string OsmReader::PhoneNormalise(const std::string& tag)
{
    std::string out, part;
    const auto flush = [&]() {
        // An extension ("ext 12", "转12") is not dialled as part of the number.
        for (const char* extension : {"ext", "EXT", "Ext", "x", "\xE8\xBD\xAC" /* 转 */})
            if (const std::size_t at = part.find(extension); at != std::string::npos && at > 0)
                part.erase(at);
        if (part.compare(0, 3, "+86") == 0 || part.compare(0, 4, "0086") == 0) {
            part.erase(0, part[0] == '+' ? 3 : 4);
            const bool mobile = part.size() == 11 && part[0] == '1';
            if (!part.empty() && !mobile && part[0] != '0')
                part.insert(0, "0");
        } else if (!part.empty() && part[0] == '+') {
            part.replace(0, 1, "00");
        }
        if (!part.empty())
            out += (out.empty() ? "" : ";") + part;
        part.clear();
    };
    for (char c : tag) {
        if (c == ';' || c == ',' || c == '/')
            flush();
        else if (c != ' ' && c != '-' && c != '.' && c != '(' && c != ')')
            part += c;
    }
    flush();
    return out;
}

bool OsmReader::Read(const std::string& path, std::vector<OsmObject>& out, std::string& error)
{
    OsmCrossroads crossroads;
    std::vector<PendingWay> ways;
    std::vector<std::int64_t> wayRefs, refs;
    std::vector<OsmObject> nodes;
    std::vector<std::int64_t> needed;
    std::vector<osmium::Location> locations; // by position in `needed`
    bool stopped = false;
    const auto progress = [&](const osmium::io::Reader& reader, double start) {
        if (!m_progress || stopped)
            return !stopped;
        const double size = static_cast<double>(std::max<std::size_t>(1, reader.file_size()));
        stopped = !m_progress(start + 0.5 * std::min(1.0, static_cast<double>(reader.offset()) / size));
        return !stopped;
    };
    const auto take = [&](const osmium::OSMObject& object, bool node, bool place, OsmObject& o) {
        const OsmCategories::Match match = m_table.Classify(object.tags(), place);
        if (!match.rule)
            return false;
        o.name = Name(object.tags(), &o.written);
        if (o.name.empty())
            return false;
        o.kind = KindOf(match.rule->kind);
        o.code = match.rule->code;
        o.wildcard = match.Wildcard();
        const char* phone = object.tags().get_value_by_key("phone");
        if (!phone)
            phone = object.tags().get_value_by_key("contact:phone");
        o.phone = phone ? PhoneNormalise(phone) : std::string();
        o.type = node ? 'n' : 'w';
        o.id = object.id();
        return true;
    };

    try {
        osmium::io::File file(path);
        {
            osmium::io::Reader reader(file, osmium::osm_entity_bits::way);
            while (osmium::memory::Buffer buffer = reader.read()) {
                for (const osmium::Way& way : buffer.select<osmium::Way>()) {
                    const auto& list = way.nodes();
                    if (way.tags().has_key("highway")) {
                        const std::string name = Name(way.tags());
                        if (!name.empty()) {
                            refs.clear();
                            for (const osmium::NodeRef& r : list)
                                refs.push_back(r.ref());
                            crossroads.AddWay(name, refs);
                        }
                    }
                    PendingWay pending;
                    if (list.size() >= 4 && list.is_closed() && take(way, false, false, pending.object)) {
                        pending.firstRef = wayRefs.size();
                        pending.refCount = list.size() - 1; // the first node closes the ring again
                        for (std::size_t i = 0; i + 1 < list.size(); ++i)
                            wayRefs.push_back(list[i].ref());
                        ways.push_back(std::move(pending));
                    }
                }
                if (!progress(reader, 0.0))
                    break;
            }
            reader.close();
        }
        if (stopped) {
            error = path + ": interrupted";
            return false;
        }
        needed = crossroads.Junctions();
        needed.insert(needed.end(), wayRefs.begin(), wayRefs.end());
        std::sort(needed.begin(), needed.end());
        needed.erase(std::unique(needed.begin(), needed.end()), needed.end());
        locations.assign(needed.size(), osmium::Location());

        osmium::io::Reader reader(file, osmium::osm_entity_bits::node);
        while (osmium::memory::Buffer buffer = reader.read()) {
            for (const osmium::Node& node : buffer.select<osmium::Node>()) {
                const osmium::Location at = node.location();
                if (!at.valid())
                    continue;
                const auto it = std::lower_bound(needed.begin(), needed.end(), node.id());
                if (it != needed.end() && *it == node.id())
                    locations[static_cast<std::size_t>(it - needed.begin())] = at;
                if (node.tags().empty())
                    continue;
                for (bool place : {false, true}) {
                    OsmObject o;
                    if (take(node, true, place, o)) {
                        o.lon = at.lon();
                        o.lat = at.lat();
                        nodes.push_back(std::move(o));
                    }
                }
            }
            if (!progress(reader, 0.5))
                break;
        }
        reader.close();
    } catch (const std::exception& e) {
        error = path + ": " + e.what();
        return false;
    }
    if (stopped) {
        error = path + ": interrupted";
        return false;
    }

    const auto locate = [&](std::int64_t id, double& lon, double& lat) {
        const auto it = std::lower_bound(needed.begin(), needed.end(), id);
        if (it == needed.end() || *it != id || !locations[static_cast<std::size_t>(it - needed.begin())].valid())
            return false;
        const osmium::Location& at = locations[static_cast<std::size_t>(it - needed.begin())];
        lon = at.lon();
        lat = at.lat();
        return true;
    };
    for (OsmObject& o : nodes)
        out.push_back(std::move(o));
    for (PendingWay& way : ways) {
        // The mean of the ring's nodes; a way with a node missing from the
        // file (a cut extract) uses those it has.
        double lon = 0, lat = 0, sumLon = 0, sumLat = 0;
        std::size_t found = 0;
        for (std::size_t i = 0; i < way.refCount; ++i)
            if (locate(wayRefs[way.firstRef + i], lon, lat)) {
                sumLon += lon;
                sumLat += lat;
                ++found;
            }
        if (found == 0)
            continue;
        way.object.lon = sumLon / static_cast<double>(found);
        way.object.lat = sumLat / static_cast<double>(found);
        out.push_back(std::move(way.object));
    }
    for (const OsmCrossroads::Crossroad& c : crossroads.Build(locate, kMergeMetres)) {
        OsmObject o;
        o.kind = OsmObject::Kind::Crossroad;
        o.name = c.first + "与" + c.second + "交叉口";
        o.lon = c.lon;
        o.lat = c.lat;
        o.id = c.node;
        out.push_back(std::move(o));
    }
    return true;
}

} // namespace Kest
