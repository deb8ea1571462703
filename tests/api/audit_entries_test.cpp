// What record operations write into the audit trail.
#include "audits.h"

#include <cstdio>

namespace api {
namespace {

class AuditEntries : public AuditTest {
  protected:
    // Ids 10, 20, 30 that are in no trail.
    int three(int mode = ISINOUT) {
        const int fd = build(mode);
        for (const long id : {10, 20, 30})
            put(fd, row(id));
        startAudit(fd);
        return fd;
    }
};

TEST_F(AuditEntries, EveryWayToAdd) {
    const int fd = three();
    EXPECT_OK(iswrite(fd, row(1)));
    EXPECT_OK(iswrlock(fd, row(2)));
    EXPECT_OK(iswrcurr(fd, row(3, "name", 7, "note")));
    expectTrail({entry("aa", 4, rec(1)), entry("aa", 5, rec(2)), entry("aa", 6, rec(row(3, "name", 7, "note")))});
}

TEST_F(AuditEntries, EveryWayToRemove) {
    const int fd = three();
    EXPECT_OK(isdelete(fd, row(20, "another image")));
    EXPECT_OK(isdelrec(fd, 3));
    EXPECT_EQ(readId(fd, ISFIRST), 10);
    EXPECT_OK(isdelcurr(fd));
    expectTrail({entry("dd", 2, rec(20)), entry("dd", 3, rec(30)), entry("dd", 1, rec(10))});
}

TEST_F(AuditEntries, EveryWayToReplaceWritesTwo) {
    const int fd = three();
    EXPECT_OK(isrewrite(fd, row(20, "a")));
    EXPECT_OK(isrewrec(fd, 3, row(35, "b")));
    EXPECT_EQ(readId(fd, ISFIRST), 10);
    EXPECT_OK(isrewcurr(fd, row(10, "c")));
    EXPECT_OK(isrewnxt(fd, row(10, "d")));
    EXPECT_EQ(readId(fd, ISLAST), 35);
    EXPECT_FAILS(ISERR_ENDOFFILE, isrewnxt(fd, row(35, "e")));
    expectTrail({entry("rr", 2, rec(20)), entry("ww", 2, rec(row(20, "a"))),            //
                 entry("rr", 3, rec(30)), entry("ww", 3, rec(row(35, "b"))),            //
                 entry("rr", 1, rec(10)), entry("ww", 1, rec(row(10, "c"))),            //
                 entry("rr", 1, rec(row(10, "c"))), entry("ww", 1, rec(row(10, "d"))),  //
                 entry("rr", 3, rec(row(35, "b"))), entry("ww", 3, rec(row(35, "e")))});
}

TEST_F(AuditEntries, NothingWhileItIsOff) {
    const int fd = build();
    setName(fd, trail());
    EXPECT_OK(iswrite(fd, row(1)));
    EXPECT_FALSE(exists(trail()));
    EXPECT_OK(isaudit(fd, nullptr, ISAUDSTART));
    EXPECT_OK(iswrite(fd, row(2)));
    EXPECT_OK(isaudit(fd, nullptr, ISAUDSTOP));
    EXPECT_OK(iswrite(fd, row(3)));
    EXPECT_OK(isrewrite(fd, row(2, "x")));
    EXPECT_OK(isdelete(fd, row(1)));
    EXPECT_EQ(nameOf(fd), trail());
    expectTrail({entry("aa", 2, rec(2))});
    EXPECT_OK(isaudit(fd, nullptr, ISAUDSTART));
    EXPECT_OK(isdelete(fd, row(3)));
    expectTrail({entry("aa", 2, rec(2)), entry("dd", 3, rec(3))});
}

TEST_F(AuditEntries, FailedChangesWriteNothing) {
    const int fd = three();
    EXPECT_FAILS(ISERR_DUPLICATE, iswrite(fd, row(10)));
    EXPECT_FAILS(ISERR_DUPLICATE, isrewrec(fd, 1, row(20)));
    EXPECT_FAILS(ISERR_NOTFOUND, isrewrite(fd, row(99)));
    EXPECT_FAILS(ISERR_NOTFOUND, isdelete(fd, row(99)));
    EXPECT_FAILS(ISERR_NOCURRENT, isdelrec(fd, 9));
    const int other = open();
    EXPECT_EQ(readId(other, ISFIRST | ISLOCK), 10);
    EXPECT_FAILS(ISERR_LOCKED, isrewrite(fd, row(10, "x")));
    EXPECT_FAILS(ISERR_LOCKED, isdelete(fd, row(10)));
    EXPECT_EQ(contents(trail()), "");
}

TEST_F(AuditEntries, ReadsIndexesAndCountersWriteNothing) {
    const int fd = three();
    long number = 0;
    Row got;
    EXPECT_OK(isread(fd, got, ISFIRST));
    add(fd, nameKey());
    EXPECT_OK(isuniqueid(fd, &number));
    EXPECT_OK(isprecious(fd, 1));
    EXPECT_EQ(contents(trail()), "");
}

TEST_F(AuditEntries, TrailIsClosedBetweenTheCallsAndMadeAnew) {
    const int before = openDescriptors();
    const int fd = three();
    EXPECT_OK(iswrite(fd, row(1)));
    EXPECT_EQ(openDescriptors(), before + 2);
    ASSERT_EQ(std::remove(trail().c_str()), 0);
    EXPECT_OK(iswrite(fd, row(2)));
    expectTrail({entry("aa", 5, rec(2))});
}

TEST_F(AuditEntries, ExistingTrailIsAppendedTo) {
    std::string old = "something older";
    {
        LogWriter writer;
        writer.raw(old).save(trail());
    }
    const int fd = three();
    EXPECT_OK(iswrite(fd, row(1)));
    EXPECT_EQ(contents(trail()).substr(0, old.size()), old);
    EXPECT_EQ(contents(trail()).size(), old.size() + 14 + kRowLen);
}

TEST_F(AuditEntries, FilesMayShareATrail) {
    const int one = buildNamed(path("a")), two = buildNamed(path("b"));
    startAudit(one);
    startAudit(two);
    EXPECT_OK(iswrite(one, row(1)));
    EXPECT_OK(iswrite(two, row(2)));
    EXPECT_OK(iswrite(one, row(3)));
    expectTrail({entry("aa", 1, rec(1)), entry("aa", 1, rec(2)), entry("aa", 2, rec(3))});
}

TEST_F(AuditEntries, KeysWithoutRecordsWriteNothing) {
    const int fd = build(ISINOUT, idKey(), 0);
    dontCheck();
    startAudit(fd);
    isrecnum = 5;
    EXPECT_OK(iswrite(fd, row(1)));
    EXPECT_OK(isdelete(fd, row(1)));
    EXPECT_FALSE(exists(trail()));
}

TEST_F(AuditEntries, MasksAreNoPartOfTheImage) {
    const int fd = build(ISINOUT | ISMASK);
    startAudit(fd);
    EXPECT_EQ(issetmask(fd, 1), 0);
    EXPECT_OK(iswrite(fd, row(1)));
    EXPECT_OK(isdelrec(fd, 1));
    expectTrail({entry("aa", 1, rec(1)), entry("dd", 1, rec(1))});
}

TEST_F(AuditEntries, UndoingWritesEntriesToo) {
    startLog();
    const int fd = three(ISINOUT | ISTRANS);
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(fd, row(40)));
    EXPECT_OK(isdelete(fd, row(20)));
    EXPECT_OK(isrewrite(fd, row(10, "x")));
    EXPECT_OK(isrollback());
    expectTrail({entry("aa", 4, rec(40)), entry("dd", 2, rec(20)), entry("rr", 1, rec(10)),
                 entry("ww", 1, rec(row(10, "x"))),  //
                 entry("rr", 1, rec(row(10, "x"))), entry("ww", 1, rec(10)), entry("aa", 2, rec(20)),
                 entry("dd", 4, rec(40))});
}

// Variable lengths: the image is the record as stored, with its length; without tail there is none.
class AuditVar : public AuditTest {};

TEST_F(AuditVar, ImagesAreTheRecordsAsStored) {
    const int fd = buildVar();
    startAudit(fd);
    const std::string shorter = letters(5, 3), longer = letters(2500, 4);
    EXPECT_OK(send(iswrite, fd, rec(row(1), shorter)));
    EXPECT_OK(send(isrewrite, fd, rec(row(1), longer)));
    EXPECT_OK(send(isrewrite, fd, rec(row(1), shorter)));
    EXPECT_OK(isdelete(fd, row(1)));
    expectTrail({entry("aa", 1, varImage(row(1), shorter)), entry("rr", 1, varImage(row(1), shorter)),
                 entry("ww", 1, varImage(row(1), longer)), entry("rr", 1, varImage(row(1), longer)),
                 entry("ww", 1, varImage(row(1), shorter)), entry("dd", 1, varImage(row(1), shorter))});
}

TEST_F(AuditVar, WithoutTailThereIsNoImage) {
    const int fd = buildVar();
    startAudit(fd);
    const std::string tail = letters(300);
    EXPECT_OK(send(iswrite, fd, rec(1)));
    EXPECT_OK(sendAs(3, isrewrite, fd, rec(row(1, "a"))));
    EXPECT_OK(send(isrewrite, fd, rec(row(1, "b"), tail)));
    EXPECT_OK(send(isrewrite, fd, rec(row(1, "c"))));
    EXPECT_OK(isdelete(fd, row(1)));
    expectTrail({entry("aa", 1),                                               //
                 entry("rr", 1), entry("ww", 1),                               //
                 entry("rr", 1), entry("ww", 1, varImage(row(1, "b"), tail)),  //
                 entry("rr", 1, varImage(row(1, "b"), tail)), entry("ww", 1),  //
                 entry("dd", 1)});
}

TEST_F(AuditVar, CompressedTailsStayCompressed) {
    const int fd = buildVar(ISINOUT | ISCOMPRESS);
    startAudit(fd);
    const std::string blanks("\xbf\xa5\0", 3), raw("\0\0\x03xyz", 6);
    EXPECT_OK(send(iswrite, fd, rec(row(1), std::string(100, ' '))));
    EXPECT_OK(send(isrewrite, fd, rec(row(1), "xyz")));
    EXPECT_OK(isdelete(fd, row(1)));
    expectTrail({entry("aa", 1, varImage(row(1), blanks)),                                         //
                 entry("rr", 1, varImage(row(1), blanks)), entry("ww", 1, varImage(row(1), raw)),  //
                 entry("dd", 1, varImage(row(1), raw))});
}

TEST_F(AuditVar, LongestRecordIsInOnePiece) {
    KeyDesc key = keyDesc(0, {{0, 4}});
    const int fd = isvbuild(base(), kRowLen, ISMAXVARLEN, &key, ISINOUT | ISVARLEN);
    startAudit(fd);
    const std::string tail = letters(ISMAXVARLEN - kRowLen);
    EXPECT_OK(send(iswrite, fd, rec(row(1), tail)));
    EXPECT_OK(isdelrec(fd, 1));
    expectTrail({entry("aa", 1, varImage(row(1), tail)), entry("dd", 1, varImage(row(1), tail))});
}

TEST_F(AuditVar, RefusedLengthsWriteNothing) {
    const int fd = buildVar();
    EXPECT_OK(send(iswrite, fd, rec(1, 100)));
    startAudit(fd);
    EXPECT_FAILS(ISERR_ROWSIZE, send(iswrite, fd, rec(2, kVarMax)));
    EXPECT_FAILS(ISERR_ROWSIZE, send(isrewrite, fd, rec(1, kVarMax)));
    EXPECT_EQ(contents(trail()), "");
}

}  // namespace
}  // namespace api
