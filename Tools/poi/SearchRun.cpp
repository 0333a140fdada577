#include "SearchRun.h"

#include <filesystem>

#include "Compiler/GbkCodec.h"
#include "Compiler/Manifest.h"
#include "POIEngine/ePOIEngineManager.h"

namespace Kest {

SearchRun::SearchRun(std::ostream& out, std::ostream& err, const CommandArgs& args)
    : m_out(out), m_err(err), m_args(args)
{
    const auto& positional = args.Positional();
    if (positional.size() > 1)
        m_words.assign(positional.begin() + 1, positional.end());
}

int SearchRun::Fail(int status, const std::string& message)
{
    m_err << "poi search: " << message << "\n";
    return status;
}

void SearchRun::Note(const std::string& line)
{
    if (!line.empty())
        m_err << "poi search: " << line << "\n";
}

int SearchRun::ExpectWords(std::size_t count, const std::string& what)
{
    if (m_words.size() == count)
        return 0;
    const std::string& kind = m_args.Positional()[0];
    return Fail(2, "expected " + what + " after '" + kind + "', got " + std::to_string(m_words.size()) +
                       " word" + (m_words.size() == 1 ? "" : "s") + " (usage: poi search --data DIR " + kind +
                       " [options] " + what + ")");
}

int SearchRun::OpenData(const std::vector<std::string>& verify)
{
    if (!m_args.Has("--data"))
        return Fail(2, "--data DIR is required (a directory made by poi build)");
    m_dir = m_args.Value("--data");
    namespace fs = std::filesystem;
    std::error_code ec;
    if (!fs::is_regular_file(m_dir + "/POI/datasets.txt", ec) || !fs::is_regular_file(m_dir + "/POI/1.ndf", ec))
        return Fail(1, m_dir + " is not a data directory (build one with: poi build SRC " + m_dir + ")");
    // The small unpaged files carry no checksum of their own: the manifest's
    // proves them before they are used.
    Manifest manifest;
    std::string error;
    bool ok = manifest.Load(m_dir, error) && manifest.Verify(m_dir, "POI/datasets.txt", error);
    for (std::size_t i = 0; ok && i < verify.size(); ++i)
        ok = manifest.Verify(m_dir, verify[i], error);
    if (!ok)
        return Fail(1, error + "; no answer is given (see poi check, then rebuild with poi build)");
    if (!m_sets.Load(m_dir + "/POI/datasets.txt", error))
        return Fail(1, error + " (rebuild the directory with poi build)");
    return 0;
}

int SearchRun::ChooseDataSet(DataSetList::DataSet& set)
{
    const std::string province = m_args.Value("--province", "*");
    if (province == "*") {
        if (m_sets.Sets().size() > 1)
            return Fail(2, m_dir + " holds " + std::to_string(m_sets.Sets().size()) + " data sets (" +
                               m_sets.Names() + "): choose one with --province NAME");
        set = m_sets.Sets()[0];
        return 0;
    }
    switch (m_sets.Resolve(province, set)) {
    case DataSetList::Match::kFound:
        return 0;
    case DataSetList::Match::kNone:
        return Fail(1, "no data set for province '" + province + "' in " + m_dir + " (it holds: " + m_sets.Names() +
                           ")");
    case DataSetList::Match::kAmbiguous:
        break;
    }
    return Fail(1, "province '" + province + "' matches several data sets (" + m_sets.Names() +
                       "): give more of the name");
}

int SearchRun::ToGbk(const std::string& what, const std::string& utf8, std::string& gbk)
{
    std::string error;
    if (!GbkCodec::ToGbk(utf8, gbk, &error))
        return Fail(2, what + ": " + error);
    if (gbk.size() > 63)
        return Fail(2, what + " is longer than a name can be (63 GBK bytes)");
    return 0;
}

int SearchRun::Paging(long long& offset, long long& limit)
{
    if (!CommandArgs::ParseCount(m_args.Value("--limit", "10"), 1000000000, limit))
        return Fail(2, "--limit takes a whole number from 0, not '" + m_args.Value("--limit") + "'");
    if (!CommandArgs::ParseCount(m_args.Value("--offset", "0"), 1000000000, offset))
        return Fail(2, "--offset takes a whole number from 0, not '" + m_args.Value("--offset") + "'");
    return 0;
}

int SearchRun::Damaged(const ePOIEngineManager& engine)
{
    const eString damage = engine.GetLastDamage();
    if (damage.IsEmpty())
        return 0;
    return Fail(1, m_dir + "/" + damage.Cstr() +
                       " is damaged (it fails its checksum); no answer is given (see poi check, then rebuild with poi "
                       "build)");
}

std::vector<HitText> SearchRun::ReadHits(ePOIEngineManager& engine, long long total, long long offset, long long limit,
                                         std::string& unreadable)
{
    std::vector<HitText> hits;
    ePoiInfo info{};
    for (long long i = offset; i < total && i < offset + limit; ++i) {
        // The engine copies a name without its zero: clear the record first.
        if (!engine.GetPOIInfo(0, static_cast<int>(i), info = ePoiInfo{})) {
            unreadable = Unreadable(i, total);
            break;
        }
        hits.emplace_back(info);
    }
    return hits;
}

std::string SearchRun::Unreadable(long long index, long long count)
{
    return "hit " + std::to_string(index + 1) + " of " + std::to_string(count) +
           " cannot be read (the data directory may be damaged; poi build it again)";
}

int SearchRun::PrintHits(const std::string& fields, const std::vector<HitText>& hits, long long offset,
                         const std::string& unreadable)
{
    if (Json()) {
        m_out << "{" << fields << "}\n";
        for (const HitText& hit : hits)
            m_out << hit.Json() << "\n";
    } else if (!hits.empty()) {
        HitText::PrintTable(m_out, hits, static_cast<int>(offset) + 1);
    }
    return unreadable.empty() ? 0 : Fail(1, unreadable);
}

} // namespace Kest
