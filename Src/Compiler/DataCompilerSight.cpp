// The sight and place-name sets of `poi build`: POI/Sight/ from sights.csv
// and POI/PlaceName/ from placenames.csv. Each directory holds its own record
// store, a copy of the dictionary its text search loads, a letter trie
// without district levels and a full-text index that is one district, built
// with the writers of the POI indexes and so with the same initials and
// words.

#include "Compiler/DataCompiler.h"

#include <filesystem>

#include "Base/NdfFormat.h"
#include "Compiler/InitialIndexWriter.h"
#include "Compiler/PoiStoreWriter.h"
#include "Compiler/SegFullTextIndexWriter.h"
#include "POIEngine/eDictionary.h"

namespace Kest {
namespace fs = std::filesystem;

bool DataCompiler::WriteSights(const std::string& dir)
{
    // The sets lie in m_others as read: the sights, then the place names.
    const std::size_t sights = m_sightRows, placeNames = m_others.size() - m_sightRows;

    // The dictionary of POI/ is copied, not rebuilt: the engine keeps one
    // dictionary for the whole process, loaded by whichever text search
    // comes first, so every directory must hold the same one. Its words
    // were chosen over the sights and place names as well.
    eDictionary& dict = eDictionary::GetInstance();
    dict.UnLoad();
    const std::string dictPath = dir + "CoreDict.dct";
    if (!dict.Load(dictPath.c_str(), false))
        return Fail(dictPath + ": cannot be read back");
    const bool ok = WriteSightSet(dir, NdfFormat::kSightDir, 0, sights, NdfFormat::kSightPinyinFile,
                                  NdfFormat::kSightTextFile) &&
                    WriteSightSet(dir, NdfFormat::kPlaceNameDir, sights, placeNames, NdfFormat::kPlaceNamePinyinFile,
                                  NdfFormat::kPlaceNameTextFile);
    dict.UnLoad();
    return ok;
}

bool DataCompiler::WriteSightSet(const std::string& dir, const std::string& name, std::size_t first,
                                 std::size_t count, int pinyinFile, int textFile)
{
    if (!Phase("writing POI/" + name + " (" + std::to_string(count) + " names)"))
        return false;
    const std::string setDir = dir + name;
    std::error_code ec;
    fs::create_directories(setDir, ec);
    if (ec)
        return Fail("cannot create '" + setDir + "': " + ec.message());
    fs::copy_file(dir + "CoreDict.dct", setDir + "CoreDict.dct", fs::copy_options::overwrite_existing, ec);
    if (ec)
        return Fail("cannot write '" + setDir + "CoreDict.dct': " + ec.message());

    // The record store keeps the rows in the order of their file.
    PoiStoreWriter store(NdfFormat::kPoiStoreFileId);
    const std::string storePath = setDir + std::to_string(NdfFormat::kPoiStoreFileId) + ".ndf";
    if (!store.Open(storePath))
        return Fail(storePath + ": " + store.GetError());
    InitialIndexWriter pinyin(static_cast<std::uint16_t>(pinyinFile));
    pinyin.SetVariants(true);
    pinyin.SetLettersOnly(true);
    SegFullTextIndexWriter text(static_cast<std::uint16_t>(textFile));
    text.SetWholeIndex(true);
    for (std::size_t i = first; i < first + count; ++i) {
        if (Cancelled())
            return Fail("interrupted");
        const SourceRow& r = m_others[i];
        PoiStoreRecord record;
        record.name = r.name;
        record.lon = r.lon;
        record.lat = r.lat;
        record.code = r.category;
        record.area = m_gazetteer.Counties()[static_cast<std::size_t>(r.county)].number;
        ueglobal_addr_t addr{};
        if (!store.Add(record, addr))
            return Fail(storePath + ": " + store.GetError());
        pinyin.AddPoi({}, {}, r.name, addr); // a name with nothing to type is not indexed
        text.AddPoi({}, {}, r.name, addr);
    }
    if (!store.Close())
        return Fail(storePath + ": " + store.GetError());
    const std::string pinyinPath = setDir + std::to_string(pinyinFile) + ".ndf";
    if (!pinyin.Write(pinyinPath))
        return Fail(pinyinPath + ": " + pinyin.GetError());
    const std::string textPath = setDir + std::to_string(textFile) + ".ndf";
    if (!text.Write(textPath))
        return Fail(textPath + ": " + text.GetError());
    return true;
}

} // namespace Kest
