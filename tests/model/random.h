// Random numbers that are the same on every system for the same seed.
#ifndef TESTS_MODEL_RANDOM_H
#define TESTS_MODEL_RANDOM_H

#include <cstdint>

namespace model {

class Random {
  public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint64_t next() {
        std::uint64_t z = state_ += 0x9e3779b97f4a7c15ULL;
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
        return z ^ (z >> 31);
    }
    // 0 .. limit - 1; limit at least 1.
    int below(int limit) { return static_cast<int>(next() % static_cast<std::uint64_t>(limit)); }
    // low .. high, both included.
    int between(int low, int high) { return low + below(high - low + 1); }
    bool percent(int chance) { return below(100) < chance; }

  private:
    std::uint64_t state_;
};

}  // namespace model

#endif
