// The check of tails and of the lists of nodes with room, on files damaged on purpose; what it counts.
#include "check_kinds.h"

#include <array>

namespace api {
namespace {

using Stats = std::array<long, 6>;

// One file whose nodes are known: 1 to 3 are header, description and root. 4 holds the 500 bytes of record 1, 5 the 550
// of record 2 and the last 12 of record 3, whose 2000 begin in 7 and go on in 6. 8 holds the 750 and 100 of records 4
// and 5, 9 the 600 of record 6, 10 the 994 of record 8. Filed are 9 in bucket 1; 5, then 4, in bucket 2.
class CheckTail : public CheckTest {
  protected:
    void SetUp() override {
        EXPECT_OK(isclose(fillVar({500, 550, 2000, 750, 100, 600, 0, 994})));
        ASSERT_EQ(bucketHead(base(), 1), 9U);
        ASSERT_EQ(bucketHead(base(), 2), 5U);
        ASSERT_EQ(lastNode(base()), 10U);
    }
    // What the check says with statistics and, where that differs, without.
    void expectBits(int with, int without, const std::function<void()> &damages) {
        withDamage(variable_, damages, [&](int fd) {
            EXPECT_EQ(ischeckvarlen(fd, stats_.data()), with);
            EXPECT_EQ(ischeckvarlen(fd, nullptr), without);
        });
    }
    void expectBits(int bits, const std::function<void()> &damages) { expectBits(bits, bits, damages); }

    const Kind variable_ = {"", ISVARLEN, {idKey()}};
    Stats stats_{};
};

TEST_F(CheckTail, CountsNodesAndTheirRoom) {
    expectBits(0, [] {});
    // Filed: 5 with 998 - 4 - 550 - 4 - 12 bytes of room, 4 with 494, 9 with 394. Not filed: 6, 7, 10 without any, 8
    // with 998 - 4 - 750 - 4 - 100.
    EXPECT_EQ(stats_, (Stats{3, 428 + 494 + 394, 4, 140, 7, 1316 + 140}));
}

TEST_F(CheckTail, CountsStartAnewWithEachCall) {
    stats_ = {1, 2, 3, 4, 5, 6};
    expectBits(0, [] {});
    EXPECT_EQ(stats_, (Stats{3, 1316, 4, 140, 7, 1456}));
    const int fd = openVar();
    EXPECT_OK(isdelete(fd, row(10)));
    EXPECT_OK(isdelete(fd, row(30)));
    EXPECT_EQ(ischeckvarlen(fd, stats_.data()), 0);
    // 4, 6 and 7 are gone; 5 has got 12 bytes back, but not those of the slot.
    EXPECT_EQ(stats_, (Stats{2, 440 + 394, 2, 140, 4, 974}));
    for (const long id : {20, 40, 50, 60, 70, 80})
        EXPECT_OK(isdelete(fd, row(id)));
    EXPECT_EQ(ischeckvarlen(fd, stats_.data()), 0);
    EXPECT_EQ(stats_, Stats{});
}

TEST_F(CheckTail, WrongMagicNumber) {
    for (const std::uint32_t node : {4U, 5U, 6U, 7U, 8U, 9U, 10U})
        for (const std::uint32_t magic : {0U, 32293U, 32295U, 0x267eU, 0xffffU}) {
            SCOPED_TRACE(node);
            expectBits(ISCHK_MAGIC, [&] { damage().node(node, field::kMagic, magic, 2); });
            EXPECT_EQ(stats_, (Stats{3, 1316, 4, 140, 7, 1456}));
        }
}

TEST_F(CheckTail, SomethingInBucketZero) {
    for (const std::uint32_t node : {8U, 5U, 1U, 11U, 0xffffffffU})
        expectBits(ISCHK_BUCKET0, [&] { damage().header(field::kBuckets, node); });
}

TEST_F(CheckTail, RoomThatDoesNotFitTheBucket) {
    const struct {
        std::uint32_t node, room;
        int bits;
    } cases[] = {{9, 199, ISCHK_MISFILED},
                 {9, 200, 0},
                 {9, 400, 0},
                 {9, 401, ISCHK_MISFILED},
                 {4, 399, ISCHK_MISFILED},
                 {4, 400, 0},
                 {4, 600, 0},
                 {4, 601, ISCHK_MISFILED},
                 {5, 0, ISCHK_MISFILED},
                 {5, 998, ISCHK_MISFILED},
                 {5, 0xffff, ISCHK_MISFILED}};
    for (const auto &c : cases) {
        SCOPED_TRACE(std::to_string(c.node) + " with " + std::to_string(c.room));
        expectBits(c.bits, [&] { damage().node(c.node, field::kFreeBytes, c.room, 2); });
    }
}

TEST_F(CheckTail, LinkTowardsTheHeadThatIsWrong) {
    for (const std::uint32_t link : {4U, 5U, 9U, 11U, 0xffffffffU})
        expectBits(ISCHK_LINK, [&] { damage().node(5, field::kNewer, link, 4); });
    for (const std::uint32_t link : {0U, 4U, 9U, 11U, 0xffffffffU})
        expectBits(ISCHK_LINK, [&] { damage().node(4, field::kNewer, link, 4); });
}

TEST_F(CheckTail, ListInACircle) {
    expectBits(ISCHK_LINK, [&] { damage().node(4, field::kOlder, 5, 4); });
    expectBits(ISCHK_LINK, [&] { damage().node(4, field::kOlder, 4, 4); });
    expectBits(ISCHK_LINK, [&] { damage().node(9, field::kOlder, 9, 4); });
}

TEST_F(CheckTail, NodesFiledButInNoTail) {
    expectBits(ISCHK_LOST, 0, [&] {
        damage().tailLength(6, 0);
        damage().tailNode(6, 0);
    });
    EXPECT_EQ(stats_, (Stats{3, 1316, 4, 140, 6, 1456 - 394}));
}

TEST_F(CheckTail, NodesOfTailsThatTheListsHaveLost) {
    expectBits(ISCHK_LOST, 0, [&] { damage().header(field::kBuckets + 4, 0); });
    EXPECT_EQ(stats_, (Stats{2, 922, 4, 140, 7, 1456}));
    expectBits(ISCHK_LOST, 0, [&] { damage().node(5, field::kOlder, 0, 4); });
    expectBits(ISCHK_LOST, 0, [&] { damage().header(field::kBuckets + 8, 0); });
}

TEST_F(CheckTail, LengthThatThePiecesDoNotMake) {
    for (const std::uint32_t record : {1U, 2U, 3U, 4U, 5U, 6U, 8U}) {
        SCOPED_TRACE(record);
        const auto length = static_cast<std::uint32_t>(damage().tail(record).length);
        expectBits(ISCHK_LENGTH, [&] { damage().tailLength(record, length + 1); });
        expectBits(ISCHK_LENGTH, [&] { damage().tailLength(record, length - 1); });
        expectBits(ISCHK_LENGTH, [&] { damage().tailLength(record, 0xffff); });
    }
}

TEST_F(CheckTail, PieceOfAnotherLength) {
    for (const std::uint32_t node : {4U, 6U, 7U, 9U, 10U}) {
        SCOPED_TRACE(node);
        const std::uint32_t length = damage().nodeValue(node, field::kFirstPieceLength, 2);
        expectBits(ISCHK_LENGTH, [&] { damage().node(node, field::kFirstPieceLength, length - 1, 2); });
    }
}

TEST_F(CheckTail, ChainThatEndsEarly) {
    expectBits(ISCHK_LENGTH, [&] { damage().node(7, field::kGoesOn, 0, 1); });
    expectBits(ISCHK_LENGTH, [&] { damage().node(6, field::kGoesOn, 0, 1); });
}

TEST_F(CheckTail, ChainThatGoesOnWithoutEnd) {
    for (const std::uint32_t node : {4U, 5U, 6U, 7U, 8U, 9U, 10U}) {
        SCOPED_TRACE(node);
        withDamage(
            variable_,
            [&] {
                damage().node(node, field::kNextNode, node, 3);
                damage().node(node, field::kGoesOn, 1, 1);
            },
            [&](int fd) { EXPECT_EQ(ischeckvarlen(fd, nullptr), ISCHK_LENGTH); });
    }
    expectBits(ISCHK_LENGTH, [&] { damage().node(6, field::kNextNode, 7, 3); });
}

// The tail ends there, and does not add up; its node may then be in no tail at all.
TEST_F(CheckTail, SlotOrPieceOutsideTheNode) {
    const struct {
        const char *name;
        std::function<void()> damages;
    } cases[] = {{"slot that the node does not have",
                  [&] {
                      damage().tailSlot(6, 1);
                  }},
                 {"slot far outside",
                  [&] {
                      damage().tailSlot(6, 255);
                  }},
                 {"node without slots",
                  [&] {
                      damage().node(9, field::kSlots, 0, 1);
                  }},
                 {"free slot",
                  [&] {
                      damage().node(9, field::kFirstPieceOffset, 0, 2);
                  }},
                 {"piece behind the node",
                  [&] {
                      damage().node(9, field::kFirstPieceOffset, 1024, 2);
                  }},
                 {"piece across the end",
                  [&] {
                      damage().node(9, field::kFirstPieceOffset, 500, 2);
                  }},
                 {"piece far behind",
                  [&] {
                      damage().node(9, field::kFirstPieceOffset, 0xffff, 2);
                  }},
                 {"piece too long", [&] {
                      damage().node(9, field::kFirstPieceLength, 0xffff, 2);
                  }}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        withDamage(variable_, c.damages, [&](int fd) {
            EXPECT_EQ(ischeckvarlen(fd, nullptr), ISCHK_LENGTH);
            EXPECT_EQ(ischeckvarlen(fd, stats_.data()) & ~ISCHK_LOST, ISCHK_LENGTH);
        });
    }
}

TEST_F(CheckTail, NodesThatTheFileDoesNotHave) {
    for (const std::uint32_t node : {11U, 5000U, 0xffffffU}) {
        SCOPED_TRACE(node);
        expectBits(ISCHK_INDEXREAD, [&] { damage().tailNode(1, node); });
        expectBits(ISCHK_INDEXREAD, [&] { damage().node(7, field::kNextNode, node, 3); });
        expectBits(ISCHK_INDEXREAD, [&] { damage().header(field::kBuckets + 12, node); });
        expectBits(ISCHK_INDEXREAD, [&] { damage().node(4, field::kOlder, node, 4); });
    }
    expectBits(ISCHK_INDEXREAD, [&] { damage().tailNode(1, 0); });
}

TEST_F(CheckTail, WhatWasFoundBeforeAFailureIsKept) {
    expectBits(ISCHK_MAGIC | ISCHK_INDEXREAD, [&] {
        damage().node(5, field::kMagic, 1, 2);
        damage().tailNode(8, 11);
    });
    expectBits(ISCHK_BUCKET0 | ISCHK_MISFILED | ISCHK_INDEXREAD, [&] {
        damage().header(field::kBuckets, 5);
        damage().node(9, field::kFreeBytes, 100, 2);
        damage().node(4, field::kOlder, 11, 4);
    });
}

TEST_F(CheckTail, FilesThatEndEarly) {
    expectBits(ISCHK_INDEXREAD, [&] { damage().cutIndex(10 * 1024 - 1); });
    expectBits(ISCHK_INDEXREAD, [&] { damage().cutIndex(4 * 1024); });
    expectBits(ISCHK_INDEXREAD, [&] { damage().cutData(damage().dataSize() - 1); });
    expectBits(ISCHK_INDEXREAD, [&] { damage().cutData(0); });
}

TEST_F(CheckTail, FileOpenedForWritingOnly) {
    withDamage(
        variable_, [] {},
        [&](int fd) {
            EXPECT_EQ(ischeckvarlen(fd, stats_.data()), ISCHK_INDEXREAD);
            EXPECT_EQ(ischeckvarlen(fd, nullptr), ISCHK_INDEXREAD);
        },
        ISOUTPUT);
}

// The other two checks do not look at tails.
TEST_F(CheckTail, IsAloneInLookingAtTails) {
    withDamage(
        variable_,
        [&] {
            damage().header(field::kBuckets, 5);
            damage().node(6, field::kMagic, 1, 2);
            damage().tailLength(1, 7);
            damage().tailNode(2, 11);
        },
        [&](int fd) {
            EXPECT_EQ(ischeckdata(fd), 0);
            EXPECT_EQ(ischeckindex(fd, 1), 0);
            EXPECT_NE(ischeckvarlen(fd, nullptr), 0);
        });
}

TEST_F(CheckTest, FilesWithoutTailsHaveNoneToCheck) {
    for (const Kind &kind : kindsWith([](const Kind &each) { return !each.tails(); })) {
        SCOPED_TRACE(kind.name);
        const int fd = make(kind, 20);
        Stats stats = {1, 2, 3, 4, 5, 6};
        EXPECT_EQ(ischeckvarlen(fd, stats.data()), 0);
        EXPECT_EQ(stats, Stats{});
        EXPECT_EQ(ischeckvarlen(fd, nullptr), 0);
        EXPECT_OK(isclose(fd));
        EXPECT_OK(iserase(base()));
    }
    dontCheck();
}

// Coded tails, masks behind the pointer, files without an index: every node and every record in turn.
class CheckTailKinds : public KindTest {
  protected:
    void SetUp() override { EXPECT_OK(isclose(make(60))); }
};

TEST_P(CheckTailKinds, EachNodesMagicNumber) {
    const std::vector<std::uint32_t> nodes = damage().remnantNodes();
    EXPECT_GT(nodes.size(), 8U);
    for (const std::uint32_t node : nodes)
        EXPECT_EQ(foundAfter([&] { damage().node(node, field::kMagic, 5, 2); }), withTails(ISCHK_MAGIC)) << node;
}

TEST_P(CheckTailKinds, EachFiledNodesLink) {
    int filed = 0;
    for (const std::uint32_t node : damage().remnantNodes()) {
        if (damage().nodeValue(node, field::kBucket, 1) == 0) continue;
        ++filed;
        EXPECT_EQ(foundAfter([&] { damage().node(node, field::kNewer, node, 4); }), withTails(ISCHK_LINK)) << node;
    }
    EXPECT_GT(filed, 2);
}

TEST_P(CheckTailKinds, EachTailsLength) {
    for (std::uint32_t n = 1; n <= 60; ++n) {
        if (!damage().live(n) || damage().tail(n).length == 0) continue;
        const auto length = static_cast<std::uint32_t>(damage().tail(n).length);
        EXPECT_EQ(foundAfter([&] { damage().tailLength(n, length + 1); }), withTails(ISCHK_LENGTH)) << n;
    }
}

TEST_P(CheckTailKinds, DeletedRecordsHaveNone) {
    for (std::uint32_t n = 6; n <= 60; n += 6) {
        EXPECT_EQ(foundAfter([&] {
                      damage().tailLength(n, 600);
                      damage().tailNode(n, 0xffffff);
                  }),
                  sound())
            << n;
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, CheckTailKinds, testing::ValuesIn(tailKinds()), kindName);

}  // namespace
}  // namespace api
