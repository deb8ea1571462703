// What the library asks of the system in an everyday operation: exactly the calls of the stored traces, in their order.
#include "stored_trace.h"
#include "support/key_desc.h"
#include "support/temp_dir.h"
#include "trace_recorder.h"

#include <unistd.h>

#include <isam.h>

#include <cstdio>
#include <functional>
#include <string>

namespace trace {
namespace {

using testing_support::keyDesc;

constexpr int kFixedLength = 40, kLongest = 3000;
constexpr long kNodeSize = 1024;
// Behind the fixed part: the status byte, and six bytes that lead to a tail.
constexpr long kFixedSlot = kFixedLength + 1, kVariableSlot = kFixedSlot + 6;

// Records of 8 digits of key, 8 digits of group and a remark, which in a file of variable-length records goes on in a
// tail.
class Traces : public testing::TestWithParam<const char *> {
  protected:
    bool variable() const { return GetParam()[0] == 'v'; }
    int kind() const { return variable() ? ISVARLEN : 0; }

    std::string record(int key, int group, char remark = 'a') const {
        char digits[20];
        std::snprintf(digits, sizeof digits, "%08d%08d", key, group);
        std::string text = digits;
        return text + std::string((variable() ? 100 : kFixedLength) - text.size(), remark);
    }

    void SetUp() override {
        ASSERT_EQ(chdir(dir_.path().c_str()), 0);
        isreclen = kFixedLength;
        const int fd = isvbuild(base_.c_str(), kFixedLength, kLongest, &primary_, ISINOUT | ISLOCKEXCL | kind());
        ASSERT_GE(fd, 0);
        ASSERT_EQ(isaddindex(fd, &group_), 0);
        for (int i = 1; i <= 9; ++i)
            ASSERT_EQ(write(fd, record(10 * i, i)), 0);
        ASSERT_EQ(isclose(fd), 0);
    }

    void open(int more = 0) {
        fd_ = isopen(base_.c_str(), ISINOUT | ISLOCKMANUAL | kind() | more);
        ASSERT_GE(fd_, 0);
        warm();
    }

    // Everything that is kept in memory is there afterwards, and fresh.
    void warm() {
        ASSERT_EQ(write(fd_, record(95, 9)), 0);
        ASSERT_EQ(remove(20), 0);
        for (const KeyDesc *key : {&group_, &primary_}) {
            KeyDesc chosen = *key;
            ASSERT_EQ(isstart(fd_, &chosen, 0, nullptr, ISFIRST), 0);
            while (isread(fd_, buffer_, ISNEXT) == 0) {
            }
        }
    }

    // By indexes that come and go.
    void leaveFreeNodes(int nodes) {
        const int fd = isopen(base_.c_str(), ISINOUT | ISLOCKEXCL | kind());
        for (int (*change)(int, KeyDesc *) : {isaddindex, isdelindex})
            for (int i = 0; i < nodes; ++i) {
                KeyDesc key = keyDesc(ISDUPS, {{static_cast<short>(16 + i), 8}});
                ASSERT_EQ(change(fd, &key), 0);
            }
        ASSERT_EQ(isclose(fd), 0);
    }

    int write(int fd, const std::string &record) {
        std::string bytes = record;
        isreclen = static_cast<int>(bytes.size());
        return iswrite(fd, bytes.data());
    }
    int rewrite(const std::string &record) {
        std::string bytes = record;
        isreclen = static_cast<int>(bytes.size());
        return isrewrite(fd_, bytes.data());
    }
    int remove(int key) {
        std::string bytes = record(key, 0);
        return isdelete(fd_, bytes.data());
    }
    int read(int key, int flags = 0) {
        const std::string bytes = record(key, 0);
        bytes.copy(buffer_, bytes.size());
        return isread(fd_, buffer_, ISEQUAL | flags);
    }

    struct Step {
        const char *heading;
        std::function<int()> call;
    };

    void expectTrace(const std::string &name, const std::vector<Step> &steps) {
        TraceRecorder recorder(kNodeSize, variable() ? kVariableSlot : kFixedSlot);
        for (const Step &step : steps) {
            if (steps.size() > 1) recorder.heading(step.heading);
            EXPECT_EQ(step.call(), 0) << step.heading << ": " << iserrno;
        }
        EXPECT_TRUE(equalsStored(std::string(GetParam()) + "_" + name, recorder.lines()));
    }

    void expectTrace(const std::string &name, const std::function<int()> &call) { expectTrace(name, {{"", call}}); }

    void begin() {
        ASSERT_EQ(islogopen(dir_.file("changes.log").c_str()), 0);
        open(ISTRANS);
    }

    std::vector<Step> changes(const char *ending, int (*end)()) {
        return {{"begin",
                 [] {
                     return isbegin();
                 }},
                {"write",
                 [this] {
                     return write(fd_, record(55, 5));
                 }},
                {"rewrite",
                 [this] {
                     return rewrite(record(40, 4, 'b'));
                 }},
                {"rewrite with another group",
                 [this] {
                     return rewrite(record(60, 2, 'b'));
                 }},
                {"delete",
                 [this] {
                     return remove(70);
                 }},
                {ending, [end] {
                     return end();
                 }}};
    }

    void TearDown() override {
        EXPECT_EQ(isclose(fd_), 0);
        EXPECT_EQ(islogclose(), 0);
        EXPECT_EQ(chdir("/"), 0);
    }

    testing_support::TempDir dir_;
    // By a name of its own length wherever it is: the log has it, and so the offsets there follow from it.
    const std::string base_ = "items";
    KeyDesc primary_ = keyDesc(ISNODUPS, {{0, 8}});
    KeyDesc group_ = keyDesc(ISDUPS, {{8, 8}});
    char buffer_[kLongest] = {};
    int fd_ = -1;
};

TEST_P(Traces, ReadByKey) {
    open();
    expectTrace("read_key", [this] { return read(50); });
}

TEST_P(Traces, ReadNext) {
    open();
    ASSERT_EQ(read(50), 0);
    expectTrace("read_next", [this] { return isread(fd_, buffer_, ISNEXT); });
}

TEST_P(Traces, ReadAndLock) {
    open();
    expectTrace("read_lock", [this] { return read(50, ISLOCK); });
}

TEST_P(Traces, Insert) {
    open();
    expectTrace("insert", [this] { return write(fd_, record(55, 5)); });
}

TEST_P(Traces, RewriteWithTheSameKeys) {
    open();
    expectTrace("rewrite_remark", [this] { return rewrite(record(40, 4, 'b')); });
}

TEST_P(Traces, RewriteWithAnotherKey) {
    open();
    expectTrace("rewrite_key", [this] { return rewrite(record(40, 2, 'b')); });
}

TEST_P(Traces, Delete) {
    open();
    expectTrace("delete", [this] { return remove(70); });
}

TEST_P(Traces, Commit) {
    begin();
    expectTrace("commit", changes("commit", iscommit));
}

TEST_P(Traces, RollBack) {
    begin();
    expectTrace("rollback", changes("roll back", isrollback));
}

// Here the file grows, and the order of writes decides what a process that dies leaves: what makes it longer comes
// first, what leads there later.
TEST_P(Traces, DeleteWithANewListNode) {
    fd_ = isopen(base_.c_str(), ISINOUT | ISLOCKMANUAL | kind());
    expectTrace("delete_grow", [this] { return remove(70); });
}

// It has been free before.
TEST_P(Traces, DeleteWithAListNodeThatWasFree) {
    leaveFreeNodes(1);
    fd_ = isopen(base_.c_str(), ISINOUT | ISLOCKMANUAL | kind());
    expectTrace("delete_free", [this] { return remove(70); });
}

// One of the new nodes is free, the other makes the file longer, as the record's slot does.
TEST_P(Traces, InsertThatSplitsATree) {
    leaveFreeNodes(1);
    fd_ = isopen(base_.c_str(), ISINOUT | ISLOCKMANUAL | kind());
    // Entries of 12 and 16 bytes: the second index's leaf takes 63.
    for (int i = 10; i <= 63; ++i)
        ASSERT_EQ(write(fd_, record(10 * i, i)), 0);
    expectTrace("insert_split", [this] { return write(fd_, record(55, 5)); });
}

TEST_P(Traces, InsertThatSplitsATreeIntoFreeNodes) {
    leaveFreeNodes(3);
    fd_ = isopen(base_.c_str(), ISINOUT | ISLOCKMANUAL | kind());
    for (int i = 10; i <= 63; ++i)
        ASSERT_EQ(write(fd_, record(10 * i, i)), 0);
    expectTrace("insert_split_free", [this] { return write(fd_, record(55, 5)); });
}

// The list of free record numbers gives up its node, which then stands in the list of free nodes.
TEST_P(Traces, InsertThatTakesTheLastFreeNumber) {
    leaveFreeNodes(2);
    fd_ = isopen(base_.c_str(), ISINOUT | ISLOCKMANUAL | kind());
    ASSERT_EQ(remove(70), 0);
    expectTrace("insert_last_free", [this] { return write(fd_, record(55, 5)); });
}

TEST_P(Traces, AddIndex) {
    fd_ = isopen(base_.c_str(), ISINOUT | ISLOCKEXCL | kind());
    KeyDesc remark = keyDesc(ISDUPS, {{16, 8}});
    expectTrace("add_index", [&] { return isaddindex(fd_, &remark); });
}

class LongTails : public Traces {};

TEST_P(LongTails, Insert) {
    fd_ = isopen(base_.c_str(), ISINOUT | ISLOCKMANUAL | kind());
    std::string longest = record(55, 5);
    longest.resize(kLongest, 'a');
    expectTrace("insert_long", [&] { return write(fd_, longest); });
}

INSTANTIATE_TEST_SUITE_P(Files, LongTails, testing::Values("variable"),
                         [](const auto &instance) { return std::string(instance.param); });

INSTANTIATE_TEST_SUITE_P(Files, Traces, testing::Values("fixed", "variable"),
                         [](const auto &instance) { return std::string(instance.param); });

}  // namespace
}  // namespace trace
