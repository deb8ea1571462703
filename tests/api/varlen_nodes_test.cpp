// Where tails lie: whole nodes and shared ones, and the list of nodes with room.
#include "varlen.h"

namespace api {
namespace {

using Heads = std::vector<unsigned long>;

class VarNodes : public VarTest {
  protected:
    int fd = -1;
    // Nodes 1 to 3 are header, description and root.
    void SetUp() override { fd = buildVar(); }
    void writeTail(long id, std::size_t tail) { ASSERT_OK(send(iswrite, fd, rec(id, tail))); }
    Heads heads() {
        Heads all;
        for (std::size_t bucket = 0; bucket < 5; ++bucket)
            all.push_back(bucketHead(base(), bucket));
        return all;
    }
    unsigned long roomIn(unsigned long node) { return freeBytesOf(base(), node); }
};

TEST_F(VarNodes, MinimumTakesNone) {
    writeTail(1, 0);
    EXPECT_EQ(tailPointer(base(), 1), (TailPointer{0, 0, 0}));
    EXPECT_EQ(lastNode(base()), 3U);
    EXPECT_EQ(heads(), (Heads{0, 0, 0, 0, 0}));
}

TEST_F(VarNodes, NodeOfExactlyOnePieceIsFull) {
    writeTail(1, 994);
    EXPECT_EQ(tailPointer(base(), 1), (TailPointer{994, 0, 4}));
    EXPECT_EQ(lastNode(base()), 4U);
    EXPECT_EQ(roomIn(4), 0U);
    EXPECT_EQ(heads(), (Heads{0, 0, 0, 0, 0}));
}

TEST_F(VarNodes, OneByteMoreGoesIntoASharedNode) {
    writeTail(1, 995);
    EXPECT_EQ(tailPointer(base(), 1), (TailPointer{995, 0, 5}));
    EXPECT_EQ(lastNode(base()), 5U);
    EXPECT_EQ(roomIn(4), 993U);
    EXPECT_EQ(roomIn(5), 0U);
    EXPECT_EQ(heads(), (Heads{0, 0, 0, 0, 4}));
}

TEST_F(VarNodes, OneByteLessLeavesOneByteOfRoom) {
    writeTail(1, 993);
    EXPECT_EQ(tailPointer(base(), 1), (TailPointer{993, 0, 4}));
    EXPECT_EQ(roomIn(4), 1U);
    EXPECT_EQ(heads(), (Heads{0, 0, 0, 0, 0}));
}

TEST_F(VarNodes, TwoWholeNodesNeedNoSharedOne) {
    writeTail(1, 1988);
    EXPECT_EQ(lastNode(base()), 5U);
    EXPECT_EQ(tailPointer(base(), 1), (TailPointer{1988, 0, 5}));
    EXPECT_EQ(heads(), (Heads{0, 0, 0, 0, 0}));
}

TEST_F(VarNodes, SmallTailsShareANode) {
    for (long id = 1; id <= 19; ++id)
        writeTail(id, 40);
    EXPECT_EQ(lastNode(base()), 4U);
    EXPECT_EQ(tailPointer(base(), 19), (TailPointer{40, 18, 4}));
    // The next piece would fit, but a node with so little room is not looked for.
    EXPECT_EQ(roomIn(4), 998U - 19 * 44);
    EXPECT_EQ(heads(), (Heads{0, 0, 0, 0, 0}));
    writeTail(20, 40);
    EXPECT_EQ(tailPointer(base(), 20), (TailPointer{40, 0, 5}));
}

TEST_F(VarNodes, RoomOf200IsNoneAnd201IsSome) {
    writeTail(1, 794);
    EXPECT_EQ(roomIn(4), 200U);
    EXPECT_EQ(heads(), (Heads{0, 0, 0, 0, 0}));
    writeTail(2, 793);
    EXPECT_EQ(roomIn(5), 201U);
    EXPECT_EQ(heads(), (Heads{0, 5, 0, 0, 0}));
}

TEST_F(VarNodes, BucketsAreTwoHundredBytesWide) {
    // Two pieces leave a room of 200 bytes; without the second one there is more.
    const struct {
        std::size_t first, second, bucket;
    } cases[] = {{789, 1, 1}, {590, 200, 1}, {589, 201, 2}, {390, 400, 2}, {389, 401, 3}, {190, 600, 3}, {189, 601, 4}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.first);
        writeTail(1, c.first);
        const unsigned long node = tailPointer(base(), isrecnum).node;
        writeTail(2, c.second);
        EXPECT_EQ(tailPointer(base(), isrecnum).node, node);
        EXPECT_EQ(heads(), (Heads{0, 0, 0, 0, 0}));
        EXPECT_OK(isdelete(fd, row(2)));
        Heads expected(5, 0);
        expected[c.bucket] = node;
        EXPECT_EQ(heads(), expected);
        EXPECT_EQ(roomIn(node), 200 + c.second);
        EXPECT_OK(isdelete(fd, row(1)));
        EXPECT_EQ(heads(), (Heads{0, 0, 0, 0, 0}));
    }
}

TEST_F(VarNodes, NodeLeavesAndEntersTheHash) {
    writeTail(1, 500);
    EXPECT_EQ(heads(), (Heads{0, 0, 4, 0, 0}));
    writeTail(2, 290);
    EXPECT_EQ(roomIn(4), 200U);
    EXPECT_EQ(heads(), (Heads{0, 0, 0, 0, 0}));
    EXPECT_OK(isdelete(fd, row(2)));
    EXPECT_EQ(roomIn(4), 490U);
    EXPECT_EQ(heads(), (Heads{0, 0, 4, 0, 0}));
    // The slot of the piece that went is used again.
    writeTail(3, 7);
    EXPECT_EQ(tailPointer(base(), 2), (TailPointer{7, 1, 4}));
    EXPECT_EQ(roomIn(4), 483U);
}

TEST_F(VarNodes, OnlyPieceGoneGivesTheNodeBack) {
    writeTail(1, 100);
    EXPECT_EQ(heads(), (Heads{0, 0, 0, 0, 4}));
    EXPECT_OK(isdelete(fd, row(1)));
    EXPECT_EQ(heads(), (Heads{0, 0, 0, 0, 0}));
    // Node 4 keeps the list of free record numbers now.
    EXPECT_EQ(freeNodes(base()), 0U);
    writeTail(2, 0);
    EXPECT_EQ(freeNodes(base()), 1U);
    writeTail(3, 994);
    EXPECT_EQ(tailPointer(base(), 2), (TailPointer{994, 0, 4}));
}

TEST_F(VarNodes, WholeNodesAreGivenBack) {
    writeTail(1, 0);
    writeTail(2, 2982);
    EXPECT_EQ(lastNode(base()), 6U);
    EXPECT_OK(send(isrewrite, fd, rec(2)));
    EXPECT_EQ(freeNodes(base()), 3U);
    EXPECT_OK(send(isrewrite, fd, rec(1, 2982)));
    EXPECT_EQ(freeNodes(base()), 0U);
    EXPECT_EQ(lastNode(base()), 6U);
}

TEST_F(VarNodes, YoungestNodeOfABucketIsTakenFirst) {
    writeTail(1, 500);
    writeTail(2, 550);
    EXPECT_EQ(heads(), (Heads{0, 0, 5, 0, 0}));
    writeTail(3, 100);
    EXPECT_EQ(tailPointer(base(), 3).node, 5U);
    // Node 5 has gone to the bucket below; the older one is head again.
    EXPECT_EQ(heads(), (Heads{0, 5, 4, 0, 0}));
    writeTail(4, 100);
    EXPECT_EQ(tailPointer(base(), 4).node, 5U);
}

TEST_F(VarNodes, NodesInTheMiddleOfABucketMayGo) {
    for (long id = 1; id <= 5; ++id)
        writeTail(id, 500);
    EXPECT_EQ(bucketHead(base(), 2), 8U);
    EXPECT_OK(isdelete(fd, row(3)));
    EXPECT_EQ(bucketHead(base(), 2), 8U);
    EXPECT_OK(isdelete(fd, row(1)));
    EXPECT_OK(isdelete(fd, row(5)));
    EXPECT_EQ(bucketHead(base(), 2), 7U);
    EXPECT_EQ(allOf(fd), (Records{rec(2, 500), rec(4, 500)}));
    EXPECT_OK(isdelete(fd, row(4)));
    EXPECT_EQ(bucketHead(base(), 2), 5U);
    EXPECT_OK(isdelete(fd, row(2)));
    EXPECT_EQ(heads(), (Heads{0, 0, 0, 0, 0}));
}

}  // namespace
}  // namespace api
