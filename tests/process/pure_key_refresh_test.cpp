#include "process_test.h"

namespace process_testing {
namespace {

// A file of keys without records, shared by two processes.
class SharedKeys : public ProcessTest {
  protected:
    void SetUp() override {
        Worker maker;
        ASSERT_TRUE(succeeds(maker, jobs::build(base, 0, keyDesc(ISDUPS, {{0, 8}}), kShared)));
        ASSERT_TRUE(succeeds(maker, jobs::close(0)));
        open(a);
        open(b);
    }

    static Job add(const std::string &key, long number) {
        Job job = jobs::call(0, [](Job &j) {
            isrecnum = j.number;
            return iswrite(j.fd, j.record);
        });
        return jobs::withRecord(jobs::withNumber(job, number), key);
    }

    Worker a, b;
};

TEST_F(SharedKeys, EachSeesTheKeysOfTheOther) {
    EXPECT_TRUE(succeeds(a, add("bbbbbbbb", 7)));
    EXPECT_TRUE(succeeds(b, add("aaaaaaaa", 9)));
    EXPECT_TRUE(succeeds(a, jobs::read(0, ISFIRST)));
    EXPECT_EQ(a.last().text(8), "aaaaaaaa");
    EXPECT_EQ(a.last().recnum, 9);
    EXPECT_TRUE(succeeds(b, jobs::read(0, ISLAST)));
    EXPECT_EQ(b.last().text(8), "bbbbbbbb");
    EXPECT_EQ(b.last().recnum, 7);
}

TEST_F(SharedKeys, NextAfterTheCurrentKeyWasDeletedElsewhere) {
    for (const char *key : {"aaaaaaaa", "bbbbbbbb", "cccccccc"})
        EXPECT_TRUE(succeeds(a, add(key, 1)));
    EXPECT_TRUE(succeeds(b, jobs::read(0, ISEQUAL, "bbbbbbbb")));
    EXPECT_TRUE(succeeds(a, jobs::read(0, ISEQUAL, "bbbbbbbb")));
    EXPECT_TRUE(succeeds(a, jobs::removeCurrent(0)));
    EXPECT_TRUE(fails(b, jobs::removeCurrent(0), ISERR_NOCURRENT));
    EXPECT_TRUE(succeeds(b, jobs::read(0, ISNEXT)));
    EXPECT_EQ(b.last().text(8), "cccccccc");
}

TEST_F(SharedKeys, LocksOfRecordsAreRefused) {
    EXPECT_TRUE(succeeds(a, add("aaaaaaaa", 1)));
    EXPECT_TRUE(fails(a, jobs::read(0, ISFIRST | ISLOCK), ISERR_ARGUMENT));
    EXPECT_TRUE(fails(a, jobs::read(0, ISFIRST | ISWAIT), ISERR_ARGUMENT));
    EXPECT_TRUE(fails(a, jobs::writeLock(0, "bbbbbbbb"), ISERR_ARGUMENT));
    EXPECT_TRUE(fails(a, jobs::setMode(0, ISLOCKAUTO), ISERR_ARGUMENT));
    EXPECT_TRUE(succeeds(b, add("bbbbbbbb", 2)));  // no phase lock left
}

}  // namespace
}  // namespace process_testing
