// Trails that cannot be written: the change is refused and leaves the files as they were.
#include "audits.h"

#include <cerrno>
#include <filesystem>

namespace api {
namespace {

// Ways to make every entry fail, with the error that comes of it.
struct Bad {
    const char *name;
    int code, io;
};

class AuditFailure : public AuditTest {
  protected:
    static std::vector<Bad> kinds() {
        std::vector<Bad> all = {{"missing directory", ENOENT, 0x23}, {"a directory", EISDIR, 0x23}};
        if (exists("/dev/full")) all.push_back({"full device", ENOSPC, 0x53});
        return all;
    }
    std::string trailFor(const Bad &bad) {
        if (bad.io == 0x53) return "/dev/full";
        if (bad.code == ENOENT) return path("none/trail");
        std::filesystem::create_directory(path("dir"));
        return path("dir");
    }
    void expectUnchanged(const std::string &name, const Bad &bad, const std::function<int()> &call) {
        const Image before = imageOf(name);
        iserrno = iserrio = 77;
        EXPECT_EQ(call(), -1);
        EXPECT_EQ(iserrno, bad.code);
        EXPECT_EQ(iserrio, bad.io);
        EXPECT_TRUE(imageOf(name) == before);
    }
};

TEST_F(AuditFailure, FixedRecordsStayAsTheyWere) {
    for (const Bad &bad : kinds()) {
        SCOPED_TRACE(bad.name);
        const std::string name = path(bad.name);
        const int fd = buildNamed(name);
        add(fd, nameKey(ISNODUPS));
        put(fd, row(1, "one"));
        put(fd, row(2, "two"));
        startAudit(fd, trailFor(bad));
        const int descriptors = openDescriptors();
        for (int (*const call)(int, char *) : {iswrite, iswrlock, iswrcurr})
            expectUnchanged(name, bad, [=] { return call(fd, row(3, "three")); });
        expectUnchanged(name, bad, [=] { return isrewrite(fd, row(1, "one", 5)); });
        expectUnchanged(name, bad, [=] { return isrewrite(fd, row(1, "eins")); });
        expectUnchanged(name, bad, [=] { return isrewrec(fd, 2, row(9, "nine")); });
        expectUnchanged(name, bad, [=] { return isdelete(fd, row(1)); });
        expectUnchanged(name, bad, [=] { return isdelrec(fd, 2); });
        EXPECT_EQ(openDescriptors(), descriptors);
        EXPECT_EQ(idsBy(fd, nameKey()), (Ids{1, 2}));
        const int other = isopen(name.c_str(), ISINOUT);
        EXPECT_OK(isaudit(other, nullptr, ISAUDSTOP));
        EXPECT_OK(iswrite(fd, row(3, "three")));
        EXPECT_EQ(isrecnum, 3);
        EXPECT_OK(isrewrite(other, row(3, "drei")));
        EXPECT_OK(isdelete(fd, row(1)));
        EXPECT_EQ(idsBy(fd, nameKey()), (Ids{3, 2}));
    }
}

TEST_F(AuditFailure, VariableRecordsStayAsTheyWere) {
    for (const Bad &bad : kinds()) {
        SCOPED_TRACE(bad.name);
        const std::string name = path(bad.name);
        const int fd = buildVarNamed(name);
        const Records all = {rec(1, 2500), rec(2), rec(3, 500)};
        for (const std::string &record : all)
            EXPECT_OK(send(iswrite, fd, record));
        startAudit(fd, trailFor(bad));
        for (const std::size_t tail : {0, 100, 994, 3000})
            expectUnchanged(name, bad, [=] { return send(iswrite, fd, rec(9, tail)); });
        for (const std::size_t tail : {0, 1, 995, 4000})
            for (const long id : {1, 2, 3})
                expectUnchanged(name, bad, [=] { return send(isrewrite, fd, rec(row(id, "new"), tail)); });
        expectUnchanged(name, bad, [=] { return sendTo(fd, 2, rec(9, 600)); });
        for (const long id : {1, 2, 3})
            expectUnchanged(name, bad, [=] { return isdelete(fd, row(id)); });
        EXPECT_EQ(allOf(fd), all);
        EXPECT_OK(isaudit(fd, nullptr, ISAUDSTOP));
        EXPECT_OK(send(isrewrite, fd, rec(1, 10)));
        EXPECT_OK(isdelete(fd, row(3)));
        EXPECT_EQ(allOf(fd), (Records{rec(1, 10), rec(2)}));
    }
}

TEST_F(AuditFailure, RefusedChangesAreNotLogged) {
    for (const Bad &bad : kinds()) {
        SCOPED_TRACE(bad.name);
        startLog();
        const int fd = buildNamed(path(bad.name), ISINOUT | ISTRANS);
        put(fd, row(1));
        put(fd, row(2));
        EXPECT_OK(isrelease(fd));
        startAudit(fd, trailFor(bad));
        EXPECT_OK(isbegin());
        EXPECT_EQ(iswrite(fd, row(3)), -1);
        EXPECT_EQ(isrewrite(fd, row(1, "x")), -1);
        EXPECT_EQ(isdelete(fd, row(2)), -1);
        EXPECT_EQ(lastType(log()), "BW");
        EXPECT_OK(isaudit(fd, nullptr, ISAUDSTOP));
        EXPECT_OK(isrollback());
        EXPECT_EQ(idsOf(fd), (Ids{1, 2}));
        EXPECT_OK(isclose(fd));
        EXPECT_OK(islogclose());
    }
}

TEST_F(AuditFailure, RefusedChangesLeaveNoLock) {
    startLog();
    const int fd = buildTrans();
    put(fd, row(1));
    EXPECT_OK(isrelease(fd));
    const int other = open();
    startAudit(fd, path("none/trail"));
    EXPECT_OK(isbegin());
    EXPECT_EQ(iswrlock(fd, row(3)), -1);
    EXPECT_EQ(isrewrite(fd, row(1, "x")), -1);
    EXPECT_TRUE(lockable(other, 1));
    EXPECT_OK(isaudit(fd, nullptr, ISAUDSTOP));
    EXPECT_OK(iswrite(other, row(3)));
    EXPECT_TRUE(lockable(other, 2));
    EXPECT_OK(iscommit());
}

TEST_F(AuditFailure, DuplicateIsReportedFirst) {
    const int fd = fill({1, 2});
    startAudit(fd, path("none/trail"));
    expectRefused(base(), ISERR_DUPLICATE, [=] { return iswrite(fd, row(1)); });
    expectRefused(base(), ISERR_DUPLICATE, [=] { return isrewrec(fd, 2, row(1)); });
}

// Of replacing and deleting, the log is told before the trail.
TEST_F(AuditFailure, RecordTooBigForTheLogIsReportedFirst) {
    constexpr int kLongest = 65535;
    const int fd = build(ISINOUT, idKey(), kLongest);
    std::string record(kLongest, 'x');
    stlong(1, record.data());
    EXPECT_OK(iswrite(fd, record.data()));
    startAudit(fd, path("none/trail"));
    startLog();
    expectRefused(base(), ISERR_LOGWRITE, [&] { return isrewrite(fd, record.data()); });
    expectRefused(base(), ISERR_LOGWRITE, [&] { return isrewrec(fd, 1, record.data()); });
    expectRefused(base(), ISERR_LOGWRITE, [&] { return isdelete(fd, record.data()); });
    expectRefused(base(), ISERR_LOGWRITE, [&] { return isdelrec(fd, 1); });
    EXPECT_OK(islogclose());
    expectUnchanged(base(), {"missing directory", ENOENT, 0x23}, [&] { return isdelrec(fd, 1); });
}

TEST_F(AuditFailure, ReadsDoNotNeedTheTrail) {
    const int fd = fill({1, 2});
    startAudit(fd, path("none/trail"));
    EXPECT_EQ(idsOf(fd), (Ids{1, 2}));
    EXPECT_OK(isclose(fd));
    EXPECT_EQ(idsOf(open()), (Ids{1, 2}));
}

TEST_F(AuditFailure, EmptyNameIsNoFile) {
    const int fd = fill({1, 2});
    startAudit(fd, "");
    EXPECT_EQ(nameOf(fd), "");
    expectUnchanged(base(), {"", ENOENT, 0x23}, [=] { return iswrite(fd, row(3)); });
}

TEST_F(AuditFailure, DamagedSettingsRefuseChanges) {
    const struct {
        const char *what;
        std::size_t offset;
        std::string bytes;
    } cases[] = {{"length too long", 0, std::string("\0\x45", 2)},
                 {"length too short", 0, std::string("\0\x03", 2)},
                 {"name without end", 4, std::string(65, 'n')}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        const std::string name = path(c.what);
        const int fd = buildNamed(name);
        put(fd, row(1));
        startAudit(fd);
        EXPECT_OK(isclose(fd));
        const unsigned long node = numberAt(contents(name + ".idx"), 49, 4);
        patchFile(name + ".idx", (node - 1) * 1024 + c.offset, c.bytes);
        dontCheck();
        const int damaged = isopen(name.c_str(), ISINOUT);
        expectRefused(name, ISERR_CORRUPT, [=] { return iswrite(damaged, row(2)); });
        expectRefused(name, ISERR_CORRUPT, [=] { return isrewrec(damaged, 1, row(3)); });
        expectRefused(name, ISERR_CORRUPT, [=] { return isdelete(damaged, row(1)); });
        char buffer[100];
        expectRefused(name, ISERR_CORRUPT, [&] { return isaudit(damaged, buffer, ISAUDGETNAME); });
        EXPECT_EQ(idsOf(damaged), (Ids{1}));
    }
}

TEST_F(AuditFailure, NodeOutsideTheFileRefusesChanges) {
    const int fd = fill({1});
    startAudit(fd);
    EXPECT_OK(isclose(fd));
    dontCheck();
    for (const unsigned long node : {100UL, 0xffffffffUL}) {
        patchFile(path("file.idx"), 49, long4(node));
        const int damaged = open();
        expectRefused(base(), ISERR_CORRUPT, [=] { return iswrite(damaged, row(2)); });
        EXPECT_EQ(idsOf(damaged), (Ids{1}));
        EXPECT_OK(isclose(damaged));
    }
}

}  // namespace
}  // namespace api
