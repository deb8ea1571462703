// Lines of a name and what belongs to it, the second parts below each other.
#pragma once

#include <cstdio>
#include <string>

namespace tool {

inline void printLine(const std::string &name, const std::string &text) {
    constexpr int kNameWidth = 14;
    std::printf("%-*s  %s\n", kNameWidth, name.c_str(), text.c_str());
}

// "1 node", "2 nodes".
inline std::string counted(unsigned long long count, const char *one, const char *more) {
    return std::to_string(count) + " " + (count == 1 ? one : more);
}

// "71 %" of a part of 1.
inline std::string percent(double part) { return std::to_string(static_cast<int>(part * 100 + 0.5)) + "%"; }

}  // namespace tool
