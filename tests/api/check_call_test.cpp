// The three checks as calls: descriptors, globals, positions and locks stay as they are.
#include "check_kinds.h"
#include "check_partner.h"

namespace api {
namespace {

void setGlobals() {
    iserrno = 77;
    iserrio = 78;
    isrecnum = 79;
    isreclen = 80;
}

class CheckCall : public CheckTest {
  protected:
    static void runAll(int fd) {
        long stats[6];
        for (const int index : {1, 2, 3, 0, -1, 99})
            ischeckindex(fd, index);
        ischeckdata(fd);
        ischeckvarlen(fd, stats);
        ischeckvarlen(fd, nullptr);
    }
    int named() {
        const int fd = build();
        add(fd, nameKey());
        for (long id = 10; id <= 60; id += 10)
            put(fd, row(id, id < 40 ? "abc" + std::to_string(id) : "xyz", static_cast<int>(id)));
        return fd;
    }
};

TEST_F(CheckCall, DescriptorsThatAreNotOpen) {
    const int fd = build();
    EXPECT_OK(isclose(fd));
    for (const int bad : {fd, fd + 1, 1000000, 0x7fffffff, -1, -1000000}) {
        for (int call = 0; call < 4; ++call) {
            setGlobals();
            long stats[6] = {1, 2, 3, 4, 5, 6};
            const int result = call == 0   ? ischeckdata(bad)
                               : call == 1 ? ischeckindex(bad, 1)
                                           : ischeckvarlen(bad, call == 2 ? stats : nullptr);
            EXPECT_EQ(result, -1) << bad;
            EXPECT_EQ(iserrno, ISERR_NOTOPEN);
            EXPECT_EQ(iserrio, 78);
            EXPECT_EQ(isrecnum, 79);
            EXPECT_EQ(isreclen, 80);
            EXPECT_EQ(stats[0], 1);
            EXPECT_EQ(stats[5], 6);
        }
    }
}

TEST_F(CheckCall, GlobalsStayWhateverIsFound) {
    Kind fixed = allKinds().front();
    EXPECT_OK(isclose(make(fixed, 30)));
    dontCheck();
    damage().status(6, 9);
    damage().node(damage().index(1).root, field::kUsed, 1, 2);
    for (const int mode : {ISINPUT, ISOUTPUT, ISINOUT}) {
        const int fd = open(mode);
        setGlobals();
        runAll(fd);
        EXPECT_EQ(iserrno, 77);
        EXPECT_EQ(iserrio, 78);
        EXPECT_EQ(isrecnum, 79);
        EXPECT_EQ(isreclen, 80);
        EXPECT_OK(isclose(fd));
    }
}

// What the calls after a check would have said without it.
TEST_F(CheckCall, ReadingGoesOnAsIfNothingHadBeen) {
    const int fd = named();
    for (const KeyDesc &key : {idKey(), nameKey(), noKey()}) {
        KeyDesc start = key;
        EXPECT_OK(isstart(fd, &start, 0, nullptr, ISFIRST));
        Ids ids;
        for (int i = 0; i < 6; ++i) {
            runAll(fd);
            ids.push_back(readId(fd, ISNEXT));
            const long at = isrecnum;
            runAll(fd);
            EXPECT_EQ(readId(fd, ISCURR), ids.back());
            runAll(fd);
            EXPECT_EQ(position(fd), at);
        }
        EXPECT_EQ(ids, (Ids{10, 20, 30, 40, 50, 60}));
        runAll(fd);
        EXPECT_EQ(readId(fd, ISNEXT), -ISERR_ENDOFFILE);
        runAll(fd);
        EXPECT_EQ(readId(fd, ISPREV), 60);
        runAll(fd);
        EXPECT_EQ(readId(fd, ISPREV), 50);
    }
}

TEST_F(CheckCall, CurrentIndexAndStartedPositionStay) {
    const int fd = named();
    KeyDesc name = nameKey();
    EXPECT_OK(isstart(fd, &name, 0, row(0, "xyz"), ISEQUAL));
    runAll(fd);
    EXPECT_EQ(currentIndex(fd), 2);
    EXPECT_EQ(readId(fd, ISNEXT), 40);
    EXPECT_OK(isstart(fd, &name, 0, nullptr, ISLAST));
    runAll(fd);
    EXPECT_FAILS(ISERR_NOCURRENT, isdelcurr(fd));
    EXPECT_EQ(readId(fd, ISPREV), 60);
}

TEST_F(CheckCall, DeletedCurrentRecordIsStillTheOneThatFollowedIt) {
    const int fd = named();
    EXPECT_EQ(readId(fd, ISEQUAL, row(30)), 30);
    EXPECT_OK(isdelcurr(fd));
    runAll(fd);
    EXPECT_EQ(readId(fd, ISNEXT), 40);
}

TEST_F(CheckCall, PositionAtOpenIsStillBeforeTheFirst) {
    EXPECT_OK(isclose(named()));
    const int fd = open();
    runAll(fd);
    EXPECT_EQ(readId(fd, ISNEXT), 10);
}

TEST_F(CheckCall, LengthOfAPartialKeyStays) {
    const int fd = named();
    KeyDesc name = nameKey();
    EXPECT_OK(isstart(fd, &name, 3, row(0, "abcdef"), ISEQUAL));
    runAll(fd);
    EXPECT_EQ(readId(fd, ISEQUAL, row(0, "abc")), 10);
    runAll(fd);
    EXPECT_EQ(readId(fd, ISGREAT, row(0, "abc")), 40);
}

// With the short length of the start before it, keys that differ behind it would count as equal.
TEST_F(CheckCall, ChecksLookAtWholeKeysAfterAPartialStart) {
    EXPECT_OK(isclose(named()));
    dontCheck();
    std::vector<TreeEntry> entries = damage().entries(2, damage().index(2).root);
    std::swap(entries[0], entries[1]);
    damage().store(2, damage().index(2).root, entries);
    const int fd = open();
    KeyDesc name = nameKey();
    EXPECT_OK(isstart(fd, &name, 3, row(0, "abc"), ISGTEQ));
    EXPECT_EQ(ischeckindex(fd, 2), ISCHK_KEYORDER);
}

TEST_F(CheckCall, RecordLocksStay) {
    EXPECT_OK(isclose(named()));
    Partner other([this](Partner &test) {
        if (!test.await()) return;
        const int fd = open();
        EXPECT_FAILS(ISERR_LOCKED, isread(fd, row(20), ISEQUAL | ISLOCK));
        EXPECT_OK(isread(fd, row(30), ISEQUAL | ISLOCK));
        runAll(fd);
        EXPECT_FAILS(ISERR_LOCKED, isread(fd, row(20), ISEQUAL | ISLOCK));
        test.tell();
        test.await();
    });
    const int fd = open();
    EXPECT_OK(isread(fd, row(20), ISEQUAL | ISLOCK));
    runAll(fd);
    other.tell();
    EXPECT_TRUE(other.await());
    runAll(fd);
    EXPECT_FAILS(ISERR_LOCKED, isread(fd, row(30), ISEQUAL | ISLOCK));
}

TEST_F(CheckCall, AutomaticLockStaysOnItsRecord) {
    EXPECT_OK(isclose(named()));
    const int fd = open(ISINOUT | ISLOCKAUTO);
    const int other = open();
    EXPECT_EQ(readId(fd, ISFIRST), 10);
    runAll(fd);
    EXPECT_FALSE(lockable(other, 1));
    EXPECT_TRUE(lockable(other, 2));
}

// What another handle had read of the tree is not what is checked.
TEST_F(CheckCall, ChecksSeeTheDisk) {
    EXPECT_OK(isclose(named()));
    dontCheck();
    const std::uint32_t root = damage().index(2).root, list = damage().files().header().dataFreeHead;
    ASSERT_EQ(list, 0U);
    const int fd = open(ISINOUT | ISLOCKEXCL);
    EXPECT_EQ(idsBy(fd, nameKey()), (Ids{10, 20, 30, 40, 50, 60}));
    EXPECT_EQ(checksOf(fd, 2), (Found{0, {0, 0}, 0}));
    damage().node(root, field::kLevel, 1, 1);
    EXPECT_EQ(checksOf(fd, 2), (Found{0, {0, ISCHK_INDEXREAD}, 0}));
    damage().node(root, field::kLevel, 0, 1);
    EXPECT_EQ(checksOf(fd, 2), (Found{0, {0, 0}, 0}));
    damage().status(2, 0);
    EXPECT_EQ(ischeckdata(fd), ISCHK_FREELIST);
    damage().status(2, 0x0a);
    EXPECT_EQ(checksOf(fd, 2), (Found{0, {0, 0}, 0}));
    EXPECT_EQ(idsBy(fd, nameKey()), (Ids{10, 20, 30, 40, 50, 60}));
}

}  // namespace
}  // namespace api
