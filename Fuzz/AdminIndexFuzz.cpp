// "AdminIndex.ndf": eAdminIndex on arbitrary file contents must fail cleanly
// or answer every code it lists, and nothing outside its table.
//
// The first input byte picks the mode: even writes the rest as it is; odd
// first puts the right checksum into the header, so that the checks behind
// the checksum get explored too.
#include "Admin/eAdminIndex.h"
#include "Base/NdfFormat.h"
#include "Base/eCrc32.h"
#include "FuzzSupport.h"
#include "Ndf/NdfBytes.h"

using namespace Kest;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 1 || size > (1u << 20))
        return 0;
    std::vector<unsigned char> file(data + 1, data + size);
    const std::size_t header = NdfFormat::kAdminHeaderSize;
    if ((data[0] & 1) && file.size() >= header)
        NdfBytes::Put32(&file[NdfFormat::kAdminChecksumOffset], eCrc32::Compute(file.data() + header, file.size() - header));
    const std::string path = KestFuzz::WriteFile("AdminIndex.ndf", file.data(), file.size());

    eAdminIndex index;
    index.SetFilePath(path.c_str());
    const int count = index.GetCount();
    eString name;
    // Nothing loaded (or an empty table): no code answers.
    if (count < 0 || count > 65536 || (count == 0 && (index.GetAdminInfo(0, name) || index.GetAdminInfo(65535, name))))
        std::abort();
    // A loaded file has passed every check, so its table can be read here:
    // each listed code answers with a name of the listed length, and the
    // code just above it answers only when it is listed too.
    for (int i = 0; i < count; ++i) {
        const unsigned char* entry = file.data() + header + static_cast<std::size_t>(i) * NdfFormat::kAdminEntrySize;
        const int code = NdfBytes::Get16(entry), length = NdfBytes::Get16(entry + 2);
        if (!index.GetAdminInfo(static_cast<unsigned short>(code), name) || name.GetLength() != length)
            std::abort();
        const bool nextListed = i + 1 < count && NdfBytes::Get16(entry + 8) == code + 1;
        if (code < 65535 && !nextListed && index.GetAdminInfo(static_cast<unsigned short>(code + 1), name))
            std::abort();
    }
    return 0;
}
