// What the library keeps in memory decides nothing: the same calls make the same files, byte by byte, however
// much it may keep.
#include "driver.h"

#include "isam.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

using namespace model;

constexpr std::uint64_t kSeed = 20240607;
constexpr int kCalls = 2500;

constexpr long kNothing = 0, kFewNodes = 16, kEverything = 1 << 20;  // bounds, in kilobytes

class SameFiles : public testing::TestWithParam<int> {
  protected:
    void SetUp() override { before_ = iscachelimit(-1); }
    void TearDown() override { iscachelimit(before_); }

    // The files of one run at every check, as one number; 0 after a difference from the model.
    static std::uint64_t filesUnder(long limit, const Shape &shape) {
        iscachelimit(limit);
        RunStatistics statistics;
        Driver driver(shape, &statistics);
        const char *text = std::getenv("ISAM_MODEL_CALLS");
        const int calls = text != nullptr ? std::atoi(text) : kCalls;
        if (!driver.run(calls)) {
            ADD_FAILURE() << "bound " << limit << "\n" << driver.report();
            return 0;
        }
        return driver.digest();
    }

  private:
    long before_ = 0;
};

TEST_P(SameFiles, WhateverIsKeptInMemory) {
    const std::uint64_t seed = kSeed + static_cast<std::uint64_t>(GetParam());
    const Shape shape = GetParam() % 2 == 0 ? makeShape(GetParam(), seed) : makeVariableShape(GetParam(), seed);
    const std::uint64_t files = filesUnder(kEverything, shape);
    EXPECT_NE(files, 0U);
    EXPECT_EQ(filesUnder(kNothing, shape), files);
    EXPECT_EQ(filesUnder(kFewNodes, shape), files);
}

INSTANTIATE_TEST_SUITE_P(Shapes, SameFiles, testing::Range(0, 12));

}  // namespace
