// Free lists: what is handed out when, and what the list nodes hold.

#include "storage/isfree.h"

#include "storage/isidxio.h"
#include "storage/node_layout.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;
using unit::ScratchFile;

class FreeList : public testing::Test {
  protected:
    ScratchFile file_{20, charKey(4)};
    IsamFile *h_ = file_.handle();
};

TEST_F(FreeList, EmptyListsGrowTheFileNumberByNumber) {
    file_.change([&] {
        EXPECT_EQ(isGetFree(h_, ISKIND_DATA), 1U);
        EXPECT_EQ(isGetFree(h_, ISKIND_DATA), 2U);
        EXPECT_EQ(isGetFree(h_, ISKIND_INDEX), 4U);  // behind header, description and root
        EXPECT_EQ(isGetFree(h_, ISKIND_INDEX), 5U);
    });
}

TEST_F(FreeList, NodeFreedIntoAnEmptyIndexListBecomesTheListNodeAndIsHandedOutNext) {
    h_->indexFree.last = 9;
    EXPECT_EQ(file_.change([&] {
        isPutFree(h_, ISKIND_INDEX, 9);
        EXPECT_EQ(h_->indexFree.head, 9U);
        EXPECT_EQ(h_->indexFree.used, 6U);
        EXPECT_EQ(isGetFree(h_, ISKIND_INDEX), 9U);
        EXPECT_EQ(h_->indexFree.head, 0U);
    }),
              0);
}

TEST_F(FreeList, StoredNumbersOfTheIndexListComeBeforeTheListNodeItselfLastFreedFirst) {
    h_->indexFree.last = 9;
    file_.change([&] {
        for (std::uint32_t n : {7, 8, 9})
            isPutFree(h_, ISKIND_INDEX, n);
        EXPECT_EQ(isGetFree(h_, ISKIND_INDEX), 9U);
        EXPECT_EQ(isGetFree(h_, ISKIND_INDEX), 8U);
        EXPECT_EQ(isGetFree(h_, ISKIND_INDEX), 7U);
        EXPECT_EQ(isGetFree(h_, ISKIND_INDEX), 10U);
    });
}

TEST_F(FreeList, LastNumberOfTheDataListReleasesItsListNodeToTheIndexListInTheSameCall) {
    h_->dataFree.last = 5;
    file_.change([&] {
        isPutFree(h_, ISKIND_DATA, 5);
        const std::uint32_t listNode = h_->dataFree.head;
        EXPECT_EQ(listNode, 4U);
        EXPECT_EQ(isGetFree(h_, ISKIND_DATA), 5U);
        EXPECT_EQ(h_->dataFree.head, 0U);
        EXPECT_EQ(h_->indexFree.head, listNode);
        EXPECT_EQ(isGetFree(h_, ISKIND_INDEX), listNode);
    });
}

TEST_F(FreeList, PreciousFileForgetsFreedRecordNumbers) {
    h_->dataFree.last = 5;
    h_->state |= ISSTATE_PRECIOUS;
    file_.change([&] {
        isPutFree(h_, ISKIND_DATA, 5);
        EXPECT_EQ(h_->dataFree.head, 0U);
        EXPECT_EQ(isGetFree(h_, ISKIND_DATA), 6U);
    });
}

TEST_F(FreeList, DroppingTheIndexListIsRefused) {
    EXPECT_EQ(file_.change([&] { isFreeDrop(h_, ISKIND_INDEX); }), 102);
}

TEST_F(FreeList, DroppingTheDataListHandsItsNodesOverAndTakesTheHighestNumberFromTheFile) {
    for (int i = 0; i < 4; ++i)
        ASSERT_GT(file_.write(std::to_string(1000 + i)), 0);
    ASSERT_EQ(isdelrec(file_.fd(), 2), 0);
    EXPECT_EQ(file_.change([&] {
        const std::uint32_t listNode = h_->dataFree.head;
        h_->dataFree.last = 99;
        isFreeDrop(h_, ISKIND_DATA);
        EXPECT_EQ(h_->dataFree.head, 0U);
        EXPECT_EQ(h_->dataFree.last, 4U);
        EXPECT_EQ(h_->indexFree.head, listNode);
    }),
              0);
}

// 253 numbers fill a list node of 1024 bytes: (1024 - 4 - 6) / 4, rounded down.
constexpr int kNumbersPerNode = 253;

TEST_F(FreeList, FullDataListNodeIsWrittenAndLinkedFromANewOne) {
    h_->dataFree.last = 300;
    EXPECT_EQ(file_.change([&] {
        for (std::uint32_t n = 1; n <= kNumbersPerNode; ++n)
            isPutFree(h_, ISKIND_DATA, n);
        const std::uint32_t first = h_->dataFree.head;
        EXPECT_EQ(h_->dataFree.used, 6U + 4 * kNumbersPerNode);
        isPutFree(h_, ISKIND_DATA, 254);
        EXPECT_NE(h_->dataFree.head, first);
        EXPECT_EQ(h_->dataFree.used, 10U);

        isFreeWrite(h_);
        std::vector<std::uint8_t> node(1024);
        isGetNode(h_, node.data(), first);
        EXPECT_EQ(node[0] * 256 + node[1], 6 + 4 * kNumbersPerNode);
        EXPECT_EQ(node[1021], 0xff);
        EXPECT_EQ(node[1022], 127);
        EXPECT_EQ(node[6 + 3], 1);
        EXPECT_EQ(node[6 + 4 * 252 + 3], 253);

        EXPECT_EQ(isFreeCount(h_, ISKIND_DATA, nullptr, nullptr), 254U);
        EXPECT_EQ(isGetFree(h_, ISKIND_DATA), 254U);
        EXPECT_EQ(h_->dataFree.head, first);
        EXPECT_EQ(isGetFree(h_, ISKIND_DATA), 253U);
    }),
              0);
}

TEST_F(FreeList, FullIndexListNodeIsFollowedByTheFreedNodeItself) {
    h_->indexFree.last = 300;
    EXPECT_EQ(file_.change([&] {
        for (std::uint32_t n = 4; n <= 4 + kNumbersPerNode; ++n)
            isPutFree(h_, ISKIND_INDEX, n);
        EXPECT_EQ(h_->indexFree.head, 4U);
        isPutFree(h_, ISKIND_INDEX, 290);
        EXPECT_EQ(h_->indexFree.head, 290U);
        EXPECT_EQ(h_->indexFree.used, 6U);
        EXPECT_EQ(isGetFree(h_, ISKIND_INDEX), 290U);
        EXPECT_EQ(isGetFree(h_, ISKIND_INDEX), 4U + kNumbersPerNode);
    }),
              0);
}

TEST_F(FreeList, TakenNumberLeavesZeroBytesBehind) {
    h_->dataFree.last = 5;
    file_.change([&] {
        isPutFree(h_, ISKIND_DATA, 4);
        isPutFree(h_, ISKIND_DATA, 5);
        isGetFree(h_, ISKIND_DATA);
        for (int i = 10; i < 1020; ++i)
            EXPECT_EQ(h_->dataFree.buffer[i], 0) << i;
    });
}

TEST_F(FreeList, CountingWithAnUnwrittenChangeIsAFatalStop) {
    h_->dataFree.last = 5;
    EXPECT_EXIT(file_.change([&] {
        isPutFree(h_, ISKIND_DATA, 5);
        isFreeCount(h_, ISKIND_DATA, nullptr, nullptr);
    }),
                testing::ExitedWithCode(1), "");
}

TEST_F(FreeList, ChainThatRunsInACircleIsReportedAsCorrupt) {
    for (int i = 0; i < 3; ++i)
        ASSERT_GT(file_.write(std::to_string(1000 + i)), 0);
    ASSERT_EQ(isdelrec(file_.fd(), 1), 0);
    file_.change([&] {
        std::uint8_t node[1024];
        isGetNode(h_, node, h_->dataFree.head);
        node::setLink(node, h_->dataFree.head);
        isPutNode(h_, node, h_->dataFree.head);
        isFreeClear(h_, ISCLASS_READ);
    });
    DictInfo info;
    EXPECT_EQ(isisaminfo(file_.fd(), &info), -1);
    EXPECT_EQ(iserrno, 105);
    EXPECT_EQ(isprecious(file_.fd(), 1), -1);
    EXPECT_EQ(iserrno, 105);
}

// Each damage to the list node is told as such.
struct Damage {
    const char *name;
    int offset;
    std::vector<std::uint8_t> bytes;
};

class DamagedFreeList : public testing::TestWithParam<Damage> {};

TEST_P(DamagedFreeList, IsReportedAsCorrupt) {
    ScratchFile file{20, charKey(4)};
    IsamFile *h = file.handle();
    ASSERT_GT(file.write("aaaa"), 0);
    ASSERT_GT(file.write("bbbb"), 0);
    ASSERT_EQ(isdelrec(file.fd(), 1), 0);
    file.change([&] {
        std::vector<std::uint8_t> node(1024);
        isGetNode(h, node.data(), h->dataFree.head);
        std::copy(GetParam().bytes.begin(), GetParam().bytes.end(), node.begin() + GetParam().offset);
        isPutNode(h, node.data(), h->dataFree.head);
        isFreeClear(h, ISCLASS_READ);
    });
    EXPECT_EQ(file.write("cccc"), -1);
    EXPECT_EQ(iserrno, 105);
    DictInfo info;
    EXPECT_EQ(GetParam().offset == 6, isisaminfo(file.fd(), &info) == 0);
}

INSTANTIATE_TEST_SUITE_P(Fields, DamagedFreeList,
                         testing::Values(Damage{"UsedTooSmall", 0, {0, 5}}, Damage{"UsedTooLarge", 0, {3, 0xfe}},
                                         Damage{"UsedUneven", 0, {0, 11}}, Damage{"Mark", 1021, {0}},
                                         Damage{"Level", 1022, {0}}, Damage{"NumberZero", 6, {0, 0, 0, 0}},
                                         Damage{"NumberTooHigh", 6, {0, 0, 0, 3}}),
                         [](const auto &info) { return info.param.name; });

}  // namespace
