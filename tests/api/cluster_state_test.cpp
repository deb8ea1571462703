// What a clustered file keeps, and what the call leaves in handles and globals.
#include "audits.h"
#include "cluster_kinds.h"

namespace api {
namespace {

class ClusterState : public WholeTest {
  protected:
    // Ids 10, 20, 30 with names in the other order.
    int source(const std::string &name = "file", int mode = 0) {
        const int fd = buildNamed(path(name), ISINOUT | ISLOCKEXCL | mode);
        add(fd, nameKey());
        put(fd, row(10, "c"));
        put(fd, row(20, "b"));
        put(fd, row(30, "a"));
        return fd;
    }
    std::string header() const { return nodeOf(imageOf(base()), 1); }
    KeyDesc id = idKey(), name = nameKey();
};

TEST_F(ClusterState, DescriptorIsTheSameWhenNoLowerOneIsFree) {
    const int other = buildNamed(path("other"));
    const int fd = source();
    EXPECT_EQ(iscluster(fd, &name), fd);
    EXPECT_EQ(iserrno, 0);
    EXPECT_EQ(idsBy(fd, noKey()), (Ids{30, 20, 10}));
    EXPECT_OK(iswrite(other, row(1)));
}

TEST_F(ClusterState, DescriptorIsTheLowestFreeOne) {
    const int low = buildNamed(path("low")), other = buildNamed(path("other"));
    const int fd = source(), above = buildNamed(path("above"));
    EXPECT_OK(isclose(low));
    EXPECT_EQ(iscluster(fd, &name), low);
    EXPECT_FAILS(ISERR_NOTOPEN, iswrite(fd, row(1)));
    EXPECT_EQ(idsBy(low, noKey()), (Ids{30, 20, 10}));
    EXPECT_OK(iswrite(other, row(1)));
    EXPECT_OK(iswrite(above, row(1)));
    EXPECT_EQ(buildNamed(path("next")), fd) << "the old descriptor is free";
}

// Eleven descriptors make the table grow; the clone needs a place in it for a while.
TEST_F(ClusterState, DescriptorTableThatIsFull) {
    std::vector<int> others;
    for (int i = 0; i < 9; ++i)
        others.push_back(buildNamed(path("other" + std::to_string(i))));
    const int fd = source();
    EXPECT_EQ(fd, 9);
    EXPECT_EQ(iscluster(fd, &name), fd);
    EXPECT_EQ(buildNamed(path("tenth")), 10);
    for (const int other : others)
        EXPECT_OK(iswrite(other, row(1)));
}

TEST_F(ClusterState, SystemDescriptorsAreNotUsedUp) {
    int fd = source();
    const int before = openDescriptors();
    for (int i = 0; i < 20; ++i)
        fd = iscluster(fd, i % 2 == 0 ? &name : &id);
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(idsBy(fd, noKey()), (Ids{10, 20, 30}));
}

TEST_F(ClusterState, GlobalsAndPositionAreThoseOfAnOpen) {
    const int fd = source();
    EXPECT_EQ(readId(fd, ISLAST), 30);
    isrecnum = 99;
    isreclen = 98;
    iserrno = 77;
    const int done = iscluster(fd, &name);
    EXPECT_EQ(iserrno, 0);
    EXPECT_EQ(isrecnum, 3) << "the first record of the first index";
    EXPECT_EQ(isreclen, 0);
    EXPECT_EQ(currentIndex(done), 1);
    EXPECT_EQ(readId(done, ISNEXT), 10);
    EXPECT_EQ(readId(done, ISNEXT), 20);
}

TEST_F(ClusterState, GlobalsOfAnEmptyFile) {
    const int fd = build(ISINOUT | ISLOCKEXCL);
    isrecnum = 99;
    const int done = iscluster(fd, &id);
    EXPECT_EQ(isrecnum, 0);
    EXPECT_EQ(readId(done, ISNEXT), -ISERR_ENDOFFILE);
}

TEST_F(ClusterState, GlobalsOfVariableLengths) {
    const int fd = fillVar({5, 2000}, ISINOUT | ISLOCKEXCL);
    isreclen = 98;
    const int done = iscluster(fd, &id);
    EXPECT_GE(done, 0);
    EXPECT_EQ(isrecnum, 1);
    EXPECT_EQ(isreclen, kVarMax);
    EXPECT_EQ(allOf(done), (Records{rec(10, 5), rec(20, 2000)}));
}

TEST_F(ClusterState, WithoutPrimaryKeyItStandsInRecordNumberOrder) {
    const int fd = build(ISINOUT | ISLOCKEXCL, noKey());
    add(fd, nameKey());
    put(fd, row(10, "c"));
    put(fd, row(20, "b"));
    isrecnum = 99;
    const int done = iscluster(fd, &name);
    EXPECT_EQ(isrecnum, 1);
    EXPECT_EQ(currentIndex(done), 0);
    EXPECT_EQ(readId(done, ISNEXT), 20);
    EXPECT_EQ(readId(done, ISNEXT), 10);
}

TEST_F(ClusterState, ModeStays) {
    for (const int flags : {0, ISTRANS, ISNOLOG, ISSYNCWR, ISTRANS | ISNOLOG | ISSYNCWR, ISMASK}) {
        SCOPED_TRACE(flags);
        const std::string set = "mode" + std::to_string(flags);
        const int done = iscluster(source(set, flags), &name);
        int mode = 0;
        EXPECT_OK(isgetmode(done, &mode));
        EXPECT_EQ(mode, ISINOUT | ISLOCKEXCL | flags);
        EXPECT_STREQ(isqv_name(done), path(set).c_str());
        EXPECT_EQ(idsBy(done, noKey()), (Ids{30, 20, 10}));
    }
}

TEST_F(ClusterState, ModesOfVariableLengthsStay) {
    const int fd = fillVar({5, 2000, 0}, ISINOUT | ISLOCKEXCL | ISCOMPRESS | ISMASK);
    const int done = iscluster(fd, &id);
    int mode = 0;
    EXPECT_OK(isgetmode(done, &mode));
    EXPECT_EQ(mode, ISINOUT | ISLOCKEXCL | ISVARLEN | ISCOMPRESS | ISMASK);
    EXPECT_EQ(allOf(done), (Records{rec(10, 5), rec(20, 2000), rec(30, 0)}));
}

TEST_F(ClusterState, OpenedExclusivelyItStaysSo) {
    const int done = iscluster(source(), &name);
    EXPECT_FAILS(ISERR_FILEINUSE, open());
    EXPECT_FAILS(ISERR_FILEINUSE, open(ISINOUT | ISLOCKEXCL));
    EXPECT_FAILS(ISERR_FILEINUSE, iserase(base()));
    EXPECT_OK(isclose(done));
    EXPECT_EQ(idsOf(open()), (Ids{10, 20, 30}));
}

TEST_F(ClusterState, UniqueIdStays) {
    int fd = source();
    long value = 0;
    EXPECT_OK(issetunique(fd, 2147483647));
    fd = iscluster(fd, &name);
    EXPECT_OK(isuniqueid(fd, &value));
    EXPECT_EQ(value, 2147483647);
    fd = iscluster(fd, &id);
    EXPECT_OK(isuniqueid(fd, &value));
    EXPECT_EQ(value, 1);
}

TEST_F(ClusterState, UserInformationStays) {
    int fd = source();
    char stored[] = "ten\0bytes", got[ISUSERINFOLEN] = {};
    EXPECT_OK(isuserinfo(fd, 1, stored));
    fd = iscluster(fd, &name);
    EXPECT_OK(isuserinfo(fd, 0, got));
    EXPECT_EQ(std::string(got, ISUSERINFOLEN), std::string(stored, ISUSERINFOLEN));
    EXPECT_EQ(header().substr(1008, 10), std::string(stored, 10));
}

TEST_F(ClusterState, PreciousModeStays) {
    int fd = source();
    EXPECT_OK(isprecious(fd, 1));
    EXPECT_OK(isdelete(fd, row(20)));
    fd = iscluster(fd, &name);
    EXPECT_EQ(numberAt(header(), 1018, 2), 2U);
    EXPECT_OK(isdelrec(fd, 1));
    EXPECT_EQ(put(fd, row(40)), 3) << "no number is used again";
    EXPECT_OK(isclose(fd));
    fd = open();
    EXPECT_OK(isprecious(fd, 0));
    EXPECT_EQ(put(fd, row(50)), 1);
}

TEST_F(ClusterState, DeletedRecordsAreGoneAndTheirNumbersToo) {
    int fd = source();
    EXPECT_OK(isdelete(fd, row(20)));
    fd = iscluster(fd, &id);
    EXPECT_EQ(numberAt(header(), 33, 4), 2U) << "highest record number";
    EXPECT_EQ(numberAt(header(), 25, 4), 0U) << "list of free ones";
    EXPECT_EQ(imageOf(base()).data.size(), 2U * (kRowLen + 1));
    EXPECT_EQ(put(fd, row(40)), 3);
}

// By an index with all records, numbers that only islastrec has given out are no records.
TEST_F(ClusterState, NumbersWithoutRecordsAreGone) {
    int fd = source();
    long last = 0;
    EXPECT_OK(islastrec(fd, &last));
    EXPECT_OK(issetlastrec(fd, 1000));
    fd = iscluster(fd, &id);
    EXPECT_OK(isgetlastrec(fd, &last));
    EXPECT_EQ(last, 3);
    EXPECT_EQ(idsBy(fd, id), (Ids{10, 20, 30}));
    expectWhole(fd, base());
}

TEST_F(ClusterState, FreeNodesAreGone) {
    int fd = source();
    for (long n = 100; n < 1100; ++n)
        put(fd, row(n, "name" + std::to_string(n)));
    for (long n = 100; n < 1100; ++n)
        EXPECT_OK(isdelete(fd, row(n)));
    EXPECT_GT(freeNodes(base()), 20U);
    fd = iscluster(fd, &id);
    EXPECT_EQ(freeNodes(base()), 0U);
    EXPECT_EQ(imageOf(base()).index.size(), 4U * 1024);
}

TEST_F(ClusterState, DroppedIndexIsNotThereAgain) {
    int fd = source();
    add(fd, groupKey());
    EXPECT_OK(isdelindex(fd, &name));
    KeyDesc group = groupKey(), key{};
    fd = iscluster(fd, &group);
    EXPECT_EQ(indexCount(fd), 2);
    EXPECT_OK(isindexinfo(fd, &key, 2));
    EXPECT_TRUE(testing_support::sameKeyDesc(key, group));
}

TEST_F(ClusterState, RecordLocksAreGone) {
    int fd = source();
    EXPECT_EQ(readId(fd, ISFIRST | ISLOCK), 10);
    EXPECT_OK(islockcheck(fd, 1));
    EXPECT_OK(isfilter(fd, [](int, char *, int) { return 0; }));
    fd = iscluster(fd, &name);
    EXPECT_EQ(idsOf(fd), (Ids{10, 20, 30})) << "the handle's filter is gone, too";
    EXPECT_OK(isdelete(fd, row(20))) << "and its lock checking";
}

TEST_F(ClusterState, MaskOfTheHandleIsThatOfAnOpen) {
    int fd = source("file", ISMASK);
    EXPECT_EQ(issetmask(fd, 3), 0);
    EXPECT_OK(isrewrec(fd, 2, row(20, "b")));
    fd = iscluster(fd, &name);
    EXPECT_EQ(isgetmask(fd), 0);
    EXPECT_EQ(idsBy(fd, noKey()), (Ids{30, 10, 20})) << "masked records are not lost";
    EXPECT_EQ(idsBy(fd, id), (Ids{10, 30}));
}

TEST_F(ClusterState, OtherFilesOfTheProcessAreNotConcerned) {
    const int other = buildNamed(path("other"));
    putIds(other, {1, 2, 3});
    EXPECT_EQ(readId(other, ISFIRST), 1);
    EXPECT_EQ(readId(other, ISNEXT | ISLOCK), 2);
    const int fd = iscluster(source(), &name);
    EXPECT_GE(fd, 0);
    EXPECT_EQ(readId(other, ISNEXT), 3);
    EXPECT_FALSE(lockable(isopen(path("other").c_str(), ISINOUT), 2));
}

class ClusterAudit : public AuditTest {};

TEST_F(ClusterAudit, TrailGoesOnAndLearnsNothing) {
    int fd = build(ISINOUT | ISLOCKEXCL);
    startAudit(fd);
    put(fd, row(20));
    put(fd, row(10));
    const std::string before = contents(trail());
    KeyDesc id = idKey();
    fd = iscluster(fd, &id);
    EXPECT_EQ(contents(trail()), before);
    EXPECT_EQ(nameOf(fd), trail());
    EXPECT_EQ(isOn(fd), 1);
    EXPECT_OK(isdelete(fd, row(20)));
    EXPECT_EQ(contents(trail()).substr(0, before.size()), before);
    expectTrail({entry("aa", 1, std::string(row(20).bytes, kRowLen)),
                 entry("aa", 2, std::string(row(10).bytes, kRowLen)),
                 entry("dd", 2, std::string(row(20).bytes, kRowLen))});
    EXPECT_OK(isclose(fd));
    fd = open();
    EXPECT_EQ(nameOf(fd), trail());
    EXPECT_EQ(isOn(fd), 1);
}

TEST_F(ClusterAudit, NameOfATrailThatIsOffStays) {
    int fd = build(ISINOUT | ISLOCKEXCL);
    setName(fd, std::string(64, 'n'));
    KeyDesc id = idKey();
    for (int i = 0; i < 2; ++i) {
        fd = iscluster(fd, &id);
        EXPECT_EQ(nameOf(fd), std::string(64, 'n'));
        EXPECT_EQ(isOn(fd), 0);
    }
    put(fd, row(1));
    EXPECT_FALSE(exists(std::string(64, 'n')));
}

TEST_F(ClusterAudit, TrailThatCannotBeOpenedDoesNotMatter) {
    int fd = build(ISINOUT | ISLOCKEXCL);
    putIds(fd, {2, 1});
    startAudit(fd, path("none/trail"));
    KeyDesc id = idKey();
    fd = iscluster(fd, &id);
    EXPECT_EQ(idsBy(fd, noKey()), (Ids{1, 2}));
    EXPECT_EQ(isOn(fd), 1);
}

TEST_F(ClusterAudit, AuditedTailsStayInTheirPlaces) {
    int fd = buildVar(ISINOUT | ISLOCKEXCL);
    startAudit(fd);
    EXPECT_OK(send(iswrite, fd, rec(20, 2500)));
    EXPECT_OK(send(iswrite, fd, rec(10, 600)));
    KeyDesc id = idKey();
    fd = iscluster(fd, &id);
    EXPECT_EQ(allBy(fd, noKey()), (Records{rec(10, 600), rec(20, 2500)}));
    expectWhole(fd, base());
    EXPECT_EQ(isOn(fd), 1);
}

}  // namespace
}  // namespace api
