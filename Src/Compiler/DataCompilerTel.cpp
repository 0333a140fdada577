#include <algorithm>
#include <filesystem>
#include <tuple>

#include "Base/NdfFormat.h"
#include "Compiler/DataCompiler.h"
#include "Compiler/PhoneNumbers.h"
#include "Compiler/PoiStoreWriter.h"
#include "Compiler/TelTrieWriter.h"

namespace Kest {

// "POI/Tel/": a POI record store of its own with one record per (number,
// POI), in the store order of the trie (TelTrieWriter::StoreOrder; a POI
// with one number several times is kept once, POIs with equal numbers in
// the order of the POI store), and the trie "102.ndf" over it. A number that
// cannot be indexed is reported as "pois.csv:<line>: <reason>"; the POI
// stays in the other searches.
bool DataCompiler::WriteTel(const std::string& dir)
{
    if (!Phase("writing the telephone index"))
        return false;
    const std::string telDir = dir + "Tel/";
    std::error_code ec;
    std::filesystem::create_directories(telDir, ec);
    if (ec)
        return Fail("cannot create '" + telDir + "': " + ec.message());

    struct Entry {
        std::string digits;
        std::size_t poi; // position in m_pois (the POI store's order)
    };
    std::vector<Entry> entries;
    std::vector<std::pair<std::size_t, std::string>> rejected; // source line, reason
    for (std::size_t i = 0; i < m_pois.size(); ++i) {
        std::vector<std::string> reasons;
        for (std::string& digits : PhoneNumbers::Split(m_pois[i].phone, reasons))
            entries.push_back(Entry{std::move(digits), i});
        for (std::string& reason : reasons)
            rejected.emplace_back(m_pois[i].line, std::move(reason));
    }
    // Reported in the order of the source file.
    std::stable_sort(rejected.begin(), rejected.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    const std::string source = SourcePath("pois.csv");
    for (const auto& [line, reason] : rejected)
        m_report << source << ':' << line << ": " << reason << '\n';
    m_summary.rejectedPhones = rejected.size();
    if (m_options.strict && !rejected.empty())
        return Fail(std::to_string(rejected.size()) + (rejected.size() == 1 ? " phone" : " phones") +
                    " rejected; --strict makes that a failed build");

    std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
        if (a.digits != b.digits)
            return TelTrieWriter::StoreOrder(a.digits, b.digits);
        return a.poi < b.poi;
    });

    PoiStoreWriter store(NdfFormat::kTelStoreFileId);
    const std::string storePath = telDir + std::to_string(NdfFormat::kTelStoreFileId) + ".ndf";
    if (!store.Open(storePath))
        return Fail(storePath + ": " + store.GetError());
    TelTrieWriter trie(static_cast<std::uint16_t>(NdfFormat::kTelIndexFileId));
    for (const Entry& e : entries) {
        if (Cancelled())
            return Fail("interrupted");
        const SourceRow& r = m_pois[e.poi];
        PoiStoreRecord record;
        record.name = r.name;
        record.lon = r.lon;
        record.lat = r.lat;
        record.code = r.category;
        record.area = m_gazetteer.Counties()[static_cast<std::size_t>(r.county)].number;
        ueglobal_addr_t addr{};
        if (!store.Add(record, addr))
            return Fail(storePath + ": " + store.GetError());
        if (!trie.Add(e.digits, addr))
            return Fail(telDir + "102.ndf: " + trie.GetError());
    }
    if (!store.Close())
        return Fail(storePath + ": " + store.GetError());
    const std::string triePath = telDir + std::to_string(NdfFormat::kTelIndexFileId) + ".ndf";
    if (!trie.Write(triePath))
        return Fail(triePath + ": " + trie.GetError());
    m_summary.telNumbers = entries.size();
    return true;
}

} // namespace Kest
