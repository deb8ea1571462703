// Adding records, and what becomes of their numbers.

#include "api_test.h"

namespace api {
namespace {

class Write : public ApiTest {
  protected:
    std::string index() const { return contents(path("file.idx")); }
    std::string data() const { return contents(path("file.dat")); }
};

TEST_F(Write, CallersRecordIsNotChanged) {
    const int fd = build();
    Row record = row(1, "name", 2, "note");
    const std::string before(record.bytes, kRowLen);
    EXPECT_OK(iswrite(fd, record));
    EXPECT_OK(isrewrite(fd, record));
    EXPECT_EQ(std::string(record.bytes, kRowLen), before);
}

TEST_F(Write, FailedDuplicateThatWouldSplitLeavesNoTraceEither) {
    const int fd = build();
    KeyDesc name = nameKey(ISNODUPS);
    EXPECT_OK(isaddindex(fd, &name));
    for (long id = 1; id <= 600; ++id)
        ASSERT_OK(iswrite(fd, row(id * 2, std::to_string(id))));
    for (long id = 1; id <= 600; ++id) {
        const std::string idx = index();
        ASSERT_FAILS(ISERR_DUPLICATE, iswrite(fd, row(id * 2 + 1, std::to_string(id))));
        ASSERT_EQ(index(), idx);
    }
}

TEST_F(Write, WriteCurrAmongDuplicatesFindsItsOwn) {
    const int fd = build(ISINOUT, groupKey());
    for (long id = 1; id <= 50; ++id)
        EXPECT_OK(iswrite(fd, row(id, "", 3)));
    Row got;
    EXPECT_OK(iswrcurr(fd, row(99, "", 3)));
    EXPECT_OK(isread(fd, got, ISCURR));
    EXPECT_EQ(got.id(), 99);
    EXPECT_OK(isread(fd, got, ISPREV));
    EXPECT_EQ(got.id(), 50);
}

TEST_F(Write, WriteCurrOfARecordTheIndexLeavesOutFailsAfterWriting) {
    const int fd = build();
    KeyDesc key = keyDesc(ISDUPS | ISNULLKEY, {{kNameAt, kNameLen, CHARTYPE, ' '}});
    EXPECT_OK(isaddindex(fd, &key));
    EXPECT_OK(isindex(fd, 2, 0));
    EXPECT_OK(iswrcurr(fd, row(1, "named")));
    EXPECT_FAILS(ISERR_NOTFOUND, iswrcurr(fd, row(2, "")));
    EXPECT_EQ(idsBy(fd, idKey()), (Ids{1, 2}));
}

TEST_F(Write, AllIndexesFollow) {
    const int fd = build();
    KeyDesc name = nameKey(), group = groupKey(ISDUPS | ISDUPCOMP);
    EXPECT_OK(isaddindex(fd, &name));
    EXPECT_OK(isaddindex(fd, &group));
    EXPECT_OK(iswrite(fd, row(1, "c", 2)));
    EXPECT_OK(iswrite(fd, row(2, "b", 3)));
    EXPECT_OK(iswrite(fd, row(3, "a", 1)));
    EXPECT_EQ(idsBy(fd, idKey()), (Ids{1, 2, 3}));
    EXPECT_EQ(idsBy(fd, name), (Ids{3, 2, 1}));
    EXPECT_EQ(idsBy(fd, group), (Ids{3, 1, 2}));
}

TEST_F(Write, FileWithoutIndexesTakesEverything) {
    const int fd = build(ISINOUT, noKey());
    EXPECT_OK(iswrite(fd, row(1)));
    EXPECT_OK(iswrite(fd, row(1)));
    EXPECT_OK(iswrcurr(fd, row(5)));
    Row got;
    EXPECT_OK(isread(fd, got, ISCURR));
    EXPECT_EQ(got.id(), 5);
    EXPECT_EQ(idsOf(fd), (Ids{1, 1, 5}));
}

TEST_F(Write, RecordBeyondFourGigabytesIsWrittenAndRead) {
    // The slot lies far beyond 4 GB; the file is sparse.
    const long far = 150000000;
    const int fd = build();
    dontCheck();
    EXPECT_OK(issetlastrec(fd, far - 1));
    if (iswrite(fd, row(1, "far")) != 0) return;  // no files of this size here
    EXPECT_EQ(isrecnum, far);
    Row got;
    EXPECT_OK(isread(fd, got, ISFIRST));
    EXPECT_EQ(got.name(), "far");
    EXPECT_OK(isdelete(fd, row(1)));
}

TEST_F(Write, UniqueIdsAreSharedByHandles) {
    const int one = build();
    const int two = open();
    long id = 0;
    EXPECT_OK(isuniqueid(one, &id));
    EXPECT_OK(isuniqueid(two, &id));
    EXPECT_EQ(id, 2);
    EXPECT_OK(issetunique(two, 100));
    EXPECT_OK(isuniqueid(one, &id));
    EXPECT_EQ(id, 100);
}

TEST_F(Write, ReservedNumberIsReadAsNoRecordOnceWrittenOver) {
    const int fd = fill({1});
    long last = 0;
    EXPECT_OK(islastrec(fd, &last));
    EXPECT_EQ(last, 2);
    EXPECT_OK(iswrite(fd, row(3)));
    EXPECT_EQ(isrecnum, 3);
    // Slot 2 was never written: it reads as a hole, that is as deleted.
    Row got;
    EXPECT_FAILS(ISERR_NOTFOUND, isdata(fd, got, 2));
    EXPECT_OK(isindex(fd, 0, 0));
    EXPECT_EQ(idsOf(fd), (Ids{1, 3}));
    EXPECT_FAILS(ISERR_NOCURRENT, isdelrec(fd, 2));
    dontCheck();  // the number is neither used nor on the free list
}

TEST_F(Write, ReadingPastTheEndOfTheDataFileFailsWhole) {
    const int fd = fill({1});
    EXPECT_OK(issetlastrec(fd, 5));
    Row got = row(9);
    EXPECT_EQ(isdata(fd, got, 4), -1);
    EXPECT_EQ(iserrio, 0x42);
    EXPECT_NE(iserrno, 0);
    EXPECT_EQ(got.id(), 9);
    // The next success leaves nothing of it.
    EXPECT_OK(isread(fd, got, ISFIRST));
    EXPECT_EQ(iserrio, 0);
    EXPECT_OK(issetlastrec(fd, 1));
}

TEST_F(Write, DeletingEverythingLeavesAnEmptyUsableFile) {
    const int fd = build();
    KeyDesc name = nameKey();
    EXPECT_OK(isaddindex(fd, &name));
    for (long id = 1; id <= 400; ++id)
        ASSERT_OK(iswrite(fd, row(id, std::to_string(id % 50))));
    for (long number = 1; number <= 400; ++number)
        ASSERT_OK(isdelrec(fd, number));
    EXPECT_EQ(idsBy(fd, idKey()), (Ids{}));
    EXPECT_EQ(idsBy(fd, name), (Ids{}));
    EXPECT_OK(iswrite(fd, row(7, "x")));
    EXPECT_EQ(isrecnum, 400);
    EXPECT_EQ(idsBy(fd, name), (Ids{7}));
}

TEST_F(Write, WholeFileLockIsNoRecordLockToTheCheck) {
    const int fd = fill({1, 2});
    EXPECT_OK(islock(fd));
    EXPECT_OK(islockcheck(fd, 1));
    EXPECT_FAILS(ISERR_NOCURRENT, isdelrec(fd, 2));
    EXPECT_OK(islockcheck(fd, 0));
    EXPECT_OK(isdelrec(fd, 2));
}

}  // namespace
}  // namespace api
