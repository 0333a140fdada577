#pragma once

#include <string>

namespace Kest {

// The directory a build writes into before its output takes the place of
// OUT: created next to OUT (same file system, so the final step is a rename)
// as "<parent>/.<name>.build-XXXXXX", and removed with everything in it
// unless committed. OUT therefore changes only when a build succeeds.
class StagingDirectory {
public:
    StagingDirectory() = default;
    ~StagingDirectory();
    StagingDirectory(const StagingDirectory&) = delete;
    StagingDirectory& operator=(const StagingDirectory&) = delete;

    // Checks that OUT may be replaced and creates the staging directory (and
    // OUT's missing parents). OUT may be absent, an empty directory or a data
    // directory of an earlier build (it holds "POI/"); anything else is
    // refused, so that a mistyped OUT never wipes unrelated files.
    bool Create(const std::string& out, std::string& error);

    const std::string& Path() const { return m_path; }

    // Puts the staging directory in OUT's place: swapped atomically with an
    // existing OUT where the file system can, else OUT is moved aside, the
    // staging directory renamed and the old OUT removed.
    bool Commit(std::string& error);

private:
    std::string m_out;
    std::string m_path;
    bool m_committed = false;
};

} // namespace Kest
