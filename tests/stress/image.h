#ifndef TESTS_STRESS_IMAGE_H
#define TESTS_STRESS_IMAGE_H

#include <cstdint>

namespace stress {

// A record's content in short. Version 0: there is none.
struct Image {
    std::uint32_t version = 0;
    std::uint32_t checksum = 0;
    bool operator==(const Image &) const = default;
};

}  // namespace stress

#endif
