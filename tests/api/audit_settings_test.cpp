// A file's audit settings: name and state, where they are kept, who sees them.
#include "audits.h"

#include <climits>
#include <unistd.h>

namespace api {
namespace {

class AuditSettings : public AuditTest {
  protected:
    int call(int fd, const std::string &buffer, int mode) {
        std::string copy = buffer + std::string(100, '\0');
        return isaudit(fd, copy.data(), mode);
    }
};

TEST_F(AuditSettings, WithoutANameNothingElseIsPossible) {
    const int fd = build();
    char buffer[ISAUDNAMELEN + 1] = "untouched";
    for (const int mode : {ISAUDGETNAME, ISAUDSTART, ISAUDSTOP, ISAUDINFO})
        expectRefused(base(), ISERR_ARGUMENT, [&] { return isaudit(fd, buffer, mode); });
    EXPECT_STREQ(buffer, "untouched");
    EXPECT_OK(iswrite(fd, row(1)));
}

TEST_F(AuditSettings, NameIsKeptAndComesBack) {
    int fd = build();
    setName(fd, "one name");
    EXPECT_EQ(nameOf(fd), "one name");
    EXPECT_EQ(isOn(fd), 0);
    setName(fd, "another");
    EXPECT_EQ(nameOf(fd), "another");
    EXPECT_OK(isclose(fd));
    fd = open();
    EXPECT_EQ(nameOf(fd), "another");
    EXPECT_EQ(isOn(fd), 0);
}

TEST_F(AuditSettings, NamesHaveSixtyFourBytesAtTheMost) {
    const int fd = build();
    const std::string longest(64, 'n');
    expectRefused(base(), ISERR_NAMETOOLONG, [&] { return call(fd, longest + "n", ISAUDSETNAME); });
    expectRefused(base(), ISERR_NAMETOOLONG, [&] { return call(fd, std::string(1000, 'n'), ISAUDSETNAME); });
    EXPECT_FAILS(ISERR_ARGUMENT, call(fd, "", ISAUDGETNAME));
    setName(fd, longest);
    EXPECT_EQ(nameOf(fd), longest);
    char buffer[70];
    std::fill(std::begin(buffer), std::end(buffer), '?');
    EXPECT_OK(isaudit(fd, buffer, ISAUDGETNAME));
    EXPECT_EQ(std::string(buffer, 66), longest + '\0' + '?');
    expectRefused(base(), ISERR_NAMETOOLONG, [&] { return call(fd, longest + "n", ISAUDSETNAME); });
    EXPECT_EQ(nameOf(fd), longest);
    EXPECT_OK(isclose(fd));
    EXPECT_EQ(nameOf(open()), longest);
}

TEST_F(AuditSettings, ShorterNameLeavesNothingOfTheLonger) {
    const int fd = build();
    setName(fd, std::string(64, 'n'));
    setName(fd, "ab");
    EXPECT_EQ(nameOf(fd), "ab");
    const unsigned long node = numberAt(contents(path("file.idx")), 49, 4);
    const std::string bytes = nodeOf(imageOf(base()), node);
    EXPECT_EQ(bytes.substr(0, 7), std::string("\0\x06\0\0ab\0", 7));
    EXPECT_EQ(bytes.substr(7, 62), std::string(62, '\0'));
}

TEST_F(AuditSettings, StateIsSwitchedAndAskedFor) {
    int fd = build();
    setName(fd, trail());
    EXPECT_OK(isaudit(fd, nullptr, ISAUDSTART));
    EXPECT_EQ(isOn(fd), 1);
    EXPECT_OK(isaudit(fd, nullptr, ISAUDSTART));
    EXPECT_EQ(isOn(fd), 1);
    EXPECT_OK(isclose(fd));
    fd = open();
    EXPECT_EQ(isOn(fd), 1);
    EXPECT_OK(isaudit(fd, nullptr, ISAUDSTOP));
    EXPECT_EQ(isOn(fd), 0);
    EXPECT_OK(isaudit(fd, nullptr, ISAUDSTOP));
    EXPECT_EQ(nameOf(fd), trail());
}

TEST_F(AuditSettings, NewNameLeavesTheState) {
    const int fd = build();
    startAudit(fd);
    setName(fd, path("second"));
    EXPECT_EQ(isOn(fd), 1);
    EXPECT_OK(iswrite(fd, row(1)));
    EXPECT_FALSE(exists(trail()));
    EXPECT_TRUE(exists(path("second")));
    EXPECT_OK(isaudit(fd, nullptr, ISAUDSTOP));
    setName(fd, trail());
    EXPECT_EQ(isOn(fd), 0);
}

TEST_F(AuditSettings, SettingsTakeOneNode) {
    const int fd = fill({1, 2});
    const unsigned long before = lastNode(base());
    EXPECT_EQ(numberAt(contents(path("file.idx")), 49, 4), 0U);
    setName(fd, trail());
    EXPECT_EQ(numberAt(contents(path("file.idx")), 49, 4), before + 1);
    EXPECT_EQ(contents(path("file.idx")).size(), (before + 1) * 1024);
    setName(fd, "other");
    EXPECT_OK(isaudit(fd, nullptr, ISAUDSTART));
    EXPECT_OK(isaudit(fd, nullptr, ISAUDSTOP));
    EXPECT_EQ(lastNode(base()), before + 1);
}

TEST_F(AuditSettings, EachChangeRaisesTheChangeCounterOnce) {
    const int fd = fill({1});
    const auto raised = [&](int mode) {
        const unsigned long before = changeCounter(imageOf(base()));
        EXPECT_OK(call(fd, trail(), mode));
        return changeCounter(imageOf(base())) - before;
    };
    for (int round = 0; round < 2; ++round) {
        for (const int mode : {ISAUDSETNAME, ISAUDSTART, ISAUDSTOP})
            EXPECT_EQ(raised(mode), 1U) << mode;
        for (const int mode : {ISAUDGETNAME, ISAUDINFO})
            EXPECT_EQ(raised(mode), 0U) << mode;
    }
}

TEST_F(AuditSettings, OtherHandlesSeeChangesAtOnce) {
    const int one = fill({1}), two = open();
    EXPECT_EQ(readId(two, ISFIRST), 1);
    setName(one, trail());
    EXPECT_EQ(nameOf(two), trail());
    EXPECT_OK(isaudit(one, nullptr, ISAUDSTART));
    EXPECT_OK(iswrite(two, row(2)));
    expectTrail({entry("aa", 2, rec(2))});
    EXPECT_OK(isaudit(two, nullptr, ISAUDSTOP));
    EXPECT_EQ(isOn(one), 0);
    EXPECT_OK(iswrite(one, row(3)));
    setName(two, path("second"));
    EXPECT_OK(isaudit(one, nullptr, ISAUDSTART));
    EXPECT_OK(iswrite(one, row(4)));
    EXPECT_OK(iswrite(two, row(5)));
    expectTrail({entry("aa", 2, rec(2))});
    expectTrail(path("second"), {entry("aa", 4, rec(4)), entry("aa", 5, rec(5))});
}

TEST_F(AuditSettings, HandleOpenedBeforeTheFirstNameSeesIt) {
    const int one = fill({1}), two = open();
    EXPECT_OK(iswrite(two, row(2)));
    startAudit(one);
    EXPECT_OK(isrewrite(two, row(2, "x")));
    EXPECT_OK(isdelete(two, row(1)));
    expectTrail({entry("rr", 2, rec(2)), entry("ww", 2, rec(row(2, "x"))), entry("dd", 1, rec(1))});
}

TEST_F(AuditSettings, ModesBelowZeroAreRefused) {
    const int fd = build();
    setName(fd, trail());
    for (const int mode : {-1, -5, INT_MIN})
        expectRefused(base(), ISERR_ARGUMENT, [&] { return call(fd, "x", mode); });
    EXPECT_EQ(nameOf(fd), trail());
}

TEST_F(AuditSettings, NullBuffersAreRefusedWhereOneIsNeeded) {
    const int fd = build();
    expectRefused(base(), ISERR_ARGUMENT, [=] { return isaudit(fd, nullptr, ISAUDSETNAME); });
    setName(fd, trail());
    for (const int mode : {ISAUDSETNAME, ISAUDGETNAME, ISAUDINFO})
        expectRefused(base(), ISERR_ARGUMENT, [=] { return isaudit(fd, nullptr, mode); });
    EXPECT_OK(isaudit(fd, nullptr, ISAUDSTART));
    EXPECT_OK(isaudit(fd, nullptr, ISAUDSTOP));
}

TEST_F(AuditSettings, HandlesForInputAreRefused) {
    const int fd = build();
    setName(fd, trail());
    const int reader = open(ISINPUT), writer = open(ISOUTPUT);
    for (const int mode : {ISAUDSETNAME, ISAUDGETNAME, ISAUDSTART, ISAUDSTOP, ISAUDINFO})
        expectRefused(base(), ISERR_ARGUMENT, [=, this] { return call(reader, "x", mode); });
    EXPECT_EQ(nameOf(writer), trail());
    EXPECT_OK(isaudit(writer, nullptr, ISAUDSTART));
    EXPECT_EQ(isOn(fd), 1);
}

TEST_F(AuditSettings, ModesAboveFourEndTheProcess) {
    const int fd = build();
    setName(fd, trail());
    for (const int mode : {5, 6, INT_MAX}) {
        SCOPED_TRACE(mode);
        std::string output;
        EXPECT_EQ(inChild(
                      [=, this] {
                          call(fd, "x", mode);
                          _exit(50);
                      },
                      &output),
                  1);
        EXPECT_EQ(output, "fatal isam error isaudit.c(56)\n");
    }
}

TEST_F(AuditSettings, GlobalsOfOtherCallsStay) {
    const int fd = build();
    isrecnum = 77;
    isreclen = 78;
    iserrno = iserrio = 79;
    EXPECT_OK(call(fd, "x", ISAUDSETNAME));
    EXPECT_RESULTS(77, 78);
    EXPECT_OK(isaudit(fd, nullptr, ISAUDSTART));
    EXPECT_RESULTS(77, 78);
    EXPECT_OK(isaudit(fd, nullptr, ISAUDSTOP));
    EXPECT_EQ(nameOf(fd), "x");
    EXPECT_RESULTS(77, 78);
}

TEST_F(AuditSettings, KeptBesideTailsAndFreeNodes) {
    const int fd = fillVar({3000, 100});
    EXPECT_OK(isdelrec(fd, 1));
    const unsigned long nodes = lastNode(base());
    setName(fd, trail());
    // A free node is taken first.
    EXPECT_EQ(lastNode(base()), nodes);
    EXPECT_OK(send(iswrite, fd, rec(30, 4000)));
    EXPECT_EQ(nameOf(fd), trail());
    EXPECT_EQ(allOf(fd), (Records{rec(20, 100), rec(30, 4000)}));
}

}  // namespace
}  // namespace api
