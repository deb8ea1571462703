// Damage that shows only when a tail is written or given back: what the nodes of other tails, and the lists of nodes
// with room, say of each other.
#include "../support/damage.h"
#include "rebuild_kinds.h"

#include <memory>

namespace api {
namespace {

using testing_support::Damage;
namespace field = testing_support::field;

class TailWalkDamage : public VarTest {
  protected:
    // Record 1 has a tail of 2000 bytes, in nodes 6 and 5 and, its last 12 bytes, in node 4; record 2 one of 300.
    void make() {
        EXPECT_OK(isclose(fillVar({2000, 300})));
        dontCheck();
        damage_ = std::make_unique<Damage>(base());
        ASSERT_EQ(tailPointer(base(), 1).node, 6U);
    }
    Damage &damage() { return *damage_; }
    std::uint32_t sharedNode() { return static_cast<std::uint32_t>(tailPointer(base(), 2).node); }

    // Writing a tail of this length is refused.
    void expectRefusedWrite(std::size_t tail, int code = ISERR_CORRUPT) {
        const int fd = openVar();
        ASSERT_GE(fd, 0);
        expectRefused(base(), code, [=] { return send(iswrite, fd, rec(30, tail)); });
        EXPECT_OK(isclose(fd));
    }

  private:
    std::unique_ptr<Damage> damage_;
};

TEST_F(TailWalkDamage, NodeWithRoomThatHasNoSlots) {
    make();
    const std::uint32_t node = sharedNode();
    damage().node(node, field::kSlots, 0, 1);
    expectRefusedWrite(50);
}

TEST_F(TailWalkDamage, ListOfNodesWithRoomThatTurnsRound) {
    make();
    const std::uint32_t node = sharedNode();
    damage().node(node, field::kNewer, node, 4);
    damage().node(node, field::kFreeBytes, 10, 2);
    expectRefusedWrite(50);
}

TEST_F(TailWalkDamage, NodeWhoseTableOfSlotsHasNoRoomToGrow) {
    make();
    const std::uint32_t node = sharedNode();
    // The pieces reach the table; the count of free bytes says otherwise.
    const std::uint32_t slots = damage().nodeValue(node, field::kSlots, 1);
    damage().node(node, field::kDataEnd, 1024 - 3 - 4 * slots, 2);
    expectRefusedWrite(50);
}

TEST_F(TailWalkDamage, WholePieceInANodeThatOthersShare) {
    make();
    damage().node(6, field::kSlots, 2, 1);
    damage().node(6, field::kFirstPieceOffset - 4, 23, 2);
    damage().node(6, field::kFirstPieceLength - 4, 1, 2);
    const int fd = openVar();
    expectRefused(base(), ISERR_CORRUPT, [fd] { return isdelete(fd, row(10)); });
    EXPECT_OK(isdelrec(fd, 2));
}

TEST_F(TailWalkDamage, MoreFreeBytesThanANodeHas) {
    make();
    EXPECT_OK(isclose(openVar()));
    const std::uint32_t node = sharedNode();
    damage().node(node, field::kFreeBytes, 990, 2);
    const int fd = openVar();
    expectRefused(base(), ISERR_CORRUPT, [fd] { return isdelrec(fd, 2); });
}

// Tails tell their nodes in 24 bits.
TEST_F(TailWalkDamage, NodeNumbersThatTailsCannotTell) {
    make();
    damage().header(field::kLastNode, 0x00ffffff);
    expectRefusedWrite(3000, ISERR_DISKSPACE);
}

TEST_F(TailWalkDamage, TailsThatLeadRoundOrToTheHeaderLeaveTheLostNodesAlone) {
    make();
    const std::uint32_t root = damage().index(1).root;
    for (const bool round : {true, false}) {
        SCOPED_TRACE(round);
        const Damage::Contents before = damage().contents();
        damage().node(root, field::kMark, 7, 1);
        if (round)
            damage().node(5, field::kNextNode, 6, 3);
        else
            damage().node(5, field::kNextNode, 1, 3);
        const int fd = openVar();
        ASSERT_GE(fd, 0);
        EXPECT_TRUE(rebuilds(fd, 1));
        EXPECT_EQ(ischeckindex(fd, 1), 0);
        EXPECT_EQ(take(fd, ISEQUAL, row(20)), rec(20, 300));
        EXPECT_EQ(take(fd, ISEQUAL, row(10)), error(ISERR_CORRUPT));
        EXPECT_OK(isclose(fd));
        damage().restore(before);
    }
}

}  // namespace
}  // namespace api
