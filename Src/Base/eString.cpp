#include "Base/eString.h"

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace Kest {
namespace {

bool IsAsciiSpace(unsigned char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

char ToUpperAscii(unsigned char c) { return static_cast<char>(c >= 'a' && c <= 'z' ? c - 32 : c); }
char ToLowerAscii(unsigned char c) { return static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c); }

const unsigned char* Bytes(const std::string& s)
{
    return reinterpret_cast<const unsigned char*>(s.data());
}

// Splits `s` into its GBK characters: the start offset of each, then s.size().
std::vector<int> CharStarts(const std::string& s)
{
    std::vector<int> starts;
    const int n = static_cast<int>(s.size());
    for (int i = 0; i < n; i += eString::CharLength(Bytes(s) + i, n - i))
        starts.push_back(i);
    starts.push_back(n);
    return starts;
}

// True when the character s[at, at+len) is one of the characters of `targets`.
bool InTargetSet(const std::string& s, int at, int len, const char* targets)
{
    const unsigned char* t = reinterpret_cast<const unsigned char*>(targets);
    const int tn = static_cast<int>(std::strlen(targets));
    for (int i = 0; i < tn;) {
        const int tl = eString::CharLength(t + i, tn - i);
        if (tl == len && std::memcmp(t + i, s.data() + at, static_cast<std::size_t>(len)) == 0)
            return true;
        i += tl;
    }
    return false;
}

// Applies an ASCII case mapping to every byte that is not part of a two-byte character.
template <typename Map>
void MapAscii(std::string& s, Map map)
{
    const int n = static_cast<int>(s.size());
    for (int i = 0; i < n;) {
        const int len = eString::CharLength(Bytes(s) + i, n - i);
        if (len == 1)
            s[static_cast<std::size_t>(i)] = map(static_cast<unsigned char>(s[static_cast<std::size_t>(i)]));
        i += len;
    }
}

} // namespace

int eString::CharLength(const unsigned char* p, int remaining)
{
    if (remaining >= 2 && p[0] >= 0x81 && p[0] <= 0xFE && p[1] >= 0x40 && p[1] <= 0xFE && p[1] != 0x7F)
        return 2;
    return 1;
}

eString::eString(const char* text) : m_str(text ? text : "") {}

eString::eString(const char* text, int length)
{
    if (text && length > 0)
        m_str.assign(text, static_cast<std::size_t>(length));
}

eString::eString(char ch, int count)
{
    if (count > 0)
        m_str.assign(static_cast<std::size_t>(count), ch);
}

eString& eString::operator=(const char* text)
{
    m_str = text ? text : "";
    return *this;
}

eString& eString::operator=(char ch)
{
    m_str.assign(1, ch);
    return *this;
}

eString& eString::operator+=(const eString& other)
{
    m_str += other.m_str;
    return *this;
}

eString& eString::operator+=(const char* text)
{
    if (text)
        m_str += text;
    return *this;
}

eString& eString::operator+=(char ch)
{
    m_str += ch;
    return *this;
}

char eString::GetAt(int index) const
{
    if (index < 0 || index >= GetLength())
        return 0;
    return m_str[static_cast<std::size_t>(index)];
}

void eString::Format(const char* format, ...)
{
    if (!format) {
        m_str.clear();
        return;
    }
    va_list args;
    va_start(args, format);
    va_list copy;
    va_copy(copy, args);
    const int needed = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    if (needed < 0) {
        m_str.clear();
    } else {
        std::vector<char> buffer(static_cast<std::size_t>(needed) + 1);
        std::vsnprintf(buffer.data(), buffer.size(), format, args);
        m_str.assign(buffer.data(), static_cast<std::size_t>(needed));
    }
    va_end(args);
}

int eString::Find(char ch, int start) const
{
    if (start < 0)
        start = 0;
    if (start >= GetLength())
        return -1;
    const std::size_t at = m_str.find(ch, static_cast<std::size_t>(start));
    return at == std::string::npos ? -1 : static_cast<int>(at);
}

int eString::Find(const char* sub, int start) const
{
    if (!sub)
        return -1;
    if (start < 0)
        start = 0;
    if (start > GetLength())
        return -1;
    const std::size_t at = m_str.find(sub, static_cast<std::size_t>(start));
    return at == std::string::npos ? -1 : static_cast<int>(at);
}

int eString::ReverseFind(char ch) const
{
    const std::size_t at = m_str.rfind(ch);
    return at == std::string::npos ? -1 : static_cast<int>(at);
}

int eString::Replace(char oldCh, char newCh)
{
    if (oldCh == newCh)
        return 0;
    return Replace(std::string(1, oldCh).c_str(), std::string(1, newCh).c_str());
}

int eString::Replace(const char* oldText, const char* newText)
{
    if (!oldText || !*oldText)
        return 0;
    if (!newText)
        newText = "";
    const std::size_t oldLen = std::strlen(oldText);
    std::string out;
    out.reserve(m_str.size());
    int replaced = 0;
    const int n = GetLength();
    // Walks character by character, so a match is only tried where a
    // character starts: a match on the trail byte of a two-byte character is skipped.
    for (int i = 0; i < n;) {
        if (m_str.compare(static_cast<std::size_t>(i), oldLen, oldText) == 0) {
            out += newText;
            i += static_cast<int>(oldLen);
            ++replaced;
            continue;
        }
        const int len = CharLength(Bytes(m_str) + i, n - i);
        out.append(m_str, static_cast<std::size_t>(i), static_cast<std::size_t>(len));
        i += len;
    }
    if (replaced)
        m_str.swap(out);
    return replaced;
}

eString eString::Left(int count) const
{
    if (count <= 0)
        return eString();
    return Mid(0, count);
}

eString eString::Mid(int first) const
{
    return Mid(first, GetLength());
}

eString eString::Mid(int first, int count) const
{
    if (first < 0)
        first = 0;
    if (count < 0 || first >= GetLength())
        return eString();
    eString result;
    result.m_str = m_str.substr(static_cast<std::size_t>(first), static_cast<std::size_t>(count));
    return result;
}

eString eString::Right(int count) const
{
    if (count <= 0)
        return eString();
    if (count >= GetLength())
        return *this;
    return Mid(GetLength() - count, count);
}

int eString::Delete(int index, int count)
{
    if (index < 0)
        index = 0;
    if (count > 0 && index < GetLength())
        m_str.erase(static_cast<std::size_t>(index), static_cast<std::size_t>(count));
    return GetLength();
}

eString& eString::TrimLeft()
{
    std::size_t i = 0;
    while (i < m_str.size() && IsAsciiSpace(static_cast<unsigned char>(m_str[i])))
        ++i;
    m_str.erase(0, i);
    return *this;
}

eString& eString::TrimLeft(char ch)
{
    const char set[2] = {ch, 0};
    return TrimLeft(set);
}

eString& eString::TrimLeft(const char* targets)
{
    if (!targets || !*targets)
        return *this;
    const int n = GetLength();
    int i = 0;
    while (i < n) {
        const int len = CharLength(Bytes(m_str) + i, n - i);
        if (!InTargetSet(m_str, i, len, targets))
            break;
        i += len;
    }
    m_str.erase(0, static_cast<std::size_t>(i));
    return *this;
}

eString& eString::TrimRight()
{
    std::size_t n = m_str.size();
    while (n > 0 && IsAsciiSpace(static_cast<unsigned char>(m_str[n - 1])))
        --n;
    m_str.resize(n);
    return *this;
}

eString& eString::TrimRight(char ch)
{
    const char set[2] = {ch, 0};
    return TrimRight(set);
}

eString& eString::TrimRight(const char* targets)
{
    if (!targets || !*targets || m_str.empty())
        return *this;
    // Character boundaries are only known from the front.
    const std::vector<int> starts = CharStarts(m_str);
    std::size_t k = starts.size() - 1; // index of the end offset
    while (k > 0 && InTargetSet(m_str, starts[k - 1], starts[k] - starts[k - 1], targets))
        --k;
    m_str.resize(static_cast<std::size_t>(starts[k]));
    return *this;
}

eString& eString::MakeUpper()
{
    MapAscii(m_str, ToUpperAscii);
    return *this;
}

eString& eString::MakeLower()
{
    MapAscii(m_str, ToLowerAscii);
    return *this;
}

int eString::Compare(const char* text) const
{
    const int r = std::strcmp(m_str.c_str(), text ? text : "");
    return r < 0 ? -1 : (r > 0 ? 1 : 0);
}

int eString::CompareNoCase(const char* text) const
{
    eString a(*this);
    eString b(text);
    a.MakeLower();
    b.MakeLower();
    return a.Compare(b.Cstr());
}

int eString::ToInt(int base) const
{
    const long value = std::strtol(m_str.c_str(), nullptr, base);
    if (value > INT_MAX)
        return INT_MAX;
    if (value < INT_MIN)
        return INT_MIN;
    return static_cast<int>(value);
}

bool eString::operator==(const char* text) const
{
    return std::strcmp(m_str.c_str(), text ? text : "") == 0;
}

eString operator+(const eString& a, const eString& b)
{
    eString r(a);
    r += b;
    return r;
}

eString operator+(const eString& a, const char* b)
{
    eString r(a);
    r += b;
    return r;
}

eString operator+(const char* a, const eString& b)
{
    eString r(a);
    r += b;
    return r;
}

eString operator+(const eString& a, char b)
{
    eString r(a);
    r += b;
    return r;
}

} // namespace Kest
