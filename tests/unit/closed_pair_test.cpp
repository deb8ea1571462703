// What recovery remembers of the descriptors that it has closed.

#include <gtest/gtest.h>

#include "txn/istranspair.h"

namespace {

class ClosedPairs : public testing::Test {
  protected:
    void TearDown() override { isFreeClosed(); }
};

TEST_F(ClosedPairs, AreOfADescriptorAndAProcess) {
    isNoteClosed(3, 100, 50, false);
    isNoteClosed(3, 200, 70, false);
    EXPECT_EQ(isClosedSince(3, 100), 50);
    EXPECT_EQ(isClosedSince(3, 200), 70);
    EXPECT_EQ(isClosedSince(4, 100), 0);
    isNoteClosed(3, 100, 90, false);
    EXPECT_EQ(isClosedSince(3, 100), 90);
}

TEST_F(ClosedPairs, EarlyClosingIsMetOnce) {
    isNoteClosed(3, 100, 50, true);
    isNoteClosed(5, 100, 50, false);
    EXPECT_FALSE(isClosedEarly(5, 100));
    EXPECT_FALSE(isClosedEarly(3, 200));
    EXPECT_TRUE(isClosedEarly(3, 100));
    EXPECT_FALSE(isClosedEarly(3, 100));
}

}  // namespace
