#include "recovery.h"

#include <filesystem>
#include <fstream>

namespace api {

std::map<std::string, std::string> RecoveryTest::files() const {
    std::map<std::string, std::string> found;
    for (const auto &entry : std::filesystem::directory_iterator(directory()))
        if (entry.path() != log()) found[entry.path()] = contents(entry.path());
    return found;
}

void RecoveryTest::keepFiles() {
    kept_ = files();
    startLog();
}

int RecoveryTest::recover() {
    EXPECT_OK(iscleanup());
    EXPECT_OK(islogclose());
    for (const auto &entry : files())
        std::filesystem::remove(entry.first);
    for (const auto &[name, bytes] : kept_)
        std::ofstream(name, std::ios::binary) << bytes;
    startLog();
    const std::string before = contents(log());
    const int descriptors = openDescriptors();
    iserrno = 77;
    const int result = isrecover();
    const int code = iserrno;
    EXPECT_EQ(contents(log()), before) << "recovery has written into the log";
    EXPECT_EQ(openDescriptors(), descriptors) << "recovery has left files open";
    EXPECT_FAILS(ISERR_NOTOPEN, isclose(0));
    iserrno = code;
    return result;
}

void RecoveryTest::expectSameAfterRecovery() {
    EXPECT_OK(iscleanup());
    const auto before = files();
    EXPECT_OK(recover());
    const auto after = files();
    for (const auto &[name, bytes] : before) {
        const auto found = after.find(name);
        if (found == after.end())
            ADD_FAILURE() << name << " is missing";
        else
            EXPECT_TRUE(found->second == bytes) << name << " differs";
    }
    EXPECT_EQ(after.size(), before.size());
}

int RecoveryTest::recoverFrom(const LogWriter &made) {
    made.save(log());
    startLog();
    const int descriptors = openDescriptors();
    iserrno = 77;
    const int result = isrecover();
    const int code = iserrno;
    EXPECT_EQ(contents(log()), made.bytes());
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_OK(islogclose());
    iserrno = code;
    return result;
}

}  // namespace api
