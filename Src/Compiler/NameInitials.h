#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Kest {

// The initials a person may type for a POI name: what the pinyin-initial
// indexes hold. The engine's tables (GetPYInitials) give one reading; this
// class adds what pinyin-pro's character and phrase data know
// (PinyinVariantTable):
// - a character outside the engine's tables takes the initial of its first
//   reading (郪江 QJ); full-width letters and digits stand for their
//   half-width ones (ＡＢＣ超市 ABCCS, １号店 1HD);
// - symbols and punctuation, full-width or not, and spaces are skipped: they
//   are not typed (肯德基（王府井店） KDJWFJD). A Chinese character without
//   any known reading ends the initials: what follows cannot be reached;
// - a phrase of the phrase data reads as the phrase (重庆 CQ, 中国银行 ZGYH).
// Variants, in this order of preference: the name read with its phrases, the
// name read character by character with the engine's letters, and the
// name's first character read with each of its other readings. Each is cut at
// the index depth; of the variants that share a first letter only the first
// is kept, since the index answers a typed prefix with the whole subtree below
// it and two variants under one first letter would return the name twice. At
// most kMaxVariants remain.
class NameInitials {
public:
    static constexpr std::size_t kMaxVariants = 4;

    // Upper-case ASCII letters and digits, each string non-empty and at most
    // `depth` long; empty when the name has nothing to type.
    static std::vector<std::string> Variants(std::string_view gbkName, int depth);
};

} // namespace Kest
