// OpenStreetMap input of `poi build`: each file is streamed by OsmReader,
// classified with the table osm-categories.txt (SRC's own, else the one built
// in), placed in its county by coordinate and added to the same rows the CSV
// files give, so that every writer takes OSM data unchanged.

#include "Compiler/DataCompiler.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <iomanip>
#include <set>

#include "Compiler/CountyLocator.h"
#include "Compiler/GbkCodec.h"
#include "Compiler/OsmCategories.h"
#include "Compiler/OsmReader.h"
#include "Compiler/PhoneNumbers.h"
#include "Compiler/SimplifiedChinese.h"
#include "Compiler/SourceText.h"

namespace Kest {
namespace fs = std::filesystem;

namespace {

const char kOsmTable[] = "osm-categories.txt";

bool IsOsmFile(const std::string& name)
{
    for (const char* suffix : {".osm", ".osm.pbf", ".osm.bz2"}) {
        const std::size_t n = std::char_traits<char>::length(suffix);
        if (name.size() > n && name.compare(name.size() - n, n, suffix) == 0)
            return true;
    }
    return false;
}

} // namespace

std::vector<std::string> DataCompiler::OsmInputs() const
{
    std::vector<std::string> files = m_options.osm;
    std::set<fs::path> given; // a file given by --osm and lying in SRC is read once
    std::error_code ec;
    for (const std::string& file : files)
        given.insert(fs::weakly_canonical(file, ec));
    std::set<std::string> found;
    for (fs::directory_iterator it(m_options.source, ec), end; !ec && it != end; it.increment(ec))
        if (IsOsmFile(it->path().filename().string()) && it->is_regular_file(ec) &&
            given.count(fs::weakly_canonical(it->path(), ec)) == 0)
            found.insert(it->path().string());
    files.insert(files.end(), found.begin(), found.end());
    return files;
}

bool DataCompiler::ReadOsm(std::vector<SourceRow>& sights, std::vector<SourceRow>& places)
{
    const std::vector<std::string> inputs = OsmInputs();
    if (inputs.empty())
        return true;
    OsmCategories table;
    std::string text, error;
    std::error_code ec;
    const bool own = fs::is_regular_file(SourcePath(kOsmTable), ec);
    if (own && !ReadText(kOsmTable, text))
        return false;
    const std::string tableName = own ? SourcePath(kOsmTable) : std::string("the built-in ") + kOsmTable;
    if (!table.Parse(own ? text : OsmCategories::BuiltIn(), error))
        return Fail(tableName + ": " + error);
    for (const OsmCategories::Rule& rule : table.Rules())
        if (!m_categories.HasCode(rule.code))
            return Fail(tableName + ": line " + std::to_string(rule.line) + ": category " + std::to_string(rule.code) +
                        " is not in " + SourcePath("categories.txt"));

    const SimplifiedChinese simplified;
    if (!simplified.Available())
        m_report << "OpenCC's t2s.json cannot be loaded: OpenStreetMap names are kept as written\n";
    const CountyLocator locator(m_gazetteer);
    OsmReader reader(table, &simplified);
    for (const std::string& path : inputs) {
        if (!Phase("reading " + path))
            return false;
        int shown = -1;
        reader.SetProgress([&](double share) {
            const int percent = static_cast<int>(share * 100);
            if (m_options.progress && percent / 10 != shown / 10) {
                shown = percent;
                *m_options.progress << "  " << percent << "%" << std::endl;
            }
            return !Cancelled();
        });
        std::vector<OsmObject> objects;
        if (!reader.Read(path, objects, error))
            return Fail(Cancelled() ? "interrupted" : error);

        FileSummary summary;
        summary.file = fs::path(path).filename().string();
        std::size_t outside = 0;
        std::string firstOutside;
        for (std::size_t i = 0; i < objects.size(); ++i) {
            const OsmObject& o = objects[i];
            ++summary.counts.rows;
            const std::string what = path + ": " + (o.type == 'n' ? "node " : "way ") + std::to_string(o.id) + ": ";
            SourceRow row;
            std::string why;
            // A conversion may give a character GBK lacks where the name as
            // written has one it holds: the written name is taken then.
            if (!GbkCodec::ToGbk(o.name, row.name, &why) && (o.written.empty() || !GbkCodec::ToGbk(o.written, row.name))) {
                m_report << what << "name " << SourceText::Quote(o.name) << ": " << why << '\n';
                ++summary.counts.rejected;
                continue;
            }
            if (row.name.size() > SourceFileReader::kMaxNameBytes) {
                m_report << what << "name " << SourceText::Quote(o.name) << " takes " << row.name.size()
                         << " bytes in GBK, more than " << SourceFileReader::kMaxNameBytes << '\n';
                ++summary.counts.rejected;
                continue;
            }
            row.county = o.lon >= 0 && o.lat >= 0 ? locator.Locate(o.lon, o.lat) : -1;
            if (row.county < 0) {
                // One line per file, not per object: an extract larger than
                // the districts would otherwise bury the report.
                if (outside++ == 0)
                    firstOutside = what.substr(path.size() + 2, what.size() - path.size() - 4);
                ++summary.counts.rejected;
                continue;
            }
            row.lon = static_cast<std::uint32_t>(std::llround(o.lon * 1e6));
            row.lat = static_cast<std::uint32_t>(std::llround(o.lat * 1e6));
            row.category = o.code;
            // Each number is checked here, so that one the telephone index
            // cannot take is reported against its object.
            std::vector<std::string> badPhones;
            for (const std::string& digits : PhoneNumbers::Split(o.phone, badPhones))
                row.phone += (row.phone.empty() ? "" : ";") + digits;
            for (const std::string& reason : badPhones)
                m_report << what << reason << '\n';
            row.line = i + 1;
            ++summary.counts.accepted;
            switch (o.kind) {
            case OsmObject::Kind::Poi:
                m_pois.push_back(std::move(row));
                break;
            case OsmObject::Kind::Sight:
                sights.push_back(std::move(row));
                break;
            case OsmObject::Kind::Place:
                places.push_back(std::move(row));
                break;
            case OsmObject::Kind::Crossroad:
                row.category = 0;
                row.phone.clear();
                m_crossroads.push_back(std::move(row));
                break;
            }
        }
        if (outside > 0)
            m_report << path << ": " << outside << (outside == 1 ? " object lies" : " objects lie")
                     << " outside every county of districts.geojson, left out (the first: " << firstOutside << ")\n";
        m_summary.files.push_back(summary);
    }
    return true;
}

} // namespace Kest
