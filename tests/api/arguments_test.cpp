// What every call checks before it does anything: descriptor, access mode, pointers.

#include "api_test.h"
#include "calls.h"

#include <climits>

namespace api {
namespace {

using Arguments = ApiTest;

void refuseAll(int fd) {
    for (const Call &call : allCalls()) {
        SCOPED_TRACE(call.name);
        iserrno = 0;
        iserrio = 7;
        isrecnum = 5;
        isreclen = 6;
        EXPECT_EQ(call.run(fd), -1);
        EXPECT_EQ(iserrno, ISERR_NOTOPEN);
        EXPECT_EQ(iserrio, 7);
        EXPECT_EQ(isrecnum, 5);
        EXPECT_EQ(isreclen, 6);
    }
}

TEST_F(Arguments, NeverOpenedDescriptorsAreRefusedEverywhere) {
    for (const int fd : {-1, INT_MIN, 0, 3, 1000, INT_MAX}) {
        SCOPED_TRACE(fd);
        refuseAll(fd);
    }
}

TEST_F(Arguments, ClosedDescriptorIsRefusedEverywhere) {
    const int fd = build();
    EXPECT_OK(isclose(fd));
    refuseAll(fd);
    refuseAll(fd + 1);
}

TEST_F(Arguments, CloseOfAClosedOrNeverOpenedDescriptorFails) {
    EXPECT_FAILS(ISERR_NOTOPEN, isclose(0));
    EXPECT_FAILS(ISERR_NOTOPEN, isclose(-1));
    const int fd = build();
    EXPECT_OK(isclose(fd));
    EXPECT_FAILS(ISERR_NOTOPEN, isclose(fd));
}

TEST_F(Arguments, PlainLooksAnswerABadDescriptor) {
    const int open = build();
    for (const int fd : {-1, open + 1, INT_MAX}) {
        SCOPED_TRACE(fd);
        int mode = 0;
        EXPECT_EQ(isgetmode(fd, &mode), -1);
        EXPECT_EQ(iserrno, ISERR_NOTOPEN);
        EXPECT_EQ(isqv_name(fd), nullptr);
        EXPECT_EQ(isqv_datlen(fd), -1);
        EXPECT_EQ(isqv_curidx(fd), -1);
        EXPECT_EQ(isqv_idxfd(fd), -1);
        EXPECT_EQ(isqv_datfd(fd), -1);
        EXPECT_EQ(isqv_kdsc(fd), nullptr);
        EXPECT_EQ(isseekey(fd), nullptr);
        EXPECT_EQ(is_recnum(fd), &isrecnum);
        EXPECT_EQ(is_reclen(fd), &isreclen);
        EXPECT_EQ(is_errno(fd), &iserrno);
        EXPECT_EQ(is_errio(fd), &iserrio);
        EXPECT_EQ(isgetmask(fd), 0);
        EXPECT_EQ(issetmask(fd, 1), -1);
        EXPECT_EQ(isfilter(fd, nullptr), -1);
    }
}

TEST_F(Arguments, InputFileRefusesEveryChangeAndKeepsItsPosition) {
    const int fd = fill({1, 2, 3}, ISINPUT);
    Row got;
    const std::string index = contents(path("file.idx")), data = contents(path("file.dat"));
    for (const Call &call : allCalls()) {
        if (call.access != Access::kWrite) continue;
        SCOPED_TRACE(call.name);
        EXPECT_OK(isgoto(fd, 2));
        EXPECT_FAILS(ISERR_ARGUMENT, call.run(fd));
        EXPECT_OK(isread(fd, got, ISCURR));
        EXPECT_EQ(got.id(), 2);
    }
    EXPECT_EQ(contents(path("file.idx")), index);
    EXPECT_EQ(contents(path("file.dat")), data);
    EXPECT_OK(isread(fd, got, ISNEXT));
    EXPECT_EQ(got.id(), 3);
}

TEST_F(Arguments, OutputFileRefusesEveryReadAndKeepsItsPosition) {
    const int fd = fill({1, 2, 3}, ISOUTPUT);
    EXPECT_OK(isgoto(fd, 2));
    for (const Call &call : allCalls()) {
        if (call.access != Access::kRead) continue;
        SCOPED_TRACE(call.name);
        EXPECT_FAILS(ISERR_ARGUMENT, call.run(fd));
        int index = 0;
        long recnum = 0;
        EXPECT_OK(ispush(fd, &index, &recnum));
        EXPECT_EQ(index, 1);
        EXPECT_EQ(recnum, 2);
    }
}

TEST_F(Arguments, RewriteAndMoveNeedsBothAccesses) {
    int fd = fill({1, 2, 3}, ISOUTPUT);
    EXPECT_FAILS(ISERR_ARGUMENT, isrewnxt(fd, row(1)));
    EXPECT_OK(isclose(fd));
    fd = open(ISINPUT);
    Row got;
    EXPECT_OK(isread(fd, got, ISFIRST));
    EXPECT_FAILS(ISERR_ARGUMENT, isrewnxt(fd, row(1)));
    EXPECT_OK(isread(fd, got, ISNEXT));
    EXPECT_EQ(got.id(), 2);
}

TEST_F(Arguments, EitherAccessAllowsTheCallsForBoth) {
    EXPECT_OK(isclose(fill({1, 2, 3})));
    for (const int mode : {ISINPUT, ISOUTPUT, ISINOUT}) {
        const int fd = open(mode);
        for (const Call &call : allCalls()) {
            if (call.access != Access::kAny) continue;
            SCOPED_TRACE(call.name);
            EXPECT_OK(call.run(fd));
        }
        EXPECT_OK(isclose(fd));
    }
}

TEST_F(Arguments, OutputFileTakesChanges) {
    const int fd = fill({1, 2, 3}, ISOUTPUT);
    EXPECT_OK(iswrite(fd, row(4)));
    EXPECT_OK(isrewrite(fd, row(4, "new")));
    EXPECT_OK(isdelete(fd, row(1)));
    EXPECT_OK(isclose(fd));
    EXPECT_EQ(idsOf(open(ISINPUT)), (Ids{2, 3, 4}));
}

TEST_F(Arguments, NullPointersAreRefusedAndChangeNothing) {
    const int fd = fill({1, 2, 3});
    Row got;
    EXPECT_OK(isread(fd, got, ISFIRST));
    EXPECT_OK(isread(fd, got, ISNEXT));
    const std::string index = contents(path("file.idx")), data = contents(path("file.dat"));
    for (const NullCall &call : nullCalls()) {
        SCOPED_TRACE(call.name);
        EXPECT_FAILS(call.code, call.run(fd));
    }
    EXPECT_EQ(contents(path("file.idx")), index);
    EXPECT_EQ(contents(path("file.dat")), data);
}

TEST_F(Arguments, NullNameOrKeyAtBuildAndOpen) {
    KeyDesc key = idKey();
    EXPECT_FAILS(ISERR_ARGUMENT, isbuild(nullptr, kRowLen, &key, ISINOUT));
    EXPECT_FAILS(ISERR_ARGUMENT, isvbuild(nullptr, kRowLen, 0, &key, ISINOUT));
    EXPECT_FAILS(ISERR_ARGUMENT, isopen(nullptr, ISINOUT));
    EXPECT_FAILS(ISERR_KEYDESC, isbuild(base(), kRowLen, nullptr, ISINOUT));
    EXPECT_FALSE(exists(path("file.idx")));
}

TEST_F(Arguments, EveryCallClearsTheErrorOfTheOneBefore) {
    const int fd = fill({1, 2, 3});
    for (const Call &call : allCalls()) {
        SCOPED_TRACE(call.name);
        Row got;
        EXPECT_FAILS(ISERR_NOTFOUND, isread(fd, row(77), ISEQUAL));
        EXPECT_OK(isread(fd, got, ISFIRST));
        iserrno = 55;
        iserrio = 44;
        if (call.run(fd) == 0) {
            EXPECT_EQ(iserrno, 0);
        } else {
            EXPECT_GE(iserrno, ISERR_FIRST);
        }
        EXPECT_EQ(iserrio, 0);
        EXPECT_EQ(*is_errno(fd), iserrno);
        EXPECT_EQ(*is_errio(fd), iserrio);
        EXPECT_EQ(*is_recnum(fd), isrecnum);
        EXPECT_EQ(*is_reclen(fd), isreclen);
    }
    dontCheck();  // issetlastrec and isdelindex have been all over it
}

}  // namespace
}  // namespace api
