#pragma once

#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "Compiler/CategoryList.h"
#include "Compiler/Gazetteer.h"
#include "Compiler/SourceFileReader.h"
#include "Base/ueglobal_addr_t.h"

namespace Kest {

// The data compiler behind `poi build SRC OUT`: reads the UTF-8 sources of
// SRC (docs/cli.md lists them) and writes a data directory for the engine:
//
//   OUT/POI/1.ndf                POI record store (pois.csv), sorted by
//                                province, city, county, category, name
//   OUT/POI/AdminIndex.ndf       county number -> "province city county"
//   OUT/POI/Around/POI_SORT.txt  the category list in GBK
//   OUT/POI/CoreDict.dct         the word dictionary
//   OUT/POI/datasets.txt         data set numbers and province names
//   OUT/POI/<100+n>.ndf          pinyin-initial index of data set n
//   OUT/POI/<200+n>.ndf          full-text index of data set n
//   OUT/POI/POIAround.ndf        around grid over every POI
//   OUT/POI/Tel/1.ndf            POI record store of the telephone search:
//                                one record per (number, POI), by number
//   OUT/POI/Tel/102.ndf          telephone trie over it
//   OUT/POI/100.ndf              category index of the search by address
//   OUT/POI/101.ndf              district index: coordinate -> county number
//
//   OUT/POI/Sight/               sights.csv: record store 1.ndf, CoreDict.dct,
//                                105.ndf by initials, 106.ndf by text
//   OUT/POI/PlaceName/           placenames.csv: 1.ndf, CoreDict.dct,
//                                108.ndf by initials, 107.ndf by text
//   OUT/POI/CrossRoad/           the crossroads (crossroads.csv): their own
//                                record store 1.ndf, CoreDict.dct (the same
//                                bytes as POI/CoreDict.dct), and per data set
//                                n the full-text index <300+n>.ndf and the
//                                pinyin-initial index <400+n>.ndf (first form)
//
// OpenStreetMap files (*.osm.pbf, *.osm, *.osm.bz2 in SRC, or Options::osm)
// add POIs, sights, place names and crossroads to the same rows
// (DataCompilerOsm.cpp); the CSV files are then optional.
//
// Rejected rows go to the report stream as "file:line: reason"; the build
// goes on without them unless `strict` is set. Everything is written into a
// staging directory next to OUT that replaces OUT only when the build
// succeeds. The same sources give the same bytes.
class DataCompiler {
public:
    struct Options {
        std::string source;
        std::string output;
        bool strict = false;
        // Progress lines, one per phase (null: quiet).
        std::ostream* progress = nullptr;
        // Set (by a signal handler) to stop the build; OUT stays as it was.
        const volatile std::sig_atomic_t* cancel = nullptr;
        // OpenStreetMap files to read besides those found in `source`.
        std::vector<std::string> osm;
    };

    struct FileSummary {
        std::string file; // name within SRC
        SourceFileReader::Counts counts;
    };
    struct Summary {
        std::vector<FileSummary> files; // the OSM files, the CSV files and words.txt, in reading order
        std::size_t dataSets = 0;
        std::size_t cities = 0;
        std::size_t counties = 0;
        std::size_t categories = 0;
        std::size_t pois = 0;            // records in the POI store
        std::size_t indexedPois = 0;     // POIs in the pinyin-initial indexes
        std::size_t unindexedPois = 0;   // POIs whose name has nothing to type (NameInitials)
        std::size_t dictWords = 0;       // words in CoreDict.dct
        std::size_t dictVocabulary = 0;  // words offered first: letters, digits and the data's own
        std::size_t dictNoRoom = 0;      // words left out for lack of room
        std::size_t textWords = 0;       // postings (word, position) of names in the full-text indexes
        std::size_t telNumbers = 0;      // records of the telephone store: (number, POI) pairs
        std::size_t rejectedPhones = 0;  // numbers of phone fields left out of the telephone index
        std::size_t crossroads = 0;      // records in the crossroad store
        std::size_t crossroadsSplit = 0; // of them, names split into two roads (CrossroadName)
        std::size_t Rejected() const;
    };

    DataCompiler(Options options, std::ostream& report);

    // Runs the whole build. False, with GetError() (one line, no trailing
    // newline), when the build failed; OUT is then untouched.
    bool Run();

    const std::string& GetError() const { return m_error; }
    const Summary& GetSummary() const { return m_summary; }

    // The source files, in the order they are read; the CSV files among them
    // may be left out when OpenStreetMap files are given.
    static const std::vector<std::string>& SourceFiles();

private:
    bool Fail(const std::string& message);
    bool Cancelled() const;
    // Reports the start of a phase; false (and the build fails) once the
    // build was cancelled.
    bool Phase(const std::string& what);
    bool ReadText(const std::string& name, std::string& text);
    bool ReadSources();
    bool ReadGazetteer();
    bool ReadCsv(const std::string& name, SourceFileReader::Kind kind, std::vector<SourceRow>& rows);
    bool ReadWords();
    // The OpenStreetMap inputs (DataCompilerOsm.cpp): the files of
    // Options::osm, then the *.osm, *.osm.pbf and *.osm.bz2 of SRC by name.
    std::vector<std::string> OsmInputs() const;
    bool ReadOsm(std::vector<SourceRow>& sights, std::vector<SourceRow>& places);
    bool WriteOutput(const std::string& dir);
    bool WritePoiStore(const std::string& dir);
    bool WriteAdminIndex(const std::string& dir);
    bool WriteCategories(const std::string& dir);
    bool WriteDictionary(const std::string& dir);
    bool WriteDataSets(const std::string& dir);
    bool WriteInitialIndexes(const std::string& dir);
    bool WriteFullTextIndexes(const std::string& dir);
    // POIAround.ndf: the around grid over every POI of every data set.
    bool WriteAround(const std::string& dir);
    bool WriteTel(const std::string& dir);
    bool WriteAddressIndex(const std::string& dir);
    // POI/Sight/ and POI/PlaceName/ (DataCompilerSight.cpp).
    bool WriteSights(const std::string& dir);
    bool WriteSightSet(const std::string& dir, const std::string& name, std::size_t first, std::size_t count,
                       int pinyinFile, int textFile);
    // POI/CrossRoad/ (DataCompilerCross.cpp).
    bool WriteCrossroads(const std::string& dir);
    bool WriteDistrict(const std::string& dir);
    bool WriteFile(const std::string& path, const std::string& bytes);
    std::string SourcePath(const std::string& name) const;

    Options m_options;
    std::ostream& m_report;
    std::string m_error;
    Summary m_summary;
    std::chrono::steady_clock::time_point m_started;

    Gazetteer m_gazetteer;
    CategoryList m_categories;
    std::vector<std::string> m_gbkProvinces, m_gbkCities, m_gbkCounties; // by gazetteer index
    std::vector<SourceRow> m_pois, m_others, m_crossroads;
    std::size_t m_sightRows = 0; // m_others: the sights first, then the place names
    std::vector<std::pair<std::string, long long>> m_words; // GBK word, frequency
    std::vector<ueglobal_addr_t> m_poiAddrs;                // by position in m_pois once sorted
};

} // namespace Kest
