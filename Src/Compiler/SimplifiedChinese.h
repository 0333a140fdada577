#pragma once

#include <string>

namespace Kest {

// Traditional Chinese to Simplified, with OpenCC's "t2s.json" conversion
// (Debian libopencc). Simplified text and text in other scripts pass
// unchanged. When OpenCC cannot load its conversion, text is kept as it is
// and Available() says so.
class SimplifiedChinese {
public:
    SimplifiedChinese();
    ~SimplifiedChinese();
    SimplifiedChinese(const SimplifiedChinese&) = delete;
    SimplifiedChinese& operator=(const SimplifiedChinese&) = delete;

    bool Available() const { return m_converter != nullptr; }
    // `utf8` in Simplified characters.
    std::string Convert(const std::string& utf8) const;

private:
    void* m_converter = nullptr;
};

} // namespace Kest
