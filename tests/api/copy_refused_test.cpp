// Copies that are refused before anything is written.
#include "cluster_kinds.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace api {
namespace {

class CopyRefused : public WholeTest {
  protected:
    // The call fails with a code and no byte of any file of the directory changes; the globals of positions stay.
    void expectRefusal(int code, int to, int from, KeyDesc *key) {
        std::vector<std::string> before, after;
        for (const std::string &file : namesIn(directory()))
            before.push_back(contents(path(file)));
        isrecnum = 55;
        isreclen = 56;
        iserrno = iserrio = 77;
        EXPECT_EQ(iscopy(to, from, key), -1);
        EXPECT_EQ(iserrno, code);
        EXPECT_EQ(iserrio, 0);
        EXPECT_EQ(isrecnum, 55);
        EXPECT_EQ(isreclen, 56);
        for (const std::string &file : namesIn(directory()))
            after.push_back(contents(path(file)));
        EXPECT_TRUE(after == before);
    }
    int source() {
        const int fd = build();
        putIds(fd, {10, 20, 30});
        return fd;
    }
    int target() { return buildNamed(path("copy")); }
    KeyDesc id = idKey();
};

TEST_F(CopyRefused, BadDescriptors) {
    const int fd = source(), to = target(), closed = buildNamed(path("closed"));
    EXPECT_OK(isclose(closed));
    for (const int bad : {closed, closed + 1, -1, -2147483647, 2147483647}) {
        isrecnum = 55;
        isreclen = 56;
        EXPECT_FAILS(ISERR_NOTOPEN, iscopy(bad, fd, &id));
        EXPECT_FAILS(ISERR_NOTOPEN, iscopy(to, bad, &id));
        EXPECT_FAILS(ISERR_NOTOPEN, iscopy(bad, bad, &id));
        EXPECT_EQ(isrecnum, 55);
        EXPECT_EQ(isreclen, 56);
    }
    EXPECT_EQ(recordCount(to), 0);
}

TEST_F(CopyRefused, OntoItself) {
    const int fd = source();
    expectRefusal(ISERR_ARGUMENT, fd, fd, &id);
    expectRefusal(ISERR_ARGUMENT, fd, fd, nullptr);
    EXPECT_EQ(idsOf(fd), (Ids{10, 20, 30}));
}

TEST_F(CopyRefused, OntoItselfThroughAnotherHandle) {
    const int fd = source(), other = open(), reading = open(ISINPUT);
    expectRefusal(ISERR_ARGUMENT, fd, other, &id);
    expectRefusal(ISERR_ARGUMENT, other, fd, &id);
    expectRefusal(ISERR_ARGUMENT, fd, reading, &id);
    EXPECT_EQ(idsOf(fd), (Ids{10, 20, 30}));
    EXPECT_EQ(idsOf(other), (Ids{10, 20, 30}));
}

// Another spelling, a link file, a second name in the system: it is the files that count.
TEST_F(CopyRefused, OntoItselfUnderAnotherName) {
    const int fd = source();
    std::ofstream(path("linked.lnk")) << path("file") << "\n";
    std::filesystem::create_hard_link(path("file.idx"), path("second.idx"));
    std::filesystem::create_hard_link(path("file.dat"), path("second.dat"));
    std::filesystem::create_symlink(path("file.idx"), path("soft.idx"));
    std::filesystem::create_symlink(path("file.dat"), path("soft.dat"));
    for (const std::string &name : {directory() + "/./file", path("linked"), path("second"), path("soft")}) {
        SCOPED_TRACE(name);
        const int other = isopen(name.c_str(), ISINOUT);
        ASSERT_GE(other, 0) << iserrno;
        expectRefusal(ISERR_ARGUMENT, fd, other, &id);
        expectRefusal(ISERR_ARGUMENT, other, fd, nullptr);
        EXPECT_OK(isclose(other));
    }
    EXPECT_EQ(idsOf(fd), (Ids{10, 20, 30}));
}

// What a handle's call before has left is not the reason of this one.
TEST_F(CopyRefused, AccessAfterAFailureOfTheSystem) {
    EXPECT_OK(isclose(source()));
    const int fd = open(ISOUTPUT | ISLOCKNONE), to = target();
    EXPECT_FAILS(EBADF, iswrite(fd, row(40)));
    EXPECT_NE(iserrio, 0);
    expectRefusal(ISERR_ARGUMENT, to, fd, &id);
}

TEST_F(CopyRefused, OtherRecordLengths) {
    const int fd = source();
    for (const int length : {kRowLen - 1, kRowLen + 1, 0})
        expectRefusal(ISERR_ARGUMENT, buildNamed(path("to" + std::to_string(length)), ISINOUT, idKey(), length), fd,
                      &id);
    const int keys = buildNamed(path("keys"), ISINOUT, idKey(), 0);
    expectRefusal(ISERR_ARGUMENT, target(), keys, &id);
}

TEST_F(CopyRefused, OtherVariableLengths) {
    const int fd = fillVar({0, 5});
    struct {
        int minimum, maximum;
    } const cases[] = {{kRowLen, 0}, {kRowLen, kVarMax - 1}, {kRowLen, kVarMax + 1}, {kRowLen - 1, kVarMax}};
    int n = 0;
    for (const auto &lengths : cases) {
        const int to = isvbuild(path("to" + std::to_string(++n)).c_str(), lengths.minimum, lengths.maximum, &id,
                                ISINOUT | (lengths.maximum != 0 ? ISVARLEN : 0));
        ASSERT_GE(to, 0);
        expectRefusal(ISERR_ARGUMENT, to, fd, &id);
        expectRefusal(ISERR_ARGUMENT, fd, to, &id);
    }
}

TEST_F(CopyRefused, EmptyOrNotTheLengthsCount) {
    const int fd = build();
    expectRefusal(ISERR_ARGUMENT, buildNamed(path("other"), ISINOUT, idKey(), 40), fd, &id);
}

TEST_F(CopyRefused, KeyThatTheSourceDoesNotHave) {
    const int fd = source(), to = target();
    add(to, nameKey());
    KeyDesc key = nameKey();
    expectRefusal(ISERR_KEYDESC, to, fd, &key);
    for (const KeyDesc &other : {keyDesc(ISNODUPS, {{0, 4, LONGTYPE | ISDESC}}), keyDesc(ISNODUPS, {{0, 4, MLONGTYPE}}),
                                 keyDesc(ISNODUPS, {{0, 2, INTTYPE}}), keyDesc(ISNODUPS, {{0, 4, LONGTYPE}, {4, 1}}),
                                 keyDesc(ISNODUPS | ISNULLKEY, {{0, 4, LONGTYPE}})}) {
        key = other;
        expectRefusal(ISERR_KEYDESC, to, fd, &key);
    }
    EXPECT_EQ(currentIndex(fd), 1);
}

TEST_F(CopyRefused, DescriptionsThatAreNone) {
    const int fd = source(), to = target();
    for (const short parts : {-1, 11, 32767}) {
        KeyDesc key = idKey();
        key.nparts = parts;
        expectRefusal(ISERR_KEYDESC, to, fd, &key);
    }
}

// Nothing of what the library computes into a description counts when it is used again.
TEST_F(CopyRefused, DescriptionOfTheFileItselfIsTaken) {
    const int fd = source(), to = target();
    KeyDesc key{};
    EXPECT_OK(isindexinfo(fd, &key, 1));
    EXPECT_OK(iscopy(to, fd, &key));
    EXPECT_EQ(recordCount(to), 3);
}

TEST_F(CopyRefused, HandlesWorkAfterwards) {
    const int fd = source(), to = target(), other = buildNamed(path("other"), ISINOUT, idKey(), 40);
    EXPECT_FAILS(ISERR_ARGUMENT, iscopy(other, fd, &id));
    KeyDesc key = nameKey();
    EXPECT_FAILS(ISERR_KEYDESC, iscopy(to, fd, &key));
    EXPECT_OK(iswrite(fd, row(40)));
    EXPECT_OK(iscopy(to, fd, &id));
    EXPECT_EQ(idsOf(to), (Ids{10, 20, 30, 40}));
}

}  // namespace
}  // namespace api
