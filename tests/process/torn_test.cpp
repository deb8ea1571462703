#include "process_test.h"

#include <fstream>
#include <unistd.h>

namespace process_testing {
namespace {

// A writer changes the file without a pause while a reader scans it and checks what must always hold:
// even keys are never added or removed, and the two numbers in a record's text have one sum.
constexpr int kEven = 150, kScans = 25, kSum = 10000000;

std::string balanced(int key, int group, int amount) {
    char text[32];
    std::snprintf(text, sizeof text, "%08d%08d", amount, kSum - amount);
    return item(key, group, text);
}

int number(const char *record, int at) { return std::stoi(std::string(record + at, 8)); }

// Until the stop file appears: rewrites even keys, moves odd ones about. number becomes the changes made.
int changeUntilStopped(Job &job) {
    unsigned random = 1;
    job.number = 0;
    const std::string stop = job.name;
    while (access(stop.c_str(), F_OK) != 0) {
        random = random * 1103515245U + 12345U;
        const int at = static_cast<int>(random >> 16U) % kEven;
        std::string even = balanced(2 * at, at % 7, static_cast<int>(random >> 9U) % kSum);
        std::string odd = balanced(2 * at + 1, static_cast<int>(random >> 20U) % 7, at);
        if (isrewrite(job.fd, even.data()) != 0) return -1;
        if (iswrite(job.fd, odd.data()) != 0 && (iserrno != ISERR_DUPLICATE || isdelete(job.fd, odd.data()) != 0))
            return -1;
        ++job.number;
    }
    return 0;
}

enum Torn { kWrongSum = -10, kWrongOrder = -11, kGap = -12, kTwice = -13, kReadFailed = -14, kWrongCount = -15 };

// By key, forwards: ascending, with every even key. A key that was taken out behind the reader's back and
// added again as another record comes after the old one.
int scanByKey(Job &job) {
    for (int scan = 0; scan < kScans; ++scan) {
        int last = -1, nextEven = 0;
        long lastNumber = 0;
        int mode = ISFIRST;
        while (isread(job.fd, job.record, mode) == 0) {
            mode = ISNEXT;
            const int key = number(job.record, 0);
            if (number(job.record, 16) + number(job.record, 24) != kSum) return kWrongSum;
            const bool again = key == last && key % 2 != 0 && isrecnum != lastNumber;
            if (key <= last && !again) return kWrongOrder;
            last = key;
            lastNumber = isrecnum;
            if (key % 2 == 0) {
                if (key != nextEven) return kGap;
                nextEven += 2;
            }
        }
        if (iserrno != ISERR_ENDOFFILE) return kReadFailed;
        if (nextEven != 2 * kEven) return kWrongCount;
    }
    return 0;
}

// By group, backwards: descending groups, every even key once and in its own group.
int scanByGroup(Job &job) {
    for (int scan = 0; scan < kScans; ++scan) {
        std::vector<int> seen(2 * kEven, 0);
        int last = 1000;
        int mode = ISLAST;
        while (isread(job.fd, job.record, mode) == 0) {
            mode = ISPREV;
            const int key = number(job.record, 0), group = number(job.record, 8);
            if (number(job.record, 16) + number(job.record, 24) != kSum) return kWrongSum;
            if (group > last) return kWrongOrder;
            last = group;
            if (key % 2 == 0 && (group != key / 2 % 7 || ++seen[static_cast<std::size_t>(key)] > 1)) return kTwice;
        }
        if (iserrno != ISERR_ENDOFFILE) return kReadFailed;
        for (int key = 0; key < 2 * kEven; key += 2)
            if (seen[static_cast<std::size_t>(key)] != 1) return kGap;
    }
    return 0;
}

// In record-number order: each present record is whole.
int scanByNumber(Job &job) {
    for (int scan = 0; scan < kScans; ++scan) {
        int mode = ISFIRST, evens = 0;
        while (isread(job.fd, job.record, mode) == 0) {
            mode = ISNEXT;
            if (number(job.record, 16) + number(job.record, 24) != kSum) return kWrongSum;
            evens += number(job.record, 0) % 2 == 0 ? 1 : 0;
        }
        if (iserrno != ISERR_ENDOFFILE) return kReadFailed;
        if (evens != kEven) return kWrongCount;
    }
    return 0;
}

class ReaderBesideWriter : public ProcessTest {
  protected:
    void SetUp() override {
        Worker maker;
        ASSERT_TRUE(succeeds(maker, jobs::build(base, kItemLength, kByKey, kExclusive)));
        ASSERT_TRUE(succeeds(maker, jobs::addIndex(0, keyDesc(ISDUPS | ISDUPCOMP | ISLEADCOMP, {{8, 8}}))));
        for (int i = 0; i < kEven; ++i)
            ASSERT_TRUE(succeeds(maker, jobs::write(0, balanced(2 * i, i % 7, i))));
        ASSERT_TRUE(succeeds(maker, jobs::close(0)));
    }

    void readBeside(const KeyDesc &order, int (*scan)(Job &)) {
        Worker writer, reader;
        open(writer);
        open(reader, ISINPUT);
        ASSERT_TRUE(succeeds(reader, jobs::start(0, order, ISFIRST)));
        const std::string stop = dir.file("stop");
        writer.start(jobs::quiet(jobs::withName(jobs::call(0, changeUntilStopped), stop)));
        reader.run(jobs::quiet(jobs::call(0, scan)));
        EXPECT_EQ(reader.last().result, 0) << "error " << reader.last().error << ", io " << reader.last().io
                                           << ", record " << reader.last().text(kItemLength);
        std::ofstream(stop).close();
        writer.finish();
        EXPECT_EQ(writer.last().result, 0) << "error " << writer.last().error << ", io " << writer.last().io;
        EXPECT_GT(writer.last().number, kScans);  // it did change the file meanwhile
        EXPECT_TRUE(succeeds(writer, jobs::close(0)));
        EXPECT_TRUE(succeeds(reader, jobs::close(0)));
        expectSound();
    }
};

TEST_F(ReaderBesideWriter, NeverSeesATornStateByKey) { readBeside(kByKey, scanByKey); }

TEST_F(ReaderBesideWriter, NeverSeesATornStateThroughACompressedIndex) {
    readBeside(keyDesc(ISDUPS | ISDUPCOMP | ISLEADCOMP, {{8, 8}}), scanByGroup);
}

TEST_F(ReaderBesideWriter, NeverSeesATornStateInRecordNumberOrder) {
    readBeside(testing_support::noKey(), scanByNumber);
}

}  // namespace
}  // namespace process_testing
