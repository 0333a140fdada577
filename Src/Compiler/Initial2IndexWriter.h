#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Base/NdfFormat.h"
#include "Base/ueglobal_addr_t.h"

namespace Kest {

// Writes a pinyin-initial index of the second form (read by
// eNdfIndexInitial2; docs/format.md, "Pinyin-initial index, second form"):
// one letter trie over the initials of every POI name of the file (every
// variant NameInitials gives, cut at the depth), whose
// letters carry result records grouped by 16-bit district code, and a
// district tree (province, then city with its code) that names the codes.
class Initial2IndexWriter {
public:
    explicit Initial2IndexWriter(std::uint16_t fileId, int depth = NdfFormat::kInitialDefaultDepth,
                                 std::uint32_t targetPageSize = NdfFormat::kDefaultTargetPageSize);

    // A city of the district tree, names in GBK. Provinces keep the order of
    // their first city, cities the order added.
    void AddDistrict(std::string_view province, std::string_view city, std::uint16_t code);

    // One POI of district `code`, under each of its name's variants
    // (NameInitials); the name is GBK. False when the name has nothing to
    // type: such a POI is not indexed. The POIs of one node and district keep
    // the order added.
    bool AddPoi(std::string_view name, std::uint16_t code, const ueglobal_addr_t& poi);

    // Writes the whole index to `path` (the file "<dir><fileId>.ndf").
    bool Write(const std::string& path);
    const std::string& GetError() const { return m_error; }

private:
    struct Row {
        std::string initials; // folded, cut at the depth
        std::uint16_t code;
        ueglobal_addr_t poi;
    };
    struct Province {
        std::string name;
        std::vector<std::pair<std::string, std::uint16_t>> cities;
    };

    std::uint16_t m_nFileId;
    int m_nDepth;
    std::uint32_t m_nTarget;
    std::vector<Row> m_rows; // in the order added
    std::vector<Province> m_provinces;
    std::string m_error;
};

} // namespace Kest
