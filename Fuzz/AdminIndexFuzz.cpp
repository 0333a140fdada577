// "AdminIndex.ndf": eAdminIndex on arbitrary file contents must fail cleanly
// or answer every code it lists, and nothing outside its table.
//
// The first input byte picks the mode: even writes the rest as it is; odd
// first puts the right checksum into the header, so that the checks behind
// the checksum get explored too.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "Admin/eAdminIndex.h"
#include "Base/NdfFormat.h"
#include "Base/eCrc32.h"

using namespace Kest;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 1 || size > (1u << 20))
        return 0;
    std::vector<unsigned char> file(data + 1, data + size);
    const std::size_t header = NdfFormat::kAdminHeaderSize;
    if ((data[0] & 1) && file.size() >= header) {
        const std::uint32_t sum = eCrc32::Compute(file.data() + header, file.size() - header);
        for (int i = 0; i < 4; ++i)
            file[static_cast<std::size_t>(NdfFormat::kAdminChecksumOffset + i)] =
                static_cast<unsigned char>(sum >> (8 * i));
    }

    // One scratch file per process, removed when the fuzzer exits.
    struct Scratch {
        std::string path = "/tmp/kest-admin-fuzz-" + std::to_string(getpid()) + ".ndf";
        ~Scratch() { std::remove(path.c_str()); }
    };
    static const Scratch scratch;
    const std::string& path = scratch.path;
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (!f)
        return 0;
    std::fwrite(file.data(), 1, file.size(), f);
    std::fclose(f);

    eAdminIndex index;
    index.SetFilePath(path.c_str());
    const int count = index.GetCount();
    if (count < 0 || count > 65536)
        std::abort();
    eString name;
    if (count == 0) {
        // Nothing loaded (or an empty table): no code answers.
        if (index.GetAdminInfo(0, name) || index.GetAdminInfo(65535, name))
            std::abort();
        return 0;
    }
    // Exactly the codes of the table answer, as many as the count says.
    int found = 0;
    for (int code = 0; code <= 65535; ++code) {
        found += index.GetAdminInfo(static_cast<unsigned short>(code), name) ? 1 : 0;
    }
    if (found != count)
        std::abort();
    return 0;
}
