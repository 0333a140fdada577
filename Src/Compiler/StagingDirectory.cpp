#include "Compiler/StagingDirectory.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <stdlib.h>
#include <sys/stat.h>
#include <system_error>

namespace Kest {
namespace fs = std::filesystem;

StagingDirectory::~StagingDirectory()
{
    if (!m_path.empty() && !m_committed) {
        std::error_code ignored;
        fs::remove_all(m_path, ignored);
    }
}

bool StagingDirectory::Create(const std::string& out, std::string& error)
{
    std::error_code ec;
    fs::path target(out);
    if (target.filename().empty()) // "dir/" names "dir"
        target = target.parent_path();
    if (target.empty() || target.filename() == "." || target.filename() == "..") {
        error = "output directory '" + out + "' must name a directory by its own name, not '.' or '..'";
        return false;
    }
    const fs::file_status status = fs::symlink_status(target, ec);
    if (fs::exists(status)) {
        if (!fs::is_directory(status)) {
            error = "output '" + out + "' exists and is not a directory";
            return false;
        }
        if (!fs::is_empty(target, ec) && !fs::is_directory(target / "POI", ec)) {
            error = "output directory '" + out +
                    "' is not empty and holds no earlier build (no POI/); choose another or empty it";
            return false;
        }
    }
    fs::path parent = target.parent_path();
    if (parent.empty())
        parent = ".";
    fs::create_directories(parent, ec);
    if (ec) {
        error = "cannot create the directory '" + parent.string() + "': " + ec.message();
        return false;
    }
    std::string pattern = (parent / ("." + target.filename().string() + ".build-XXXXXX")).string();
    if (!mkdtemp(pattern.data())) {
        error = "cannot create a build directory in '" + parent.string() + "': " + std::strerror(errno);
        return false;
    }
    m_out = target.string();
    m_path = pattern;
    // mkdtemp makes the directory private (0700); the output is an ordinary
    // directory, so give it the permissions mkdir would have.
    const mode_t mask = umask(0);
    umask(mask);
    fs::permissions(m_path, static_cast<fs::perms>(0777 & ~mask), ec);
    return true;
}

bool StagingDirectory::Commit(std::string& error)
{
    std::error_code ec;
    if (!fs::exists(fs::symlink_status(m_out, ec))) {
        if (std::rename(m_path.c_str(), m_out.c_str()) != 0) {
            error = "cannot rename '" + m_path + "' to '" + m_out + "': " + std::strerror(errno);
            return false;
        }
        m_committed = true;
        return true;
    }
#ifdef RENAME_EXCHANGE
    if (renameat2(AT_FDCWD, m_path.c_str(), AT_FDCWD, m_out.c_str(), RENAME_EXCHANGE) == 0) {
        // The old output now sits in the staging path; the destructor removes it.
        return true;
    }
#endif
    // No atomic swap here: move the old output aside, then put the new one in.
    std::string aside = m_path + ".old";
    if (std::rename(m_out.c_str(), aside.c_str()) != 0) {
        error = "cannot move the old '" + m_out + "' aside: " + std::strerror(errno);
        return false;
    }
    if (std::rename(m_path.c_str(), m_out.c_str()) != 0) {
        error = "cannot rename '" + m_path + "' to '" + m_out + "': " + std::strerror(errno);
        std::rename(aside.c_str(), m_out.c_str());
        return false;
    }
    m_committed = true;
    fs::remove_all(aside, ec);
    return true;
}

} // namespace Kest
