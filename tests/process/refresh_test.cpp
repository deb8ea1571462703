#include "process_test.h"

#include <cstdint>

namespace process_testing {
namespace {

// What one process changes, the other sees with its next call.
class Refresh : public ProcessTest {
  protected:
    void start(int count) {
        build(count);
        open(a);
        open(b);
    }

    void TearDown() override {
        EXPECT_TRUE(succeeds(a, jobs::close(0)));
        EXPECT_TRUE(succeeds(b, jobs::close(0)));
        if (!skippedNumbers) expectSound();
    }

    // Keys of the file in order, as worker finds them.
    std::vector<int> keys(Worker &worker) {
        std::vector<int> out;
        for (worker.run(jobs::read(0, ISFIRST)); worker.last().result == 0; worker.run(jobs::read(0, ISNEXT)))
            out.push_back(std::stoi(worker.last().text(8)));
        EXPECT_EQ(worker.last().error, ISERR_ENDOFFILE);
        return out;
    }

    Worker a, b;
    bool skippedNumbers = false;  // slots that were never used are not in the free list
};

TEST_F(Refresh, AddedRecordIsReadByKeyAndInOrder) {
    start(3);
    EXPECT_EQ(read(b, ISFIRST), item(10, 1));
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(15))));
    EXPECT_EQ(read(b, ISNEXT), item(15));
    EXPECT_EQ(read(b, ISNEXT), item(20, 2));
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(25))));
    EXPECT_EQ(read(b, ISEQUAL, item(25)), item(25));
    EXPECT_EQ(b.last().recnum, 5);
}

TEST_F(Refresh, NextAfterTheCurrentRecordWasDeletedElsewhere) {
    start(4);
    EXPECT_EQ(read(b, ISEQUAL, item(20)), item(20, 2));
    EXPECT_TRUE(succeeds(a, jobs::remove(0, item(20))));
    EXPECT_EQ(read(b, ISNEXT), item(30, 3));  // not 40
    EXPECT_EQ(read(b, ISNEXT), item(40, 4));
}

TEST_F(Refresh, PreviousAndCurrentAfterTheCurrentRecordWasDeletedElsewhere) {
    start(4);
    EXPECT_EQ(read(b, ISEQUAL, item(30)), item(30, 3));
    EXPECT_TRUE(succeeds(a, jobs::remove(0, item(30))));
    EXPECT_EQ(read(b, ISPREV), item(20, 2));
    EXPECT_TRUE(succeeds(a, jobs::remove(0, item(20))));
    EXPECT_EQ(read(b, ISCURR), item(40, 4));
    EXPECT_TRUE(succeeds(a, jobs::remove(0, item(40))));
    EXPECT_EQ(read(b, ISPREV), item(10, 1));  // everything left lies before the position
}

TEST_F(Refresh, NextAfterTheLastRecordWasDeletedElsewhere) {
    start(2);
    EXPECT_EQ(read(b, ISLAST), item(20, 2));
    EXPECT_TRUE(succeeds(a, jobs::remove(0, item(20))));
    EXPECT_TRUE(fails(b, jobs::read(0, ISNEXT), ISERR_ENDOFFILE));
    EXPECT_TRUE(fails(b, jobs::removeCurrent(0), ISERR_NOCURRENT));
}

TEST_F(Refresh, RecordOfTheCurrentNumberMayBeAnotherOne) {
    start(3);
    EXPECT_EQ(read(b, ISEQUAL, item(20)), item(20, 2));
    EXPECT_TRUE(succeeds(a, jobs::remove(0, item(20))));
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(5))));  // takes number 2 again
    EXPECT_EQ(a.last().recnum, 2);
    EXPECT_EQ(read(b, ISNEXT), item(30, 3));
    EXPECT_EQ(read(b, ISFIRST), item(5));
    EXPECT_TRUE(succeeds(b, jobs::data(0, 2)));
    EXPECT_EQ(b.last().text(kItemLength), item(5));
}

TEST_F(Refresh, RecordWhoseKeyWasChangedElsewhere) {
    start(4);
    EXPECT_EQ(read(b, ISEQUAL, item(20)), item(20, 2));
    EXPECT_TRUE(succeeds(a, jobs::rewriteNumber(0, 2, item(35))));
    EXPECT_EQ(read(b, ISNEXT), item(30, 3));
    EXPECT_EQ(read(b, ISNEXT), item(35));
    EXPECT_TRUE(fails(b, jobs::read(0, ISEQUAL, item(20)), ISERR_NOTFOUND));
}

// The same key in another record is not the entry that was read: it is the one that follows it.
TEST_F(Refresh, NextReturnsTheSameKeyInAnotherRecord) {
    start(3);
    EXPECT_EQ(read(b, ISEQUAL, item(20)), item(20, 2));
    EXPECT_TRUE(succeeds(a, jobs::remove(0, item(10))));
    EXPECT_TRUE(succeeds(a, jobs::remove(0, item(20))));
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(11))));  // takes number 2
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(20, 7))));
    EXPECT_EQ(a.last().recnum, 1);
    EXPECT_EQ(read(b, ISNEXT), item(20, 7));
    EXPECT_EQ(read(b, ISNEXT), item(30, 3));
}

TEST_F(Refresh, RewrittenTextIsReadAgain) {
    start(2);
    EXPECT_EQ(read(b, ISFIRST), item(10, 1));
    EXPECT_TRUE(succeeds(a, jobs::rewrite(0, item(10, 1, "other"))));
    EXPECT_EQ(read(b, ISCURR), item(10, 1, "other"));
}

TEST_F(Refresh, BothProcessesSplitTheTree) {
    start(0);
    std::vector<int> expected;
    for (int i = 0; i < 400; ++i) {  // by turns, from both ends
        ASSERT_TRUE(succeeds(a, jobs::write(0, item(i))));
        ASSERT_TRUE(succeeds(b, jobs::write(0, item(9000 - i))));
        expected.push_back(i);
    }
    for (int i = 399; i >= 0; --i)
        expected.push_back(9000 - i);
    EXPECT_EQ(keys(a), expected);
    EXPECT_EQ(keys(b), expected);
    EXPECT_TRUE(succeeds(b, jobs::info(0)));
    EXPECT_EQ(b.last().number, 800);
}

TEST_F(Refresh, PositionInTheTreeSurvivesSplitsAndPruning) {
    start(50);
    EXPECT_EQ(read(b, ISEQUAL, item(250)), item(250, 25));
    for (int i = 0; i < 600; ++i)
        ASSERT_TRUE(succeeds(a, jobs::write(0, item(10000 + i))));
    EXPECT_EQ(read(b, ISNEXT), item(260, 26));
    for (int i = 0; i < 600; ++i)
        ASSERT_TRUE(succeeds(a, jobs::remove(0, item(10000 + i))));
    EXPECT_EQ(read(b, ISNEXT), item(270, 27));
    for (int i = 1; i <= 50; ++i)
        ASSERT_TRUE(succeeds(a, jobs::remove(0, item(10 * i))));
    EXPECT_TRUE(fails(b, jobs::read(0, ISNEXT), ISERR_ENDOFFILE));
    EXPECT_TRUE(fails(b, jobs::read(0, ISFIRST), ISERR_ENDOFFILE));
}

TEST_F(Refresh, NumbersFreedByOneProcessAreTakenByTheOther) {
    start(5);
    EXPECT_TRUE(succeeds(b, jobs::write(0, item(60))));  // b has its own copy of the free list now
    EXPECT_EQ(b.last().recnum, 6);
    EXPECT_TRUE(succeeds(a, jobs::removeNumber(0, 2)));
    EXPECT_TRUE(succeeds(a, jobs::removeNumber(0, 4)));
    EXPECT_TRUE(succeeds(b, jobs::write(0, item(61))));
    EXPECT_EQ(b.last().recnum, 4);
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(62))));
    EXPECT_EQ(a.last().recnum, 2);
    EXPECT_TRUE(succeeds(b, jobs::write(0, item(63))));
    EXPECT_EQ(b.last().recnum, 7);
    EXPECT_TRUE(succeeds(a, jobs::lastRecord(0)));
    EXPECT_EQ(a.last().number, 7);
}

TEST_F(Refresh, LongFreeListsAreShared) {
    start(0);
    constexpr int kMany = 600;  // more numbers than one list node holds
    for (int i = 0; i < kMany; ++i)
        ASSERT_TRUE(succeeds(a, jobs::write(0, item(i))));
    for (int i = 0; i < kMany; ++i)
        ASSERT_TRUE(succeeds(i % 2 == 0 ? a : b, jobs::remove(0, item(i))));
    std::vector<long> numbers;
    for (int i = 0; i < kMany; ++i) {
        Worker &worker = i % 2 == 0 ? b : a;
        ASSERT_TRUE(succeeds(worker, jobs::write(0, item(i))));
        numbers.push_back(worker.last().recnum);
    }
    std::sort(numbers.begin(), numbers.end());
    for (int i = 0; i < kMany; ++i)
        ASSERT_EQ(numbers[static_cast<std::size_t>(i)], i + 1);
}

TEST_F(Refresh, UniqueIdsNeverRepeat) {
    start(1);
    EXPECT_TRUE(succeeds(a, jobs::setUnique(0, 100)));
    std::vector<long> ids;
    for (int i = 0; i < 6; ++i) {
        Worker &worker = i % 2 == 0 ? b : a;
        EXPECT_TRUE(succeeds(worker, jobs::uniqueId(0)));
        ids.push_back(worker.last().number);
    }
    EXPECT_EQ(ids, std::vector<long>({100, 101, 102, 103, 104, 105}));
}

TEST_F(Refresh, UserInformation) {
    start(1);
    EXPECT_TRUE(succeeds(b, jobs::userInfo(0, false)));
    EXPECT_EQ(b.last().text(ISUSERINFOLEN), std::string(ISUSERINFOLEN, '\0'));
    EXPECT_TRUE(succeeds(a, jobs::userInfo(0, true, "0123456789")));
    EXPECT_TRUE(succeeds(b, jobs::userInfo(0, false)));
    EXPECT_EQ(b.last().text(ISUSERINFOLEN), "0123456789");
    EXPECT_TRUE(succeeds(b, jobs::write(0, item(5))));  // must not put old bytes back
    EXPECT_TRUE(succeeds(a, jobs::userInfo(0, false)));
    EXPECT_EQ(a.last().text(ISUSERINFOLEN), "0123456789");
}

TEST_F(Refresh, PreciousModeCountsForEveryProcess) {
    start(3);
    EXPECT_TRUE(succeeds(a, jobs::precious(0, true)));
    EXPECT_TRUE(succeeds(b, jobs::removeNumber(0, 2)));
    EXPECT_TRUE(succeeds(b, jobs::write(0, item(40))));
    EXPECT_EQ(b.last().recnum, 4);
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(50))));
    EXPECT_EQ(a.last().recnum, 5);
    EXPECT_TRUE(succeeds(b, jobs::precious(0, false)));
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(60))));
    EXPECT_EQ(a.last().recnum, 2);
}

TEST_F(Refresh, HighestRecordNumber) {
    skippedNumbers = true;
    start(3);
    EXPECT_TRUE(succeeds(b, jobs::lastRecord(0)));
    EXPECT_EQ(b.last().number, 3);
    EXPECT_TRUE(succeeds(a, jobs::withNumber(jobs::call(0, [](Job &j) { return issetlastrec(j.fd, j.number); }), 50)));
    EXPECT_TRUE(succeeds(b, jobs::lastRecord(0)));
    EXPECT_EQ(b.last().number, 50);
    EXPECT_TRUE(succeeds(b, jobs::write(0, item(40))));
    EXPECT_EQ(b.last().recnum, 51);
}

TEST_F(Refresh, DuplicateIsSeenAcrossProcesses) {
    start(1);
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(77))));
    EXPECT_TRUE(fails(b, jobs::write(0, item(77)), ISERR_DUPLICATE));
    EXPECT_TRUE(succeeds(a, jobs::remove(0, item(77))));
    EXPECT_TRUE(succeeds(b, jobs::write(0, item(77))));
}

// A call refused by its own test of the lock, after the other process changed the file, must not leave old nodes.
TEST_F(Refresh, RefusedChangeTakesOverTheOthersChanges) {
    start(40);
    EXPECT_EQ(read(b, ISLAST), item(400, 40));
    for (int i = 0; i < 300; ++i)
        ASSERT_TRUE(succeeds(a, jobs::write(0, item(1000 + i))));
    EXPECT_TRUE(fails(b, jobs::addIndex(0, kByGroup), ISERR_FILEINUSE));
    EXPECT_EQ(read(b, ISLAST), item(1299));
    EXPECT_EQ(read(b, ISEQUAL, item(1150)), item(1150));
    EXPECT_TRUE(succeeds(b, jobs::write(0, item(2000))));
    EXPECT_EQ(read(a, ISLAST), item(2000));
}

TEST_F(Refresh, RecordNumberOrderFollowsTheOthersChanges) {
    start(3);
    EXPECT_TRUE(succeeds(b, jobs::start(0, testing_support::noKey(), ISFIRST)));
    EXPECT_EQ(read(b, ISNEXT), item(10, 1));
    EXPECT_TRUE(succeeds(a, jobs::removeNumber(0, 2)));
    EXPECT_EQ(read(b, ISNEXT), item(30, 3));
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(1))));
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(2))));
    EXPECT_EQ(read(b, ISNEXT), item(2));
    EXPECT_EQ(read(b, ISPREV), item(30, 3));
    EXPECT_EQ(read(b, ISPREV), item(1));
}

}  // namespace
}  // namespace process_testing
