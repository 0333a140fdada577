#include "Compiler/PhoneNumbers.h"

#include <algorithm>

#include "Base/NdfFormat.h"
#include "Compiler/SourceText.h"

namespace Kest {

namespace {

bool IsSeparator(char c) { return c == ';' || c == '/' || c == ','; }

bool IsDropped(char c) { return c == ' ' || c == '-' || c == '(' || c == ')'; }

bool StartsWith(const std::string& s, const char* prefix)
{
    return s.compare(0, std::char_traits<char>::length(prefix), prefix) == 0;
}

} // namespace

bool PhoneNumbers::Normalise(const std::string& text, std::string& digits, std::string& reason)
{
    std::string kept;
    for (char c : text)
        if (!IsDropped(c))
            kept += c;
    if (StartsWith(kept, "+86"))
        kept.erase(0, 3);
    else if (StartsWith(kept, "0086"))
        kept.erase(0, 4);
    if (kept.empty()) {
        reason = "phone " + SourceText::Quote(text) + " has no digits";
        return false;
    }
    if (!std::all_of(kept.begin(), kept.end(), [](char c) { return c >= '0' && c <= '9'; })) {
        reason = "phone " + SourceText::Quote(text) + " is not all digits";
        return false;
    }
    if (kept.size() > NdfFormat::kTelMaxDigits) {
        reason = "phone " + SourceText::Quote(text) + " has " + std::to_string(kept.size()) + " digits, more than " +
                 std::to_string(NdfFormat::kTelMaxDigits);
        return false;
    }
    digits = kept;
    return true;
}

std::vector<std::string> PhoneNumbers::Split(const std::string& field, std::vector<std::string>& rejected)
{
    std::vector<std::string> numbers;
    std::size_t start = 0;
    while (start <= field.size()) {
        std::size_t end = start;
        while (end < field.size() && !IsSeparator(field[end]))
            ++end;
        const std::string part = field.substr(start, end - start);
        start = end + 1;
        if (part.find_first_not_of(' ') == std::string::npos)
            continue;
        std::string digits, reason;
        if (!Normalise(part, digits, reason))
            rejected.push_back(reason);
        else if (std::find(numbers.begin(), numbers.end(), digits) == numbers.end())
            numbers.push_back(digits);
    }
    return numbers;
}

} // namespace Kest
