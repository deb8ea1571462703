// ISMAPPED: everything is as without it, down to the bytes; it shows nowhere.
#include "logs.h"

#include "base/isfile.h"
#include "isam_maint.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace api {
namespace {

using Mapped = LogTest;

bool isMapped(int fd) {
    const IsamFile *h = isAdmItoD(fd);
    return h != nullptr && h->maps != nullptr;
}

int modeOf(int fd) {
    int mode = -1;
    EXPECT_EQ(isgetmode(fd, &mode), 0);
    return mode;
}

TEST_F(Mapped, ShowsInNoMode) {
    EXPECT_EQ(modeOf(build(ISINOUT | ISMAPPED)), ISINOUT | ISLOCKMANUAL);
    EXPECT_OK(isclose(0));
    for (const int mode : {ISINPUT, ISINOUT, ISINOUT | ISTRANS | ISNOLOG})
        for (const int lock : {ISLOCKNONE, ISLOCKAUTO, ISLOCKMANUAL, ISLOCKEXCL}) {
            const int fd = open(mode | lock | ISMAPPED | ISVARAUTO);
            EXPECT_TRUE(isMapped(fd));
            EXPECT_EQ(modeOf(fd), mode | lock);
            EXPECT_OK(isclose(fd));
        }
}

TEST_F(Mapped, IsNotWhatSetmodeSets) {
    const int mapped = build(ISINOUT | ISMAPPED), plain = open();
    EXPECT_OK(issetmode(mapped, ISLOCKAUTO));
    EXPECT_TRUE(isMapped(mapped));
    EXPECT_OK(issetmode(plain, ISLOCKAUTO | ISMAPPED));
    EXPECT_FALSE(isMapped(plain));
    EXPECT_EQ(modeOf(plain), ISINOUT | ISLOCKAUTO);
}

// Writes, rewrites, deletes, an index more, one less, settings, a transaction taken back.
void work(int fd) {
    add(fd, nameKey(ISDUPS | ISDUPCOMP | ISLEADCOMP | ISTRAILCOMP));
    for (int i = 0; i < 400; ++i)
        ASSERT_OK(
            send(iswrite, fd, rec(row(i * 7 % 400, letters(5, i % 20)), static_cast<std::size_t>(i * 37 % 2500))));
    for (int i = 0; i < 400; i += 3)
        ASSERT_OK(send(isrewrite, fd, rec(row(i, letters(6, i % 11)), static_cast<std::size_t>(i * 13 % 4000))));
    for (int i = 0; i < 400; i += 5)
        ASSERT_OK(isdelete(fd, row(i)));
    ASSERT_OK(isbegin());
    for (int i = 0; i < 400; i += 5)
        ASSERT_OK(send(iswrite, fd, rec(row(i, "again"), 300)));
    ASSERT_OK(isrollback());
    char bytes[ISUSERINFOLEN] = {'u', 's', 'e', 'r'};
    ASSERT_OK(isuserinfo(fd, 1, bytes));
    add(fd, groupKey());
    KeyDesc name = nameKey(ISDUPS | ISDUPCOMP | ISLEADCOMP | ISTRAILCOMP);
    ASSERT_OK(isdelindex(fd, &name));
}

TEST_F(Mapped, GivesTheSameBytes) {
    startLog();
    work(buildVarNamed(path("plain"), ISINOUT | ISTRANS));
    const int fd = buildVarNamed(path("mapped"), ISINOUT | ISTRANS | ISMAPPED);
    EXPECT_TRUE(isMapped(fd));
    work(fd);
    const Image plain = imageOf(path("plain")), mapped = imageOf(path("mapped"));
    EXPECT_GT(plain.index.size(), 100000U);
    EXPECT_TRUE(plain == mapped);
}

// One handle sees at once what the other does, whichever of them is mapped.
TEST_F(Mapped, BesideAHandleThatIsNot) {
    int one = build(ISINOUT | ISMAPPED), other = isopen((directory() + "/./file").c_str(), ISINOUT);
    ASSERT_GE(other, 0);
    for (int i = 0; i < 300; ++i) {
        ASSERT_OK(iswrite(one, row(i, "first")));
        ASSERT_EQ(readId(other, ISEQUAL, row(i)), i);
        Row changed = row(i, "second");
        ASSERT_OK(isrewcurr(other, changed));
        Row got = row(i);
        ASSERT_OK(isread(one, got, ISEQUAL));
        ASSERT_EQ(got.name(), "second");
        std::swap(one, other);
    }
    EXPECT_EQ(idsOf(one), idsOf(other));
}

TEST_F(Mapped, StaysWithTheFileThatAClusterMakes) {
    int fd = build(ISINOUT | ISLOCKEXCL | ISMAPPED);
    for (const long id : {5, 3, 9, 1})
        put(fd, row(id));
    KeyDesc key = idKey();
    fd = iscluster(fd, &key);
    ASSERT_GE(fd, 0);
    EXPECT_TRUE(isMapped(fd));
    EXPECT_EQ(idsOf(fd), (Ids{1, 3, 5, 9}));
    put(fd, row(4));
    EXPECT_EQ(idsOf(fd), (Ids{1, 3, 4, 5, 9}));
}

TEST_F(Mapped, CloneAndCopy) {
    const int fd = build(ISINOUT | ISMAPPED);
    for (long id = 0; id < 200; ++id)
        put(fd, row(id * 3));
    const int made = isclone(fd, path("clone").c_str());
    ASSERT_GE(made, 0);
    KeyDesc key = idKey();
    EXPECT_OK(iscopy(made, fd, &key));
    EXPECT_EQ(idsOf(made), idsOf(fd));
}

TEST_F(Mapped, IsNeitherErasedNorRenamed) {
    const int fd = build(ISINOUT | ISMAPPED);
    put(fd, row(1));
    char from[256], to[256];
    std::strcpy(from, base());
    std::strcpy(to, path("other").c_str());
    EXPECT_FAILS(ISERR_FILEINUSE, iserase(from));
    EXPECT_FAILS(ISERR_FILEINUSE, isrename(from, to));
    EXPECT_EQ(readId(fd, ISFIRST), 1);
}

// A set that lost its names while it was open is worked on like any other; so is the new one of its name.
TEST_F(Mapped, FilesWithoutName) {
    const int fd = build(ISINOUT | ISMAPPED);
    put(fd, row(1));
    ASSERT_EQ(unlink((std::string(base()) + ".idx").c_str()), 0);
    ASSERT_EQ(unlink((std::string(base()) + ".dat").c_str()), 0);
    put(fd, row(2));
    EXPECT_EQ(idsOf(fd), (Ids{1, 2}));
    EXPECT_OK(isclose(fd));
    const int again = isopen(base(), ISINOUT | ISMAPPED);
    EXPECT_FAILS(ENOENT, again);
    dontCheck();
}

TEST_F(Mapped, TakenBackInATransactionAsItWas) {
    startLog();
    EXPECT_OK(isclose(buildTrans()));
    for (const int first : {0, ISMAPPED}) {
        const int fd = openTrans("file", first);
        EXPECT_OK(isbegin());
        EXPECT_OK(iswrite(fd, row(first + 1)));
        EXPECT_OK(isclose(fd));
        EXPECT_EQ(openTrans("file", ISMAPPED - first), fd);
        EXPECT_EQ(isMapped(fd), first != 0);
        EXPECT_OK(iscommit());
        EXPECT_OK(isclose(fd));
    }
}

TEST_F(Mapped, SharesTheDescriptorsOfAnyHandle) {
    const int before = openDescriptors();
    const int plain = build(), mapped = open(ISINOUT | ISMAPPED), reader = open(ISINPUT | ISMAPPED);
    EXPECT_EQ(openDescriptors(), before + 2);
    putIds(mapped, {1, 2, 3});
    EXPECT_EQ(idsOf(reader), (Ids{1, 2, 3}));
    EXPECT_OK(isclose(plain));
    putIds(mapped, {4});
    EXPECT_EQ(idsOf(reader), (Ids{1, 2, 3, 4}));
    EXPECT_OK(isclose(mapped));
    EXPECT_EQ(idsOf(reader), (Ids{1, 2, 3, 4}));
    EXPECT_OK(isclose(reader));
    EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
}  // namespace api
