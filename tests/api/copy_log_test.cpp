// Copies beside log, transactions and audit trails: none of them learns of a copy.
#include "audits.h"
#include "cluster_kinds.h"

#include <fstream>

namespace api {
namespace {

class CopyLog : public AuditTest {
  protected:
    int source() {
        const int fd = buildTrans();
        putIds(fd, {10, 20, 30});
        return fd;
    }
    KeyDesc id = idKey();
};

TEST_F(CopyLog, NothingIsLogged) {
    startLog();
    const int fd = source(), to = buildTrans("copy");
    const std::string before = contents(log());
    EXPECT_OK(iscopy(to, fd, &id));
    EXPECT_TRUE(contents(log()) == before);
    EXPECT_EQ(idsOf(to), (Ids{10, 20, 30}));
}

TEST_F(CopyLog, NothingIsAudited) {
    const int fd = source(), to = buildTrans("copy");
    startAudit(fd, path("from"));
    startAudit(to, path("to"));
    EXPECT_OK(iscopy(to, fd, &id));
    EXPECT_FALSE(exists(path("from")));
    EXPECT_FALSE(exists(path("to")));
    put(to, row(40));
    expectTrail(path("to"), {entry("aa", 4, std::string(row(40).bytes, kRowLen))});
}

// Not even the opening of the trail stands in the way.
TEST_F(CopyLog, TrailThatCannotBeOpenedDoesNotMatter) {
    const int fd = source(), to = buildTrans("copy");
    startAudit(to, path("none/trail"));
    EXPECT_OK(iscopy(to, fd, &id));
    EXPECT_EQ(recordCount(to), 3);
    EXPECT_EQ(isOn(to), 1);
}

TEST_F(CopyLog, RollbackLeavesTheCopy) {
    startLog();
    const int fd = source(), to = buildTrans("copy");
    EXPECT_OK(isbegin());
    EXPECT_OK(iscopy(to, fd, &id));
    put(to, row(40));
    put(fd, row(50));
    EXPECT_OK(isrollback());
    EXPECT_EQ(idsOf(to), (Ids{10, 20, 30}));
    EXPECT_EQ(idsOf(fd), (Ids{10, 20, 30}));
}

TEST_F(CopyLog, CopiedRecordsAreNotLockedByATransaction) {
    startLog();
    const int fd = source(), to = buildTrans("copy");
    EXPECT_OK(isrelease(fd));
    EXPECT_OK(isbegin());
    EXPECT_OK(iscopy(to, fd, &id));
    const int other_to = isopen(path("copy").c_str(), ISINOUT), other_from = open();
    for (const long number : {1, 2, 3}) {
        EXPECT_TRUE(lockable(other_to, number));
        EXPECT_TRUE(lockable(other_from, number));
    }
    EXPECT_OK(iscommit());
    EXPECT_EQ(types(), "BU FO IN IN IN BU FO BW FO FO CW");
}

// What the transaction itself did is copied as it stands.
TEST_F(CopyLog, ChangesOfTheOpenTransactionAreCopied) {
    startLog();
    const int fd = source(), to = buildTrans("copy");
    EXPECT_OK(isbegin());
    EXPECT_OK(isdelete(fd, row(10)));
    put(fd, row(15));
    EXPECT_OK(iscopy(to, fd, &id));
    EXPECT_OK(isrollback());
    EXPECT_EQ(idsOf(to), (Ids{15, 20, 30}));
    EXPECT_EQ(idsOf(fd), (Ids{10, 20, 30}));
}

TEST_F(CopyLog, FullLogDoesNotMatter) {
    const int fd = source(), to = buildTrans("copy");
    EXPECT_OK(islogopen("/dev/full"));
    EXPECT_OK(iscopy(to, fd, &id));
    EXPECT_EQ(recordCount(to), 3);
}

// The log tells of the clone, not of its records: recovery gives an empty file.
TEST_F(CopyLog, CloneIsLoggedAsABuildWithIndexes) {
    const std::vector<KeyDesc> keys = {idKey(), nameKey(), groupKey(ISDUPS | ISLEADCOMP)};
    startLog();
    const int fd = buildVarTrans("file", ISCOMPRESS);
    add(fd, keys[1]);
    add(fd, keys[2]);
    const std::size_t before = contents(log()).size();
    const int made = isclone(fd, path("copy").c_str());
    EXPECT_GE(made, 0);
    const std::vector<LogRecord> records = logOf(log());
    const std::vector<LogRecord> added(records.end() - 4, records.end());
    EXPECT_EQ(added[0].offset, before);
    const int mode = ISINOUT | ISTRANS | ISVARLEN | ISCOMPRESS | ISLOCKMANUAL;
    EXPECT_EQ(added[0].type, "BU");
    EXPECT_EQ(added[0].body, buildBody(mode, kRowLen, kVarMax, idKey(), path("copy")));
    EXPECT_EQ(added[1].type, "FO");
    EXPECT_EQ(added[1].body, fileBody(made, path("copy"), true));
    for (std::size_t i = 2; i < 4; ++i) {
        EXPECT_EQ(added[i].type, "CI");
        EXPECT_EQ(added[i].body, int2(static_cast<unsigned long>(made)) + keyBody(keys[i - 1]));
    }
}

TEST_F(CopyLog, CloneWithoutPrimaryKeyIsLoggedAsSuch) {
    startLog();
    const int fd = build(ISINOUT, noKey());
    add(fd, idKey());
    const int made = isclone(fd, path("copy").c_str());
    const std::vector<LogRecord> records = logOf(log());
    EXPECT_EQ(types(), "BU FO CI BU FO CI");
    EXPECT_EQ(records[3].body, buildBody(ISINOUT | ISLOCKMANUAL, kRowLen, kRowLen, noKey(), path("copy")));
    EXPECT_EQ(records[4].body, fileBody(made, path("copy")));
    EXPECT_EQ(records[5].body, int2(static_cast<unsigned long>(made)) + keyBody(idKey()));
}

TEST_F(CopyLog, CloneOfAFileThatIsNotLoggedIsNotLogged) {
    startLog();
    const int fd = build(ISINOUT | ISNOLOG);
    add(fd, nameKey());
    EXPECT_GE(isclone(fd, path("copy").c_str()), 0);
    EXPECT_EQ(contents(log()), "");
}

TEST_F(CopyLog, CloneIsRecovered) {
    startLog();
    const int fd = build();
    add(fd, nameKey());
    const int made = isclone(fd, path("copy").c_str());
    put(made, row(7, "seven"));
    EXPECT_OK(isclose(made));
    EXPECT_OK(isclose(fd));
    EXPECT_OK(iserase(base()));
    EXPECT_OK(iserase(path("copy").c_str()));
    dontCheck();
    // The log ends where the files were removed.
    EXPECT_OK(islogclose());
    std::string kept;
    for (const LogRecord &record : logOf(log()))
        if (record.type != "ER") kept = contents(log()).substr(0, record.offset + record.length);
    std::ofstream(log(), std::ios::binary | std::ios::trunc) << kept;
    startLog();
    EXPECT_OK(isrecover());
    const int again = isopen(path("copy").c_str(), ISINOUT);
    EXPECT_EQ(idsBy(again, nameKey()), (Ids{7}));
    expectWhole(again, path("copy"));
}

TEST_F(CopyLog, CloneWhoseLogRecordCannotBeWrittenIsTakenBack) {
    const int fd = build();
    add(fd, nameKey());
    EXPECT_OK(islogopen("/dev/full"));
    EXPECT_FAILS(ISERR_LOGWRITE, isclone(fd, path("copy").c_str()));
    EXPECT_FALSE(exists(path("copy.idx")));
    EXPECT_FALSE(exists(path("copy.dat")));
    EXPECT_OK(islogclose());
    EXPECT_GE(isclone(fd, path("copy").c_str()), 0);
}

}  // namespace
}  // namespace api
