#include "whole_file_test.h"

#include <csignal>
#include <fstream>
#include <utility>

namespace process_testing {
namespace {

// A call on a whole file, looked at from another process at each of its steps.
class WholeFileSteps : public WholeFileTest {
  protected:
    static constexpr int kCount = 4;
    using Work = std::function<int(const SteppedProcess::Begin &begin)>;

    // Opens the file exclusively, then clusters it in steps and ends with the descriptor or the error below 0.
    Work clustering() const {
        return [name = base](const SteppedProcess::Begin &begin) {
            const int fd = isopen(name.c_str(), kExclusive);
            KeyDesc key = kByDescending;
            begin();
            const int done = iscluster(fd, &key);
            return done >= 0 ? done : -iserrno;
        };
    }
    Work erasing() const {
        return [name = base](const SteppedProcess::Begin &begin) {
            begin();
            return iserase(name.c_str()) == 0 ? 0 : -iserrno;
        };
    }
    Work renaming() const {
        return [name = base, to = other](const SteppedProcess::Begin &begin) {
            begin();
            return isrename(name.c_str(), to.c_str()) == 0 ? 0 : -iserrno;
        };
    }
    // Does so at every stop.
    static int atEachStep(const Work &work, const std::function<void(SteppedProcess &)> &look) {
        SteppedProcess process(work);
        int steps = 0;
        do {
            SCOPED_TRACE("step " + std::to_string(++steps) + ", " + process.at());
            look(process);
        } while (process.step());
        EXPECT_GT(steps, 5);
        return process.result();
    }
    // Ends the process at every stop, each time with the file as it was built.
    void killedAtEachStep(const Work &work, const std::function<void(pid_t)> &look) {
        bool more = true;
        for (int steps = 0; more; ++steps) {
            for (const auto &file : std::filesystem::directory_iterator(dir.path()))
                std::filesystem::remove(file.path());
            buildTwo(kCount);
            SteppedProcess process(work);
            for (int i = 0; more && i < steps; ++i)
                more = process.step();
            const pid_t pid = process.pid();
            SCOPED_TRACE("step " + std::to_string(steps) + ", " + process.at());
            process.kill();
            look(pid);
        }
    }
    const std::string other = dir.file("other");
};

TEST_F(WholeFileSteps, ClusterLetsNobodyIn) {
    buildTwo(kCount);
    Worker b;
    const int done = atEachStep(clustering(), [&](SteppedProcess &) {
        EXPECT_TRUE(closedToOthers(b, jobs::open(base, kShared)));
        EXPECT_TRUE(closedToOthers(b, jobs::open(base, ISINPUT)));
        EXPECT_TRUE(closedToOthers(b, jobs::open(base, kExclusive)));
        EXPECT_TRUE(closedToOthers(b, jobs::erase(base)));
        EXPECT_TRUE(closedToOthers(b, jobs::rename(base, other)));
    });
    EXPECT_EQ(done, 0);
    open(b);
    EXPECT_EQ(itemsIn(base), descending(kCount));
}

// Somebody who looks into the directory may open the new file before it is locked. Then there is nothing to be done but
// to leave everything as it was.
TEST_F(WholeFileSteps, NewFileThatAnotherProcessHasOpenedFirst) {
    buildTwo(kCount);
    SteppedProcess a(clustering());
    const std::string made = temporary(a.pid());
    Worker b;
    ASSERT_TRUE(a.stepTo("open " + made + ".dat"));
    ASSERT_TRUE(a.stepTo("open " + made + ".idx"));
    ASSERT_TRUE(succeeds(b, jobs::open(made, kShared)));
    EXPECT_EQ(a.finish(), -ISERR_FILEINUSE);
    EXPECT_FALSE(there(made));
    EXPECT_EQ(itemsIn(base), ascending(kCount));
}

// The old file stays as it is until the new one holds everything.
TEST_F(WholeFileSteps, OldFileStaysUntilTheNewOneIsComplete) {
    buildTwo(kCount);
    bool stood = true;
    int gone = 0;
    atEachStep(clustering(), [&](SteppedProcess &process) {
        if (stood && itemsIn(base) == ascending(kCount)) return;
        stood = false;
        if (itemsIn(base) == descending(kCount)) return;
        ++gone;
        EXPECT_EQ(itemsIn(temporary(process.pid())), descending(kCount));
    });
    EXPECT_EQ(itemsIn(base), descending(kCount));
    EXPECT_GT(gone, 0);
}

TEST_F(WholeFileSteps, KilledClusterLeavesAWholeFile) {
    int old = 0, made = 0, taken = 0;
    killedAtEachStep(clustering(), [&](pid_t pid) {
        const bool stands = itemsIn(base) == ascending(kCount), done = itemsIn(base) == descending(kCount);
        const bool waits = itemsIn(temporary(pid)) == descending(kCount);
        EXPECT_TRUE(stands || done || waits);
        old += stands ? 1 : 0;
        taken += done ? 1 : 0;
        made += !stands && !done ? 1 : 0;
    });
    EXPECT_GT(old, 20);
    EXPECT_GT(made, 0);
    EXPECT_GT(taken, 0);
}

// What is left then can be worked with: the file that stands, or the other one under its own name.
TEST_F(WholeFileSteps, AfterAKilledClusterWorkGoesOn) {
    killedAtEachStep(clustering(), [&](pid_t pid) {
        Worker b;
        if (itemsIn(base).empty()) {
            for (const char *extension : {".idx", ".dat"})
                std::filesystem::remove(base + extension);
            ASSERT_TRUE(succeeds(b, jobs::rename(temporary(pid), base)));
        }
        open(b, kExclusive);
        EXPECT_TRUE(succeeds(b, jobs::write(0, item(5))));
        EXPECT_TRUE(succeeds(b, jobs::cluster(0, kByKey)));
        std::vector<std::string> items = ascending(kCount);
        items.insert(items.begin(), item(5));
        EXPECT_EQ(itemsIn(base), items);
    });
}

// Somebody builds a file of that name in the moment when there is none: it stays, and so do the records.
TEST_F(WholeFileSteps, NameTakenByAnotherFileInBetween) {
    buildTwo(kCount);
    SteppedProcess a(clustering());
    const std::string made = temporary(a.pid());
    ASSERT_TRUE(a.stepTo("link"));
    Worker b;
    ASSERT_TRUE(succeeds(b, jobs::build(base, kItemLength, kByKey, kExclusive)));
    ASSERT_TRUE(succeeds(b, jobs::write(0, item(7))));
    EXPECT_EQ(a.finish(), -EEXIST);
    EXPECT_EQ(itemsIn(made), descending(kCount));
    EXPECT_TRUE(succeeds(b, jobs::close(0)));
    EXPECT_EQ(itemsIn(base), std::vector<std::string>{item(7)});
    EXPECT_EQ(RawFile(indexPath()).held().size(), 0U);
    EXPECT_EQ(RawFile(made + ".idx").held().size(), 0U) << "the handle is closed";
}

// The same with the data file alone: then both new files go back to their temporary name.
TEST_F(WholeFileSteps, OneOfTheNamesTakenInBetween) {
    for (const char *extension : {".idx", ".dat"}) {
        SCOPED_TRACE(extension);
        buildTwo(kCount);
        SteppedProcess a(clustering());
        const std::string made = temporary(a.pid());
        ASSERT_TRUE(a.stepTo("link"));
        std::ofstream(base + extension) << "not ours";
        EXPECT_EQ(a.finish(), -EEXIST);
        EXPECT_EQ(itemsIn(made), descending(kCount));
        EXPECT_EQ(std::filesystem::file_size(base + extension), 8U);
        EXPECT_EQ(std::filesystem::exists(base + ".idx"), std::string(".idx") == extension);
        EXPECT_EQ(std::filesystem::exists(base + ".dat"), std::string(".dat") == extension);
        std::filesystem::remove(base + extension);
        Worker b;
        EXPECT_TRUE(succeeds(b, jobs::rename(made, base)));
        EXPECT_EQ(itemsIn(base), descending(kCount));
        EXPECT_TRUE(succeeds(b, jobs::erase(base)));
    }
}

// A descriptor that is gone after such a failure, and one that stays after any other.
TEST_F(WholeFileSteps, DescriptorIsGoneWhenTheNameCouldNotBeGiven) {
    buildTwo(kCount);
    SteppedProcess a([name = base](const SteppedProcess::Begin &begin) {
        const int fd = isopen(name.c_str(), kExclusive);
        KeyDesc key = kByDescending;
        begin();
        if (iscluster(fd, &key) != -1 || iserrno != EEXIST || iserrio != 1) return 1;
        int mode = 0;
        if (isgetmode(fd, &mode) != -1 || iserrno != ISERR_NOTOPEN) return 2;
        return isopen(name.c_str(), ISINPUT) == -1 && iserrno != ISERR_FILEINUSE ? 0 : 3;
    });
    ASSERT_TRUE(a.stepTo("link"));
    std::ofstream(base + ".idx") << "not ours";
    EXPECT_EQ(a.finish(), 0);
}

TEST_F(WholeFileSteps, EraseLetsNobodyIn) {
    buildTwo(kCount);
    Worker b;
    bool begun = false;
    const int done = atEachStep(erasing(), [&](SteppedProcess &process) {
        // Before its lock the file is still everybody's.
        begun = begun || process.at() == "lock";
        if (!begun) return;
        EXPECT_TRUE(closedToOthers(b, jobs::open(base, kShared)));
        EXPECT_TRUE(closedToOthers(b, jobs::open(base, kExclusive)));
        EXPECT_TRUE(closedToOthers(b, jobs::rename(base, other)));
    });
    EXPECT_EQ(done, 0);
    EXPECT_TRUE(begun);
    EXPECT_FALSE(there(base));
}

TEST_F(WholeFileSteps, RenameLetsNobodyInUnderEitherName) {
    buildTwo(kCount);
    Worker b;
    bool begun = false;
    int refused = 0;
    SteppedProcess a(renaming());
    do {
        SCOPED_TRACE(a.at());
        begun = begun || a.at() == "lock";
        if (!begun) continue;
        // The last lock call gives the file back, under its new name.
        const bool renamed = itemsIn(other) == ascending(kCount) && RawFile(other + ".idx").held().empty();
        if (renamed) continue;
        ++refused;
        EXPECT_TRUE(closedToOthers(b, jobs::open(base, kShared)));
        EXPECT_TRUE(closedToOthers(b, jobs::open(other, kShared)));
        EXPECT_TRUE(closedToOthers(b, jobs::erase(base)));
        EXPECT_TRUE(closedToOthers(b, jobs::erase(other)));
    } while (a.step());
    EXPECT_EQ(a.result(), 0);
    EXPECT_GT(refused, 4);
    EXPECT_EQ(itemsIn(other), ascending(kCount));
    EXPECT_FALSE(there(base));
}

TEST_F(WholeFileSteps, KilledRenameLeavesAWholeFile) {
    killedAtEachStep(renaming(), [&](pid_t) {
        EXPECT_TRUE(itemsIn(base) == ascending(kCount) || itemsIn(other) == ascending(kCount));
    });
}

// A rename that finds the second name taken gives the first one back.
TEST_F(WholeFileSteps, RenameThatIsStoppedHalfWay) {
    for (const char *extension : {".idx", ".dat"}) {
        SCOPED_TRACE(extension);
        buildTwo(kCount);
        SteppedProcess a(renaming());
        ASSERT_TRUE(a.stepTo("link"));
        std::ofstream(other + extension) << "not ours";
        EXPECT_EQ(a.finish(), -EEXIST);
        EXPECT_EQ(itemsIn(base), ascending(kCount));
        EXPECT_EQ(std::filesystem::file_size(other + extension), 8U);
        EXPECT_EQ(RawFile(indexPath()).held().size(), 0U);
        for (const std::string &name : {base, other})
            for (const char *each : {".idx", ".dat"})
                std::filesystem::remove(name + each);
    }
}

}  // namespace
}  // namespace process_testing
