// What the log tells of a clustering, and what happens when it cannot be written.
#include "cluster_kinds.h"
#include "cluster_limits.h"

#include "../support/log_reader.h"

#include <cerrno>
#include <fstream>

namespace api {
namespace {

class ClusterLog : public WholeTest {
  protected:
    static constexpr int kMode = ISINOUT | ISLOCKEXCL;

    int source(int mode = 0) {
        const int fd = build(kMode | mode);
        add(fd, nameKey());
        putIds(fd, {30, 10, 20});
        return fd;
    }
    // The records that the call adds to the log.
    std::vector<LogRecord> clusterLogged(int fd, int *done) {
        const std::size_t before = logOf(log()).size();
        *done = iscluster(fd, &id);
        EXPECT_GE(*done, 0) << iserrno;
        std::vector<LogRecord> records = logOf(log());
        records.erase(records.begin(), records.begin() + static_cast<std::ptrdiff_t>(before));
        return records;
    }
    static std::string joined(const std::vector<LogRecord> &records) {
        std::string types;
        for (const LogRecord &record : records)
            types += (types.empty() ? "" : " ") + record.type;
        return types;
    }
    void expectSoundLog() const {
        const std::string bytes = contents(log());
        std::vector<testing_support::LogRecord> records;
        EXPECT_EQ(testing_support::readLog({bytes.begin(), bytes.end()}, &records), "");
        EXPECT_EQ(testing_support::checkLog(records), "");
    }
    KeyDesc id = idKey();
};

TEST_F(ClusterLog, BuildClosingsErasingRenamingOpening) {
    startLog();
    const int fd = source();
    int done = -1;
    const std::vector<LogRecord> records = clusterLogged(fd, &done);
    EXPECT_EQ(joined(records), "BU FO CI FC FC ER RE FO");
    ASSERT_EQ(records.size(), 8U);
    const int clone = fd + 1;
    EXPECT_EQ(records[0].body, buildBody(kMode, kRowLen, kRowLen, idKey(), temporary()));
    EXPECT_EQ(records[1].body, fileBody(clone, temporary()));
    EXPECT_EQ(records[2].body, int2(static_cast<unsigned long>(clone)) + keyBody(nameKey()));
    EXPECT_EQ(records[3].body, fileBody(fd, base()));
    EXPECT_EQ(records[4].body, fileBody(clone, temporary()));
    EXPECT_EQ(records[5].body, nul(base()));
    EXPECT_EQ(records[6].body, renameBody(temporary(), base()));
    EXPECT_EQ(records[7].body, fileBody(done, base()));
    for (const LogRecord &record : records)
        EXPECT_EQ(record.previousLength, 0U) << record.type << " is chained";
    expectSoundLog();
}

TEST_F(ClusterLog, VariableLengthsAndNoPrimaryKey) {
    startLog();
    const int fd = buildVar(kMode | ISCOMPRESS, noKey());
    add(fd, idKey());
    EXPECT_OK(send(iswrite, fd, rec(20, 2000)));
    int done = -1;
    const std::vector<LogRecord> records = clusterLogged(fd, &done);
    EXPECT_EQ(joined(records), "BU FO CI FC FC ER RE FO");
    ASSERT_EQ(records.size(), 8U);
    EXPECT_EQ(records[0].body, buildBody(kMode | ISVARLEN | ISCOMPRESS, kRowLen, kVarMax, noKey(), temporary()));
    EXPECT_EQ(records[1].body, fileBody(fd + 1, temporary(), true));
    EXPECT_EQ(records[4].body, fileBody(fd + 1, temporary(), true));
    EXPECT_EQ(records[7].body, fileBody(done, base(), true));
    expectSoundLog();
}

TEST_F(ClusterLog, ThroughALinkFile) {
    std::ofstream(path("linked.lnk")) << path("file") << "\n";
    EXPECT_OK(isclose(source()));
    startLog();
    const int fd = openNamed("linked", kMode);
    int done = -1;
    const std::vector<LogRecord> records = clusterLogged(fd, &done);
    EXPECT_EQ(joined(records), "BU FO CI FC FC ER RE FO");
    ASSERT_EQ(records.size(), 8U);
    EXPECT_EQ(records[5].body, nul(path("linked")));
    EXPECT_EQ(records[6].body, renameBody(temporary(), path("linked")));
    EXPECT_EQ(records[7].body, fileBody(done, path("linked")));
}

TEST_F(ClusterLog, ChangesAfterwardsAreLogged) {
    startLog();
    int done = -1;
    clusterLogged(source(ISTRANS), &done);
    EXPECT_OK(isbegin());
    put(done, row(40));
    EXPECT_OK(isdelete(done, row(10)));
    EXPECT_OK(isrollback());
    EXPECT_EQ(idsOf(done), (Ids{10, 20, 30}));
    const std::vector<LogRecord> records = logOf(log());
    EXPECT_EQ(joined({records.end() - 4, records.end()}), "BW IN DE RW");
    EXPECT_EQ((records.end() - 3)->fd(), static_cast<unsigned long>(done));
    expectSoundLog();
}

// Of a file that is never logged only what bears its name could be told, and nothing of it helps recovery.
TEST_F(ClusterLog, FileThatIsNotLogged) {
    startLog();
    int done = -1;
    const std::vector<LogRecord> records = clusterLogged(source(ISNOLOG), &done);
    for (const LogRecord &record : records)
        EXPECT_TRUE(record.type == "ER" || record.type == "RE") << record.type;
    EXPECT_OK(iswrite(done, row(40)));
    EXPECT_EQ(logOf(log()).size(), records.size());
}

TEST_F(ClusterLog, RefusedOnesAreNotLogged) {
    startLog();
    const int fd = source();
    const std::string before = contents(log());
    KeyDesc missing = groupKey();
    EXPECT_FAILS(ISERR_KEYDESC, iscluster(fd, &missing));
    EXPECT_EQ(contents(log()), before);
    std::ofstream(temporary() + ".idx") << "not ours";
    EXPECT_FAILS(EEXIST, iscluster(fd, &id));
    EXPECT_EQ(contents(log()), before);
}

// Whatever came of the attempt, what is done through the handle afterwards can be recovered.
TEST_F(ClusterLog, LogTellsTheTruthAfterAFailure) {
    const int made = source();
    EXPECT_OK(isclose(made));
    dontCheck();
    const Image start = imageOf(base());
    // The index leads to a deleted record.
    startLog();
    const int fd = open(kMode);
    EXPECT_OK(isdelete(fd, row(10)));
    const Image sound = imageOf(base());
    patchFile(path("file.dat"), kRowLen, std::string(1, '\0'));
    EXPECT_FAILS(ISERR_CORRUPT, iscluster(fd, &id));
    patchFile(path("file.dat"), kRowLen, sound.data.substr(kRowLen, 1));
    EXPECT_OK(iswrite(fd, row(40)));
    EXPECT_OK(isclose(fd));
    expectSoundLog();
    EXPECT_OK(islogclose());
    const Held expected = heldBy(base());

    std::ofstream(path("file.idx"), std::ios::binary | std::ios::trunc) << start.index;
    std::ofstream(path("file.dat"), std::ios::binary | std::ios::trunc) << start.data;
    startLog();
    EXPECT_OK(isrecover());
    EXPECT_TRUE(heldBy(base()).records == expected.records);
    EXPECT_FALSE(temporaryThere());
}

// The old file's closing is in the log already when that of the new one finds no room. It is still open, and said to
// be.
TEST_F(ClusterLog, FileIsSaidToBeOpenAgainAfterAFailure) {
    startLog();
    const int other = buildNamed(path("other"));
    for (long n = 1; n <= 200; ++n)
        put(other, row(n));
    const int fd = source();
    int done = -1;
    const std::vector<LogRecord> records = clusterLogged(fd, &done);
    ASSERT_EQ(joined(records), "BU FO CI FC FC ER RE FO");
    // Nothing of the second closing fits; the opening is shorter, since the temporary name is the longer one.
    const std::uintmax_t room = records[5].offset - records[0].offset - 1;
    {
        const SizeLimit limit(contents(log()).size() + room);
        EXPECT_FAILS(ISERR_LOGWRITE, iscluster(done, &id));
    }
    EXPECT_OK(iswrite(done, row(40)));
    const std::vector<LogRecord> all = logOf(log());
    EXPECT_EQ(joined({all.end() - 3, all.end()}), "FC FO IN");
    EXPECT_EQ((all.end() - 2)->body, fileBody(done, base()));
    EXPECT_FALSE(temporaryThere());
}

TEST_F(ClusterLog, NewLogBehindIt) {
    startLog();
    int fd = source();
    fd = iscluster(fd, &id);
    EXPECT_OK(isclose(fd));
    EXPECT_OK(islogclose());
    dontCheck();
    const Image clustered = imageOf(base());
    std::remove(log().c_str());
    startLog();
    fd = open(kMode);
    EXPECT_OK(iswrite(fd, row(40)));
    EXPECT_OK(isdelete(fd, row(10)));
    EXPECT_OK(isclose(fd));
    EXPECT_OK(islogclose());
    const Held expected = heldBy(base());
    std::ofstream(path("file.idx"), std::ios::binary | std::ios::trunc) << clustered.index;
    std::ofstream(path("file.dat"), std::ios::binary | std::ios::trunc) << clustered.data;
    startLog();
    EXPECT_OK(isrecover());
    EXPECT_TRUE(heldBy(base()).records == expected.records);
}

// The device takes no byte: the first record already cannot be written, and the old file stays.
TEST_F(ClusterLog, LogThatCannotBeWritten) {
    const int fd = source();
    const Image before = imageOf(base());
    EXPECT_OK(islogopen("/dev/full"));
    EXPECT_FAILS(ISERR_LOGWRITE, iscluster(fd, &id));
    EXPECT_TRUE(imageOf(base()) == before);
    EXPECT_FALSE(temporaryThere());
    EXPECT_OK(islogclose());
    EXPECT_EQ(idsBy(fd, noKey()), (Ids{30, 10, 20}));
    EXPECT_EQ(idsBy(iscluster(fd, &id), noKey()), (Ids{10, 20, 30}));
}

// Wherever the log ends, the file is as it was, with its handle, or it is clustered under its name and closed.
TEST_F(ClusterLog, LogThatFillsUpOnTheWay) {
    startLog();
    // The log is the longest file, so that the limit concerns it alone.
    const int other = buildNamed(path("other"));
    for (long n = 1; n <= 200; ++n)
        put(other, row(n));
    int fd = source();
    int undone = 0, closed = 0;
    for (std::uintmax_t more = 0; more < 2000 && closed < 100; more += 7) {
        SCOPED_TRACE(more);
        const Image before = imageOf(base());
        const std::uintmax_t size = contents(log()).size();
        int done;
        {
            const SizeLimit limit(size + more);
            done = iscluster(fd, &id);
        }
        EXPECT_FALSE(temporaryThere());
        if (done >= 0) {
            EXPECT_GT(undone, 10);
            EXPECT_GT(closed, 0);
            EXPECT_EQ(idsBy(done, noKey()), (Ids{10, 20, 30}));
            return;
        }
        ASSERT_EQ(iserrno, ISERR_LOGWRITE);
        if (iswrite(fd, row(-1)) == 0) {
            EXPECT_OK(isdelete(fd, row(-1)));
            ++undone;
            continue;
        }
        ASSERT_EQ(iserrno, ISERR_NOTOPEN);
        ++closed;
        fd = open(kMode);
        ASSERT_GE(fd, 0);
        EXPECT_EQ(idsBy(fd, noKey()), (Ids{10, 20, 30}));
        EXPECT_FALSE(imageOf(base()) == before);
        // Out of order again, for the next attempt.
        EXPECT_OK(isdelrec(fd, 1));
        EXPECT_OK(iswrite(fd, row(10)));
        EXPECT_OK(isdelrec(fd, 3));
        EXPECT_OK(iswrite(fd, row(30)));
    }
    ADD_FAILURE() << "never done: " << undone << " times undone, " << closed << " times closed";
}

}  // namespace
}  // namespace api
