// A navigation app's keypad for the search by pinyin initials, played from a
// string of keys: after each key it searches again, prints the keys that stay
// enabled (those some hit's initials go on with) and the first hits. A key
// that is not enabled does nothing, as on the screen.
//
//   keypad DATA_DIR DATA_SET KEYS      e.g.  keypad /tmp/poi-sample 10 WFJH
//
// DATA_DIR is a directory made by `poi build`; DATA_SET is a number from its
// POI/datasets.txt (10 is Beijing in the bundled sample). The engine speaks
// GBK; this program prints UTF-8.
#include <iconv.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "POIEngine/ePOIEngineManager.h"

namespace {

const char kKeypad[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
const int kHitsShown = 3;

// A GBK field of a record (zero-terminated unless it fills its `size` bytes)
// in UTF-8.
std::string Utf8(const char* gbk, std::size_t size)
{
    static iconv_t codec = iconv_open("UTF-8", "GBK");
    std::string in(gbk, strnlen(gbk, size)), out(in.size() * 2 + 1, '\0');
    char* from = in.data();
    char* to = out.data();
    std::size_t left = in.size(), room = out.size();
    if (codec == reinterpret_cast<iconv_t>(-1) || iconv(codec, &from, &left, &to, &room) == static_cast<std::size_t>(-1))
        return "?";
    out.resize(out.size() - room);
    return out;
}

// The keys the engine enables after `typed`: its next letters, upper case.
// Each key of the pad shows as itself when enabled, as '.' when not.
std::string KeypadRow(const char* next, int count)
{
    std::string row(kKeypad);
    for (char& key : row) {
        bool enabled = false;
        for (int i = 0; i < count && !enabled; ++i)
            enabled = std::toupper(static_cast<unsigned char>(next[i])) == key;
        if (!enabled)
            key = '.';
    }
    return row;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: keypad DATA_DIR DATA_SET KEYS (letters or digits, e.g. keypad /tmp/poi-sample 10 WFJH)\n");
        return 2;
    }
    const int dataSet = std::atoi(argv[2]);

    Kest::ePOIEngineManager engine;
    engine.SetPoiPath(argv[1]);
    std::string typed;
    std::string enabled = kKeypad; // before the first key every key may be pressed
    for (const char* key = argv[3]; *key != '\0'; ++key) {
        const char pressed = static_cast<char>(std::toupper(static_cast<unsigned char>(*key)));
        if (enabled.find(pressed) == std::string::npos) {
            std::printf("%-8s key %c is not enabled: ignored\n", (typed + pressed).c_str(), pressed);
            continue;
        }
        typed += pressed;

        // Province and city "*": every district of the data set.
        char* next = nullptr;
        int nextCount = 0;
        if (!engine.QueryByInitial(3, dataSet, "*", "*", typed.c_str(), next, nextCount)) {
            std::fprintf(stderr, "keypad: cannot search data set %d in %s (is it a directory made by poi build?)\n",
                         dataSet, argv[1]);
            return 1;
        }
        enabled = KeypadRow(next, nextCount);
        const int count = engine.GetPOICount(0);
        std::printf("%-8s %6d %-4s  keys %s\n", typed.c_str(), count, count == 1 ? "hit" : "hits", enabled.c_str());
        for (int i = 0; i < count && i < kHitsShown; ++i) {
            Kest::ePoiInfo info{};
            if (engine.GetPOIInfo(0, i, info))
                std::printf("         %d. %s  %s\n", i + 1, Utf8(info.szName, sizeof info.szName).c_str(),
                            Utf8(info.szAddress, sizeof info.szAddress).c_str());
        }
    }
    if (!engine.GetLastDamage().IsEmpty()) {
        std::fprintf(stderr, "keypad: damaged data: %s (check it with poi check)\n", engine.GetLastDamage().Cstr());
        return 1;
    }
    return 0;
}
