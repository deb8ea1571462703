// Pointers of a damaged index that lead into something else: the rebuild keeps its hands off that.
#include "../support/file_check.h"
#include "check_sweep.h"
#include "rebuild_kinds.h"

#include <map>

namespace api {
namespace {

using testing_support::Bytes;

// A file with everything that an index file can have: three indexes, two of them with nodes of one form, tails, free
// nodes, free numbers, audit settings.
Kind fullKind() {
    const KeyDesc name = keyDesc(ISDUPS, {{kNameAt, kNameLen}}), note = keyDesc(ISDUPS, {{kNoteAt, kNameLen}});
    return {"Full", ISVARLEN, {idKey(), name, note}};
}

class RebuildStray : public CheckTest {
  protected:
    void SetUp() override {
        const int fd = make(fullKind(), kMany);
        KeyDesc gone = keyDesc(ISDUPS, {{0, 32}});
        add(fd, gone);
        EXPECT_OK(isdelindex(fd, &gone));
        char trail[] = "trail";
        EXPECT_OK(isaudit(fd, trail, ISAUDSETNAME));
        EXPECT_OK(isclose(fd));
        records_ = everyRecord();
    }
    // All records, tails included, by number.
    std::map<long, Rec> everyRecord() {
        std::map<long, Rec> records;
        const int fd = openKind(fullKind());
        for (long number = 1; number <= kMany; ++number)
            if (damage().live(static_cast<std::uint32_t>(number))) records[number] = takeNumber(fd, number);
        EXPECT_OK(isclose(fd));
        return records;
    }
    // Nodes that a rebuild of the index has no business with, which are to keep their bytes.
    std::vector<std::uint32_t> untouchable(int index) {
        std::vector<std::uint32_t> nodes = {2, damage().files().header().auditNode};
        for (int other = 1; other <= 3; ++other)
            if (other != index)
                for (const std::uint32_t node : damage().tree(other))
                    nodes.push_back(node);
        for (const std::uint32_t node : damage().remnantNodes())
            nodes.push_back(node);
        for (const std::uint32_t node : damage().freeList(true).nodes)
            nodes.push_back(node);
        return nodes;
    }
    std::map<std::uint32_t, Bytes> bytesOf(const std::vector<std::uint32_t> &nodes) {
        std::map<std::uint32_t, Bytes> all;
        for (const std::uint32_t node : nodes)
            EXPECT_TRUE(damage().files().node(node, &all[node]));
        return all;
    }
    // Mends an index after damages to it, and looks at all the rest. leftOver: nodes of the index may be nobody's then.
    void mend(int index, const std::function<void()> &damages) {
        const Damage::Contents whole = damage().contents();
        const std::vector<std::uint32_t> others = untouchable(index), own = damage().tree(index);
        const std::map<std::uint32_t, Bytes> before = bytesOf(others);
        damages();
        const int fd = openKind(fullKind());
        ASSERT_GE(fd, 0);
        EXPECT_NE(ischeckindex(fd, index), 0);
        EXPECT_TRUE(rebuilds(fd, index));
        EXPECT_EQ(checksOf(fd, 3), sound(fullKind()));
        const std::map<std::uint32_t, Bytes> after = bytesOf(others);
        for (const std::uint32_t node : others)
            EXPECT_EQ(before.at(node), after.at(node)) << "node " << node;
        EXPECT_EQ(damage().dataSize(), static_cast<std::int64_t>(whole.data.size()));
        EXPECT_OK(isclose(fd));
        EXPECT_EQ(everyRecord(), records_);
        for (const std::string &problem : checkFiles(damage().files()).problems)
            EXPECT_TRUE(lostOf(problem, own)) << problem;
        damage().restore(whole);
    }
    // What a damaged tree no longer leads to may stay unused.
    static bool lostOf(const std::string &problem, const std::vector<std::uint32_t> &own) {
        for (const std::uint32_t node : own)
            if (problem == "node " + std::to_string(node) + " belongs to nothing") return true;
        return false;
    }
    void expectKept(int index, std::uint32_t target) {
        SCOPED_TRACE("index " + std::to_string(index) + " leads to node " + std::to_string(target));
        const std::uint32_t root = damage().index(index).root;
        const std::size_t last = damage().entries(index, root).size() - 1;
        mend(index, [&] { damage().pointTo(index, root, 0, target); });
        mend(index, [&] { damage().pointTo(index, root, last, target); });
    }
    std::map<long, Rec> records_;
};

TEST_F(RebuildStray, IntoAnotherIndex) {
    for (int index = 1; index <= 3; ++index)
        for (int other = 1; other <= 3; ++other) {
            if (other == index) continue;
            const std::vector<std::uint32_t> nodes = damage().tree(other);
            for (const std::uint32_t node : {nodes.front(), nodes[1], nodes.back()})
                expectKept(index, node);
        }
}

TEST_F(RebuildStray, IntoHeaderOrDescription) {
    for (int index = 1; index <= 3; ++index)
        for (const std::uint32_t node : {1U, 2U})
            expectKept(index, node);
}

TEST_F(RebuildStray, IntoTails) {
    const std::vector<std::uint32_t> nodes = damage().remnantNodes();
    for (std::size_t i = 0; i < nodes.size(); i += nodes.size() / 5)
        expectKept(2, nodes[i]);
}

TEST_F(RebuildStray, IntoFreeLists) {
    const testing_support::FreeList records = damage().freeList(true), nodes = damage().freeList(false);
    ASSERT_FALSE(records.nodes.empty());
    ASSERT_FALSE(nodes.numbers.empty());
    expectKept(2, records.nodes[0]);
    expectKept(2, nodes.nodes[0]);
    expectKept(2, nodes.numbers.front());
    expectKept(2, nodes.numbers.back());
}

TEST_F(RebuildStray, IntoAuditSettings) {
    ASSERT_NE(damage().files().header().auditNode, 0U);
    expectKept(3, damage().files().header().auditNode);
}

TEST_F(RebuildStray, OutOfTheFile) {
    for (const std::uint32_t node : {0U, damage().files().header().lastNode + 1, 0x7fffffffU})
        expectKept(2, node);
}

TEST_F(RebuildStray, BackIntoItsOwnTree) {
    for (const std::uint32_t node : damage().tree(2))
        if (node != damage().entries(2, damage().index(2).root)[0].pointer)
            mend(2, [&] { damage().pointTo(2, damage().index(2).root, 0, node); });
}

// A tail whose node has been damaged is somebody's still.
TEST_F(RebuildStray, DamagedTailNodeIsNotTaken) {
    const std::vector<std::uint32_t> nodes = damage().remnantNodes();
    for (const std::uint32_t node : {nodes.front(), nodes.back()}) {
        for (const int offset : {field::kMagic, field::kMark}) {
            const Damage::Contents whole = damage().contents();
            const std::uint32_t value = damage().nodeValue(node, offset, 1);
            damage().node(node, offset, 0, 1);
            damage().blankNode(damage().index(1).root);
            const int fd = openKind(fullKind());
            EXPECT_TRUE(rebuilds(fd, 1));
            EXPECT_TRUE(rebuildsFree(fd));
            EXPECT_OK(isclose(fd));
            damage().node(node, offset, value, 1);
            EXPECT_EQ(everyRecord(), records_) << "node " << node << " offset " << offset;
            damage().restore(whole);
        }
    }
}

// Where the second description has the number of its index's root.
constexpr int kSecondRoot = 6 + (7 + 5) + 2;

// The root that a description names belongs to something else: nothing can be done, and nothing is.
TEST_F(RebuildStray, RootThatBelongsToSomethingElse) {
    ASSERT_EQ(damage().nodeValue(2, kSecondRoot, 4), damage().index(2).root);
    const testing_support::FreeList nodes = damage().freeList(false);
    for (const std::uint32_t target :
         {damage().index(1).root, damage().index(3).root, damage().leaves(3).back(), 2U,
          damage().files().header().auditNode, damage().remnantNodes().front(), damage().remnantNodes().back(),
          damage().freeList(true).nodes[0], nodes.nodes[0], nodes.numbers[0]}) {
        SCOPED_TRACE(target);
        const Damage::Contents whole = damage().contents();
        damage().node(2, kSecondRoot, target, 4);
        const Damage::Contents damaged = damage().contents();
        const int fd = openKind(fullKind());
        ASSERT_GE(fd, 0);
        EXPECT_NE(ischeckindex(fd, 2), 0);
        EXPECT_EQ(isRebuildIdx(isAdmItoD(fd), 2), 0);
        EXPECT_EQ(isErrno(isAdmItoD(fd)), ISERR_CORRUPT);
        EXPECT_TRUE(damaged == damage().contents());
        EXPECT_OK(isclose(fd));
        damage().restore(whole);
    }
}

TEST_F(RebuildStray, TreesWithAWayIntoTheOneThatIsMended) {
    for (const std::uint32_t node : {damage().index(2).root, damage().leaves(2).back()}) {
        const Damage::Contents whole = damage().contents();
        damage().pointTo(3, damage().index(3).root, 0, node);
        const int fd = openKind(fullKind());
        EXPECT_TRUE(rebuilds(fd, 2));
        EXPECT_EQ(ischeckindex(fd, 2), 0);
        EXPECT_NE(ischeckindex(fd, 3), 0);
        EXPECT_TRUE(rebuilds(fd, 3));
        EXPECT_EQ(checksOf(fd, 3), sound(fullKind()));
        EXPECT_OK(isclose(fd));
        EXPECT_EQ(everyRecord(), records_);
        damage().restore(whole);
    }
}

// Damage at random within one index: its rebuild makes the file sound again, and has touched nothing else.
TEST_F(RebuildStray, ScatteredDamage) {
    const Damage::Contents whole = damage().contents();
    for (const int index : {1, 2, 3}) {
        const std::vector<std::uint32_t> own = damage().tree(index), others = untouchable(index);
        const std::map<std::uint32_t, Bytes> before = bytesOf(others);
        EXPECT_EQ(sweep(120,
                        [&](int i) {
                            damage().restore(whole);
                            Dice dice(static_cast<std::uint32_t>(1000 * index + i));
                            scatterDamage(damage(), dice, own);
                            const int fd = openKind(fullKind());
                            ASSERT_GE(fd, 0);
                            EXPECT_TRUE(rebuilds(fd, index));
                            EXPECT_EQ(checksOf(fd, 3), sound(fullKind())) << "index " << index << " case " << i;
                            for (const auto &node : bytesOf(others))
                                EXPECT_EQ(before.at(node.first), node.second) << "node " << node.first;
                            EXPECT_OK(isclose(fd));
                            for (const std::string &problem : checkFiles(damage().files()).problems)
                                EXPECT_TRUE(lostOf(problem, own)) << problem;
                        }),
                  0);
        damage().restore(whole);
    }
}

}  // namespace
}  // namespace api
