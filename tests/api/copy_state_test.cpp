// What a copy leaves of handles and globals: positions, current indexes, masks, locks; and through which handles it
// works.
#include "cluster_kinds.h"

#include <cerrno>
#include <filesystem>
#include <fstream>

namespace api {
namespace {

class CopyState : public WholeTest {
  protected:
    // Ids 10, 20, 30 with names in the other order.
    int source(int mode = ISINOUT) {
        const int fd = build(mode);
        add(fd, nameKey());
        put(fd, row(10, "c"));
        put(fd, row(20, "b"));
        put(fd, row(30, "a"));
        return fd;
    }
    int target(int mode = ISINOUT) {
        const int fd = buildNamed(path("copy"), mode);
        add(fd, nameKey());
        return fd;
    }
    KeyDesc id = idKey(), name = nameKey();
};

TEST_F(CopyState, GlobalsAreTheCallersOfASuccess) {
    const int fd = source(), to = target();
    iserrno = iserrio = 77;
    isrecnum = 55;
    isreclen = 56;
    EXPECT_EQ(iscopy(to, fd, &id), 0);
    EXPECT_RESULTS(55, 56);
    EXPECT_EQ(*is_recnum(to), 55);
    EXPECT_EQ(*is_reclen(to), 56);
}

TEST_F(CopyState, GlobalsOfVariableLengths) {
    const int fd = fillVar({2000, 0, 700});
    const int to = buildVarNamed(path("copy"), ISINOUT);
    take(fd, ISFIRST);
    isrecnum = 55;
    isreclen = 56;
    EXPECT_EQ(iscopy(to, fd, &id), 0);
    EXPECT_RESULTS(55, 56);
    EXPECT_EQ(*is_recnum(fd), 1);
    EXPECT_EQ(*is_reclen(fd), kRowLen + 2000);
}

TEST_F(CopyState, SourcesOwnResultsAreNotTheOnesReported) {
    const int fd = source(), to = target();
    Row got;
    EXPECT_OK(isread(fd, got, ISLAST));
    EXPECT_FAILS(ISERR_ENDOFFILE, isread(fd, got, ISNEXT));
    EXPECT_OK(iscopy(to, fd, &id));
    EXPECT_FAILS(ISERR_DUPLICATE, iscopy(to, fd, &id));
    EXPECT_EQ(*is_errno(to), ISERR_DUPLICATE);
}

TEST_F(CopyState, PositionsAndCurrentIndexesStay) {
    const int fd = source(), to = target();
    putIds(to, {1, 2, 3});
    EXPECT_OK(isindex(fd, 2, 0));
    EXPECT_EQ(readId(fd, ISFIRST), 30);
    EXPECT_OK(isindex(to, 1, 0));
    EXPECT_EQ(readId(to, ISFIRST), 1);
    EXPECT_OK(iscopy(to, fd, &id));
    EXPECT_EQ(currentIndex(fd), 2);
    EXPECT_EQ(position(fd), 3);
    EXPECT_EQ(readId(fd, ISNEXT), 20);
    EXPECT_EQ(currentIndex(to), 1);
    EXPECT_EQ(position(to), 1);
    EXPECT_EQ(readId(to, ISNEXT), 2);
}

TEST_F(CopyState, PositionInTheIndexCopiedByStays) {
    const int fd = source(), to = target();
    EXPECT_EQ(readId(fd, ISFIRST), 10);
    EXPECT_OK(isindex(fd, 2, 0));
    EXPECT_EQ(readId(fd, ISFIRST), 30);
    EXPECT_EQ(readId(fd, ISNEXT), 20);
    EXPECT_OK(iscopy(to, fd, &name));
    EXPECT_EQ(readId(fd, ISCURR), 20);
    EXPECT_EQ(readId(fd, ISPREV), 30);
    EXPECT_OK(isindex(fd, 1, 0));
    EXPECT_EQ(readId(fd, ISNEXT), 20) << "and that of the other one";
}

TEST_F(CopyState, PositionInRecordNumberOrderStays) {
    const int fd = source(), to = target();
    KeyDesc none = noKey();
    EXPECT_OK(isindex(fd, 0, 0));
    EXPECT_EQ(readId(fd, ISFIRST), 10);
    EXPECT_EQ(readId(fd, ISNEXT), 20);
    EXPECT_OK(iscopy(to, fd, &none));
    EXPECT_EQ(readId(fd, ISNEXT), 30);
}

// After isopen the first ISNEXT gives the first record, and after the end was met ISPREV gives the last one.
TEST_F(CopyState, PositionsAtTheEdgesStay) {
    EXPECT_OK(isclose(source()));
    const int fd = open(), to = target();
    EXPECT_OK(iscopy(to, fd, &name));
    EXPECT_EQ(readId(fd, ISNEXT), 10);
    EXPECT_EQ(readId(fd, ISLAST), 30);
    EXPECT_EQ(readId(fd, ISNEXT), -ISERR_ENDOFFILE);
    EXPECT_FAILS(ISERR_DUPLICATE, iscopy(to, fd, &id));
    EXPECT_EQ(readId(fd, ISPREV), 30);
}

TEST_F(CopyState, PositionSurvivesAFailure) {
    const int fd = source(), to = target();
    EXPECT_EQ(readId(fd, ISFIRST), 10);
    putIds(to, {20});
    EXPECT_EQ(readId(to, ISFIRST), 20);
    EXPECT_FAILS(ISERR_DUPLICATE, iscopy(to, fd, &id));
    EXPECT_EQ(readId(fd, ISNEXT), 20);
    EXPECT_EQ(readId(to, ISPREV), 10) << "the record copied before the failure";
}

TEST_F(CopyState, FilterOfTheSourceDoesNotCount) {
    const int fd = source(), to = target();
    EXPECT_OK(isfilter(fd, [](int, char *, int) { return 0; }));
    EXPECT_OK(iscopy(to, fd, &id));
    EXPECT_EQ(idsOf(to), (Ids{10, 20, 30}));
}

TEST_F(CopyState, LockCheckingDoesNotCount) {
    const int fd = source(), to = target();
    EXPECT_OK(islockcheck(fd, 1));
    EXPECT_OK(islockcheck(to, 1));
    EXPECT_OK(iscopy(to, fd, &id));
    EXPECT_EQ(recordCount(to), 3);
}

TEST_F(CopyState, EveryAccessAndLockMode) {
    EXPECT_OK(isclose(source()));
    for (const int from_access : {ISINPUT, ISINOUT})
        for (const int to_access : {ISOUTPUT, ISINOUT})
            for (const int from_lock : {ISLOCKNONE, ISLOCKAUTO, ISLOCKMANUAL, ISLOCKEXCL})
                for (const int to_lock : {ISLOCKAUTO, ISLOCKMANUAL, ISLOCKEXCL}) {
                    SCOPED_TRACE(testing::Message() << "from 0x" << std::hex << (from_access | from_lock) << " to 0x"
                                                    << (to_access | to_lock));
                    const int fd = open(from_access | from_lock);
                    EXPECT_OK(isclose(target()));
                    const int to = openNamed("copy", to_access | to_lock);
                    EXPECT_OK(iscopy(to, fd, &name));
                    EXPECT_OK(iscleanup());
                    const int copied = openNamed("copy", ISINPUT);
                    EXPECT_EQ(idsBy(copied, noKey()), (Ids{30, 20, 10}));
                    EXPECT_OK(isclose(copied));
                    soundEntries(path("copy"));
                    EXPECT_OK(iserase(path("copy").c_str()));
                }
    dontCheck();
}

TEST_F(CopyState, AccessThatDoesNotAllowItIsRefused) {
    EXPECT_OK(isclose(source()));
    EXPECT_OK(isclose(target()));
    const int reading = openNamed("copy", ISINPUT), fd = open(ISINOUT);
    expectRefused(path("copy"), ISERR_ARGUMENT, [=] { return iscopy(reading, fd, nullptr); });
    const int writing = openNamed("copy", ISOUTPUT), unreadable = open(ISOUTPUT);
    expectRefused(path("copy"), ISERR_ARGUMENT, [=] { return iscopy(writing, unreadable, nullptr); });
    EXPECT_OK(iscopy(writing, fd, nullptr));
}

// The files of such a handle are open for reading alone.
TEST_F(CopyState, DestinationWithoutLocksCannotBeWritten) {
    EXPECT_OK(isclose(target()));
    const int fd = source(), to = openNamed("copy", ISINOUT | ISLOCKNONE);
    const Image before = imageOf(path("copy"));
    EXPECT_FAILS(EBADF, iscopy(to, fd, &id));
    EXPECT_TRUE(imageOf(path("copy")) == before);
    EXPECT_EQ(readId(fd, ISFIRST), 10);
}

TEST_F(CopyState, ThroughASecondHandleOnEither) {
    const int fd = source(), to = target();
    const int other_fd = open(), other_to = openNamed("copy", ISINOUT);
    EXPECT_EQ(idsOf(other_to), (Ids{}));
    EXPECT_OK(iscopy(to, other_fd, &id));
    EXPECT_EQ(idsOf(other_to), (Ids{10, 20, 30}));
    EXPECT_OK(isdelete(other_to, row(10)));
    EXPECT_OK(isdelete(fd, row(20)));
    EXPECT_OK(isdelete(fd, row(30)));
    EXPECT_OK(iscopy(other_to, fd, &name));
    EXPECT_EQ(idsOf(to), (Ids{10, 20, 30}));
}

TEST_F(CopyState, RecordLocksDoNotMatterAndStay) {
    const int fd = source(), to = target();
    const int other = open();
    put(to, row(5));
    EXPECT_EQ(readId(other, ISFIRST | ISLOCK), 10);
    EXPECT_EQ(readId(to, ISFIRST | ISLOCK), 5);
    EXPECT_OK(iscopy(to, fd, &id));
    EXPECT_EQ(recordCount(to), 4);
    EXPECT_FALSE(lockable(fd, 1));
    EXPECT_TRUE(lockable(fd, 2));
    const int beside = openNamed("copy", ISINOUT);
    EXPECT_FALSE(lockable(beside, 1)) << "the lock that the destination had";
    for (const long number : {2, 3, 4})
        EXPECT_TRUE(lockable(beside, number)) << "a copied record is locked";
}

TEST_F(CopyState, AutomaticLocksOfTheSourceStay) {
    EXPECT_OK(isclose(source()));
    const int fd = open(ISINOUT | ISLOCKAUTO), other = open(), to = target();
    EXPECT_EQ(readId(fd, ISFIRST), 10);
    EXPECT_OK(iscopy(to, fd, &id));
    EXPECT_FALSE(lockable(other, 1));
    EXPECT_TRUE(lockable(other, 3));
}

TEST_F(CopyState, MasksAreCarriedOver) {
    const int fd = source(ISINOUT | ISMASK), to = target(ISINOUT | ISMASK);
    EXPECT_EQ(issetmask(fd, 2), 0);
    EXPECT_OK(isrewrec(fd, 2, row(20, "b")));
    EXPECT_EQ(issetmask(fd, static_cast<long>(0x80000001)), 0);
    EXPECT_OK(isrewrec(fd, 3, row(30, "a")));
    EXPECT_EQ(issetmask(fd, 12), 0);
    EXPECT_EQ(issetmask(to, 21), 0);
    EXPECT_OK(iscopy(to, fd, &name));
    EXPECT_EQ(isgetmask(fd), 12) << "the handles' own masks stay";
    EXPECT_EQ(isgetmask(to), 21);
    EXPECT_EQ(idsBy(to, noKey()), (Ids{30, 10, 20}));
    EXPECT_EQ(idsBy(to, id), (Ids{10, 20}));
    EXPECT_EQ(idsBy(to, name), (Ids{30, 10}));
    expectCopy(heldBy(base()), 2, heldBy(path("copy")));
}

// A record keeps its mask of the source's indexes whatever the destination's are.
TEST_F(CopyState, MasksAreOfIndexNumbers) {
    const int fd = source(ISINOUT | ISMASK);
    EXPECT_EQ(issetmask(fd, 2), 0);
    EXPECT_OK(isrewrec(fd, 2, row(20, "b")));
    const int to = buildNamed(path("copy"), ISINOUT | ISMASK, groupKey());
    add(to, idKey());
    EXPECT_OK(iscopy(to, fd, &id));
    EXPECT_EQ(idsBy(to, id), (Ids{10, 30}));
}

TEST_F(CopyState, WithoutMasksOnOneSideEveryRecordIsInEveryIndex) {
    const int masked = source(ISINOUT | ISMASK), plain = target();
    EXPECT_EQ(issetmask(masked, 3), 0);
    EXPECT_OK(isrewrec(masked, 2, row(20, "b")));
    EXPECT_OK(iscopy(plain, masked, &id));
    EXPECT_EQ(idsBy(plain, id), (Ids{10, 20, 30}));
    EXPECT_EQ(idsBy(plain, name), (Ids{30, 20, 10}));

    const int back = buildNamed(path("back"), ISINOUT | ISMASK);
    add(back, nameKey());
    EXPECT_EQ(issetmask(back, 3), 0);
    EXPECT_OK(iscopy(back, plain, &id));
    for (const auto &record : heldBy(path("back")).records)
        EXPECT_EQ(numberAt(record.second, kRowLen, 4), 0U);
    EXPECT_EQ(soundEntries(path("back")), (std::vector<std::size_t>{3, 3}));
    EXPECT_EQ(isgetmask(back), 3);
}

TEST_F(CopyState, BetweenPlainAndCompressedTails) {
    const std::string runs = std::string(300, ' ') + letters(40) + std::string(300, '\0');
    const int fd = buildVar();
    EXPECT_OK(send(iswrite, fd, rec(row(10), runs)));
    EXPECT_OK(send(iswrite, fd, rec(20, 1500)));
    const int packed = buildVarNamed(path("packed"), ISINOUT | ISCOMPRESS);
    EXPECT_OK(iscopy(packed, fd, &id));
    EXPECT_EQ(allOf(packed), (Records{rec(row(10), runs), rec(20, 1500)}));
    EXPECT_LT(tailPointer(path("packed"), 1).length, 100U);
    const int plain = buildVarNamed(path("plain"), ISINOUT);
    EXPECT_OK(iscopy(plain, packed, &id));
    EXPECT_EQ(allOf(plain), allOf(packed));
    EXPECT_EQ(tailPointer(path("plain"), 1).length, runs.size());
}

TEST_F(CopyState, LongestTails) {
    const int fd = buildVar(ISINOUT, idKey(), ISMAXVARLEN);
    EXPECT_OK(send(iswrite, fd, rec(2, ISMAXVARLEN - kRowLen)));
    EXPECT_OK(send(iswrite, fd, rec(1, ISMAXVARLEN - kRowLen - 1)));
    const int to = buildVarNamed(path("copy"), ISINOUT, idKey(), ISMAXVARLEN);
    EXPECT_OK(iscopy(to, fd, &id));
    expectCopy(heldBy(base()), 1, heldBy(path("copy")));
}

TEST_F(CopyState, DescriptionsThatTheHandleOwnsCanBeGiven) {
    const int fd = source(ISINOUT | ISLOCKEXCL), to = target();
    EXPECT_OK(isindex(fd, 2, 0));
    EXPECT_OK(iscopy(to, fd, isqv_kdsc(fd)));
    EXPECT_EQ(idsBy(to, noKey()), (Ids{30, 20, 10}));
    EXPECT_OK(isindex(fd, 2, 0));
    EXPECT_EQ(idsBy(iscluster(fd, isqv_kdsc(fd)), noKey()), (Ids{30, 20, 10}));
    EXPECT_EQ(isclone(to, isqv_name(to)), -1);
    EXPECT_EQ(iserrno, EEXIST);
}

TEST_F(CopyState, ThroughLinkFiles) {
    ASSERT_TRUE(std::filesystem::create_directory(path("far")));
    std::ofstream(path("copy.lnk")) << path("far/real") << "\n";
    const int fd = source();
    const int to = isclone(fd, path("copy").c_str());
    EXPECT_OK(iscopy(to, fd, &name));
    expectCopy(heldBy(base()), 2, heldBy(path("far/real")));
    expectWhole(to, path("far/real"));
}

TEST_F(CopyState, UniqueIdUserInformationAndAuditStayTheirOwn) {
    const int fd = source(), to = target();
    char mine[] = "0123456789", theirs[] = "abcdefghij";
    EXPECT_OK(isuserinfo(fd, 1, mine));
    EXPECT_OK(isuserinfo(to, 1, theirs));
    EXPECT_OK(issetunique(fd, 500));
    EXPECT_OK(issetunique(to, 600));
    EXPECT_OK(isprecious(fd, 1));
    EXPECT_OK(iscopy(to, fd, &id));
    const std::string header = nodeOf(imageOf(path("copy")), 1);
    EXPECT_EQ(header.substr(1008, 10), "abcdefghij");
    EXPECT_EQ(numberAt(header, 45, 4), 600U);
    EXPECT_EQ(numberAt(header, 1018, 2), 0U);
}

}  // namespace
}  // namespace api
