#pragma once

#include <cstdint>
#include <vector>

#include "Base/KestExport.h"
#include "Base/eString.h"

namespace Kest {

// Administrative-area names by 16-bit area code, read from "AdminIndex.ndf"
// (format in docs/format.md, "AdminIndex.ndf"; constants in Base/NdfFormat.h).
//
// The file is read whole on the first lookup after the path is set and kept
// in memory (an 8-byte entry per area plus its name); each lookup is a binary
// search. A file that is missing, truncated or fails any check of its header,
// table, names or checksum gives no names at all, and is not read again until
// SetFilePath is called (with the same path or another).
//
// Exported because the engine manager holds one by value.
class KEST_API eAdminIndex {
public:
    eAdminIndex() = default;

    // Remembers the file; opens nothing. A different path drops what was read
    // from the previous one; the same path keeps a successful load and allows
    // another attempt after a failed one.
    void SetFilePath(const eString& path);
    const eString& GetFilePath() const { return m_strPath; }

    // The name of the area `code` into `name`. False, with `name` unchanged,
    // for an unknown code or an unreadable file.
    bool GetAdminInfo(unsigned short code, eString& name);

    // Number of areas of the loaded file (loading it if needed); 0 when the
    // file cannot be read.
    int GetCount();

    // True when the file was there but failed a check (its size, header,
    // table, names or checksum) on the last load: its names are then
    // missing, not absent from the data. False before a load and for a
    // missing file.
    bool IsDamaged() const { return m_bDamaged; }

private:
    enum class State { NotLoaded, Loaded, Failed };
    struct Entry {
        std::uint16_t code;
        std::uint16_t length;
        std::uint32_t offset; // into m_names
    };

    bool Load();
    bool Parse(const std::vector<unsigned char>& file);

    eString m_strPath;
    State m_state = State::NotLoaded;
    bool m_bDamaged = false;
    std::vector<Entry> m_entries; // by ascending code
    std::vector<char> m_names;
};

} // namespace Kest
