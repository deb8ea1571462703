// What a filter may do to the handle it is called for.
#include "steps.h"

namespace api {
namespace {

int asked = 0;

int evenOnly(int, char *record, int) { return ldlong(record) % 2 == 0 ? 1 : 0; }

int acceptingWithAnError(int, char *, int) {
    iserrno = 88;
    return 1;
}

int removingItself(int fd, char *, int) {
    ++asked;
    EXPECT_EQ(isfilter(fd, nullptr), 0);
    return 0;
}

int closingAndAccepting(int fd, char *, int) {
    ++asked;
    EXPECT_OK(isclose(fd));
    return 1;
}

int locking(int fd, char *, int) {
    EXPECT_OK(isrelease(fd));
    return 1;
}

class FilterEffect : public ApiTest {
  protected:
    int filtered(int (*filter)(int, char *, int)) {
        const int fd = fill({1, 2, 3, 4, 5});
        asked = 0;
        EXPECT_EQ(isfilter(fd, filter), 0);
        return fd;
    }
};

TEST_F(FilterEffect, ErrorOfAnAcceptingFilterDoesNotCount) {
    const int fd = filtered(acceptingWithAnError);
    EXPECT_OK(isread(fd, row(0), ISFIRST));
    EXPECT_RESULTS(1, kRowLen);
}

TEST_F(FilterEffect, RemovedInTheCallItPassesOverOneRecordAlone) {
    const int fd = filtered(removingItself);
    EXPECT_EQ(readId(fd, ISFIRST), 2);
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(idsOf(fd), (Ids{1, 2, 3, 4, 5}));
    EXPECT_EQ(asked, 1);
}

TEST_F(FilterEffect, RemovedInACallWithoutFollowUpStillFailsThatRead) {
    const int fd = filtered(removingItself);
    EXPECT_EQ(readId(fd, ISEQUAL, row(3)), -ISERR_NOTFOUND);
    EXPECT_EQ(readId(fd, ISEQUAL, row(3)), 3);
}

TEST_F(FilterEffect, ClosedInAnAcceptingCallTheFileIsGone) {
    const int fd = filtered(closingAndAccepting);
    Row got;
    isread(fd, got, ISFIRST);
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(got.id(), 1);
    EXPECT_FAILS(ISERR_NOTOPEN, isclose(fd));
    EXPECT_EQ(idsOf(open()), (Ids{1, 2, 3, 4, 5}));
}

TEST_F(FilterEffect, CallsOnTheHandleAreAllowed) {
    const int fd = filtered(locking);
    EXPECT_EQ(readId(fd, ISFIRST | ISLOCK), 1);
    const int other = open();
    EXPECT_EQ(readId(other, ISFIRST | ISLOCK), 1);
}

TEST_F(FilterEffect, HigherModesHaveNoFollowUp) {
    const int fd = filtered(evenOnly);
    isrecnum = 3;
    EXPECT_EQ(readId(fd, 9), -ISERR_NOTFOUND);
    isrecnum = 2;
    EXPECT_EQ(readId(fd, 9), 2);
}

TEST_F(FilterEffect, WorksInRecordNumberOrder) {
    const int fd = filtered(evenOnly);
    EXPECT_OK(isindex(fd, 0, 0));
    EXPECT_EQ(idsOf(fd), (Ids{2, 4}));
    EXPECT_EQ(idsOf(fd, ISLAST), (Ids{4, 2}));
    isrecnum = 3;
    EXPECT_EQ(readId(fd, ISEQUAL), -ISERR_NOTFOUND);
}

TEST_F(FilterEffect, TurnsRoundAtBothEnds) {
    const int fd = filtered(evenOnly);
    EXPECT_EQ(readId(fd, ISLAST), 4);
    EXPECT_EQ(readId(fd, ISNEXT), -ISERR_ENDOFFILE);
    EXPECT_EQ(readId(fd, ISPREV), 4);
}

TEST_F(FilterEffect, LastAcceptedOneIsFoundFromTheEnd) {
    const int fd = filtered(evenOnly);
    EXPECT_EQ(readId(fd, ISGREAT, row(2)), 4);
    EXPECT_EQ(readId(fd, ISGTEQ, row(5)), -ISERR_NOTFOUND);
    EXPECT_EQ(iserrio, 0);
}

}  // namespace
}  // namespace api
