#pragma once

#include <string>
#include <vector>

namespace Kest {

// The cities that the province and city keys of a search choose in one data
// set, read from the district levels of its index files, for the notes of
// poi search. Names and keys are GBK.
class CityNames {
public:
    // What the search by initials takes: every city holding `city` in every
    // province holding `province` ("*" matches all), from "<100 + set>.ndf".
    static bool ForInitials(const std::string& poiDir, int set, const std::string& province,
                            const std::string& city, std::vector<std::string>& names);
    // What the text search takes: the first province holding `province`,
    // then its first city holding `city`; a "*" province takes every city
    // of every province and `city` is not looked at. From "<200 + set>.ndf".
    static bool ForText(const std::string& poiDir, int set, const std::string& province, const std::string& city,
                        std::vector<std::string>& names);
};

} // namespace Kest
