// Turns each bit of small file sets of every kind in turn: the checks must say what the layouts make of it, and every
// call must bear it.
//
//   flip_run [--long] [--kind K] [--file idx|dat] [--bit N] [--show N]
//
// The short form takes one bit of each byte in use and a few of those that are not; --long takes all. --bit N repeats
// one flip: bit N % 8 of byte N / 8. --show N prints the first N findings.
#include "flips/flip_sweep.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

int main(int count, char **arguments) {
    flips::SweepOptions options;
    for (int i = 1; i < count; ++i) {
        const char *const name = arguments[i];
        const char *const value = i + 1 < count ? arguments[i + 1] : nullptr;
        if (std::strcmp(name, "--long") == 0) {
            options.everything = true;
            continue;
        }
        if (value == nullptr) {
            std::fprintf(stderr, "usage: flip_run [--long] [--kind K] [--file idx|dat] [--bit N] [--show N]\n");
            return 2;
        }
        if (std::strcmp(name, "--kind") == 0) options.kind = value;
        if (std::strcmp(name, "--file") == 0) options.file = value;
        if (std::strcmp(name, "--bit") == 0) options.bit = std::atol(value);
        if (std::strcmp(name, "--show") == 0) options.mostShown = std::atol(value);
        ++i;
    }
    return flips::sweepFlips(options) ? 0 : 1;
}
