// Who else has the file open while it is mended: sees the mended one, and keeps position and locks.
#include "check_partner.h"
#include "rebuild_kinds.h"

namespace api {
namespace {

class RebuildOthers : public CheckTest {
  protected:
    // Ids 1 to 40; every fourth record is deleted.
    void SetUp() override {
        const int fd = build();
        add(fd, nameKey());
        for (long id = 1; id <= 40; ++id)
            put(fd, row(id, "n" + std::to_string(id % 9)));
        for (long number = 4; number <= 40; number += 4)
            EXPECT_OK(isdelrec(fd, number));
        EXPECT_OK(isclose(fd));
    }
    static Ids inOrder() {
        Ids ids;
        for (long id = 1; id <= 40; ++id)
            if (id % 4 != 0) ids.push_back(id);
        return ids;
    }
    // Nothing left of an index but its root, and the list of free numbers lost.
    void spoil() {
        damage().blankNode(damage().index(1).root);
        damage().header(field::kDataFree, 0);
    }
    static void mend(int fd) {
        EXPECT_TRUE(rebuilds(fd, 1));
        EXPECT_TRUE(rebuildsFree(fd));
        EXPECT_EQ(checksOf(fd, 2), (Found{0, {0, 0}, 0}));
    }
};

TEST_F(RebuildOthers, AnotherHandleSeesTheMendedFile) {
    const int other = open();
    EXPECT_EQ(idsOf(other), inOrder());
    EXPECT_EQ(readId(other, ISEQUAL, row(18)), 18);
    const int tool = open();
    spoil();
    EXPECT_NE(ischeckindex(tool, 1), 0);
    mend(tool);
    EXPECT_EQ(readId(other, ISNEXT), 19);
    EXPECT_EQ(idsOf(other), inOrder());
    EXPECT_EQ(checksOf(other, 2), (Found{0, {0, 0}, 0}));
    EXPECT_EQ(put(other, row(100)), 4);
    EXPECT_EQ(readId(tool, ISEQUAL, row(100)), 100);
}

TEST_F(RebuildOthers, AnotherProcessSeesTheMendedFile) {
    Partner other([this](Partner &test) {
        const int fd = open();
        EXPECT_EQ(idsOf(fd), inOrder());
        EXPECT_EQ(readId(fd, ISEQUAL, row(18)), 18);
        test.tell();
        if (!test.await()) return;
        EXPECT_EQ(readId(fd, ISNEXT), 19);
        EXPECT_EQ(idsOf(fd), inOrder());
        EXPECT_EQ(checksOf(fd, 2), (Found{0, {0, 0}, 0}));
        EXPECT_EQ(put(fd, row(100)), 4);
        EXPECT_OK(isclose(fd));
        test.tell();
    });
    EXPECT_TRUE(other.await());
    const int tool = open();
    spoil();
    mend(tool);
    other.tell();
    EXPECT_TRUE(other.await());
    EXPECT_EQ(readId(tool, ISEQUAL, row(100)), 100);
    EXPECT_EQ(checksOf(tool, 2), (Found{0, {0, 0}, 0}));
}

TEST_F(RebuildOthers, PositionsOfTheToolStay) {
    const int tool = open();
    for (const KeyDesc &key : {idKey(), nameKey(), noKey()}) {
        KeyDesc by = key;
        EXPECT_OK(isstart(tool, &by, 0, nullptr, ISFIRST));
        for (int i = 0; i < 5; ++i)
            EXPECT_OK(isread(tool, row(0), ISNEXT));
        const long at = isrecnum;
        Row fifth, sixth;
        EXPECT_OK(isread(tool, fifth, ISCURR));
        EXPECT_OK(isread(tool, sixth, ISNEXT));
        EXPECT_OK(isread(tool, fifth, ISPREV));
        EXPECT_TRUE(rebuilds(tool, 1));
        EXPECT_TRUE(rebuilds(tool, 2));
        EXPECT_TRUE(rebuildsFree(tool));
        EXPECT_EQ(position(tool), at);
        EXPECT_EQ(readId(tool, ISCURR), fifth.id());
        EXPECT_TRUE(rebuilds(tool, 1));
        EXPECT_TRUE(rebuilds(tool, 2));
        EXPECT_EQ(readId(tool, ISNEXT), sixth.id());
    }
}

// Equal keys are counted anew, which must not take the position to one of the others.
TEST_F(RebuildOthers, PositionAmongEqualKeysStays) {
    const int fd = open();
    KeyDesc name = nameKey();
    EXPECT_OK(isdelrec(fd, 1));
    for (const long id : {10L, 19L, 37L}) {
        EXPECT_OK(isstart(fd, &name, 0, row(0, "n1"), ISEQUAL));
        while (readId(fd, ISNEXT) != id) {
        }
        EXPECT_TRUE(rebuilds(fd, 2));
        EXPECT_EQ(readId(fd, ISCURR), id);
        EXPECT_TRUE(rebuilds(fd, 2));
        EXPECT_EQ(readId(fd, ISNEXT), id == 10 ? 19 : id == 19 ? 37 : 2);
        EXPECT_TRUE(rebuilds(fd, 2));
        EXPECT_EQ(readId(fd, ISPREV), id);
    }
}

TEST_F(RebuildOthers, RecordLocksStay) {
    Partner other([this](Partner &test) {
        const int fd = open();
        EXPECT_OK(isread(fd, row(5), ISEQUAL | ISLOCK));
        test.tell();
        if (!test.await()) return;
        EXPECT_FAILS(ISERR_LOCKED, isread(fd, row(6), ISEQUAL | ISLOCK));
        test.tell();
        test.await();
    });
    EXPECT_TRUE(other.await());
    const int tool = open();
    EXPECT_OK(isread(tool, row(6), ISEQUAL | ISLOCK));
    mend(tool);
    EXPECT_FAILS(ISERR_LOCKED, isread(tool, row(5), ISEQUAL | ISLOCK));
    other.tell();
    EXPECT_TRUE(other.await());
}

TEST_F(RebuildOthers, NeitherLogNorTrailIsWritten) {
    startLog();
    const int fd = open();
    std::string trail = path("trail");
    EXPECT_OK(isaudit(fd, trail.data(), ISAUDSETNAME));
    EXPECT_OK(isaudit(fd, nullptr, ISAUDSTART));
    put(fd, row(100));
    const std::string logged = contents(log()), audited = contents(trail);
    EXPECT_NE(audited, "");
    mend(fd);
    EXPECT_EQ(contents(log()), logged);
    EXPECT_EQ(contents(trail), audited);
}

TEST_F(RebuildOthers, FilesThatAnotherProcessReadsMeanwhile) {
    Partner reader([this](Partner &test) {
        const int fd = open(ISINPUT);
        for (bool first = true; first || !test.told(); first = false) {
            EXPECT_EQ(idsOf(fd), inOrder());
            EXPECT_EQ(idsBy(fd, nameKey()).size(), inOrder().size());
            EXPECT_OK(isindex(fd, 1, 0));
            EXPECT_EQ(checksOf(fd, 2), (Found{0, {0, 0}, 0}));
            if (first) test.tell();
        }
        EXPECT_OK(isclose(fd));
    });
    EXPECT_TRUE(reader.await());
    const int tool = open();
    for (int i = 0; i < 100; ++i) {
        EXPECT_TRUE(rebuilds(tool, 1 + i % 2));
        EXPECT_TRUE(rebuildsFree(tool));
    }
}

TEST_F(RebuildOthers, RebuildsLeaveTheGlobalsAlone) {
    const int fd = open();
    iserrno = 77;
    iserrio = 78;
    isrecnum = 79;
    isreclen = 80;
    mend(fd);
    EXPECT_EQ(iserrno, 77);
    EXPECT_EQ(iserrio, 78);
    EXPECT_EQ(isrecnum, 79);
    EXPECT_EQ(isreclen, 80);
}

}  // namespace
}  // namespace api
