#include "Compiler/DataCompiler.h"
#include "Compiler/Manifest.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <numeric>
#include <set>
#include <sstream>
#include <unordered_map>

#include "Base/NdfFormat.h"
#include "Compiler/AdminIndexWriter.h"
#include "Compiler/CoreDictWriter.h"
#include "Compiler/CountyLocator.h"
#include "Compiler/GbkCodec.h"
#include "Compiler/Initial2IndexWriter.h"
#include "Compiler/PoiStoreWriter.h"
#include "Compiler/SegFullTextIndexWriter.h"
#include "Compiler/SourceText.h"
#include "Compiler/StagingDirectory.h"
#include "POIEngine/eDictionary.h"

namespace Kest {
namespace fs = std::filesystem;

namespace {

const char kDistricts[] = "districts.geojson";
const char kCategories[] = "categories.txt";
const char kPois[] = "pois.csv";
const char kSights[] = "sights.csv";
const char kPlaceNames[] = "placenames.csv";
const char kCrossroads[] = "crossroads.csv";
const char kWords[] = "words.txt";

// Byte length of the GBK character at `s[at]`.
std::size_t GbkCharLength(const std::string& s, std::size_t at)
{
    return static_cast<unsigned char>(s[at]) >= 0x81 && at + 1 < s.size() ? 2 : 1;
}

} // namespace

std::size_t DataCompiler::Summary::Rejected() const
{
    std::size_t n = 0;
    for (const FileSummary& f : files)
        n += f.counts.rejected;
    return n;
}

const std::vector<std::string>& DataCompiler::SourceFiles()
{
    static const std::vector<std::string> files = {kDistricts, kCategories, kPois,  kSights,
                                                   kPlaceNames, kCrossroads, kWords};
    return files;
}

DataCompiler::DataCompiler(Options options, std::ostream& report) : m_options(std::move(options)), m_report(report) {}

bool DataCompiler::Fail(const std::string& message)
{
    if (m_error.empty())
        m_error = message;
    return false;
}

bool DataCompiler::Cancelled() const { return m_options.cancel && *m_options.cancel; }

bool DataCompiler::Phase(const std::string& what)
{
    if (m_options.progress && !Cancelled()) {
        const double seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - m_started).count();
        char stamp[32];
        std::snprintf(stamp, sizeof stamp, "[%6.1fs] ", seconds);
        *m_options.progress << stamp << what << std::endl;
    }
    // Checked after the line is out, so that nothing starts once asked to stop.
    return !Cancelled() || Fail("interrupted");
}

std::string DataCompiler::SourcePath(const std::string& name) const
{
    return (fs::path(m_options.source) / name).string();
}

bool DataCompiler::ReadText(const std::string& name, std::string& text)
{
    const std::string path = SourcePath(name);
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return Fail(path + ": cannot open: " + std::strerror(errno));
    std::ostringstream buffer;
    buffer << in.rdbuf();
    if (in.bad())
        return Fail(path + ": cannot read");
    text = buffer.str();
    return true;
}

bool DataCompiler::Run()
{
    m_started = std::chrono::steady_clock::now();
    m_error.clear();
    m_summary = Summary();
    m_gazetteer = Gazetteer();
    m_categories = CategoryList();
    m_gbkProvinces.clear();
    m_gbkCities.clear();
    m_gbkCounties.clear();
    m_pois.clear();
    m_others.clear();
    m_crossroads.clear();
    m_words.clear();
    m_poiAddrs.clear();
    m_sightRows = 0;
    if (!ReadSources())
        return false;
    if (m_options.strict && m_summary.Rejected() > 0)
        return Fail(std::to_string(m_summary.Rejected()) + (m_summary.Rejected() == 1 ? " row" : " rows") +
                    " rejected; --strict makes that a failed build");

    StagingDirectory staging;
    std::string error;
    if (!staging.Create(m_options.output, error))
        return Fail(error);
    if (!WriteOutput(staging.Path()))
        return false;
    if (!Phase("installing " + m_options.output))
        return false;
    if (!staging.Commit(error))
        return Fail(error);
    // Past the point of no return: OUT is the new output, whatever comes.
    if (m_options.progress)
        *m_options.progress << "done" << std::endl;
    return true;
}

bool DataCompiler::ReadSources()
{
    std::string missing;
    const bool osm = !OsmInputs().empty();
    for (const std::string& name : SourceFiles()) {
        std::error_code ec;
        const bool csv = name.size() > 4 && name.compare(name.size() - 4, 4, ".csv") == 0;
        if (!(osm && csv) && !fs::is_regular_file(SourcePath(name), ec))
            missing += (missing.empty() ? "" : ", ") + SourcePath(name);
    }
    if (!fs::is_directory(m_options.source))
        return Fail("source directory '" + m_options.source + "' does not exist");
    if (!missing.empty())
        return Fail("missing source file" + std::string(missing.find(", ") == std::string::npos ? "" : "s") + ": " +
                    missing);

    if (!ReadGazetteer())
        return false;
    if (!Phase(std::string("reading ") + kCategories))
        return false;
    std::string text, error;
    std::size_t line = 0;
    if (!ReadText(kCategories, text))
        return false;
    if (!m_categories.Parse(text, error, line))
        return Fail(SourcePath(kCategories) + ":" + (line ? std::to_string(line) + ":" : "") + " " + error);
    m_summary.categories = m_categories.GetLeafCount();

    // m_others: sights (CSV, then OSM), then place names (CSV, then OSM).
    std::vector<SourceRow> osmSights, osmPlaces;
    if (!ReadOsm(osmSights, osmPlaces) || !ReadCsv(kPois, SourceFileReader::Kind::Poi, m_pois) ||
        !ReadCsv(kSights, SourceFileReader::Kind::Poi, m_others))
        return false;
    m_others.insert(m_others.end(), osmSights.begin(), osmSights.end());
    m_sightRows = m_others.size();
    if (!ReadCsv(kPlaceNames, SourceFileReader::Kind::Poi, m_others))
        return false;
    m_others.insert(m_others.end(), osmPlaces.begin(), osmPlaces.end());
    return ReadCsv(kCrossroads, SourceFileReader::Kind::Crossroad, m_crossroads) && ReadWords();
}

bool DataCompiler::ReadGazetteer()
{
    if (!Phase(std::string("reading ") + kDistricts))
        return false;
    std::string text, error;
    if (!ReadText(kDistricts, text))
        return false;
    if (!m_gazetteer.Parse(text, error))
        return Fail(SourcePath(kDistricts) + ": " + error);
    if (m_gazetteer.Counties().empty())
        return Fail(SourcePath(kDistricts) + ": no county: the file has no feature");

    // Every area name must be GBK: the engine shows and matches them so.
    auto convert = [&](const std::string& what, const std::string& name, std::vector<std::string>& out) {
        std::string gbk, why;
        if (!GbkCodec::ToGbk(name, gbk, &why))
            return Fail(SourcePath(kDistricts) + ": " + what + " " + SourceText::Quote(name) + ": " + why);
        out.push_back(gbk);
        return true;
    };
    for (const Gazetteer::Province& p : m_gazetteer.Provinces())
        if (!convert("province", p.name, m_gbkProvinces))
            return false;
    for (const Gazetteer::City& c : m_gazetteer.Cities())
        if (!convert("city", c.name, m_gbkCities))
            return false;
    for (const Gazetteer::County& c : m_gazetteer.Counties())
        if (!convert("county", c.name, m_gbkCounties))
            return false;
    m_summary.dataSets = m_gazetteer.Provinces().size();
    m_summary.cities = m_gazetteer.Cities().size();
    m_summary.counties = m_gazetteer.Counties().size();
    return true;
}

bool DataCompiler::ReadCsv(const std::string& name, SourceFileReader::Kind kind, std::vector<SourceRow>& rows)
{
    std::error_code ec;
    if (!fs::exists(SourcePath(name), ec) && !OsmInputs().empty())
        return true; // beside OpenStreetMap files, each CSV file is optional
    if (!Phase("reading " + name))
        return false;
    std::string text;
    if (!ReadText(name, text))
        return false;
    SourceFileReader reader(m_gazetteer, m_categories);
    const CountyLocator locator(m_gazetteer);
    reader.SetLocator(&locator);
    reader.SetProgress([this](double) { return !Cancelled(); });
    FileSummary summary;
    summary.file = name;
    std::string error;
    if (!reader.Read(SourcePath(name), text, kind, rows, summary.counts, m_report, error))
        return Fail(error);
    m_summary.files.push_back(summary);
    return true;
}

// words.txt: "word frequency" per line (separated by spaces or a tab), UTF-8.
// A line that is not so, or whose word GBK cannot hold, is rejected like a
// bad row of the CSV files.
bool DataCompiler::ReadWords()
{
    if (!Phase(std::string("reading ") + kWords))
        return false;
    std::string text;
    if (!ReadText(kWords, text))
        return false;
    const std::string path = SourcePath(kWords);
    FileSummary summary;
    summary.file = kWords;
    std::size_t start = text.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
    for (std::size_t lineNo = 1; start < text.size(); ++lineNo) {
        std::size_t end = text.find('\n', start);
        if (end == std::string::npos)
            end = text.size();
        std::string line = text.substr(start, end - start);
        start = end + 1;
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (line.find_first_not_of(" \t") == std::string::npos)
            continue;
        if (lineNo % 65536 == 0 && Cancelled())
            return Fail("interrupted");
        ++summary.counts.rows;
        std::istringstream fields(line);
        std::string word, frequency, extra, gbk, why;
        fields >> word >> frequency >> extra;
        long long value = -1;
        if (!frequency.empty() && frequency.size() <= 18 &&
            frequency.find_first_not_of("0123456789") == std::string::npos)
            value = std::stoll(frequency);
        std::string reason;
        if (frequency.empty() || !extra.empty())
            reason = "expected 'word frequency'";
        else if (value < 0)
            reason = "frequency " + SourceText::Quote(frequency) + " is not a whole number";
        else if (!GbkCodec::ToGbk(word, gbk, &why))
            reason = "word " + SourceText::Quote(word) + ": " + why;
        if (!reason.empty()) {
            ++summary.counts.rejected;
            m_report << path << ':' << lineNo << ": " << reason << '\n';
            continue;
        }
        ++summary.counts.accepted;
        m_words.emplace_back(gbk, value);
    }
    m_summary.files.push_back(summary);
    return true;
}

bool DataCompiler::WriteFile(const std::string& path, const std::string& bytes)
{
    std::ofstream out(path, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.close();
    if (!out)
        return Fail(path + ": cannot write: " + std::strerror(errno));
    return true;
}

bool DataCompiler::WriteOutput(const std::string& dir)
{
    const std::string poiDir = dir + "/POI/";
    std::error_code ec;
    fs::create_directories(poiDir + "Around", ec);
    if (ec)
        return Fail("cannot create '" + poiDir + "Around': " + ec.message());
    if (!(WritePoiStore(poiDir) && WriteAdminIndex(poiDir) && WriteCategories(poiDir) && WriteDataSets(poiDir) &&
          WriteDictionary(poiDir) && WriteInitialIndexes(poiDir) && WriteFullTextIndexes(poiDir)))
        return false;
    // Each search's own files.
    if (!(WriteTel(poiDir) && WriteAround(poiDir) && WriteAddressIndex(poiDir) && WriteSights(poiDir) &&
          WriteCrossroads(poiDir) && WriteDistrict(poiDir)))
        return false;
    // Last, over everything written above.
    std::string error;
    return Manifest::Write(dir, error) || Fail(error);
}

bool DataCompiler::WritePoiStore(const std::string& dir)
{
    if (!Phase("writing the POI store (" + std::to_string(m_pois.size()) + " POIs)"))
        return false;
    // Province, city and county in gazetteer order, then category and name;
    // the rest only makes the order total, so that the output never depends
    // on how the sort treats equal keys.
    auto key = [this](const SourceRow& r) {
        const Gazetteer::County& county = m_gazetteer.Counties()[static_cast<std::size_t>(r.county)];
        const Gazetteer::City& city = m_gazetteer.Cities()[static_cast<std::size_t>(county.city)];
        return std::make_tuple(city.province, city.code, county.number, r.category, std::cref(r.name), r.lon, r.lat,
                               std::cref(r.phone), r.line);
    };
    std::sort(m_pois.begin(), m_pois.end(),
              [&](const SourceRow& a, const SourceRow& b) { return key(a) < key(b); });

    PoiStoreWriter writer(NdfFormat::kPoiStoreFileId);
    const std::string path = dir + std::to_string(NdfFormat::kPoiStoreFileId) + ".ndf";
    if (!writer.Open(path))
        return Fail(path + ": " + writer.GetError());
    m_poiAddrs.resize(m_pois.size());
    for (std::size_t i = 0; i < m_pois.size(); ++i) {
        const SourceRow& r = m_pois[i];
        PoiStoreRecord record;
        record.name = r.name;
        record.lon = r.lon;
        record.lat = r.lat;
        record.code = r.category;
        record.area = m_gazetteer.Counties()[static_cast<std::size_t>(r.county)].number;
        if (!writer.Add(record, m_poiAddrs[i]))
            return Fail(path + ": " + writer.GetError());
    }
    if (!writer.Close())
        return Fail(path + ": " + writer.GetError());
    m_summary.pois = m_pois.size();
    return true;
}

// The name of a county is its province, city and county names joined; a
// municipality's city repeats the province and is left out ("北京市东城区",
// not "北京市北京市东城区").
bool DataCompiler::WriteAdminIndex(const std::string& dir)
{
    if (!Phase("writing AdminIndex.ndf"))
        return false;
    AdminIndexWriter writer;
    std::string error;
    const auto& counties = m_gazetteer.Counties();
    for (std::size_t i = 0; i < counties.size(); ++i) {
        const auto city = static_cast<std::size_t>(counties[i].city);
        const auto province = static_cast<std::size_t>(m_gazetteer.Cities()[city].province);
        std::string name = m_gbkProvinces[province];
        if (m_gbkCities[city] != m_gbkProvinces[province])
            name += m_gbkCities[city];
        name += m_gbkCounties[i];
        if (!writer.Add(counties[i].number, name, &error))
            return Fail(error);
    }
    if (!writer.WriteFile(dir + "AdminIndex.ndf", &error))
        return Fail(error);
    return true;
}

bool DataCompiler::WriteCategories(const std::string& dir)
{
    if (!Phase("writing Around/POI_SORT.txt"))
        return false;
    return WriteFile(dir + "Around/POI_SORT.txt", m_categories.GbkText());
}

// datasets.txt: one line per data set, "<number><TAB><province>", UTF-8,
// in data set order (docs/format.md).
bool DataCompiler::WriteDataSets(const std::string& dir)
{
    std::string text;
    for (const Gazetteer::Province& p : m_gazetteer.Provinces())
        text += std::to_string(p.dataSet) + "\t" + p.name + "\n";
    return WriteFile(dir + "datasets.txt", text);
}

// The dictionary, in the order its 131072-byte arena is filled
// (CoreDictWriter chooses within each group by frequency):
//  1. the single full-width digits and letters, so that each has a key of
//     its own, and the letter and digit words of the names
//     (SegFullTextIndexWriter::LatinWords), those held by most names first,
//     within a quarter of the arena; the others are found letter by letter;
//  2. the data's own words: the area and category names, and every word of
//     words.txt that occurs in the name of a POI, sight, place name or
//     crossroad;
//  3. the rest of words.txt, by frequency.
// Words are widened as names are (SegFullTextIndexWriter::Widen), so that a
// word of words.txt with letters or digits matches the names and queries
// that hold it.
bool DataCompiler::WriteDictionary(const std::string& dir)
{
    if (!Phase("writing CoreDict.dct (" + std::to_string(m_words.size()) + " words offered)"))
        return false;
    constexpr std::size_t kLatinShare = eDictionary::kArenaSize / 4;
    CoreDictWriter writer;
    std::vector<std::string> words(m_words.size());
    std::size_t longest = 0;
    for (std::size_t i = 0; i < m_words.size(); ++i) {
        words[i] = SegFullTextIndexWriter::Widen(m_words[i].first);
        writer.Add(words[i], m_words[i].second);
        longest = std::max(longest, words[i].size());
    }
    std::unordered_map<std::string_view, std::size_t> known;
    for (std::size_t i = 0; i < words.size(); ++i)
        known.emplace(words[i], i);
    std::vector<bool> own(words.size(), false);
    std::map<std::string, long long> latin; // letter and digit word -> names holding it
    for (const std::vector<SourceRow>* rows : {&m_pois, &m_others, &m_crossroads}) {
        for (const SourceRow& r : *rows) {
            const std::string name = SegFullTextIndexWriter::Widen(r.name);
            for (std::size_t at = 0; at < name.size(); at += GbkCharLength(name, at)) {
                for (std::size_t end = at; end < name.size() && end - at < longest;) {
                    end += GbkCharLength(name, end);
                    const auto it = known.find(std::string_view(name).substr(at, end - at));
                    if (it != known.end())
                        own[it->second] = true;
                }
            }
            for (const std::string& word : SegFullTextIndexWriter::LatinWords(r.name))
                ++latin[word];
        }
    }

    std::set<std::string> first;
    for (int i = 0; i < 10; ++i)
        first.insert({'\xA3', static_cast<char>(0xB0 + i)}); // ０..９
    for (int i = 0; i < 26; ++i)
        first.insert({'\xA3', static_cast<char>(0xC1 + i)}); // Ａ..Ｚ
    std::vector<std::pair<long long, std::string>> byNames; // (-names, word): most names first, then by bytes
    for (const auto& [word, names] : latin)
        byNames.emplace_back(-names, word);
    std::sort(byNames.begin(), byNames.end());
    std::size_t share = 0;
    for (const auto& [negatedNames, word] : byNames) {
        if (share + word.size() + 1 > kLatinShare)
            continue;
        share += word.size() + 1;
        writer.Add(word, -negatedNames);
        first.insert(word);
    }
    for (const std::string& word : first)
        writer.AddVocabulary(word, CoreDictWriter::Group::First);

    std::set<std::string> vocabulary;
    for (std::size_t i = 0; i < words.size(); ++i)
        if (own[i])
            vocabulary.insert(words[i]);
    for (const auto* names : {&m_gbkProvinces, &m_gbkCities, &m_gbkCounties})
        for (const std::string& name : *names)
            vocabulary.insert(SegFullTextIndexWriter::Widen(name));
    for (const CategoryList::Branch& branch : m_categories.Branches()) {
        vocabulary.insert(SegFullTextIndexWriter::Widen(GbkCodec::Gbk(branch.name)));
        for (const CategoryList::Leaf& leaf : branch.leaves)
            vocabulary.insert(SegFullTextIndexWriter::Widen(GbkCodec::Gbk(leaf.name)));
    }
    for (const std::string& word : vocabulary)
        writer.AddVocabulary(word);

    CoreDictWriter::Summary summary;
    std::string error;
    if (!writer.Write(dir + "CoreDict.dct", &summary, &error))
        return Fail(error);
    m_summary.dictWords = static_cast<std::size_t>(summary.words);
    m_summary.dictVocabulary = first.size() + static_cast<std::size_t>(std::count_if(
        vocabulary.begin(), vocabulary.end(), [&](const std::string& w) { return first.count(w) == 0; }));
    m_summary.dictNoRoom = static_cast<std::size_t>(summary.noRoom);
    return true;
}

// One index per data set, file 100+n: the district tree of the province's
// cities and every POI of the province, in record store order.
bool DataCompiler::WriteInitialIndexes(const std::string& dir)
{
    if (!Phase("writing the pinyin-initial indexes (" + std::to_string(m_gazetteer.Provinces().size()) + " data sets)"))
        return false;
    const auto& provinces = m_gazetteer.Provinces();
    const auto& cities = m_gazetteer.Cities();
    const auto& counties = m_gazetteer.Counties();
    std::size_t next = 0; // the store is sorted by province: each province is one run of m_pois
    for (std::size_t p = 0; p < provinces.size(); ++p) {
        if (Cancelled())
            return Fail("interrupted");
        const auto fileId = static_cast<std::uint16_t>(NdfFormat::kInitialFileBase + provinces[p].dataSet);
        Initial2IndexWriter writer(fileId);
        for (int c : provinces[p].cities)
            writer.AddDistrict(m_gbkProvinces[p], m_gbkCities[static_cast<std::size_t>(c)],
                               cities[static_cast<std::size_t>(c)].code);
        for (; next < m_pois.size(); ++next) {
            const auto& city = cities[static_cast<std::size_t>(counties[static_cast<std::size_t>(m_pois[next].county)].city)];
            if (static_cast<std::size_t>(city.province) != p)
                break;
            if (writer.AddPoi(m_pois[next].name, city.code, m_poiAddrs[next]))
                ++m_summary.indexedPois;
            else
                ++m_summary.unindexedPois;
        }
        const std::string path = dir + std::to_string(fileId) + ".ndf";
        if (!writer.Write(path))
            return Fail(path + ": " + writer.GetError());
    }
    return true;
}

bool DataCompiler::WriteFullTextIndexes(const std::string& dir)
{
    if (!Phase("writing the full-text indexes (" + std::to_string(m_gazetteer.Provinces().size()) + " data sets)"))
        return false;
    // Names are cut into words with the dictionary just written, the one the
    // engine loads from the same directory.
    eDictionary& dict = eDictionary::GetInstance();
    dict.UnLoad();
    const std::string dictPath = dir + "CoreDict.dct";
    if (!dict.Load(dictPath.c_str(), false))
        return Fail(dictPath + ": cannot be read back");
    const auto& provinces = m_gazetteer.Provinces();
    const auto& cities = m_gazetteer.Cities();
    const auto& counties = m_gazetteer.Counties();
    bool ok = true;
    std::size_t next = 0; // the store is sorted by province: each province is one run of m_pois
    for (std::size_t p = 0; p < provinces.size() && ok; ++p) {
        if (Cancelled()) {
            ok = Fail("interrupted");
            break;
        }
        const auto fileId = static_cast<std::uint16_t>(NdfFormat::kFullTextFileBase + provinces[p].dataSet);
        SegFullTextIndexWriter writer(fileId);
        for (; next < m_pois.size(); ++next) {
            const int c = counties[static_cast<std::size_t>(m_pois[next].county)].city;
            if (static_cast<std::size_t>(cities[static_cast<std::size_t>(c)].province) != p)
                break;
            m_summary.textWords += static_cast<std::size_t>(
                writer.AddPoi(m_gbkProvinces[p], m_gbkCities[static_cast<std::size_t>(c)], m_pois[next].name,
                              m_poiAddrs[next]));
        }
        const std::string path = dir + std::to_string(fileId) + ".ndf";
        if (!writer.Write(path))
            ok = Fail(path + ": " + writer.GetError());
    }
    dict.UnLoad();
    return ok;
}

} // namespace Kest
