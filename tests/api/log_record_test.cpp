// What log records hold: head, links and bodies.
#include "logs.h"

#include <ctime>
#include <unistd.h>

namespace api {
namespace {

class LogBody : public LogTest {
  protected:
    std::string lastBody() { return logOf(log()).back().body; }
    static std::string fixed(const Row &record) { return std::string(record.bytes, kRowLen); }
};

TEST_F(LogBody, HeadNamesTheWriter) {
    const auto before = static_cast<unsigned long>(std::time(nullptr));
    startLog();
    build();
    EXPECT_OK(isbegin());
    for (const LogRecord &record : logOf(log())) {
        SCOPED_TRACE(record.type);
        EXPECT_EQ(record.process, static_cast<unsigned long>(getpid()) & 0xffffU);
        EXPECT_EQ(record.user, static_cast<unsigned long>(getuid()) & 0xffffU);
        EXPECT_GE(record.time, before);
        EXPECT_LE(record.time, static_cast<unsigned long>(std::time(nullptr)));
        EXPECT_EQ(record.previous, 0U);
        EXPECT_EQ(record.previousLength, 0U);
    }
}

TEST_F(LogBody, UserIsCutToSixteenBits) {
    if (geteuid() != 0) return;
    startLog();
    EXPECT_EQ(inChild([] {
                  if (setuid(70000) != 0 || isbegin() != 0) _exit(1);
                  _exit(0);
              }),
              0);
    EXPECT_EQ(logOf(log()).back().user, 4464U);
}

TEST_F(LogBody, RecordsOfATransactionAreChained) {
    startLog();
    const int fd = buildTrans();
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(fd, row(1)));
    EXPECT_OK(isrewrite(fd, row(1, "a")));
    EXPECT_OK(isdelete(fd, row(1)));
    EXPECT_OK(iscommit());
    const std::vector<LogRecord> records = logOf(log());
    ASSERT_EQ(types(), "BU FO BW IN UP DE CW");
    EXPECT_EQ(records[2].previous, 0U);
    EXPECT_EQ(records[2].previousLength, 0U);
    for (std::size_t i = 3; i < records.size(); ++i) {
        EXPECT_EQ(records[i].previous, records[i - 1].offset) << i;
        EXPECT_EQ(records[i].previousLength, records[i - 1].length) << i;
    }
}

TEST_F(LogBody, OnlyWhatBelongsToTheTransactionIsChained) {
    startLog();
    const int fd = buildTrans();
    const int plain = open();
    long id = 0;
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(plain, row(1)));
    EXPECT_OK(isuniqueid(fd, &id));
    EXPECT_OK(iswrite(fd, row(2)));
    EXPECT_OK(iscommit());
    EXPECT_OK(iswrite(fd, row(3)));
    const std::vector<LogRecord> records = logOf(log());
    ASSERT_EQ(types(), "BU FO FO BW IN UN IN CW IN");
    EXPECT_EQ(records[4].previousLength, 0U);
    EXPECT_EQ(records[5].previousLength, 0U);
    EXPECT_EQ(records[6].previous, records[3].offset);
    EXPECT_EQ(records[7].previous, records[6].offset);
    EXPECT_EQ(records[8].previousLength, 0U);
}

TEST_F(LogBody, BodiesOfFiles) {
    startLog();
    const int fd = buildVar(ISINOUT | ISTRANS | ISCOMPRESS);
    std::vector<LogRecord> records = logOf(log());
    const int mode = ISINOUT | ISTRANS | ISCOMPRESS | ISVARLEN | ISLOCKMANUAL;
    EXPECT_EQ(records.at(0).body, buildBody(mode, kRowLen, kVarMax, idKey(), base()));
    EXPECT_EQ(records.at(1).body, fileBody(fd, base(), true));
    EXPECT_OK(isclose(fd));
    EXPECT_EQ(lastBody(), fileBody(fd, base(), true));
    buildNamed(path("b"), ISINOUT, nameKey(ISDUPS | ISLEADCOMP));
    records = logOf(log());
    EXPECT_EQ(records.at(3).body,
              buildBody(ISINOUT | ISLOCKMANUAL, kRowLen, kRowLen, nameKey(ISDUPS | ISLEADCOMP), path("b")));
    EXPECT_EQ(records.at(4).body, fileBody(0, path("b")));
}

TEST_F(LogBody, BodiesOfWholeFileCalls) {
    EXPECT_OK(isclose(fill({1})));
    dontCheck();
    startLog();
    EXPECT_OK(isrename(base(), path("longer").c_str()));
    EXPECT_EQ(lastBody(), renameBody(base(), path("longer")));
    EXPECT_OK(iserase(path("longer").c_str()));
    EXPECT_EQ(lastBody(), nul(path("longer")));
}

TEST_F(LogBody, BodiesOfIndexesAndUniqueIds) {
    startLog();
    const int fd = build();
    KeyDesc key = keyDesc(ISDUPS | ISNULLKEY, {{kNameAt, 3, CHARTYPE | ISDESC, ' '}, {0, 4, LONGTYPE, 7}});
    EXPECT_OK(isaddindex(fd, &key));
    EXPECT_EQ(lastBody(), int2(static_cast<unsigned long>(fd)) + keyBody(key));
    EXPECT_OK(isdelindex(fd, &key));
    EXPECT_EQ(lastBody(), int2(static_cast<unsigned long>(fd)) + keyBody(key));
    long id = 0;
    EXPECT_OK(issetunique(fd, 70000));
    EXPECT_EQ(lastBody(), uniqueBody(fd, 70000));
    EXPECT_OK(isuniqueid(fd, &id));
    EXPECT_EQ(lastBody(), uniqueBody(fd, 70000));
    EXPECT_OK(isuniqueid(fd, &id));
    EXPECT_EQ(lastBody(), uniqueBody(fd, 70001));
}

TEST_F(LogBody, ImagesOfFixedRecords) {
    startLog();
    build(ISINOUT | ISNOLOG);
    const int fd = open();
    EXPECT_OK(iswrite(fd, row(1, "one")));
    EXPECT_EQ(lastBody(), recordBody(fd, 1, fixed(row(1, "one"))));
    EXPECT_OK(iswrite(fd, row(2, "two")));
    EXPECT_EQ(lastBody(), recordBody(fd, 2, fixed(row(2, "two"))));
    isreclen = 7;
    EXPECT_OK(isrewrite(fd, row(1, "eins")));
    EXPECT_EQ(lastBody(), updateBody(fd, 1, fixed(row(1, "one")), fixed(row(1, "eins"))));
    EXPECT_EQ(isreclen, 7);
    EXPECT_OK(isdelete(fd, row(1, "not this one")));
    EXPECT_EQ(lastBody(), recordBody(fd, 1, fixed(row(1, "eins"))));
}

TEST_F(LogBody, ImagesOfVariableRecordsAreWhole) {
    for (const int compress : {0, ISCOMPRESS}) {
        const std::string name = compress != 0 ? "b" : "a";
        startLog();
        const int fd = buildVarNamed(path(name), ISINOUT | compress);
        const std::string one = rec(row(1), std::string(2000, ' ')), two = rec(1, 3000);
        EXPECT_OK(send(iswrite, fd, one));
        EXPECT_EQ(lastBody(), recordBody(fd, 1, one));
        EXPECT_OK(send(isrewrite, fd, two));
        EXPECT_EQ(isreclen, kRowLen + 3000);
        EXPECT_EQ(lastBody(), updateBody(fd, 1, one, two));
        EXPECT_OK(send(isrewrite, fd, rec(1)));
        EXPECT_EQ(lastBody(), updateBody(fd, 1, two, rec(1)));
        EXPECT_OK(send(isrewrite, fd, one));
        EXPECT_EQ(lastBody(), updateBody(fd, 1, rec(1), one));
        isreclen = 9;
        EXPECT_OK(isdelete(fd, row(1)));
        EXPECT_EQ(isreclen, 9);
        EXPECT_EQ(lastBody(), recordBody(fd, 1, one));
        EXPECT_OK(islogclose());
    }
}

TEST_F(LogBody, ImagesAreAtLeastTheMinimum) {
    startLog();
    const int fd = buildVar();
    for (const int length : {0, 4, kRowLen - 1, -3}) {
        SCOPED_TRACE(length);
        EXPECT_OK(sendAs(length, iswrite, fd, rec(1)));
        EXPECT_EQ(lastBody(), recordBody(fd, 1, rec(1)));
        EXPECT_OK(sendAs(length, isrewrite, fd, rec(row(1, "a"))));
        EXPECT_EQ(lastBody(), updateBody(fd, 1, rec(1), rec(row(1, "a"))));
        EXPECT_EQ(isreclen, length);
        EXPECT_OK(isdelete(fd, row(1)));
        EXPECT_EQ(lastBody(), recordBody(fd, 1, rec(row(1, "a"))));
    }
}

TEST_F(LogBody, LongestRecordOfAllFits) {
    startLog();
    KeyDesc key = keyDesc(0, {{0, 4}});
    const int fd = isvbuild(base(), 4, ISMAXVARLEN, &key, ISINOUT | ISVARLEN);
    const std::string one = letters(ISMAXVARLEN), two = letters(4) + letters(ISMAXVARLEN - 4, 9);
    EXPECT_OK(send(iswrite, fd, one));
    const std::string changed = one.substr(0, 4) + two.substr(4);
    EXPECT_OK(send(isrewrite, fd, changed));
    EXPECT_EQ(logOf(log()).back().length, 30U + 2 * ISMAXVARLEN);
    EXPECT_EQ(lastBody(), updateBody(fd, 1, one, changed));
}

}  // namespace
}  // namespace api
