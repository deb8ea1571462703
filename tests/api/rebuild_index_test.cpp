// An index made anew from the records: damaged in every way, in files of every kind.
#include "rebuild_kinds.h"

namespace api {
namespace {

class RebuildIndex : public RebuildTest {
  protected:
    void damageAndMend(int count) {
        EXPECT_OK(isclose(make(count)));
        for (int index = 1; index <= kind().indexes(); ++index)
            for (const IndexDamage &each : indexDamages()) {
                if (each.needsBranch && damage().leaves(index).size() < 2) continue;
                if (each.needsCount && !kind().counted(index)) continue;
                SCOPED_TRACE("index " + std::to_string(index) + ": " + each.name);
                each.run(damage(), index);
                const int fd = openKind();
                ASSERT_GE(fd, 0) << iserrno;
                EXPECT_NE(ischeckindex(fd, index), 0);
                EXPECT_TRUE(rebuilds(fd, index));
                expectUsable(fd);
                EXPECT_OK(isclose(fd));
                if (HasFailure()) return;
            }
    }
};

TEST_P(RebuildIndex, OfOneNodeOrFew) { damageAndMend(9); }

TEST_P(RebuildIndex, OfSeveralLevels) { damageAndMend(kMany); }

TEST_P(RebuildIndex, SoundOnesStayAsGood) {
    const int fd = make();
    for (int index = 1; index <= kind().indexes(); ++index)
        EXPECT_TRUE(rebuilds(fd, index));
    expectUsable(fd);
}

// All at once: what one of them has lost cannot be told from what another has, so nodes may be left over at first.
TEST_P(RebuildIndex, AllOfThemBlankedOut) {
    EXPECT_OK(isclose(make()));
    std::vector<std::uint32_t> roots;
    for (int index = 1; index <= kind().indexes(); ++index)
        roots.push_back(damage().index(index).root);
    for (const std::uint32_t root : roots)
        damage().blankNode(root);
    const int fd = openKind();
    for (int index = 1; index <= kind().indexes(); ++index)
        EXPECT_TRUE(rebuilds(fd, index));
    EXPECT_EQ(found(fd), sound());
    // The last rebuild had sound indexes beside its own, and took all that was nobody's.
    expectUsable(fd);
}

TEST_P(RebuildIndex, OfAFileWithoutAnyRecordLeft) {
    EXPECT_OK(isclose(make(0)));
    for (int index = 1; index <= kind().indexes(); ++index)
        damage().blankNode(damage().index(index).root);
    const int fd = openKind();
    for (int index = 1; index <= kind().indexes(); ++index)
        EXPECT_TRUE(rebuilds(fd, index));
    EXPECT_EQ(found(fd), sound());
    writeKind(fd, kind(), 1, 30);
    EXPECT_EQ(found(fd), sound());
}

// A file that was cut short: what its end held can be made anew, as long as it was a tree or the list.
TEST_P(RebuildIndex, WithItsNodesCutOff) {
    EXPECT_OK(isclose(make(40)));
    if (kind().tails()) return;
    const Damage::Contents whole = damage().contents();
    for (std::uint32_t nodes = damage().files().header().lastNode - 1; nodes >= 2; --nodes) {
        SCOPED_TRACE("nodes left: " + std::to_string(nodes));
        damage().cutIndex(nodes * 1024LL + nodes % 3);
        const int fd = openKind();
        ASSERT_GE(fd, 0) << iserrno;
        for (int index = 1; index <= kind().indexes(); ++index)
            ASSERT_TRUE(rebuilds(fd, index)) << index;
        ASSERT_TRUE(rebuildsFree(fd));
        EXPECT_EQ(found(fd), sound());
        EXPECT_OK(isclose(fd));
        damage().restore(whole);
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, RebuildIndex, testing::ValuesIn(kindsWith([](const Kind &kind) {
                             return kind.records && kind.indexes() > 0;
                         })),
                         kindName);

// Which records an index leaves out.
class RebuildMasked : public CheckTest {};

TEST_F(RebuildMasked, IndexesGoByTheirOwnBit) {
    const int fd = build(ISINOUT | ISMASK);
    add(fd, nameKey());
    add(fd, groupKey());
    const long masks[] = {0, 1, 2, 4, 7, 3, static_cast<long>(0x80000000UL)};
    for (int i = 0; i < 7; ++i) {
        issetmask(fd, masks[i]);
        put(fd, row(10L * (i + 1), "n", i));
    }
    issetmask(fd, 5);
    for (int index = 1; index <= 3; ++index)
        EXPECT_TRUE(rebuilds(fd, index));
    EXPECT_EQ(isgetmask(fd), 5) << "the handle's own";
    EXPECT_EQ(idsBy(fd, idKey()), (Ids{10, 30, 40, 70}));
    EXPECT_EQ(idsBy(fd, nameKey()), (Ids{10, 20, 40, 70}));
    EXPECT_EQ(idsBy(fd, groupKey()), (Ids{10, 20, 30, 60, 70}));
}

// Adding an index goes by the bit below its own; the rebuild puts that right.
TEST_F(RebuildMasked, AddedIndexGetsTheRecordsThatItsOwnBitLeavesIn) {
    const int fd = build(ISINOUT | ISMASK);
    issetmask(fd, 1);
    put(fd, row(10));
    issetmask(fd, 2);
    put(fd, row(20));
    issetmask(fd, 0);
    put(fd, row(30));
    add(fd, nameKey());
    EXPECT_EQ(idsBy(fd, nameKey()), (Ids{20, 30}));
    EXPECT_TRUE(rebuilds(fd, 2));
    EXPECT_EQ(idsBy(fd, nameKey()), (Ids{10, 30}));
}

TEST_F(RebuildMasked, NullKeysStayOut) {
    const int fd = build();
    const KeyDesc key = keyDesc(ISDUPS | ISNULLKEY, {{kNameAt, kNameLen, CHARTYPE, ' '}});
    add(fd, key);
    put(fd, row(1, ""));
    put(fd, row(2, "b"));
    put(fd, row(3, "a"));
    EXPECT_TRUE(rebuilds(fd, 2));
    EXPECT_EQ(idsBy(fd, key), (Ids{3, 2}));
}

}  // namespace
}  // namespace api
