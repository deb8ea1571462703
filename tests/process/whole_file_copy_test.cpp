#include "whole_file_test.h"

#include <csignal>

namespace process_testing {
namespace {

// Copies beside other processes.
class WholeFileCopy : public WholeFileTest {
  protected:
    static constexpr int kCount = 30;

    void SetUp() override {
        buildTwo(kCount, "items");
        buildTwo(0, "copy");
    }
    // items as descriptor 0, copy as 1.
    void openBoth(Worker &worker, int mode = kShared) {
        open(worker, mode);
        ASSERT_TRUE(succeeds(worker, jobs::open(copy, mode)));
    }
    std::function<int(const SteppedProcess::Begin &)> copying() const {
        return [from = base, to = copy](const SteppedProcess::Begin &begin) {
            const int source = isopen(from.c_str(), kShared), target = isopen(to.c_str(), kShared);
            KeyDesc key = kByDescending;
            begin();
            return iscopy(target, source, &key) == 0 ? 0 : -iserrno;
        };
    }
    // Both files are free for everybody.
    void expectUnlocked(const std::string &path, std::size_t opens) {
        for (const HeldLock &lock : RawFile(path + ".idx").held())
            EXPECT_EQ(lock.type, F_RDLCK) << lock.start;
        EXPECT_EQ(RawFile(path + ".idx").held().size(), opens);
        EXPECT_EQ(RawFile(path + ".dat").held().size(), 0U);
    }
    const std::string copy = dir.file("copy");
};

// Both are locked in one order, whatever is copied into what; so the one who comes second waits for the first lock.
TEST_F(WholeFileCopy, InOppositeDirectionsAtOnce) {
    for (const bool forwards : {true, false}) {
        buildTwo(1, forwards ? "a1" : "b1");
        buildTwo(1, forwards ? "a2" : "b2");
        const std::string one = dir.file(forwards ? "a1" : "b1"), two = dir.file(forwards ? "a2" : "b2");
        Worker a, b;
        for (Worker *each : {&a, &b}) {
            ASSERT_TRUE(succeeds(*each, jobs::open(one, kShared)));
            ASSERT_TRUE(succeeds(*each, jobs::open(two, kShared)));
        }
        Worker &first = forwards ? a : b, &second = forwards ? b : a;
        const Job into = jobs::copy(forwards ? 0 : 1, forwards ? 1 : 0, kByKey);
        const Job back = jobs::copy(forwards ? 1 : 0, forwards ? 0 : 1, kByKey);
        // Both end on the key that both files have; the locks are taken before.
        ASSERT_TRUE(pauses(first, into));
        ASSERT_TRUE(waits(second, back));
        first.resume();
        EXPECT_TRUE(finishesWith(first, ISERR_DUPLICATE));
        EXPECT_TRUE(finishesWith(second, ISERR_DUPLICATE));
        for (Worker *each : {&a, &b})
            EXPECT_TRUE(succeeds(*each, jobs::write(0, item(each == &a ? 1 : 2))));
    }
}

TEST_F(WholeFileCopy, InOppositeDirectionsAgainAndAgain) {
    Worker a, b;
    openBoth(a);
    openBoth(b);
    ASSERT_TRUE(succeeds(a, jobs::write(1, item(300, 30))));
    const auto often = [](Job &j) {
        for (int i = 0; i < 2000; ++i)
            if (iscopy(j.fd, j.mode, &j.key) != -1 || iserrno != ISERR_DUPLICATE) return -3;
        return 0;
    };
    a.start(jobs::quiet(jobs::withMode(jobs::withKey(jobs::call(1, often), kByDescending), 0)));
    b.start(jobs::quiet(jobs::withMode(jobs::withKey(jobs::call(0, often), kByKey), 1)));
    EXPECT_EQ(a.finish().result, 0) << a.last().error << ", io " << a.last().io;
    EXPECT_EQ(b.finish().result, 0) << b.last().error << ", io " << b.last().io;
    expectUnlocked(base, 1);
    expectUnlocked(copy, 1);
}

// A round of three, each copying into the next one's file.
TEST_F(WholeFileCopy, InACircle) {
    buildTwo(1, "one");
    buildTwo(1, "two");
    buildTwo(1, "three");
    const std::string names[] = {dir.file("one"), dir.file("two"), dir.file("three")};
    Worker workers[3];
    const auto often = [](Job &j) {
        for (int i = 0; i < 1000; ++i)
            if (iscopy(j.fd, j.mode, &j.key) != -1 || iserrno != ISERR_DUPLICATE) return -3;
        return 0;
    };
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(succeeds(workers[i], jobs::open(names[i], kShared)));
        ASSERT_TRUE(succeeds(workers[i], jobs::open(names[(i + 1) % 3], kShared)));
        workers[i].start(jobs::quiet(jobs::withMode(jobs::withKey(jobs::call(1, often), kByKey), 0)));
    }
    for (Worker &worker : workers)
        EXPECT_EQ(worker.finish().result, 0) << worker.last().error << ", io " << worker.last().io;
}

TEST_F(WholeFileCopy, SourceIsReadMeanwhileAndTheDestinationIsNot) {
    Worker b;
    openBoth(b);
    SteppedProcess a(copying());
    ASSERT_TRUE(a.stepTo("write"));
    ASSERT_TRUE(a.stepTo("write"));
    EXPECT_EQ(read(b, ISFIRST), item(10, 1));
    EXPECT_EQ(b.last().lockCount, 2) << "without waiting";
    ASSERT_TRUE(waits(b, jobs::read(1, ISFIRST)));
    EXPECT_EQ(a.finish(), 0);
    EXPECT_TRUE(finishes(b));
    EXPECT_EQ(b.last().text(kItemLength), item(10, 1)) << "all records at once";
    EXPECT_EQ(b.last().recnum, kCount);
    EXPECT_EQ(itemsIn(copy), descending(kCount));
}

TEST_F(WholeFileCopy, SourceIsNotWrittenMeanwhile) {
    Worker b;
    openBoth(b);
    SteppedProcess a(copying());
    ASSERT_TRUE(a.stepTo("write"));
    ASSERT_TRUE(waits(b, jobs::write(0, item(5))));
    EXPECT_EQ(a.finish(), 0);
    EXPECT_TRUE(finishes(b));
    EXPECT_EQ(itemsIn(copy), descending(kCount));
    EXPECT_EQ(itemsIn(base).size(), kCount + 1U);
}

TEST_F(WholeFileCopy, BothGiveWayWhenItIsOver) {
    Worker a;
    openBoth(a);
    EXPECT_TRUE(succeeds(a, jobs::copy(1, 0, kByKey)));
    expectUnlocked(base, 1);
    expectUnlocked(copy, 1);
    EXPECT_TRUE(fails(a, jobs::copy(1, 0, kByKey), ISERR_DUPLICATE));
    expectUnlocked(base, 1);
    expectUnlocked(copy, 1);
    EXPECT_TRUE(fails(a, jobs::copy(1, 0, keyDesc(ISNODUPS, {{1, 4}})), ISERR_KEYDESC));
    EXPECT_TRUE(fails(a, jobs::copy(1, 1, kByKey), ISERR_ARGUMENT));
    expectUnlocked(base, 1);
    expectUnlocked(copy, 1);
}

TEST_F(WholeFileCopy, HandleOfAnotherProcessSeesTheCopy) {
    Worker a, b;
    openBoth(a);
    openBoth(b);
    EXPECT_TRUE(fails(b, jobs::read(1, ISFIRST), ISERR_ENDOFFILE));
    EXPECT_TRUE(succeeds(a, jobs::copy(1, 0, kByKey)));
    EXPECT_TRUE(succeeds(b, jobs::read(1, ISFIRST)));
    EXPECT_EQ(b.last().text(kItemLength), item(10, 1));
    EXPECT_TRUE(succeeds(b, jobs::write(1, item(5))));
    EXPECT_EQ(b.last().recnum, kCount + 1);
    EXPECT_TRUE(succeeds(a, jobs::read(1, ISFIRST)));
    EXPECT_EQ(a.last().text(kItemLength), item(5));
}

TEST_F(WholeFileCopy, ChangesOfOthersAreCopiedAndKept) {
    Worker a, b;
    openBoth(a);
    openBoth(b);
    // Both handles of a have looked at their files before.
    EXPECT_TRUE(succeeds(a, jobs::read(0, ISFIRST)));
    EXPECT_TRUE(fails(a, jobs::read(1, ISFIRST), ISERR_ENDOFFILE));
    EXPECT_TRUE(succeeds(b, jobs::remove(0, item(10))));
    EXPECT_TRUE(succeeds(b, jobs::write(0, item(5))));
    EXPECT_TRUE(succeeds(b, jobs::write(1, item(1000))));
    EXPECT_TRUE(succeeds(a, jobs::copy(1, 0, kByKey)));
    std::vector<std::string> items = ascending(kCount);
    items[0] = item(5);
    items.insert(items.begin(), item(1000));
    EXPECT_EQ(itemsIn(copy), items);
}

// The locks of a process that dies are the system's to give back; the source has not been touched.
TEST_F(WholeFileCopy, KilledCopyLeavesTheSource) {
    Worker b;
    openBoth(b);
    SteppedProcess a(copying());
    for (int i = 0; i < 10; ++i)
        ASSERT_TRUE(a.stepTo("write"));
    ASSERT_TRUE(waits(b, jobs::write(0, item(5))));
    a.kill();
    EXPECT_TRUE(finishes(b));
    EXPECT_TRUE(succeeds(b, jobs::remove(0, item(5))));
    EXPECT_TRUE(succeeds(b, jobs::start(0, kByKey, ISFIRST)));
    for (int i = 1; i <= kCount; ++i)
        EXPECT_EQ(read(b, ISNEXT), item(10 * i, i));
}

TEST_F(WholeFileCopy, CloneWhileOthersHaveTheFileOpen) {
    Worker a, b;
    open(a);
    open(b);
    ASSERT_TRUE(succeeds(b, jobs::lockAll(0)));
    const std::string made = dir.file("clone");
    EXPECT_TRUE(succeeds(a, jobs::clone(0, made)));
    EXPECT_TRUE(succeeds(a, jobs::copy(1, 0, kByDescending))) << "record locks do not matter";
    EXPECT_EQ(itemsIn(made), descending(kCount));
    EXPECT_TRUE(succeeds(b, jobs::open(made, kShared)));
}

}  // namespace
}  // namespace process_testing
