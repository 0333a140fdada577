#pragma once

namespace Kest {

// The GB2312 level-2 characters (lead bytes 0xD8-0xF7), which GB2312 orders by
// radical rather than by pinyin, grouped by the initial letter of their pinyin:
// list i is the concatenation, without separators, of the two GBK bytes of
// every character whose initial is kPinyinLevel2Letters[i]. A character stands
// in at most one list. Generated data (PinyinLevel2Table.cpp); internal to the
// engine.
constexpr int kPinyinLevel2ListCount = 23;
extern const char kPinyinLevel2Letters[kPinyinLevel2ListCount + 1]; // "ABCDEFGHJKLMNOPQRSTWXYZ"
extern const char* const kPinyinLevel2Lists[kPinyinLevel2ListCount];

} // namespace Kest
