#include "CheckCommand.h"

#include <cctype>
#include <filesystem>
#include <fstream>
#include <set>

#include "Admin/eAdminIndex.h"
#include "Base/NdfFormat.h"
#include "Compiler/Manifest.h"
#include "Ndf/NdfBytes.h"
#include "Ndf/eNdfPool.h"

namespace Kest {

const char CheckCommand::kUsage[] =
    "usage: poi check DIR\n"
    "\n"
    "Verifies the data directory DIR (made by poi build): the size and CRC-32\n"
    "of every file that DIR/POI/manifest.txt lists, every page of every page\n"
    "file (N.ndf), the area index (AdminIndex.ndf) and the manifest itself.\n"
    "Prints each fault found, one a line ('DIR/POI/110.ndf page 7: fails its\n"
    "check'), or 'ok' with what was checked. It reads every byte of DIR.\n"
    "\n"
    "options:\n"
    "  -h, --help   show this text\n"
    "\n"
    "exit status: 0 no fault, 1 faults found (rebuild with poi build), 2 usage error\n";

namespace {

// A page file is "N.ndf" with N a file number.
bool IsPageFile(const std::string& path)
{
    const std::string name = std::filesystem::path(path).filename().string();
    if (name.size() < 5 || name.compare(name.size() - 4, 4, ".ndf") != 0)
        return false;
    for (std::size_t i = 0; i + 4 < name.size(); ++i)
        if (!std::isdigit(static_cast<unsigned char>(name[i])))
            return false;
    return true;
}

} // namespace

void CheckCommand::Fault(int& faults, const std::string& line)
{
    m_out << line << "\n";
    ++faults;
}

long long CheckCommand::CheckPages(const std::string& dir, const std::string& path, int& faults)
{
    const std::filesystem::path file(dir + "/" + path);
    const std::string name = file.filename().string();
    const unsigned long id = std::stoul(name.substr(0, name.size() - 4));
    if (id > 0xFFFF) {
        Fault(faults, file.string() + ": the file number is too large");
        return 0;
    }
    unsigned char head[NdfFormat::kFileHeaderSize] = {};
    std::ifstream in(file, std::ios::binary);
    in.read(reinterpret_cast<char*>(head), sizeof head);
    if (!in) {
        Fault(faults, file.string() + ": header: the file is shorter than its header");
        return 0;
    }
    // The pool checks the header (the page count read here is trusted only
    // once the first page loads) and each page; nothing is cached.
    eNdfPool pool;
    pool.SetSize(0);
    pool.SetDataPath(eString((file.parent_path().string() + "/").c_str()));
    const std::uint32_t pages = NdfBytes::Get32(head + NdfFormat::kFilePageCountOffset);
    long long checked = 0;
    for (std::uint32_t page = 0; page < pages; ++page) {
        ueaddr_t addr{};
        addr.nPage = page;
        addr.nFile = static_cast<std::uint16_t>(id);
        pool.ClearDamage();
        if (pool.GetPageSize(addr) > 0) {
            ++checked;
            continue;
        }
        const std::string damage = pool.GetDamage().Cstr();
        if (damage.find("header") != std::string::npos || damage.empty()) {
            Fault(faults, file.string() + ": header: fails its check (no page can be read)");
            break;
        }
        Fault(faults, file.string() + ": page " + std::to_string(page) + ": fails its check");
        ++checked;
    }
    return checked;
}

int CheckCommand::Run(const std::vector<std::string>& args)
{
    std::vector<std::string> paths;
    for (const std::string& arg : args) {
        if (arg == "-h" || arg == "--help") {
            m_out << kUsage;
            return 0;
        }
        if (arg.size() > 1 && arg[0] == '-') {
            m_err << "poi check: unknown option '" << arg << "' (see poi check --help)\n";
            return 2;
        }
        paths.push_back(arg);
    }
    if (paths.size() != 1) {
        m_err << "poi check: expected one data directory, got " << paths.size() << " (usage: poi check DIR)\n";
        return 2;
    }
    const std::string dir = paths[0];
    namespace fs = std::filesystem;
    std::error_code ec;
    if (!fs::is_directory(dir + "/POI", ec)) {
        m_err << "poi check: " << dir << " is not a data directory (build one with: poi build SRC " << dir << ")\n";
        return 1;
    }

    int faults = 0;
    long long pages = 0;
    Manifest manifest;
    std::string error;
    if (!manifest.Load(dir, error))
        Fault(faults, error);
    std::set<std::string> listed;
    for (const Manifest::Entry& entry : manifest.Entries()) {
        listed.insert(entry.path);
        if (!manifest.Verify(dir, entry.path, error))
            Fault(faults, error);
        if (IsPageFile(entry.path) && fs::is_regular_file(dir + "/" + entry.path, ec))
            pages += CheckPages(dir, entry.path, faults);
    }
    // Files the manifest does not list: page files are still checked page by
    // page (a damaged manifest lists nothing).
    for (fs::recursive_directory_iterator it(dir + "/POI", ec), end; !ec && it != end; it.increment(ec)) {
        const std::string path = fs::relative(it->path(), dir, ec).generic_string();
        if (!it->is_regular_file(ec) || path == Manifest::kFileName || listed.count(path) != 0)
            continue;
        if (!manifest.Entries().empty())
            Fault(faults, dir + "/" + path + ": not in the manifest");
        if (IsPageFile(path))
            pages += CheckPages(dir, path, faults);
    }
    eAdminIndex admin;
    admin.SetFilePath(eString((dir + "/POI/AdminIndex.ndf").c_str()));
    admin.GetCount();
    if (admin.IsDamaged())
        Fault(faults, dir + "/POI/AdminIndex.ndf: fails its check");

    if (faults > 0) {
        m_err << "poi check: " << faults << " fault(s) in " << dir << " (rebuild it with poi build)\n";
        return 1;
    }
    m_out << "ok: " << manifest.Entries().size() << " files, " << pages << " pages\n";
    return 0;
}

} // namespace Kest
