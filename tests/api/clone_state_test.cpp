// What a clone takes over from the handle and the file, what it does not, and what the call leaves in the globals.
#include "cluster_kinds.h"

#include <filesystem>
#include <fstream>

namespace api {
namespace {

class CloneState : public WholeTest {
  protected:
    std::string copyName() const { return path("copy"); }
    int clone(int fd) const { return isclone(fd, copyName().c_str()); }
    // Clones through a handle of this mode and returns the clone's mode, or the error below 0.
    int modeOfClone(int mode) {
        const int fd = open(mode);
        EXPECT_GE(fd, 0) << iserrno;
        const int made = clone(fd);
        int got = -iserrno;
        if (made >= 0) isgetmode(made, &got);
        EXPECT_OK(iscleanup());
        return got;
    }
    void expectShape() {
        EXPECT_EQ(soundEntries(copyName()), (std::vector<std::size_t>{0, 0, 0}));
        EXPECT_OK(iserase(copyName().c_str()));
    }
    const Kind kind = wholeKind("Masked");
};

TEST_F(CloneState, EveryAccessAndLockMode) {
    EXPECT_OK(isclose(make(kind, 20)));
    for (const int access : {ISINPUT, ISOUTPUT, ISINOUT})
        for (const int locking : {ISLOCKNONE, ISLOCKAUTO, ISLOCKMANUAL, ISLOCKEXCL}) {
            SCOPED_TRACE(testing::Message() << "mode 0x" << std::hex << (access | locking));
            EXPECT_EQ(modeOfClone(access | locking), access | locking | ISMASK);
            expectShape();
        }
}

TEST_F(CloneState, FlagsOfTheHandle) {
    EXPECT_OK(isclose(make(kind, 20)));
    for (const int flags : {ISTRANS, ISNOLOG, ISSYNCWR, ISTRANS | ISNOLOG | ISSYNCWR}) {
        EXPECT_EQ(modeOfClone(ISINOUT | flags), ISINOUT | ISLOCKMANUAL | ISMASK | flags);
        expectShape();
    }
}

TEST_F(CloneState, ChangedLockModeIsTheOneTakenOver) {
    const int fd = make(kind, 5);
    EXPECT_OK(issetmode(fd, ISLOCKAUTO));
    const int made = clone(fd);
    int mode = 0;
    EXPECT_OK(isgetmode(made, &mode));
    EXPECT_EQ(mode, ISINOUT | ISLOCKAUTO | ISMASK);
}

TEST_F(CloneState, GlobalsAreThoseOfABuild) {
    const int fd = make(wholeKind("Variable"), 5);
    isrecnum = 99;
    isreclen = 98;
    iserrno = 77;
    const int made = clone(fd);
    EXPECT_EQ(made, fd + 1);
    EXPECT_EQ(iserrno, 0);
    EXPECT_EQ(isrecnum, 0);
    EXPECT_EQ(isreclen, kRowLen);
}

TEST_F(CloneState, GlobalsOfKeysAlone) {
    const int fd = make(wholeKind("PureKey"), 5);
    isrecnum = 99;
    isreclen = 98;
    EXPECT_GE(clone(fd), 0);
    EXPECT_EQ(isrecnum, 0);
    EXPECT_EQ(isreclen, 0);
}

TEST_F(CloneState, TakesTheLowestFreeDescriptor) {
    const int first = buildNamed(path("other"));
    const int fd = make(kind, 5);
    EXPECT_OK(isclose(first));
    EXPECT_EQ(clone(fd), first);
}

TEST_F(CloneState, WhatBelongsToTheFileAloneStaysThere) {
    const int fd = make(wholeKind("Precious"), 12);
    char info[] = "0123456789";
    EXPECT_OK(isuserinfo(fd, 1, info));
    EXPECT_OK(issetunique(fd, 500));
    std::string trail = path("trail");
    EXPECT_OK(isaudit(fd, trail.data(), ISAUDSETNAME));
    EXPECT_OK(isaudit(fd, nullptr, ISAUDSTART));
    const int made = clone(fd);
    const std::string header = nodeOf(imageOf(copyName()), 1);
    EXPECT_EQ(header.substr(1008, 10), std::string(10, '\0')) << "user information";
    EXPECT_EQ(numberAt(header, 45, 4), 1U) << "unique id";
    EXPECT_EQ(numberAt(header, 49, 4), 0U) << "audit node";
    EXPECT_EQ(numberAt(header, 1018, 2), 0U) << "flags";
    EXPECT_FAILS(ISERR_ARGUMENT, isaudit(made, info, ISAUDINFO));
    EXPECT_FALSE(exists(trail));
}

TEST_F(CloneState, PositionFilterAndMaskOfTheHandleStayThere) {
    const int fd = make(kind, 30);
    Row got;
    EXPECT_OK(isread(fd, got, ISLAST));
    EXPECT_EQ(issetmask(fd, 7), 0);
    EXPECT_OK(isfilter(fd, [](int, char *, int) { return 0; }));
    EXPECT_OK(islockcheck(fd, 1));
    const int made = clone(fd);
    EXPECT_EQ(isgetmask(made), 0);
    writeKind(made, kind, 1, 1);
    EXPECT_EQ(readId(made, ISFIRST), readId(made, ISLAST));
    EXPECT_GT(readId(made, ISFIRST), 0);
    EXPECT_OK(isdelcurr(made));
    EXPECT_EQ(isgetmask(fd), 7);
}

// The indexes are those of the moment, in their order.
TEST_F(CloneState, AfterIndexesCameAndWent) {
    const int fd = build();
    add(fd, nameKey());
    add(fd, groupKey());
    KeyDesc name = nameKey(), key{};
    EXPECT_OK(isdelindex(fd, &name));
    add(fd, nameKey(ISDUPS | ISLEADCOMP));
    const int made = clone(fd);
    EXPECT_EQ(indexCount(made), 3);
    EXPECT_OK(isindexinfo(made, &key, 2));
    EXPECT_TRUE(testing_support::sameKeyDesc(key, groupKey()));
    EXPECT_OK(isindexinfo(made, &key, 3));
    EXPECT_TRUE(testing_support::sameKeyDesc(key, nameKey(ISDUPS | ISLEADCOMP)));
}

TEST_F(CloneState, WithoutPrimaryKeyAndNineIndexes) {
    Kind nine = wholeKind("NineIndexes");
    nine.keys.insert(nine.keys.begin(), noKey());
    const int made = clone(make(nine, 30));
    EXPECT_EQ(indexCount(made), 10);
    makeEmpty(nine, "built");
    EXPECT_TRUE(imageOf(copyName()) == imageOf(path("built")));
    EXPECT_OK(isclose(made));
    const int fd = isopen(copyName().c_str(), ISINOUT);
    EXPECT_EQ(isqv_curidx(fd), 9) << "a file without primary key opens in record-number order";
}

TEST_F(CloneState, KeysOfTheLargestForm) {
    KeyDesc ten{};
    ten.flags = ISDUPS;
    for (int i = 0; i < ISMAXPARTS; ++i)
        ten.parts[ten.nparts++] = {static_cast<short>(120 + 3 * i), 3, static_cast<unsigned short>(i % 2 * ISDESC)};
    const KeyDesc longest = keyDesc(ISNODUPS, {{1, ISMAXKEYLEN}});
    const int fd = build(ISINOUT, longest, 200);
    add(fd, ten);
    const int made = clone(fd);
    KeyDesc key{};
    EXPECT_OK(isindexinfo(made, &key, 1));
    EXPECT_TRUE(testing_support::sameKeyDesc(key, longest));
    EXPECT_OK(isindexinfo(made, &key, 2));
    EXPECT_TRUE(testing_support::sameKeyDesc(key, ten));
}

TEST_F(CloneState, LengthsAtTheLimits) {
    KeyDesc key = keyDesc(ISNODUPS, {{0, 1}});
    struct {
        int minimum, maximum;
    } const cases[] = {{65535, 0}, {1, 0}, {1, 2}, {1, ISMAXVARLEN}, {ISMAXVARLEN - 1, ISMAXVARLEN}};
    for (const auto &lengths : cases) {
        SCOPED_TRACE(lengths.minimum);
        const int fd =
            isvbuild(base(), lengths.minimum, lengths.maximum, &key, ISINOUT | (lengths.maximum != 0 ? ISVARLEN : 0));
        ASSERT_GE(fd, 0);
        const int made = clone(fd);
        EXPECT_EQ(isreclen, lengths.minimum);
        EXPECT_TRUE(imageOf(copyName()) == imageOf(base()));
        EXPECT_EQ(isqv_datlen(made), lengths.minimum);
        EXPECT_OK(iscleanup());
        EXPECT_OK(iserase(base()));
        EXPECT_OK(iserase(copyName().c_str()));
    }
}

TEST_F(CloneState, LinkFileLeadsTheClone) {
    ASSERT_TRUE(std::filesystem::create_directory(path("far")));
    std::ofstream(copyName() + ".lnk") << path("far/real") << "\n";
    const int made = clone(make(kind, 10));
    EXPECT_GE(made, 0);
    EXPECT_FALSE(exists(copyName() + ".idx"));
    EXPECT_EQ(soundEntries(path("far/real")), (std::vector<std::size_t>{0, 0, 0}));
    EXPECT_STREQ(isqv_name(made), copyName().c_str());
}

TEST_F(CloneState, InsideATransactionOfTheSource) {
    startLog();
    const int fd = buildTrans();
    EXPECT_OK(isbegin());
    put(fd, row(1));
    const int made = clone(fd);
    EXPECT_GE(made, 0);
    put(made, row(2));
    EXPECT_OK(isrollback());
    EXPECT_EQ(recordCount(fd), 0);
    EXPECT_EQ(recordCount(made), 0);
    EXPECT_TRUE(exists(copyName() + ".idx"));
}

}  // namespace
}  // namespace api
