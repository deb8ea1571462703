// Constants of the form that archive.h describes.
#pragma once

#include <cstdint>
#include <string_view>

namespace tool::archive {

inline constexpr std::string_view kMagic = "\x89isam\r\n\x1a";
inline constexpr unsigned kVersion = 1;

enum Kind : unsigned {
    kVariable = 1,
    kCompressed = 2,
    kMasks = 4,
    kByNumber = 8,
    kPrecious = 16,
    kTrail = 32,
    kAuditing = 64,
    kAllKinds = 127,
};

enum Tag : unsigned { kRecord = 'R', kKey = 'K', kMove = 'M', kEnd = 'E' };

}  // namespace tool::archive
