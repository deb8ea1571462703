// Which calls are logged, and as what.
#include "logs.h"

namespace api {
namespace {

class LogTypes : public LogTest {
  protected:
    // What a step adds to the log.
    std::string added(const std::function<void()> &step) {
        const std::size_t before = logOf(log()).size();
        step();
        std::string types;
        const std::vector<LogRecord> records = logOf(log());
        for (std::size_t i = before; i < records.size(); ++i)
            types += (types.empty() ? "" : " ") + records[i].type;
        return types;
    }
};

TEST_F(LogTypes, FilesComeAndGo) {
    startLog();
    int fd = -1;
    EXPECT_EQ(added([&] { fd = build(); }), "BU FO");
    EXPECT_EQ(added([&] { EXPECT_OK(isclose(fd)); }), "FC");
    EXPECT_EQ(added([&] { fd = open(); }), "FO");
    EXPECT_EQ(added([&] { EXPECT_OK(iscleanup()); }), "FC");
    EXPECT_EQ(added([&] { EXPECT_OK(isrename(base(), path("new").c_str())); }), "RE");
    EXPECT_EQ(added([&] { EXPECT_OK(iserase(path("new").c_str())); }), "ER");
    dontCheck();
}

TEST_F(LogTypes, EveryWayToAddReplaceAndRemove) {
    startLog();
    const int fd = build();
    EXPECT_EQ(added([=] { EXPECT_OK(iswrite(fd, row(1))); }), "IN");
    EXPECT_EQ(added([=] { EXPECT_OK(iswrlock(fd, row(2))); }), "IN");
    EXPECT_EQ(added([=] { EXPECT_OK(iswrcurr(fd, row(3))); }), "IN");
    EXPECT_EQ(added([=] { EXPECT_OK(isrewrite(fd, row(1, "a"))); }), "UP");
    EXPECT_EQ(added([=] { EXPECT_OK(isrewrec(fd, 2, row(2, "b"))); }), "UP");
    EXPECT_EQ(added([=] { EXPECT_OK(isrewcurr(fd, row(3, "c"))); }), "UP");
    EXPECT_OK(isgoto(fd, 1));
    EXPECT_EQ(added([=] { EXPECT_OK(isrewnxt(fd, row(1, "d"))); }), "UP");
    EXPECT_OK(isgoto(fd, 3));
    EXPECT_EQ(added([=] { EXPECT_FAILS(ISERR_ENDOFFILE, isrewnxt(fd, row(3, "e"))); }), "UP");
    EXPECT_EQ(added([=] { EXPECT_OK(isdelcurr(fd)); }), "DE");
    EXPECT_EQ(added([=] { EXPECT_OK(isdelrec(fd, 2)); }), "DE");
    EXPECT_EQ(added([=] { EXPECT_OK(isdelete(fd, row(1))); }), "DE");
}

TEST_F(LogTypes, IndexesAndUniqueIds) {
    startLog();
    const int fd = build();
    long id = 0;
    KeyDesc key = nameKey();
    EXPECT_EQ(added([&] { EXPECT_OK(isaddindex(fd, &key)); }), "CI");
    EXPECT_EQ(added([&] { EXPECT_OK(isdelindex(fd, &key)); }), "DI");
    EXPECT_EQ(added([&] { EXPECT_OK(issetunique(fd, 100)); }), "SU");
    EXPECT_EQ(added([&] { EXPECT_OK(isuniqueid(fd, &id)); }), "UN");
}

TEST_F(LogTypes, TransactionsAreFramed) {
    startLog();
    EXPECT_EQ(added([] { EXPECT_OK(isbegin()); }), "BW");
    EXPECT_EQ(added([] { EXPECT_OK(iscommit()); }), "CW");
    EXPECT_EQ(added([] { EXPECT_OK(isbegin()); }), "BW");
    EXPECT_EQ(added([] { EXPECT_OK(isrollback()); }), "RW");
}

TEST_F(LogTypes, ReadsLocksAndSettingsAreNotLogged) {
    startLog();
    const int fd = build();
    EXPECT_OK(iswrite(fd, row(1)));
    const std::string before = contents(log());
    Row got;
    char bytes[ISUSERINFOLEN] = "123456789";
    long last = 0;
    EXPECT_OK(isread(fd, got, ISFIRST | ISLOCK));
    EXPECT_OK(isrelease(fd));
    EXPECT_OK(islock(fd));
    EXPECT_OK(isunlock(fd));
    EXPECT_OK(isuserinfo(fd, 1, bytes));
    EXPECT_OK(isprecious(fd, 1));
    EXPECT_OK(isprecious(fd, 0));
    EXPECT_OK(islastrec(fd, &last));
    EXPECT_OK(issetlastrec(fd, 1));
    char name[] = "trail";
    EXPECT_OK(isaudit(fd, name, ISAUDSETNAME));
    EXPECT_EQ(contents(log()), before);
    dontCheck();
}

TEST_F(LogTypes, FailedCallsAreNotLogged) {
    startLog();
    const int fd = build();
    add(fd, groupKey(ISNODUPS));
    EXPECT_OK(iswrite(fd, row(1, "a", 1)));
    EXPECT_OK(iswrite(fd, row(2, "a", 2)));
    const std::string before = contents(log());
    KeyDesc key = idKey(), name = nameKey(ISNODUPS), group = groupKey();
    EXPECT_FAILS(ISERR_DUPLICATE, iswrite(fd, row(1)));
    EXPECT_FAILS(ISERR_DUPLICATE, isrewrite(fd, row(1, "a", 2)));
    EXPECT_FAILS(ISERR_NOTFOUND, isrewrite(fd, row(9)));
    EXPECT_FAILS(ISERR_NOTFOUND, isdelete(fd, row(9)));
    EXPECT_FAILS(ISERR_NOCURRENT, isdelrec(fd, 9));
    EXPECT_FAILS(ISERR_DUPLICATE, isaddindex(fd, &name));
    EXPECT_FAILS(ISERR_INDEXEXISTS, isaddindex(fd, &group));
    EXPECT_FAILS(ISERR_KEYDESC, isdelindex(fd, &name));
    EXPECT_EQ(isbuild(base(), kRowLen, &key, ISINOUT), -1);
    EXPECT_EQ(isopen(path("none").c_str(), ISINOUT), -1);
    EXPECT_FAILS(ISERR_FILEINUSE, open(ISINOUT | ISLOCKEXCL));
    EXPECT_FAILS(ISERR_ARGUMENT, openVar());
    EXPECT_FAILS(ISERR_FILEINUSE, iserase(base()));
    EXPECT_FAILS(ISERR_FILEINUSE, isrename(base(), path("new").c_str()));
    EXPECT_EQ(contents(log()), before);
}

TEST_F(LogTypes, TooLongRecordsAreNotLogged) {
    startLog();
    const int fd = buildVar(ISINOUT | ISTRANS);
    EXPECT_OK(send(iswrite, fd, rec(1, 100)));
    const std::string before = contents(log());
    expectRefused(base(), ISERR_ROWSIZE, [=] { return send(iswrite, fd, rec(2, kVarMax)); });
    expectRefused(base(), ISERR_ROWSIZE, [=] { return send(isrewrite, fd, rec(1, kVarMax)); });
    EXPECT_EQ(contents(log()), before);
}

TEST_F(LogTypes, FileWithoutLoggingWritesNothing) {
    startLog();
    int fd = build(ISINOUT | ISNOLOG | ISTRANS);
    long id = 0;
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(fd, row(1)));
    EXPECT_OK(isrewrite(fd, row(1, "a")));
    EXPECT_OK(isdelete(fd, row(1)));
    EXPECT_OK(issetunique(fd, 100));
    EXPECT_OK(isuniqueid(fd, &id));
    EXPECT_OK(iscommit());
    add(fd, nameKey());
    KeyDesc name = nameKey();
    EXPECT_OK(isdelindex(fd, &name));
    EXPECT_OK(isclose(fd));
    fd = open(ISINOUT | ISNOLOG);
    EXPECT_OK(isclose(fd));
    EXPECT_EQ(types(), "BW CW");
}

TEST_F(LogTypes, HandlesOfOneFileAreLoggedEachByItsMode) {
    startLog();
    const int quiet = build(ISINOUT | ISNOLOG);
    const int open_handle = open();
    EXPECT_OK(iswrite(quiet, row(1)));
    EXPECT_OK(iswrite(open_handle, row(2)));
    EXPECT_EQ(types(), "FO IN");
    EXPECT_EQ(logOf(log()).back().recnum(), 2U);
}

TEST_F(LogTypes, KeysWithoutRecordsAreNotLogged) {
    startLog();
    const int fd = build(ISINOUT | ISTRANS, idKey(), 0);
    isrecnum = 5;
    EXPECT_OK(iswrite(fd, row(1)));
    EXPECT_OK(isdelete(fd, row(1)));
    EXPECT_OK(isclose(fd));
    EXPECT_EQ(types(), "BU FO FC");
    dontCheck();
}

}  // namespace
}  // namespace api
