// The OpenStreetMap input of the compiler on arbitrary bytes: the category
// table's parser and matching, the phone normalisation (its numbers must be
// what the telephone index accepts or reports), and the two-pass reader on
// the bytes as an XML or PBF file. The first byte chooses which.

#include "Compiler/OsmCategories.h"
#include "Compiler/OsmReader.h"
#include "Compiler/PhoneNumbers.h"
#include "FuzzSupport.h"

namespace {

struct Tag {
    std::string k, v;
    const char* key() const { return k.c_str(); }
    const char* value() const { return v.c_str(); }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    switch (data[0] % 4) {
    case 0: {
        Kest::OsmCategories table;
        std::string error;
        if (table.Parse(text, error)) {
            const std::vector<Tag> tags = {{"amenity", "cafe"}, {"place", "town"}, {text.substr(0, 8), "*"}};
            for (bool place : {false, true}) {
                const auto match = table.Classify(tags, place);
                if (match.rule && (match.rule->kind == Kest::OsmCategories::Kind::Place) != place)
                    __builtin_trap();
            }
        }
        break;
    }
    case 1: {
        std::vector<std::string> rejected;
        for (const std::string& number : Kest::PhoneNumbers::Split(Kest::OsmReader::PhoneNormalise(text), rejected))
            if (number.empty() || number.find_first_not_of("0123456789") != std::string::npos)
                __builtin_trap();
        break;
    }
    default: {
        const std::string path = KestFuzz::WriteFile(data[0] % 4 == 2 ? "in.osm" : "in.osm.pbf", text.data(), text.size());
        static Kest::OsmCategories table;
        static const bool parsed = [] {
            std::string error;
            return table.Parse(Kest::OsmCategories::BuiltIn(), error);
        }();
        if (!parsed)
            __builtin_trap();
        Kest::OsmReader reader(table, nullptr);
        std::vector<Kest::OsmObject> objects;
        std::string error;
        reader.Read(path, objects, error);
        unlink(path.c_str());
        break;
    }
    }
    return 0;
}
