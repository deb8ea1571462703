// A copy that the system stops at any of its writes: the destination's header is that of the records before.

#include <cerrno>

#include "unit/raw_file.h"
#include "unit/refusal.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;

constexpr int kFixed = 20, kMaximum = 4000, kRecords = 6;
constexpr int kHeads = 61, kHeadsSize = 20, kLastRecord = 33;

int makeSet(const std::string &base, int records) {
    KeyDesc key = charKey(4);
    const int fd = isvbuild(base.c_str(), kFixed, kMaximum, &key, ISINOUT | ISVARLEN | ISLOCKEXCL);
    EXPECT_GE(fd, 0);
    for (int i = 0; i < records; ++i) {
        std::string record = std::to_string(1000 + i);
        isreclen = kFixed + 150 + 130 * i;  // their room falls into different buckets
        record.resize(static_cast<std::size_t>(isreclen), 'x');
        EXPECT_EQ(iswrite(fd, record.data()), 0);
    }
    return fd;
}

std::string headerOf(const std::string &base) { return unit::bytesOf(base + ".idx").substr(0, 128); }

std::string headsOf(const std::string &base) { return headerOf(base).substr(kHeads, kHeadsSize); }

TEST(FailedCopy, LeavesTheHashHeadsOfTheRecordsBefore) {
    testing_support::TempDir directory;
    KeyDesc key = charKey(4);
    std::string heads[kRecords + 1];
    for (int i = 0; i <= kRecords; ++i) {
        const std::string from = directory.file("a" + std::to_string(i)), to = directory.file("b" + std::to_string(i));
        const int source = makeSet(from, i), copy = makeSet(to, 0);
        ASSERT_EQ(iscopy(copy, source, &key), 0);
        EXPECT_EQ(isclose(source), 0);
        EXPECT_EQ(isclose(copy), 0);
        heads[i] = headsOf(to);
    }
    const int source = makeSet(directory.file("source"), kRecords);
    for (int number = 0;; ++number) {
        const std::string name = directory.file("c" + std::to_string(number));
        const int copy = makeSet(name, 0);
        bool done = false;
        {
            unit::Refusal refusing(EIO, unit::only(number, unit::every(shim::Call::PositionedWrite)));
            const bool failed = iscopy(copy, source, &key) != 0;
            done = refusing.count() != 0;
            EXPECT_EQ(failed, done) << "write " << number;
        }
        EXPECT_EQ(isclose(copy), 0);
        const long copied = ldlong(headerOf(name).data() + kLastRecord);
        EXPECT_TRUE(headsOf(name) == heads[copied]) << "write " << number << ", " << copied << " records";
        if (!done) break;
    }
    EXPECT_EQ(isclose(source), 0);
}

}  // namespace
