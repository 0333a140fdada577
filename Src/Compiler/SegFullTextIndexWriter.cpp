#include "Compiler/SegFullTextIndexWriter.h"

#include <algorithm>

#include "Compiler/FeatureBlockEncoder.h"
#include "Compiler/PageFileWriter.h"
#include "POIEngine/PinyinHelpers.h"
#include "POIEngine/eDictionary.h"
#include "POIEngine/eMMWordSeg.h"

namespace Kest {

SegFullTextIndexWriter::SegFullTextIndexWriter(std::uint16_t fileId, std::uint32_t targetPageSize)
    : m_nFileId(fileId), m_nTarget(targetPageSize)
{
}

std::vector<SegFullTextIndexWriter::Word> SegFullTextIndexWriter::Words(std::string_view name)
{
    eDictionary& dict = eDictionary::GetInstance();
    eMMWordSeg seg;
    seg.SetDict(dict);
    const std::string text(name);
    const eString wide = ToFullWidthLetters(ToFullWidthDigits(text.c_str()).Cstr());
    eString cut = seg.SegmentHzStrMM(wide);
    eArray<eString> pieces;
    seg.GetAdressSeg(cut, pieces);
    std::vector<Word> words;
    int position = 0;
    for (int i = 0; i < pieces.GetSize(); ++i) {
        const eString& piece = pieces[i];
        int slot = 0;
        int index = 0;
        if (!piece.IsEmpty() && dict.GetWordIndex(piece, slot, index))
            words.push_back({piece.Cstr(), position, index == -1 ? slot * 10000 - 1 : slot * 10000 + index});
        position += piece.GetLength();
    }
    return words;
}

int SegFullTextIndexWriter::AddPoi(std::string_view province, std::string_view city, std::string_view name,
                                   const ueglobal_addr_t& poi)
{
    auto p = std::find_if(m_provinces.begin(), m_provinces.end(), [&](const Province& x) { return x.name == province; });
    if (p == m_provinces.end()) {
        m_provinces.push_back(Province{std::string(province), {}});
        p = m_provinces.end() - 1;
    }
    auto c = std::find_if(p->cities.begin(), p->cities.end(), [&](const City& x) { return x.name == city; });
    if (c == p->cities.end()) {
        p->cities.push_back(City{std::string(city), {}});
        c = p->cities.end() - 1;
    }
    const auto words = Words(name);
    for (const Word& w : words)
        c->words[w.key].push_back({w.position, poi});
    return static_cast<int>(words.size());
}

bool SegFullTextIndexWriter::Write(const std::string& path)
{
    using Record = PageFileWriter::Record;
    PageFileWriter writer(m_nFileId, m_nTarget);
    if (!writer.Open(path)) {
        m_error = writer.GetError();
        return false;
    }
    auto fail = [&]() {
        m_error = writer.GetError();
        writer.Close();
        return false;
    };
    // Bottom-up: each city's postings, then its word table, then the city
    // runs, the provinces and the root.
    std::vector<Record> provinces;
    for (const Province& p : m_provinces) {
        std::vector<Record> cities;
        for (const City& c : p.cities) {
            std::vector<Record> table;
            for (const auto& [key, postings] : c.words) {
                std::vector<Record> run;
                for (const Posting& posting : postings) {
                    Record r;
                    r.SetInt(2, static_cast<std::uint32_t>(posting.position)).SetAddr(3, posting.poi);
                    run.push_back(std::move(r));
                }
                ueglobal_addr_t first{};
                if (!writer.AppendRun(run, first))
                    return fail();
                Record w;
                w.SetInt(0, static_cast<std::uint32_t>(key))
                    .SetInt(1, static_cast<std::uint32_t>(postings.size()))
                    .SetAddr(2, first);
                table.push_back(std::move(w));
            }
            ueglobal_addr_t first{};
            if (!writer.AppendRun(table, first))
                return fail();
            Record r;
            r.SetText(0, c.name).SetInt(1, static_cast<std::uint32_t>(table.size())).SetAddr(2, first);
            cities.push_back(std::move(r));
        }
        ueglobal_addr_t first{};
        if (!writer.AppendRun(cities, first))
            return fail();
        Record r;
        r.SetText(0, p.name).SetInt(1, static_cast<std::uint32_t>(cities.size())).SetAddr(2, first);
        provinces.push_back(std::move(r));
    }
    ueglobal_addr_t first{};
    if (!writer.AppendRun(provinces, first))
        return fail();
    const auto block = FeatureBlockEncoder::Encode(first, static_cast<unsigned int>(provinces.size()), {}, 0);
    Record root;
    root.Set(1, block.data(), block.size());
    ueglobal_addr_t rootAddr{};
    if (!writer.AppendRun({root}, rootAddr, true))
        return fail();
    writer.SetIndexHeader(rootAddr, 0);
    if (!writer.Close()) {
        m_error = writer.GetError();
        return false;
    }
    return true;
}

} // namespace Kest
