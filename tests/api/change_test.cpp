// Adding, replacing and removing records: results, errors, and what a refused change leaves.
#include "steps.h"

namespace api {
namespace {

// A file of three unique indexes: id, name, group.
class ChangeRecord : public ApiTest {
  protected:
    int threeUnique() {
        const int fd = build();
        add(fd, nameKey(ISNODUPS));
        add(fd, groupKey(ISNODUPS));
        put(fd, row(1, "one", 100));
        put(fd, row(2, "two", 200));
        put(fd, row(3, "three", 300));
        return fd;
    }
    // The call fails with a code and no byte of either file changes.
    void expectRefused(int code, const std::function<int()> &call) {
        const Image before = imageOf(base());
        iserrno = iserrio = 77;
        EXPECT_EQ(call(), -1);
        EXPECT_EQ(iserrno, code);
        EXPECT_EQ(iserrio, 0);
        const Image after = imageOf(base());
        EXPECT_TRUE(before.index == after.index);
        EXPECT_TRUE(before.data == after.data);
    }
};

TEST_F(ChangeRecord, WriteSetsAllResults) {
    const int fd = build();
    iserrno = iserrio = 77;
    isreclen = 5;
    isrecnum = 50;
    EXPECT_EQ(iswrite(fd, row(1)), 0);
    EXPECT_RESULTS(1, 5);
    EXPECT_EQ(iswrite(fd, row(2)), 0);
    EXPECT_EQ(isrecnum, 2);
}

TEST_F(ChangeRecord, WriteLeavesThePosition) {
    const int fd = fill({10, 20, 30});
    EXPECT_EQ(readId(fd, ISEQUAL, row(20)), 20);
    put(fd, row(5));
    EXPECT_EQ(position(fd), 2);
    EXPECT_EQ(readId(fd, ISNEXT), 30);
}

TEST_F(ChangeRecord, DuplicateInTheFirstIndexIsRefused) {
    const int fd = threeUnique();
    expectRefused(ISERR_DUPLICATE, [fd] { return iswrite(fd, row(2, "new", 999)); });
    expectRefused(ISERR_DUPLICATE, [fd] { return iswrlock(fd, row(2, "new", 999)); });
    expectRefused(ISERR_DUPLICATE, [fd] { return iswrcurr(fd, row(2, "new", 999)); });
}

TEST_F(ChangeRecord, DuplicateInTheThirdUniqueIndexLeavesNoTrace) {
    const int fd = threeUnique();
    expectRefused(ISERR_DUPLICATE, [fd] { return iswrite(fd, row(9, "nine", 200)); });
    EXPECT_EQ(readId(fd, ISEQUAL, row(9)), -ISERR_NOTFOUND);
    EXPECT_EQ(idsBy(fd, nameKey()), (Ids{1, 3, 2}));
    EXPECT_EQ(put(fd, row(9, "nine", 900)), 4);
}

TEST_F(ChangeRecord, RefusedDuplicateGivesAFreeNumberBack) {
    const int fd = threeUnique();
    EXPECT_OK(isdelrec(fd, 1));
    expectRefused(ISERR_DUPLICATE, [fd] { return iswrite(fd, row(9, "nine", 200)); });
    EXPECT_EQ(put(fd, row(9, "nine", 900)), 1);
}

TEST_F(ChangeRecord, RefusedDuplicateThatWouldSplitNodesLeavesNoTrace) {
    const int fd = build();
    add(fd, groupKey(ISNODUPS));
    // 1024-byte nodes hold 127 entries of 8 bytes: the next one splits the leaf.
    for (int id = 1; id <= 127; ++id)
        put(fd, row(id, "", id));
    expectRefused(ISERR_DUPLICATE, [fd] { return iswrite(fd, row(128, "", 5)); });
    EXPECT_EQ(put(fd, row(128, "", 128)), 128);
    EXPECT_EQ(soundEntries(base()), (std::vector<std::size_t>{128, 128}));
}

TEST_F(ChangeRecord, WriteAndCurrentPositionsOnTheNewRecord) {
    const int fd = fill({10, 30});
    EXPECT_OK(iswrcurr(fd, row(20)));
    EXPECT_EQ(isrecnum, 3);
    EXPECT_EQ(position(fd), 3);
    EXPECT_EQ(readId(fd, ISCURR), 20);
    EXPECT_EQ(readId(fd, ISNEXT), 30);
}

TEST_F(ChangeRecord, WriteAndLockKeepsTheRecordLocked) {
    const int fd = fill({10});
    const int other = open();
    EXPECT_OK(iswrlock(fd, row(20)));
    EXPECT_EQ(isrecnum, 2);
    expectRefused(ISERR_LOCKED, [other] { return isrewrite(other, row(20, "no")); });
    EXPECT_OK(isrelrec(fd, 2));
    EXPECT_OK(isrewrite(other, row(20, "yes")));
}

TEST_F(ChangeRecord, RewriteReplacesTheRecordOfItsKey) {
    const int fd = threeUnique();
    EXPECT_EQ(readId(fd, ISEQUAL, row(3)), 3);
    iserrio = 77;
    EXPECT_EQ(isrewrite(fd, row(2, "zwei", 201, "note")), 0);
    EXPECT_RESULTS(2, kRowLen);
    EXPECT_EQ(position(fd), 3);
    Row got;
    EXPECT_OK(isdata(fd, got, 2));
    EXPECT_EQ(got.name(), "zwei");
    EXPECT_EQ(got.group(), 201);
    EXPECT_EQ(got.note(), "note");
    EXPECT_EQ(idsBy(fd, nameKey()), (Ids{1, 3, 2}));
}

TEST_F(ChangeRecord, RewriteOfAnUnknownKeyIsRefused) {
    const int fd = threeUnique();
    expectRefused(ISERR_NOTFOUND, [fd] { return isrewrite(fd, row(9)); });
    expectRefused(ISERR_NOTFOUND, [fd] { return isdelete(fd, row(9)); });
}

TEST_F(ChangeRecord, RewriteAndDeleteNeedAUniqueFirstIndex) {
    const int fd = build(ISINOUT, nameKey());
    put(fd, row(1, "one"));
    expectRefused(ISERR_NOPRIMARYKEY, [fd] { return isrewrite(fd, row(1, "one", 5)); });
    expectRefused(ISERR_NOPRIMARYKEY, [fd] { return isdelete(fd, row(1, "one")); });
}

TEST_F(ChangeRecord, RewriteThatDuplicatesInALaterIndexLeavesEveryByte) {
    const int fd = threeUnique();
    // The second index would take the new name; the third refuses the group.
    expectRefused(ISERR_DUPLICATE, [fd] { return isrewrite(fd, row(2, "new", 300)); });
    expectRefused(ISERR_DUPLICATE, [fd] { return isrewrec(fd, 2, row(7, "new", 300)); });
    EXPECT_EQ(readId(fd, ISEQUAL, row(2)), 2);
    expectRefused(ISERR_DUPLICATE, [fd] { return isrewcurr(fd, row(7, "new", 300)); });
    expectRefused(ISERR_DUPLICATE, [fd] { return isrewnxt(fd, row(7, "new", 300)); });
    EXPECT_EQ(idsBy(fd, nameKey()), (Ids{1, 3, 2}));
}

TEST_F(ChangeRecord, RewriteMayKeepItsOwnUniqueKeys) {
    const int fd = threeUnique();
    EXPECT_OK(isrewrite(fd, row(2, "two", 200, "changed")));
    EXPECT_OK(isrewrec(fd, 2, row(4, "two", 200)));
    EXPECT_EQ(idsOf(fd), (Ids{1, 3, 4}));
}

TEST_F(ChangeRecord, RewriteThatChangesNoKeyWritesNoTreeNode) {
    const int fd = threeUnique();
    const Image before = imageOf(base());
    EXPECT_OK(isrewrite(fd, row(2, "two", 200, "changed")));
    const Image after = imageOf(base());
    EXPECT_FALSE(before.data == after.data);
    EXPECT_EQ(changeCounter(after), changeCounter(before) + 1);
    EXPECT_EQ(before.index.substr(1024), after.index.substr(1024));
    // Apart from the counter the header is the same as well.
    std::string header = nodeOf(before, 1);
    header.replace(41, 4, nodeOf(after, 1), 41, 4);
    EXPECT_EQ(header, nodeOf(after, 1));
}

TEST_F(ChangeRecord, RewriteThatMovesARecordInOneIndexLeavesTheOthers) {
    const int fd = threeUnique();
    const Image before = imageOf(base());
    EXPECT_OK(isrewrite(fd, row(2, "aaa", 200)));
    const Image after = imageOf(base());
    EXPECT_EQ(nodeOf(before, 3), nodeOf(after, 3));
    EXPECT_NE(nodeOf(before, 4), nodeOf(after, 4));
    EXPECT_EQ(nodeOf(before, 5), nodeOf(after, 5));
}

TEST_F(ChangeRecord, RewriteByNumberMayChangeTheFirstKey) {
    const int fd = threeUnique();
    iserrio = 77;
    EXPECT_EQ(isrewrec(fd, 2, row(8, "acht", 800)), 0);
    EXPECT_RESULTS(2, kRowLen);
    EXPECT_EQ(idsOf(fd), (Ids{1, 3, 8}));
}

TEST_F(ChangeRecord, NumbersOfNoRecordAreRefused) {
    const int fd = threeUnique();
    EXPECT_OK(isdelrec(fd, 2));
    std::vector<long> numbers = {2, 0, -1, 4, 0x7fffffffL};
    if (sizeof(long) == 8) {
        numbers.push_back(static_cast<long>((1LL << 32) + 1));
        numbers.push_back(static_cast<long>(-(1LL << 32) + 1));
    }
    for (const long number : numbers) {
        SCOPED_TRACE(number);
        expectRefused(ISERR_NOCURRENT, [=] { return isrewrec(fd, number, row(9, "x", 900)); });
        expectRefused(ISERR_NOCURRENT, [=] { return isdelrec(fd, number); });
    }
}

TEST_F(ChangeRecord, RewriteCurrentReplacesTheRecordAtThePosition) {
    const int fd = fill({10, 20, 30});
    EXPECT_EQ(readId(fd, ISEQUAL, row(20)), 20);
    isrecnum = 1;
    EXPECT_OK(isrewcurr(fd, row(20, "new")));
    EXPECT_EQ(isrecnum, 2);
    Row got;
    EXPECT_OK(isdata(fd, got, 2));
    EXPECT_EQ(got.name(), "new");
    EXPECT_EQ(readId(fd, ISNEXT), 30);
}

TEST_F(ChangeRecord, RewriteCurrentThatMovesTheKeyGoesOnFromTheOldPlace) {
    const int fd = fill({10, 20, 30, 40});
    EXPECT_EQ(readId(fd, ISEQUAL, row(20)), 20);
    EXPECT_OK(isrewcurr(fd, row(35)));
    EXPECT_EQ(readId(fd, ISNEXT), 30);
    EXPECT_EQ(readId(fd, ISNEXT), 35);
}

TEST_F(ChangeRecord, RewriteCurrentNeedsACurrentRecord) {
    const int fresh = build();
    putIds(fresh, {10, 20});
    expectRefused(ISERR_NOCURRENT, [=] { return isrewcurr(fresh, row(10)); });
    EXPECT_EQ(readId(fresh, ISFIRST), 10);
    EXPECT_OK(isdelcurr(fresh));
    expectRefused(ISERR_NOCURRENT, [=] { return isrewcurr(fresh, row(10)); });
}

TEST_F(ChangeRecord, RewriteAndNextReplacesAndMoves) {
    const int fd = fill({10, 20, 30});
    EXPECT_EQ(readId(fd, ISFIRST), 10);
    iserrio = 77;
    EXPECT_EQ(isrewnxt(fd, row(10, "a")), 0);
    EXPECT_EQ(iserrno, 0);
    EXPECT_EQ(iserrio, 0);
    EXPECT_EQ(position(fd), 2);
    EXPECT_OK(isrewnxt(fd, row(20, "b")));
    EXPECT_EQ(position(fd), 3);
    Row got;
    EXPECT_OK(isdata(fd, got, 1));
    EXPECT_EQ(got.name(), "a");
    EXPECT_OK(isdata(fd, got, 2));
    EXPECT_EQ(got.name(), "b");
}

TEST_F(ChangeRecord, RewriteAndNextAtTheEndReplacesAndFails) {
    const int fd = fill({10, 20});
    EXPECT_EQ(readId(fd, ISLAST), 20);
    EXPECT_FAILS(ISERR_ENDOFFILE, isrewnxt(fd, row(20, "last")));
    EXPECT_EQ(iserrio, 0);
    EXPECT_EQ(position(fd), 2);
    Row got;
    EXPECT_OK(isdata(fd, got, 2));
    EXPECT_EQ(got.name(), "last");
}

TEST_F(ChangeRecord, RewriteAndNextInRecordNumberOrder) {
    build(ISINOUT, noKey());
    putIds(0, {30, 20, 10});
    EXPECT_OK(isdelrec(0, 2));
    EXPECT_EQ(readId(0, ISFIRST), 30);
    EXPECT_OK(isrewnxt(0, row(31)));
    EXPECT_EQ(position(0), 3);
    EXPECT_FAILS(ISERR_ENDOFFILE, isrewnxt(0, row(11)));
    EXPECT_EQ(idsOf(0), (Ids{31, 11}));
}

TEST_F(ChangeRecord, DeleteByKeyRemovesTheRecordEverywhere) {
    const int fd = threeUnique();
    EXPECT_EQ(readId(fd, ISEQUAL, row(1)), 1);
    EXPECT_OK(isdelete(fd, row(2)));
    EXPECT_EQ(position(fd), 1);
    EXPECT_EQ(idsOf(fd), (Ids{1, 3}));
    EXPECT_EQ(idsBy(fd, nameKey()), (Ids{1, 3}));
    EXPECT_EQ(idsBy(fd, groupKey()), (Ids{1, 3}));
    EXPECT_EQ(recordCount(fd), 2);
}

TEST_F(ChangeRecord, DeletedSlotKeepsItsRecord) {
    const int fd = threeUnique();
    const Image before = imageOf(base());
    EXPECT_OK(isdelete(fd, row(2)));
    Image after = imageOf(base());
    const std::size_t status = 2 * (kRowLen + 1) - 1;
    EXPECT_EQ(before.data.at(status), '\n');
    EXPECT_EQ(after.data.at(status), '\0');
    after.data[status] = '\n';
    EXPECT_TRUE(before.data == after.data);
}

TEST_F(ChangeRecord, DeletedNumbersAreUsedAgainLastFirst) {
    const int fd = fill({10, 20, 30});
    EXPECT_OK(isdelrec(fd, 1));
    EXPECT_OK(isdelrec(fd, 3));
    EXPECT_EQ(put(fd, row(1)), 3);
    EXPECT_EQ(put(fd, row(2)), 1);
    EXPECT_EQ(put(fd, row(3)), 4);
}

TEST_F(ChangeRecord, DeleteOfTheCurrentRecordTwiceFails) {
    const int fd = fill({10, 20, 30});
    EXPECT_EQ(readId(fd, ISEQUAL, row(20)), 20);
    EXPECT_OK(isdelcurr(fd));
    expectRefused(ISERR_NOCURRENT, [fd] { return isdelcurr(fd); });
    EXPECT_EQ(readId(fd, ISNEXT), 30);
    EXPECT_OK(isdelcurr(fd));
    EXPECT_EQ(idsOf(fd), (Ids{10}));
}

TEST_F(ChangeRecord, DeleteCurrentNeedsACurrentRecord) {
    const int fd = build();
    putIds(fd, {10});
    expectRefused(ISERR_NOCURRENT, [fd] { return isdelcurr(fd); });
}

TEST_F(ChangeRecord, DeleteByNumberLeavesThePosition) {
    const int fd = fill({10, 20, 30});
    EXPECT_EQ(readId(fd, ISFIRST), 10);
    EXPECT_OK(isdelrec(fd, 2));
    EXPECT_EQ(position(fd), 1);
    EXPECT_EQ(readId(fd, ISNEXT), 30);
}

TEST_F(ChangeRecord, DeleteReleasesTheLock) {
    const int fd = fill({10, 20});
    const int other = open();
    EXPECT_EQ(readId(fd, ISFIRST | ISLOCK), 10);
    EXPECT_OK(isdelcurr(fd));
    EXPECT_EQ(put(other, row(5)), 1);
    EXPECT_OK(isrewrite(other, row(5, "mine")));
}

TEST_F(ChangeRecord, FileThatLostEverythingTakesRecordsAgain) {
    const int fd = build();
    add(fd, nameKey());
    for (int round = 0; round < 2; ++round) {
        for (int id = 1; id <= 300; ++id)
            EXPECT_OK(iswrite(fd, row(id, std::to_string(id))));
        EXPECT_EQ(soundEntries(base()), (std::vector<std::size_t>{300, 300}));
        for (int id = 300; id >= 1; --id)
            EXPECT_OK(isdelete(fd, row(id)));
        EXPECT_EQ(soundEntries(base()), (std::vector<std::size_t>{0, 0}));
        EXPECT_EQ(readId(fd, ISFIRST), -ISERR_ENDOFFILE);
        EXPECT_EQ(recordCount(fd), 0);
    }
    long number = 0;
    EXPECT_OK(isgetlastrec(fd, &number));
    EXPECT_EQ(number, 300);
}

TEST_F(ChangeRecord, CallersRecordIsNeverTouched) {
    const int fd = threeUnique();
    const Row original = row(2, "two", 200, "note");
    Row record = original;
    EXPECT_OK(isrewrite(fd, record));
    EXPECT_OK(isrewrec(fd, 2, record));
    EXPECT_OK(isdelete(fd, record));
    EXPECT_OK(iswrite(fd, record));
    EXPECT_EQ(std::memcmp(original.bytes, record.bytes, kRowLen), 0);
}

TEST_F(ChangeRecord, RewriteAmongDuplicatesPutsTheMovedOneBehind) {
    const int fd = build();
    add(fd, nameKey());
    for (const long id : {1, 2, 3})
        put(fd, row(id, "same"));
    EXPECT_OK(isrewrite(fd, row(1, "same", 5)));
    EXPECT_EQ(idsBy(fd, nameKey()), (Ids{1, 2, 3}));
    EXPECT_OK(isrewrite(fd, row(1, "other")));
    EXPECT_OK(isrewrite(fd, row(1, "same")));
    EXPECT_EQ(idsBy(fd, nameKey()), (Ids{2, 3, 1}));
}

TEST_F(ChangeRecord, MaskOfTheHandleIsIgnoredInPlainFiles) {
    const int fd = threeUnique();
    EXPECT_EQ(issetmask(fd, -1), 0);
    put(fd, row(4, "four", 400));
    EXPECT_EQ(idsOf(fd), (Ids{1, 2, 3, 4}));
    EXPECT_OK(isrewrite(fd, row(4, "vier", 401)));
    EXPECT_OK(isdelete(fd, row(1)));
    EXPECT_EQ(soundEntries(base()), (std::vector<std::size_t>{3, 3, 3}));
}

}  // namespace
}  // namespace api
