// Clusterings that are refused, and in which order the reasons count.
#include "cluster_kinds.h"

#include <cerrno>

namespace api {
namespace {

class ClusterRefused : public WholeTest {
  protected:
    // Nothing changes, no file is made, the handle works.
    void expectRefusal(int code, int fd, KeyDesc *key) {
        const std::vector<std::string> files = namesIn(directory());
        const Image before = imageOf(base());
        const int descriptors = openDescriptors();
        iserrno = iserrio = 77;
        isrecnum = 55;
        isreclen = 56;
        EXPECT_EQ(iscluster(fd, key), -1);
        EXPECT_EQ(iserrno, code);
        EXPECT_EQ(iserrio, 0);
        EXPECT_EQ(isrecnum, 55);
        EXPECT_EQ(isreclen, 56);
        EXPECT_TRUE(imageOf(base()) == before);
        EXPECT_EQ(namesIn(directory()), files);
        EXPECT_EQ(openDescriptors(), descriptors);
        char info[ISUSERINFOLEN];
        EXPECT_OK(isuserinfo(fd, 0, info));
    }
    int source(int mode = ISINOUT | ISLOCKEXCL) {
        const int fd = build(mode);
        putIds(fd, {30, 10, 20});
        return fd;
    }
    void makeKeys() {
        const int fd = build(ISINOUT, idKey(), 0);
        isrecnum = 7;
        EXPECT_OK(iswrite(fd, row(1)));
        EXPECT_OK(isclose(fd));
    }
    KeyDesc id = idKey(), missing = nameKey();
};

TEST_F(ClusterRefused, BadDescriptors) {
    const int fd = source();
    EXPECT_OK(isclose(fd));
    for (const int bad : {fd, fd + 1, -1, -2147483647, 2147483647}) {
        iserrio = 77;
        isrecnum = 55;
        isreclen = 56;
        EXPECT_FAILS(ISERR_NOTOPEN, iscluster(bad, &id));
        EXPECT_EQ(iserrio, 77);
        EXPECT_EQ(isrecnum, 55);
        EXPECT_EQ(isreclen, 56);
    }
}

// The want of records counts before everything else.
TEST_F(ClusterRefused, FileWithoutRecords) {
    makeKeys();
    for (const int mode : {ISINPUT, ISINOUT, ISOUTPUT | ISLOCKMANUAL, ISINPUT | ISLOCKEXCL, ISINOUT | ISLOCKEXCL,
                           ISINOUT | ISLOCKNONE}) {
        const int fd = open(mode);
        for (KeyDesc *const key : {&id, &missing, static_cast<KeyDesc *>(nullptr)})
            expectRefusal(ISERR_ARGUMENT, fd, key);
        EXPECT_OK(isclose(fd));
    }
}

// Then the lock mode, before access and key.
TEST_F(ClusterRefused, NotOpenExclusively) {
    EXPECT_OK(isclose(source()));
    for (const int access : {ISINPUT, ISOUTPUT, ISINOUT})
        for (const int locking : {ISLOCKNONE, ISLOCKAUTO, ISLOCKMANUAL}) {
            const int fd = open(access | locking);
            for (KeyDesc *const key : {&id, &missing, static_cast<KeyDesc *>(nullptr)})
                expectRefusal(ISERR_NEEDEXCL, fd, key);
            EXPECT_OK(isclose(fd));
        }
}

TEST_F(ClusterRefused, AccessOneWayOnly) {
    EXPECT_OK(isclose(source()));
    for (const int access : {ISINPUT, ISOUTPUT}) {
        const int fd = open(access | ISLOCKEXCL);
        for (KeyDesc *const key : {&id, &missing, static_cast<KeyDesc *>(nullptr)})
            expectRefusal(ISERR_ARGUMENT, fd, key);
        EXPECT_OK(isclose(fd));
    }
}

TEST_F(ClusterRefused, InATransaction) {
    startLog();
    const int fd = source(ISINOUT | ISLOCKEXCL | ISTRANS);
    EXPECT_OK(isbegin());
    const std::string before = contents(log());
    for (KeyDesc *const key : {&id, &missing, static_cast<KeyDesc *>(nullptr)})
        expectRefusal(ISERR_FILEINUSE, fd, key);
    EXPECT_EQ(contents(log()), before);
    EXPECT_OK(iswrite(fd, row(40)));
    expectRefusal(ISERR_FILEINUSE, fd, &id);
    EXPECT_OK(isrollback());
    EXPECT_EQ(idsOf(fd), (Ids{10, 20, 30}));
    const int done = iscluster(fd, &id);
    EXPECT_EQ(idsBy(done, noKey()), (Ids{10, 20, 30}));
}

TEST_F(ClusterRefused, FileThatTakesNoPartInTheTransactionIsClustered) {
    startLog();
    const int fd = source();
    EXPECT_OK(isbegin());
    const int done = iscluster(fd, &id);
    EXPECT_EQ(idsBy(done, noKey()), (Ids{10, 20, 30}));
    EXPECT_OK(isrollback());
    EXPECT_EQ(idsBy(done, noKey()), (Ids{10, 20, 30}));
}

TEST_F(ClusterRefused, TransactionsOfOthersDoNotMatter) {
    startLog();
    const int fd = source(ISINOUT | ISLOCKEXCL | ISTRANS);
    static short who;
    who = 1;
    EXPECT_EQ(isTxnInit([] { return who; }), 1);
    EXPECT_OK(isbegin());
    who = 2;
    const int done = iscluster(fd, &id);
    EXPECT_EQ(idsBy(done, noKey()), (Ids{10, 20, 30}));
    who = 1;
    EXPECT_OK(iscommit());
}

TEST_F(ClusterRefused, KeyThatTheFileDoesNotHave) {
    const int fd = source();
    expectRefusal(ISERR_KEYDESC, fd, &missing);
    for (const KeyDesc &other :
         {keyDesc(ISNODUPS, {{0, 4, LONGTYPE | ISDESC}}), keyDesc(ISNODUPS | ISNULLKEY, {{0, 4, LONGTYPE}}),
          keyDesc(ISNODUPS, {{0, 2, INTTYPE}})}) {
        KeyDesc key = other;
        expectRefusal(ISERR_KEYDESC, fd, &key);
    }
    KeyDesc eleven = idKey();
    eleven.nparts = 11;
    expectRefusal(ISERR_KEYDESC, fd, &eleven);
    EXPECT_EQ(idsBy(fd, noKey()), (Ids{30, 10, 20}));
}

TEST_F(ClusterRefused, PositionAndLocksAreThereAfterwards) {
    const int fd = source();
    EXPECT_EQ(readId(fd, ISFIRST), 10);
    EXPECT_EQ(readId(fd, ISNEXT | ISLOCK), 20);
    EXPECT_OK(islockcheck(fd, 1));
    expectRefusal(ISERR_KEYDESC, fd, &missing);
    EXPECT_EQ(position(fd), 3);
    EXPECT_OK(isrewcurr(fd, row(20, "locked")));
    EXPECT_EQ(readId(fd, ISNEXT), 30);
}

}  // namespace
}  // namespace api
