#pragma once

#include <string>
#include <string_view>

#include "Base/KestExport.h"

namespace Kest {

// A string of GBK bytes. Positions and lengths are in bytes.
//
// Where an operation needs to know characters, a two-byte GBK character is a
// lead byte 0x81-0xFE followed by a trail byte 0x40-0xFE other than 0x7F;
// every other byte is a character of its own. That rule is used by:
//  - Replace, which skips a match that would start on a trail byte;
//  - MakeUpper, MakeLower and CompareNoCase, which fold ASCII letters only and
//    leave both bytes of a two-byte character alone;
//  - TrimLeft(const char*) and TrimRight(const char*), whose argument is a set
//    of characters: a two-byte character in it (the full-width space) trims
//    whole two-byte units, never single bytes of one.
// Find and ReverseFind are plain byte searches: a match may start on a trail
// byte, and callers that care test the position themselves.
class KEST_API eString {
public:
    eString() = default;
    eString(const char* text);                  // null gives the empty string
    eString(const char* text, int length);      // exactly `length` bytes
    eString(char ch, int count);
    eString(const eString&) = default;
    eString(eString&&) noexcept = default;
    ~eString() = default;

    eString& operator=(const eString&) = default;
    eString& operator=(eString&&) noexcept = default;
    eString& operator=(const char* text);
    eString& operator=(char ch);

    eString& operator+=(const eString& other);
    eString& operator+=(const char* text);
    eString& operator+=(char ch);

    int GetLength() const { return static_cast<int>(m_str.size()); }
    bool IsEmpty() const { return m_str.empty(); }
    void Empty() { m_str.clear(); }
    const char* Cstr() const { return m_str.c_str(); }
    std::string_view View() const { return m_str; }
    // The byte at `index`, or 0 outside the string.
    char GetAt(int index) const;

    // printf-style; replaces the contents.
    void Format(const char* format, ...)
#if defined(__GNUC__)
        __attribute__((format(printf, 2, 3)))
#endif
        ;

    // Byte position of the first match at or after `start`, or -1.
    int Find(char ch, int start = 0) const;
    int Find(const char* sub, int start = 0) const;
    // Byte position of the last `ch`, or -1.
    int ReverseFind(char ch) const;

    // Replaces every occurrence; returns how many were replaced.
    int Replace(char oldCh, char newCh);
    int Replace(const char* oldText, const char* newText);

    // Substrings; counts and positions are clamped to the string.
    eString Left(int count) const;
    eString Mid(int first) const;
    eString Mid(int first, int count) const;
    eString Right(int count) const;

    // Removes up to `count` bytes at `index`; returns the new length.
    int Delete(int index, int count = 1);

    // Without an argument, trims ASCII white space (space, \t, \n, \v, \f, \r).
    eString& TrimLeft();
    eString& TrimLeft(char ch);
    eString& TrimLeft(const char* targets);
    eString& TrimRight();
    eString& TrimRight(char ch);
    eString& TrimRight(const char* targets);

    eString& MakeUpper();
    eString& MakeLower();

    // <0, 0 or >0 by unsigned bytes.
    int Compare(const char* text) const;
    // The same with ASCII letters folded.
    int CompareNoCase(const char* text) const;

    // strtol of the text: leading white space and a sign are taken, conversion
    // stops at the first byte that is not a digit of `base` (0 when none), and
    // a value outside int is clamped to INT_MIN / INT_MAX.
    int ToInt(int base = 10) const;

    bool operator==(const eString& o) const { return m_str == o.m_str; }
    bool operator!=(const eString& o) const { return m_str != o.m_str; }
    bool operator<(const eString& o) const { return Compare(o.Cstr()) < 0; }
    // Compares with a zero-terminated string (null is the empty string).
    bool operator==(const char* text) const;
    bool operator!=(const char* text) const { return !(*this == text); }

    // Byte length of the character that starts at `p` (1 or 2) by the rule
    // above, given `remaining` readable bytes.
    static int CharLength(const unsigned char* p, int remaining);

private:
    std::string m_str;
};

KEST_API eString operator+(const eString& a, const eString& b);
KEST_API eString operator+(const eString& a, const char* b);
KEST_API eString operator+(const char* a, const eString& b);
KEST_API eString operator+(const eString& a, char b);
inline bool operator==(const char* a, const eString& b) { return b == a; }
inline bool operator!=(const char* a, const eString& b) { return !(b == a); }

} // namespace Kest
