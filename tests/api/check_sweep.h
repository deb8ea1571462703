// Many small cases in processes of their own: whatever a case does, the test goes on.
#ifndef TESTS_API_CHECK_SWEEP_H
#define TESTS_API_CHECK_SWEEP_H

#include "../support/damage.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace api {

// A sequence of numbers that is the same in every run.
class Dice {
  public:
    explicit Dice(std::uint32_t seed) : state_(seed * 2654435761U + 12345U) {}
    std::uint32_t below(std::uint32_t limit) {
        state_ = state_ * 1664525U + 1013904223U;
        return static_cast<std::uint32_t>((std::uint64_t{state_ >> 8} * limit) >> 24);
    }
    std::int64_t upTo(std::int64_t limit) { return below(static_cast<std::uint32_t>(limit) + 1); }

  private:
    std::uint32_t state_;
};

// Damages the file set here and there, within these nodes of the index file, or anywhere when none is given.
void scatterDamage(testing_support::Damage &damage, Dice &dice, const std::vector<std::uint32_t> &nodes = {});

// Runs cases 0 to count - 1. A case that crashes, has no end, or whose expectations fail, fails the test. Returns how
// many stopped their process with the message of a fatal stop; messages receives these.
int sweep(int count, const std::function<void(int)> &one, std::vector<std::string> *messages = nullptr);

}  // namespace api

#endif
