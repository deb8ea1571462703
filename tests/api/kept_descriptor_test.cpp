// Descriptors that stay open behind a close, since closing them would drop the locks of another handle of the file.

#include "api_test.h"

#include <fcntl.h>

namespace api {
namespace {

class KeptDescriptor : public ApiTest {
  protected:
    void SetUp() override {
        EXPECT_OK(isclose(buildNamed(path("one"))));
        EXPECT_OK(isclose(buildNamed(path("two"))));
    }
    // The second name of a file.
    int openOther(const char *name, int mode = ISINOUT) { return isopen((directory() + "/./" + name).c_str(), mode); }
    int openOne(const char *name) { return isopen(path(name).c_str(), ISINOUT); }
};

TEST_F(KeptDescriptor, ServesItsOwnFileAgain) {
    const int before = openDescriptors();
    const int one = openOne("one"), two = openOne("two");
    const int first = openOther("one"), second = openOther("two");
    EXPECT_OK(isclose(first));
    EXPECT_OK(isclose(second));
    EXPECT_EQ(openDescriptors(), before + 8);
    const int again = openOther("two");
    EXPECT_EQ(openDescriptors(), before + 8);
    EXPECT_OK(iswrite(again, row(7)));
    long last = -1;
    EXPECT_OK(isgetlastrec(two, &last));
    EXPECT_EQ(last, 1);
    EXPECT_OK(isgetlastrec(one, &last));
    EXPECT_EQ(last, 0);
    EXPECT_OK(isclose(two));
    EXPECT_OK(isclose(again));
    EXPECT_EQ(openDescriptors(), before + 4);
    EXPECT_OK(isclose(one));
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(KeptDescriptor, IsNotUsedForAnotherWayOfWriting) {
    const int one = openOne("one");
    const int waiting = openOther("one", ISINOUT | ISSYNCWR);
    const int synchronous = isqv_datfd(waiting);
    EXPECT_EQ(fcntl(synchronous, F_GETFL) & O_SYNC, O_SYNC);
    EXPECT_OK(isclose(waiting));
    const int plain = openOther("one");
    EXPECT_NE(isqv_datfd(plain), synchronous);
    EXPECT_EQ(fcntl(isqv_datfd(plain), F_GETFL) & O_SYNC, 0);
    EXPECT_OK(isclose(plain));
    const int again = openOther("one", ISINOUT | ISSYNCWR);
    EXPECT_EQ(isqv_datfd(again), synchronous);
    EXPECT_OK(isclose(again));
    EXPECT_OK(isclose(one));
}

// Two handles by one name have one descriptor, which stays theirs when the first of them goes.
TEST_F(KeptDescriptor, IsNotOneThatAHandleStillHas) {
    const int one = openOne("one"), same = openOne("one");
    EXPECT_EQ(isqv_datfd(one), isqv_datfd(same));
    EXPECT_OK(isclose(same));
    const int other = openOther("one");
    EXPECT_NE(isqv_datfd(other), isqv_datfd(one));
    EXPECT_OK(isclose(one));
    EXPECT_OK(isclose(other));
}

}  // namespace
}  // namespace api
