// Opening and closing the log.
#include "logs.h"

#include <cerrno>

namespace api {
namespace {

class LogOpen : public LogTest {};

TEST_F(LogOpen, NullPathIsRefused) {
    EXPECT_FAILS(ISERR_ARGUMENT, islogopen(nullptr));
    EXPECT_FAILS(ISERR_NOLOG, isbegin());
}

TEST_F(LogOpen, LogThatCannotBeOpenedLeavesLoggingOff) {
    const int before = openDescriptors();
    for (const std::string &bad : {path("none/log"), directory(), std::string()}) {
        SCOPED_TRACE(bad);
        EXPECT_FAILS(ISERR_LOGOPEN, islogopen(bad.c_str()));
        EXPECT_FAILS(ISERR_NOLOG, isbegin());
    }
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_FALSE(exists(path("none")));
    EXPECT_OK(iswrite(build(), row(1)));
}

TEST_F(LogOpen, LogIsMadeEmpty) {
    const int before = openDescriptors();
    iserrno = 77;
    startLog();
    EXPECT_EQ(iserrno, 0);
    EXPECT_TRUE(exists(log()));
    EXPECT_EQ(contents(log()), "");
    EXPECT_EQ(openDescriptors(), before + 1);
    EXPECT_OK(islogclose());
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(LogOpen, NameIsTakenAsItIs) {
    EXPECT_OK(islogopen(path("trail.of.changes").c_str()));
    EXPECT_TRUE(exists(path("trail.of.changes")));
    EXPECT_FALSE(exists(path("trail.of.changes.log")));
}

TEST_F(LogOpen, SecondOpenDoesNothing) {
    startLog();
    const int before = openDescriptors();
    EXPECT_OK(islogopen(path("other").c_str()));
    EXPECT_OK(islogopen(path("none/log").c_str()));
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_FALSE(exists(path("other")));
    build();
    EXPECT_EQ(types(), "BU FO");
    // One close is enough.
    EXPECT_OK(islogclose());
    EXPECT_FAILS(ISERR_NOLOG, isbegin());
}

TEST_F(LogOpen, ExistingLogIsGoneOnWith) {
    startLog();
    EXPECT_OK(isclose(build()));
    EXPECT_OK(islogclose());
    const std::string before = contents(log());
    startLog();
    EXPECT_EQ(contents(log()), before);
    open();
    EXPECT_EQ(types(), "BU FO FC FO");
    EXPECT_EQ(contents(log()).substr(0, before.size()), before);
}

TEST_F(LogOpen, CloseWithoutLogSucceeds) {
    EXPECT_OK(islogclose());
    startLog();
    EXPECT_OK(islogclose());
    EXPECT_OK(islogclose());
}

TEST_F(LogOpen, NothingIsLoggedAfterTheClose) {
    startLog();
    const int fd = build();
    EXPECT_OK(islogclose());
    EXPECT_OK(iswrite(fd, row(1)));
    EXPECT_OK(isclose(fd));
    EXPECT_EQ(types(), "BU FO");
}

TEST_F(LogOpen, ChangesOfFilesOpenBeforeAreLogged) {
    const int fd = fill({1});
    startLog();
    EXPECT_OK(iswrite(fd, row(2)));
    EXPECT_EQ(types(), "IN");
}

TEST_F(LogOpen, CloseIsLoggedOnlyAfterTheOpenWas) {
    const int early = fill({1});
    startLog();
    const int late = open();
    EXPECT_OK(isclose(early));
    EXPECT_EQ(types(), "FO");
    EXPECT_OK(isclose(late));
    EXPECT_EQ(types(), "FO FC");
}

TEST_F(LogOpen, OpeningInAnotherLogDoesNotCount) {
    startLog();
    const int fd = build();
    EXPECT_OK(islogclose());
    EXPECT_OK(islogopen(path("other").c_str()));
    EXPECT_OK(iswrite(fd, row(1)));
    EXPECT_OK(isclose(fd));
    EXPECT_EQ(types(), "BU FO");
    EXPECT_EQ(typesOf(path("other")), "IN");
}

TEST_F(LogOpen, BeginAndRecoverNeedALog) {
    const struct {
        int code;
        int (*call)();
    } cases[] = {{ISERR_NOLOG, isbegin},
                 {ISERR_NOLOG, isrecover},
                 {ISERR_NOTRANSACTION, iscommit},
                 {ISERR_NOTRANSACTION, isrollback}};
    for (const auto &c : cases) {
        errno = 0;  // which carries the codes of these calls: none may be left over
        EXPECT_FAILS(c.code, c.call());
    }
}

TEST_F(LogOpen, GlobalsOfOtherCallsStay) {
    isrecnum = 77;
    isreclen = 78;
    startLog();
    EXPECT_OK(isbegin());
    EXPECT_EQ(isrecnum, 77);
    EXPECT_EQ(isreclen, 78);
}

TEST_F(LogOpen, FullDeviceRefusesTheFirstRecord) {
    if (!exists("/dev/full")) return;
    EXPECT_OK(islogopen("/dev/full"));
    EXPECT_FAILS(ISERR_LOGWRITE, isbegin());
    // No transaction has begun.
    EXPECT_FAILS(ISERR_NOTRANSACTION, iscommit());
}

TEST_F(LogOpen, FullDeviceFailsOpensWithoutLeavingThemOpen) {
    if (!exists("/dev/full")) return;
    EXPECT_OK(isclose(fill({1})));
    EXPECT_OK(islogopen("/dev/full"));
    const int before = openDescriptors();
    EXPECT_FAILS(ISERR_LOGWRITE, open());
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_FAILS(ISERR_NOTOPEN, isclose(0));
    EXPECT_EQ(open(ISINOUT | ISNOLOG), 0);
}

}  // namespace
}  // namespace api
