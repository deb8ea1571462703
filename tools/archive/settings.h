// What the header of a file set keeps besides records and indexes. Some of it the calls tell only by changing it, or
// only to those who may change the file: it is read from the index file itself.
#pragma once

#include "base/open_file.h"

#include <array>
#include <cstdint>
#include <string>

namespace tool {

struct Settings {
    std::uint32_t uniqueId = 0;  // what the next isuniqueid gives
    bool precious = false;
    bool hasTrail = false;  // an audit trail has been named
    bool auditing = false;
    std::string trail;
    std::array<char, ISUSERINFOLEN> userInfo = {};
};

// Throws Failure where the index file cannot be read.
Settings readSettings(const OpenFile &file);
// Puts them into a file that is open to be changed; auditing is switched on last.
void writeSettings(const OpenFile &file, const Settings &settings);

// Another number after every change of the file, by whomever.
std::uint32_t changeCounter(const OpenFile &file);

}  // namespace tool
