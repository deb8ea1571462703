// The sweep over all kinds, files and bits.
#pragma once

#include <string>

namespace flips {

struct SweepOptions {
    bool everything = false;  // every bit, not a sample
    std::string kind;         // one kind alone
    std::string file;         // "idx" or "dat" alone
    long bit = -1;            // one bit alone
    long mostShown = 40;      // findings printed
};

// Prints findings and, at the end, counts. True when there was nothing to find.
bool sweepFlips(const SweepOptions &options);

}  // namespace flips
