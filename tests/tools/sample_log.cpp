#include "tools/sample_log.h"

#include <gtest/gtest.h>

namespace tool_tests {

KeyDesc itemKey() { return {ISNODUPS, 1, {{0, 4, LONGTYPE}}, 0, 0}; }

std::string item(long number, const std::string &text) {
    std::string record(kItemLength, ' ');
    stlong(number, record.data());
    record.replace(4, text.size(), text);
    return record;
}

int buildItems(const char *name, int mode) {
    KeyDesc key = itemKey();
    const int fd = isbuild(name, kItemLength, &key, mode);
    EXPECT_GE(fd, 0) << name << " " << iserrno;
    return fd;
}

void writeItem(int fd, long number, const std::string &text) {
    EXPECT_EQ(iswrite(fd, item(number, text).data()), 0) << iserrno;
}

void rewriteItem(int fd, long number, const std::string &text) {
    EXPECT_EQ(isrewrite(fd, item(number, text).data()), 0) << iserrno;
}

void deleteItem(int fd, long number) { EXPECT_EQ(isdelete(fd, item(number, "").data()), 0) << iserrno; }

void makeFullLog(const char *log) {
    ASSERT_EQ(islogopen(log), 0);
    int fd = buildItems("all", ISINOUT | ISTRANS | ISLOCKEXCL);
    KeyDesc second = {ISDUPS, 1, {{4, 8, CHARTYPE}}, 0, 0};
    long id = 0;
    EXPECT_EQ(isaddindex(fd, &second), 0);
    EXPECT_EQ(isdelindex(fd, &second), 0);
    EXPECT_EQ(issetunique(fd, 77), 0);
    EXPECT_EQ(isuniqueid(fd, &id), 0);
    EXPECT_EQ(isbegin(), 0);
    writeItem(fd, 1, "one");
    writeItem(fd, 2, "two");
    rewriteItem(fd, 1, "eins");
    deleteItem(fd, 2);
    EXPECT_EQ(iscommit(), 0);
    EXPECT_EQ(isbegin(), 0);
    writeItem(fd, 3, "three");
    EXPECT_EQ(isrollback(), 0);
    EXPECT_EQ(isclose(fd), 0);
    EXPECT_EQ(isrename("all", "new"), 0);
    EXPECT_EQ(iserase("new"), 0);
    KeyDesc key = itemKey();
    fd = isvbuild("tails", kItemLength, 100, &key, ISINOUT | ISVARLEN | ISLOCKMANUAL);
    EXPECT_GE(fd, 0);
    std::string longer = item(9, "nine") + std::string(20, 'x');
    isreclen = static_cast<int>(longer.size());
    EXPECT_EQ(iswrite(fd, longer.data()), 0);
    EXPECT_EQ(isclose(fd), 0);
    EXPECT_EQ(islogclose(), 0);
}

}  // namespace tool_tests
