// Sets of numbers, and who owns which node of the index file.

#include "storage/isnumbers.h"

#include "maint/isowners.h"
#include "storage/isidxio.h"
#include "tree/isscan.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;
using unit::ScratchFile;

class Numbers : public testing::Test {
  protected:
    void TearDown() override { isNumbersFree(h_); }

    ScratchFile file_{20, charKey(4)};
    IsamFile *h_ = file_.handle();
};

TEST_F(Numbers, TakeEachNumberOnceFromOneToTheLast) {
    isNumbersMake(h_, 17);
    EXPECT_FALSE(isNumbersAdd(h_, 0));
    for (std::uint32_t n = 1; n <= 17; ++n) {
        EXPECT_FALSE(isNumbersHas(h_, n)) << n;
        EXPECT_TRUE(isNumbersAdd(h_, n)) << n;
        EXPECT_FALSE(isNumbersAdd(h_, n)) << n;
        EXPECT_TRUE(isNumbersHas(h_, n)) << n;
    }
    EXPECT_FALSE(isNumbersAdd(h_, 18));
    EXPECT_FALSE(isNumbersHas(h_, 18));
}

TEST_F(Numbers, GiveBackWhatTheyHold) {
    isNumbersMake(h_, 9);
    isNumbersAdd(h_, 8);
    isNumbersAdd(h_, 9);
    EXPECT_TRUE(isNumbersTake(h_, 8));
    EXPECT_FALSE(isNumbersTake(h_, 8));
    EXPECT_TRUE(isNumbersHas(h_, 9));
    EXPECT_FALSE(isNumbersTake(h_, 10));
}

TEST_F(Numbers, AreEmptyWhenMadeAnewAndWhenFreed) {
    isNumbersMake(h_, 3);
    isNumbersAdd(h_, 3);
    isNumbersMake(h_, 4);
    EXPECT_FALSE(isNumbersHas(h_, 3));
    isNumbersAdd(h_, 3);
    isNumbersFree(h_);
    EXPECT_FALSE(isNumbersHas(h_, 3));
    EXPECT_FALSE(isNumbersAdd(h_, 3));
}

// A file whose only index has a root and several leaves.
class Owners : public testing::Test {
  protected:
    void SetUp() override {
        for (int i = 0; i < 300; ++i)
            file_.write(std::to_string(1000 + i));
    }
    void TearDown() override { isNumbersFree(h_); }

    ScratchFile file_{20, charKey(4)};
    IsamFile *h_ = file_.handle();
};

TEST_F(Owners, HaveEveryNodeOfASoundFile) {
    EXPECT_EQ(file_.change([&] {
        isOwnNodes(h_);
        EXPECT_TRUE(isOwnLists(h_));
        EXPECT_TRUE(isOwnTrees(h_, -1));
        for (std::uint32_t n = 1; n <= isNodeLimit(h_); ++n)
            EXPECT_TRUE(isNumbersHas(h_, n)) << n;
    }),
              0);
}

TEST_F(Owners, LeaveOutTheTreeThatIsToBeRebuiltButForItsRoot) {
    EXPECT_EQ(file_.change([&] {
        isOwnNodes(h_);
        EXPECT_TRUE(isOwnLists(h_));
        EXPECT_TRUE(isOwnTrees(h_, 0));
        const std::uint32_t root = file_.path()->keyDesc.rootNode;
        EXPECT_EQ(root, 3U);
        for (std::uint32_t n = 1; n <= root; ++n)
            EXPECT_TRUE(isNumbersHas(h_, n)) << n;
        for (std::uint32_t n = root + 1; n <= isNodeLimit(h_); ++n)
            EXPECT_FALSE(isNumbersHas(h_, n)) << n;
    }),
              0);
}

TEST_F(Owners, ANodeOfTwoIsDamage) {
    h_->auditNode = 2;  // the descriptions'
    EXPECT_EQ(file_.change([&] { isOwnNodes(h_); }), ISERR_CORRUPT);
    h_->auditNode = 0;
}

TEST_F(Owners, WhatNobodyHasIsFreed) {
    EXPECT_EQ(file_.change([&] {
        isOwnNodes(h_);
        isOwnTrees(h_, -1);
        isNumbersTake(h_, 5);
        isFreeLost(h_);
        EXPECT_EQ(h_->indexFree.head, 5U);
        EXPECT_EQ(h_->indexFree.used, 6U);
    }),
              0);
}

TEST_F(Owners, AScanMeetsEveryEntryOnceInOrder) {
    EXPECT_EQ(file_.change([&] {
        TreeScan scan;
        std::uint32_t entries = 0;
        for (bool more = isScanFirst(h_, &scan, file_.path()); more; more = isScanNext(h_, &scan))
            EXPECT_EQ(file_.path()->top->pointer, ++entries);
        EXPECT_EQ(entries, 300U);
    }),
              0);
}

TEST_F(Owners, AScanEndsInATreeThatLeadsToLeavesAgainAndAgain) {
    EXPECT_EQ(file_.change([&] {
        TreeScan scan;
        ASSERT_TRUE(isScanFirst(h_, &scan, file_.path()));
        scan.leaves = 1;  // as if the file had no more nodes
        while (isScanNext(h_, &scan)) {
        }
        ADD_FAILURE() << "went on";
    }),
              ISERR_CORRUPT);
}

}  // namespace
