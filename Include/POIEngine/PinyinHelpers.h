#pragma once

#include "Base/eString.h"

namespace Kest {

// GBK text helpers that turn text into the forms the indexes are keyed by.
// Internal to the engine (not exported).
//
// GBK here: a byte below 0x80 is one ASCII character; a byte of 0x80 or above
// followed by another byte of 0x80 or above is one two-byte character, its code
// being the first byte times 256 plus the second.

// The upper-case pinyin initial of the two-byte character at `ch`, or 0 when it
// has none (symbols, full-width forms, characters in no list). Level-1 GB2312
// characters (0xB0A1-0xD7F9) are ordered by pinyin and resolved by code range;
// every other code goes to GetPYInitialLevel2.
char GetPYInitial(const char* ch);

// The initial of the one character held by the zero-terminated string `*ch`,
// from the level-2 letter lists: for each letter A..Z in turn, the first byte
// occurrence of the character in that letter's list is taken only when it lies
// on a character boundary (even byte position). A first occurrence at an odd
// position (straddling two characters of the list) skips the letter, and no
// later occurrence in that list is tried. 0 when no letter is taken, or when
// `ch`, `*ch` is null or `*ch` is empty.
char GetPYInitialLevel2(const char** ch);

// One byte per character of `text`: ASCII and unpaired bytes upper-cased,
// two-byte characters replaced by their initial (0 for none). The buffer holds
// strlen(text) + 1 bytes, zero-filled after the last character, and the caller
// frees it with delete[]. Read as a zero-terminated string it therefore ends
// at the first symbol or unknown character. A null `text` is the empty text.
char* GetPYInitials(const char* text);

// Half-width digits 0-9 replaced by the full-width digits (A3 B0 .. A3 B9).
eString ToFullWidthDigits(const char* text);
// Half-width digits 0-9 replaced by the Chinese numerals 零一二三四五六七八九.
eString ToChineseDigits(const char* text);
// Half-width letters a-z and A-Z replaced by the full-width upper-case letters
// (A3 C1 .. A3 DA).
//
// The three folding functions replace through eString::Replace, so a matching
// byte that is the trail byte of a two-byte character stays as it is.
eString ToFullWidthLetters(const char* text);

} // namespace Kest
