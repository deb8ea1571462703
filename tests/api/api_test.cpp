#include "api_test.h"

#include "../support/file_check.h"

#include <dirent.h>
#include <sys/stat.h>

#include <fstream>
#include <sstream>

namespace api {

ApiTest::ApiTest() {
    iserrno = iserrio = isreclen = 0;
    isrecnum = 0;
}

ApiTest::~ApiTest() { isfatal(nullptr); }

void ApiTest::TearDown() {
    EXPECT_OK(iscleanup());
    for (const std::string &name : built_) {
        const testing_support::CheckReport report = testing_support::checkFiles(name);
        EXPECT_TRUE(report.clean()) << name << "\n" << report.text();
    }
}

int ApiTest::build(int mode, KeyDesc key, int record_len) { return buildNamed(base_, mode, key, record_len); }

int ApiTest::buildNamed(const std::string &name, int mode, KeyDesc key, int record_len) {
    const int fd = isbuild(name.c_str(), record_len, &key, mode);
    EXPECT_GE(fd, 0) << "iserrno " << iserrno;
    if (fd >= 0) built_.push_back(name);
    return fd;
}

int ApiTest::fill(std::initializer_list<long> ids, int mode) {
    const int fd = build();
    for (const long id : ids)
        EXPECT_OK(iswrite(fd, row(id)));
    EXPECT_OK(isclose(fd));
    return open(mode);
}

int openDescriptors() {
    int count = 0;
    DIR *list = opendir("/proc/self/fd");
    if (list == nullptr) return -1;
    while (readdir(list) != nullptr)
        ++count;
    closedir(list);
    return count;
}

std::string contents(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

bool exists(const std::string &path) {
    struct stat about {};
    return stat(path.c_str(), &about) == 0;
}

}  // namespace api
