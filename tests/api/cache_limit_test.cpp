// The bound on the memory for index nodes.

#include <gtest/gtest.h>

#include "isam.h"

namespace {

constexpr long kBuiltIn = sizeof(void *) == 8 ? 65536 : 16384;

class CacheLimit : public testing::Test {
  protected:
    void TearDown() override { iscachelimit(kBuiltIn); }
};

TEST_F(CacheLimit, IsKnownAndSet) {
    iserrno = 77;
    EXPECT_EQ(iscachelimit(-1), kBuiltIn);
    EXPECT_EQ(iscachelimit(100), kBuiltIn);
    EXPECT_EQ(iscachelimit(0), 100);
    EXPECT_EQ(iscachelimit(-5), 0) << "a negative value asks only";
    EXPECT_EQ(iscachelimit(kBuiltIn), 0);
    EXPECT_EQ(iserrno, 77);
    iserrno = 0;
}

TEST_F(CacheLimit, BeyondAllMemoryIsNoLimit) {
    iscachelimit(2147483647);
    EXPECT_GT(iscachelimit(kBuiltIn), 1L << 20);
}

}  // namespace
