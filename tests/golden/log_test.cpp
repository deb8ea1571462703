#include "log_test.h"

#include "golden_test.h"

namespace golden {

std::string record(std::string_view length, std::string_view type, std::string_view previous, std::string_view body,
                   std::string_view user) {
    std::string text(length);
    text.append(" '").append(type).append("' PID ").append(user).append(" TIME ").append(previous);
    return text.append(" ").append(body).append(" ").append(length).append(" ");
}

LogTest::~LogTest() {
    isTxnInit(nullptr);
    isrollback();
    iscleanup();
    islogclose();
}

void LogTest::openLog() { ASSERT_EQ(0, islogopen("log")) << "error " << iserrno; }

int LogTest::build(const char *name, int more_mode, int max_len) {
    KeyDesc key = keyDesc(ISNODUPS, {{0, 2, CHARTYPE}});
    const bool varying = (more_mode & ISVARLEN) != 0;
    const int fd = isvbuild(name, varying ? 4 : 6, max_len, &key, ISINOUT | more_mode);
    EXPECT_GE(fd, 0) << name << ": error " << iserrno;
    return fd;
}

int LogTest::open(const char *name, int more_mode) {
    const int fd = isopen(name, ISINOUT | more_mode);
    EXPECT_GE(fd, 0) << name << ": error " << iserrno;
    return fd;
}

void LogTest::close(int fd) { ASSERT_EQ(0, isclose(fd)) << "error " << iserrno; }

void LogTest::write(int fd, std::string_view text, long number) {
    std::string buffer = bytes(text);
    isreclen = static_cast<int>(buffer.size());
    ASSERT_EQ(0, iswrite(fd, buffer.data())) << text << ": error " << iserrno;
    ASSERT_EQ(number, isrecnum) << text;
}

void LogTest::rewrite(int fd, std::string_view text, long number) {
    std::string buffer = bytes(text);
    isreclen = static_cast<int>(buffer.size());
    ASSERT_EQ(0, isrewrec(fd, number, buffer.data())) << text << ": error " << iserrno;
}

void LogTest::erase(int fd, long number) { ASSERT_EQ(0, isdelrec(fd, number)) << number << ": error " << iserrno; }

void LogTest::expectLog(std::string_view text) {
    const std::string actual = fileContent("log");
    EXPECT_EQ("", difference(stamped(text, actual, start_), actual, 1u << 16)) << "in the log";
}

}  // namespace golden
