#include "whole_file_test.h"

#include <fstream>

namespace process_testing {
namespace {

// A call on a whole file, in which one system call fails: each of them in turn, the files being as they were before.
class WholeFileFault : public WholeFileTest {
  protected:
    static constexpr int kCount = 6;
    using Work = std::function<int(const SteppedProcess::Begin &begin)>;

    // look gets the result of the work and its process.
    void eachFails(const Work &work, const std::function<void()> &prepare,
                   const std::function<void(int result, pid_t pid)> &look) {
        int faults = 0;
        for (int at = 1;; ++at) {
            for (const auto &file : std::filesystem::directory_iterator(dir.path()))
                std::filesystem::remove(file.path());
            prepare();
            SteppedProcess process(work);
            bool more = true;
            for (int i = 0; more && i < at; ++i)
                more = process.step();
            if (!more) break;
            if (!process.beforeCall()) continue;
            ++faults;
            SCOPED_TRACE("step " + std::to_string(at) + ", " + process.at());
            if (process.step(EIO)) process.finish();
            look(process.result(), process.pid());
        }
        EXPECT_GT(faults, 4);
    }
    // The items that a handle reads by key, as far as it can.
    static int countThrough(int fd) {
        char record[kItemLength];
        KeyDesc key = kByKey;
        int count = 0;
        if (isstart(fd, &key, 0, record, ISFIRST) != 0) return -1;
        while (isread(fd, record, ISNEXT) == 0)
            ++count;
        return iserrno == ISERR_ENDOFFILE ? count : -1;
    }
    static constexpr int kDone = 1000, kHandleGone = 2000, kHandleBroken = 3000, kOtherError = 4000;
    // What came of it: done, failed with a good handle (0), or the handle is gone or broken.
    static int outcome(int result, int handle, int done_count, int count) {
        const int error = iserrno;
        if (result >= 0) return countThrough(result) == done_count ? kDone : kHandleBroken;
        if (error != EIO) return kOtherError + error;
        int mode;
        if (isgetmode(handle, &mode) != 0) return kHandleGone;
        return countThrough(handle) == count ? 0 : kHandleBroken;
    }
    const std::string other = dir.file("other");
};

TEST_F(WholeFileFault, InACluster) {
    int undone = 0, gone = 0, done = 0;
    eachFails(
        [name = base](const SteppedProcess::Begin &begin) {
            const int fd = isopen(name.c_str(), kExclusive);
            KeyDesc key = kByDescending;
            begin();
            return outcome(iscluster(fd, &key), fd, kCount, kCount);
        },
        [this] { buildTwo(kCount); },
        [&](int result, pid_t pid) {
            const std::string made = temporary(pid);
            EXPECT_TRUE(result == 0 || result == kDone || result == kHandleGone) << result;
            if (result == 0) {
                EXPECT_EQ(itemsIn(base), ascending(kCount));
                EXPECT_FALSE(there(made));
                ++undone;
            } else if (result == kDone) {
                EXPECT_EQ(itemsIn(base), descending(kCount));
                EXPECT_FALSE(there(made));
                ++done;
            } else {
                EXPECT_TRUE(itemsIn(base) == descending(kCount) || itemsIn(made) == descending(kCount));
                ++gone;
            }
        });
    EXPECT_GT(undone, 20);
    EXPECT_GT(gone, 2);
    EXPECT_GT(done, 0) << "a link file that cannot be opened is none";
}

TEST_F(WholeFileFault, InAClone) {
    eachFails(
        [name = base, to = other](const SteppedProcess::Begin &begin) {
            const int fd = isopen(name.c_str(), kShared);
            begin();
            return outcome(isclone(fd, to.c_str()), fd, 0, kCount);
        },
        [this] { buildTwo(kCount); },
        [&](int result, pid_t) {
            EXPECT_TRUE(result == 0 || result == kDone) << result;
            EXPECT_EQ(there(other), result == kDone);
            EXPECT_EQ(itemsIn(base), ascending(kCount));
        });
}

TEST_F(WholeFileFault, InARename) {
    eachFails(
        [name = base, to = other](const SteppedProcess::Begin &begin) {
            begin();
            return isrename(name.c_str(), to.c_str()) == 0 ? kDone : iserrno;
        },
        [this] { buildTwo(kCount); },
        [&](int result, pid_t) {
            EXPECT_TRUE(result == EIO || result == kDone) << result;
            const bool renamed = result == kDone;
            EXPECT_EQ(itemsIn(renamed ? other : base), ascending(kCount));
            EXPECT_FALSE(there(renamed ? base : other));
        });
}

// The index file goes first: with it gone there is no file, whatever is left of the data.
TEST_F(WholeFileFault, InAnErase) {
    eachFails(
        [name = base](const SteppedProcess::Begin &begin) {
            begin();
            return iserase(name.c_str()) == 0 ? kDone : iserrno;
        },
        [this] { buildTwo(kCount); },
        [&](int result, pid_t) {
            EXPECT_TRUE(result == EIO || result == kDone) << result;
            if (result == kDone)
                EXPECT_FALSE(there(base));
            else
                EXPECT_TRUE(itemsIn(base) == ascending(kCount) || !std::filesystem::exists(indexPath()));
        });
}

// The records before stay, whatever fails; what cannot be read of the source ends the copy.
TEST_F(WholeFileFault, InACopy) {
    int failed = 0;
    eachFails(
        [from = base, to = other](const SteppedProcess::Begin &begin) {
            const int source = isopen(from.c_str(), kShared), target = isopen(to.c_str(), kShared);
            KeyDesc key = kByDescending;
            begin();
            const int copied = iscopy(target, source, &key);
            if (countThrough(source) != kCount) return kHandleBroken;
            return copied == 0 ? kDone : iserrno;
        },
        [this] {
            buildTwo(kCount);
            Worker worker;
            ASSERT_TRUE(succeeds(worker, jobs::build(other, kItemLength, kByKey, kExclusive)));
            ASSERT_TRUE(succeeds(worker, jobs::write(0, item(1))));
        },
        [&](int result, pid_t) {
            EXPECT_EQ(itemsIn(base), ascending(kCount));
            std::vector<std::string> expected = descending(kCount);
            expected.insert(expected.begin(), item(1));
            const std::vector<std::string> copied = itemsIn(other);
            EXPECT_FALSE(copied.empty());
            if (result == kDone) EXPECT_EQ(copied, expected);
            if (result != kDone) ++failed;
            expected.resize(copied.size());
            EXPECT_EQ(copied, expected);
        });
    EXPECT_GT(failed, 10);
}

}  // namespace
}  // namespace process_testing
