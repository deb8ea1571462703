// Files for the calls that work on whole ones, with several processes.
#ifndef TESTS_PROCESS_WHOLE_FILE_TEST_H
#define TESTS_PROCESS_WHOLE_FILE_TEST_H

#include "process_test.h"
#include "whole_file_steps.h"

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

namespace process_testing {

namespace jobs {

inline Job erase(const std::string &name) {
    return withName(call(0, [](Job &j) { return iserase(j.name); }), name);
}
inline Job rename(const std::string &from, const std::string &to) {
    return withRecord(withName(call(0, [](Job &j) { return isrename(j.name, j.record); }), from), to);
}
// mode: descriptor of the source.
inline Job copy(int to, int from, const KeyDesc &key) {
    return withMode(withKey(call(to, [](Job &j) { return iscopy(j.fd, j.mode, &j.key); }), key), from);
}
inline Job clone(int fd, const std::string &name) {
    return withName(call(fd, [](Job &j) { return isclone(j.fd, j.name); }), name);
}
inline Job cluster(int fd, const KeyDesc &key) {
    return withKey(call(fd, [](Job &j) { return iscluster(j.fd, &j.key); }), key);
}

}  // namespace jobs

inline const KeyDesc kByDescending = keyDesc(ISNODUPS, {{0, 8, CHARTYPE | ISDESC}});

class WholeFileTest : public ProcessTest {
  protected:
    // Items 10, 20, .. count * 10 in the file, with two indexes: by key, and by key descending.
    void buildTwo(int count, const std::string &name = "items") {
        Worker worker;
        const std::string path = dir.file(name);
        ASSERT_TRUE(succeeds(worker, jobs::build(path, kItemLength, kByKey, kExclusive)));
        ASSERT_TRUE(succeeds(worker, jobs::addIndex(0, kByDescending)));
        for (int i = 1; i <= count; ++i)
            ASSERT_TRUE(succeeds(worker, jobs::write(0, item(10 * i, i))));
        ASSERT_TRUE(succeeds(worker, jobs::close(0)));
    }

    static bool there(const std::string &path) {
        return std::filesystem::exists(path + ".idx") || std::filesystem::exists(path + ".dat");
    }
    // Both files are there and fit together; the items in the order of the data file, none where they do not.
    static std::vector<std::string> itemsIn(const std::string &path) {
        std::vector<std::string> items;
        if (!std::filesystem::exists(path + ".idx") || !std::filesystem::exists(path + ".dat")) return items;
        testing_support::FileReader reader(path);
        if (!testing_support::checkFiles(reader).clean()) return items;
        testing_support::Bytes slot;
        for (long n = 1; reader.slot(n, &slot); ++n)
            items.emplace_back(slot.begin(), slot.begin() + kItemLength);
        return items;
    }
    static std::vector<std::string> ascending(int count) {
        std::vector<std::string> items;
        for (int i = 1; i <= count; ++i)
            items.push_back(item(10 * i, i));
        return items;
    }
    static std::vector<std::string> descending(int count) {
        const std::vector<std::string> items = ascending(count);
        return {items.rbegin(), items.rend()};
    }

    // Nobody gets hold of the file now: it is in use, or not there.
    testing::AssertionResult closedToOthers(Worker &other, const Job &job) {
        other.run(job);
        if (other.last().result == -1 && (other.last().error == ISERR_FILEINUSE || other.last().error == ENOENT))
            return testing::AssertionSuccess();
        return testing::AssertionFailure()
               << "result " << other.last().result << ", error " << other.last().error << ", io " << other.last().io;
    }

    // The name that a file made by this process has until it takes the place of another.
    std::string temporary(pid_t pid) const {
        char name[32];
        std::snprintf(name, sizeof name, "ist%05ld", static_cast<long>(pid));
        return dir.file(name);
    }
};

}  // namespace process_testing

#endif
