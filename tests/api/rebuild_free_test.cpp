// The list of free record numbers made anew from the records' status.
#include "../support/file_check.h"
#include "rebuild_kinds.h"

#include <algorithm>

namespace api {
namespace {

using Numbers = std::vector<std::uint32_t>;

constexpr std::uint32_t kLive = 31;

class RebuildFree : public RebuildTest {
  protected:
    void SetUp() override { EXPECT_OK(isclose(make())); }
    // Damages, sees that the check finds it, mends.
    void damageAndMend(const char *name, const std::function<void()> &damages, bool readable = true) {
        SCOPED_TRACE(name);
        const Damage::Contents whole = damage().contents();
        damages();
        const int fd = openKind();
        ASSERT_GE(fd, 0);
        EXPECT_EQ(ischeckdata(fd), readable ? ISCHK_FREELIST : ISCHK_DATAREAD);
        EXPECT_TRUE(rebuildsFree(fd));
        EXPECT_EQ(damage().freeList(true).numbers, deletedDownwards());
        expectUsable(fd);
        EXPECT_OK(isclose(fd));
        damage().restore(whole);
    }
    void storeHead(const Numbers &numbers) { damage().storeFreeNode(head(), 0, numbers); }
    Numbers listed() { return damage().freeList(true).numbers; }
    std::uint32_t head() { return damage().files().header().dataFreeHead; }
    Numbers deletedDownwards() {
        Numbers numbers;
        for (std::uint32_t n = kMany; n > 0; --n)
            if (!damage().live(n)) numbers.push_back(n);
        EXPECT_EQ(numbers.size(), std::size_t{kMany / 6});
        return numbers;
    }
};

TEST_P(RebuildFree, Lost) {
    damageAndMend("head zeroed", [&] { damage().header(field::kDataFree, 0); });
    damageAndMend("head of no node", [&] { damage().header(field::kDataFree, 0x7fffffff); });
    damageAndMend("head of a description", [&] { damage().header(field::kDataFree, 2); });
    damageAndMend("head of the header", [&] { damage().header(field::kDataFree, 1); });
}

TEST_P(RebuildFree, WrongNumbers) {
    const Numbers list = listed();
    damageAndMend("record in use added", [&] {
        Numbers wrong = list;
        wrong.push_back(kLive);
        storeHead(wrong);
    });
    const std::uint32_t others[] = {kLive, list[5], 0, kMany + 1, 0xffffffff};
    for (const std::uint32_t number : others)
        damageAndMend(("another in place: " + std::to_string(number)).c_str(), [&] {
            Numbers wrong = list;
            wrong[4] = number;
            storeHead(wrong);
        });
    damageAndMend("number missing", [&] {
        Numbers wrong = list;
        wrong.erase(wrong.begin() + 3);
        storeHead(wrong);
    });
}

TEST_P(RebuildFree, Circle) {
    damageAndMend("to itself", [&] { damage().node(head(), field::kLink, head(), 4); });
}

TEST_P(RebuildFree, DamagedNode) {
    damageAndMend("mark", [&] { damage().node(head(), field::kMark, 0, 1); });
    damageAndMend("level", [&] { damage().node(head(), field::kLevel, 254, 1); });
    damageAndMend("used", [&] { damage().node(head(), field::kUsed, 5, 2); });
    damageAndMend("link outside", [&] { damage().node(head(), field::kLink, 0x7fffffff, 4); });
    damageAndMend("all zero", [&] { damage().blankNode(head()); });
}

TEST_P(RebuildFree, HighestRecordNumberOfTheHeader) {
    damageAndMend(
        "too high", [&] { damage().header(field::kLastRecord, kMany + 3); }, false);
    damageAndMend(
        "far too high", [&] { damage().header(field::kLastRecord, 0x7fffffff); }, false);
}

TEST_P(RebuildFree, LowestNumberIsGivenOutFirst) {
    damage().header(field::kDataFree, 0);
    const int fd = openKind();
    EXPECT_TRUE(rebuildsFree(fd));
    writeKind(fd, kind(), 400, 400);
    EXPECT_EQ(isrecnum, 6);
    writeKind(fd, kind(), 401, 401);
    EXPECT_EQ(isrecnum, 12);
}

TEST_P(RebuildFree, SoundListIsAsGoodAsBefore) {
    const int fd = openKind();
    EXPECT_TRUE(rebuildsFree(fd));
    EXPECT_EQ(listed(), deletedDownwards());
    expectUsable(fd);
}

// With a highest number too low the records beyond it are out of reach; the data file has them still.
TEST_P(RebuildFree, RecordsBeyondTheHighestNumberComeBack) {
    damage().header(field::kLastRecord, kMany - 3);
    Numbers wrong = listed();
    wrong.erase(std::remove(wrong.begin(), wrong.end(), std::uint32_t{kMany}), wrong.end());
    storeHead(wrong);
    const int fd = openKind();
    EXPECT_EQ(ischeckdata(fd), 0);
    for (int index = 1; index <= kind().indexes(); ++index)
        EXPECT_EQ(ischeckindex(fd, index), ISCHK_INDEXREAD);
    EXPECT_TRUE(rebuildsFree(fd));
    expectUsable(fd);
}

INSTANTIATE_TEST_SUITE_P(Kinds, RebuildFree,
                         testing::ValuesIn(kindsWith([](const Kind &kind) { return kind.records && !kind.precious; })),
                         kindName);

// Lists of several nodes.
class RebuildLongList : public CheckTest {
  protected:
    static constexpr std::uint32_t kAll = 600, kGone = 560;
    void SetUp() override {
        const int fd = build();
        for (std::uint32_t id = 1; id <= kAll; ++id)
            ASSERT_OK(iswrite(fd, row(static_cast<long>(id))));
        for (std::uint32_t number = 1; number <= kGone; ++number)
            ASSERT_OK(isdelrec(fd, static_cast<long>(number)));
        EXPECT_OK(isclose(fd));
        nodes_ = damage().freeList(true).nodes;
        ASSERT_EQ(nodes_.size(), 3U);
    }
    void expectMends() {
        const int fd = open();
        EXPECT_EQ(ischeckdata(fd), ISCHK_FREELIST);
        EXPECT_TRUE(rebuildsFree(fd));
        EXPECT_EQ(checksOf(fd, 1), (Found{0, {0}, 0}));
        const testing_support::CheckReport report = checkFiles(damage().files());
        EXPECT_TRUE(report.clean()) << report.text();
        for (std::uint32_t number = 1; number <= kGone; ++number) {
            EXPECT_OK(iswrite(fd, row(1000 + static_cast<long>(number))));
            EXPECT_EQ(isrecnum, static_cast<long>(number));
        }
        EXPECT_EQ(checksOf(fd, 1), (Found{0, {0}, 0}));
    }
    std::vector<std::uint32_t> nodes_;
};

TEST_F(RebuildLongList, CircleOverTwoNodes) {
    damage().node(nodes_[2], field::kLink, nodes_[1], 4);
    expectMends();
}

TEST_F(RebuildLongList, CircleOverAll) {
    damage().node(nodes_[2], field::kLink, nodes_[0], 4);
    expectMends();
}

TEST_F(RebuildLongList, NodeInTheMiddle) {
    damage().node(nodes_[1], field::kMark, 3, 1);
    expectMends();
}

TEST_F(RebuildLongList, CutOffBehindTheFirst) {
    damage().node(nodes_[0], field::kLink, 0, 4);
    expectMends();
}

TEST_F(RebuildLongList, HeadZeroed) {
    damage().header(field::kDataFree, 0);
    expectMends();
}

// The list's own link leads into a tree; the tree keeps its node.
TEST_F(RebuildLongList, LinkIntoATree) {
    damage().node(nodes_[2], field::kLink, damage().leaves(1).back(), 4);
    expectMends();
}

TEST_F(RebuildLongList, LinkToADescription) {
    damage().node(nodes_[2], field::kLink, 2, 4);
    expectMends();
}

}  // namespace
}  // namespace api
