#pragma once

#include <string>
#include <vector>

namespace Kest {

// Turns the phone field of a source row into the digit strings the telephone
// index holds. A field may carry several numbers separated by ';', '/' or
// ','; in each, spaces, '-', '(' and ')' are dropped and then one leading
// "+86" or "0086" (the country code) is removed. What remains must be 1 to
// NdfFormat::kTelMaxDigits ASCII digits.
class PhoneNumbers {
public:
    // The numbers of `field`, each at most once, in the order written; every
    // part that is not a number gives one reason in `rejected` (its text
    // quoted). Empty parts are skipped silently.
    static std::vector<std::string> Split(const std::string& field, std::vector<std::string>& rejected);

    // One number: true with its digits, or false with the reason.
    static bool Normalise(const std::string& text, std::string& digits, std::string& reason);
};

} // namespace Kest
