// Descriptor numbers, and several opens of one file in a process.

#include "api_test.h"

#include <unistd.h>

namespace api {
namespace {

using Descriptors = ApiTest;

TEST_F(Descriptors, SameNameTwiceSharesTheSystemDescriptors) {
    const int first = fill({1});
    const int before = openDescriptors();
    const int second = open();
    EXPECT_NE(first, second);
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(isqv_idxfd(first), isqv_idxfd(second));
    EXPECT_EQ(isqv_datfd(first), isqv_datfd(second));
    EXPECT_GT(isqv_idxfd(first), 2);
    EXPECT_GT(isqv_datfd(first), 2);
}

TEST_F(Descriptors, CloseOfOneLeavesTheOtherUsableAndTheLastCloseFreesTheFiles) {
    const int before = openDescriptors();
    const int first = fill({1});
    const int second = open();
    EXPECT_OK(isclose(first));
    EXPECT_EQ(openDescriptors(), before + 2);
    EXPECT_OK(iswrite(second, row(2)));
    EXPECT_EQ(idsOf(second), (Ids{1, 2}));
    EXPECT_OK(isclose(second));
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(Descriptors, TwoSpellingsOfANameAreTwoIndependentOpens) {
    ASSERT_EQ(chdir(directory().c_str()), 0);
    KeyDesc key = idKey();
    const int plain = isbuild("a", kRowLen, &key, ISINOUT);
    ASSERT_GE(plain, 0);
    const int before = openDescriptors();
    const int dotted = isopen("./a", ISINOUT);
    ASSERT_GE(dotted, 0);
    EXPECT_EQ(openDescriptors(), before + 2);
    EXPECT_NE(isqv_idxfd(plain), isqv_idxfd(dotted));
    EXPECT_OK(iswrite(plain, row(1)));
    EXPECT_EQ(idsOf(dotted), (Ids{1}));
    EXPECT_STREQ(isqv_name(plain), "a");
    EXPECT_STREQ(isqv_name(dotted), "./a");
    EXPECT_OK(iscleanup());
    EXPECT_EQ(chdir("/"), 0);
}

TEST_F(Descriptors, LowestFreeNumberIsUsedAgain) {
    EXPECT_EQ(build(), 0);
    EXPECT_EQ(open(), 1);
    EXPECT_EQ(open(), 2);
    EXPECT_OK(isclose(1));
    EXPECT_EQ(open(), 1);
    EXPECT_OK(isclose(0));
    EXPECT_OK(isclose(1));
    EXPECT_EQ(open(), 0);
}

TEST_F(Descriptors, EleventhAndTwentyFirstOpenGrowTheTable) {
    EXPECT_EQ(build(), 0);
    EXPECT_OK(iswrite(0, row(1)));
    for (int fd = 1; fd <= 20; ++fd)
        EXPECT_EQ(open(), fd);
    for (int fd = 0; fd <= 20; ++fd)
        EXPECT_EQ(idsOf(fd), (Ids{1})) << fd;
    EXPECT_FAILS(ISERR_NOTOPEN, isclose(21));
    EXPECT_OK(isclose(10));
    EXPECT_EQ(open(), 10);
}

TEST_F(Descriptors, CleanupWithNothingOpenSucceeds) {
    iserrno = 5;
    EXPECT_OK(iscleanup());
    EXPECT_OK(iscleanup());
}

TEST_F(Descriptors, CleanupClosesEverything) {
    const int before = openDescriptors();
    build();
    open();
    buildNamed(path("other"));
    EXPECT_OK(iscleanup());
    EXPECT_EQ(openDescriptors(), before);
    for (const int fd : {0, 1, 2})
        EXPECT_FAILS(ISERR_NOTOPEN, isclose(fd));
    EXPECT_EQ(open(), 0);
}

TEST_F(Descriptors, HandlesKeepTheirOwnResults) {
    const int one = fill({1, 2, 3});
    const int two = open();
    Row got;
    EXPECT_OK(isread(one, got, ISLAST));
    EXPECT_FAILS(ISERR_NOTFOUND, isread(two, row(9), ISEQUAL));
    EXPECT_EQ(*is_errno(one), 0);
    EXPECT_EQ(*is_recnum(one), 3);
    EXPECT_EQ(*is_errno(two), ISERR_NOTFOUND);
    EXPECT_EQ(iserrno, ISERR_NOTFOUND);
}

TEST_F(Descriptors, PositionsOfTwoHandlesAreIndependent) {
    const int one = fill({1, 2, 3});
    const int two = open();
    Row got;
    EXPECT_OK(isread(one, got, ISLAST));
    EXPECT_OK(isread(two, got, ISNEXT));
    EXPECT_EQ(got.id(), 1);
    EXPECT_OK(isread(one, got, ISPREV));
    EXPECT_EQ(got.id(), 2);
    EXPECT_OK(isread(two, got, ISNEXT));
    EXPECT_EQ(got.id(), 2);
}

TEST_F(Descriptors, ExclusiveOpensExcludeEachOtherInTheProcess) {
    const int shared = build();
    EXPECT_FAILS(ISERR_FILEINUSE, open(ISINOUT | ISLOCKEXCL));
    EXPECT_OK(iswrite(shared, row(1)));
    EXPECT_OK(isclose(shared));
    const int alone = open(ISINOUT | ISLOCKEXCL);
    EXPECT_FAILS(ISERR_FILEINUSE, open());
    EXPECT_FAILS(ISERR_FILEINUSE, open(ISINPUT | ISLOCKNONE));
    EXPECT_FAILS(ISERR_FILEINUSE, open(ISINOUT | ISLOCKEXCL));
    EXPECT_EQ(idsOf(alone), (Ids{1}));
}

TEST_F(Descriptors, FlushLooksAtTheSignAlone) {
    const int fd = build();
    EXPECT_EQ(isflush(fd), 0);
    EXPECT_EQ(isflush(1000), 0);
    EXPECT_EQ(isflush(-1), -1);
}

TEST_F(Descriptors, LibraryCallsItselfThreaded) { EXPECT_EQ(isthreaded(), 1); }

}  // namespace
}  // namespace api
